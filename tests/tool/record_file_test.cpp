#include "common/error.h"
#include "files/record_file.h"
#include "library/configuration.h"
#include "support.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

using qv6d::record_type;

TEST(RecordFields, CoverEveryByteOfTheirRecordOnce)
{
    for (const auto type : {record_type::configuration, record_type::data})
    {
        std::size_t next = 0;
        for (const qv6d::record_field &field : qv6d::record_fields(type))
        {
            EXPECT_EQ(next, field.offset) << field.name;
            next = field.offset + field.size();
        }
        EXPECT_EQ(qv6d::record_size(type), next);
    }
}

TEST(RecordFields, BackupNamesStandAtTheirMembers)
{
    qvstorage_bak bak = {};
    bak.hcal.rlsm.p[2][1] = 1.5;
    bak.hcal.status.rep_offset[1] = -45.25;
    bak.hcal.status.motion_result = QVMOTION_RESULT__READY;
    bak.fusion.inclination = 0.1;
    std::string told;
    for (const qv6d::record_field &field : qv6d::record_fields(record_type::data))
        if (const std::string value = qv6d::value_text(field, bak); value != "0")
            told += field.name + " = " + value + " " + qv6d::value_words(field, bak) + "\n";
    EXPECT_EQ("rlsm.bak.p[2][1] = 1.5 \n"
              "hcal.bak.rep_offset[1] = -45.25 \n"
              "hcal.bak.motion_result = 17 READY: fit for an estimate\n"
              "fusion.bak.inclination = 0.1 5.73 degrees\n",
              told);
}

TEST(RecordFields, IntegersFromADamagedFileHaveWordsToo)
{
    qvstorage_bak bak = {};
    for (const std::int32_t value : {INT32_MIN, -1, 3, 4, 15, 19, INT32_MAX})
    {
        bak.hcal.rlsm.runlevel = bak.hcal.status.motion_result = bak.hcal.status.motion_movement = value;
        for (const qv6d::record_field &field : qv6d::record_fields(record_type::data))
        {
            const bool worded = field.name == "rlsm.bak.runlevel" || field.name.find("motion") != std::string::npos;
            EXPECT_EQ(worded, qv6d::value_words(field, bak) == "not a value that the library writes")
                << field.name << value;
        }
    }
}

TEST(RecordFields, AreReadFromTheirRecordOnly)
{
    const std::string bytes = bytes_of(qv6d::default_configuration());
    const qv6d::record_field &last = qv6d::record_fields(record_type::configuration).back();
    EXPECT_EQ("0.4000000059604645", qv6d::value_text(last, {record_type::configuration, bytes}));
    EXPECT_THROW(qv6d::value_text(last, {record_type::configuration, bytes.substr(1)}), std::out_of_range);
    EXPECT_THROW(qv6d::value_text(last, {record_type::data, bytes}), std::out_of_range);
}

class InspectedFile : public testing::Test
{
protected:
    void SetUp() override
    {
        qvstorage_cfg cfg = qv6d::default_configuration();
        qvstorage_bak bak;
        qvhcal_get_bak(&bak.hcal, &cfg.hcal);
        qvfusion_get_bak(&bak.fusion, &cfg.fusion);
        save_file_bak(&bak, path.c_str());
        data = read_file(path);
        save_file_cfg(&cfg, path.c_str());
        configuration = read_file(path);
        cfg.fusion.hz = std::nan("");
        save_file_cfg(&cfg, path.c_str());
        strange = read_file(path);
    }

    qv6d::record_file read(const std::string &bytes, std::optional<record_type> type = std::nullopt)
    {
        write_file(path, bytes);
        return qv6d::read_record_file(path, type);
    }

    temporary_directory dir;
    std::string path = dir / "record", configuration, data, strange;
};

TEST_F(InspectedFile, ShowsItsTypeHoweverMuchOfItThereIs)
{
    EXPECT_EQ(record_type::data, read(data).type);
    for (std::size_t length = 491; length <= configuration.size(); ++length)
        EXPECT_EQ(record_type::configuration, read(configuration.substr(0, length)).type) << length;
    for (std::size_t length = 481; length < data.size(); ++length)
        EXPECT_EQ(record_type::data, read(data.substr(0, length)).type) << length;
    for (const std::size_t length : {0u, 1u, 9u, 480u})
        EXPECT_THROW(read(data.substr(0, length)), qv6d::error) << length;
}

TEST_F(InspectedFile, NotesWhatTheLibraryMakesOfAnIntactOne)
{
    // As many bytes as a configuration has, but the library reads it as what it is.
    const qv6d::record_file longer = read(data + std::string(72, '.')), no_number = read(strange);
    EXPECT_EQ(record_type::data, longer.type);
    EXPECT_EQ(std::vector<std::string>{"72 bytes after the tail mark, which the library ignores"}, longer.notes);
    ASSERT_EQ(1u, no_number.notes.size());
    EXPECT_NE(std::string::npos, no_number.notes[0].find("every start discards"));
}

TEST_F(InspectedFile, EveryCutIsSaidWithItsPlace)
{
    const std::pair<std::size_t, const char *> cases[] = {
        {0, "in front of the record"},      {9, "at rlsm.bak.x[0]"},        {480, "at fusion.bak.inclination"},
        {481, "before the second version"}, {482, "in the second version"}, {489, "before the tail mark"},
    };
    for (const auto &[length, place] : cases)
        EXPECT_EQ(fmt::format("cut at {} of 490 bytes, {}", length, place),
                  read(data.substr(0, length), record_type::data).damage);
    for (std::size_t length = 0; length < data.size(); ++length)
        EXPECT_EQ(0u, read(data.substr(0, length), record_type::data).damage.find("cut at ")) << length;
}

TEST_F(InspectedFile, EveryFlippedFrameByteIsSaidWithItsPlace)
{
    for (std::size_t at = 0; at < data.size(); ++at)
    {
        std::string flipped = data;
        flipped[at] = static_cast<char>(flipped[at] ^ 1);
        const std::string expected = at == 0    ? "head mark at 0 is"
                                     : at < 9   ? "version at 1 is"
                                     : at < 481 ? ""
                                     : at < 489 ? "second version at 481 is"
                                                : "tail mark at 489 is";
        const std::string damage = read(flipped).damage;
        EXPECT_EQ(expected, damage.substr(0, expected.size())) << at;
        EXPECT_EQ(expected.empty(), damage.empty()) << at;
        EXPECT_EQ(std::string::npos, damage.find(';')) << "one thing is wrong: " << damage;
    }
}
