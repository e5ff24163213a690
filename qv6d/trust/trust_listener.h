// Hears a replay for the judge of its grades.
#pragma once

#include "library/service.h"
#include "trust/trust.h"

namespace qv6d
{

class trust_listener
{
public:
    // `counts`: the magnetometer events are raw counts.
    explicit trust_listener(bool counts) : scale_(counts ? QV6D_MICROTESLA_PER_COUNT : 1.0f)
    {
    }

    void on_event(const event &e);

    // After the event itself; the library is still up.
    void on_result(const event &e, const sample_result &result);

    trust finish() const
    {
        return judge_.finish();
    }

private:
    const float scale_;
    trust_judge judge_;
    std::optional<std::int64_t> first_t_ns_;
};

} // namespace qv6d
