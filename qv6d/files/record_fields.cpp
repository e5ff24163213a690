#include "files/record_fields.h"

#include "common/text.h"
#include "library/configuration.h"
#include "library/grade.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>

namespace qv6d
{

namespace
{

// A number, vector (one row) or matrix of the backup record.
struct block
{
    const char *name;
    std::size_t offset;
    key_kind kind;
    int rows, columns;
    const char *unit, *meaning;
};

constexpr key_kind REAL = key_kind::real, INTEGER = key_kind::integer;

constexpr block BACKUP_BLOCKS[] = {
    {"rlsm.bak.x", offsetof(qvstorage_bak, hcal.rlsm.x), REAL, 1, 4, "µT, µT²",
     "state of the recursive fit: centre, and radius squared less the centre's norm squared"},
    {"rlsm.bak.p", offsetof(qvstorage_bak, hcal.rlsm.p), REAL, 4, 4, "", "covariance of rlsm.bak.x"},
    {"rlsm.bak.offset", offsetof(qvstorage_bak, hcal.rlsm.offset), REAL, 1, 3, "µT", "centre after the last step"},
    {"rlsm.bak.radius", offsetof(qvstorage_bak, hcal.rlsm.radius), REAL, 1, 1, "µT", "radius after the last step"},
    {"rlsm.bak.stabled", offsetof(qvstorage_bak, hcal.rlsm.stabled), INTEGER, 1, 1, "", "whether the fit has settled"},
    {"rlsm.bak.runlevel", offsetof(qvstorage_bak, hcal.rlsm.runlevel), INTEGER, 1, 1, "", "how far the fit has come"},
    {"hcal.bak.calibrated", offsetof(qvstorage_bak, hcal.status.calibrated), INTEGER, 1, 1, "",
     "whether an offset has been validated"},
    {"hcal.bak.rep_offset", offsetof(qvstorage_bak, hcal.status.rep_offset), REAL, 1, 3, "µT",
     "published hard-iron offset"},
    {"hcal.bak.rep_radius", offsetof(qvstorage_bak, hcal.status.rep_radius), REAL, 1, 1, "µT",
     "published sphere radius"},
    {"hcal.bak.rep_accuracy", offsetof(qvstorage_bak, hcal.status.rep_accuracy), INTEGER, 1, 1, "", "published grade"},
    {"hcal.bak.dummycnt", offsetof(qvstorage_bak, hcal.status.dummycnt), INTEGER, 1, 1, "buffers",
     "READY buffers still to be discarded"},
    {"hcal.bak.readycnt", offsetof(qvstorage_bak, hcal.status.readycnt), INTEGER, 1, 1, "buffers",
     "READY buffers fitted since the last reset"},
    {"hcal.bak.motion_movement", offsetof(qvstorage_bak, hcal.status.motion_movement), INTEGER, 1, 1, "",
     "motion class of the last cycle"},
    {"hcal.bak.motion_result", offsetof(qvstorage_bak, hcal.status.motion_result), INTEGER, 1, 1, "",
     "judgement of the last buffer"},
    {"hcal.bak.uncanceled", offsetof(qvstorage_bak, hcal.status.uncanceled), REAL, 1, 3, "µT",
     "field of the last cycle"},
    {"hcal.bak.canceled", offsetof(qvstorage_bak, hcal.status.canceled), REAL, 1, 3, "µT",
     "the same without the offset, smoothed"},
    {"hcal.bak.enholicoff", offsetof(qvstorage_bak, hcal.status.enholicoff), REAL, 1, 3, "µT",
     "enhanced offset: always zero"},
    {"fusion.bak.ts", offsetof(qvstorage_bak, fusion.ts), REAL, 1, 1, "s", "time of the last update; -1 when fresh"},
    {"fusion.bak.ps", offsetof(qvstorage_bak, fusion.ps), REAL, 3, 3, "", "carried only"},
    {"fusion.bak.xs", offsetof(qvstorage_bak, fusion.xs), REAL, 1, 3, "", "carried only"},
    {"fusion.bak.qs", offsetof(qvstorage_bak, fusion.qs), REAL, 1, 4, "", "quaternion, scalar first"},
    {"fusion.bak.inclination", offsetof(qvstorage_bak, fusion.inclination), REAL, 1, 1, "rad",
     "running estimate of the magnetic inclination"},
};

std::size_t kind_size(key_kind kind)
{
    switch (kind)
    {
    case key_kind::real:
        return sizeof(double);
    case key_kind::path:
        return QVENV_PATH_SIZE;
    default:
        return sizeof(std::int32_t);
    }
}

std::string element_name(const block &b, int row, int column)
{
    if (b.rows > 1)
        return fmt::format("{}[{}][{}]", b.name, row, column);
    return b.columns > 1 ? fmt::format("{}[{}]", b.name, column) : b.name;
}

std::vector<record_field> backup_fields()
{
    std::vector<record_field> fields;
    for (const block &b : BACKUP_BLOCKS)
        for (int element = 0; element < b.rows * b.columns; ++element)
            fields.push_back({record_type::data, element_name(b, element / b.columns, element % b.columns),
                              b.offset + static_cast<std::size_t>(element) * kind_size(b.kind), b.kind, b.unit,
                              b.meaning, false});
    return fields;
}

// The library's table of keys is plain ASCII.
std::string shown_unit(std::string_view unit)
{
    return unit == "uT" ? "µT" : unit == "m/s2" ? "m/s²" : std::string(unit);
}

std::vector<record_field> configuration_fields()
{
    constexpr record_type type = record_type::configuration;
    std::vector<record_field> fields = {
#define FIELD(field, kind, unit, meaning)                                                                              \
    {type, #field, offsetof(qvstorage_cfg, field), key_kind::kind, shown_unit(unit), meaning, false},
#define KEY(field, kind, compared, unit, meaning)                                                                      \
    {type, #field, offsetof(qvstorage_cfg, field), key_kind::kind, shown_unit(unit), meaning, true},
#include "storage/qvstorage_keys.def"
#undef KEY
#undef FIELD
    };
    std::ranges::sort(fields, {}, &record_field::offset);
    return fields;
}

template <typename T>
T number(const record_field &field, record_view record)
{
    T value;
    std::memcpy(&value, record.bytes_of(field).data(), sizeof value);
    return value;
}

std::string_view path(const record_field &field, record_view record)
{
    const std::string_view bytes = record.bytes_of(field);
    return bytes.substr(0, bytes.find('\0'));
}

std::string one_of(std::span<const char *const> words, std::int32_t first, std::int32_t value)
{
    const std::int64_t index = std::int64_t{value} - first;
    return index >= 0 && index < std::ssize(words) ? words[static_cast<std::size_t>(index)]
                                                   : "not a value that the library writes";
}

std::string policy_words(std::int32_t mask)
{
    std::string words;
    const auto add = [&](std::int32_t bit, const char *what)
    {
        if ((mask & bit) != 0)
            words += std::string(words.empty() ? "" : ", ") + what;
        mask &= ~bit;
    };
    add(QV6D_POLICY_POLAR_ANGLE, "one grade less near the z axis");
    add(QV6D_POLICY_TRUST_FIT, "grade 3 once calibrated");
    add(QV6D_POLICY_CLEAR_RADIUS, "clear-radius check");
    add(mask, "bits without meaning");
    return words.empty() ? "grade as measured" : words;
}

std::string integer_words(const std::string &name, std::int32_t value)
{
    static constexpr const char *SWITCH[] = {"no", "yes"};
    static constexpr const char *RUNLEVEL[] = {"not seeded", "seeded from a batch fit", "an estimate was accepted"};
    static constexpr const char *MOVEMENT[] = {"STABLE: at rest", "MOVING: being turned", "NOISE1: too much scatter"};
    static constexpr const char *RESULT[] = {"UNKNOWN: too little movement or spread", "READY: fit for an estimate",
                                             "NOISE2: buffer filling, or too much spread"};
    if (name.ends_with(".endbg"))
        return value != 0 ? "on" : "off";
    if (name == "hcal.incmask")
        return policy_words(value);
    if (name == "hcal.bak.calibrated" || name == "rlsm.bak.stabled")
        return one_of(SWITCH, 0, value);
    if (name == "rlsm.bak.runlevel")
        return one_of(RUNLEVEL, QVRLSM_RUNLEVEL_FRESH, value);
    if (name == "hcal.bak.rep_accuracy")
        return one_of(GRADE_NAMES, QV6D_GRADE_UNRELIABLE, value);
    if (name == "hcal.bak.motion_movement")
        return one_of(MOVEMENT, QVMOTION_MOVEMENT__STABLE, value);
    if (name == "hcal.bak.motion_result")
        return one_of(RESULT, QVMOTION_RESULT__UNKNOWN, value);
    return "";
}

std::string real_words(const record_field &field, double value)
{
    if (field.unit == "rad" && std::isfinite(value))
        return fmt::format("{:.2f} degrees", value * 180.0 / M_PI);
    return field.name == "fusion.bak.ts" && value == -1.0 ? "fresh" : "";
}

} // namespace

std::size_t record_field::size() const
{
    return kind_size(kind);
}

record_view::record_view(const qvstorage_cfg &record)
    : record_view(record_type::configuration, {reinterpret_cast<const char *>(&record), sizeof record})
{
}

record_view::record_view(const qvstorage_bak &record)
    : record_view(record_type::data, {reinterpret_cast<const char *>(&record), sizeof record})
{
}

record_view::record_view(record_type type, std::string_view bytes) : type_(type), bytes_(bytes)
{
}

record_view::record_view(const record_field &only, std::string_view bytes)
    : type_(only.record), bytes_(bytes), first_(only.offset)
{
}

bool record_view::has(const record_field &field) const
{
    return field.record == type_ && field.offset >= first_ && field.offset - first_ + field.size() <= bytes_.size();
}

std::string_view record_view::bytes_of(const record_field &field) const
{
    if (!has(field))
        throw std::out_of_range(field.name);
    return bytes_.substr(field.offset - first_, field.size());
}

const std::vector<record_field> &record_fields(record_type type)
{
    static const std::vector<record_field> configuration = configuration_fields(), data = backup_fields();
    return type == record_type::configuration ? configuration : data;
}

std::size_t record_size(record_type type)
{
    return type == record_type::configuration ? sizeof(qvstorage_cfg) : sizeof(qvstorage_bak);
}

const char *record_name(record_type type)
{
    return type == record_type::configuration ? "configuration backup" : "data backup";
}

std::string value_text(const record_field &field, record_view record)
{
    switch (field.kind)
    {
    case key_kind::real:
        return fmt::format("{}", number<double>(field, record));
    case key_kind::path:
        return printable(path(field, record));
    default:
        return fmt::format("{}", number<std::int32_t>(field, record));
    }
}

nlohmann::ordered_json value_json(const record_field &field, record_view record)
{
    switch (field.kind)
    {
    case key_kind::real:
        if (!std::isfinite(number<double>(field, record)))
            return value_text(field, record); // JSON has no such numbers
        return number<double>(field, record);
    case key_kind::path:
        return path(field, record);
    default:
        return number<std::int32_t>(field, record);
    }
}

std::string value_words(const record_field &field, record_view record)
{
    switch (field.kind)
    {
    case key_kind::real:
        return real_words(field, number<double>(field, record));
    case key_kind::path:
        return path(field, record).size() == QVENV_PATH_SIZE ? "has no end: not a path that the library stores" : "";
    default:
        return integer_words(field.name, number<std::int32_t>(field, record));
    }
}

bool same_value(const record_field &field, record_view a, record_view b)
{
    if (field.kind == key_kind::path)
        return path(field, a) == path(field, b);
    return a.bytes_of(field) == b.bytes_of(field);
}

qvstorage_cfg defaults_with(const record_field &field, record_view other)
{
    qvstorage_cfg cfg = default_configuration();
    const std::string_view bytes = other.bytes_of(field);
    bytes.copy(reinterpret_cast<char *>(&cfg) + field.offset, bytes.size());
    return cfg;
}

bool discards_calibration(const record_field &field, record_view a, record_view b)
{
    const qvstorage_cfg with_a = defaults_with(field, a), with_b = defaults_with(field, b);
    return check_cfg_was_changed(&with_a, &with_b) != 0;
}

} // namespace qv6d
