#include "commands/completion.h"

#include "common/text.h"
#include "files/record_fields.h"

#include <algorithm>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

// One word of a command line, and what would fit there.
class candidates
{
public:
    // `written` stands in front of the part that is completed, as in --unit=COUNTS.
    candidates(const std::string &current, const std::string &written) : current_(current), written_(written)
    {
    }

    void add(const std::string &name, const std::string &what)
    {
        if (name.starts_with(current_))
            text_ += fmt::format("{}{}\t{}\n", written_, name, what.substr(0, what.find('\n')));
    }

    void add_line(const std::string &line)
    {
        text_ += line + "\n";
    }

    const std::string &text() const
    {
        return text_;
    }

private:
    const std::string current_, written_;
    std::string text_;
};

const CLI::App *command_of(const CLI::App &app, const std::string &name)
{
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; }))
        if (command->get_name() == name)
            return command;
    return nullptr;
}

std::vector<std::string> names_of(const CLI::Option &option)
{
    std::vector<std::string> names;
    for (const std::string &name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        names.push_back("--" + name);
    return names;
}

const CLI::Option *option_of(const CLI::App &command, const std::string &name)
{
    for (const CLI::Option *option : command.get_options())
        if (std::ranges::count(names_of(*option), name) > 0)
            return option;
    return nullptr;
}

// The choices of a value are part of its name in the help: TEXT:{a,b}.
std::vector<std::string> choices_of(const std::string &type)
{
    std::vector<std::string> choices;
    const std::size_t open = type.find('{'), close = type.find('}');
    if (open == std::string::npos || close == std::string::npos)
        return choices;
    for (std::size_t begin = open + 1; begin < close;)
    {
        const std::size_t end = std::min(type.find(',', begin), close);
        choices.push_back(type.substr(begin, end - begin));
        begin = end + 1;
    }
    return choices;
}

void add_values(candidates *found, const CLI::Option &option)
{
    const std::string type = option.get_type_name();
    for (const std::string &choice : choices_of(type))
        found->add(choice, "");
    if (type.starts_with(KEY_VALUE))
        for (const record_field &field : record_fields(record_type::configuration))
            if (field.has_key && field.kind != key_kind::path)
                found->add(field.name + "=", field.meaning);
    if (type.starts_with(FILE_VALUE) || type.starts_with(FOLDER_VALUE))
        found->add_line(type.starts_with(FILE_VALUE) ? FILES_FOLLOW : FOLDERS_FOLLOW);
}

void add_options(candidates *found, const CLI::App &command)
{
    for (const CLI::Option *option : command.get_options())
        for (const std::string &name : names_of(*option))
            if (name.starts_with("--"))
                found->add(name, option->get_description());
}

void add_commands(candidates *found, const CLI::App &app)
{
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; }))
        found->add(command->get_name(), command->get_description());
}

void add_positional(candidates *found, const CLI::App &command)
{
    for (const CLI::Option *option : command.get_options())
        if (option->get_positional())
            add_values(found, *option);
}

// Bash hands over --unit=counts as three words, other shells as one.
void add_within_command(candidates *found, const CLI::App &command, std::vector<std::string> words,
                        const std::string &current)
{
    if (words.size() > 1 && words.back() == "=")
        words.pop_back();
    const CLI::Option *option = words.empty() ? nullptr : option_of(command, words.back());
    if (option != nullptr && option->get_items_expected_max() > 0)
        add_values(found, *option);
    else if (current.starts_with("-"))
        add_options(found, command);
    else
        add_positional(found, command);
}

} // namespace

std::vector<std::string> command_names(const CLI::App &app)
{
    std::vector<std::string> names;
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; }))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> option_names(const CLI::App &command)
{
    std::vector<std::string> all;
    for (const CLI::Option *option : command.get_options())
        std::ranges::copy(names_of(*option), std::back_inserter(all));
    return all;
}

std::string did_you_mean(const std::string &typed, const std::vector<std::string> &names)
{
    const auto distance = [&typed](const std::string &name) { return edit_distance(typed, name); };
    const auto nearest = std::ranges::min_element(names, {}, distance);
    if (nearest == names.end() || distance(*nearest) > std::max<std::size_t>(2, typed.size() / 3))
        return "";
    return fmt::format(": did you mean {}?", *nearest);
}

std::string completions(const CLI::App &app, const std::vector<std::string> &words)
{
    const std::string last = words.empty() ? "" : words.back();
    std::vector<std::string> before(words.begin(), words.end() - (words.empty() ? 0 : 1));
    const std::size_t equals = last.starts_with("--") ? last.find('=') : std::string::npos;
    const std::string written = equals == std::string::npos ? "" : last.substr(0, equals + 1);
    const std::string current = last == "=" ? "" : last.substr(written.size());
    if (!written.empty())
        before.push_back(last.substr(0, equals));

    candidates found(current, written);
    const CLI::App *command = before.empty() ? nullptr : command_of(app, before[0]);
    if (command != nullptr)
        add_within_command(&found, *command, {before.begin() + 1, before.end()}, current);
    else if (before.empty() && current.starts_with("-"))
        add_options(&found, app);
    else if (before.empty() || before[0] == "help")
        add_commands(&found, app);
    if (before.empty())
        found.add("help", "Print the help of a command");
    return found.text();
}

} // namespace qv6d
