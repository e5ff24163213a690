#include "storage/qvstorage.h"

#include "platform/log.h"
#include "storage/qvfile.h"
#include "storage/qvstorage_object.h"

#include <cstddef>

qvstorage qvstorage_object;

static int32_t load(void *record, std::size_t size, const char *path)
{
    qvfile file;
    qvfile_conf(&file, path, static_cast<int32_t>(size), QVSTORAGE_VERSION);
    return qvfile_read(&file, record);
}

static int32_t save(const void *record, std::size_t size, const char *path)
{
    qvfile file;
    qvfile_conf(&file, path, static_cast<int32_t>(size), QVSTORAGE_VERSION);
    return qvfile_write(&file, record);
}

int32_t load_file_cfg(qvstorage_cfg *cfg, const char *path)
{
    return load(cfg, sizeof *cfg, path);
}

int32_t load_file_bak(qvstorage_bak *bak, const char *path)
{
    return load(bak, sizeof *bak, path);
}

int32_t save_file_cfg(const qvstorage_cfg *cfg, const char *path)
{
    return save(cfg, sizeof *cfg, path);
}

int32_t save_file_bak(const qvstorage_bak *bak, const char *path)
{
    return save(bak, sizeof *bak, path);
}

// Logs the outcome of a step under the name of the initialisation, and returns it.
static bool report(bool success, const char *what, const char *path)
{
    QVLOG_AS("qvstorage_init", "[INFO] %s [%c] %s\n", what, success ? 'O' : 'X', path);
    return success;
}

static void apply_customer_file(qvstorage *storage)
{
    // The file can set its own path; the one that it was opened by is reported.
    const qvenv_cfg before = storage->cfg.env;
    if (report(load_file_cust(&storage->cfg, before.custcfg) == 0, "LOAD_CUST_FILE", before.custcfg))
        storage->flags |= QVSTORAGE_FLAG_CUST;
}

// A stored calibration is worth only what the configuration is under which it was learnt.
static bool load_stored_calibration(qvstorage *storage)
{
    const qvenv_cfg &env = storage->cfg.env;
    qvstorage_cfg stored;
    if (!report(load_file_cfg(&stored, env.cfgbak) == 0, "LOAD_CFG_BAK", env.cfgbak))
        return false;

    const bool changed = check_cfg_was_changed(&storage->cfg, &stored) != 0;
    QVLOG_AS("qvstorage_init", "[INFO] COMPARE_CFG [%c]\n", changed ? 'X' : 'O');
    if (changed)
        return false;

    qvstorage_bak bak;
    if (!report(load_file_bak(&bak, env.datbak) == 0, "LOAD_DAT_BAK", env.datbak))
        return false;
    storage->bak = bak;
    return true;
}

static void init_modules(qvstorage *storage)
{
    qvenv_init(&storage->env, &storage->cfg.env);
    qvhcal_init(&storage->hcal, &storage->cfg.hcal, &storage->bak.hcal);
    qvfusion_init(&storage->fusion, &storage->cfg.fusion, &storage->bak.fusion);
}

int32_t qvstorage_init(qvstorage *storage)
{
    if ((storage->flags & QVSTORAGE_FLAG_DEFAULTS) == 0)
        setup_default_cfg(storage);
    apply_customer_file(storage);

    if (!load_stored_calibration(storage))
    {
        qvhcal_get_bak(&storage->bak.hcal, &storage->cfg.hcal);
        qvfusion_get_bak(&storage->bak.fusion, &storage->cfg.fusion);
    }
    init_modules(storage);

    if (save_file_cfg(&storage->cfg, storage->env.cfg.cfgbak) != 0)
    {
        storage->flags &= ~QVSTORAGE_FLAG_INITIALISED;
        return -1;
    }
    storage->flags |= QVSTORAGE_FLAG_INITIALISED;
    return 0;
}

void qvstorage_term(qvstorage *storage)
{
    if (storage->fusion.initialised != 0)
    {
        const qvstorage_bak learnt = {{storage->hcal.rlsm.bak, storage->hcal.status}, storage->fusion.bak};
        save_file_bak(&learnt, storage->env.cfg.datbak);
    }
    qvenv_term(&storage->env);
    qvhcal_term(&storage->hcal);
    qvfusion_term(&storage->fusion);
    storage->flags = 0;
}

void qvstorage_disp_cfg_on_init(qvstorage *storage)
{
    if ((storage->flags & QVSTORAGE_FLAG_INITIALISED) == 0)
    {
        QVLOG("[ERR] Algorithm was not initialized yet. Try again after 'qvalgo_init()'\n");
        return;
    }
    qvenv_disp_cfg(&storage->env.cfg, 1);
    qvhcal_disp_cfg(&storage->hcal, 1);
    qvmotion_disp_cfg(&storage->hcal.motion, 1);
    qvrlsm_disp_cfg(&storage->hcal.rlsm.cfg, 1);
    qvfusion_disp_cfg(&storage->fusion.cfg, 1);
    qvhcal_disp_bak(&storage->bak.hcal, 1);
}
