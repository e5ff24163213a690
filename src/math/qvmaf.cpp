#include "math/qvmaf_push.h"

#include "platform/log.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

int32_t qvmaf_config(qvmaf_cfg *cfg, int32_t n_order, int32_t n_item)
{
    cfg->n_order = std::clamp(n_order, 0, QVMAF_ORDER_MAX);
    cfg->n_item = std::clamp(n_item, 0, QVMAF_ITEM_MAX);
    return 0;
}

int32_t qvmaf_init(qvmaf *filter, const qvmaf_cfg *cfg)
{
    qvmaf_cfg limited;
    qvmaf_config(&limited, cfg->n_order, cfg->n_item);
    filter->n_order = limited.n_order;
    filter->n_item = limited.n_item;
    return qvmaf_clear(filter);
}

int32_t qvmaf_clear(qvmaf *filter)
{
    for (int32_t row = 0; row < filter->n_order; ++row)
        std::fill_n(filter->buf[row], filter->n_item, 0.0);
    filter->n = 0;
    return 0;
}

// Calls operation with the number of components as a constant: rows are then moved and summed component beside
// component, without a loop over them. A filter outside 1..4 has no components, and nothing is called.
template <typename Operation>
static void with_items(const qvmaf &filter, Operation operation)
{
    switch (filter.n_item)
    {
    case 1:
        return operation(std::integral_constant<int32_t, 1>());
    case 2:
        return operation(std::integral_constant<int32_t, 2>());
    case 3:
        return operation(std::integral_constant<int32_t, 3>());
    case 4:
        return operation(std::integral_constant<int32_t, 4>());
    default:
        return;
    }
}

// Newest to oldest: the order of summation decides the last bit.
template <int32_t n_item>
static void add_rows(const qvmaf &filter, int32_t rows, double *sum)
{
    for (int32_t row = 0; row < rows; ++row)
        for (int32_t item = 0; item < n_item; ++item)
            sum[item] += filter.buf[row][item];
}

template <int32_t n_item>
static void average(const qvmaf &filter, double *mean)
{
    double sum[n_item] = {};
    add_rows<n_item>(filter, filter.n, sum);
    for (int32_t item = 0; item < n_item; ++item)
        mean[item] = sum[item] / filter.n;
}

template <int32_t n_item>
static void push_row(qvmaf &filter, const double *sample)
{
    for (int32_t row = QVMAF_ORDER_MAX - 1; row > 0; --row)
        std::memcpy(filter.buf[row], filter.buf[row - 1], n_item * sizeof(double));
    std::memcpy(filter.buf[0], sample, n_item * sizeof(double));
}

// The sum comes before the rows move: the moves then fill the time in which one addition waits for the one before.
template <int32_t n_item>
static void push_and_average(qvmaf &filter, const double *sample, double *mean)
{
    double sum[n_item] = {};
    if (filter.n > 0)
        for (int32_t item = 0; item < n_item; ++item)
            sum[item] += sample[item];
    add_rows<n_item>(filter, filter.n - 1, sum);
    push_row<n_item>(filter, sample);
    for (int32_t item = 0; item < n_item; ++item)
        mean[item] = sum[item] / filter.n;
}

int32_t qvmaf_run(qvmaf *filter, const double *sample, double *mean)
{
    filter->n = std::min(filter->n + 1, filter->n_order);
    with_items(*filter, [=](auto n_item) { push_and_average<n_item>(*filter, sample, mean); });
    return 0;
}

void qvmaf_push_all(qvmaf *filter, const double (*samples)[QVMAF_ITEM_MAX], int32_t count)
{
    constexpr std::size_t row = sizeof filter->buf[0];
    std::memmove(filter->buf[count], filter->buf[0], static_cast<std::size_t>(QVMAF_ORDER_MAX - count) * row);
    for (int32_t i = 0; i < count; ++i)
        std::memcpy(filter->buf[count - 1 - i], samples[i], row);
    filter->n = std::min(filter->n + count, filter->n_order);
}

int32_t qvmaf_get_n_order(const qvmaf *filter)
{
    return filter->n_order;
}

int32_t qvmaf_get_n_item(const qvmaf *filter)
{
    return filter->n_item;
}

int32_t qvmaf_get_n(const qvmaf *filter)
{
    return filter->n;
}

double qvmaf_get_buf(const qvmaf *filter, int32_t row, int32_t item)
{
    if (row < 0 || row >= QVMAF_ORDER_MAX || item < 0 || item >= QVMAF_ITEM_MAX)
        return std::numeric_limits<double>::quiet_NaN();
    return filter->buf[row][item];
}

int32_t qvmaf_get_avg(const qvmaf *filter, double *mean)
{
    if (filter->n < 1)
    {
        QVLOG("[ERR] could not calculate average (n==0)\n");
        return -1;
    }
    with_items(*filter, [=](auto n_item) { average<n_item>(*filter, mean); });
    return 0;
}

template <int32_t n_item>
static void deviation(const qvmaf &filter, const double *mean, double *stdev)
{
    double squares[n_item] = {};
    for (int32_t row = 0; row < filter.n; ++row)
        for (int32_t item = 0; item < n_item; ++item)
        {
            const double d = filter.buf[row][item] - mean[item];
            squares[item] += d * d;
        }
    for (int32_t item = 0; item < n_item; ++item)
        stdev[item] = std::sqrt(squares[item] / filter.n);
}

int32_t qvmaf_get_stdev(const qvmaf *filter, double *stdev)
{
    double mean[QVMAF_ITEM_MAX];
    if (qvmaf_get_avg(filter, mean) != 0)
        return -1;
    with_items(*filter, [=](auto n_item) { deviation<n_item>(*filter, mean, stdev); });
    return 0;
}
