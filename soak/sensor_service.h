// A service around the library that knows with which offset every start has to resume.
#pragma once

#include "day.h"
#include "library.h"

#include <array>
#include <cstdint>
#include <optional>

namespace soak
{

class sensor_service
{
public:
    explicit sensor_service(library *used) : library_(*used)
    {
    }

    // Starts at the first moment, and ends and starts again when an incident says so. True when the service goes on
    // without the offset of the last sample.
    bool meet(const moment &now);

    answer measure(const moment &now);
    void end();

    std::uint64_t starts() const
    {
        return starts_;
    }

    // Starts that failed, or that resumed with another offset than they had to.
    std::uint64_t bad_starts() const
    {
        return bad_starts_;
    }

private:
    using offset = vec3f;

    bool start(const settings &chosen);

    library &library_;
    settings settings_;
    std::optional<settings> stored_; // by the last start
    offset saved_ = {};              // by the last end
    offset last_ = {};               // of the last sample
    std::optional<offset> expected_; // of the sample after a start
    std::uint64_t starts_ = 0, bad_starts_ = 0;
};

} // namespace soak
