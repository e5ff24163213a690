#include "report_file.h"

#include "error.h"

#include <unistd.h>

namespace qv6d
{

report_file::report_file(const std::string &name) : name_(name)
{
    if (name.empty())
        return;
    if (report_template().empty())
        throw error(EXIT_USAGE, "this qv6d was built without the report; ./run report builds it in (it needs npm)");
    out_.emplace(name);
}

void report_file::finish(const cycle_source &source, const replay_settings &settings)
{
    if (!wanted())
        return;
    out_->print("{}", page_.page(source, settings));
    out_->finish();
    fmt::print(stderr, "report: {}\n", name_);
}

} // namespace qv6d
