#include "qv6ds_settings.h"

#include "env/qvenv.h"

#include <climits>
#include <cstring>

using namespace qv6ds_math;

static constexpr double RATE_MIN = 1.0, RATE_MAX = 100.0; // Hz, of learning
static constexpr float FACTOR_MAX = 1000.0f;              // of a matrix: beyond it is no unit of a sensor

qv6ds_settings qv6ds_defaults(void)
{
    qv6ds_settings settings = {};
    settings.size = sizeof settings;
    settings.learn_hz = 25.0;
    settings.save_interval_ns = 300000000000;
    for (int i = 0; i < 3; ++i)
    {
        settings.soft_iron[i][i] = 1.0f;
        for (auto &mount : settings.mount)
            mount[i][i] = 1.0f;
    }
    settings.field_range = 4900.0f;
    return settings;
}

static bool is_matrix(const float (*rows)[3])
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (!(std::fabs(rows[i][j]) <= FACTOR_MAX))
                return false;
    return true;
}

bool qv6ds_settings_valid(const qv6ds_settings &settings)
{
    for (const auto &mount : settings.mount)
        if (!is_matrix(mount))
            return false;
    return is_matrix(settings.soft_iron) && settings.learn_hz >= RATE_MIN && settings.learn_hz <= RATE_MAX &&
           settings.field_range > 0.0f && (settings.directory == nullptr || std::strlen(settings.directory) < PATH_MAX);
}

matrix qv6ds_settings_matrix(const float rows[3][3])
{
    matrix m;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m.at[i][j] = static_cast<double>(rows[i][j]);
    return m;
}

matrix qv6ds_settings_soft_iron(const qv6ds_settings &settings, const qvenv_cfg &env)
{
    const matrix given = qv6ds_settings_matrix(settings.soft_iron);
    matrix both;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
        {
            both.at[i][j] = 0.0;
            for (int k = 0; k < 3; ++k)
                both.at[i][j] += env.simtx[k][i] * given.at[k][j];
        }
    return both;
}
