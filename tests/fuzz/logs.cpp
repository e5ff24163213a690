// Any bytes as a device's log. The first byte says how many samples a second a log without time stamps has.

#include "explain/cycle_source.h"
#include "foreign.h"
#include "recordings/recording.h"
#include "trust/words.h"

using namespace qv6d;

static void read_log(const std::string &path, double rate)
{
    if (is_recording(path, {}))
        return;
    std::uint64_t heard = 0;
    const auto hear = [&heard](const cycle &c)
    {
        claim(c.number == heard++);
        claim(*words(c.outcome) != '\0' && *words(c.reset) != '\0');
    };
    replay_settings settings;
    settings.recording = path;
    const cycle_source source = read_cycles(settings, rate, {.on_cycle = hear});
    claim(source.cycles == heard && heard > 0);
    claim_shown(words(source.grade_trust));
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string log(bytes + 1, bytes + size);
    read_or_refuse([&] { read_log(foreign_file(log), *bytes); });
    return 0;
}
