// A service's use of the library in the small: what every target does with it beside its own subject.
#pragma once

#include "input.h"

#include "qv6dalgo.h"

// The files of the service.
inline constexpr const char *CUSTOMER_FILE = "customer.cfg";
inline constexpr const char *CONFIGURATION_BACKUP = "configuration.bak";
inline constexpr const char *DATA_BACKUP = "data.bak";

// Starts the library as QVS_initLib does, with the files above.
void start();

// Hands over one sample to every sensor, calls every getter, and claims what must hold of the results.
void feed(const qvs_sample &acc, const qvs_sample &gyro, const qvs_sample &mag);

// A turning device in a field of the given radius around the given hard iron, both in counts.
void turn(int samples, qvs_sample centre, float radius);

qvs_sample take_sample(input &in);
