// The last N values, newest first and side by side.
#pragma once

#include <cstdint>

template <typename T, int32_t N>
class recent
{
public:
    void push(const T &value)
    {
        newest_ = (newest_ == 0 ? N : newest_) - 1;
        kept_[newest_] = kept_[newest_ + N] = value;
    }

    // [0] is the newest, [N - 1] the oldest.
    const T *values() const
    {
        return kept_ + newest_;
    }

private:
    T kept_[2 * N]; // each value twice, N apart: values() never wraps around
    int32_t newest_;
};
