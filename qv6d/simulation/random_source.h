// Random numbers that are the same on every platform, which those of <random>'s distributions are not.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <random>

namespace qv6d
{

class random_source
{
public:
    explicit random_source(std::uint64_t seed) : bits_(seed)
    {
    }

    // [0, 1).
    double uniform()
    {
        return static_cast<double>(bits_() >> 11) * 0x1p-53;
    }

    double between(double low, double high)
    {
        return low + (high - low) * uniform();
    }

    // Sum of twelve uniform numbers: mean 0, standard deviation 1, nothing beyond 6.
    double normal()
    {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i)
            sum += uniform();
        return sum;
    }

    Eigen::Vector3d normal_vector(double deviation)
    {
        const double x = normal(), y = normal(), z = normal();
        return Eigen::Vector3d(x, y, z) * deviation;
    }

private:
    std::mt19937_64 bits_;
};

} // namespace qv6d
