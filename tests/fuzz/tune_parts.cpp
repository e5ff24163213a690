// Any bytes as what a sweep is made of: the list of its recordings, a key with its values, a shard. The first byte says
// which.

#include "foreign.h"
#include "tuning/recording_list.h"
#include "tuning/sweep.h"

#include <cmath>

using namespace qv6d;

static void read_list(const std::string &text)
{
    for (const listed_recording &recording : recordings_of({"@" + foreign_file(text)}))
    {
        claim(recording.path.starts_with('/')); // below the list's folder, or as the list says
        claim(recording.expected != expectation::does_not_calibrate || !recording.offset);
    }
}

static void vary(const std::string &text)
{
    const varied_key key = parse_key(text);
    claim(!key.values.empty());
    for (const double value : key.values)
        claim(std::isfinite(value) && (!key.integer || value == std::trunc(value)));
    const sweep all({key}, {1.0, 2.0});
    claim(all.size() == 2 * key.values.size() && all.at(all.size()).every == 2);
}

static void take_shard(const std::string &text)
{
    const shard part = parse_shard(text);
    claim(part.first >= 1 && part.first <= part.step);
    for (const combination &c : sweep({{"key", false, {1.0, 2.0, 3.0}}}, {1.0}).of(part))
        claim(c.number >= 1 && c.number <= 3);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    constexpr void (*read[])(const std::string &) = {read_list, vary, take_shard};
    if (size == 0)
        return 0;
    const std::string text(bytes + 1, bytes + size);
    read_or_refuse([&] { read[*bytes % std::size(read)](text); });
    return 0;
}
