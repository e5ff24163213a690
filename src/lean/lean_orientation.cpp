#include "fusion/inclination.h"
#include "fusion/level.h"
#include "lean/lean.h"
#include "lean/running_mean.h"

#include <algorithm>
#include <cstring>

// What qvfusion_update leaves in every step.
static constexpr qvcrd_quat RESET = {-1.0, 0.0, 0.0, 0.0};

// The mean of such quaternions is one of them, and stays so where -1 blended with -1 is -1. Debug lines apart, nobody
// then sees the filter, the blending, or the level of the acceleration that switches it on. Before the first
// initialisation the filter has no components, and its mean is another.
bool lean_can_orient(const qvenv_state *env)
{
    const double kept = env->cfg.aweight;
    return env->cfg.endbg == 0 && env->quat.n_item == 4 && (1.0 - kept) * RESET.w + kept * RESET.w == RESET.w;
}

static qvcrd_vec3 filtered(qvmaf *window, const qvcrd_vec3 &acc)
{
    static running_mean mean;
    const int32_t n = window->n;
    window->n = std::min(n + 1, running_mean::WINDOW);
    return running_mean_push(&mean, n, acc);
}

void lean_orient(qvenv_state *env, qvfusion_state *fusion, qvalgo_fusion_out *out, const qvcrd_vec3 &acc,
                 const qvcrd_vec3 &field, double time)
{
    const qvcrd_vec3 mean = filtered(&env->acc, acc);
    blend_inclination(fusion, mean, field);
    qvfusion_update(fusion, time, mean, field);

    out->valid = 1;
    std::memcpy(out->quat, &RESET, sizeof out->quat);
    std::memset(out->rotv, 0, sizeof out->rotv);
    std::memset(out->gyro, 0, sizeof out->gyro);
    std::memset(out->grav, 0, sizeof out->grav);
    std::memset(out->lina, 0, sizeof out->lina);
    store_vec3(out->ornt, orientation_degrees(mean, field, lies_level(mean)));
}
