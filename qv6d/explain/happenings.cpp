#include "explain/happenings.h"

#include <fmt/format.h>

namespace qv6d
{

namespace
{

std::string show(const vec3 &v)
{
    return fmt::format("{:.1f}, {:.1f}, {:.1f}", v[0], v[1], v[2]);
}

std::string with_figures(const char *words, const std::string &figures)
{
    return figures.empty() ? words : fmt::format("{}: {}", words, figures);
}

std::string figures_of_fit(const fit_figures &fit)
{
    std::string text = fmt::format("offset {} µT, radius {:.1f} µT", show(*fit.offset), *fit.radius);
    if (fit.samples)
        text += fmt::format(", {} samples", *fit.samples);
    if (fit.scatter)
        text += fmt::format(", scatter {:.1f} (limit {:.1f}), band {:.1f} (limit {:.1f}) µT", *fit.scatter,
                            *fit.scatter_limit, *fit.band, *fit.band_limit);
    return text;
}

} // namespace

std::string figures(const cycle &c)
{
    switch (c.outcome)
    {
    case buffer_outcome::span_too_small:
        return c.spans ? fmt::format("spans {} µT, at least {:.1f} needed", show(c.spans->span), c.spans->min) : "";
    case buffer_outcome::noise:
        return c.spans ? fmt::format("spans {} µT, at most {:.1f} allowed", show(c.spans->span), c.spans->max) : "";
    case buffer_outcome::unbalanced:
        return c.spans
                   ? fmt::format("ratios y/z {:.2f}, x/z {:.2f}, x/y {:.2f}, one within {:.2f} to {:.2f} needed",
                                 c.spans->ratio[0], c.spans->ratio[1], c.spans->ratio[2], c.spans->low, c.spans->high)
                   : "";
    case buffer_outcome::not_moved:
        return fmt::format("scatter of the last samples {} µT", show(c.scatter));
    case buffer_outcome::unstable:
        return figures_of_fit(c.fit) + (c.fit.scatter ? "" : ", not enough results to judge");
    case buffer_outcome::too_large:
    case buffer_outcome::accepted:
    case buffer_outcome::validated:
        return figures_of_fit(c.fit);
    default:
        return "";
    }
}

std::string figures_of_reset(const cycle &c)
{
    switch (c.reset)
    {
    case reset_cause::scatter:
        return fmt::format("scatter {} µT", show(c.scatter));
    case reset_cause::span:
        return c.spans ? fmt::format("spans {} µT", show(c.spans->span)) : "";
    case reset_cause::grade:
    case reset_cause::clear_radius:
        return c.distance ? fmt::format("field norm {:.1f} µT away from the radius of {:.1f} µT", *c.distance, c.radius)
                          : "";
    case reset_cause::none:
        break;
    }
    return "";
}

bool was_judged(const cycle &c)
{
    return c.outcome != buffer_outcome::filling && c.outcome != buffer_outcome::disabled &&
           c.outcome != buffer_outcome::noise;
}

std::vector<std::string> happenings(const cycle &c, int previous_grade)
{
    std::vector<std::string> lines;
    if (was_judged(c))
        lines.push_back(with_figures(words(c.outcome), figures(c)));
    if (c.reset != reset_cause::none)
        lines.push_back(with_figures(words(c.reset), figures_of_reset(c)));
    if (c.grade != previous_grade)
        lines.push_back(fmt::format("grade {} -> {}", previous_grade, c.grade));
    return lines;
}

} // namespace qv6d
