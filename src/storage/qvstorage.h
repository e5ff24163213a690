/* Configuration and persistence: the records, the object that owns everything, and its life.
 *
 * Pointers must not be null where nothing else is said. int32_t results: 0 success, -1 failure. */
#ifndef QV6D_STORAGE_QVSTORAGE_H
#define QV6D_STORAGE_QVSTORAGE_H

#include "env/qvenv.h"
#include "fusion/qvfusion.h"
#include "hcal/qvhcal.h"
#include "platform/api.h"

#include <stddef.h>

/* Version of the record files, which carry it as this number; a file of another one is not read. A fact of the files,
 * not of the library (QV6D_VERSION). */
#define QVSTORAGE_VERSION 3.6213

/* Every tuning parameter; payload of the configuration backup file. */
typedef struct QV_PACKED qvstorage_cfg
{
    qvenv_cfg env;
    qvhcal_cfg hcal;
    qvfusion_cfg fusion;
} qvstorage_cfg;

/* Everything learnt; payload of the data backup file. */
typedef struct QV_PACKED qvstorage_bak
{
    qvhcal_bak hcal;
    qvfusion_bak fusion;
} qvstorage_bak;

static_assert(sizeof(qvstorage_cfg) == 544, "payload of the configuration backup file");
static_assert(sizeof(qvstorage_bak) == 472, "payload of the data backup file");
static_assert(offsetof(qvstorage_cfg, env.datbak) == 228 && offsetof(qvstorage_cfg, hcal.motion) == 356 &&
                  offsetof(qvstorage_cfg, hcal.motion.sendiffmax) == 384 && offsetof(qvstorage_cfg, hcal.rlsm) == 400 &&
                  offsetof(qvstorage_cfg, hcal.incmask) == 456 && offsetof(qvstorage_cfg, hcal.clearradius) == 460 &&
                  offsetof(qvstorage_cfg, fusion.inclination_acctol) == 536,
              "file layout");
static_assert(offsetof(qvstorage_bak, hcal.rlsm.runlevel) == 196 && offsetof(qvstorage_bak, hcal.status) == 200 &&
                  offsetof(qvstorage_bak, hcal.status.enholicoff) == 304 &&
                  offsetof(qvstorage_bak, fusion.inclination) == 464,
              "file layout");

/* Bits of the flags. */
#define QVSTORAGE_FLAG_DEFAULTS 1u    /* default configuration built: it is built once only */
#define QVSTORAGE_FLAG_CHANGED 2u     /* a setter changed the configuration */
#define QVSTORAGE_FLAG_CUST 4u        /* customer file loaded */
#define QVSTORAGE_FLAG_INITIALISED 8u /* initialised, and the configuration backup file written */

typedef struct qvstorage
{
    uint32_t flags;
    qvstorage_cfg cfg; /* in force; the modules keep copies from their initialisation */
    qvstorage_bak bak; /* as handed to the modules at initialisation */
    qvenv_state env;
    qvhcal_state hcal;
    qvfusion_state fusion;
} qvstorage;

/* Builds the default configuration. */
QV_API void setup_default_cfg(qvstorage *storage);

/* Applies customer file and stored calibration, initialises the modules and writes the configuration backup file.
 * -1 when that file could not be written; the modules are initialised all the same. */
QV_API int32_t qvstorage_init(qvstorage *storage);

/* Writes the data backup file if the modules were ever initialised in this process, and ends the modules. Setter values
 * must be set again before the next initialisation. */
QV_API void qvstorage_term(qvstorage *storage);

/* Logs configuration and backup, or one error line when not initialised. */
QV_API void qvstorage_disp_cfg_on_init(qvstorage *storage);

/* Setters. Each builds the default configuration if there is none, writes its fields and returns 0. The modules see
 * them from the next initialisation on. */
QV_API int32_t qvstorage_setup_debug(qvstorage *storage, int32_t en);
/* A null path leaves its field; so does one of more than 63 characters, with one error line and -1. */
QV_API int32_t qvstorage_setup_env_path(qvstorage *storage, const char *custcfg, const char *cfgbak,
                                        const char *datbak);
QV_API int32_t qvstorage_setup_env_simtx(qvstorage *storage, const double matrix[3][3]);
QV_API int32_t qvstorage_setup_env_accthr(qvstorage *storage, double accthr, double aweight);
QV_API int32_t qvstorage_setup_env_gyrthr(qvstorage *storage, double gyrthr);
QV_API int32_t qvstorage_setup_hcal_calibration1(qvstorage *storage, double stdevmin, double stdevmax, double senrate,
                                                 double sendiffmin, double sendiffmax);
/* An rbufsize above 40 is stored as 40. */
QV_API int32_t qvstorage_setup_hcal_calibration2(qvstorage *storage, int32_t rbufsize, int32_t rdummycnt,
                                                 int32_t readycnt);
QV_API int32_t qvstorage_setup_hcal_calibration3(qvstorage *storage, double w, double stdev, double enhthr);
QV_API int32_t qvstorage_setup_hcal_accuracy(qvstorage *storage, const double range[3], int32_t policy_mask);
QV_API int32_t qvstorage_setup_hcal_clearradius(qvstorage *storage, double radius);
/* Accepts the values and changes nothing, flags included. */
QV_API int32_t qvstorage_setup_hcal_status(qvstorage *storage, const double offset[3], double radius, int32_t status);

/* Applies the customer file at path to the configuration: lines of key = value, numbers with a decimal point whatever
 * the process's locale. Pairs before a failure stay applied. 0 when the file was read to its end, whatever its lines
 * held; -1 when it is no regular file or cannot be read, at a line of more than 126 characters, NUL bytes included, or
 * without a value, and after 64 KiB. */
QV_API int32_t load_file_cust(qvstorage_cfg *cfg, const char *path);

/* Applies one pair. An unknown key or a path of more than 63 characters is reported and changes nothing. */
QV_API void setup_cust_cfg(qvstorage_cfg *cfg, const char *key, const char *value);

/* 1 when the two differ in a field that decides whether a stored calibration may be reused, otherwise 0. A NaN
 * differs from everything. */
QV_API int32_t check_cfg_was_changed(const qvstorage_cfg *a, const qvstorage_cfg *b);

/* Record files with the records above as payload. */
QV_API int32_t load_file_cfg(qvstorage_cfg *cfg, const char *path);
QV_API int32_t load_file_bak(qvstorage_bak *bak, const char *path);
QV_API int32_t save_file_cfg(const qvstorage_cfg *cfg, const char *path);
QV_API int32_t save_file_bak(const qvstorage_bak *bak, const char *path);

#endif
