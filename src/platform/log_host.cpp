// The log of hosts that are not Android: every line to standard error, as `E/qvalgo: ` and the text.

#include "platform/decimal_point.h"
#include "platform/log.h"

#include <cstdarg>
#include <cstdio>

extern "C" int __android_log_print(int prio, const char *tag, const char *fmt, ...)
{
    static constexpr char LETTER[] = "??VDIWEF"; // by priority, as the platform's own log viewer shows it
    const char letter = prio >= 0 && prio < 8 ? LETTER[prio] : '?';

    const decimal_point point;
    va_list arguments;
    va_start(arguments, fmt);
    const int head = std::fprintf(stderr, "%c/%s: ", letter, tag);
    const int body = std::vfprintf(stderr, fmt, arguments);
    va_end(arguments);
    return head < 0 || body < 0 ? -1 : head + body;
}
