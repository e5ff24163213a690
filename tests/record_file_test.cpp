#include "error.h"
#include "record_file.h"
#include "support.h"

#include <nlohmann/json.hpp>

TEST(RecordFields, CoverEveryByteOfTheirRecordOnce)
{
    for (const auto type : {qv6d::record_type::configuration, qv6d::record_type::data})
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
    const struct
    {
        const char *name, *value, *words;
    } cases[] = {
        {"rlsm.bak.p[2][1]", "1.5", ""},
        {"hcal.bak.rep_offset[1]", "-45.25", ""},
        {"hcal.bak.motion_result", "17", "READY: fit for an estimate"},
        {"fusion.bak.inclination", "0.1", "5.73 degrees"},
    };
    const std::string record = bytes_of(bak);
    for (const auto &c : cases)
        for (const qv6d::record_field &field : qv6d::record_fields(qv6d::record_type::data))
        {
            const bool named = field.name == c.name;
            EXPECT_EQ(named, qv6d::value_text(field, record.data()) == c.value) << field.name;
            EXPECT_TRUE(!named || qv6d::value_words(field, record.data()) == c.words) << field.name;
        }
}

TEST(RecordFields, IntegersFromADamagedFileHaveWordsToo)
{
    qvstorage_bak bak = {};
    for (const std::int32_t value : {INT32_MIN, -1, 3, 4, 15, 19, INT32_MAX})
    {
        bak.hcal.rlsm.runlevel = bak.hcal.status.motion_result = bak.hcal.status.motion_movement = value;
        const std::string record = bytes_of(bak);
        for (const qv6d::record_field &field : qv6d::record_fields(qv6d::record_type::data))
        {
            const bool worded = field.name == "rlsm.bak.runlevel" || field.name.find("motion") != std::string::npos;
            EXPECT_EQ(worded, qv6d::value_words(field, record.data()) == "not a value that the library writes")
                << field.name << value;
        }
    }
}

class InspectedFile : public testing::Test
{
protected:
    void SetUp() override
    {
        const qvstorage_cfg cfg = qv6d::default_configuration();
        qvstorage_bak bak;
        qvhcal_get_bak(&bak.hcal, &cfg.hcal);
        qvfusion_get_bak(&bak.fusion, &cfg.fusion);
        save_file_cfg(&cfg, path.c_str());
        configuration = read_file(path);
        save_file_bak(&bak, path.c_str());
        data = read_file(path);
    }

    qv6d::record_file read(const std::string &bytes, std::optional<qv6d::record_type> type = std::nullopt)
    {
        write_file(path, bytes);
        return qv6d::read_record_file(path, type);
    }

    temporary_directory dir;
    std::string path = dir / "record", configuration, data;
};

TEST_F(InspectedFile, ShowsItsType)
{
    EXPECT_EQ(qv6d::record_type::configuration, read(configuration).type);
    EXPECT_EQ(qv6d::record_type::data, read(data).type);
    // As many bytes as a configuration has, but the library reads it as what it is.
    const qv6d::record_file longer = read(data + std::string(72, '.'));
    EXPECT_EQ(qv6d::record_type::data, longer.type);
    EXPECT_EQ(std::vector<std::string>{"72 bytes behind the tail mark, which the library ignores"}, longer.notes);
}

TEST_F(InspectedFile, AnInterruptedWriteKeepsItsType)
{
    for (std::size_t length = 491; length < configuration.size(); ++length)
        EXPECT_EQ(qv6d::record_type::configuration, read(configuration.substr(0, length)).type) << length;
    for (std::size_t length = 481; length < data.size(); ++length)
        EXPECT_EQ(qv6d::record_type::data, read(data.substr(0, length)).type) << length;
    for (const int length : {0, 1, 9, 480})
        EXPECT_THROW(read(data.substr(0, static_cast<std::size_t>(length))), qv6d::error) << length;
}

TEST_F(InspectedFile, EveryCutIsSaidWithItsPlace)
{
    const struct
    {
        std::size_t length;
        const char *damage;
    } cases[] = {
        {0, "cut at 0 of 490 bytes, in front of the record"},
        {9, "cut at 9 of 490 bytes, at rlsm.bak.x[0]"},
        {480, "cut at 480 of 490 bytes, at fusion.bak.inclination"},
        {481, "cut at 481 of 490 bytes, before the second version"},
        {482, "cut at 482 of 490 bytes, in the second version"},
        {489, "cut at 489 of 490 bytes, before the tail mark"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.damage, read(data.substr(0, c.length), qv6d::record_type::data).damage);
    for (std::size_t length = 0; length < data.size(); ++length)
        EXPECT_EQ(0u, read(data.substr(0, length), qv6d::record_type::data).damage.find("cut at ")) << length;
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
    }
}

TEST_F(InspectedFile, AValueThatIsNotANumberIsNoted)
{
    qvstorage_cfg cfg = qv6d::default_configuration();
    cfg.fusion.hz = std::nan("");
    save_file_cfg(&cfg, path.c_str());
    const qv6d::record_file file = qv6d::read_record_file(path, std::nullopt);
    ASSERT_EQ(1u, file.notes.size());
    EXPECT_NE(std::string::npos, file.notes[0].find("every start discards"));
}
