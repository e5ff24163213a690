#include "page/event_rates.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

constexpr const char *NAMES[] = {"acc", "gyr", "mag"};

} // namespace

void event_rates::add(sensor kind, double time)
{
    const auto which = static_cast<std::size_t>(kind);
    if (which >= sensors_.size() || !(time >= 0.0) || time > 1e12)
        return;
    while (time >= width_ * static_cast<double>(PARTS_MAX))
        widen();
    end_ = std::max(end_, time);
    heard &mine = sensors_[which];
    const auto at = static_cast<std::size_t>(time / width_);
    mine.parts.resize(std::max(mine.parts.size(), at + 1));
    ++mine.parts[at].count;
    if (const double gap = time - mine.last; gap > mine.parts[at].gap)
        mine.parts[at].gap = gap;
    mine.last = time;
}

void event_rates::widen()
{
    width_ *= 2.0;
    for (heard &mine : sensors_)
    {
        std::vector<part> halved((mine.parts.size() + 1) / 2);
        for (std::size_t k = 0; k < mine.parts.size(); ++k)
        {
            halved[k / 2].count += mine.parts[k].count;
            halved[k / 2].gap = std::max(halved[k / 2].gap, mine.parts[k].gap);
        }
        mine.parts = std::move(halved);
    }
}

nlohmann::ordered_json event_rates::json() const
{
    nlohmann::ordered_json sensors = nlohmann::ordered_json::object();
    for (std::size_t which = 0; which < sensors_.size(); ++which)
    {
        std::vector<part> parts = sensors_[which].parts;
        if (parts.empty())
            continue;
        parts.resize(static_cast<std::size_t>(end_ / width_) + 1); // silent until the recording's end
        nlohmann::ordered_json t, rate, gap;
        for (std::size_t k = 0; k < parts.size(); ++k)
        {
            const double from = static_cast<double>(k) * width_, length = std::min(width_, end_ - from);
            if (length < 0.5 * width_ && k > 0)
                continue; // too short a rest to count in
            t.push_back(from + 0.5 * length);
            rate.push_back(length > 0.0 ? static_cast<double>(parts[k].count) / length : 0.0);
            gap.push_back(parts[k].count > 0 ? nlohmann::ordered_json(parts[k].gap) : nullptr);
        }
        sensors[NAMES[which]] = {{"t", t}, {"rate_hz", rate}, {"gap_s", gap}};
    }
    return sensors;
}

} // namespace qv6d
