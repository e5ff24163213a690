// A run's page in one row, for lists of runs and for several runs on one page.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace qv6d
{

// {title, page, calibrated, text, grade3_s, trust, offset_ut, error_ut, error_of, findings, error}, of the data of a
// page. `error_of` says what the offset was compared with: "true" or "best".
nlohmann::ordered_json overview(const nlohmann::ordered_json &page);

// Of a run that failed.
nlohmann::ordered_json overview_of_failure(const std::string &title, const std::string &reason);

// For a terminal, without the title.
std::string overview_text(const nlohmann::ordered_json &row);

// Titles, links and figures of runs; and up to OVERLAID_MAX runs laid over each other.
nlohmann::ordered_json index_page(const nlohmann::ordered_json &rows);
nlohmann::ordered_json comparing_page(const std::string &title, const nlohmann::ordered_json &runs,
                                      const nlohmann::ordered_json &failed);

inline constexpr std::size_t OVERLAID_MAX = 6; // more lines cannot be told apart

} // namespace qv6d
