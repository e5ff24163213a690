// qv6d replay: rows, summary and log of a replay.

#include "commands.h"
#include "error.h"
#include "library_log.h"
#include "output.h"
#include "replay.h"
#include "report_file.h"
#include "storage/qvstorage_object.h"
#include "summary.h"

#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <unistd.h>

namespace qv6d
{

namespace
{

struct replay_arguments
{
    replay_settings settings;
    std::string output; // rows; empty: standard output unless that is a terminal
    std::string log;
    std::string report;
    bool json = false;
    bool truth_known = false;
    std::array<double, 3> true_offset = {}; // microtesla
};

std::array<double, 3> raw_microtesla(const event &e, bool counts)
{
    const float scale = counts ? MICROTESLA_PER_COUNT : 1.0f;
    return {e.x * scale, e.y * scale, e.z * scale};
}

// Where the rows go: to the file named, else down the pipe, but not over a person's screen or into the JSON.
void open_rows(std::optional<output> *rows, const replay_arguments &given)
{
    const bool down_the_pipe = !given.json && isatty(STDOUT_FILENO) == 0;
    if (given.output.empty() && !down_the_pipe)
        return;
    rows->emplace(given.output.empty() ? std::string("-") : given.output);
    (*rows)->print("t_ns,cal_x,cal_y,cal_z,off_x,off_y,off_z,radius,grade,azimuth,pitch,roll\n");
}

void print_row(output *rows, const sample_result &r)
{
    // The sign of a value that is not a number is the processor's whim.
    const auto plain = [](auto v) { return std::isnan(v) ? std::abs(v) : v; };
    rows->print("{},{},{},{},{},{},{},{},{},{},{},{}\n", r.t_ns, plain(r.calibrated[0]), plain(r.calibrated[1]),
                plain(r.calibrated[2]), plain(r.offset[0]), plain(r.offset[1]), plain(r.offset[2]), plain(r.radius),
                r.grade, plain(r.azimuth), plain(r.pitch), plain(r.roll));
}

void print_summary(const replay_arguments &given, const summary &sums, bool rows_on_screen)
{
    std::optional<std::array<double, 3>> truth;
    if (given.truth_known)
        truth = given.true_offset;
    const std::string &name = given.settings.recording;
    const std::string text = given.json ? sums.json(name, truth) : sums.text(name, truth);
    if (rows_on_screen)
    {
        fmt::print(stderr, "{}", text);
        return;
    }
    output screen("-");
    screen.print("{}", text);
    screen.finish();
}

void print_warnings(const replay_settings &settings, const log_watch &watch)
{
    const std::string name = settings.config.empty() ? "customer file" : settings.config;
    for (const std::string &complaint : watch.complaints())
        fmt::print(stderr, "qv6d: {}: {}\n", name, complaint);
    if (!watch.complaints().empty() && watch.customer_file_left())
        fmt::print(stderr, "qv6d: {}: the lines after that were not read\n", name);
    if (!watch.complaints().empty() && !settings.config.empty())
        fmt::print(stderr, "qv6d: {}: `qv6d check {}` says more\n", name, name);
    if (qvstorage_object.env.cfg.gyrthr != 0.0 && !settings.notify_gyro)
        fmt::print(stderr, "qv6d: env.gyrthr is set, but without --notify-gyro no gyroscope is heard: nothing moves\n");
}

void run_replay(const replay_arguments &given)
{
    if (given.json && given.output == "-")
        throw error(EXIT_USAGE, "--json and --output - would both write to standard output");
    refuse_overlap({given.settings.recording, given.settings.config}, {given.output, given.log, given.report});
    std::optional<output> rows, log;
    open_rows(&rows, given);
    if (!given.log.empty())
        log.emplace(given.log);

    summary sums;
    log_watch watch;
    report_file page(given.report);
    cycle_listener cycles([&](const cycle &c) { page.add(c); });
    replay_settings settings = given.settings;
    settings.debug = page.wanted();
    replay_listener listener;
    listener.on_log = [&](std::string_view line)
    {
        watch.take(line);
        if (page.wanted())
            cycles.on_log(line);
        if (log)
            log->print("E/qvalgo: {}\n", line);
    };
    listener.on_event = [&](const event &e)
    {
        sums.count(e);
        cycles.on_event(e);
    };
    listener.on_result = [&](const event &e, const sample_result &result)
    {
        cycles.on_result();
        sums.add(result, raw_microtesla(e, given.settings.counts));
        if (rows)
            print_row(&*rows, result);
    };
    const auto start = std::chrono::steady_clock::now();
    replay(settings, listener);
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;

    if (rows)
        rows->finish();
    if (log)
        log->finish();
    if (page.wanted())
        page.finish(cycles.finish(settings), given.settings);
    print_warnings(given.settings, watch);
    sums.finish(watch, wall.count());
    print_summary(given, sums, given.output == "-" || (given.output.empty() && rows));
}

constexpr const char *REPLAY_FOOTER =
    "A recording is CSV in time order, either one event per line or all sensors per line:\n"
    "  t_ns,sensor,x,y,z                    sensor acc (m/s²), gyr (rad/s) or mag (µT)\n"
    "  t_ns,ax,ay,az,gx,gy,gz,mx,my,mz\n"
    "Rows go to --output, else to standard output unless that is a terminal.\n\n"
    "Examples:\n"
    "  qv6d replay phone.csv                         see what the calibration makes of it\n"
    "  qv6d replay phone.csv --output rows.csv       and keep every sample's results\n"
    "  qv6d replay phone.csv --every 5               as if the magnetometer were slower\n"
    "  qv6d replay phone.csv --config device.cfg     under a customer file\n"
    "  qv6d replay phone.csv --state kept            twice: the second run resumes\n"
    "  qv6d replay phone.csv --report report.html    look at what it did, and why\n";

} // namespace

void add_replay_settings(CLI::App *command, replay_settings *settings)
{
    command->add_option("recording", settings->recording, "Recording to replay, - for standard input")->required();
    command->add_option("-c,--config", settings->config, "Customer file, copied into the state directory");
    command->add_option(
        "-s,--state", settings->state,
        "Directory with customer file and record files of these runs, not of a device; a second run with it resumes "
        "[default: a temporary one]");
    command->add_option("-n,--every", settings->every, "Use the Nth, 2Nth, ... magnetometer event")
        ->check(within(1, 1e9))
        ->capture_default_str();
    command
        ->add_option_function<std::string>(
            "--mag-unit", [settings](const std::string &unit) { settings->counts = unit == "counts"; },
            "Unit of the magnetometer events: µT, or raw counts of 0.15 µT")
        ->check(CLI::IsMember({"ut", "counts"}))
        ->default_str("ut");
    command->add_flag("--notify-gyro", settings->notify_gyro,
                      "Also hand gyr events to qvalgo_notify_data, for configurations with env.gyrthr");
}

void add_report_option(CLI::App *command, std::string *name)
{
    command->add_option("--report", *name, "Write a page to look at here: HTML, opens without a network");
}

void add_replay(CLI::App *app, int *)
{
    const auto given = std::make_shared<replay_arguments>();
    CLI::App *command = app->add_subcommand("replay", "Put a recording through the library, as a sensor service would");
    command->footer(with_exit_codes(REPLAY_FOOTER));
    add_replay_settings(command, &given->settings);
    command->add_option("-o,--output", given->output, "Write a row of results per magnetometer event here");
    add_numbers(command, "--true-offset", &given->true_offset, "Known hard-iron offset X,Y,Z in µT, to compare with");
    add_report_option(command, &given->report);
    command->add_option("--log", given->log, "Write the library's log here");
    command->add_flag("--json", given->json, "Print the summary as JSON");
    command->callback(
        [given, command]
        {
            given->truth_known = command->count("--true-offset") > 0;
            run_replay(*given);
        });
}

} // namespace qv6d
