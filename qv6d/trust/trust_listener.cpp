#include "trust/trust_listener.h"

#include "library/configuration.h"

namespace qv6d
{

void trust_listener::on_event(const event &e)
{
    if (!first_t_ns_)
        first_t_ns_ = e.t_ns;
    judge_.add(e);
}

void trust_listener::on_result(const event &e, const sample_result &result)
{
    const double t = (static_cast<double>(e.t_ns) - static_cast<double>(*first_t_ns_)) / 1e9;
    judge_.add({t,
                without_soft_iron({e.x * scale_, e.y * scale_, e.z * scale_}),
                {result.offset[0], result.offset[1], result.offset[2]},
                result.radius,
                result.grade});
}

} // namespace qv6d
