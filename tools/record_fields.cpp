#include "record_fields.h"

#include "api/qvs_start.h"
#include "storage/qvstorage_object.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

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
    {"rlsm.bak.x", offsetof(qvstorage_bak, hcal.rlsm.x), REAL, 1, 4, "uT, uT2",
     "state of the recursive fit: centre, and radius squared less the centre's norm squared"},
    {"rlsm.bak.p", offsetof(qvstorage_bak, hcal.rlsm.p), REAL, 4, 4, "", "covariance of rlsm.bak.x"},
    {"rlsm.bak.offset", offsetof(qvstorage_bak, hcal.rlsm.offset), REAL, 1, 3, "uT", "centre after the last step"},
    {"rlsm.bak.radius", offsetof(qvstorage_bak, hcal.rlsm.radius), REAL, 1, 1, "uT", "radius after the last step"},
    {"rlsm.bak.stabled", offsetof(qvstorage_bak, hcal.rlsm.stabled), INTEGER, 1, 1, "", "whether the fit has settled"},
    {"rlsm.bak.runlevel", offsetof(qvstorage_bak, hcal.rlsm.runlevel), INTEGER, 1, 1, "", "how far the fit has come"},
    {"hcal.bak.calibrated", offsetof(qvstorage_bak, hcal.status.calibrated), INTEGER, 1, 1, "",
     "whether an offset has been validated"},
    {"hcal.bak.rep_offset", offsetof(qvstorage_bak, hcal.status.rep_offset), REAL, 1, 3, "uT",
     "published hard-iron offset"},
    {"hcal.bak.rep_radius", offsetof(qvstorage_bak, hcal.status.rep_radius), REAL, 1, 1, "uT",
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
    {"hcal.bak.uncanceled", offsetof(qvstorage_bak, hcal.status.uncanceled), REAL, 1, 3, "uT",
     "field of the last cycle"},
    {"hcal.bak.canceled", offsetof(qvstorage_bak, hcal.status.canceled), REAL, 1, 3, "uT",
     "the same without the offset, smoothed"},
    {"hcal.bak.enholicoff", offsetof(qvstorage_bak, hcal.status.enholicoff), REAL, 1, 3, "uT",
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
            fields.push_back({element_name(b, element / b.columns, element % b.columns),
                              b.offset + static_cast<std::size_t>(element) * kind_size(b.kind), b.kind, b.unit,
                              b.meaning, false});
    return fields;
}

std::vector<record_field> configuration_fields()
{
    std::vector<record_field> fields = {
#define FIELD(field, kind, unit, meaning)                                                                              \
    {#field, offsetof(qvstorage_cfg, field), key_kind::kind, unit, meaning, false},
#define KEY(field, kind, compared, unit, meaning)                                                                      \
    {#field, offsetof(qvstorage_cfg, field), key_kind::kind, unit, meaning, true},
#include "storage/qvstorage_keys.def"
#undef KEY
#undef FIELD
    };
    std::ranges::sort(fields, {}, &record_field::offset);
    return fields;
}

template <typename T>
T number(const record_field &field, const char *record)
{
    T value;
    std::memcpy(&value, record + field.offset, sizeof value);
    return value;
}

std::string_view path(const record_field &field, const char *record)
{
    return {record + field.offset, strnlen(record + field.offset, QVENV_PATH_SIZE)};
}

template <std::size_t N>
std::string one_of(const char *const (&words)[N], std::int32_t first, std::int32_t value)
{
    const std::int64_t index = std::int64_t{value} - first;
    return index >= 0 && index < static_cast<std::int64_t>(N) ? words[index] : "not a value that the library writes";
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
    add(QVHCAL_MASK_POLAR_ANGLE, "one grade less near the z axis");
    add(QVHCAL_MASK_TRUST_FIT, "grade 3 once calibrated");
    add(QVHCAL_MASK_CLEAR_RADIUS, "clear-radius check");
    add(mask, "bits without meaning");
    return words.empty() ? "grade as measured" : words;
}

std::string integer_words(const std::string &name, std::int32_t value)
{
    static constexpr const char *SWITCH[] = {"no", "yes"};
    static constexpr const char *RUNLEVEL[] = {"not seeded", "seeded from a batch fit", "an estimate was accepted"};
    static constexpr const char *GRADE[] = {"unreliable", "low", "medium", "best"};
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
        return one_of(GRADE, 0, value);
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

std::string printable(std::string_view text)
{
    std::string shown;
    for (const char c : text)
    {
        if (c == '\r')
            shown += "\\r";
        else if (c == '\t')
            shown += "\\t";
        else if (c < ' ' || c > '~') // beyond ASCII too: a terminal may take single bytes for commands
            shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        else
            shown += c;
    }
    return shown;
}

std::string value_text(const record_field &field, const char *record)
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

nlohmann::ordered_json value_json(const record_field &field, const char *record)
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

std::string value_words(const record_field &field, const char *record)
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

bool same_value(const record_field &field, const char *a, const char *b)
{
    if (field.kind == key_kind::path)
        return path(field, a) == path(field, b);
    return std::memcmp(a + field.offset, b + field.offset, field.size()) == 0;
}

bool discards_calibration(const record_field &field, const char *a, const char *b)
{
    qvstorage_cfg with_a = default_configuration(), with_b = with_a;
    std::memcpy(reinterpret_cast<char *>(&with_a) + field.offset, a + field.offset, field.size());
    std::memcpy(reinterpret_cast<char *>(&with_b) + field.offset, b + field.offset, field.size());
    return check_cfg_was_changed(&with_a, &with_b) != 0;
}

qvstorage_cfg default_configuration()
{
    qvstorage storage = {};
    setup_default_cfg(&storage);
    return storage.cfg;
}

qvstorage_cfg start_configuration()
{
    qvs_configure(QVS_INIT_CUSTCFG, QVS_INIT_CFGBAK, QVS_INIT_DATBAK);
    return qvstorage_object.cfg;
}

} // namespace qv6d
