// What each grade was worth: the better a grade, the nearer should the field's norm be to the radius, and the offset to
// that of the whole recording.
#pragma once

#include "common/sphere.h"
#include "common/statistics.h"
#include "explain/cycles.h"

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <vector>

namespace qv6d
{

class grade_worth
{
public:
    void add(const cycle &c);

    // A row per grade, over all samples. `best` is the sphere of the whole recording.
    nlohmann::ordered_json json(const std::optional<sphere> &best) const;

private:
    static constexpr std::size_t GRADES = QV6D_GRADE_BEST + 1;

    struct of_grade
    {
        std::uint64_t samples = 0;
        running_stats norm, miss; // microtesla, while an offset was published
    };

    struct published
    {
        vec3 offset;
        std::array<std::uint64_t, GRADES> samples; // by grade
    };

    std::array<of_grade, GRADES> grades_;
    std::vector<published> offsets_; // in the order of their publication
    std::uint64_t samples_ = 0;
};

} // namespace qv6d
