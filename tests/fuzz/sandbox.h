// Where a fuzzed library lives: files in memory, so that no path from an input reaches the disk and every write can be
// made to fail, a log that keeps the last lines for a claim about them, and a service in the small.
#pragma once

#include "input.h"
#include "qv6dalgo.h"

#include <map>
#include <string>
#include <string_view>

namespace sandbox
{

// By path. What the library opens for reading must be in here; what it writes appears.
extern std::map<std::string, std::string, std::less<>> files;

// The files of the service.
inline constexpr const char *CUSTOMER_FILE = "customer.cfg";
inline constexpr const char *CONFIGURATION_BACKUP = "configuration.bak", *DATA_BACKUP = "data.bak";

// Bytes that any one file takes before writes to it fail.
inline constexpr std::size_t NO_LIMIT = 1 << 20;
extern std::size_t size_limit;

// Forgets files and lines, and puts the library into the state of a process that has just loaded it.
void reset();

// Whether a line logged since the last call of this function contains the text.
bool logged(std::string_view text);

// Ends the process with a message, which the fuzzer keeps with the input: a claim about the library does not hold.
void claim(bool holds, const char *what);

// Starts the library as QVS_initLib does, with the files above.
void start();

// Hands over one sample to every sensor, calls every getter, and claims what must hold of the results.
void feed(const qvs_sample &acc, const qvs_sample &gyro, const qvs_sample &mag);
void feed(input &in, int times = 1);

// A turning device in a field of the given radius around the given hard iron, both in counts.
void turn(int samples, qvs_sample centre = {0, 200.0F, -300.0F, 100.0F, 0}, float radius = 320.0F);

qvs_sample take_sample(input &in);

} // namespace sandbox
