#include "math/qvcrd.h"
#include "math/qvmtx.h"
#include "support.h"

static constexpr double NO = QV6D_NO_RESULT;

TEST(Yaw, ConvertsWithItsOwnPiAndKeepsTheSignOfNorth)
{
    const struct
    {
        qvcrd_vec3 field;
        double degrees;
    } cases[] = {
        {{1, 0, 5}, 270.0002074096753},   // not 270: pi is 3.1416
        {{-1, 0, 5}, 89.99979259032472},  // west of the field's axis
        {{0, -1, 5}, 180.00041481935057}, // due south
        {{0, 1, 5}, -0.0},                // north itself passes the test with its sign
    };
    for (const auto &c : cases)
        EXPECT_BITS(c.degrees, qvcrd_get_yaw(&c.field));
}

TEST(Orientation, CoversTheSphere)
{
    const qvcrd_vec3 field = {0, 20, -40};
    const struct
    {
        qvcrd_vec3 acc, angles;
        const char *why;
    } cases[] = {
        {{0, 0, 9.81}, {0, 0, 0}, "level: north is 0, not 360"},
        {{0, 0, -9.81}, {0, 180, 0}, "face down: a pitch that is not below zero folds to 180"},
        {{0, 1, -1}, {0, -180 + 44.9998962962326, 0}, "face down and pitched: folds the other way"},
        {{0, -9.81, 0}, {180.00041481935057, 89.99979259032472, 0}, "upright: nothing to fold at z of 0"},
        {{9.81, 0, 0}, {296.56519736621283, 0, 89.99979259032472}, "on its side"},
        {{0, 0, 0}, {NO, NO, NO}, "free fall: no direction"},
    };
    for (const auto &c : cases)
    {
        EXPECT_TRUE(near(c.angles, qvcrd_get_orientation(&c.acc, &field), 1e-8)) << c.why;
    }
}

TEST(Orientation, AzimuthIsCompensatedForTilt)
{
    // The same field seen by a device turned 30 degrees east and then pitched and rolled.
    const qvcrd_vec3 level_acc = {0, 0, 9.81}, level_field = {-10, 17.320508075688775, -40};
    const double azimuth = qvcrd_get_orientation(&level_acc, &level_field).x;
    EXPECT_NEAR(30.0, azimuth, 1e-3);
    for (const double tilt : {-0.6, 0.3, 0.9})
    {
        const double s = std::sin(tilt), c = std::cos(tilt);
        const auto tilted = [=](qvcrd_vec3 v) { return qvcrd_vec3{v.x, c * v.y + s * v.z, -s * v.y + c * v.z}; };
        const qvcrd_vec3 acc = tilted(level_acc), field = tilted(level_field);
        EXPECT_NEAR(azimuth, qvcrd_get_orientation(&acc, &field).x, 1e-9) << tilt;
    }
}

TEST(Inclination, MeasuresTheAngleToTheHorizontalPlane)
{
    EXPECT_BITS(NO, qvcrd_get_inclination({0, 0, 0}, {1, 2, 3}));
    EXPECT_BITS(NO, qvcrd_get_inclination({1, 2, 3}, {0, 0, 0}));
    EXPECT_BITS(1.5704999305307865, qvcrd_get_inclination({0, 0, 2}, {0, 0, -40})); // parallel, either sense
    EXPECT_NEAR(1.0, qvcrd_get_inclination({0, 0, 9.81}, {0, std::cos(1.0), -std::sin(1.0)}), 3e-4);
}

TEST(StandardDeviation, DividesByTheCount)
{
    const double values[] = {1, 3};
    EXPECT_BITS(1.0, flt_get_stdev(values, 2));
    EXPECT_BITS(-1.0, flt_get_stdev(values, 1));
    const qvcrd_vec3 vectors[] = {{1, 10, -5}, {3, 10, 5}};
    EXPECT_BITS({1, 0, 5}, qvcrd_get_stdev(vectors, 2));
    EXPECT_BITS({0, 0, 0}, qvcrd_get_stdev(vectors, 1));
    for (const int32_t n : {0, INT32_MIN})
        EXPECT_BITS({-1, -1, -1}, qvcrd_get_stdev(vectors, n));
}

TEST(Vectors, CountsBelowOneTouchNothing)
{
    qvcrd_vec3 v[2] = {{1, 2, 3}, {4, 5, 6}};
    const qvcrd_vec3 other[2] = {};
    for (const int32_t n : {0, -1, INT32_MIN})
    {
        qvcrd_assign(v, n, 9.0);
        qvcrd_copy(v, other, n);
    }
    EXPECT_BITS({1, 2, 3}, v[0]);
    qvcrd_assign(v, 1, 9.0);
    EXPECT_BITS({9, 9, 9}, v[0]);
    EXPECT_BITS({4, 5, 6}, v[1]);
}

static qvmtx matrix(int32_t rows, int32_t cols, std::initializer_list<double> values)
{
    qvmtx m = dirty<qvmtx>();
    m.rows = rows;
    m.cols = cols;
    auto value = values.begin();
    for (int32_t i = 0; i < rows; ++i)
        for (int32_t j = 0; j < cols; ++j)
            m.elements[i][j] = *value++;
    return m;
}

TEST(Matrix, RefusesDimensionsOutsideItsStorage)
{
    // A matrix is a plain record: its dimensions can be anything, and none may lead outside the 4 x 4 storage.
    const qvmtx good = matrix(4, 4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    for (const int32_t bad : {-1, 5, INT32_MAX, INT32_MIN})
    {
        qvmtx wrong = good, to = dirty<qvmtx>();
        wrong.rows = bad;
        const std::string before = bytes_of(to);
        EXPECT_EQ(-1, qvmtx_assign(&to, bad, 2, 0.0));
        EXPECT_EQ(-1, qvmtx_assign(&to, 2, bad, 0.0));
        EXPECT_EQ(-1, qvmtx_eye(&to, bad));
        EXPECT_EQ(-1, qvmtx_copy(&to, &wrong));
        EXPECT_EQ(-1, qvmtx_trans(&to, &wrong));
        EXPECT_EQ(-1, qvmtx_mulm(&to, &wrong, &good));
        EXPECT_EQ(-1, qvmtx_mulm(&to, &good, &wrong));
        EXPECT_EQ(-1, qvmtx_addm(&to, &wrong, &wrong));
        EXPECT_EQ(-1, qvmtx_inv(&to, &wrong));
        EXPECT_EQ(-1, qvmtx_cross(&to, &wrong, &good));
        EXPECT_BITS(QV6D_NO_RESULT, qvmtx_trace(&wrong));
        EXPECT_BITS(QV6D_NO_RESULT, qvmtx_norm_square(&wrong));
        EXPECT_EQ(before, bytes_of(to));
    }
    qvmtx none;
    EXPECT_EQ(-1, qvmtx_eye(&none, 0));
    EXPECT_EQ(-1, qvmtx_muls_self(nullptr, 2.0));
    EXPECT_BITS(QV6D_NO_RESULT, qvmtx_trace(nullptr));
}

TEST(Matrix, CalculatesAndRefusesShapesThatDoNotFit)
{
    const qvmtx a = matrix(2, 3, {1, 2, 3, 4, 5, 6}), b = matrix(3, 1, {1, 0, -1});
    qvmtx product = dirty<qvmtx>(), transposed = product, sum = a;
    ASSERT_EQ(0, qvmtx_mulm(&product, &a, &b) | qvmtx_trans(&transposed, &a));
    ASSERT_EQ(0, qvmtx_muls_self(&sum, 5.0) | qvmtx_addm_self(&sum, &a));
    EXPECT_EQ(23, 10 * product.rows + transposed.rows);
    EXPECT_BITS({-2, 4, 24}, {product.elements[1][0], transposed.elements[0][1], sum.elements[1][0]});
    ASSERT_EQ(0, qvmtx_subm_self(&sum, &a));
    EXPECT_BITS(20.0, sum.elements[1][0]);

    const std::string before = bytes_of(product);
    EXPECT_EQ(-1, qvmtx_mulm(&product, &a, &a));
    EXPECT_EQ(-1, qvmtx_subm(&product, &a, &b));
    EXPECT_EQ(before, bytes_of(product));
}

TEST(Matrix, InvertsWithoutExchangingRows)
{
    const qvmtx invertible = matrix(2, 2, {2, 1, 1, 1}), leading_zero = matrix(2, 2, {0, 1, 1, 0});
    const qvmtx empty = matrix(0, 0, {});
    qvmtx inverse = dirty<qvmtx>();
    ASSERT_EQ(0, qvmtx_inv(&inverse, &invertible));
    EXPECT_BITS({1, -1, 2}, {inverse.elements[0][0], inverse.elements[0][1], inverse.elements[1][1]});
    EXPECT_EQ(-1, qvmtx_inv(&inverse, &leading_zero));
    EXPECT_EQ(0, qvmtx_inv(&inverse, &empty));
    EXPECT_EQ(0, inverse.rows);
}

TEST(Matrix, CrossProductTakesColumnsAndRows)
{
    const qvmtx column_a = matrix(3, 1, {1, 2, 3}), column_b = matrix(3, 1, {4, 5, 6});
    const qvmtx row_a = matrix(1, 3, {1, 2, 3}), row_b = matrix(1, 3, {4, 5, 6}), square = matrix(2, 2, {1, 2, 3, 4});
    qvmtx column, row, none;
    ASSERT_EQ(0, qvmtx_cross(&column, &column_a, &column_b) | qvmtx_cross(&row, &row_a, &row_b) |
                     qvmtx_cross(&none, &square, &square));
    EXPECT_BITS({-3, 6, -3}, {column.elements[0][0], column.elements[1][0], column.elements[2][0]});
    EXPECT_BITS({-3, 6, -3}, {row.elements[0][0], row.elements[0][1], row.elements[0][2]});
    EXPECT_BITS(0.0, qvmtx_norm_square(&none));
    const qvmtx wide = matrix(3, 4, {1, 9, 9, 9, 9, 2, 9, 9, 9, 9, 3, 9});
    EXPECT_BITS(6.0, qvmtx_trace(&wide));
}
