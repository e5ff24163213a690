/* libqv6dalgo: magnetometer calibration and orientation for a sensor service.
 *
 * This header is all that a service needs. It finds the entry points in the exported table MAG_LIB_API_INTERFACE, calls
 * initLib, then per sample:
 *
 *   accelerometer   caliApiSetAccData
 *   gyroscope       caliApiSetGyroData, and qvalgo_notify_data when a gyroscope threshold is configured
 *   magnetometer    doCaliApi (offset, grade, calibrated field), then caliApiSetMagData (orientation and the other
 *                   outputs), then the getters
 *
 * and at the end qvalgo_term by name: it is not in the table, and without it nothing that was learnt is saved.
 *
 * Contract
 * - Pointers must not be null unless said otherwise. No entry point checks them or reports an error: all return 0.
 * - One thread at a time. The library starts no thread, takes no lock, keeps its state for the process and stores no
 *   pointer that it is given.
 * - Samples may hold any value. One that is not finite spoils the smoothed field and the grade until the next
 *   initLib, and the stored inclination until the configuration changes.
 * - Records are little-endian and packed, so they may lie at any address; a reserved byte is left as it is unless said
 * otherwise.
 * - Initialisation (initLib, qvalgo_init) and qvalgo_term use the three files named by the configuration, no other call
 *   touches a file.
 *
 * Versions
 * - A service works with every later library of the same soname, libqv6dalgo.so.1, without being built again: exports,
 *   parameters, table, records and constants keep their layout and meaning, and neither table nor record grows.
 * - A new version may add functions, give better results and word its log lines anew. It does not read the record files
 *   of another version, so that its first start learns anew.
 * - On Android, where libraries have no versioned soname, a library that breaks this ships with services built for it.
 *
 * Units: magnetometer samples are raw counts of 0.15 microtesla, every field returned is microtesla; acceleration is
 * m/s², pointing up at rest; angles are degrees; time stamps are nanoseconds. */
#ifndef QV6DALGO_H
#define QV6DALGO_H

#include <stdint.h>

#ifdef __cplusplus
#define QV6D_API extern "C" __attribute__((visibility("default")))
#else
#define QV6D_API extern __attribute__((visibility("default")))
#endif

#define QV6D_PACKED __attribute__((packed))

/* One sensor sample. */
typedef struct QV6D_PACKED qvs_sample
{
    int64_t timestamp; /* ns */
    float x, y, z;
    int32_t status; /* stored, never read */
} qvs_sample;

/* One published result. */
typedef struct QV6D_PACKED qvs_output
{
    int64_t timestamp; /* ns, of the magnetometer sample that produced it */
    float x, y, z;
    uint8_t reserved1[12];
    uint8_t accuracy; /* grade 0 (unreliable) to 3 (best) of the last doCaliApi */
    uint8_t reserved2[7];
} qvs_output;

/* What doCaliApi fills in. */
typedef struct QV6D_PACKED qvs_calibration
{
    int64_t timestamp;   /* ns, of the sample */
    float calibrated[3]; /* microtesla, offset removed and smoothed */
    float offset[3];     /* microtesla, hard iron */
    uint8_t accuracy;    /* grade 0 to 3 */
    uint8_t reserved[7];
} qvs_calibration;

/* Result of the last calibration step. */
typedef struct QV6D_PACKED qvalgo_hcal_out
{
    int32_t accuracy; /* grade 0 to 3 */
    uint8_t reserved1[4];
    double compensated[3]; /* microtesla, the input without soft iron */
    double offset[3];      /* microtesla, hard iron */
    double canceled[3];    /* microtesla, the calibrated field */
    double radius;         /* microtesla, of the fitted sphere */
    int32_t update_result; /* 0 when this step validated an offset or the calibration is off, otherwise -1 */
    uint8_t reserved2[4];
} qvalgo_hcal_out;

/* Result of the last fusion step. */
typedef struct QV6D_PACKED qvalgo_fusion_out
{
    uint8_t reserved1[96];
    int32_t valid; /* 1 when the step succeeded */
    uint8_t reserved2[4];
    double quat[4]; /* scalar first; not an attitude: no filter runs behind it */
    double rotv[4]; /* 0.0 */
    uint8_t reserved3[8];
    double gyro[3]; /* 0.0 */
    double grav[3]; /* 0.0 */
    double lina[3]; /* 0.0 */
    double ornt[3]; /* azimuth, pitch, roll, degrees */
} qvalgo_fusion_out;

/* Entry points, in this order. */
typedef struct qvs_interface
{
    const char *name; /* "MAG_LIB_API_INTERFACE" */
    int32_t (*initLib)(void);
    int32_t (*enableLib)(void);
    int32_t (*caliApiGetOffset)(float offset[3]);
    int32_t (*caliApiSetOffset)(const float offset[3]);
    int32_t (*caliApiSetGyroData)(const qvs_sample *sample);
    int32_t (*caliApiSetAccData)(const qvs_sample *sample);
    int32_t (*caliApiSetMagData)(const qvs_sample *sample);
    int32_t (*doCaliApi)(const qvs_sample *sample, qvs_calibration *result);
    int32_t (*getGravity)(qvs_output *output);
    int32_t (*getRotationVector)(qvs_output *output);
    int32_t (*getOrientation)(qvs_output *output);
    int32_t (*getLinearaccel)(qvs_output *output);
    int32_t (*getGameRotationVector)(qvs_output *output);
    int32_t (*getGeoMagnetic)(qvs_output *output);
    int32_t (*getVirtualGyro)(qvs_output *output);
} qvs_interface;

QV6D_API const qvs_interface MAG_LIB_API_INTERFACE;

/* Starts the library with the settings of a plain service: sets accuracy bounds, clear radius, acceleration threshold
 * and the files below /data/qvsd/, then initialises, and clears the ready flags, algo_out_hcal, accel and mag. Stored
 * samples and published outputs stay. Calling it again without qvalgo_term before loses what was learnt since the last
 * save.
 *
 * A service with settings of its own calls the setters and qvalgo_init instead. Not both: each initialisation would
 * find a configuration other than the stored one and discard the calibration.
 *
 * When the configuration backup file cannot be written, the library runs all the same, qvalgo_disp_cfg says that it is
 * not initialised, and the next start finds no calibration unless the file of an earlier start is still there.
 *
 * A start under a changed configuration begins afresh but leaves the data backup file to qvalgo_term: without that call
 * the next start takes up what was learnt under the earlier configuration. */
QV6D_API int32_t QVS_initLib(void);

/* Does nothing. */
QV6D_API int32_t QVS_enableLib(void);

/* Offset of the last calibration step, microtesla; and its replacement until the next step. */
QV6D_API int32_t QVS_caliApiGetOffset(float offset[3]);
QV6D_API int32_t QVS_caliApiSetOffset(const float offset[3]);

/* Store a sample. A magnetometer sample also runs the fusion step and publishes the outputs once any accelerometer
 * sample has been stored since initLib. */
QV6D_API int32_t QVS_caliApiSetGyroData(const qvs_sample *sample); /* rad/s */
QV6D_API int32_t QVS_caliApiSetAccData(const qvs_sample *sample);  /* m/s² */
QV6D_API int32_t QVS_caliApiSetMagData(const qvs_sample *sample);  /* counts */

/* Runs one calibration step on a magnetometer sample in counts. Publishes nothing by itself. */
QV6D_API int32_t QVS_doCaliApi(const qvs_sample *sample, qvs_calibration *result);

/* Copy the last published output: time stamp, x, y, z and the four bytes from accuracy on; the other reserved bytes of
 * the destination stay. Only orientation and geomagnetic field (calibrated, microtesla) carry values, the rest is zero.
 * Orientation is azimuth 0 to 360, pitch -180 to 180 and roll -90 to 90 degrees, each -32768 for a zero acceleration.
 */
QV6D_API int32_t QVS_getGravity(qvs_output *output);
QV6D_API int32_t QVS_getRotationVector(qvs_output *output);
QV6D_API int32_t QVS_getOrientation(qvs_output *output);
QV6D_API int32_t QVS_getLinearaccel(qvs_output *output);
QV6D_API int32_t QVS_getGameRotationVector(qvs_output *output);
QV6D_API int32_t QVS_getGeoMagnetic(qvs_output *output);
QV6D_API int32_t QVS_getVirtualGyro(qvs_output *output);

/* Driver operations, for a service that configures or ends the library itself. */

/* Initialises from configuration, customer file and record files. 0, or -1 when the configuration backup file could not
 * be written; the library works all the same, but qvalgo_disp_cfg refuses. */
QV6D_API int32_t qvalgo_init(void);

/* Saves what was learnt and ends the library. Setter values must be set again before the next qvalgo_init. */
QV6D_API void qvalgo_term(void);

/* Log the version; log configuration and stored calibration. */
QV6D_API void qvalgo_disp_version(void);
QV6D_API void qvalgo_disp_cfg(void);

/* Setters: return 0 where nothing else is said, and take effect at the next qvalgo_init. The customer file overrides
 * them. */
/* Not 0 switches on the debug lines of all modules. */
QV6D_API int32_t qvalgo_config_debug(int32_t en);
/* Customer file, configuration backup file, data backup file. A null path stays as it is; so does one of more than 63
 * characters, with an error line and -1. */
QV6D_API int32_t qvalgo_config_path(const char *custcfg, const char *cfgbak, const char *datbak);
/* Soft-iron matrix, row by row; a field is a row vector multiplied from the right. */
QV6D_API int32_t qvalgo_config_softiron(const double matrix[3][3]);
/* Steady below accthr m/s² of scatter, never with 0; aweight is the share of the previous quaternion kept while steady.
 */
QV6D_API int32_t qvalgo_config_accthr(double accthr, double aweight);
/* rad/s, exceeded by turns in the positive sense only; 0 judges movement without a gyroscope. */
QV6D_API int32_t qvalgo_config_gyrthr(double gyrthr);
/* range[i] is the bound in microtesla below which grade i + 1 is reached; policy_mask: 1 lowers the grade of a field
 * near the z axis, 2 reports 3 once calibrated, 4 checks the clear radius once. */
QV6D_API int32_t qvalgo_config_accuracy(const double range[3], int32_t policy_mask);
/* Movement limits, microtesla, and the ratio of spans. */
QV6D_API int32_t qvalgo_config_calibration1(double stdevmin, double stdevmax, double senrate, double sendiffmin,
                                            double sendiffmax);
/* Samples per buffer (at most 40; 0 switches the calibration off), buffers discarded, buffers before validation. */
QV6D_API int32_t qvalgo_config_calibration2(int32_t rbsize, int32_t rdummy, int32_t readycnt);
/* Forgetting weight, stability limit in microtesla, and a value that nothing reads. */
QV6D_API int32_t qvalgo_config_calibration3(double w, double rstdev, double enhthr);
/* Microtesla. */
QV6D_API int32_t qvalgo_config_clearradius(double radius);
/* Accepts the values and changes nothing. */
QV6D_API int32_t qvalgo_config_hcal_status(const double offset[3], double radius, int32_t status);

/* Hands over a sample of another sensor: type 3 is a gyroscope sample in rad/s, other types change nothing. The time
 * stamp is only logged. */
QV6D_API void qvalgo_notify_data(int32_t type, const double data[3], double timestamp);

/* The last samples, intermediate values and results, zero at load. To be read between calls; nothing is gained by
 * writing them. */
QV6D_API qvs_sample accDataIn;
QV6D_API qvs_sample gyroDataIn;
QV6D_API qvs_sample magDataIn;
QV6D_API int32_t accRawDataReady; /* 1 once a sample arrived since initLib */
QV6D_API int32_t gyroRawDataReady;
QV6D_API int32_t magRawDataReady;
QV6D_API double accel[3]; /* m/s², as handed to the fusion step */
QV6D_API double mag[3];   /* microtesla, as handed to the last step */
QV6D_API qvalgo_hcal_out algo_out_hcal;
QV6D_API qvalgo_fusion_out algo_out_fusion;
QV6D_API qvs_output qvGravity;
QV6D_API qvs_output qvRotationVector;
QV6D_API qvs_output qvOrientation;
QV6D_API qvs_output qvLinearaccel;
QV6D_API qvs_output qvGeoMagnetic;
QV6D_API qvs_output qvVirtualGyro;
QV6D_API uint8_t output_sensor_data[448]; /* cleared by initLib, not used */
QV6D_API int32_t qv_log_value;            /* 1 after initLib, not used */

#endif
