#include "recordings/merge.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <optional>
#include <queue>

namespace qv6d
{

namespace
{

constexpr std::uint64_t LATE_MAX = 1'000'000'000; // ns that a sample may come late
constexpr std::size_t WAITING_MAX = 100'000;      // samples: far more than a second of three sensors

// How much later b is than a; they may be as far apart as their type allows.
std::uint64_t span(std::int64_t a, std::int64_t b)
{
    return b <= a ? 0 : static_cast<std::uint64_t>(b) - static_cast<std::uint64_t>(a);
}

class sum_stream : public sample_stream
{
public:
    sum_stream(std::unique_ptr<sample_stream> linear, std::unique_ptr<sample_stream> gravity)
        : linear_(std::move(linear)), gravity_(std::move(gravity)), more_(gravity_->next(&after_))
    {
        before_ = after_;
    }

    bool next(sample *s) override
    {
        while (more_ && linear_->next(s))
        {
            while (after_.t_ns < s->t_ns && advance())
            {
            }
            if (before_.t_ns > s->t_ns || after_.t_ns < s->t_ns)
                continue; // no gravity on both sides of it
            const double length = static_cast<double>(span(before_.t_ns, after_.t_ns));
            const double part = length > 0.0 ? static_cast<double>(span(before_.t_ns, s->t_ns)) / length : 0.0;
            for (std::size_t k = 0; k < 3; ++k)
                s->v[k] += before_.v[k] + part * (after_.v[k] - before_.v[k]);
            return true;
        }
        return false;
    }

    std::uint64_t bytes_read() const override
    {
        return linear_->bytes_read() + gravity_->bytes_read();
    }

    std::uint64_t size() const override
    {
        return linear_->size() + gravity_->size();
    }

    std::vector<remark> remarks() const override
    {
        auto all = linear_->remarks();
        const auto more = gravity_->remarks();
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

private:
    bool advance()
    {
        sample next;
        if (!gravity_->next(&next))
            return more_ = false;
        before_ = after_;
        after_ = next;
        return true;
    }

    std::unique_ptr<sample_stream> linear_, gravity_;
    sample before_ = {}, after_ = {};
    bool more_;
};

struct waiting
{
    sample what;
    std::uint64_t number; // keeps the order of equal times

    // Of one time: acceleration, turn rate, the platform's offset, field.
    static int rank(sensor kind)
    {
        return kind == sensor::mag ? 4 : static_cast<int>(kind);
    }

    bool operator<(const waiting &other) const // a heap has its largest on top: the first in time
    {
        if (what.t_ns != other.what.t_ns)
            return what.t_ns > other.what.t_ns;
        if (what.kind != other.what.kind)
            return rank(what.kind) > rank(other.what.kind);
        return number > other.number;
    }
};

float single(double value)
{
    constexpr double most = std::numeric_limits<float>::max();
    return static_cast<float>(std::isfinite(value) ? std::clamp(value, -most, most) : value);
}

class merged_events : public event_source
{
public:
    explicit merged_events(std::vector<std::unique_ptr<sample_stream>> streams)
        : streams_(std::move(streams)), heads_(streams_.size())
    {
        for (std::size_t k = 0; k < streams_.size(); ++k)
            advance(k);
    }

    bool next(event *e) override
    {
        while (!ready())
            if (!take_earliest())
                break;
        if (waiting_.empty())
            return false;
        const sample s = waiting_.top().what;
        waiting_.pop();
        last_ = s.t_ns;
        line_ = s.line;
        *e = {s.t_ns, s.kind, single(s.v[0]), single(s.v[1]), single(s.v[2])};
        return true;
    }

    std::uint64_t line() const override
    {
        return line_;
    }

    std::uint64_t bytes_read() const override
    {
        std::uint64_t sum = 0;
        for (const auto &stream : streams_)
            sum += stream->bytes_read();
        return sum;
    }

    std::uint64_t size() const override
    {
        std::uint64_t sum = 0;
        for (const auto &stream : streams_)
            sum += stream->size();
        return sum;
    }

    std::vector<remark> remarks() const override
    {
        std::vector<remark> all;
        if (sorted_ > 0)
            all.push_back(
                {"unordered", fmt::format("{} of the times are earlier than the time before: their events were "
                                          "sorted",
                                          sorted_)});
        if (too_late_ > 0)
            all.push_back(
                {"backward_times", fmt::format("{} events are more than a second earlier than the event before "
                                               "them, and are left out",
                                               too_late_)});
        for (const auto &stream : streams_)
        {
            const auto more = stream->remarks();
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }

private:
    bool ready() const
    {
        return !waiting_.empty() &&
               (waiting_.size() >= WAITING_MAX || span(waiting_.top().what.t_ns, newest_) > LATE_MAX);
    }

    void advance(std::size_t k)
    {
        sample s;
        heads_[k] = streams_[k]->next(&s) ? std::optional(s) : std::nullopt;
    }

    // Of the files' next samples. False when all are at their end.
    bool take_earliest()
    {
        std::size_t first = heads_.size();
        for (std::size_t k = 0; k < heads_.size(); ++k)
            if (heads_[k] && (first == heads_.size() || heads_[k]->t_ns < heads_[first]->t_ns))
                first = k;
        if (first == heads_.size())
            return false;
        put(*heads_[first]);
        advance(first);
        return true;
    }

    void put(const sample &s)
    {
        if (last_ && s.t_ns < *last_)
        {
            ++too_late_;
            return;
        }
        if (any_ && s.t_ns < newest_)
            ++sorted_;
        newest_ = any_ ? std::max(newest_, s.t_ns) : s.t_ns;
        any_ = true;
        waiting_.push({s, ++count_});
    }

    std::vector<std::unique_ptr<sample_stream>> streams_;
    std::vector<std::optional<sample>> heads_;
    std::priority_queue<waiting> waiting_;
    std::optional<std::int64_t> last_; // handed out
    std::int64_t newest_ = 0;
    bool any_ = false;
    std::uint64_t line_ = 0, count_ = 0, sorted_ = 0, too_late_ = 0;
};

} // namespace

std::unique_ptr<sample_stream> add_gravity(std::unique_ptr<sample_stream> linear,
                                           std::unique_ptr<sample_stream> gravity)
{
    return std::make_unique<sum_stream>(std::move(linear), std::move(gravity));
}

std::unique_ptr<event_source> merge(std::vector<std::unique_ptr<sample_stream>> streams)
{
    return std::make_unique<merged_events>(std::move(streams));
}

} // namespace qv6d
