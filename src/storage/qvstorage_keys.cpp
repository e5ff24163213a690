#include "storage/qvstorage_keys.h"

#include <cstring>

// offsetof reaches through nested packed records; the names of fields and keys are the same.
#define KEY(field, kind, compared)                                                                                     \
    {                                                                                                                  \
#field, offsetof(qvstorage_cfg, field), key_kind::kind, compared                                               \
    }

// Debug switches change no result, and fusion.ips only seeds a matrix that nothing reads: none of them is compared.
const customer_key CUSTOMER_KEYS[CUSTOMER_KEY_COUNT] = {
    KEY(env.endbg, integer, false),
    KEY(env.simtx[0][0], real, true),
    KEY(env.simtx[0][1], real, true),
    KEY(env.simtx[0][2], real, true),
    KEY(env.simtx[1][0], real, true),
    KEY(env.simtx[1][1], real, true),
    KEY(env.simtx[1][2], real, true),
    KEY(env.simtx[2][0], real, true),
    KEY(env.simtx[2][1], real, true),
    KEY(env.simtx[2][2], real, true),
    KEY(env.accthr, real, true),
    KEY(env.gyrthr, real, true),
    KEY(env.aweight, real, true),
    KEY(env.custcfg, path, true),
    KEY(env.cfgbak, path, true),
    KEY(env.datbak, path, true),
    KEY(hcal.endbg, integer, false),
    KEY(hcal.rbufsize, integer_at_most_40, true),
    KEY(hcal.accuracy[0], real, true),
    KEY(hcal.accuracy[1], real, true),
    KEY(hcal.accuracy[2], real, true),
    KEY(hcal.rdummycnt, integer, true),
    KEY(hcal.readycnt, integer, true),
    KEY(hcal.rinclination, real, true),
    KEY(hcal.incmask, integer, true),
    KEY(hcal.enhthr, real, true),
    KEY(hcal.clearradius, real, true),
    KEY(hcal.motion.endbg, integer, false),
    KEY(hcal.motion.stdevmin, real, true),
    KEY(hcal.motion.stdevmax, real, true),
    KEY(hcal.motion.senrate, real, true),
    KEY(hcal.motion.sendiffmin, real, true),
    KEY(hcal.motion.sendiffmax, real, true),
    KEY(hcal.rlsm.endbg, integer, false),
    KEY(hcal.rlsm.w, real, true),
    KEY(hcal.rlsm.stdev, real, true),
    KEY(hcal.rlsm.routmafsize, integer, true),
    KEY(fusion.endbg, integer, false),
    KEY(fusion.hz, real, true),
    KEY(fusion.gamma, real, true),
    KEY(fusion.ips, real, false),
    KEY(fusion.ras, real, true),
    KEY(fusion.rms, real, true),
    KEY(fusion.rps, real, true),
    KEY(fusion.inclination, real, true),
    KEY(fusion.inclination_alpha, real, true),
    KEY(fusion.inclination_acctol, real, true),
};

const customer_key *find_customer_key(const char *name)
{
    for (const customer_key &key : CUSTOMER_KEYS)
        if (std::strcmp(key.name, name) == 0)
            return &key;
    return nullptr;
}
