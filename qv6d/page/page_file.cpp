#include "page/page_file.h"

#include "common/error.h"
#include "common/terminal.h"
#include "common/text.h"
#include "page/page_template.h"

#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

// What a browser would take for the end of the data's element is escaped.
std::string for_script(const nlohmann::ordered_json &data)
{
    const std::string text = json_text(data);
    std::string out;
    out.reserve(text.size());
    for (const char c : text)
        if (c == '<')
            out += "\\u003c";
        else
            out += c;
    return out;
}

} // namespace

void write_page(output *out, const nlohmann::ordered_json &data)
{
    const std::string_view page = page_template();
    const std::size_t at = page.find(PAGE_DATA_TOKEN);
    out->write(page.substr(0, at));
    out->write(for_script(data));
    out->write(page.substr(at + PAGE_DATA_TOKEN.size()));
}

void expect_page_template()
{
    if (page_template().empty())
        throw error(EXIT_USAGE, "this qv6d was built without the report; ./run demo builds it in (it needs npm)");
}

page_file::page_file(const std::string &name) : name_(name)
{
    if (name.empty())
        return;
    expect_page_template();
    out_.emplace(name);
}

void page_file::finish(const findings &found, const page_facts &facts)
{
    if (!wanted())
        return;
    write_page(&*out_, data_.json(found, facts));
    out_->finish();
    if (!is_quiet())
        say(fmt::format("report: {}\n", name_));
}

} // namespace qv6d
