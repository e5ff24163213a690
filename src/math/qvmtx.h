/* Small dense matrices: up to 4 x 4 doubles in fixed storage, dimensions set at run time.
 *
 * int32_t results: 0 success, -1 failure. Dimensions outside 0..4, of an argument or of an operand, are refused with -1
 * and nothing changed; so is a null matrix. A separate destination must be a different matrix from every operand: it is
 * sized before they are read. Elements outside rows x cols are not significant. */
#ifndef QV6D_MATH_QVMTX_H
#define QV6D_MATH_QVMTX_H

#include "platform/api.h"
#include "qv6dalgo.h"

#define QVMTX_DIM_MAX 4

typedef struct qvmtx
{
    int32_t rows; /* 0..4 */
    int32_t cols; /* 0..4 */
    double elements[QVMTX_DIM_MAX][QVMTX_DIM_MAX];
} qvmtx;

/* Set the dimensions, to rows x cols and to 0 x 0; the elements stay. */
QV_API int32_t _alloc_m(qvmtx *m, int32_t rows, int32_t cols);
QV_API int32_t _free_m(qvmtx *m);
QV_API int32_t qvmtx_free(qvmtx *m);

/* rows x cols, every element value. */
QV_API int32_t qvmtx_assign(qvmtx *m, int32_t rows, int32_t cols, double value);

/* n x n identity; -1 when n < 1. */
QV_API int32_t qvmtx_eye(qvmtx *m, int32_t n);

QV_API int32_t qvmtx_copy(qvmtx *to, const qvmtx *from);
QV_API int32_t qvmtx_trans(qvmtx *to, const qvmtx *from);

/* to = a * b; -1 unless a.cols equals b.rows. */
QV_API int32_t qvmtx_mulm(qvmtx *to, const qvmtx *a, const qvmtx *b);

/* to = s * a. */
QV_API int32_t qvmtx_muls(qvmtx *to, const qvmtx *a, double s);

/* to = a + b and to = a - b; -1 unless the dimensions are equal. */
QV_API int32_t qvmtx_addm(qvmtx *to, const qvmtx *a, const qvmtx *b);
QV_API int32_t qvmtx_subm(qvmtx *to, const qvmtx *a, const qvmtx *b);

/* The same in place: a = a + b, a = a - b, a = s * a. */
QV_API int32_t qvmtx_addm_self(qvmtx *a, const qvmtx *b);
QV_API int32_t qvmtx_subm_self(qvmtx *a, const qvmtx *b);
QV_API int32_t qvmtx_muls_self(qvmtx *a, double s);

/* Inverse of a matrix, which must be square, by Gauss-Jordan elimination without pivoting. A pivot of exactly 0.0 gives
 * -1 and a destination that must not be used, even where row exchanges would have found an inverse. */
QV_API int32_t qvmtx_inv(qvmtx *to, const qvmtx *from);

/* Cross product of two 3 x 1 columns or two 1 x 3 rows. Matrices with more than one row and one column give zeros and
 * 0; shorter columns and rows are the caller's fault. */
QV_API int32_t qvmtx_cross(qvmtx *to, const qvmtx *a, const qvmtx *b);

/* Sum of elements (i, i) over all rows; QV6D_NO_RESULT for a null matrix or one with dimensions outside 0..4. */
QV_API double qvmtx_trace(const qvmtx *m);

/* Sum of the squares of all elements, row by row; QV6D_NO_RESULT as for the trace. */
QV_API double qvmtx_norm_square(const qvmtx *m);

#endif
