#include "algo/qvalgo.h"

#include "fusion/level.h"
#include "lean/lean.h"
#include "platform/log.h"
#include "storage/qvstorage_object.h"

#include <cstring>

// The sample of the last valid step. It lives as long as the process: no initialisation resets it.
static qvfusion_sample previous_sample = {-1.0, {}, {}, {}};

static double blended(double previous, double next, double weight)
{
    return (1.0 - weight) * next + weight * previous;
}

qvcrd_quat reweight_quat(int32_t acclevel, qvcrd_quat previous, qvcrd_quat next, double weight)
{
    if (acclevel > 0)
        return next;
    return {blended(previous.w, next.w, weight), blended(previous.x, next.x, weight),
            blended(previous.y, next.y, weight), blended(previous.z, next.z, weight)};
}

static void derive_outputs(qvstorage *storage, qvcrd_vec3 acc, qvcrd_vec3 field, double time)
{
    const qvfusion_sample previous = previous_sample;
    previous_sample.field = field;
    previous_sample.acc = acc;
    previous_sample.time = time;

    const qvfusion_bak &bak = storage->fusion.bak;
    const qvcrd_quat smoothed = qvenv_filtering_quat(&storage->env, {bak.qs[0], bak.qs[1], bak.qs[2], bak.qs[3]});
    previous_sample.quat =
        reweight_quat(qvenv_get_acclevel(&storage->env), previous.quat, smoothed, storage->env.cfg.aweight);
    storage->fusion.data = qvfusion_get_fusion_data(&previous_sample, &previous);
}

static void write_out(qvalgo_fusion_out *out, const qvfusion_data &data)
{
    std::memcpy(out->quat, &previous_sample.quat, sizeof out->quat);
    std::memcpy(out->rotv, data.rotv, sizeof out->rotv);
    std::memcpy(out->gyro, data.gyro, sizeof out->gyro);
    std::memcpy(out->grav, data.grav, sizeof out->grav);
    std::memcpy(out->lina, data.lina, sizeof out->lina);
    std::memcpy(out->ornt, data.ornt, sizeof out->ornt);
}

static void log_outputs(const qvfusion_data &d)
{
    static constexpr char NAME[] = "qvalgo_update_fusion";
    const qvcrd_quat q = previous_sample.quat;
    QVLOG_AS(NAME, "ALGO_QUAT : %f %f %f %f\n", q.w, q.x, q.y, q.z);
    QVLOG_AS(NAME, "ALGO_ROTV : %f %f %f %f\n", d.rotv[0], d.rotv[1], d.rotv[2], d.rotv[3]);
    QVLOG_AS(NAME, "ALGO_GYRO : %f %f %f\n", d.gyro[0], d.gyro[1], d.gyro[2]);
    QVLOG_AS(NAME, "ALGO_GRAV : %f %f %f\n", d.grav[0], d.grav[1], d.grav[2]);
    QVLOG_AS(NAME, "ALGO_LINA : %f %f %f\n", d.lina[0], d.lina[1], d.lina[2]);
    QVLOG_AS(NAME, "ALGO_ORNT : %f %f %f\n", d.ornt[0], d.ornt[1], d.ornt[2]);
}

void qvalgo_update_fusion(qvalgo_fusion_out *out, qvcrd_vec3 acc, qvcrd_vec3 field, double time)
{
    qvstorage *storage = &qvstorage_object;
    if (lean_can_orient(&storage->env))
    {
        lean_orient(&storage->env, &storage->fusion, out, acc, field, time);
        return;
    }

    const int32_t endbg = storage->env.cfg.endbg;
    qvenv_update_acclevel(&storage->env); // judges the samples before this one
    const qvcrd_vec3 filtered = qvenv_filtering_acc(&storage->env, acc);
    QVLOG_IF(endbg, "ALGO_ACC_MAG : ACC( %4.3f %4.3f %4.3f -> %4.3f %4.3f %4.3f ) MAG( %4.3f %4.3f %4.3f )\n", acc.x,
             acc.y, acc.z, filtered.x, filtered.y, filtered.z, field.x, field.y, field.z);

    qvfusion_update_inclination(&storage->fusion, filtered, field);
    out->valid = qvfusion_update(&storage->fusion, time, filtered, field) == 0 ? 1 : 0;
    if (out->valid != 0)
        derive_outputs(storage, filtered, field, time);
    if (lies_level(filtered))
        storage->fusion.data.ornt[0] = qvcrd_get_yaw(&field);

    write_out(out, storage->fusion.data);
    if (endbg)
        log_outputs(storage->fusion.data);
}
