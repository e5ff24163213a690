#include "math/qvmtx.h"

static bool fits(int32_t rows, int32_t cols)
{
    return rows >= 0 && rows <= QVMTX_DIM_MAX && cols >= 0 && cols <= QVMTX_DIM_MAX;
}

static bool usable(const qvmtx *m)
{
    return m != nullptr && fits(m->rows, m->cols);
}

static bool same_size(const qvmtx *a, const qvmtx *b)
{
    return usable(a) && usable(b) && a->rows == b->rows && a->cols == b->cols;
}

// Sets every element of a sized matrix to the value that of(row, column) gives.
template <typename Of>
static void fill(qvmtx *m, Of of)
{
    for (int32_t i = 0; i < m->rows; ++i)
        for (int32_t j = 0; j < m->cols; ++j)
            m->elements[i][j] = of(i, j);
}

int32_t _alloc_m(qvmtx *m, int32_t rows, int32_t cols)
{
    if (m == nullptr || !fits(rows, cols))
        return -1;
    m->rows = rows;
    m->cols = cols;
    return 0;
}

int32_t _free_m(qvmtx *m)
{
    return _alloc_m(m, 0, 0);
}

int32_t qvmtx_free(qvmtx *m)
{
    return _free_m(m);
}

int32_t qvmtx_assign(qvmtx *m, int32_t rows, int32_t cols, double value)
{
    if (_alloc_m(m, rows, cols) != 0)
        return -1;
    fill(m, [=](int32_t, int32_t) { return value; });
    return 0;
}

int32_t qvmtx_eye(qvmtx *m, int32_t n)
{
    if (n < 1 || _alloc_m(m, n, n) != 0)
        return -1;
    fill(m, [](int32_t i, int32_t j) { return i == j ? 1.0 : 0.0; });
    return 0;
}

int32_t qvmtx_copy(qvmtx *to, const qvmtx *from)
{
    if (!usable(from) || _alloc_m(to, from->rows, from->cols) != 0)
        return -1;
    fill(to, [=](int32_t i, int32_t j) { return from->elements[i][j]; });
    return 0;
}

int32_t qvmtx_trans(qvmtx *to, const qvmtx *from)
{
    if (!usable(from) || _alloc_m(to, from->cols, from->rows) != 0)
        return -1;
    fill(to, [=](int32_t i, int32_t j) { return from->elements[j][i]; });
    return 0;
}

int32_t qvmtx_mulm(qvmtx *to, const qvmtx *a, const qvmtx *b)
{
    if (!usable(a) || !usable(b) || a->cols != b->rows || _alloc_m(to, a->rows, b->cols) != 0)
        return -1;
    fill(to,
         [=](int32_t i, int32_t j)
         {
             double sum = 0.0;
             for (int32_t k = 0; k < a->cols; ++k)
                 sum += a->elements[i][k] * b->elements[k][j];
             return sum;
         });
    return 0;
}

int32_t qvmtx_muls(qvmtx *to, const qvmtx *a, double s)
{
    if (!usable(a) || _alloc_m(to, a->rows, a->cols) != 0)
        return -1;
    fill(to, [=](int32_t i, int32_t j) { return s * a->elements[i][j]; });
    return 0;
}

int32_t qvmtx_addm(qvmtx *to, const qvmtx *a, const qvmtx *b)
{
    if (!same_size(a, b) || _alloc_m(to, a->rows, b->cols) != 0)
        return -1;
    fill(to, [=](int32_t i, int32_t j) { return a->elements[i][j] + b->elements[i][j]; });
    return 0;
}

int32_t qvmtx_subm(qvmtx *to, const qvmtx *a, const qvmtx *b)
{
    if (!same_size(a, b) || _alloc_m(to, a->rows, b->cols) != 0)
        return -1;
    fill(to, [=](int32_t i, int32_t j) { return a->elements[i][j] - b->elements[i][j]; });
    return 0;
}

int32_t qvmtx_addm_self(qvmtx *a, const qvmtx *b)
{
    return qvmtx_addm(a, a, b);
}

int32_t qvmtx_subm_self(qvmtx *a, const qvmtx *b)
{
    return qvmtx_subm(a, a, b);
}

int32_t qvmtx_muls_self(qvmtx *a, double s)
{
    return qvmtx_muls(a, a, s);
}

static void divide_row(qvmtx *m, int32_t row, double divisor)
{
    for (int32_t j = 0; j < m->rows; ++j)
        m->elements[row][j] /= divisor;
}

static void subtract_row(qvmtx *m, int32_t row, double factor, int32_t from)
{
    for (int32_t j = 0; j < m->rows; ++j)
        m->elements[row][j] -= factor * m->elements[from][j];
}

int32_t qvmtx_inv(qvmtx *to, const qvmtx *from)
{
    if (to == nullptr || !usable(from))
        return -1;
    qvmtx work = {};
    qvmtx_copy(&work, from);
    const int32_t n = work.rows;
    if (n < 1)
        return _free_m(to);
    qvmtx_eye(to, n);

    for (int32_t p = 0; p < n; ++p)
    {
        const double pivot = work.elements[p][p];
        if (pivot == 0.0)
            return -1;
        divide_row(&work, p, pivot);
        divide_row(to, p, pivot);
        for (int32_t r = 0; r < n; ++r)
        {
            if (r == p)
                continue;
            const double factor = work.elements[r][p];
            subtract_row(&work, r, factor, p);
            subtract_row(to, r, factor, p);
        }
    }
    return 0;
}

int32_t qvmtx_cross(qvmtx *to, const qvmtx *a, const qvmtx *b)
{
    if (!usable(a) || !usable(b) || qvmtx_assign(to, a->rows, a->cols, 0.0) != 0)
        return -1;
    if (to->cols != 1 && to->rows != 1)
        return 0;

    const bool column = to->cols == 1;
    const auto at = [column](const qvmtx *m, int32_t i) { return column ? m->elements[i][0] : m->elements[0][i]; };
    for (int32_t i = 0; i < 3; ++i)
    {
        const int32_t j = (i + 1) % 3, k = (i + 2) % 3;
        (column ? to->elements[i][0] : to->elements[0][i]) = at(a, j) * at(b, k) - at(a, k) * at(b, j);
    }
    return 0;
}

double qvmtx_trace(const qvmtx *m)
{
    if (!usable(m))
        return QV6D_NO_RESULT;
    double sum = 0.0;
    for (int32_t i = 0; i < m->rows; ++i)
        sum += m->elements[i][i];
    return sum;
}

double qvmtx_norm_square(const qvmtx *m)
{
    if (!usable(m))
        return QV6D_NO_RESULT;
    double sum = 0.0;
    for (int32_t i = 0; i < m->rows; ++i)
        for (int32_t j = 0; j < m->cols; ++j)
            sum += m->elements[i][j] * m->elements[i][j];
    return sum;
}
