#include "tune.h"

#include "error.h"
#include "library_log.h"
#include "output.h"
#include "processes.h"
#include "replay.h"
#include "state_dir.h"
#include "storage/qvstorage_keys.h"
#include "storage/qvstorage_object.h"
#include "summary.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <numeric>
#include <type_traits>
#include <unistd.h>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

constexpr std::uintmax_t CUSTOMER_FILE_MAX = 1 << 20; // bytes; 47 keys need a few thousand

constexpr criterion CRITERIA[] = {criterion::error, criterion::time, criterion::spread, criterion::resets};

std::string text_of(const std::string &path)
{
    std::error_code failure;
    if (!fs::is_regular_file(path, failure))
        throw error(EXIT_INPUT, fmt::format("{}: expected a customer file", path));
    const std::uintmax_t size = fs::file_size(path, failure);
    if (failure || size > CUSTOMER_FILE_MAX)
        throw error(EXIT_MALFORMED, fmt::format("{}: is too large for a customer file", path));
    std::string text(size, '\0');
    const file_handle file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr || std::fread(text.data(), 1, size, file.get()) != size)
        throw error(EXIT_INPUT, fmt::format("{}: cannot be read: {}", path, std::strerror(errno)));
    return text;
}

// The key that a line sets, as the library reads it; empty when it sets none.
std::string key_of(std::string line)
{
    if (line.starts_with('#') || line.starts_with('%') || std::count(line.begin(), line.end(), '=') != 1)
        return "";
    line.resize(line.find('='));
    std::erase_if(line, [](char c) { return c == ' ' || c == '\t'; });
    return line;
}

bool names_a_file(const std::string &line)
{
    const customer_key *key = find_customer_key(key_of(line).c_str());
    return key != nullptr && key->kind == key_kind::path;
}

// Listens to one replay.
class figure_taker
{
public:
    explicit figure_taker(bool counts) : scale_(counts ? MICROTESLA_PER_COUNT : 1.0f)
    {
    }

    replay_listener listener()
    {
        replay_listener all;
        all.on_log = [this](std::string_view line) { watch_.take(line); };
        all.on_event = [this](const event &e) { take(e); };
        all.on_result = [this](const event &, const sample_result &result) { take(result); };
        return all;
    }

    replay_figures figures() const
    {
        replay_figures f = {};
        f.time = time_;
        if (graded_)
            f.spread = norm_.stdev();
        f.resets = watch_.resets();
        f.last_grade = last_.grade;
        std::copy_n(last_.offset, 3, f.offset.begin());
        f.reference = reference_.best();
        const bool published = last_.radius != 0.0;
        if (published && f.reference)
            f.error = std::hypot(last_.offset[0] - f.reference->centre[0], last_.offset[1] - f.reference->centre[1],
                                 last_.offset[2] - f.reference->centre[2]);
        return f;
    }

private:
    void take(const event &e)
    {
        if (!first_t_ns_)
            first_t_ns_ = e.t_ns;
        if (e.kind != sensor::mag)
            return;
        const qvcrd_vec3 raw = {e.x * scale_, e.y * scale_, e.z * scale_};
        const qvcrd_vec3 field = qvenv_compensate_softiron(&qvstorage_object.env, raw);
        reference_.add(field.x, field.y, field.z);
    }

    void take(const sample_result &result)
    {
        last_ = result;
        if (result.grade > 0)
        {
            graded_ = true;
            const double x = result.calibrated[0], y = result.calibrated[1], z = result.calibrated[2];
            norm_.add(std::hypot(x, y, z));
        }
        if (result.grade == 3 && !time_)
            time_ = (static_cast<double>(result.t_ns) - static_cast<double>(*first_t_ns_)) / 1e9;
    }

    const float scale_;
    log_watch watch_;
    sphere_fit reference_;
    running_stats norm_;
    bool graded_ = false;
    std::optional<std::int64_t> first_t_ns_;
    std::optional<double> time_;
    sample_result last_ = {};
};

// A recording that cannot be replayed is told once, in front of thousands of replays.
void check_recording(const std::string &path)
{
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    if (path == "-" || (fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status)))
        throw error(EXIT_INPUT, fmt::format("{}: expected a regular file: it is read for every combination", path));
    recording events(path);
    bool any = false;
    for (event e; events.next(&e);)
        any = any || e.kind == sensor::mag;
    if (!any)
        throw error(EXIT_MALFORMED, fmt::format("{}: holds no mag event, so there is nothing to calibrate", path));
}

std::string bytes_of(const replay_figures &figures)
{
    static_assert(std::is_trivially_copyable_v<replay_figures>);
    return {reinterpret_cast<const char *>(&figures), sizeof figures};
}

replay_figures figures_of(const std::string &bytes)
{
    replay_figures figures;
    if (bytes.size() != sizeof figures)
        throw error(EXIT_UNEXPECTED, fmt::format("a replay's result has {} bytes", bytes.size()));
    std::memcpy(static_cast<void *>(&figures), bytes.data(), sizeof figures);
    return figures;
}

// How many replays are done, on standard error when that is a terminal.
class counter
{
public:
    explicit counter(std::size_t total) : total_(total), shown_(isatty(STDERR_FILENO) != 0)
    {
        show();
    }

    ~counter()
    {
        if (shown_)
            fmt::print(stderr, "\r\033[K");
    }

    counter(const counter &) = delete;
    counter &operator=(const counter &) = delete;

    void count()
    {
        ++done_;
        show();
    }

private:
    void show() const
    {
        if (shown_)
            fmt::print(stderr, "\r\033[K{} of {} replays", done_, total_);
    }

    const std::size_t total_;
    const bool shown_;
    std::size_t done_ = 0;
};

// Runs in a process of its own; `home` is the only place that it writes to.
replay_figures replay_once(const tune_settings &given, const std::string &recording, std::uint64_t every,
                           const std::string &customer_text, const fs::path &home)
{
    fs::create_directories(home);
    output file((home / CUSTOMER_FILE).string());
    file.print("{}", customer_text);
    file.finish();

    replay_settings settings;
    settings.recording = recording;
    settings.state = home.string();
    settings.every = every;
    settings.counts = given.counts;
    settings.notify_gyro = given.notify_gyro;
    settings.quiet = true;
    figure_taker taker(given.counts);
    replay(settings, taker.listener());
    fs::remove_all(home);
    return taker.figures();
}

std::optional<double> figure(const replay_figures &f, criterion by)
{
    switch (by)
    {
    case criterion::error:
        return f.error && std::isfinite(*f.error) ? f.error : std::nullopt;
    case criterion::time:
        return f.time;
    case criterion::spread:
        return f.spread;
    case criterion::resets:
        break;
    }
    return static_cast<double>(f.resets);
}

// A replay that never calibrated has the fewest resets of all: that must not make it the best.
bool is_missing(const replay_figures &f, criterion by)
{
    return !figure(f, by) || (by == criterion::resets && !f.spread);
}

} // namespace

standing stand(const tuned &result, criterion by)
{
    standing s;
    for (const replay_figures &f : result.replays)
    {
        s.missing += is_missing(f, by);
        if (const std::optional<double> value = figure(f, by))
            s.worst = std::max(s.worst.value_or(*value), *value);
    }
    return s;
}

std::vector<std::size_t> ranked(const std::vector<tuned> &results, criterion by)
{
    const auto before = [&results](std::size_t a, std::size_t b, criterion c)
    {
        const standing left = stand(results[a], c), right = stand(results[b], c);
        return left.missing != right.missing ? left.missing < right.missing
                                             : left.worst.value_or(0.0) < right.worst.value_or(0.0);
    };
    std::vector<std::size_t> order(results.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    // Stable sorts, the one that decides last.
    for (std::size_t i = std::size(CRITERIA); i-- > 0;)
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t a, std::size_t b) { return before(a, b, CRITERIA[i]); });
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return before(a, b, by); });
    return order;
}

customer_file::customer_file(const std::string &path)
{
    if (path.empty())
        return;
    const std::string text = text_of(path);
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines_.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }

    log_watch watch;
    set_log_sink([&watch](std::string_view line) { watch.take(line); });
    qvstorage_cfg cfg = {};
    const int32_t result = load_file_cust(&cfg, path.c_str());
    set_log_sink(nullptr);
    complaints_ = watch.complaints();
    if (result != 0)
        throw error(EXIT_MALFORMED, fmt::format("{}: the library stops within this customer file: {}", path,
                                                complaints_.empty() ? "it cannot be read" : complaints_.back()));
}

std::string customer_file::with(const std::vector<varied_key> &keys, const std::vector<double> &values) const
{
    std::vector<bool> set(keys.size());
    const auto setting = [&](std::size_t i) { return fmt::format("{} = {}\n", keys[i].name, values[i]); };
    std::string text;
    for (const std::string &line : lines_)
    {
        const auto key = std::find_if(keys.begin(), keys.end(),
                                      [name = key_of(line)](const varied_key &k) { return k.name == name; });
        const auto i = static_cast<std::size_t>(key - keys.begin());
        text += key == keys.end() ? line + "\n" : setting(i);
        if (key != keys.end())
            set[i] = true;
    }
    for (std::size_t i = 0; i < keys.size(); ++i)
        if (!set[i])
            text += setting(i);
    return text;
}

customer_file customer_file::without_paths() const
{
    customer_file others = *this;
    std::erase_if(others.lines_, names_a_file);
    return others;
}

std::vector<tuned> tune(const tune_settings &settings, const customer_file &base, const std::vector<varied_key> &keys,
                        const std::vector<combination> &combinations)
{
    std::for_each(settings.recordings.begin(), settings.recordings.end(), check_recording);
    const state_dir scratch("");
    const customer_file common = base.without_paths();
    const std::size_t per_combination = settings.recordings.size();
    std::vector<tuned> results;
    results.reserve(combinations.size());
    for (const combination &c : combinations)
        results.push_back({c, std::vector<replay_figures>(per_combination)});

    const auto recording_of = [&](std::size_t i) -> const std::string &
    { return settings.recordings[i % per_combination]; };
    const auto result_of = [&](std::size_t i) -> tuned & { return results[i / per_combination]; };
    counter done(results.size() * per_combination);
    process_work work;
    work.run = [&](std::size_t i)
    {
        const combination &c = result_of(i).what;
        return bytes_of(replay_once(settings, recording_of(i), c.every, common.with(keys, c.values),
                                    scratch.path() / std::to_string(i)));
    };
    work.name = [&](std::size_t i)
    { return fmt::format("combination {} with {}", result_of(i).what.number, recording_of(i)); };
    work.take = [&](std::size_t i, const std::string &bytes)
    {
        result_of(i).replays[i % per_combination] = figures_of(bytes);
        done.count();
    };
    run_in_processes(results.size() * per_combination, settings.jobs, work);
    return results;
}

} // namespace qv6d
