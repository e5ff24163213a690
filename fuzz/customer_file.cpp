// Any bytes as customer file: parsed alone, then started with and used.

#include "sandbox.h"
#include "storage/qvstorage.h"
#include "use.h"

static void parse(const std::string &content)
{
    qvstorage storage = {};
    setup_default_cfg(&storage);
    sandbox::files[CUSTOMER_FILE] = content;
    const int32_t result = load_file_cust(&storage.cfg, CUSTOMER_FILE);

    sandbox::claim(result == 0 || result == -1, "the result is 0 or -1");
    sandbox::claim(storage.cfg.hcal.rbufsize <= QVHCAL_RBUF_MAX, "no more samples than a buffer holds");
    for (const char *path : {storage.cfg.env.custcfg, storage.cfg.env.cfgbak, storage.cfg.env.datbak})
        sandbox::claim(std::memchr(path, '\0', QVENV_PATH_SIZE) != nullptr, "a path ends within its field");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    sandbox::reset();
    const std::string content(reinterpret_cast<const char *>(bytes), size);
    parse(content);
    start();
    qvalgo_disp_cfg();
    turn(90, {0, 200.0F, -300.0F, 100.0F, 0}, 320.0F);
    qvalgo_term();
    start();
    turn(5, {0, 0.0F, 0.0F, 0.0F, 0}, 320.0F);
    qvalgo_term();
    return 0;
}
