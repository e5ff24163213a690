// qv6d replay: rows, summary and log of a replay.

#include "commands/commands.h"
#include "commands/completion.h"
#include "commands/options.h"
#include "commands/replay_document.h"
#include "commands/replay_many.h"
#include "common/error.h"
#include "common/output.h"
#include "common/terminal.h"
#include "common/text.h"
#include "library/configuration.h"
#include "library/customer_words.h"
#include "library/library_log.h"
#include "library/replay.h"
#include "library/state_dir.h"
#include "library/summary.h"
#include "page/page_file.h"
#include "page/run_facts.h"
#include "trust/trust_listener.h"
#include "trust/words.h"

#include <cmath>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <unistd.h>

namespace qv6d
{

namespace
{

struct replay_arguments
{
    replay_settings settings;
    std::vector<std::string> recordings, configs;
    std::string output; // rows; empty: standard output unless that is a terminal
    std::string log;
    std::string report;
    bool json = false;
    std::array<double, 3> true_offset = {}; // microtesla, when the option is given
    replay_expectation expected;
};

void print_row(output *rows, const sample_result &r)
{
    // The sign of NaN depends on the processor.
    const auto plain = [](auto v) { return std::isnan(v) ? std::abs(v) : v; };
    rows->print("{},{},{},{},{},{},{},{},{},{},{},{}\n", r.t_ns, plain(r.calibrated[0]), plain(r.calibrated[1]),
                plain(r.calibrated[2]), plain(r.offset[0]), plain(r.offset[1]), plain(r.offset[2]), plain(r.radius),
                r.grade, plain(r.azimuth), plain(r.pitch), plain(r.roll));
}

// What a replay gives: rows, log and report in their files, and the summary.
class replay_results
{
public:
    // Opens the files.
    explicit replay_results(const replay_arguments &given)
        : given_(given), trust_(given.settings.counts), input_(given.settings.counts ? QV6D_MICROTESLA_PER_COUNT : 1.0),
          page_(given.report), cycles_([this](const cycle &c) { take(c); }), summary_(given.settings.counts)
    {
        open_rows();
        if (!given.log.empty())
            log_.emplace(given.log);
    }

    replay_results(const replay_results &) = delete;
    replay_results &operator=(const replay_results &) = delete;

    bool need_debug_lines() const
    {
        return page_.wanted();
    }

    replay_listener listener()
    {
        replay_listener all;
        all.input = &input_;
        all.on_log = [this](const log_entry &line) { take(line); };
        all.on_event = [this](const event &e) { take(e); };
        all.on_result = [this](const event &e, const sample_result &result) { take(e, result); };
        return all;
    }

    // The report comes first: it may take long, and an interrupt during it leaves no file.
    void finish_files()
    {
        summary_.finish(watch_);
        grade_trust_ = trust_.finish();
        if (page_.wanted())
        {
            cycle_source source = cycles_.finish(given_.settings, grade_trust_);
            source.input = input_;
            page_.finish(find_by_replaying(counts_, source, given_.settings), facts());
        }
        output::finish_all({rows_ ? &*rows_ : nullptr, log_ ? &*log_ : nullptr});
    }

    const log_watch &log() const
    {
        return watch_;
    }

    void print_summary() const
    {
        const std::string &name = given_.settings.recording;
        const std::string text =
            given_.json
                ? json_text(replay_document(given_.settings, given_.expected, summary_, grade_trust_, input_), 2) + "\n"
                : summary_.text(name, given_.expected.true_offset) + input_.text() + words(grade_trust_) + "\n";
        const bool rows_on_stdout = given_.output == "-" || (given_.output.empty() && rows_);
        if (rows_on_stdout)
        {
            if (!is_quiet())
                say(text);
            return;
        }
        output screen("-");
        screen.print("{}", text);
        screen.finish();
    }

    // Throws EXIT_UNMET.
    void require_grade() const
    {
        const grade_requirement &required = given_.expected.required;
        if (required.grade > 0 && !required.met_by(summary_.calibration()))
            throw error(EXIT_UNMET,
                        fmt::format("{}: {}", given_.settings.recording, required.unmet(summary_.calibration())));
    }

private:
    // Rows go to the file named, else down the pipe, but not over a person's screen or into the JSON.
    void open_rows()
    {
        const bool down_the_pipe = !given_.json && isatty(STDOUT_FILENO) == 0;
        if (given_.output.empty() && !down_the_pipe)
            return;
        rows_.emplace(given_.output.empty() ? std::string("-") : given_.output);
        rows_->print("t_ns,cal_x,cal_y,cal_z,off_x,off_y,off_z,radius,grade,azimuth,pitch,roll\n");
    }

    void take(const log_entry &line)
    {
        watch_.take(line);
        if (page_.wanted())
            cycles_.on_log(line);
        if (log_)
            log_->print("E/qvalgo: {}\n", line.text());
    }

    page_facts facts() const
    {
        page_facts known = {std::filesystem::path(given_.settings.recording).filename().string()};
        known.run = run_facts(given_.settings);
        known.true_offset = given_.expected.true_offset;
        return known;
    }

    void take(const event &e)
    {
        page_.add(e);
        summary_.count(e);
        cycles_.on_event(e);
        trust_.on_event(e);
    }

    void take(const cycle &c)
    {
        counts_.add(c);
        page_.add(c);
    }

    void take(const event &e, const sample_result &result)
    {
        cycles_.on_result();
        trust_.on_result(e, result);
        summary_.add(e, result, watch_.resets());
        if (rows_)
            print_row(&*rows_, result);
    }

    const replay_arguments &given_;
    std::optional<output> rows_, log_;
    trust_listener trust_;
    trust grade_trust_;
    plausibility input_;
    page_file page_;
    cycle_counts counts_;
    cycle_listener cycles_;
    log_watch watch_;
    summary summary_;
};

void print_warnings(const replay_settings &settings, const log_watch &watch)
{
    const std::string name = settings.config.empty() ? "customer file" : settings.config;
    for (const std::string &line : plain_words(name, watch.complaints()))
        note(line);
    if (!watch.complaints().empty() && watch.customer_file_left())
        note(fmt::format("{}: the lines after that were not read", name));
    if (!watch.complaints().empty() && !settings.config.empty())
        note(fmt::format("{}: `qv6d check {}` says more", name, name));
    if (configuration_in_force().env.gyrthr != 0.0 && !settings.notify_gyro)
        note("env.gyrthr is set, but without --notify-gyro no gyroscope is heard: nothing moves");
}

void refuse_conflicts(const replay_arguments &given)
{
    if (given.json && given.output == "-")
        throw error(EXIT_USAGE, "--json and --output - would both write to standard output");
    const std::vector<std::string> named = {given.output, given.log, given.report};
    std::vector<std::string> written = record_files_in(given.settings.state);
    written.insert(written.end(), named.begin(), named.end());
    refuse_overlap({given.settings.recording, given.settings.config}, named);
    refuse_overlap({given.settings.recording}, written); // the customer file may be the one that is there
}

exit_code run_list(const replay_arguments &given)
{
    if (!given.output.empty() || !given.log.empty())
        throw error(EXIT_USAGE, "--output and --log are for one recording under one configuration");
    return replay_many({given.settings, given.recordings, given.configs, given.report, given.json, given.expected});
}

// In place of one recording and one customer file.
void take_several(CLI::App *command, replay_arguments *given)
{
    command->remove_option(command->get_option("recording"));
    command->remove_option(command->get_option("--config"));
    command
        ->add_option("recording", given->recordings,
                     "Recording to replay, - for standard input; of several, each gets a line")
        ->type_name(FILE_VALUE)
        ->required();
    command
        ->add_option("-c,--config", given->configs,
                     "Customer file; it is copied into the state directory. Given more than once, the recording is "
                     "replayed under each")
        ->type_name(FILE_VALUE)
        ->allow_extra_args(false);
}

void run_replay(const replay_arguments &given)
{
    refuse_conflicts(given);
    replay_results results(given);
    replay_settings settings = given.settings;
    settings.debug = results.need_debug_lines();
    replay(settings, results.listener());
    results.finish_files();
    print_warnings(given.settings, results.log());
    results.print_summary();
    results.require_grade();
}

constexpr const char *REPLAY_FOOTER =
    "A recording is a CSV file in time order. A line has one event or all three sensors:\n"
    "  t_ns,sensor,x,y,z                    sensor is acc (m/s²), gyr (rad/s) or mag (µT)\n"
    "  t_ns,ax,ay,az,gx,gy,gz,mx,my,mz\n"
    "Files, zip files and folders of phone apps are read as they are: `qv6d import` says what is in them.\n"
    "Rows of results go to --output. Without it they go to standard output, unless that is a terminal.\n\n"
    "Examples:\n"
    "  qv6d replay phone.csv                         show a summary of the calibration\n"
    "  qv6d replay phone.csv --output rows.csv       keep the results of every sample too\n"
    "  qv6d replay phone.csv --every 5               replay as if the magnetometer were slower\n"
    "  qv6d replay phone.csv --config device.cfg     use a customer file\n"
    "  qv6d replay phone.csv --state kept            keep the calibration; a second run resumes from it\n"
    "  qv6d replay phone.csv --report report.html    write a report with pictures and reasons\n"
    "  qv6d replay phone.csv --require-grade 3 --within 20 --quiet >/dev/null\n"
    "                                                test a device: exits with 6 if grade 3 comes later, or is lost\n"
    "  qv6d replay *.csv --report reports            a report for each, and a table of all of them\n"
    "  qv6d replay phone.csv --config a.cfg --config b.cfg --report both.html\n"
    "                                                lay two configurations over each other\n";

void add_requirement(CLI::App *command, grade_requirement *required)
{
    CLI::Option *grade =
        command->add_option("--require-grade", required->grade,
                            "Exit with 6 unless this grade, 1 to 3, is reached and is there at the end");
    grade->check(CLI::Range(static_cast<int>(QV6D_GRADE_LOW), static_cast<int>(QV6D_GRADE_BEST)))->type_name("N");
    command
        ->add_option_function<double>(
            "--within", [required](double seconds) { required->within_s = seconds; },
            "With --require-grade: it must be reached in this many seconds from the first event")
        ->check(within(0.0, 1e9))
        ->type_name("SECONDS")
        ->needs(grade);
}

} // namespace

void add_replay(CLI::App *app, exit_code *result)
{
    const auto given = std::make_shared<replay_arguments>();
    CLI::App *command =
        app->add_subcommand("replay", "Replay a recording through the library, as a sensor service would");
    command->footer(with_exit_codes(REPLAY_FOOTER, {{EXIT_UNMET, "the grade of --require-grade was not reached"}}));
    add_replay_settings(command, &given->settings);
    take_several(command, given.get());
    command->add_option("-o,--output", given->output, "Write a row of results per magnetometer event to this file")
        ->type_name(FILE_VALUE);
    add_numbers(command, "--true-offset", &given->true_offset,
                "True hard-iron offset X,Y,Z in µT; the summary says how far the calibration is from it");
    add_report(command, &given->report);
    add_requirement(command, &given->expected.required);
    command->add_option("--log", given->log, "Write the library's log to this file")->type_name(FILE_VALUE);
    command->add_flag("--json", given->json, "Print the summary as JSON");
    command->callback(
        [given, command, result]
        {
            if (command->count("--true-offset") > 0)
                given->expected.true_offset = given->true_offset;
            if (given->recordings.size() > 1 || given->configs.size() > 1)
            {
                *result = run_list(*given);
                return;
            }
            given->settings.recording = given->recordings[0];
            given->settings.config = given->configs.empty() ? "" : given->configs[0];
            run_replay(*given);
        });
}

} // namespace qv6d
