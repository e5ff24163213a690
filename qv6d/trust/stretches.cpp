#include "trust/stretches.h"

#include "common/cloud.h"

#include <algorithm>
#include <cmath>

namespace qv6d
{

using Eigen::Vector3d;

namespace
{

constexpr int TURNS = 3;              // partition, then shape
constexpr double BLOCK = 1.0;         // s: a stretch begins and ends with one
constexpr double BLOCKS_MAX = 1500.0; // the search takes the square of it
constexpr double NOISE_MIN = 1.0;     // microtesla: smaller misfits are no reason for another sphere
constexpr double NOISE_SCALE = 1.5;
constexpr double PRICE = 60.0;   // of a sphere, in squares of the noise
constexpr double PULL = 1.0;     // microtesla²
constexpr double OUTLIER = 25.0; // squares of the noise: a sample counts no more where a stretch ends
constexpr double EQUAL = 12.0;   // squares of the noise: ends that are as good as the best

double noise_of(const sphere_space &space)
{
    return std::max(NOISE_MIN, NOISE_SCALE * space.shape.noise);
}

// First samples of the blocks, and the end.
std::vector<std::size_t> blocks_of(const std::vector<kept_sample> &samples)
{
    const double length = std::max(BLOCK, (samples.back().t - samples.front().t) / BLOCKS_MAX);
    std::vector<std::size_t> begins = {0};
    for (std::size_t i = 1; i < samples.size(); ++i)
        if (samples[i].t - samples[begins.back()].t >= length)
            begins.push_back(i);
    begins.push_back(samples.size());
    return begins;
}

// Sums from the first sample to the begin of each block.
std::vector<cloud> sums_of(const sphere_space &space, const std::vector<std::size_t> &blocks)
{
    std::vector<cloud> sums(1);
    for (std::size_t b = 0; b + 1 < blocks.size(); ++b)
    {
        cloud next = sums.back();
        for (std::size_t i = blocks[b]; i < blocks[b + 1]; ++i)
            next.add(space.points[i]);
        sums.push_back(next);
    }
    return sums;
}

// Where each part of the best partition ends.
std::vector<std::size_t> best_partition(const sphere_space &space, const std::vector<std::size_t> &blocks)
{
    const std::vector<cloud> sums = sums_of(space, blocks);
    const double unit = std::pow(2.0 * space.shape.radius * noise_of(space), 2); // of |p|²
    std::vector<double> cost(sums.size(), HUGE_VAL);
    std::vector<std::size_t> from(sums.size(), 0);
    cost[0] = 0.0;
    for (std::size_t end = 1; end < sums.size(); ++end)
        for (std::size_t begin = 0; begin < end; ++begin)
        {
            if (cost[begin] + PRICE >= cost[end])
                continue;
            const double whole = cost[begin] + PRICE + sphere_through(sums[end] - sums[begin], PULL).misfit / unit;
            if (whole < cost[end])
            {
                cost[end] = whole;
                from[end] = begin;
            }
        }
    std::vector<std::size_t> ends;
    for (std::size_t end = sums.size() - 1; end > 0; end = from[end])
        ends.insert(ends.begin(), blocks[end]);
    return ends;
}

std::vector<stretch> partition(const std::vector<kept_sample> &samples, const sphere_space &space)
{
    std::vector<stretch> found;
    std::size_t begin = 0;
    for (const std::size_t end : best_partition(space, blocks_of(samples)))
    {
        found.push_back(fitted(space, begin, end));
        begin = end;
    }
    return found;
}

double residual_of(const std::vector<stretch> &stretches)
{
    double squares = 0.0, count = 0.0;
    for (const stretch &s : stretches)
    {
        const auto size = static_cast<double>(s.end - s.begin);
        squares += s.residual * s.residual * size;
        count += size;
    }
    return std::sqrt(squares / count);
}

// How far the field jumped, in the direction from one centre to the other, beyond what the turning did.
double jump_at(const std::vector<kept_sample> &samples, std::size_t i, const stretch &before, const stretch &after)
{
    if (!samples[i].turn_known)
        return 0.0;
    const Vector3d moved = samples[i].turn.conjugate() * (samples[i - 1].field - before.centre) + before.centre;
    return (samples[i].field - moved).dot((after.centre - before.centre).normalized());
}

double misfit(const sphere_space &space, const stretch &s, std::size_t i)
{
    const double distance = distance_from(space, s, i) / noise_of(space);
    return std::min(OUTLIER, distance * distance);
}

// To the sample at which one sphere ends and the next begins. Where both fit, as they may at rest, the jump tells.
void move_border(const std::vector<kept_sample> &samples, const sphere_space &space, stretch *before, stretch *after)
{
    std::vector<double> cost = {0.0}; // of a border at begin + k, less that at begin
    for (std::size_t i = before->begin; i < after->end; ++i)
        cost.push_back(cost.back() + misfit(space, *before, i) - misfit(space, *after, i));
    const double least = *std::min_element(cost.begin() + 1, cost.end() - 1);
    std::size_t border = before->end;
    double jump = -1.0;
    for (std::size_t k = 1; k + 1 < cost.size(); ++k)
    {
        const double here = cost[k] <= least + EQUAL ? jump_at(samples, before->begin + k, *before, *after) : -1.0;
        if (here > jump)
        {
            jump = here;
            border = before->begin + k;
        }
    }
    *before = fitted(space, before->begin, border);
    *after = fitted(space, border, after->end);
}

} // namespace

stretches find_stretches(const std::vector<kept_sample> &samples)
{
    stretches found = {{}, plain_shape(samples)};
    if (samples.empty())
        return found;
    for (int turn = 0; turn < TURNS; ++turn)
    {
        const sphere_space space(samples, found.shape);
        found.all = partition(samples, space);
        found.shape = improved(found.shape, residual_of(found.all), shape_seen(space, found.all));
    }
    const sphere_space space(samples, found.shape);
    found.all = partition(samples, space);
    for (std::size_t i = 0; i + 1 < found.all.size(); ++i)
        move_border(samples, space, &found.all[i], &found.all[i + 1]);
    return found;
}

} // namespace qv6d
