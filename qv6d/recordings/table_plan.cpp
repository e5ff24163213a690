#include "recordings/table.h"

#include "common/error.h"
#include "common/text.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <map>

namespace qv6d
{

namespace
{

constexpr std::size_t LINES_AHEAD = 600;  // that decide on units
constexpr std::size_t HEADER_WITHIN = 20; // lines of preamble and header

bool is_comment(std::string_view line)
{
    const std::string_view text = trimmed(line);
    return text.empty() || text.front() == '#' || text.front() == '%' || text.starts_with("//");
}

std::string_view without_mark(std::string_view line)
{
    return line.starts_with("\xEF\xBB\xBF") ? line.substr(3) : line;
}

// "sep=;", which spreadsheets read.
std::optional<char> separator_line(std::string_view line)
{
    const std::string text = normalised(trimmed(line));
    return text.starts_with("sep=") && text.size() == 5 ? std::optional(text.back()) : std::nullopt;
}

// The delimiter that stands outside quotes; a decimal comma leaves the comma to tabs and semicolons.
char delimiter_of(std::string_view line)
{
    bool quoted = false;
    std::array<bool, 3> found = {};
    static constexpr std::string_view CANDIDATES = "\t;,";
    for (const char c : line)
    {
        quoted = quoted != (c == '"');
        if (const std::size_t at = CANDIDATES.find(c); !quoted && at != std::string_view::npos)
            found[at] = true;
    }
    const auto first = std::find(found.begin(), found.end(), true);
    return first == found.end() ? ' ' : CANDIDATES[static_cast<std::size_t>(first - found.begin())];
}

bool all_numbers(const std::vector<std::string_view> &fields)
{
    return !fields.empty() && std::all_of(fields.begin(), fields.end(), [](std::string_view f) { return number(f); });
}

// The first lines of a table, split.
struct beginning
{
    char delimiter = ',';
    std::uint64_t first_row = 0; // its line
    std::vector<std::string> header;
    std::vector<std::vector<std::string_view>> rows;
};

std::string_view at(const std::vector<std::string_view> &row, std::size_t column)
{
    return column < row.size() ? row[column] : std::string_view();
}

bool is_own_column(const std::string &stem)
{
    return stem == "uncal" || stem.find("uncal") != std::string::npos;
}

// Steps of a time column that are not zero, ascending. Empty when a row's time cannot be read, or nothing moves.
std::vector<double> steps_of(const beginning &table, std::size_t column)
{
    std::vector<double> steps;
    std::optional<std::int64_t> last;
    for (const auto &row : table.rows)
    {
        const auto t = nanoseconds(at(row, column), time_unit::ns); // in units of the file
        const auto fine = nanoseconds(at(row, column), time_unit::s);
        if (!t)
            return {};
        if (fine && last && *fine > *last)
            steps.push_back(static_cast<double>(*fine - *last) / 1e9);
        if (!fine && last && *t > *last)
            steps.push_back(static_cast<double>(*t - *last));
        last = fine ? fine : t;
    }
    std::sort(steps.begin(), steps.end());
    return steps;
}

// The unit in which the median step gives 2 to 1000 samples a second: no two units do.
std::optional<time_unit> unit_by_steps(const std::vector<double> &steps)
{
    if (steps.empty())
        return std::nullopt;
    const double median = steps[steps.size() / 2];
    for (const time_unit unit : {time_unit::s, time_unit::ms, time_unit::us, time_unit::ns})
        if (const double s = median * std::pow(10.0, static_cast<int>(unit)); s >= 0.0009 && s < 0.7)
            return unit;
    return std::nullopt;
}

// In a short file the number of digits since 1970 tells.
std::optional<time_unit> unit_by_digits(std::string_view text)
{
    switch (text.substr(0, text.find_first_of(".,")).size())
    {
    case 10:
        return time_unit::s;
    case 13:
        return time_unit::ms;
    case 16:
        return time_unit::us;
    case 19:
        return time_unit::ns;
    default:
        return std::nullopt;
    }
}

class planner
{
public:
    planner(text_lines *lines, const table_hints &hints) : lines_(lines), hints_(hints)
    {
    }

    std::optional<table_plan> plan()
    {
        if (!find_header())
            return std::nullopt;
        read_rows();
        if (!hints_.said->columns.empty())
            take_named_columns();
        else if (table_.header.empty())
            take_bare_columns();
        else
            take_header();
        if (plan_.parts.empty() || !time_)
            return std::nullopt;
        plan_.delimiter = table_.delimiter;
        plan_.rows_after = table_.first_row - 1;
        plan_.names = table_.header;
        decide_time_unit();
        for (table_part &part : plan_.parts)
            decide_unit(&part);
        plan_.format = format();
        return plan_;
    }

private:
    // The line of names, or the first row of numbers, whichever comes first.
    bool find_header()
    {
        const auto &ahead = lines_->ahead(LINES_AHEAD);
        std::optional<char> separator = hints_.said->delimiter;
        std::vector<std::string_view> fields;
        for (std::size_t k = 0; k < std::min(ahead.size(), HEADER_WITHIN); ++k)
        {
            const std::string_view line = without_mark(ahead[k]);
            if (is_comment(line))
                continue;
            if (const auto named = separator_line(line))
            {
                separator = separator.value_or(*named);
                continue;
            }
            table_.delimiter = separator.value_or(delimiter_of(line));
            split(line, table_.delimiter, &fields);
            const bool numbers = all_numbers(fields);
            if (numbers && fields.size() < 4)
                continue;
            names_ = recognise_columns(fields);
            const bool names = !names_.times.empty() && (!names_.triples.empty() || names_.sensor);
            if (!numbers && !names && hints_.said->columns.empty())
                continue;
            table_.first_row = k + (numbers ? 1 : 2);
            if (!numbers)
                table_.header.assign(fields.begin(), fields.end());
            return true;
        }
        return false;
    }

    void read_rows()
    {
        const auto &ahead = lines_->ahead(LINES_AHEAD);
        for (std::size_t k = table_.first_row - 1; k < ahead.size(); ++k)
            if (!is_comment(ahead[k]))
                split(without_mark(ahead[k]), table_.delimiter, &table_.rows.emplace_back());
    }

    void take_header()
    {
        plan_.sensor = names_.sensor;
        for (const time_column &t : names_.times)
        {
            const bool moves = table_.rows.size() < 2 || !steps_of(table_, t.column).empty();
            if (!time_ && moves && !table_.rows.empty() && nanoseconds(at(table_.rows[0], t.column), time_unit::ns))
                time_ = t;
        }
        if (!time_)
            time_ = names_.times.front();
        for (const triple &t : names_.triples)
            add_part(t);
        name_unnamed();
    }

    // Of several triples of one quantity the raw one is taken, else the first.
    void add_part(const triple &t)
    {
        const auto same = std::find_if(plan_.parts.begin(), plan_.parts.end(),
                                       [&](const table_part &p) { return p.what.what == t.what; });
        if (same == plan_.parts.end())
            plan_.parts.push_back({t, 1.0, ""});
        else if (t.what == quantity::mag && is_own_column(t.stem) && !is_own_column(same->what.stem))
            same->what = t;
    }

    // x, y, z are those of the sensor that the file is named after.
    void name_unnamed()
    {
        const auto unnamed = std::find_if(plan_.parts.begin(), plan_.parts.end(),
                                          [](const table_part &p) { return p.what.what == quantity::unnamed; });
        if (unnamed == plan_.parts.end() || plan_.sensor)
            return;
        auto what = quantity_named(normalised(hints_.file));
        if (!what && (hints_.one_of_several || plan_.parts.size() > 1))
        {
            plan_.parts.erase(unnamed);
            return;
        }
        if (!what)
            lines_->fail_at(table_.first_row - 1,
                            "the columns x, y, z do not say of which sensor: name the file after it (mag.csv, acc.csv, "
                            "gyr.csv), or say it with --columns, for example --columns t=time,mx=x,my=y,mz=z");
        if (*what == quantity::acc && is_sensor_logger() && normalised(hints_.file).starts_with("accelerometer") &&
            normalised(hints_.file).find("uncal") == std::string::npos)
            what = quantity::linear; // that app writes it without gravity
        unnamed->what.what = *what;
    }

    // Rows of numbers alone: the time is the column at one of the ends that never goes back.
    void take_bare_columns()
    {
        const auto what = quantity_named(normalised(hints_.file));
        const std::size_t count = table_.rows.front().size();
        const bool first = !steps_of(table_, 0).empty() && never_back(0);
        const bool last = count == 4 && !steps_of(table_, 3).empty() && never_back(3);
        if (hints_.one_of_several && !what)
            return;
        if (!what || first == last)
            lines_->fail_at(table_.first_row, "has no line of column names: say with --columns what they are, for "
                                              "example --columns t,mx,my,mz");
        time_ = time_column{first ? 0u : 3u, std::nullopt};
        const std::size_t x = first ? 1 : 0;
        plan_.parts.push_back({{*what, "", "", {x, x + 1, x + 2}}, 1.0, ""});
        if (*what == quantity::mag && count >= 7 && first)
            plan_.parts.push_back({{quantity::bias, "", "", {4, 5, 6}}, 1.0, ""});
    }

    bool never_back(std::size_t column)
    {
        std::optional<double> last;
        for (const auto &row : table_.rows)
        {
            const auto t = number(at(row, column));
            if (!t || (last && *t < *last))
                return false;
            last = t;
        }
        return true;
    }

    // "t,mx,my,mz" or "t=Time,mx=Field X,...".
    void take_named_columns()
    {
        std::map<std::string, std::size_t> places;
        std::vector<std::string_view> items;
        split(hints_.said->columns, ',', &items);
        for (std::size_t k = 0; k < items.size(); ++k)
        {
            const std::size_t equals = items[k].find('=');
            const std::string role = normalised(trimmed(items[k].substr(0, equals)));
            if (role == "-" || role.empty())
                continue;
            if (!places.emplace(role, equals == std::string_view::npos ? k : named(items[k].substr(equals + 1))).second)
                throw error(EXIT_USAGE, fmt::format("--columns: {} is there twice", printable(role)));
        }
        if (!places.contains("t"))
            throw error(EXIT_USAGE, "--columns: expected a t, the column of the time");
        time_ = time_column{places["t"], unit_of_header(places["t"])};
        places.erase("t");
        static constexpr std::pair<char, quantity> LETTERS[] = {
            {'a', quantity::acc}, {'g', quantity::gyr}, {'m', quantity::mag}, {'b', quantity::bias}};
        for (const auto &[letter, what] : LETTERS)
            take_letter(letter, what, &places);
        if (!places.empty())
            throw error(EXIT_USAGE, fmt::format("--columns: expected t, ax, ay, az, gx, gy, gz, mx, my, mz, bx, by, bz "
                                                "or -, found \"{}\"",
                                                printable(places.begin()->first)));
    }

    void take_letter(char letter, quantity what, std::map<std::string, std::size_t> *places)
    {
        triple t{what, "", "", {}};
        std::size_t found = 0;
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (const auto place = places->find({letter, "xyz"[axis]}); place != places->end())
            {
                t.columns[axis] = place->second;
                places->erase(place);
                ++found;
            }
        if (found % 3 != 0)
            throw error(EXIT_USAGE, fmt::format("--columns: expected {0}x, {0}y and {0}z together", letter));
        if (found == 0)
            return;
        for (const triple &known : names_.triples)
            if (std::is_permutation(known.columns.begin(), known.columns.end(), t.columns.begin()))
                t.unit = known.unit;
        plan_.parts.push_back({t, 1.0, ""});
    }

    std::size_t named(std::string_view wanted) const
    {
        const std::string plain = normalised(trimmed(wanted));
        for (std::size_t k = 0; k < table_.header.size(); ++k)
            if (normalised(table_.header[k]) == plain)
                return k;
        throw error(EXIT_USAGE, fmt::format("--columns: {} has no column \"{}\"{}", lines_->name(), printable(wanted),
                                            table_.header.empty() ? ": it has no line of column names" : ""));
    }

    std::optional<time_unit> unit_of_header(std::size_t column) const
    {
        for (const time_column &t : names_.times)
            if (t.column == column)
                return t.unit;
        return std::nullopt;
    }

    void decide_time_unit()
    {
        plan_.time = time_->column;
        const std::string_view first = table_.rows.empty() ? "0" : at(table_.rows[0], plan_.time);
        if (!is_missing(first) && !number(first))
            lines_->fail_at(table_.first_row,
                            fmt::format("expected a time that is a number, found \"{}\": dates and clock times are not "
                                        "read",
                                        printable(first.substr(0, 40))));
        std::optional<time_unit> unit = hints_.said->unit ? hints_.said->unit : time_->unit;
        if (!unit)
        {
            unit = unit_by_steps(steps_of(table_, plan_.time));
            if (!unit && !table_.rows.empty())
                unit = unit_by_digits(first);
            if (unit && *unit != time_unit::ns && format() != "senslogs")
                plan_.unit_decision = fmt::format("time: in {}, judged by its steps", name(*unit));
        }
        if (!unit && !table_.rows.empty())
            lines_->fail_at(table_.first_row, fmt::format("the unit of the time \"{}\" cannot be judged: say it with "
                                                          "--time-unit s, ms, us or ns",
                                                          printable(first.substr(0, 40))));
        plan_.unit = unit.value_or(time_unit::ns);
    }

    void decide_unit(table_part *part)
    {
        const quantity what = part->what.what;
        const auto said = hints_.said->factor(what);
        const auto written = unit_factor(what, part->what.unit);
        const bool acceleration = what == quantity::acc || what == quantity::linear || what == quantity::gravity;
        part->factor = said.value_or(written.value_or(1.0));
        const bool told = said || written;
        if (!told && !part->what.unit.empty())
            part->decision =
                fmt::format("the unit \"{}\" is not known, so it is taken as {}",
                            printable(part->what.unit.substr(0, 20)), acceleration ? "m/s²" : "µT or rad/s");
        else if (written && !said && *written != 1.0)
            part->decision = fmt::format("in {}", printable(part->what.unit));
        const double norm = what == quantity::acc && !plan_.sensor ? median_norm(part->what) : 0.0;
        const bool in_g = norm > 0.7 && norm < 1.4;
        if (in_g && !told)
        {
            part->factor = *unit_factor(quantity::acc, "g");
            part->decision = fmt::format("in g, judged by its median norm of {:.2f}", norm);
        }
        if (acceleration)
            decide_sign(part, in_g);
    }

    // Which way the acceleration points at rest.
    void decide_sign(table_part *part, bool in_g)
    {
        const bool judged = hints_.opposite.value_or(has_platform_signs()) && in_g && part->what.what == quantity::acc;
        if (judged)
            part->decision += "; signs changed, because an iPhone's point down at rest";
        else if (in_g && !hints_.said->opposite && part->what.unit.empty() && !hints_.said->acceleration)
            part->decision += "; signs as they are (--unit opposite changes them)";
        if (judged != hints_.said->opposite)
            part->factor = -part->factor;
    }

    double median_norm(const triple &t) const
    {
        std::vector<double> norms;
        for (const auto &row : table_.rows)
        {
            const auto x = number(at(row, t.columns[0])), y = number(at(row, t.columns[1])),
                       z = number(at(row, t.columns[2]));
            if (x && y && z && std::isfinite(*x + *y + *z))
                norms.push_back(std::hypot(*x, *y, *z));
        }
        if (norms.empty())
            return 0.0;
        std::nth_element(norms.begin(), norms.begin() + static_cast<std::ptrdiff_t>(norms.size() / 2), norms.end());
        return norms[norms.size() / 2];
    }

    // These apps write the acceleration as the platform gives it.
    bool has_platform_signs() const
    {
        return is_sensor_logger() || (table_.header.empty() && table_.delimiter == ' ');
    }

    bool is_sensor_logger() const
    {
        return std::any_of(table_.header.begin(), table_.header.end(),
                           [](const std::string &name) { return normalised(name) == "seconds_elapsed"; });
    }

    std::string format() const
    {
        if (!hints_.said->columns.empty())
            return "csv";
        if (is_sensor_logger())
            return "sensor_logger";
        if (table_.header.empty())
            return table_.delimiter == ' ' ? "senslogs" : "csv";
        const std::string time = normalised(table_.header[plan_.time]);
        if (time == "time (s)" && plan_.parts.front().what.stem.find(' ') == std::string::npos)
            return plan_.parts.front().what.stem == "gyroscope" || plan_.parts.front().what.stem == "acceleration"
                       ? "phyphox"
                       : "csv";
        if (time == "time (s)")
            return "phyphox";
        return time.starts_with("time since start") ? "androsensor" : "csv";
    }

    text_lines *lines_;
    const table_hints &hints_;
    beginning table_;
    column_names names_;
    std::optional<time_column> time_;
    table_plan plan_;
};

} // namespace

std::optional<table_plan> plan_table(text_lines *lines, const table_hints &hints)
{
    return planner(lines, hints).plan();
}

} // namespace qv6d
