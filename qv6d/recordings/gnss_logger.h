// The text files of the app GnssLogger: rows of many kinds by their first word, some of them of our sensors.
#pragma once

#include "recordings/sample_stream.h"

#include <memory>
#include <string>
#include <vector>

namespace qv6d
{

bool is_gnss_logger(text_lines *lines);

// Acceleration, turn rate, field, and the platform's hard-iron offset each time it changes. `taken` and `decisions` are
// those of recording_origin.
std::unique_ptr<sample_stream> read_gnss_logger(std::unique_ptr<text_lines> lines, std::vector<std::string> *taken,
                                                std::vector<std::string> *decisions);

} // namespace qv6d
