// Any bytes as a customer file that `check` explains: what it says is taken is what the library takes of the file.

#include "files/customer_file.h"
#include "foreign.h"

#include <cstring>

using namespace qv6d;

static void check(const std::string &path)
{
    const customer_report report = read_customer_file(path);
    qvstorage_cfg taken = report.base;
    const bool whole = load_file_cust(&taken, path.c_str()) == 0;
    claim(whole == (report.count(customer_line::outcome::ended) == 0));
    claim(std::memcmp(&taken, &report.result, sizeof taken) == 0);
    int number = 0;
    for (const customer_line &line : report.lines)
    {
        claim(line.number >= number && line.number <= report.line_count && line.column > 0);
        number = line.number;
        claim_shown(line.reason);
        for (const customer_warning &warning : line.warnings)
            claim_shown(warning.text);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const std::string file(bytes, bytes + size);
    read_or_refuse([&] { check(foreign_file(file)); });
    return 0;
}
