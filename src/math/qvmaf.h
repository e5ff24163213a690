/* Moving average over the most recent samples.
 *
 * A window of up to 40 samples of up to 4 doubles, embedded in its owner's state. Pointers must not be null.
 * int32_t results: 0 success, -1 failure with the output untouched. Values carry the unit of the samples pushed. */
#ifndef QV6D_MATH_QVMAF_H
#define QV6D_MATH_QVMAF_H

#include "platform/api.h"

#define QVMAF_ORDER_MAX 40
#define QVMAF_ITEM_MAX 4

/* What a filter is initialised with. */
typedef struct qvmaf_cfg
{
    int32_t n_order; /* window length, samples */
    int32_t n_item;  /* components per sample */
} qvmaf_cfg;

typedef struct qvmaf
{
    int32_t n_order;                             /* window length, samples, 0..40; 0 never holds a sample */
    int32_t n_item;                              /* components per sample, 0..4 */
    int32_t n;                                   /* samples in the window: min(pushes since clear, n_order) */
    double buf[QVMAF_ORDER_MAX][QVMAF_ITEM_MAX]; /* row 0 newest; rows past n_order hold older history */
} qvmaf;

/* Stores the two values, each limited to what a filter holds: n_order to 0..40, n_item to 0..4. Also takes the head of
 * a filter, whose first two members are the same. Returns 0. */
QV_API int32_t qvmaf_config(qvmaf_cfg *cfg, int32_t n_order, int32_t n_item);

/* Takes over the configuration, limited as by qvmaf_config, and clears the window. Returns 0. */
QV_API int32_t qvmaf_init(qvmaf *filter, const qvmaf_cfg *cfg);

/* Empties the window and zeroes its rows; older history past n_order stays. Returns 0. */
QV_API int32_t qvmaf_clear(qvmaf *filter);

/* Pushes sample[n_item] and writes the new mean to mean[n_item], which may be the same array. The mean of a window of
 * length 0 is NaN. Returns 0. */
QV_API int32_t qvmaf_run(qvmaf *filter, const double *sample, double *mean);

QV_API int32_t qvmaf_get_n_order(const qvmaf *filter);
QV_API int32_t qvmaf_get_n_item(const qvmaf *filter);
QV_API int32_t qvmaf_get_n(const qvmaf *filter);

/* Element of the buffer, row 0 newest; NaN outside 40 x 4. */
QV_API double qvmaf_get_buf(const qvmaf *filter, int32_t row, int32_t item);

/* Mean of the window to mean[n_item]; -1 and one error line when it is empty. */
QV_API int32_t qvmaf_get_avg(const qvmaf *filter, double *mean);

/* Population standard deviation of the window (divisor n) to stdev[n_item]; -1 and one error line when it is empty. */
QV_API int32_t qvmaf_get_stdev(const qvmaf *filter, double *stdev);

#endif
