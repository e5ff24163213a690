/* libqv6dalgo: magnetometer calibration and orientation for a sensor service.
 *
 * This header is all that a service needs. The service finds the entry points in the exported table
 * MAG_LIB_API_INTERFACE and calls initLib. Then it calls for each sample:
 *
 *   accelerometer   caliApiSetAccData
 *   gyroscope       caliApiSetGyroData, and qvalgo_notify_data when a gyroscope threshold is configured
 *   magnetometer    doCaliApi (offset, grade, calibrated field), then caliApiSetMagData (orientation and the other
 *                   outputs), then the getters
 *
 * At the end the service calls qvalgo_term by name, because it is not in the table. Only qvalgo_term saves what the
 * library learnt.
 *
 * Contract
 * - Pointers must not be null unless said otherwise. No entry point checks them or reports an error: all return 0.
 * - Call from one thread at a time. The library starts no thread, takes no lock and has one state for the process. It
 *   keeps no pointer after a call returns.
 * - Samples may have any value. A value that is not finite spoils the smoothed field and the grade until the next
 *   initLib, and the stored inclination until the configuration changes.
 * - Records are little-endian and packed, so they may lie at any address. The library does not change reserved bytes
 *   unless said otherwise.
 * - Initialisation (initLib, qvalgo_init) and qvalgo_term use the three files that the configuration names. No other
 *   call uses a file. The customer file must be a regular file; 64 KiB of it are read. Numbers in it and in the log
 *   have a decimal point, whatever locale the process has set.
 *
 * Versions
 * - A service works with every later library of the same soname, libqv6dalgo.so.1, without a new build: exports,
 *   parameters, table, records and constants keep their layout and meaning, and neither table nor record grows.
 * - A new version may add functions, give better results and change the words of its log lines. Record files have
 *   their own version. A library with a higher one does not read older files and starts without a calibration.
 * - On Android, libraries have no versioned soname. There, a library that breaks these rules ships with services that
 *   are built for it.
 *
 * Units: magnetometer samples are raw counts (QV6D_MICROTESLA_PER_COUNT), returned fields are microtesla;
 * acceleration is m/s² and points up at rest; angles are degrees; time stamps are nanoseconds. */
#ifndef QV6DALGO_H
#define QV6DALGO_H

#include <stdint.h>

#ifdef __cplusplus
#define QV6D_API extern "C" __attribute__((visibility("default")))
#else
#define QV6D_API extern __attribute__((visibility("default")))
#endif

#define QV6D_PACKED __attribute__((packed))

/* Version of the library: the two parts for #if, the minor one always of four digits, and both as text. */
#define QV6D_VERSION_MAJOR 3
#define QV6D_VERSION_MINOR 6213
#define QV6D_VERSION "3.6213"

/* Microtesla per count of a magnetometer sample. The conversion uses single precision: this decides the last bits. */
#define QV6D_MICROTESLA_PER_COUNT 0.15f

/* Stands for a result that does not exist, for example each angle for a zero acceleration. The smallest 16-bit integer
 * is outside the range of every result and exact in single precision. */
#define QV6D_NO_RESULT (-32768.0)

/* Grades of a calibration, as QVS_initLib sets the bounds. */
#define QV6D_GRADE_UNRELIABLE 0 /* no result */
#define QV6D_GRADE_LOW 1        /* half of the needed buffers are fitted */
#define QV6D_GRADE_MEDIUM 2     /* all needed buffers are fitted, no offset is validated yet */
#define QV6D_GRADE_BEST 3       /* an offset is validated */

/* Bits of the grading policy (qvalgo_config_accuracy). */
#define QV6D_POLICY_POLAR_ANGLE 1  /* one grade less while the field is near the z axis */
#define QV6D_POLICY_TRUST_FIT 2    /* best grade while calibrated, unless QV6D_POLICY_POLAR_ANGLE lowers it */
#define QV6D_POLICY_CLEAR_RADIUS 4 /* one check of the clear radius after initialisation */

/* Type of a gyroscope sample (qvalgo_notify_data). It is the library's own number, not the system's sensor type. */
#define QV6D_SENSOR_GYROSCOPE 3

/* What QVS_initLib sets. */
#define QV6D_INIT_FOLDER "/data/qvsd/"
#define QV6D_INIT_CUSTCFG_NAME "qvalgo-cust.cfg"
#define QV6D_INIT_CFGBAK_NAME "qvalgo-cust.cfgbak"
#define QV6D_INIT_DATBAK_NAME "qvalgo-cust.datbak"
#define QV6D_INIT_CUSTCFG QV6D_INIT_FOLDER QV6D_INIT_CUSTCFG_NAME /* customer file */
#define QV6D_INIT_CFGBAK QV6D_INIT_FOLDER QV6D_INIT_CFGBAK_NAME   /* configuration backup file */
#define QV6D_INIT_DATBAK QV6D_INIT_FOLDER QV6D_INIT_DATBAK_NAME   /* data backup file */
#define QV6D_INIT_RANGE_LOW 600.0   /* microtesla; so wide that only a strong disturbance resets a calibration */
#define QV6D_INIT_RANGE_MEDIUM 50.0 /* microtesla */
#define QV6D_INIT_RANGE_BEST 6.0    /* microtesla */
#define QV6D_INIT_POLICY (QV6D_POLICY_TRUST_FIT | QV6D_POLICY_CLEAR_RADIUS)
#define QV6D_INIT_CLEARRADIUS 10.0 /* microtesla */
#define QV6D_INIT_ACCTHR 0.06      /* m/s² */
#define QV6D_INIT_AWEIGHT 0.999999 /* 0 to 1; near 1, the quaternion of a steady device hardly changes */

/* Default files: for a service that calls qvalgo_init itself and sets no paths. */
#define QV6D_DEFAULT_CUSTCFG "/data/misc/qvsd/qvalgo-cust.cfg"
#define QV6D_DEFAULT_CFGBAK "/data/misc/qvsd/qvalgo.cfg"
#define QV6D_DEFAULT_DATBAK "/data/misc/qvsd/qvalgo.dat"

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
    uint8_t accuracy; /* QV6D_GRADE_* of the last doCaliApi */
    uint8_t reserved2[7];
} qvs_output;

/* What doCaliApi fills in. */
typedef struct QV6D_PACKED qvs_calibration
{
    int64_t timestamp;   /* ns, of the sample */
    float calibrated[3]; /* microtesla, offset removed and smoothed */
    float offset[3];     /* microtesla, hard iron */
    uint8_t accuracy;    /* QV6D_GRADE_* */
    uint8_t reserved[7];
} qvs_calibration;

/* Result of the last calibration step. */
typedef struct QV6D_PACKED qvalgo_hcal_out
{
    int32_t accuracy; /* QV6D_GRADE_* */
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
    double quat[4]; /* scalar first; not an attitude: no filter computes it */
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
 * and the files (QV6D_INIT_*), then initialises, and clears the ready flags, algo_out_hcal, accel and mag. Stored
 * samples and published outputs stay. A second call without qvalgo_term in between loses what the library
 * learnt since the last save.
 *
 * A service with its own settings calls the setters and qvalgo_init instead. It must not do both: each initialisation
 * would find a stored configuration that differs from its own, and discard the calibration.
 *
 * If the library cannot write the configuration backup file, it still runs, but qvalgo_disp_cfg says that it is not
 * initialised. The next start finds no calibration unless the file of an earlier start still exists.
 *
 * A start under a changed configuration begins without a calibration. It does not write the data backup file; only
 * qvalgo_term does. Without that call, the next start uses the calibration of the earlier configuration. */
QV6D_API int32_t QVS_initLib(void);

/* Does nothing. */
QV6D_API int32_t QVS_enableLib(void);

/* Get the offset of the last calibration step, microtesla; replace it until the next step. */
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
 * Orientation is azimuth 0 to 360, pitch -180 to 180 and roll -90 to 90 degrees, each QV6D_NO_RESULT for a zero
 * acceleration. */
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

/* Saves what the library learnt and ends it. Call the setters again before the next qvalgo_init. */
QV6D_API void qvalgo_term(void);

/* Log the version; log configuration and stored calibration. */
QV6D_API void qvalgo_disp_version(void);
QV6D_API void qvalgo_disp_cfg(void);

/* Setters return 0 unless said otherwise. They take effect at the next qvalgo_init. The customer file overrides them.
 */
/* A value other than 0 switches on the debug lines of all modules. */
QV6D_API int32_t qvalgo_config_debug(int32_t en);
/* Customer file, configuration backup file, data backup file. Null leaves a path unchanged. A path of more
 * than 63 characters does too; it also gives an error line and -1. */
QV6D_API int32_t qvalgo_config_path(const char *custcfg, const char *cfgbak, const char *datbak);
/* Soft-iron matrix, row by row; a field is a row vector multiplied from the right. */
QV6D_API int32_t qvalgo_config_softiron(const double matrix[3][3]);
/* The device is steady while the acceleration scatters by less than accthr, m/s²; with 0 it is never steady. While it
 * is steady, the share aweight of the previous quaternion stays. */
QV6D_API int32_t qvalgo_config_accthr(double accthr, double aweight);
/* Threshold of movement, rad/s; only turns in the positive sense exceed it. With 0 the field decides instead. */
QV6D_API int32_t qvalgo_config_gyrthr(double gyrthr);
/* range[i] is the bound in microtesla below which grade i + 1 is reached; policy_mask is a sum of QV6D_POLICY_*. */
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

/* Takes a sample of another sensor: a gyroscope sample, rad/s, with QV6D_SENSOR_GYROSCOPE. Other types change nothing.
 * The library only logs the time stamp. */
QV6D_API void qvalgo_notify_data(int32_t type, const double data[3], double timestamp);

/* The last samples, intermediate values and results, zero at load. Read them between calls and do not write
 * them. A host or another library may have variables of the same names: the library neither reads nor writes those. If
 * the linker gave the host copies of these variables, each entry point of the table works on what they say, and updates
 * them before it returns. */
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
