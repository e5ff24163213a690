// Numbers are read and written with a point, whatever locale the process has set.
#pragma once

#ifdef __ANDROID__

// There a number always has a point.
struct decimal_point
{
    ~decimal_point()
    {
    }
};

#else

#include <locale.h>

// While one exists, this thread reads and writes numbers as the C locale does. The C library has that locale ready:
// nothing is allocated.
class decimal_point
{
public:
    decimal_point() : previous_(uselocale(c_))
    {
    }

    ~decimal_point()
    {
        uselocale(previous_);
        freelocale(c_);
    }

    decimal_point(const decimal_point &) = delete;
    decimal_point &operator=(const decimal_point &) = delete;

private:
    const locale_t c_ = newlocale(LC_ALL_MASK, "C", nullptr); // null leaves the locale as it is
    const locale_t previous_;
};

#endif
