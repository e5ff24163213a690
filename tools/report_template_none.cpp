#include "report.h"

std::string_view qv6d::report_template()
{
    return {};
}
