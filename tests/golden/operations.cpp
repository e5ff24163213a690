#include "device.h"
#include "fusion/convm.h"
#include "math/qvcrd.h"
#include "math/qvmtx.h"
#include "rlsm/qvrlsm.h"
#include "scenarios.h"

#include <initializer_list>

static qvmtx drawn_matrix(random_source &random, int32_t rows, int32_t cols)
{
    qvmtx m = {};
    qvmtx_assign(&m, rows, cols, 0.0);
    for (int32_t i = 0; i < rows; ++i)
        for (int32_t j = 0; j < cols; ++j)
            m.elements[i][j] = random.uniform(-9.0, 9.0);
    return m;
}

static void add_matrix(int32_t result, const qvmtx &m)
{
    add(OPERATIONS, result, m.rows, m.cols);
    for (int32_t i = 0; i < m.rows; ++i)
        for (int32_t j = 0; j < m.cols; ++j)
            add(OPERATIONS, m.elements[i][j]);
}

static void run_matrices(random_source &random)
{
    const int32_t n = 1 + random.below(4), k = 1 + random.below(4);
    const qvmtx square = drawn_matrix(random, n, n), a = drawn_matrix(random, n, k), b = drawn_matrix(random, k, n);
    qvmtx to = {};
    add_matrix(qvmtx_inv(&to, &square), to);
    add_matrix(qvmtx_mulm(&to, &a, &b), to);
    add_matrix(qvmtx_addm_self(&to, &square), to);
    add_matrix(qvmtx_muls_self(&to, 1.0 / 3.0), to);
    const qvmtx u = drawn_matrix(random, 3, 1), v = drawn_matrix(random, 3, 1);
    add_matrix(qvmtx_cross(&to, &u, &v), to);
    add(OPERATIONS, qvmtx_trace(&square), qvmtx_norm_square(&a));
}

static void run_rotations(random_source &random)
{
    const qvcrd_vec3 acc = random.vector(9.81), field = random.vector(60.0);
    qvmtx q = {}, dc = {};
    qvmtx_assign(&q, 4, 1, 0.0);
    add_matrix(convm_am2qs(&q, acc, field), q);
    add_matrix(convm_qs2dc(&dc, &q), dc);
    add_matrix(convm_dc2qs(&q, &dc), q);
    const qvmtx turn = drawn_matrix(random, 3, 1);
    add_matrix(convm_vec2prdt(&dc, &turn), dc);
    add_matrix(mulm_quaternion(&q, &turn), q);
    add(OPERATIONS, qvcrd_cross(acc, field));

    const qvcrd_vec3 orientation = qvcrd_get_orientation(&acc, &field);
    for (const double angle : {orientation.x, orientation.y, orientation.z, qvcrd_get_yaw(&field)})
        add_angle(ORIENTATION, angle);
    add_angle(INCLINATION, qvcrd_get_inclination(acc, field));
}

static void run_statistics(random_source &random)
{
    const int32_t n = 4 + random.below(QVRLSM_LSM_MAX - 3);
    qvcrd_vec3 samples[QVRLSM_LSM_MAX];
    double first[QVRLSM_LSM_MAX];
    for (int32_t i = 0; i < n; ++i)
    {
        samples[i] = random.vector(60.0);
        first[i] = samples[i].x;
    }
    add(OPERATIONS, qvcrd_get_stdev(samples, n), flt_get_stdev(first, n));
    qvrlsm_state fit = {};
    const int32_t result = qvrlsm_lsm(&fit, samples, n);
    add(OPERATIONS, result, fit.bak.x[0], fit.bak.x[1], fit.bak.x[2], fit.bak.x[3]);
}

void run_operations()
{
    random_source random(1);
    for (int i = 0; i < 500; ++i)
    {
        run_matrices(random);
        run_rotations(random);
        run_statistics(random);
    }
}
