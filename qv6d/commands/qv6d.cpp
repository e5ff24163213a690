// The program: one command of several.

#include "commands/commands.h"
#include "commands/completion.h"
#include "common/error.h"
#include "common/interrupt.h"
#include "common/invocation.h"
#include "common/output.h"
#include "common/terminal.h"
#include "common/text.h"
#include "qv6dalgo.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <fmt/format.h>
#include <sstream>
#include <unistd.h>

namespace qv6d
{

using word_list = std::vector<std::string>;

static void add_commands(CLI::App *app, exit_code *result)
{
    app->require_subcommand(1);
    add_replay(app, result);
    add_simulate(app, result);
    add_explain(app, result);
    add_tune(app, result);
    add_import(app, result);
    add_inspect(app, result);
    add_check(app, result);
    for (CLI::App *command : app->get_subcommands([](const CLI::App *) { return true; }))
        command->add_flag_callback("-q,--quiet", be_quiet, "No notes and no progress on standard error, only errors");
}

static void say_error(const std::string &text)
{
    say(painted(colour::red, "qv6d:", stderr));
    say(fmt::format(" {}\n", text));
}

static std::string no_such_command(const CLI::App &app, const std::string &name)
{
    return fmt::format("there is no command \"{}\"{}", printable(name), did_you_mean(name, command_names(app)));
}

// What is wrong with the words after a command, or in its place.
static std::string what_is_wrong(const CLI::App &command, const word_list &left, const CLI::Error &e)
{
    const auto unknown = std::ranges::find_if(left, [](const std::string &word) { return word.starts_with("-"); });
    if (unknown != left.end())
    {
        const std::string name = unknown->substr(0, unknown->find('='));
        return fmt::format("there is no option {}{}", printable(name), did_you_mean(name, option_names(command)));
    }
    if (!left.empty())
        return fmt::format("\"{}\" is one argument too many", printable(left[0]));
    const std::string said = e.what();
    return e.get_name() == "ArgumentMismatch" ? said.substr(0, said.find(':')) + " needs a value" : said;
}

static exit_code refuse(const CLI::App &app, const CLI::Error &e)
{
    const word_list left = app.remaining(true);
    if (!app.get_subcommands().empty())
    {
        const CLI::App &command = *app.get_subcommands()[0];
        say_error(fmt::format("{}: {}", command.get_name(), what_is_wrong(command, left, e)));
        say(fmt::format("`qv6d {} --help` lists its options\n", command.get_name()));
        return EXIT_USAGE;
    }
    const bool named = !left.empty() && !left[0].starts_with("-");
    say_error(named          ? no_such_command(app, left[0])
              : left.empty() ? "expected a command"
                             : what_is_wrong(app, left, e));
    say("`qv6d --help` lists the commands\n");
    return EXIT_USAGE;
}

// As a shell has it of a program that a signal ended.
static exit_code code_of_interrupt()
{
    return last_interrupt() == 0 ? EXIT_INTERRUPTED : static_cast<exit_code>(128 + last_interrupt());
}

// `help COMMAND` is `COMMAND --help`.
static word_list without_help_command(const CLI::App &app, const word_list &arguments)
{
    if (arguments.empty() || arguments[0] != "help")
        return arguments;
    if (arguments.size() == 1)
        return {"--help"};
    const bool known = std::ranges::count(command_names(app), arguments[1]) > 0;
    return known ? word_list{arguments[1], "--help"} : word_list{arguments[1]}; // which is refused
}

// Where a standard stream is closed, the next file that is opened would get its number, and what is said its bytes.
// What is put there can be opened, but not used.
static void occupy_closed_streams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0)
            static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY)); // the lowest number
}

static void print(const std::string &text)
{
    output screen("-");
    screen.print("{}", text);
    screen.finish();
}

// Parses the options, which runs the command.
static exit_code parse(CLI::App *app, word_list arguments, const exit_code &result)
{
    try
    {
        std::ranges::reverse(arguments); // as the parser takes them
        app->parse(arguments);
        return result;
    }
    catch (const CLI::ParseError &e) // that help was asked for is one, too
    {
        if (e.get_exit_code() != 0)
            return refuse(*app, e);
        std::ostringstream help;
        app->exit(e, help);
        print(help.str());
        return EXIT_OK;
    }
}

// Asked by shells only.
static exit_code complete(const CLI::App &app, const word_list &words)
{
    print(completions(app, words));
    return EXIT_OK;
}

static exit_code run(CLI::App *app, const word_list &arguments, const exit_code &result)
{
    try
    {
        if (!arguments.empty() && arguments[0] == "complete")
            return complete(*app, {arguments.begin() + 1, arguments.end()});
        return parse(app, without_help_command(*app, arguments), result);
    }
    catch (const error &e)
    {
        if (*e.what() != '\0')
            say_error(e.what());
        return e.code == EXIT_INTERRUPTED ? code_of_interrupt() : e.code;
    }
    catch (const std::exception &e)
    {
        say_error(e.what());
        return EXIT_UNEXPECTED;
    }
}

} // namespace qv6d

int main(int argc, char **argv)
{
    const qv6d::interrupt_guard interrupts;
    qv6d::occupy_closed_streams();
    qv6d::keep_command_line(argc, argv);
    std::signal(SIGPIPE, SIG_IGN); // a reader that leaves shows as a write that fails
    CLI::App app("qv6d: replay, explain and simulate sensor recordings for libqv6dalgo", "qv6d");
    app.set_version_flag("-V,--version", "qv6d " QV6D_VERSION, "Print the library's version");
    app.footer("qv6d COMMAND --help lists the options of a command and shows examples. So does qv6d help COMMAND.");
    qv6d::exit_code result = qv6d::EXIT_OK;
    qv6d::add_commands(&app, &result);
    const qv6d::word_list arguments(argv + std::min(argc, 1), argv + argc);
    return qv6d::run(&app, arguments, result);
}
