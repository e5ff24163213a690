#include "qv6ds_learner.h"
#include "qv6ds_units.h"

using namespace qv6ds_math;

// A wider span than the library's own 15 µT: at 25 Hz it keeps away offsets that were fitted from a small cap.
static constexpr double SPAN_MIN = 25.0;

void qv6ds_learner_start(qv6ds_learner *learner, double learn_hz, const char *customer_file)
{
    *learner = {};
    learner->period = static_cast<int64_t>(static_cast<double>(SECOND) / learn_hz);
    qvstorage *storage = &learner->storage;
    setup_default_cfg(storage);
    storage->cfg.hcal.motion.sendiffmin = SPAN_MIN;
    if (customer_file != nullptr)
        load_file_cust(&storage->cfg, customer_file);
    qvhcal_get_bak(&storage->bak.hcal, &storage->cfg.hcal);
    qvfusion_get_bak(&storage->bak.fusion, &storage->cfg.fusion);
    qvhcal_init(&storage->hcal, &storage->cfg.hcal, &storage->bak.hcal);
}

bool qv6ds_learner_resume(qv6ds_learner *learner, const qvstorage_cfg *cfg, const qvstorage_bak *bak)
{
    qvstorage *storage = &learner->storage;
    if (check_cfg_was_changed(&storage->cfg, cfg) != 0)
        return false;
    storage->bak = *bak;
    qvhcal_init(&storage->hcal, &storage->cfg.hcal, &storage->bak.hcal);
    learner->validated = storage->hcal.status.calibrated == 1;
    return true;
}

void qv6ds_learner_learnt(const qv6ds_learner *learner, qvstorage_cfg *cfg, qvstorage_bak *bak)
{
    const qvstorage &storage = learner->storage;
    *cfg = storage.cfg;
    *bak = {{storage.hcal.rlsm.bak, storage.hcal.status}, storage.bak.fusion};
}

bool qv6ds_learner_takes(qv6ds_learner *learner, int64_t time_ns)
{
    // A gap or a clock that jumped begins a new grid.
    if (!learner->any || time_ns < learner->next - 2 * learner->period || time_ns > learner->next + learner->period)
    {
        learner->any = true;
        learner->next = time_ns;
    }
    // Jitter of a slower sensor does not lose a sample.
    if (time_ns < learner->next - learner->period / 8)
        return false;
    learner->next += learner->period;
    return true;
}

void qv6ds_learner_learn(qv6ds_learner *learner, vec field)
{
    qvhcal_state *hcal = &learner->storage.hcal;
    if (qvhcal_update(hcal, 0, field.x, field.y, field.z, 0.0) == 0 && hcal->cfg.rbufsize != 0)
        learner->validated = true;
    learner->validated = learner->validated && hcal->status.calibrated == 1;
}

void qv6ds_learner_restart(qv6ds_learner *learner)
{
    qvhcal_clear(&learner->storage.hcal);
    learner->validated = false;
}

vec qv6ds_learner_offset(const qv6ds_learner *learner)
{
    const qvcrd_vec3 offset = qvhcal_get_offset(&learner->storage.hcal);
    return {offset.x, offset.y, offset.z};
}
