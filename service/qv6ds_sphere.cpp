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

// Far beyond every sensor, and squares of it are harmless.
static constexpr double FIELD_MAX = 1e5; // microtesla

static bool is_usable(vec field)
{
    return norm(field) <= FIELD_MAX;
}

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

void qv6ds_sphere_drop_older_half(qv6ds_sphere *sphere)
{
    const int32_t dropped = sphere->count / 2;
    std::copy(sphere->kept + dropped, sphere->kept + sphere->count, sphere->kept);
    sphere->count -= dropped;
}

// The oldest one goes in any case.
static void thin(qv6ds_sphere *sphere)
{
    const qv6ds_sphere full = *sphere;
    sphere->spacing = full.spacing * SPACING_GROWS;
    sphere->count = 0;
    for (int32_t i = full.count - 1; i > 0; --i)
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
    if (!is_usable(sample))
        return;
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

// Of the samples from their mean, which keeps the figures small and takes d out of the equations.
static vec mean_of(const qv6ds_sphere &sphere)
{
    vec mean;
    for (int32_t i = 0; i < sphere.count; ++i)
        mean = mean + (1.0 / sphere.count) * sphere.kept[i];
    return mean;
}

static double mean_square_of(const qv6ds_sphere &sphere, vec mean)
{
    double square = 0.0;
    for (int32_t i = 0; i < sphere.count; ++i)
        square += dot(sphere.kept[i] - mean, sphere.kept[i] - mean) / sphere.count;
    return square;
}

static symmetric scatter_of(const qv6ds_sphere &sphere, vec mean)
{
    symmetric scatter;
    for (int32_t i = 0; i < sphere.count; ++i)
    {
        const vec p = sphere.kept[i] - mean;
        scatter.xx += p.x * p.x;
        scatter.xy += p.x * p.y;
        scatter.xz += p.x * p.z;
        scatter.yy += p.y * p.y;
        scatter.yz += p.y * p.z;
        scatter.zz += p.z * p.z;
    }
    return scatter;
}

static vec right_side_of(const qv6ds_sphere &sphere, vec mean, double mean_square)
{
    vec right;
    for (int32_t i = 0; i < sphere.count; ++i)
    {
        const vec p = sphere.kept[i] - mean;
        right = right + (0.5 * (dot(p, p) - mean_square)) * p;
    }
    return right;
}

// Standard deviation of the distances from the sphere.
static double residual_of(const qv6ds_sphere &sphere, const qv6ds_fit &fit)
{
    double squares = 0.0;
    for (int32_t i = 0; i < sphere.count; ++i)
    {
        const double misfit = norm(sphere.kept[i] - fit.centre) - fit.radius;
        squares += misfit * misfit;
    }
    return std::sqrt(squares / (sphere.count - 4.0));
}

// `from_mean`: the centre. `inverted`: the inverse of the samples' scatter.
static void judge(qv6ds_fit *fit, double count, vec from_mean, const symmetric &inverted, double noise)
{
    const double random = std::min(fit->residual, noise);
    fit->systematic = std::sqrt(fit->residual * fit->residual - random * random);

    // Noise makes a cap of samples look deeper than it is, and its sphere smaller.
    const double trace = inverted.xx + inverted.yy + inverted.zz;
    const double depth = 1.0 / std::sqrt(trace * count);
    const double shrinks = norm(from_mean) * random * random / (depth * depth);
    // The less of the sphere was seen, the more of a wrong shape goes into the centre instead of the residual.
    const double stretch = std::sqrt(trace * count / 9.0) * fit->radius;
    const double shared =
        fit->systematic * fit->systematic * std::max(1.0, count / SHARING) * std::max(1.0, stretch * stretch);
    const double variance = random * random + shared;
    fit->error = DEVIATIONS * fit->radius * std::sqrt(variance * trace) + shrinks;
    fit->good =
        depth > DEPTH_MIN * random && fit->radius > RADIUS_MIN && fit->radius < RADIUS_MAX && std::isfinite(fit->error);
}

qv6ds_fit qv6ds_sphere_fit(const qv6ds_sphere *sphere, double noise)
{
    qv6ds_fit fit = {};
    fit.error = std::numeric_limits<double>::infinity();
    if (sphere->count < COUNT_MIN)
        return fit;
    const vec mean = mean_of(*sphere);
    const double mean_square = mean_square_of(*sphere, mean);
    const symmetric scatter = scatter_of(*sphere, mean);
    if (!(determinant(scatter) > 0.0))
        return fit;
    const symmetric inverted = inverse(scatter);
    const vec from_mean = inverted * right_side_of(*sphere, mean, mean_square);
    fit.centre = mean + from_mean;
    fit.radius = std::sqrt(mean_square + dot(from_mean, from_mean));
    fit.residual = residual_of(*sphere, fit);
    judge(&fit, sphere->count, from_mean, inverted, noise);
    return fit;
}

bool qv6ds_sphere_sound(const qv6ds_sphere &sphere)
{
    return sphere.count >= 0 && sphere.count <= qv6ds_sphere::CAPACITY && sphere.spacing >= SPACING_MIN &&
           sphere.spacing < 2.0 * RADIUS_MAX && std::all_of(sphere.kept, sphere.kept + sphere.count, is_usable);
}
