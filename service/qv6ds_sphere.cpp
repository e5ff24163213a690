#include "qv6ds_sphere.h"

#include <algorithm>
#include <limits>

using namespace qv6ds_math;

static constexpr double SPACING_MIN = 4.0;   // microtesla, about 5 degrees
static constexpr double SPACING_GROWS = 1.3; // so that at most 64 are kept on a sphere of any size
static constexpr int32_t COUNT_MIN = 8;

// A radius beyond these is no field of the earth, which has 22 to 67 microtesla.
static constexpr double RADIUS_MIN = 15.0, RADIUS_MAX = 85.0;

// Kept samples that share one systematic error: soft iron has five independent shapes, of which a gesture shows fewer.
static constexpr double SHARING = 3.5;

// Standard deviations of the three axes together to a bound of 95 %: 1.6 when the axes are alike, 2
// for one alone, and a little for what the model leaves out.
static constexpr double DEVIATIONS = 2.3;

// A cloud that is not deeper than so many deviations of noise says nothing of the centre.
static constexpr double DEPTH_MIN = 2.0;

void qv6ds_sphere_clear(qv6ds_sphere *sphere)
{
    sphere->count = 0;
    sphere->spacing = SPACING_MIN;
}

static int32_t nearest(const qv6ds_sphere *sphere, vec sample, double *distance)
{
    int32_t found = -1;
    double least = std::numeric_limits<double>::infinity();
    for (int32_t i = 0; i < sphere->count; ++i)
    {
        const vec d = sphere->kept[i] - sample;
        const double square = dot(d, d);
        if (square < least)
        {
            least = square;
            found = i;
        }
    }
    *distance = std::sqrt(least);
    return found;
}

static void thin(qv6ds_sphere *sphere)
{
    const qv6ds_sphere full = *sphere;
    sphere->spacing = full.spacing * SPACING_GROWS;
    sphere->count = 0;
    for (int32_t i = full.count - 1; i >= 0; --i)
    {
        double distance;
        nearest(sphere, full.kept[i], &distance);
        if (distance >= sphere->spacing)
            sphere->kept[sphere->count++] = full.kept[i];
    }
    std::reverse(sphere->kept, sphere->kept + sphere->count);
}

// The newest stands last, so that thinning prefers it.
void qv6ds_sphere_add(qv6ds_sphere *sphere, vec sample)
{
    double distance;
    const int32_t near = nearest(sphere, sample, &distance);
    if (near >= 0 && distance < sphere->spacing)
    {
        std::copy(sphere->kept + near + 1, sphere->kept + sphere->count, sphere->kept + near);
        sphere->kept[sphere->count - 1] = sample;
        return;
    }
    while (sphere->count == qv6ds_sphere::CAPACITY)
        thin(sphere);
    sphere->kept[sphere->count++] = sample;
}

namespace
{

struct symmetric
{
    double xx = 0, xy = 0, xz = 0, yy = 0, yz = 0, zz = 0;
};

} // namespace

static double determinant(const symmetric &m)
{
    return m.xx * (m.yy * m.zz - m.yz * m.yz) - m.xy * (m.xy * m.zz - m.yz * m.xz) + m.xz * (m.xy * m.yz - m.yy * m.xz);
}

static symmetric inverse(const symmetric &m)
{
    const double d = 1.0 / determinant(m);
    return {d * (m.yy * m.zz - m.yz * m.yz), d * (m.xz * m.yz - m.xy * m.zz), d * (m.xy * m.yz - m.xz * m.yy),
            d * (m.xx * m.zz - m.xz * m.xz), d * (m.xy * m.xz - m.xx * m.yz), d * (m.xx * m.yy - m.xy * m.xy)};
}

static vec operator*(const symmetric &m, vec v)
{
    return {m.xx * v.x + m.xy * v.y + m.xz * v.z, m.xy * v.x + m.yy * v.y + m.yz * v.z,
            m.xz * v.x + m.yz * v.y + m.zz * v.z};
}

qv6ds_fit qv6ds_sphere_fit(const qv6ds_sphere *sphere, double noise)
{
    qv6ds_fit fit = {};
    fit.error = std::numeric_limits<double>::infinity();
    const double n = sphere->count;
    if (sphere->count < COUNT_MIN)
        return fit;

    // Everything is measured from the mean, which keeps the figures small and takes d out of the equations.
    vec mean;
    for (int32_t i = 0; i < sphere->count; ++i)
        mean = mean + (1.0 / n) * sphere->kept[i];
    double mean_square = 0.0;
    for (int32_t i = 0; i < sphere->count; ++i)
        mean_square += dot(sphere->kept[i] - mean, sphere->kept[i] - mean) / n;
    symmetric scatter;
    vec right;
    for (int32_t i = 0; i < sphere->count; ++i)
    {
        const vec p = sphere->kept[i] - mean;
        scatter.xx += p.x * p.x;
        scatter.xy += p.x * p.y;
        scatter.xz += p.x * p.z;
        scatter.yy += p.y * p.y;
        scatter.yz += p.y * p.z;
        scatter.zz += p.z * p.z;
        right = right + (0.5 * (dot(p, p) - mean_square)) * p;
    }
    if (!(determinant(scatter) > 0.0))
        return fit;
    const symmetric inverted = inverse(scatter);
    const vec centre = inverted * right;
    const double radius = std::sqrt(mean_square + dot(centre, centre));

    double squares = 0.0;
    for (int32_t i = 0; i < sphere->count; ++i)
    {
        const double misfit = norm(sphere->kept[i] - mean - centre) - radius;
        squares += misfit * misfit;
    }
    fit.centre = mean + centre;
    fit.radius = radius;
    fit.residual = std::sqrt(squares / (n - 4.0));
    const double random = std::min(fit.residual, noise);
    fit.systematic = std::sqrt(fit.residual * fit.residual - random * random);

    // Noise makes a cap of samples look deeper than it is, and its sphere smaller.
    const double trace = inverted.xx + inverted.yy + inverted.zz;
    const double depth = 1.0 / std::sqrt(trace * n);
    const double shrinks = norm(centre) * random * random / (depth * depth);
    // The less of the sphere was seen, the more of a wrong shape goes into the centre instead of the residual.
    const double stretch = std::sqrt(trace * n / 9.0) * radius;
    const double shared =
        fit.systematic * fit.systematic * std::max(1.0, n / SHARING) * std::max(1.0, stretch * stretch);
    const double variance = random * random + shared;
    fit.error = DEVIATIONS * radius * std::sqrt(variance * trace) + shrinks;
    fit.good = depth > DEPTH_MIN * random && radius > RADIUS_MIN && radius < RADIUS_MAX && std::isfinite(fit.error);
    return fit;
}

bool qv6ds_sphere_sound(const qv6ds_sphere &sphere)
{
    return sphere.count >= 0 && sphere.count <= qv6ds_sphere::CAPACITY && sphere.spacing > 0.0 &&
           sphere.spacing < 1000.0 && std::all_of(sphere.kept, sphere.kept + sphere.count, is_finite);
}

bool qv6ds_fit_sound(const qv6ds_fit &fit)
{
    return is_finite(fit.centre) && fit.radius > 0.0 && fit.radius < 1000.0 && fit.error >= 0.0 &&
           std::isfinite(fit.residual) && std::isfinite(fit.systematic);
}
