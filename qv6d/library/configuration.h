// The library's configuration: its defaults, what its start makes of them, and what is in force.
#pragma once

#include "storage/qvstorage.h"

#include <array>
#include <cstddef>

namespace qv6d
{

// What no configuration changes.
inline constexpr std::size_t BUFFER_SIZE_MAX = QVHCAL_RBUF_MAX; // samples
inline constexpr double FIT_RADIUS_MAX = QVHCAL_RADIUS_MAX;     // microtesla; a larger fit is refused

qvstorage_cfg default_configuration();

// What QVS_initLib makes of the defaults before it reads the customer file. The library's setters know, and they change
// its one object: it is put back as it was.
qvstorage_cfg start_configuration();

// The same for a replay here with the debug lines on: they are read, and the files have names in a directory.
qvstorage_cfg explained_configuration();

// As the last start of the library in this process left it, customer file included.
const qvstorage_cfg &configuration_in_force();

// The field, microtesla, after the soft-iron matrix in force.
std::array<double, 3> without_soft_iron(const std::array<double, 3> &field);

} // namespace qv6d
