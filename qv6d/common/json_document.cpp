#include "common/json_document.h"

#include "qv6dalgo.h"

#include <cmath>

namespace qv6d
{

using nlohmann::ordered_json;

ordered_json json_of(const json_input &input)
{
    return {{"path", input.path},
            {"format", input.format},
            {"sha256", input.sha256 ? ordered_json(*input.sha256) : ordered_json()},
            {"options", input.options}};
}

ordered_json json_of(const std::optional<double> &value)
{
    return value && std::isfinite(*value) ? ordered_json(*value) : ordered_json();
}

ordered_json null_if_empty(const std::string &text)
{
    return text.empty() ? ordered_json() : ordered_json(text);
}

ordered_json json_document(std::string_view command)
{
    return {{"schema", JSON_SCHEMA}, {"program", "qv6d " QV6D_VERSION}, {"command", command}};
}

} // namespace qv6d
