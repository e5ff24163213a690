#include "triad.h"

#include <cmath>

namespace bench
{

static qvcrd_vec3 cross(const qvcrd_vec3 &a, const qvcrd_vec3 &b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

static qvcrd_vec3 unit(const qvcrd_vec3 &v)
{
    const double norm = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    return {v.x / norm, v.y / norm, v.z / norm};
}

void triad(const qvcrd_vec3 &acc, const qvcrd_vec3 &field, attitude *result)
{
    const qvcrd_vec3 east = cross(field, acc), north = cross(acc, east);
    *result = {unit(east), unit(north), unit(acc)};
}

} // namespace bench
