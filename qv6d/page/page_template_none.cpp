#include "page/page_template.h"

std::string_view qv6d::page_template()
{
    return {};
}
