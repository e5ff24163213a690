// qv6d inspect: a record file field by field, or what two of them differ in.

#include "commands/commands.h"
#include "commands/completion.h"
#include "commands/options.h"
#include "common/error.h"
#include "common/json_document.h"
#include "common/output.h"
#include "common/text.h"
#include "files/record_file.h"
#include "library/configuration.h"

#include <map>
#include <memory>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

using json = nlohmann::ordered_json;

struct inspect_arguments
{
    std::vector<std::string> files;
    std::string type;
    bool json = false;
};

// The configuration's reference values; a data backup has none.
class references
{
public:
    explicit references(record_type type) : known_(type == record_type::configuration)
    {
    }

    bool differs(const record_field &field, record_view record) const
    {
        return known_ && !same_value(field, record, defaults_);
    }

    std::string remark(const record_field &field, record_view record) const
    {
        if (!differs(field, record))
            return "";
        std::string text = fmt::format("default {}", value_text(field, defaults_));
        if (same_value(field, record, start_))
            text += ", set by QVS_initLib";
        else if (!same_value(field, start_, defaults_))
            text += fmt::format(", QVS_initLib sets {}", value_text(field, start_));
        return text;
    }

    json default_value(const record_field &field) const
    {
        return value_json(field, defaults_);
    }

private:
    bool known_;
    qvstorage_cfg defaults_ = default_configuration(), start_ = start_configuration();
};

std::string joined(const std::string &a, const std::string &b)
{
    return a.empty() || b.empty() ? a + b : a + "; " + b;
}

// A vector, a row of a matrix, or a field by itself.
struct row
{
    std::string name;
    std::size_t offset; // in the file
    std::vector<std::string> cells;
    std::string unit, remark;
    bool differs = false;
};

std::string row_name(const std::string &field_name)
{
    return field_name.substr(0, field_name.rfind('['));
}

std::vector<row> rows_of(const record_file &file)
{
    const references reference(file.type);
    std::vector<row> rows;
    for (const record_field &field : record_fields(file.type))
    {
        const std::string name = row_name(field.name);
        if (rows.empty() || rows.back().name != name)
            rows.push_back({name, RECORD_AT + field.offset, {}, field.unit, "", false});
        row &to = rows.back();
        if (!file.has(field))
        {
            to.cells.push_back("-");
            continue;
        }
        const record_view record = file.view();
        to.cells.push_back(value_text(field, record));
        std::string about = reference.remark(field, record);
        if (!about.empty() && name != field.name)
            about = field.name.substr(name.size()) + " " + about;
        to.remark = joined(to.remark, joined(value_words(field, record), about));
        to.differs = to.differs || reference.differs(field, record);
    }
    return rows;
}

// Rows of one matrix have columns of one width.
std::map<std::string, std::size_t> cell_widths(const std::vector<row> &rows)
{
    std::map<std::string, std::size_t> widths;
    for (const row &r : rows)
        for (const std::string &cell : r.cells)
        {
            std::size_t &width = widths[row_name(r.name)];
            width = std::max(width, cell.size());
        }
    return widths;
}

void print_line(output *out, const std::string &line)
{
    out->print("{}\n", line.substr(0, line.find_last_not_of(' ') + 1));
}

void print_state(output *out, const record_file &file)
{
    out->print("{}: {}, {}\n", file.path, record_name(file.type),
               file.intact ? fmt::format("intact, {} bytes", file.size) : "damaged: " + file.damage);
    for (const std::string &note : file.notes)
        out->print("  note: {}\n", note);
}

void print_fields(output *out, const record_file &file)
{
    const std::vector<row> rows = rows_of(file);
    const std::map<std::string, std::size_t> widths = cell_widths(rows);
    out->print("\n  offset  {:<26}{:<34}{:<8}\n", "field", "value", "unit");
    for (const row &r : rows)
    {
        std::string value = r.cells[0];
        if (r.cells.size() > 1)
        {
            value.clear();
            for (const std::string &cell : r.cells)
                value += fmt::format("{:>{}}  ", cell, widths.at(row_name(r.name)));
        }
        print_line(out, fmt::format("{} {:>6}  {:<25} {:<33} {:<8}{}", r.differs ? '*' : ' ', r.offset, r.name, value,
                                    r.unit, r.remark));
    }
    if (file.type == record_type::configuration)
        out->print("\n* differs from the library's default\n");
}

json state_json(const record_file &file)
{
    json notes = json::array();
    for (const std::string &text : file.notes)
        notes.push_back({{"text", text}});
    return {{"path", file.path},
            {"type", file.type == record_type::configuration ? "config" : "data"},
            {"size", file.size},
            {"intact", file.intact},
            {"damage", file.intact ? json() : json{{"text", file.damage}}},
            {"notes", notes}};
}

json document_of(const std::vector<const record_file *> &files, const inspect_arguments &given)
{
    json document = json_document("inspect");
    const json options = {{"type", null_if_empty(given.type)}};
    for (const record_file *file : files)
        document["inputs"].push_back(json_of(json_input{file->path, "record", options}));
    for (const record_file *file : files)
        document["records"].push_back(state_json(*file));
    return document;
}

json field_json(const record_field &field)
{
    return {{"name", field.name},
            {"offset", RECORD_AT + field.offset},
            {"record_offset", field.offset},
            {"unit", field.unit},
            {"text", field.meaning}};
}

json fields_json(const record_file &file)
{
    const references reference(file.type);
    json fields = json::array();
    for (const record_field &field : record_fields(file.type))
    {
        json entry = field_json(field);
        const bool there = file.has(field);
        entry["value"] = there ? value_json(field, file.view()) : json();
        if (const std::string words = there ? value_words(field, file.view()) : ""; !words.empty())
            entry["value_text"] = words;
        if (file.type == record_type::configuration)
        {
            entry["default"] = reference.default_value(field);
            entry["differs"] = there && reference.differs(field, file.view());
        }
        fields.push_back(entry);
    }
    return fields;
}

exit_code inspect_one(const record_file &file, const inspect_arguments &given)
{
    output out("-");
    if (given.json)
    {
        json document = document_of({&file}, given);
        document["records"][0]["fields"] = fields_json(file);
        out.print("{}\n", json_text(document, 2));
    }
    else
    {
        print_state(&out, file);
        print_fields(&out, file);
    }
    out.finish();
    return file.intact ? EXIT_OK : EXIT_MALFORMED;
}

struct difference
{
    const record_field *field;
    bool compared; // decides whether a stored calibration is reused
};

std::vector<difference> differences(const record_file &a, const record_file &b)
{
    std::vector<difference> found;
    for (const record_field &field : record_fields(a.type))
    {
        if (!a.has(field) || !b.has(field))
            continue;
        const record_view in_a = a.view(), in_b = b.view();
        const bool compared = a.type == record_type::configuration && discards_calibration(field, in_a, in_b);
        if (compared || !same_value(field, in_a, in_b))
            found.push_back({&field, compared});
    }
    return found;
}

// Whether a start under b would take up the calibration that is stored beside a.
std::optional<bool> reused(const record_file &a, const record_file &b)
{
    if (a.type != record_type::configuration || !b.intact)
        return std::nullopt;
    if (!a.intact)
        return false;
    const qvstorage_cfg stored = a.configuration(), in_force = b.configuration();
    return check_cfg_was_changed(&in_force, &stored) == 0;
}

void print_reuse(output *out, const record_file &a, const record_file &b, const std::vector<difference> &found)
{
    const std::optional<bool> answer = reused(a, b);
    if (!answer)
        out->print("Whether the stored calibration would be reused cannot be said: {} is damaged.\n", b.path);
    else if (*answer)
        out->print("A start under {} reuses the calibration stored with {}, if its data backup is intact.\n", b.path,
                   a.path);
    else if (!a.intact)
        out->print("A start under {} discards the calibration stored with {}, which is damaged.\n", b.path, a.path);
    else
        out->print("A start under {} discards the calibration stored with {}: {} of the fields above are compared.\n",
                   b.path, a.path, std::ranges::count(found, true, &difference::compared));
}

void print_comparison(output *out, const record_file &a, const record_file &b, const std::vector<difference> &found)
{
    print_state(out, a);
    print_state(out, b);
    out->print("\n");
    for (const auto &[field, compared] : found)
    {
        const char *decides = a.type == record_type::data ? "" : compared ? "compared" : "not compared";
        print_line(out, fmt::format("  {:>6}  {:<25} {:<42} {:<8}{}", RECORD_AT + field->offset, field->name,
                                    fmt::format("{} -> {}", value_text(*field, a.view()), value_text(*field, b.view())),
                                    field->unit, decides));
    }
    if (found.empty())
        out->print("No field differs.\n");
    else
        out->print("{} {}.\n", counted(found.size(), "field"), found.size() == 1 ? "differs" : "differ");
    if (a.type == record_type::configuration)
        print_reuse(out, a, b, found);
}

json comparison_json(const record_file &a, const record_file &b, const std::vector<difference> &found,
                     const inspect_arguments &given)
{
    json fields = json::array();
    for (const auto &[field, compared] : found)
    {
        json entry = field_json(*field);
        entry["values"] = {value_json(*field, a.view()), value_json(*field, b.view())};
        if (a.type == record_type::configuration)
            entry["compared"] = compared;
        fields.push_back(entry);
    }
    json all = document_of({&a, &b}, given);
    all["differences"] = fields;
    if (a.type == record_type::configuration)
    {
        const std::optional<bool> answer = reused(a, b);
        all["calibration_reused"] = answer ? json(*answer) : json();
    }
    return all;
}

exit_code inspect_two(const record_file &a, const record_file &b, const inspect_arguments &given)
{
    if (a.type != b.type)
        throw error(EXIT_USAGE, fmt::format("{} is a {}, {} a {}: only files of one type can be compared", a.path,
                                            record_name(a.type), b.path, record_name(b.type)));
    const std::vector<difference> found = differences(a, b);
    output out("-");
    if (given.json)
        out.print("{}\n", json_text(comparison_json(a, b, found, given), 2));
    else
        print_comparison(&out, a, b, found);
    out.finish();
    if (!a.intact || !b.intact)
        return EXIT_MALFORMED;
    return found.empty() ? EXIT_OK : EXIT_DIFFERENT;
}

exit_code run_inspect(const inspect_arguments &given)
{
    refuse_overlap(given.files, {});
    std::optional<record_type> type;
    if (!given.type.empty())
        type = given.type == "config" ? record_type::configuration : record_type::data;
    const record_file first = read_record_file(given.files[0], type);
    if (given.files.size() == 1)
        return inspect_one(first, given);
    return inspect_two(first, read_record_file(given.files[1], type), given);
}

constexpr const char *INSPECT_FOOTER =
    "The first line says whether the library would read the file. If not, it says what is damaged at which offset.\n"
    "Offsets count from the beginning of the file; the record begins at 9.\n"
    "Two files: only the fields that differ are shown. Of two configurations it also says which of these fields the\n"
    "library compares, and whether a start under the second reuses the calibration that is stored with the first.\n\n"
    "Examples:\n"
    "  qv6d inspect kept/qvalgo-cust.datbak               show what was learnt: offset, radius, grade, fit\n"
    "  qv6d inspect kept/qvalgo-cust.cfgbak               show the configuration, and what is not a default\n"
    "  qv6d inspect phone.cfgbak tablet.cfgbak            show what differs, and whether the calibration survives\n"
    "  qv6d inspect - --json <qvalgo.dat                  read standard input, print JSON\n";

} // namespace

void add_inspect(CLI::App *app, exit_code *result)
{
    const auto given = std::make_shared<inspect_arguments>();
    CLI::App *command =
        app->add_subcommand("inspect", "Show the fields of a record file, or the differences between two");
    command->footer(with_exit_codes(INSPECT_FOOTER, {{EXIT_OK, "the file is intact; two files are intact and equal"},
                                                     {EXIT_DIFFERENT, "two files differ; unexpected failure"},
                                                     {EXIT_MALFORMED, "a file is damaged, or is no record file"}}));
    command->add_option("files", given->files, "Configuration or data backup, or two of one type; - for standard input")
        ->required()
        ->expected(1, 2)
        ->type_name(FILE_VALUE);
    command->add_option("-t,--type", given->type, "Type of the files, when they do not show it themselves")
        ->check(CLI::IsMember({"config", "data"}));
    command->add_flag("--json", given->json, "Print JSON");
    command->callback([given, result] { *result = run_inspect(*given); });
}

} // namespace qv6d
