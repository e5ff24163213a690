// The program: one command of several.

#include "commands/commands.h"
#include "common/error.h"
#include "common/interrupt.h"
#include "qv6dalgo.h"

#include <csignal>
#include <fmt/format.h>

namespace qv6d
{

static void add_commands(CLI::App *app, exit_code *result)
{
    app->require_subcommand(1);
    add_replay(app, result);
    add_simulate(app, result);
    add_explain(app, result);
    add_tune(app, result);
    add_inspect(app, result);
    add_check(app, result);
}

// Parses the options, which runs the command.
static exit_code run(CLI::App *app, int argc, char **argv, const exit_code &result)
{
    try
    {
        app->parse(argc, argv);
        return result;
    }
    catch (const CLI::ParseError &e) // that help was asked for is one, too
    {
        return app->exit(e) == 0 ? EXIT_OK : EXIT_USAGE;
    }
    catch (const error &e)
    {
        if (*e.what() != '\0')
            fmt::print(stderr, "qv6d: {}\n", e.what());
        return e.code;
    }
    catch (const std::exception &e)
    {
        fmt::print(stderr, "qv6d: {}\n", e.what());
        return EXIT_UNEXPECTED;
    }
}

} // namespace qv6d

int main(int argc, char **argv)
{
    const qv6d::interrupt_guard interrupts;
    std::signal(SIGPIPE, SIG_IGN); // a reader that leaves shows as a write that fails
    CLI::App app("qv6d: replay, explain and simulate sensor recordings for libqv6dalgo");
    app.set_version_flag("--version", "qv6d " QV6D_VERSION, "Print the library's version");
    app.footer("qv6d COMMAND --help lists the options of a command and shows examples.");
    qv6d::exit_code result = qv6d::EXIT_OK;
    qv6d::add_commands(&app, &result);
    return qv6d::run(&app, argc, argv, result);
}
