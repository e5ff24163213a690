// What is learnt is kept, whole or not at all, and keeping it changes nothing.

#include <gtest/gtest.h>

#include "device.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

struct folder
{
    folder() : path((fs::temp_directory_path() / "qv6ds-XXXXXX").string())
    {
        EXPECT_NE(nullptr, mkdtemp(path.data()));
    }

    ~folder()
    {
        std::error_code ignored;
        fs::permissions(path, fs::perms::owner_all, ignored);
        fs::remove_all(path, ignored);
    }

    folder(const folder &) = delete;
    folder &operator=(const folder &) = delete;

    std::string file(const char *name) const
    {
        return path + "/" + name;
    }

    qv6ds_settings settings() const
    {
        qv6ds_settings settings = qv6ds_defaults();
        settings.directory = path.c_str();
        return settings;
    }

    std::string path;
};

constexpr const char *STATE = "qv6dservice.state", *PREVIOUS = "qv6dservice.state.previous";

const vec ELSEWHERE = {-20.0, 80.0, 15.0};

// Learns an offset and stops.
void learn(const folder &at, vec offset)
{
    const running service(at.settings());
    service.feed(device{.offset = [offset](double) { return offset; }}.events());
    ASSERT_EQ(3, service.state().status);
}

// The offset that a start in this folder resumes; far away from all when it resumes none.
vec resumed(const folder &at)
{
    const running service(at.settings());
    service.feed(device{.attitude = [](double) { return attitude(0.1, 0.2, 0.3); }, .until = 0.2}.events());
    const qv6ds_state state = service.state();
    if ((state.reasons & QV6DS_RESUMED) == 0)
        return {1e6, 1e6, 1e6};
    return {state.bias[0], state.bias[1], state.bias[2]};
}

bool is(vec offset, vec expected)
{
    return norm(offset - expected) < 0.8;
}

std::string content(const std::string &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace

TEST(Store, ARestartResumesAndIsConfirmedByTurning)
{
    const folder at;
    learn(at, OFFSET);
    EXPECT_TRUE(is(resumed(at), OFFSET));
    const running service(at.settings());
    service.feed(device{.until = 1.0}.events());
    EXPECT_EQ(2, service.state().status);
    service.feed(device{.from = 1.0, .until = 8.0}.events());
    EXPECT_EQ(3, service.state().status);
}

TEST(Store, SavingChangesNothingInTheResults)
{
    std::string rows[2];
    for (const bool saves : {false, true})
    {
        const folder at;
        qv6ds_settings settings = at.settings();
        settings.save_interval_ns = saves ? SECOND : -1;
        const running service(settings);
        for (const event &e : device{}.events())
        {
            put(service.service, e);
            if (saves && e.time % (SECOND / 5) == 0)
                qv6ds_save(service.service);
            const qv6ds_state state = service.state();
            rows[saves].append(reinterpret_cast<const char *>(&state), sizeof state);
        }
        EXPECT_EQ(saves, fs::exists(at.file(STATE)));
    }
    EXPECT_TRUE(rows[0] == rows[1]);
}

TEST(Store, ADamagedFileGivesThePreviousOneAndThenNothing)
{
    const folder at;
    learn(at, ELSEWHERE);
    fs::remove(at.file(STATE)); // so that the next run begins afresh
    learn(at, ELSEWHERE);
    const std::string older = content(at.file(STATE));
    fs::remove(at.file(STATE));
    learn(at, OFFSET);
    const std::string newer = content(at.file(STATE));
    ASSERT_TRUE(is(resumed(at), OFFSET));
    for (const bool keeps_previous : {true, false})
        for (std::size_t i = 0; i < newer.size(); i += keeps_previous ? 97 : 331)
        {
            std::string cut = newer.substr(0, i), flipped = newer;
            flipped[i] = static_cast<char>(flipped[i] ^ 0x10);
            for (const std::string &damaged : {cut, flipped})
            {
                std::ofstream(at.file(STATE), std::ios::binary) << damaged;
                fs::remove(at.file(PREVIOUS));
                if (keeps_previous)
                    std::ofstream(at.file(PREVIOUS), std::ios::binary) << older;
                qv6ds_settings settings = at.settings();
                settings.save_interval_ns = -1;
                const running service(settings);
                service.feed(device{.attitude = [](double) { return qv6ds_math::UNTURNED; }, .until = 0.1}.events());
                const qv6ds_state now = service.state();
                const bool resumes = (now.reasons & QV6DS_RESUMED) != 0;
                ASSERT_EQ(keeps_previous, resumes) << i;
                if (resumes)
                {
                    ASSERT_LT(bias_error(now, ELSEWHERE), 0.8) << i;
                }
            }
        }
}

TEST(Store, ADamagedFileDoesNotReplaceTheOneBefore)
{
    const folder at;
    learn(at, ELSEWHERE);
    learn(at, ELSEWHERE);
    const std::string before = content(at.file(PREVIOUS));
    std::ofstream(at.file(STATE), std::ios::binary) << "damaged";
    qv6ds_settings settings = at.settings();
    settings.save_interval_ns = -1;
    const running service(settings);
    service.feed(device{.offset = [](double) { return OFFSET; }}.events());
    EXPECT_EQ(0, qv6ds_save(service.service));
    EXPECT_TRUE(before == content(at.file(PREVIOUS)));
    EXPECT_EQ(before.size(), content(at.file(STATE)).size());
}

// Foreign files must neither be read for the state nor overwritten as one.
TEST(Store, ALinkInThePlaceOfAFileIsNotFollowed)
{
    const folder at, elsewhere;
    learn(elsewhere, OFFSET);
    const std::string kept = content(elsewhere.file(STATE));
    fs::create_symlink(elsewhere.file(STATE), at.file(STATE));
    fs::create_symlink(elsewhere.file(STATE), at.file("qv6dservice.state.new"));
    EXPECT_FALSE(is(resumed(at), OFFSET));
    learn(at, ELSEWHERE);
    EXPECT_TRUE(kept == content(elsewhere.file(STATE)));
    EXPECT_TRUE(is(resumed(at), ELSEWHERE));
}

TEST(Store, WhatWasLearntUnderOtherMatricesIsNotResumed)
{
    const folder at;
    learn(at, OFFSET);
    for (const bool mount : {true, false})
    {
        qv6ds_settings settings = at.settings();
        settings.save_interval_ns = -1;
        (mount ? settings.mount[QV6DS_MAGNETOMETER] : settings.soft_iron)[0][0] = 1.03f;
        const running service(settings);
        service.feed(device{.until = 0.1}.events());
        EXPECT_EQ(0u, service.state().reasons & QV6DS_RESUMED) << mount;
    }
}

// Its matrix is used by the layer, beside the library.
TEST(Store, ACustomerFileWithoutMeaningIsLeftOut)
{
    for (const char *value : {"nan", "1e160", "0", "-1e9"})
    {
        const folder at;
        std::ofstream(at.file("qvalgo-cust.cfg")) << "env.simtx[0][0] = " << value << "\n";
        SCOPED_TRACE(value);
        learn(at, OFFSET);
    }
}

TEST(Store, WhereItCannotSaveItGoesOnAndSaysSoOnce)
{
    const folder at;
    static std::atomic<int> lines;
    lines = 0;
    qv6ds_settings settings = at.settings();
    settings.save_interval_ns = SECOND;
    settings.log = [](void *, int, const char *text) { lines += std::strstr(text, "cannot save") != nullptr; };
    qv6ds *service = nullptr;
    fs::remove(at.path); // gone, as a file system that was unmounted
    ASSERT_EQ(0, qv6ds_start(&settings, &service));
    EXPECT_TRUE((get(service).reasons & QV6DS_NOT_SAVED) != 0);
    for (const event &e : device{.until = 15.0}.events())
        put(service, e);
    EXPECT_EQ(QV6DS_FILE, qv6ds_save(service));
    EXPECT_EQ(QV6DS_FILE, qv6ds_save(service));
    EXPECT_TRUE((get(service).reasons & QV6DS_NOT_SAVED) != 0);
    EXPECT_EQ(3, get(service).status);
    EXPECT_EQ(1, lines);
    fs::create_directory(at.path);
    EXPECT_EQ(0, qv6ds_save(service));
    EXPECT_TRUE((get(service).reasons & QV6DS_NOT_SAVED) == 0);
    EXPECT_EQ(0, qv6ds_stop(service));
    EXPECT_TRUE(is(resumed(at), OFFSET));
}

// Saves as fast as it can until it is killed, and says when what it learnt was saved.
static void save_until_killed(const folder &at, const std::vector<event> &events, int pipe)
{
    qv6ds_settings settings = at.settings();
    settings.log = [](void *, int, const char *) {};
    qv6ds *service = nullptr;
    if (qv6ds_start(&settings, &service) != 0)
        _exit(1);
    std::thread saver(
        [&]
        {
            for (;;)
            {
                const qv6ds_state known = get(service);
                if (qv6ds_save(service) == 0 && known.status == 3 && known.reasons == 0)
                    (void)!write(pipe, "s", 1);
            }
        });
    for (const event &e : events)
        put(service, e);
    for (;;)
        pause();
}

TEST(Store, KilledAtAnyMomentTheLastSaveIsThere)
{
    const folder at;
    const vec offsets[] = {OFFSET, ELSEWHERE}; // another one each time than was kept before
    std::vector<event> events[2];
    for (int i = 0; i < 2; ++i)
        events[i] = device{.offset = [&offsets, i](double) { return offsets[i]; }, .until = 8.0}.events();
    std::mt19937 bits(3);
    for (int round = 0; round < QV6D_KILLS; ++round)
    {
        int ends[2];
        ASSERT_EQ(0, pipe(ends));
        const pid_t child = fork();
        if (child == 0)
            save_until_killed(at, events[round % 2], ends[1]);
        close(ends[1]);
        char saved;
        ASSERT_EQ(1, read(ends[0], &saved, 1));
        usleep(static_cast<useconds_t>(bits() % 3000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(ends[0]);
        ASSERT_LT(norm(resumed(at) - offsets[round % 2]), 5.0) << round; // status 3 came just now
    }
}
