// The library on the platform's own log: its lines as liblog hands them on and as it writes them.

#include "platform/log.h"
#include "qv6dalgo.h"

#include <android/log.h>
#include <cfloat>
#include <gtest/gtest.h>
#include <string>
#include <vector>

static_assert(QVLOG_PRIORITY == ANDROID_LOG_ERROR);

static std::vector<std::string> messages;

static void take(const __android_logger_data *data, const char *message)
{
    EXPECT_EQ(ANDROID_LOG_ERROR, data->priority);
    EXPECT_STREQ("qvalgo", data->tag);
    messages.push_back(message);
}

struct PlatformLog : testing::Test
{
    PlatformLog()
    {
        messages.clear();
        __android_log_set_logger(take);
    }
};

// After the operation's name and line number.
static std::string text(const std::string &message)
{
    return message.substr(message.find("]  ") + 3);
}

TEST_F(PlatformLog, TakesEveryLineWhole)
{
    qvalgo_disp_version();
    qvalgo_config_accthr(0.06, 0.999999);
    qvalgo_config_path("/data/é %s", nullptr, nullptr);

    ASSERT_EQ(5u, messages.size());
    EXPECT_EQ("[qvalgo_disp_version -", messages[1].substr(0, 22));
    EXPECT_EQ("QV Algorithm Ver 3.621300\n", text(messages[1]));
    EXPECT_EQ(std::string(72, '-') + "\n\n", text(messages[2]));
    EXPECT_EQ("[INFO] qvalgo_config_accthr : accthr=0.060000 aweight=0.999999\n", text(messages[3]));
    EXPECT_EQ("[INFO] qvalgo_config_path : custcfg=/data/é %s cfgbak=(null) datbak=(null)\n", text(messages[4]));
}

TEST_F(PlatformLog, WritesPriorityAndTagInFrontOfTheLine)
{
    __android_log_set_logger(__android_log_stderr_logger);
    testing::internal::CaptureStderr();
    qvalgo_config_gyrthr(0.5);
    const std::string written = testing::internal::GetCapturedStderr();

    EXPECT_EQ("qvalgo E ", written.substr(0, 9)); // then date, time, process and thread
    const std::size_t line = written.find("[qvalgo_config_gyrthr-");
    ASSERT_NE(std::string::npos, line) << written;
    EXPECT_EQ("[INFO] qvalgo_config_gyrthr : gyrthr=0.500000\n\n", text(written.substr(line)));
}

// A refused path and numbers near the limit of their type: the lines that are longer than liblog takes.
TEST_F(PlatformLog, CutsALineThatIsTooLong)
{
    const std::string path(2000, 'p');
    EXPECT_EQ(-1, qvalgo_config_path(path.c_str(), nullptr, nullptr));
    qvalgo_config_calibration1(DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX);
    qvalgo_config_clearradius(10.0);

    ASSERT_EQ(4u, messages.size());
    for (const int cut : {0, 1, 2})
        EXPECT_EQ(1023u, messages[cut].size()); // liblog formats into 1024 with the terminator
    EXPECT_EQ("[INFO] qvalgo_config_path : custcfg=ppp", text(messages[0]).substr(0, 39));
    EXPECT_EQ("[ERR] Path is longer than 63 characters: ppp", text(messages[1]).substr(0, 44));
    EXPECT_EQ("[INFO] qvalgo_config_clearradius : clear radius=10.000000\n", text(messages[3]));
}
