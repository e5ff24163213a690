// What the cases are fed with.
#pragma once

#include "qv6dalgo.h"

#include <string>
#include <vector>

namespace bench
{

// A magnetometer sample (counts) and the accelerometer sample (m/s²) before it.
struct pair
{
    qvs_sample acc, mag;
};

// Pairs of a recording, in order. Ends the process with a message when it cannot be read.
std::vector<pair> load(const std::string &path);

// The same with a magnet at hand for three of every ten seconds: 120 microtesla along x, in and out at once.
std::vector<pair> disturbed(std::vector<pair> pairs);

// Starts the library with files in the current directory; restart ends it before and removes the files.
void start();
void restart();

// A recording's pairs through the entry points as a service calls them.
inline void step(const pair &p, qvs_calibration *result)
{
    QVS_doCaliApi(&p.mag, result);
    QVS_caliApiSetAccData(&p.acc);
    QVS_caliApiSetMagData(&p.mag);
}

} // namespace bench
