// Any bytes as customer file: parsed alone, then started with and used.

#include "sandbox.h"
#include "storage/qvstorage.h"

using namespace sandbox;

static void parse()
{
    qvstorage storage = {};
    setup_default_cfg(&storage);
    const int32_t result = load_file_cust(&storage.cfg, CUSTOMER_FILE);
    claim(result == 0 || result == -1, "the result is 0 or -1");
    claim(storage.cfg.hcal.rbufsize <= QVHCAL_RBUF_MAX, "no more samples than a buffer holds");
    for (const char *path : {storage.cfg.env.custcfg, storage.cfg.env.cfgbak, storage.cfg.env.datbak})
        claim(std::memchr(path, '\0', QVENV_PATH_SIZE) != nullptr, "a path ends within its field");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    reset();
    files[CUSTOMER_FILE].assign(bytes, bytes + size);
    parse();
    start();
    qvalgo_disp_cfg();
    turn(90);
    qvalgo_term();
    start();
    turn(5, {});
    qvalgo_term();
    return 0;
}
