// A stand-in for the four functions of the mathematics library that the library calls.
//
// Mathematics libraries agree on + - * / and sqrt to the last bit, but not on sine and its like. The linker sends the
// library's calls (--wrap) to functions made of those operations, so that everything the library computes around them
// can be compared bit for bit; or on to the machine's own functions, to see what depends on them.

#include "scenarios.h"

#include <cmath>
#include <limits>

bool own_trigonometry = true;

static constexpr double HALF_TURN = 3.141592653589793;

// A few last bits from the true values, for arguments within a half turn.

static double series(double x, int n)
{
    double sum = 1.0;
    for (; n > 1; n -= 2)
        sum = 1.0 - x * x / (n * (n - 1)) * sum;
    return sum;
}

static double own_sin(double x)
{
    return x * series(x, 27);
}

static double own_cos(double x)
{
    return series(x, 28);
}

// Of 0 to 1: the angle is halved three times, where the series is short.
static double own_atan(double t)
{
    for (int i = 0; i < 3; ++i)
        t = t / (1.0 + std::sqrt(1.0 + t * t));
    double sum = 0.0;
    for (int n = 19; n > 0; n -= 2)
        sum = 1.0 / n - t * t * sum;
    return 8.0 * t * sum;
}

static double own_atan2(double y, double x)
{
    if (std::isnan(x) || std::isnan(y))
        return std::numeric_limits<double>::quiet_NaN();
    const double across = std::fabs(y), along = std::fabs(x);
    double angle = 0.0;
    if (across == along)
        angle = across == 0.0 ? 0.0 : HALF_TURN / 4.0;
    else
        angle = across < along ? own_atan(across / along) : HALF_TURN / 2.0 - own_atan(along / across);
    return std::copysign(std::signbit(x) ? HALF_TURN - angle : angle, y);
}

static double own_asin(double x)
{
    if (!(std::fabs(x) <= 1.0))
        return std::numeric_limits<double>::quiet_NaN();
    return own_atan2(x, std::sqrt((1.0 - x) * (1.0 + x)));
}

#define WRAP(name, parameters, arguments)                                                                              \
    extern "C" double __real_##name parameters;                                                                        \
    extern "C" double __wrap_##name parameters                                                                         \
    {                                                                                                                  \
        return own_trigonometry ? own_##name arguments : __real_##name arguments;                                      \
    }

WRAP(sin, (double x), (x))
WRAP(cos, (double x), (x))
WRAP(asin, (double x), (x))
WRAP(atan2, (double y, double x), (y, x))

// Compilers put sine and cosine of one angle together.
extern "C" void __wrap_sincos(double x, double *sine, double *cosine)
{
    *sine = __wrap_sin(x);
    *cosine = __wrap_cos(x);
}
