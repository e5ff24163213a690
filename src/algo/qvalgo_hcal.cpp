#include "algo/qvalgo.h"

#include "lean/lean.h"
#include "math/vec3.h"
#include "storage/qvstorage_object.h"

void qvalgo_update_hcal(qvalgo_hcal_out *out, qvcrd_vec3 field)
{
    const qvenv_state *env = &qvstorage_object.env;
    qvhcal_state *hcal = &qvstorage_object.hcal;

    const qvcrd_vec3 compensated = qvenv_compensate_softiron(env, field);
    const double gyrthr = qvenv_get_gyrthr(env);
    const auto gyrlevel = static_cast<int32_t>(qvenv_get_gyrlevel(env));
    out->update_result = lean_can_calibrate(hcal)
                             ? lean_calibrate(hcal, gyrlevel, compensated, gyrthr)
                             : qvhcal_update(hcal, gyrlevel, compensated.x, compensated.y, compensated.z, gyrthr);

    store_vec3(out->offset, qvhcal_get_offset(hcal));
    store_vec3(out->canceled, qvhcal_get_canceled(hcal));
    out->radius = qvhcal_get_radius(hcal);
    out->accuracy = qvhcal_get_accuracy(hcal);
    store_vec3(out->compensated, compensated);
}
