// The program: one command of several.

#include "commands.h"
#include "error.h"

#include <fmt/format.h>

std::string qv6d::with_exit_codes(const std::string &footer)
{
    return fmt::format("{}\nExit codes: 0 done, 2 wrong options, 3 malformed recording, 4 a file cannot be read, "
                       "5 a file cannot be written.",
                       footer);
}

int main(int argc, char **argv)
{
    CLI::App app("qv6d: replay and make sensor recordings for libqv6dalgo");
    app.require_subcommand(1);
    app.footer("qv6d COMMAND --help teaches a command by example.");
    int exit_code = qv6d::EXIT_OK;
    qv6d::add_replay(&app, &exit_code);
    qv6d::add_simulate(&app, &exit_code);
    qv6d::add_explain(&app, &exit_code);

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
