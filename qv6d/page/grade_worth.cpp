#include "page/grade_worth.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace qv6d
{

using nlohmann::ordered_json;

namespace
{

ordered_json or_null(const running_stats &stats, double value)
{
    return stats.empty() ? ordered_json() : ordered_json(value);
}

} // namespace

void grade_worth::add(const cycle &c)
{
    const auto grade = static_cast<std::size_t>(c.grade);
    ++samples_;
    if (grade >= GRADES)
        return;
    of_grade &mine = grades_[grade];
    ++mine.samples;
    if (!(c.radius > 0.0) || !std::isfinite(c.offset[0] + c.offset[1] + c.offset[2]))
        return;
    mine.norm.add(c.norm);
    mine.miss.add(std::abs(c.norm - c.radius));
    if (offsets_.empty() || offsets_.back().offset != c.offset)
        offsets_.push_back({c.offset, {}});
    ++offsets_.back().samples[grade];
}

ordered_json grade_worth::json(const std::optional<sphere> &best) const
{
    ordered_json rows = ordered_json::array();
    for (std::size_t grade = 0; grade < GRADES; ++grade)
    {
        const of_grade &mine = grades_[grade];
        double sum = 0.0, samples = 0.0;
        for (const published &p : offsets_)
            if (best && p.samples[grade] > 0)
            {
                const auto n = static_cast<double>(p.samples[grade]);
                sum += n * std::hypot(p.offset[0] - best->centre[0], p.offset[1] - best->centre[1],
                                      p.offset[2] - best->centre[2]);
                samples += n;
            }
        rows.push_back(
            {{"grade", grade},
             {"samples", mine.samples},
             {"share", samples_ > 0 ? static_cast<double>(mine.samples) / static_cast<double>(samples_) : 0.0},
             {"norm_ut", or_null(mine.norm, mine.norm.mean())},
             {"norm_sd_ut", or_null(mine.norm, mine.norm.stdev())},
             {"norm_to_radius_ut", or_null(mine.miss, mine.miss.mean())},
             {"offset_to_best_ut", samples > 0.0 ? ordered_json(sum / samples) : ordered_json()}});
    }
    return rows;
}

} // namespace qv6d
