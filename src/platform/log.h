// The diagnostic log: the platform's own call, and the one way in which the library uses it.
#pragma once

// The system's liblog has it (QV6D_PLATFORM_LOG); elsewhere log_host.cpp, or a definition of the host program that
// links the static library.
extern "C" __attribute__((format(printf, 3, 4))) int __android_log_print(int prio, const char *tag, const char *fmt,
                                                                         ...);

// ANDROID_LOG_ERROR: the system's default filter shows nothing below it on production devices.
inline constexpr int QVLOG_PRIORITY = 6;
inline constexpr const char *QVLOG_TAG = "qvalgo";

// One line under the given operation's name. `format` is a literal and ends with its line feed. liblog keeps the first
// 1023 bytes: only a text that the caller hands over and numbers beyond 1e70 make a line longer.
#define QVLOG_AS(operation, format, ...)                                                                               \
    __android_log_print(QVLOG_PRIORITY, QVLOG_TAG, "[%-20s-%04d]  " format, operation,                                 \
                        __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// One line under the name of the operation that it stands in.
#define QVLOG(format, ...) QVLOG_AS(__func__, format __VA_OPT__(, ) __VA_ARGS__)

// The same if a debug switch is on. The arguments of a line that is off are not evaluated.
#define QVLOG_IF(enabled, format, ...)                                                                                 \
    do                                                                                                                 \
    {                                                                                                                  \
        if (enabled)                                                                                                   \
            QVLOG(format __VA_OPT__(, ) __VA_ARGS__);                                                                  \
    } while (false)

#define QVLOG_DASHES "------------------------------------------------------------------------"

// Opening and end of a displayed section.
#define QVLOG_TITLE(title)                                                                                             \
    do                                                                                                                 \
    {                                                                                                                  \
        QVLOG(QVLOG_DASHES "\n");                                                                                      \
        QVLOG(title "\n");                                                                                             \
        QVLOG(QVLOG_DASHES "\n");                                                                                      \
    } while (false)
#define QVLOG_END() QVLOG(QVLOG_DASHES "\n\n")
