#include "commands/replay_many.h"

#include "common/output.h"
#include "common/processes.h"
#include "common/terminal.h"
#include "common/text.h"
#include "explain/findings.h"
#include "library/customer_words.h"
#include "library/library_log.h"
#include "library/state_dir.h"
#include "library/summary.h"
#include "page/overview.h"
#include "page/page_file.h"
#include "page/run_facts.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <set>
#include <thread>

namespace qv6d
{

namespace
{

namespace fs = std::filesystem;
using nlohmann::ordered_json;

struct listed_run
{
    replay_settings settings;
    std::string title;
    std::string page; // its file's name in the folder
};

std::string file_name(const std::string &path)
{
    return fs::path(path).filename().string();
}

std::string title_of(const replay_list &list, const std::string &recording, const std::string &config)
{
    if (list.configs.size() < 2)
        return file_name(recording);
    return list.recordings.size() < 2 ? file_name(config) : file_name(recording) + ", " + file_name(config);
}

// A name of its own for each page, also where two folders have recordings of one name.
std::string page_name(const replay_settings &settings, bool several_configs, std::set<std::string> *taken)
{
    std::string stem = fs::path(settings.recording).stem().string();
    if (several_configs)
        stem += "-" + fs::path(settings.config).stem().string();
    std::string name = stem + ".html";
    for (int k = 2; !taken->insert(name).second; ++k)
        name = fmt::format("{}-{}.html", stem, k);
    return name;
}

std::vector<listed_run> runs_of(const replay_list &list)
{
    const std::vector<std::string> configs = list.configs.empty() ? std::vector<std::string>(1) : list.configs;
    std::set<std::string> taken = {"index.html"};
    std::vector<listed_run> runs;
    for (const std::string &recording : list.recordings)
        for (const std::string &config : configs)
        {
            listed_run run = {list.settings, title_of(list, recording, config), ""};
            run.settings.recording = recording;
            run.settings.config = config;
            run.settings.quiet = run.settings.debug = true;
            run.page = page_name(run.settings, configs.size() > 1, &taken);
            runs.push_back(run);
        }
    return runs;
}

// What the run says in JSON, the data of its page, and what the library did not take of its configuration.
ordered_json replayed(const listed_run &run, const replay_list &list)
{
    page_data page;
    cycle_counts counts;
    log_watch watch;
    summary figures(run.settings.counts);
    cycle_hearing hearing;
    hearing.on_cycle = [&](const cycle &c)
    {
        counts.add(c);
        page.add(c);
    };
    hearing.on_event = [&](const event &e)
    {
        figures.count(e);
        page.add(e);
    };
    hearing.on_result = [&](const event &e, const sample_result &r) { figures.add(e, r, watch.resets()); };
    hearing.on_log = [&](const log_entry &line) { watch.take(line); };
    const cycle_source source = replay_cycles(run.settings, hearing);
    figures.finish(watch);
    page_facts facts = {run.title};
    facts.run = run_facts(run.settings);
    facts.true_offset = list.expected.true_offset;
    const findings found = find_by_replaying(counts, source, run.settings);
    ordered_json result = {
        {"document", replay_document(run.settings, list.expected, figures, source.grade_trust, *source.input)},
        {"page", page.json(found, facts)},
        {"complaints", plain_words(run.settings.config, watch.complaints())},
        {"code", EXIT_OK}};
    if (const grade_requirement &required = list.expected.required;
        required.grade > 0 && !required.met_by(source.calibration))
        result["unmet"] = required.unmet(source.calibration);
    return result;
}

std::string replay_in_process(const listed_run &run, const replay_list &list)
{
    try
    {
        return json_text(replayed(run, list));
    }
    catch (const error &e)
    {
        if (e.code == EXIT_INTERRUPTED)
            throw;
        return json_text({{"code", e.code}, {"error", e.what()}});
    }
}

// Where the reports of the runs go.
class list_report
{
public:
    // Throws qv6d::error when it cannot be written.
    explicit list_report(const std::string &path) : path_(path)
    {
        if (path.empty())
            return;
        expect_page_template();
        const std::string kind = fs::path(path).extension().string();
        overlaid_ = kind == ".html" || kind == ".htm";
        std::error_code failure;
        if (!overlaid_ && !fs::create_directories(path, failure) && !fs::is_directory(path))
            throw error(EXIT_OUTPUT, fmt::format("{}: is not a directory", path));
    }

    bool overlaid() const
    {
        return overlaid_;
    }

    // Of all that is written.
    std::vector<std::string> names(const std::vector<listed_run> &runs) const
    {
        if (path_.empty() || overlaid_)
            return {path_};
        std::vector<std::string> all = {(fs::path(path_) / "index.html").string()};
        for (const listed_run &run : runs)
            all.push_back((fs::path(path_) / run.page).string());
        return all;
    }

    // A page of its own for the run, to which its row then leads.
    void add(const listed_run &run, ordered_json *page, ordered_json *row)
    {
        if (path_.empty())
            return;
        if (overlaid_)
        {
            (*page)["overview"] = *row;
            return;
        }
        (*page)["index"] = "index.html";
        write((fs::path(path_) / run.page).string(), *page);
        (*row)["page"] = run.page;
    }

    void finish(const std::string &title, const ordered_json &rows, const ordered_json &pages)
    {
        if (path_.empty())
            return;
        const std::string name = overlaid_ ? path_ : (fs::path(path_) / "index.html").string();
        ordered_json failed = rows;
        std::erase_if(failed.get_ref<ordered_json::array_t &>(),
                      [](const ordered_json &row) { return row["error"].is_null(); });
        write(name, overlaid_ ? comparing_page(title, pages, failed) : index_page(rows));
        say(fmt::format("report: {}\n", name));
    }

private:
    static void write(const std::string &name, const ordered_json &data)
    {
        output out(name);
        write_page(&out, data);
        out.finish();
    }

    std::string path_;
    bool overlaid_ = false;
};

void refuse_what_is_for_one(const replay_list &list, const std::vector<listed_run> &runs, const list_report &report)
{
    if (std::ranges::count(list.recordings, "-") > 0)
        throw error(EXIT_USAGE, "-: standard input can be read once only: name files to replay several times");
    if (!list.settings.state.empty())
        throw error(EXIT_USAGE, "--state is for one recording: each would resume from the one before");
    if (report.overlaid() && runs.size() > OVERLAID_MAX)
        throw error(EXIT_USAGE, fmt::format("{}: {} runs are too many for one page, {} at most: name a folder for a "
                                            "page of each",
                                            list.report, runs.size(), OVERLAID_MAX));
    std::vector<std::string> inputs = list.recordings;
    inputs.insert(inputs.end(), list.configs.begin(), list.configs.end());
    refuse_overlap(inputs, report.names(runs));
}

// The runs' results, in the order of the runs.
class replayed_list
{
public:
    // Throws qv6d::error when the report cannot be written.
    replayed_list(const replay_list &list, const std::vector<listed_run> &runs)
        : list_(list), runs_(runs), report_(list.report), rows_(runs.size()), documents_(runs.size()),
          pages_(runs.size()), codes_(runs.size(), EXIT_OK)
    {
        refuse_what_is_for_one(list, runs, report_);
    }

    void take(std::size_t k, ordered_json came)
    {
        codes_[k] = came["code"].get<exit_code>();
        if (codes_[k] != EXIT_OK)
        {
            const std::string reason = came["error"].get<std::string>();
            rows_[k] = overview_of_failure(runs_[k].title, reason);
            documents_[k] = replay_failure(runs_[k].settings, codes_[k], reason);
            return;
        }
        tell(k, came);
        rows_[k] = overview(came["page"]);
        report_.add(runs_[k], &came["page"], &rows_[k]);
        documents_[k] = std::move(came["document"]);
        documents_[k]["page"] = rows_[k]["page"];
        if (report_.overlaid())
            pages_[k] = std::move(came["page"]);
    }

    void write_report()
    {
        std::erase_if(pages_, [](const ordered_json &page) { return page.is_null(); });
        report_.finish(list_.recordings.size() == 1 ? file_name(list_.recordings[0]) : "Several recordings", rows_,
                       pages_);
    }

    void print() const
    {
        output screen("-");
        for (std::size_t k = 0; k < runs_.size(); ++k)
            screen.print("{}\n", list_.json ? json_text(documents_[k]) : line(k));
        screen.finish();
    }

    // Of the first run that failed.
    exit_code code() const
    {
        const auto failed = std::ranges::find_if(codes_, [](exit_code code) { return code != EXIT_OK; });
        return failed == codes_.end() ? EXIT_OK : *failed;
    }

private:
    // What a person should know of the run, once.
    void tell(std::size_t k, const ordered_json &came)
    {
        for (const ordered_json &complaint : came["complaints"])
            if (told_.insert(complaint).second)
                note(complaint);
        if (!came.contains("unmet"))
            return;
        codes_[k] = EXIT_UNMET;
        note(fmt::format("{}: {}", runs_[k].title, came["unmet"].get<std::string>()));
    }

    std::string line(std::size_t k) const
    {
        const bool names_itself = !rows_[k]["error"].is_null();
        return (names_itself ? "" : runs_[k].title + ": ") + overview_text(rows_[k]);
    }

    const replay_list &list_;
    const std::vector<listed_run> &runs_;
    list_report report_;
    std::vector<ordered_json> rows_, documents_, pages_;
    std::vector<exit_code> codes_;
    std::set<std::string> told_;
};

} // namespace

exit_code replay_many(const replay_list &list)
{
    const std::vector<listed_run> runs = runs_of(list);
    replayed_list results(list, runs);
    process_work work;
    const state_dir scratch("");
    work.run = [&](std::size_t k)
    {
        setenv("TMPDIR", scratch.path().c_str(), 1); // what the process leaves goes with this
        return replay_in_process(runs[k], list);
    };
    work.name = [&](std::size_t k) { return runs[k].title; };
    work.take = [&](std::size_t k, const std::string &result) { results.take(k, ordered_json::parse(result)); };
    run_in_processes(runs.size(), std::max(1u, std::thread::hardware_concurrency()), work);
    results.write_report();
    results.print();
    return results.code();
}

} // namespace qv6d
