#include "env/qvmaf.h"

#include "platform/log.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

// Newest to oldest: the order of summation decides the last bit.
static double column_mean(const qvmaf &filter, int32_t item)
{
    double sum = 0.0;
    for (int32_t row = 0; row < filter.n; ++row)
        sum += filter.buf[row][item];
    return sum / filter.n;
}

static void push(qvmaf &filter, const double *sample)
{
    for (int32_t row = QVMAF_ORDER_MAX - 1; row > 0; --row)
        std::copy_n(filter.buf[row - 1], filter.n_item, filter.buf[row]);
    std::copy_n(sample, filter.n_item, filter.buf[0]);
    filter.n = std::min(filter.n + 1, filter.n_order);
}

int32_t qvmaf_run(qvmaf *filter, const double *sample, double *mean)
{
    push(*filter, sample);
    for (int32_t item = 0; item < filter->n_item; ++item)
        mean[item] = column_mean(*filter, item);
    return 0;
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
    for (int32_t item = 0; item < filter->n_item; ++item)
        mean[item] = column_mean(*filter, item);
    return 0;
}

int32_t qvmaf_get_stdev(const qvmaf *filter, double *stdev)
{
    double mean[QVMAF_ITEM_MAX];
    if (qvmaf_get_avg(filter, mean) != 0)
        return -1;
    for (int32_t item = 0; item < filter->n_item; ++item)
    {
        double squares = 0.0;
        for (int32_t row = 0; row < filter->n; ++row)
        {
            const double d = filter->buf[row][item] - mean[item];
            squares += d * d;
        }
        stdev[item] = std::sqrt(squares / filter->n);
    }
    return 0;
}
