// The program: one command of several.

#include "commands.h"
#include "error.h"
#include "storage/qvstorage.h"

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fmt/format.h>

std::string qv6d::with_exit_codes(const std::string &footer)
{
    return fmt::format("{}\nExit codes: 0 done, 2 wrong options, 3 malformed recording, 4 a file cannot be read, "
                       "5 a file cannot be written, 130 interrupted.",
                       footer);
}

std::string qv6d::parse_numbers(const std::string &text, double *values, std::size_t count)
{
    const char *at = text.c_str();
    for (std::size_t k = 0; k < count; ++k)
    {
        char *end = nullptr;
        values[k] = std::strtod(at, &end);
        if (end == at || !std::isfinite(values[k]) || *end != (k + 1 < count ? ',' : '\0'))
            return fmt::format("expected {} numbers with commas between them, found \"{}\"", count, text);
        at = end + 1;
    }
    return "";
}

CLI::Validator qv6d::within(double low, double high)
{
    return CLI::Validator(
        [low, high](const std::string &text)
        {
            double value;
            const std::string problem = parse_numbers(text, &value, 1);
            const bool good = problem.empty() && value >= low && value <= high;
            return good ? "" : fmt::format("expected a number from {} to {}, found \"{}\"", low, high, text);
        },
        "");
}

int main(int argc, char **argv)
{
    CLI::App app("qv6d: replay and make sensor recordings for libqv6dalgo");
    app.set_version_flag("--version", "qv6d " QV6D_VERSION);
    app.require_subcommand(1);
    app.set_version_flag("--version", fmt::format("qv6d {}", QVSTORAGE_VERSION), "Print the library's version");
    app.footer("qv6d COMMAND --help teaches a command by example.");
    int exit_code = qv6d::EXIT_OK;
    std::signal(SIGPIPE, SIG_IGN); // a reader that leaves shows as a write that fails
    qv6d::add_replay(&app, &exit_code);
    qv6d::add_simulate(&app, &exit_code);
    qv6d::add_explain(&app, &exit_code);
    qv6d::add_tune(&app, &exit_code);
    qv6d::add_inspect(&app, &exit_code);
    qv6d::add_check(&app, &exit_code);

    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError &e)
    {
        return app.exit(e) == 0 ? qv6d::EXIT_OK : qv6d::EXIT_USAGE;
    }
    catch (const qv6d::error &e)
    {
        if (*e.what() != '\0')
            fmt::print(stderr, "qv6d: {}\n", e.what());
        return e.code;
    }
    catch (const std::exception &e)
    {
        fmt::print(stderr, "qv6d: {}\n", e.what());
        return qv6d::EXIT_UNEXPECTED;
    }
    return exit_code;
}
