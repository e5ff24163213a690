#include "trigonometry.h"

#include <cmath>
#include <limits>

bool own_trigonometry = true;

static constexpr double HALF_TURN = 3.141592653589793;

// A few last bits from the true values, for arguments within a half turn.

static double own_sin(double x)
{
    double sum = 1.0;
    for (int n = 27; n > 1; n -= 2)
        sum = 1.0 - x * x / (n * (n - 1)) * sum;
    return x * sum;
}

static double own_cos(double x)
{
    double sum = 1.0;
    for (int n = 28; n > 1; n -= 2)
        sum = 1.0 - x * x / (n * (n - 1)) * sum;
    return sum;
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

extern "C"
{
    double __real_sin(double x);
    double __real_cos(double x);
    double __real_asin(double x);
    double __real_atan2(double y, double x);

    double __wrap_sin(double x)
    {
        return own_trigonometry ? own_sin(x) : __real_sin(x);
    }

    double __wrap_cos(double x)
    {
        return own_trigonometry ? own_cos(x) : __real_cos(x);
    }

    double __wrap_asin(double x)
    {
        return own_trigonometry ? own_asin(x) : __real_asin(x);
    }

    double __wrap_atan2(double y, double x)
    {
        return own_trigonometry ? own_atan2(y, x) : __real_atan2(y, x);
    }

    // Compilers put sine and cosine of one angle together.
    void __wrap_sincos(double x, double *sine, double *cosine)
    {
        *sine = __wrap_sin(x);
        *cosine = __wrap_cos(x);
    }
}
