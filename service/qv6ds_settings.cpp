#include "qv6ds_settings.h"

#include "env/qvenv.h"
#include "qv6ds_units.h"

#include <climits>
#include <cstring>

using namespace qv6ds_math;

static constexpr double RATE_MIN = 1.0, RATE_MAX = 100.0; // Hz, of learning
static constexpr double FACTOR_MAX = 1000.0;              // of a matrix: beyond it is no unit of a sensor
static constexpr double VOLUME_MIN = 1e-6;                // of a matrix: below it a direction is lost
static constexpr float FIELD_MAX = 1e5f;                  // microtesla
static constexpr int64_t INTERVAL_MAX = int64_t{1} << 61, WAIT_MAX = 15 * SECOND; // ns

qv6ds_settings qv6ds_defaults(void)
{
    qv6ds_settings settings = {};
    settings.size = sizeof settings;
    settings.learn_hz = 25.0;
    settings.save_interval_ns = 300 * SECOND;
    settings.wait_ns = 10 * SECOND + SECOND / 2; // the longest batch, and how late it comes
    for (int i = 0; i < 3; ++i)
    {
        settings.soft_iron[i][i] = 1.0f;
        for (auto &mount : settings.mount)
            mount[i][i] = 1.0f;
    }
    settings.field_range = 4900.0f;
    return settings;
}

static bool is_matrix(const matrix &m)
{
    const vec x = {m.at[0][0], m.at[0][1], m.at[0][2]}, y = {m.at[1][0], m.at[1][1], m.at[1][2]},
              z = {m.at[2][0], m.at[2][1], m.at[2][2]};
    for (const auto &row : m.at)
        for (const double value : row)
            if (!(std::fabs(value) <= FACTOR_MAX))
                return false;
    return std::fabs(dot(x, cross(y, z))) >= VOLUME_MIN;
}

bool qv6ds_settings_valid(const qv6ds_settings &settings)
{
    for (const auto &mount : settings.mount)
        if (!is_matrix(qv6ds_settings_matrix(mount)))
            return false;
    const int64_t interval = settings.save_interval_ns;
    return is_matrix(qv6ds_settings_matrix(settings.soft_iron)) && settings.learn_hz >= RATE_MIN &&
           settings.learn_hz <= RATE_MAX && settings.field_range > 0.0f && settings.field_range <= FIELD_MAX &&
           (interval < 0 || (interval >= SECOND && interval <= INTERVAL_MAX)) && settings.wait_ns >= 0 &&
           settings.wait_ns <= WAIT_MAX &&
           (settings.directory == nullptr || std::strlen(settings.directory) < PATH_MAX);
}

matrix qv6ds_settings_matrix(const float rows[3][3])
{
    matrix m;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m.at[i][j] = static_cast<double>(rows[i][j]);
    return m;
}

bool qv6ds_settings_soft_iron(const qv6ds_settings &settings, const qvenv_cfg &env, matrix *both)
{
    const matrix given = qv6ds_settings_matrix(settings.soft_iron);
    *both = {};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k)
                both->at[i][j] += env.simtx[k][i] * given.at[k][j];
    if (is_matrix(*both))
        return true;
    *both = given;
    return false;
}
