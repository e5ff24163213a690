#include "recordings/foreign.h"

#include "common/error.h"
#include "common/text.h"
#include "recordings/gnss_logger.h"
#include "recordings/merge.h"
#include "recordings/table.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <iterator>
#include <map>

namespace qv6d
{

namespace
{

constexpr std::size_t TABLES_MAX = 100; // of one recording

struct candidate
{
    std::size_t index = 0; // in the container
    std::string file;      // without folders, safe to show
    table_plan plan;
};

// What the recording takes from which candidate.
struct choice
{
    std::size_t candidate, part;
    int rank;
};
using choices = std::map<quantity, choice>;

bool contains(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

// The uncalibrated field, and the acceleration with gravity of which units and signs are the surest.
int rank_of(const candidate &c, const triple &t)
{
    const std::string words = normalised(c.file) + " " + t.stem;
    const bool raw = contains(words, "uncal");
    if (t.what == quantity::mag)
        return raw ? 2 : 1;
    return contains(words, "total") ? 3 : raw ? 1 : 2;
}

choices choose(const std::vector<candidate> &candidates)
{
    choices best;
    for (std::size_t c = 0; c < candidates.size(); ++c)
        for (std::size_t p = 0; p < candidates[c].plan.parts.size(); ++p)
        {
            const triple &t = candidates[c].plan.parts[p].what;
            const choice found{c, p, rank_of(candidates[c], t)};
            const auto [at, fresh] = best.emplace(t.what, found);
            if (!fresh && at->second.rank < found.rank)
                at->second = found;
        }
    return best;
}

sensor sensor_for(quantity what)
{
    switch (what)
    {
    case quantity::gyr:
        return sensor::gyr;
    case quantity::mag:
    case quantity::unnamed: // each row names its own
        return sensor::mag;
    case quantity::bias:
        return sensor::bias;
    default:
        return sensor::acc;
    }
}

const char *what_it_is(quantity what)
{
    switch (what)
    {
    case quantity::linear:
        return ", acceleration without gravity";
    case quantity::gravity:
        return ", gravity";
    default:
        return "";
    }
}

class assembly
{
public:
    using opener = std::function<std::unique_ptr<text_lines>(std::size_t candidate)>;

    assembly(const std::vector<candidate> &candidates, opener open) : candidates_(candidates), open_(std::move(open))
    {
    }

    foreign_recording put_together()
    {
        best_ = choose(candidates_);
        choose_acceleration();
        const table_plan &first = candidates_[best_.begin()->second.candidate].plan;
        origin_.format = first.format;
        origin_.time = first.unit;
        std::map<std::size_t, std::vector<wanted_part>> wanted;
        for (const auto &[what, from] : best_)
        {
            describe(what, from);
            if (!(summed_ && (what == quantity::linear || what == quantity::gravity)))
                wanted[from.candidate].push_back({from.part, sensor_for(what)});
        }
        std::vector<std::unique_ptr<sample_stream>> streams;
        streams.reserve(wanted.size() + 1);
        for (const auto &[c, parts] : wanted)
            streams.push_back(read_table(open_(c), candidates_[c].plan, parts));
        if (summed_)
            streams.push_back(add_gravity(single(quantity::linear), single(quantity::gravity)));
        warn_of_calibrated_field();
        return {std::move(origin_), merge(std::move(streams))};
    }

    recording_origin &origin()
    {
        return origin_;
    }

private:
    void choose_acceleration()
    {
        const bool linear = best_.contains(quantity::linear), gravity = best_.contains(quantity::gravity);
        if (best_.contains(quantity::acc))
        {
            best_.erase(quantity::linear);
            best_.erase(quantity::gravity);
        }
        else if (linear && gravity && best_.at(quantity::linear).candidate != best_.at(quantity::gravity).candidate)
        {
            summed_ = true;
            origin_.decisions.push_back("acc: the sum of acceleration without gravity and of gravity, which is "
                                        "interpolated, because no acceleration with gravity was recorded");
        }
        else if (gravity)
        {
            best_.erase(quantity::linear);
            origin_.decisions.push_back("acc: gravity alone, because no acceleration with gravity was recorded");
        }
        else if (linear)
        {
            best_.erase(quantity::linear);
            origin_.decisions.push_back("acc: none; the acceleration that was recorded is without gravity, and gravity "
                                        "was not recorded");
        }
        if (best_.empty())
            throw error(EXIT_MALFORMED, fmt::format("{}: {}", candidates_.front().file, origin_.decisions.back()));
    }

    void describe(quantity what, const choice &from)
    {
        const candidate &c = candidates_[from.candidate];
        const table_part &part = c.plan.parts[from.part];
        const std::string sensors = what == quantity::unnamed ? "each row names its sensor" : name(sensor_for(what));
        const std::string stem =
            part.what.stem.empty() ? "" : fmt::format(", {}", printable(part.what.stem.substr(0, 60)));
        origin_.taken.push_back(fmt::format("{}: {}{}{}", sensors, c.file, stem, what_it_is(what)));
        if (!part.decision.empty())
            origin_.decisions.push_back(fmt::format("{}: {}", sensors, part.decision));
        const std::string &time = c.plan.unit_decision;
        if (!time.empty() &&
            std::find(origin_.decisions.begin(), origin_.decisions.end(), time) == origin_.decisions.end())
            origin_.decisions.push_back(time);
    }

    std::unique_ptr<sample_stream> single(quantity what)
    {
        const choice &from = best_.at(what);
        return read_table(open_(from.candidate), candidates_[from.candidate].plan, {{from.part, sensor::acc}});
    }

    void warn_of_calibrated_field()
    {
        const auto field = best_.find(quantity::mag);
        if (field == best_.end() || field->second.rank > 1)
            return;
        const candidate &c = candidates_[field->second.candidate];
        if (c.plan.format == "sensor_logger")
            origin_.decisions.push_back(fmt::format("mag: {} has the phone's own offset taken off; switch on the "
                                                    "uncalibrated magnetometer in the app",
                                                    c.file));
        if (c.plan.format == "phyphox")
            origin_.decisions.push_back("mag: as the phone calibrated it, unless the experiment says otherwise");
    }

    const std::vector<candidate> &candidates_;
    opener open_;
    choices best_;
    bool summed_ = false;
    recording_origin origin_;
};

foreign_recording read_gnss(std::unique_ptr<text_lines> lines)
{
    foreign_recording found;
    found.origin.format = "gnss_logger";
    std::vector<std::unique_ptr<sample_stream>> streams;
    streams.push_back(read_gnss_logger(std::move(lines), &found.origin.taken, &found.origin.decisions));
    found.events = merge(std::move(streams));
    return found;
}

// Whether the other phone platform wrote accelerations as it gives them: units of g, signs the opposite.
std::optional<bool> opposite_by_metadata(const container &files)
{
    for (std::size_t k = 0; k < files.names().size(); ++k)
    {
        if (normalised(without_folders(files.names()[k])) != "metadata.csv")
            continue;
        const auto lines = files.open(k);
        std::vector<std::string> header;
        std::vector<std::string_view> fields;
        std::string_view line;
        if (!lines->next(&line))
            return std::nullopt;
        split(line, ',', &fields);
        std::transform(fields.begin(), fields.end(), std::back_inserter(header), normalised);
        if (!lines->next(&line))
            return std::nullopt;
        split(line, ',', &fields);
        std::string platform, standardised;
        for (std::size_t column = 0; column < std::min(header.size(), fields.size()); ++column)
        {
            if (header[column] == "platform")
                platform = normalised(fields[column]);
            if (header[column] == "standardisation")
                standardised = normalised(fields[column]);
        }
        if (platform.empty())
            return std::nullopt;
        return platform == "ios" && standardised != "true" && standardised != "1" && standardised != "yes";
    }
    return std::nullopt;
}

bool is_spreadsheet(const std::vector<std::string> &names)
{
    return std::any_of(names.begin(), names.end(),
                       [](const std::string &name) { return name == "xl/workbook.xml" || name == "content.xml"; });
}

// Plans of all files that are tables. What could not be read is said in `left_out`.
std::vector<candidate> find_tables(const container &files, const reading &said, std::vector<std::string> *left_out)
{
    std::vector<candidate> found;
    table_hints hints;
    hints.said = &said;
    hints.one_of_several = true;
    hints.opposite = opposite_by_metadata(files);
    for (std::size_t k = 0; k < files.names().size() && found.size() < TABLES_MAX; ++k)
    {
        if (!may_be_table(files.names()[k]))
            continue;
        hints.file = printable(without_folders(files.names()[k]));
        try
        {
            text_lines lines(files.open(k));
            if (auto plan = plan_table(&lines, hints))
                found.push_back({k, hints.file, std::move(*plan)});
        }
        catch (const error &e)
        {
            if (e.code != EXIT_MALFORMED) // such a file may be no part of the recording; one that cannot be read may be
                throw;
            left_out->push_back(fmt::format("left out: {}", e.what()));
        }
    }
    return found;
}

// Places of the GnssLogger files.
std::vector<std::size_t> find_gnss(const container &files)
{
    std::vector<std::size_t> found;
    for (std::size_t k = 0; k < files.names().size(); ++k)
    {
        if (!may_be_table(files.names()[k]) || !normalised(files.names()[k]).ends_with(".txt"))
            continue;
        try
        {
            text_lines lines(files.open(k));
            if (is_gnss_logger(&lines))
                found.push_back(k);
        }
        catch (const error &e) // of a file that may be no part of the recording
        {
            if (e.code != EXIT_MALFORMED)
                throw;
        }
    }
    return found;
}

// Places of the files that could each give the recording its field: with two of them there are two recordings, and the
// events of one would stand beside those of the other.
std::vector<std::size_t> fields_of(const std::vector<candidate> &tables)
{
    std::vector<std::size_t> found;
    int best = 0;
    for (const candidate &c : tables)
        for (const table_part &part : c.plan.parts)
        {
            if (part.what.what != quantity::mag && part.what.what != quantity::unnamed)
                continue;
            const int rank = rank_of(c, part.what);
            if (rank > best)
                found.clear();
            best = std::max(best, rank);
            if (rank == best && (found.empty() || found.back() != c.index))
                found.push_back(c.index);
        }
    return found;
}

void refuse_several(const container &files, const std::vector<std::size_t> &places, const std::string &path)
{
    if (places.size() > 1)
        throw error(EXIT_MALFORMED,
                    fmt::format("{}: holds several recordings, such as {} and {}: name one of them", path,
                                printable(files.names()[places[0]]), printable(files.names()[places[1]])));
}

} // namespace

std::string without_folders(const std::string &name)
{
    return name.substr(name.find_last_of("/\\") + 1);
}

bool may_be_table(const std::string &name)
{
    const std::string file = normalised(without_folders(name)), path = normalised(name);
    const bool text = file.ends_with(".csv") || file.ends_with(".txt") || file.ends_with(".tsv");
    const bool other = file.starts_with('.') || file == "metadata.csv" || file == "annotation.csv" ||
                       file == "mergeddata.csv" || contains(path, "__macosx") || contains("/" + path, "/meta/") ||
                       file.starts_with("watch") || file.starts_with("wrist") || file.starts_with("headphone");
    return text && !other;
}

std::optional<foreign_recording> read_foreign(std::unique_ptr<text_lines> *lines, const std::string &file,
                                              const reading &said)
{
    if (said.columns.empty() && is_gnss_logger(lines->get()))
        return read_gnss(std::move(*lines));
    table_hints hints;
    hints.said = &said;
    hints.file = printable(without_folders(file));
    auto plan = plan_table(lines->get(), hints);
    if (!plan)
        return std::nullopt;
    const std::vector<candidate> one = {{0, hints.file, std::move(*plan)}};
    return assembly(one, [&](std::size_t) { return std::move(*lines); }).put_together();
}

bool looks_foreign(text_lines *lines, const std::string &file)
{
    try
    {
        const reading nothing({});
        table_hints hints;
        hints.said = &nothing;
        hints.file = without_folders(file);
        return is_gnss_logger(lines) || plan_table(lines, hints);
    }
    catch (const error &e)
    {
        if (e.code == EXIT_INTERRUPTED || e.code == EXIT_INPUT)
            throw;
        return e.code == EXIT_MALFORMED;
    }
}

bool is_one_foreign(const container &files)
{
    const std::vector<std::size_t> gnss = find_gnss(files);
    if (!gnss.empty())
        return gnss.size() == 1;
    const reading nothing({});
    std::vector<std::string> left_out;
    const std::vector<candidate> tables = find_tables(files, nothing, &left_out);
    return !tables.empty() && fields_of(tables).size() < 2;
}

foreign_recording read_foreign(const container &files, const std::string &path, const reading &said)
{
    if (is_spreadsheet(files.names()))
        throw error(EXIT_MALFORMED, fmt::format("{}: is a spreadsheet: let the app export CSV", path));
    const std::vector<std::size_t> gnss = find_gnss(files);
    refuse_several(files, gnss, path);
    if (!gnss.empty())
        return read_gnss(std::make_unique<text_lines>(files.open(gnss.front())));
    std::vector<std::string> left_out;
    const std::vector<candidate> tables = find_tables(files, said, &left_out);
    if (tables.empty())
        throw error(EXIT_MALFORMED, fmt::format("{}: expected the files of a recording, such as Magnetometer.csv; "
                                                "found none{}",
                                                path,
                                                left_out.empty() ? " (zip files in it and folders of a folder are not "
                                                                   "searched: name the one that holds them)"
                                                                 : "; " + left_out.front()));
    refuse_several(files, fields_of(tables), path);
    assembly parts(tables, [&](std::size_t c) { return std::make_unique<text_lines>(files.open(tables[c].index)); });
    parts.origin().decisions = std::move(left_out);
    return parts.put_together();
}

} // namespace qv6d
