#include "storage/qvstorage.h"

#include "platform/log.h"
#include "storage/qvstorage_path.h"

#include <algorithm>
#include <cstring>

void setup_default_cfg(qvstorage *storage)
{
    qvenv_get_default_cfg(&storage->cfg.env);
    qvhcal_get_default_cfg(&storage->cfg.hcal);
    qvfusion_get_default_cfg(&storage->cfg.fusion);
    storage->flags |= QVSTORAGE_FLAG_DEFAULTS;
}

// The configuration for a setter to change: defaults first, so that they never overwrite what it sets.
static qvstorage_cfg &changing(qvstorage *storage)
{
    if ((storage->flags & QVSTORAGE_FLAG_DEFAULTS) == 0)
        setup_default_cfg(storage);
    storage->flags |= QVSTORAGE_FLAG_CHANGED;
    return storage->cfg;
}

int32_t qvstorage_setup_debug(qvstorage *storage, int32_t en)
{
    qvstorage_cfg &cfg = changing(storage);
    cfg.env.endbg = en;
    cfg.hcal.endbg = en;
    cfg.hcal.motion.endbg = en;
    cfg.hcal.rlsm.endbg = en;
    cfg.fusion.endbg = en;
    return 0;
}

bool store_path(char *field, const char *path, const char *operation)
{
    if (std::strlen(path) >= QVENV_PATH_SIZE)
    {
        QVLOG_AS(operation, "[ERR] Path is longer than %d characters: %s\n", QVENV_PATH_SIZE - 1, path);
        return false;
    }
    std::strcpy(field, path);
    return true;
}

int32_t qvstorage_setup_env_path(qvstorage *storage, const char *custcfg, const char *cfgbak, const char *datbak)
{
    qvenv_cfg &env = changing(storage).env;
    const auto set = [](char *field, const char *path)
    { return path == nullptr || store_path(field, path, "qvstorage_setup_env_path"); };
    bool stored = set(env.custcfg, custcfg);
    stored = set(env.cfgbak, cfgbak) && stored;
    stored = set(env.datbak, datbak) && stored;
    return stored ? 0 : -1;
}

int32_t qvstorage_setup_env_simtx(qvstorage *storage, const double matrix[3][3])
{
    qvenv_cfg &env = changing(storage).env;
    for (int32_t i = 0; i < 3; ++i)
        for (int32_t j = 0; j < 3; ++j)
            env.simtx[i][j] = matrix[i][j];
    return 0;
}

int32_t qvstorage_setup_env_accthr(qvstorage *storage, double accthr, double aweight)
{
    qvenv_cfg &env = changing(storage).env;
    env.accthr = accthr;
    env.aweight = aweight;
    return 0;
}

int32_t qvstorage_setup_env_gyrthr(qvstorage *storage, double gyrthr)
{
    changing(storage).env.gyrthr = gyrthr;
    return 0;
}

int32_t qvstorage_setup_hcal_calibration1(qvstorage *storage, double stdevmin, double stdevmax, double senrate,
                                          double sendiffmin, double sendiffmax)
{
    qvmotion_cfg &motion = changing(storage).hcal.motion;
    motion.stdevmin = stdevmin;
    motion.stdevmax = stdevmax;
    motion.senrate = senrate;
    motion.sendiffmin = sendiffmin;
    motion.sendiffmax = sendiffmax;
    return 0;
}

int32_t qvstorage_setup_hcal_calibration2(qvstorage *storage, int32_t rbufsize, int32_t rdummycnt, int32_t readycnt)
{
    qvhcal_cfg &hcal = changing(storage).hcal;
    hcal.rbufsize = std::min<int32_t>(rbufsize, QVHCAL_RBUF_MAX);
    hcal.rdummycnt = rdummycnt;
    hcal.readycnt = readycnt;
    return 0;
}

int32_t qvstorage_setup_hcal_calibration3(qvstorage *storage, double w, double stdev, double enhthr)
{
    qvhcal_cfg &hcal = changing(storage).hcal;
    hcal.rlsm.w = w;
    hcal.rlsm.stdev = stdev;
    hcal.enhthr = enhthr;
    return 0;
}

int32_t qvstorage_setup_hcal_accuracy(qvstorage *storage, const double range[3], int32_t policy_mask)
{
    qvhcal_cfg &hcal = changing(storage).hcal;
    for (int32_t i = 0; i < 3; ++i)
        hcal.accuracy[i] = range[i];
    hcal.incmask = policy_mask;
    return 0;
}

int32_t qvstorage_setup_hcal_clearradius(qvstorage *storage, double radius)
{
    changing(storage).hcal.clearradius = radius;
    return 0;
}

int32_t qvstorage_setup_hcal_status(qvstorage *, const double[3], double, int32_t)
{
    return 0;
}
