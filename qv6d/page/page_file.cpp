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

std::string filled_template(const nlohmann::ordered_json &data)
{
    std::string page(page_template());
    return page.replace(page.find(PAGE_DATA_TOKEN), PAGE_DATA_TOKEN.size(), for_script(data));
}

} // namespace

page_file::page_file(const std::string &name) : name_(name)
{
    if (name.empty())
        return;
    if (page_template().empty())
        throw error(EXIT_USAGE, "this qv6d was built without the report; ./run demo builds it in (it needs npm)");
    out_.emplace(name);
}

void page_file::finish(const findings &found, const std::string &recording)
{
    if (!wanted())
        return;
    out_->print("{}", filled_template(data_.json(found, recording)));
    out_->finish();
    if (!is_quiet())
        fmt::print(stderr, "report: {}\n", name_);
}

} // namespace qv6d
