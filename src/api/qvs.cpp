// The boundary: interface table, entry points, exported records.

#include "algo/qvalgo.h"
#include "api/qvs_start.h"
#include "hcal/qvhcal.h"
#include "platform/copies.h"

#include <cstddef>
#include <cstring>
#include <iterator>

static_assert(sizeof(qvs_sample) == 24);
static_assert(sizeof(qvs_output) == 40 && offsetof(qvs_output, accuracy) == 32);
static_assert(sizeof(qvs_calibration) == 40 && offsetof(qvs_calibration, accuracy) == 32);
static_assert(sizeof(qvalgo_hcal_out) == 96 && offsetof(qvalgo_hcal_out, compensated) == 8 &&
              offsetof(qvalgo_hcal_out, update_result) == 88);
static_assert(sizeof(qvalgo_fusion_out) == 272 && offsetof(qvalgo_fusion_out, valid) == 96 &&
              offsetof(qvalgo_fusion_out, gyro) == 176);
static_assert(sizeof(qvs_interface) == 16 * sizeof(void *));

static constexpr double NANOSECONDS = 1e9; // per second

const qvs_interface MAG_LIB_API_INTERFACE = {
    "MAG_LIB_API_INTERFACE", QVS_initLib,
    QVS_enableLib,           QVS_caliApiGetOffset,
    QVS_caliApiSetOffset,    QVS_caliApiSetGyroData,
    QVS_caliApiSetAccData,   QVS_caliApiSetMagData,
    QVS_doCaliApi,           QVS_getGravity,
    QVS_getRotationVector,   QVS_getOrientation,
    QVS_getLinearaccel,      QVS_getGameRotationVector,
    QVS_getGeoMagnetic,      QVS_getVirtualGyro,
};

// Packed records by themselves are aligned to one byte; a service may read these through unpacked types of its own.
alignas(8) qvs_sample accDataIn;
alignas(8) qvs_sample gyroDataIn;
alignas(8) qvs_sample magDataIn;
int32_t accRawDataReady;
int32_t gyroRawDataReady;
int32_t magRawDataReady;
double accel[3];
double mag[3];
alignas(8) qvalgo_hcal_out algo_out_hcal;
alignas(8) qvalgo_fusion_out algo_out_fusion;
alignas(8) qvs_output qvGravity;
alignas(8) qvs_output qvRotationVector;
alignas(8) qvs_output qvOrientation;
alignas(8) qvs_output qvLinearaccel;
alignas(8) qvs_output qvGeoMagnetic;
alignas(8) qvs_output qvVirtualGyro;
alignas(8) uint8_t output_sensor_data[448];
int32_t qv_log_value;

template <typename T>
static constexpr exported_variable described(const char *name, T *variable)
{
    return {name, variable, sizeof *variable, nullptr};
}

#define VARIABLE(name) described(#name, &(name))
static exported_variable variables[] = {
    VARIABLE(accDataIn),          VARIABLE(gyroDataIn),      VARIABLE(magDataIn),     VARIABLE(accRawDataReady),
    VARIABLE(gyroRawDataReady),   VARIABLE(magRawDataReady), VARIABLE(accel),         VARIABLE(mag),
    VARIABLE(algo_out_hcal),      VARIABLE(algo_out_fusion), VARIABLE(qvGravity),     VARIABLE(qvRotationVector),
    VARIABLE(qvOrientation),      VARIABLE(qvLinearaccel),   VARIABLE(qvGeoMagnetic), VARIABLE(qvVirtualGyro),
    VARIABLE(output_sensor_data), VARIABLE(qv_log_value),
};
#undef VARIABLE

static bool has_copies;

// The library works on its own variables, which nobody can replace. A program that has copies of them reads those, and
// can hand them to operations that it calls by name: what they say is taken over when an entry point begins, and they
// are up to date when it ends.
class own_variables
{
public:
    own_variables()
    {
        if (has_copies)
            for (const exported_variable &v : variables)
                if (v.copy != nullptr)
                    std::memcpy(v.address, v.copy, v.size);
    }

    ~own_variables()
    {
        if (has_copies)
            for (const exported_variable &v : variables)
                if (v.copy != nullptr)
                    std::memcpy(v.copy, v.address, v.size);
    }

    own_variables(const own_variables &) = delete;
    own_variables &operator=(const own_variables &) = delete;
};

__attribute__((constructor)) static void look_for_copies()
{
    const own_variables early; // a program can call the library before this
    find_copies(variables, std::size(variables));
    for (const exported_variable &v : variables)
        has_copies = has_copies || v.copy != nullptr;
}

void qvs_configure(const char *custcfg, const char *cfgbak, const char *datbak)
{
    static constexpr double bounds[3] = {QV6D_INIT_RANGE_LOW, QV6D_INIT_RANGE_MEDIUM, QV6D_INIT_RANGE_BEST};
    qvalgo_config_accuracy(bounds, QV6D_INIT_POLICY);
    qvalgo_config_clearradius(QV6D_INIT_CLEARRADIUS);
    qvalgo_config_accthr(QV6D_INIT_ACCTHR, QV6D_INIT_AWEIGHT);
    qvalgo_config_path(custcfg, cfgbak, datbak);
}

int32_t qvs_start(const char *custcfg, const char *cfgbak, const char *datbak)
{
    const own_variables own;
    qv_log_value = 1;
    qvs_configure(custcfg, cfgbak, datbak);
    const int32_t result = qvalgo_init();

    accRawDataReady = gyroRawDataReady = magRawDataReady = 0;
    algo_out_hcal = {};
    std::memset(output_sensor_data, 0, sizeof output_sensor_data);
    std::memset(accel, 0, sizeof accel);
    std::memset(mag, 0, sizeof mag);
    return result;
}

int32_t QVS_initLib(void)
{
    qvs_start(QV6D_INIT_CUSTCFG, QV6D_INIT_CFGBAK, QV6D_INIT_DATBAK);
    return 0;
}

int32_t QVS_enableLib(void)
{
    return 0;
}

int32_t QVS_caliApiGetOffset(float offset[3])
{
    const own_variables own;
    for (int axis = 0; axis < 3; ++axis)
        offset[axis] = static_cast<float>(algo_out_hcal.offset[axis]);
    return 0;
}

int32_t QVS_caliApiSetOffset(const float offset[3])
{
    const own_variables own;
    const double widened[3] = {offset[0], offset[1], offset[2]};
    std::memcpy(algo_out_hcal.offset, widened, sizeof widened);
    qvalgo_config_hcal_status(widened, algo_out_hcal.radius, algo_out_hcal.accuracy);
    return 0;
}

int32_t QVS_caliApiSetGyroData(const qvs_sample *sample)
{
    const own_variables own;
    gyroDataIn = *sample;
    gyroRawDataReady = 1;
    return 0;
}

int32_t QVS_caliApiSetAccData(const qvs_sample *sample)
{
    const own_variables own;
    accDataIn = *sample;
    accRawDataReady = 1;
    return 0;
}

// Converts the counts, and leaves the field in `mag` too.
static qvcrd_vec3 microtesla(const qvs_sample &sample)
{
    mag[0] = sample.x * QV6D_MICROTESLA_PER_COUNT;
    mag[1] = sample.y * QV6D_MICROTESLA_PER_COUNT;
    mag[2] = sample.z * QV6D_MICROTESLA_PER_COUNT;
    return {mag[0], mag[1], mag[2]};
}

static uint8_t published_accuracy()
{
    return static_cast<uint8_t>(algo_out_hcal.accuracy & 0xFF);
}

int32_t QVS_doCaliApi(const qvs_sample *sample, qvs_calibration *result)
{
    const own_variables own;
    qvalgo_update_hcal(&algo_out_hcal, microtesla(*sample));

    result->accuracy = published_accuracy();
    result->timestamp = sample->timestamp;
    for (int axis = 0; axis < 3; ++axis)
    {
        result->calibrated[axis] = static_cast<float>(algo_out_hcal.canceled[axis]);
        result->offset[axis] = static_cast<float>(algo_out_hcal.offset[axis]);
    }
    return 0;
}

static void publish(qvs_output *output, double x, double y, double z)
{
    output->timestamp = magDataIn.timestamp;
    output->x = static_cast<float>(x);
    output->y = static_cast<float>(y);
    output->z = static_cast<float>(z);
    output->accuracy = published_accuracy();
}

static void publish_all(const qvalgo_fusion_out &fusion, const qvalgo_hcal_out &hcal)
{
    publish(&qvGravity, fusion.grav[0], fusion.grav[1], fusion.grav[2]);
    publish(&qvRotationVector, fusion.rotv[0], fusion.rotv[1], fusion.rotv[2]);
    publish(&qvOrientation, fusion.ornt[0], fusion.ornt[1], fusion.ornt[2]);
    publish(&qvLinearaccel, fusion.lina[0], fusion.lina[1], fusion.lina[2]);
    publish(&qvGeoMagnetic, hcal.canceled[0], hcal.canceled[1], hcal.canceled[2]);
    publish(&qvVirtualGyro, fusion.gyro[0], fusion.gyro[1], fusion.gyro[2]);
}

int32_t QVS_caliApiSetMagData(const qvs_sample *sample)
{
    const own_variables own;
    magDataIn = *sample;
    magRawDataReady = 1;
    if (accRawDataReady != 1)
        return 0;

    const double time = static_cast<double>(magDataIn.timestamp) / NANOSECONDS;
    accel[0] = accDataIn.x;
    accel[1] = accDataIn.y;
    accel[2] = accDataIn.z;
    qvalgo_update_fusion(&algo_out_fusion, {accel[0], accel[1], accel[2]}, microtesla(magDataIn), time);
    if (algo_out_fusion.valid != 0)
        publish_all(algo_out_fusion, algo_out_hcal);
    return 0;
}

static int32_t copy_out(qvs_output *output, const qvs_output &published)
{
    const own_variables own;
    constexpr std::size_t word = offsetof(qvs_output, accuracy); // the grade's byte and the three after it
    output->timestamp = published.timestamp;
    output->x = published.x;
    output->y = published.y;
    output->z = published.z;
    std::memcpy(reinterpret_cast<char *>(output) + word, reinterpret_cast<const char *>(&published) + word, 4);
    return 0;
}

int32_t QVS_getGravity(qvs_output *output)
{
    return copy_out(output, qvGravity);
}

int32_t QVS_getRotationVector(qvs_output *output)
{
    return copy_out(output, qvRotationVector);
}

int32_t QVS_getOrientation(qvs_output *output)
{
    return copy_out(output, qvOrientation);
}

int32_t QVS_getLinearaccel(qvs_output *output)
{
    return copy_out(output, qvLinearaccel);
}

int32_t QVS_getGameRotationVector(qvs_output *output)
{
    return copy_out(output, qvRotationVector);
}

int32_t QVS_getGeoMagnetic(qvs_output *output)
{
    return copy_out(output, qvGeoMagnetic);
}

int32_t QVS_getVirtualGyro(qvs_output *output)
{
    return copy_out(output, qvVirtualGyro);
}
