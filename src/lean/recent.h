// The last N values, newest first and side by side.
#pragma once

#include <cstdint>

template <typename T, int32_t N>
struct recent
{
    T kept[2 * N]; // each value twice, N apart: the window from `newest` on never wraps around
    int32_t newest;
};

template <typename T, int32_t N>
void recent_push(recent<T, N> *window, const T &value)
{
    window->newest = (window->newest == 0 ? N : window->newest) - 1;
    window->kept[window->newest] = window->kept[window->newest + N] = value;
}

// [0] is the newest, [N - 1] the oldest.
template <typename T, int32_t N>
const T *recent_values(const recent<T, N> &window)
{
    return window.kept + window.newest;
}
