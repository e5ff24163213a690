// Any bytes as the customer file below a sweep: what a combination sets is what the library gets.

#include "files/customer_overlay.h"
#include "foreign.h"
#include "library/configuration.h"

using namespace qv6d;

static void lay_over(const std::string &path)
{
    const customer_overlay base(path);
    for (const std::string &complaint : base.complaints())
        claim_shown(complaint);
    qvstorage_cfg cfg = start_configuration();
    const std::string text = base.with({{"env.accthr", 1.5}, {"hcal.rbufsize", 20.0}});
    claim(load_file_cust(&cfg, foreign_file(text).c_str()) == 0);
    claim(cfg.env.accthr == 1.5 && cfg.hcal.rbufsize == 20);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const std::string file(bytes, bytes + size);
    read_or_refuse([&] { lay_over(foreign_file(file)); });
    return 0;
}
