// Foreign tables: CSV with any delimiter and any columns, and text in columns without a header.
#pragma once

#include "recordings/columns.h"
#include "recordings/reading_options.h"
#include "recordings/sample_stream.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

// What is known of a file beside its content.
struct table_hints
{
    std::string file;             // name without folders, as it is shown
    bool one_of_several = false;  // where others are no part of a recording
    std::optional<bool> opposite; // accelerations in g have the other phone platform's signs; unknown: by the format
    const reading *said = {};     // by a person
};

// Three columns with how they are taken.
struct table_part
{
    triple what;
    double factor = 1.0;  // to the unit of events
    std::string decision; // what had to be judged; may be empty
};

// How a table is read.
struct table_plan
{
    std::string format; // code, as in recording_origin
    char delimiter = ',';
    std::uint64_t rows_after = 0; // the line of the header; 0 without one
    std::size_t time = 0;
    time_unit unit = time_unit::ns;
    std::string unit_decision; // how the unit of time was judged; may be empty
    std::optional<std::size_t> sensor;
    std::vector<std::string> names; // of the columns
    std::vector<table_part> parts;
};

// Nothing when the lines are no table with time and three axes of something. Throws qv6d::error when they are one, and
// what is missing has to come from a person.
std::optional<table_plan> plan_table(text_lines *lines, const table_hints &hints);

// One of the quantities of a table is wanted as the events of a sensor.
struct wanted_part
{
    std::size_t part;
    sensor as;
};

// The samples of a table.
std::unique_ptr<sample_stream> read_table(std::unique_ptr<text_lines> lines, table_plan plan,
                                          std::vector<wanted_part> wanted);

} // namespace qv6d
