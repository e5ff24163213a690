// The tables of docs/file-formats.md: record_tables config|data.

#include "files/record_file.h"
#include "library/configuration.h"
#include "library/library_log.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace
{

using qv6d::record_field;
using qv6d::record_type;

// A number, vector or matrix: fields that differ in their indices only.
struct block
{
    std::string name, indices; // indices of the last element
    std::vector<record_field> fields;
};

std::vector<block> blocks_of(record_type type)
{
    std::vector<block> blocks;
    for (const record_field &field : qv6d::record_fields(type))
    {
        const std::string name = field.name.substr(0, field.name.find('['));
        if (blocks.empty() || blocks.back().name != name)
            blocks.push_back({name, "", {}});
        blocks.back().indices = field.name.substr(name.size());
        blocks.back().fields.push_back(field);
    }
    return blocks;
}

std::string type_name(const block &b)
{
    const key_kind kind = b.fields[0].kind;
    std::string name = kind == key_kind::real ? "f64" : kind == key_kind::path ? "char[64]" : "i32";
    for (const char c : b.indices)
        name += c >= '0' && c <= '9' ? static_cast<char>(c + 1) : c; // all indices have one digit
    return name;
}

bool is_matrix(const block &b)
{
    return std::count(b.indices.begin(), b.indices.end(), '[') == 2;
}

// What the block holds in a record that has seen nothing.
std::string fresh_values(const block &b, qv6d::record_view record)
{
    std::vector<std::string> all;
    const auto columns = static_cast<std::size_t>(b.indices.empty() ? 1 : b.indices[b.indices.size() - 2] - '0' + 1);
    for (std::size_t k = 0; k < b.fields.size(); ++k)
        if (!is_matrix(b) || k % columns == k / columns)
            all.push_back(qv6d::value_text(b.fields[k], record));
    const bool alike = std::count(all.begin(), all.end(), all[0]) == static_cast<std::ptrdiff_t>(all.size());
    return fmt::format("{}{}", is_matrix(b) ? "diagonal " : "",
                       alike ? all[0] : fmt::format("{}", fmt::join(all, ", ")));
}

std::string meanings(const block &b)
{
    std::vector<const record_field *> meant;
    for (const record_field &field : b.fields)
        if (!field.meaning.empty() && (meant.empty() || meant.back()->meaning != field.meaning))
            meant.push_back(&field);
    std::string text;
    for (const record_field *field : meant)
    {
        const std::string of = meant.size() > 1 ? field->name.substr(b.name.size()) + " " : "";
        text += (text.empty() ? "" : "; ") + of + field->meaning;
    }
    return text;
}

// Whether a change in the customer file discards the stored calibration.
const char *comparison(const block &b)
{
    const customer_key *key = find_customer_key(b.fields[0].name.c_str());
    return key == nullptr ? "no key" : key->compared ? "yes" : "no";
}

std::string changed_at_start(const block &b, const qvstorage_cfg &defaults)
{
    static const qvstorage_cfg start = qv6d::start_configuration();
    const std::string before = fresh_values(b, defaults), after = fresh_values(b, start);
    return before == after ? before : fmt::format("{}; `QVS_initLib` sets {}", before, after);
}

void print_row(const block &b, const std::string &last_columns)
{
    const std::size_t offset = b.fields[0].offset, size = b.fields.size() * b.fields[0].size();
    fmt::print("| {} | {} | {} | {} | `{}` | {} | {} |\n", qv6d::RECORD_AT + offset, offset, size, type_name(b), b.name,
               b.fields[0].unit, last_columns);
}

void print_configuration()
{
    const qvstorage_cfg defaults = qv6d::default_configuration();
    fmt::print("| File | Record | Size | Type | Field | Unit | Default | Compared | Meaning |\n");
    fmt::print("|--:|--:|--:|---|---|---|---|---|---|\n");
    for (const block &b : blocks_of(record_type::configuration))
        print_row(b, fmt::format("{} | {} | {}", changed_at_start(b, defaults), comparison(b), meanings(b)));
}

void print_data()
{
    const qvstorage_cfg defaults = qv6d::default_configuration();
    qvstorage_bak fresh;
    qvhcal_get_bak(&fresh.hcal, &defaults.hcal);
    qvfusion_get_bak(&fresh.fusion, &defaults.fusion);
    fmt::print("| File | Record | Size | Type | Field | Unit | Fresh | Meaning |\n");
    fmt::print("|--:|--:|--:|---|---|---|---|---|\n");
    for (const block &b : blocks_of(record_type::data))
        print_row(b, fmt::format("{} | {}", fresh_values(b, fresh), meanings(b)));
}

} // namespace

int main(int argc, char **argv)
{
    const bool configuration = argc == 2 && std::strcmp(argv[1], "config") == 0;
    if (!configuration && (argc != 2 || std::strcmp(argv[1], "data") != 0))
    {
        fmt::print(stderr, "usage: record_tables config|data\n");
        return 2;
    }
    qv6d::set_log_sink(nullptr); // the setters log
    configuration ? print_configuration() : print_data();
    return 0;
}
