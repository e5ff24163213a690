#include "fusion/convm.h"

#include "math/vec3.h"

#include <cmath>

int32_t convm_qs2dc(qvmtx *dc, const qvmtx *q)
{
    const double q0 = q->elements[0][0], q1 = q->elements[1][0], q2 = q->elements[2][0], q3 = q->elements[3][0];
    const int32_t result = qvmtx_assign(dc, 3, 3, 0.0);

    auto &d = dc->elements;
    d[0][0] = 2.0 * q0 * q0 + 2.0 * q1 * q1 - 1.0;
    d[0][1] = 2.0 * q1 * q2 + 2.0 * q0 * q3;
    d[0][2] = 2.0 * q1 * q3 - 2.0 * q0 * q2;
    d[1][0] = 2.0 * q1 * q2 - 2.0 * q0 * q3;
    d[1][1] = 2.0 * q0 * q0 + 2.0 * q2 * q2 - 1.0;
    d[1][2] = 2.0 * q2 * q3 + 2.0 * q0 * q1;
    d[2][0] = 2.0 * q1 * q3 + 2.0 * q0 * q2;
    d[2][1] = 2.0 * q2 * q3 - 2.0 * q0 * q1;
    d[2][2] = 2.0 * q0 * q0 + 2.0 * q3 * q3 - 1.0;
    return result;
}

// The first of the largest candidates and its index. When no candidate is above QV6D_NO_RESULT, as when all are NaN,
// that value stands in for the largest, and its square root makes the quaternion NaN.
static int32_t largest(const double k[4], double *value)
{
    int32_t chosen = 0;
    *value = QV6D_NO_RESULT;
    for (int32_t i = 0; i < 4; ++i)
        if (k[i] > *value)
        {
            *value = k[i];
            chosen = i;
        }
    return chosen;
}

int32_t convm_dc2qs(qvmtx *q, const qvmtx *dc)
{
    const double trace = qvmtx_trace(dc);
    if (trace == QV6D_NO_RESULT)
        return -1;
    const auto &d = dc->elements;
    const double candidates[4] = {
        0.25 * (trace + 1.0),
        0.25 * (d[0][0] - d[1][1] - d[2][2] + 1.0),
        0.25 * (d[1][1] - d[0][0] - d[2][2] + 1.0),
        0.25 * (d[2][2] - d[1][1] - d[0][0] + 1.0),
    };
    double value;
    const int32_t chosen = largest(candidates, &value);
    const double s = std::sqrt(value);
    q->elements[chosen][0] = s;
    if (s == 0.0)
        return -1;

    // products[i][j] is 4 qi qj.
    const double p01 = d[1][2] - d[2][1], p02 = -(d[0][2] - d[2][0]), p03 = d[0][1] - d[1][0];
    const double p12 = d[0][1] + d[1][0], p13 = d[0][2] + d[2][0], p23 = d[1][2] + d[2][1];
    const double products[4][4] = {
        {0.0, p01, p02, p03},
        {p01, 0.0, p12, p13},
        {p02, p12, 0.0, p23},
        {p03, p13, p23, 0.0},
    };
    for (int32_t i = 0; i < 4; ++i)
        if (i != chosen)
            q->elements[i][0] = products[chosen][i] / (4.0 * s);
    return 0;
}

static void set_column(qvmtx *m, int32_t column, qvcrd_vec3 v)
{
    m->elements[0][column] = v.x;
    m->elements[1][column] = v.y;
    m->elements[2][column] = v.z;
}

static qvcrd_vec3 divided(qvcrd_vec3 v, double by)
{
    return {v.x / by, v.y / by, v.z / by};
}

int32_t convm_am2qs(qvmtx *q, qvcrd_vec3 acc, qvcrd_vec3 field)
{
    qvmtx dc;
    qvmtx_assign(&dc, 3, 3, 0.0);

    const qvcrd_vec3 h = qvcrd_cross(acc, field);
    const double h_norm = norm(h);
    if (h_norm == 0.0)
        return -1;
    const qvcrd_vec3 e = divided(h, h_norm);
    set_column(&dc, 1, e);

    const qvcrd_vec3 n = qvcrd_cross(acc, e);
    const double n_norm = norm(n);
    if (n_norm == 0.0)
        return -1;
    set_column(&dc, 0, qvcrd_scalar(n, -1.0 / n_norm));

    const double acc_norm = norm(acc);
    if (acc_norm == 0.0)
        return -1;
    set_column(&dc, 2, divided(acc, acc_norm));
    return convm_dc2qs(q, &dc);
}

int32_t convm_vec2prdt(qvmtx *s, const qvmtx *v)
{
    const double x = v->elements[0][0], y = v->elements[1][0], z = v->elements[2][0];
    const int32_t result = qvmtx_assign(s, 3, 3, 0.0);
    s->elements[0][1] = -z;
    s->elements[0][2] = y;
    s->elements[1][0] = z;
    s->elements[1][2] = -x;
    s->elements[2][0] = -y;
    s->elements[2][1] = x;
    return result;
}

int32_t mulm_quaternion(qvmtx *p, const qvmtx *r)
{
    const double p0 = p->elements[0][0], p1 = p->elements[1][0], p2 = p->elements[2][0], p3 = p->elements[3][0];
    const qvmtx left = {4,
                        4,
                        {
                            {p0, -p1, -p2, -p3},
                            {p1, p0, -p3, p2},
                            {p2, p3, p0, -p1},
                            {p3, -p2, p1, p0},
                        }};
    const qvmtx right = {4, 1, {{1.0}, {r->elements[0][0]}, {r->elements[1][0]}, {r->elements[2][0]}}};
    return qvmtx_mulm(p, &left, &right);
}
