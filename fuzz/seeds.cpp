// Writes what the fuzzer starts from: fuzz_seeds DIRECTORY makes a folder for each target, and the customer file's
// dictionary.

#include "sandbox.h"
#include "storage/qvstorage_keys.h"
#include "storage/qvstorage_object.h"
#include "use.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace
{

std::filesystem::path root;

void write(const char *target, const char *name, const std::string &content)
{
    std::filesystem::create_directories(root / target);
    std::ofstream(root / target / name, std::ios::binary) << content;
}

template <typename T>
std::string bytes_of(const T &value)
{
    return std::string(reinterpret_cast<const char *>(&value), sizeof value);
}

std::string shown(const qvstorage_cfg &cfg, const customer_key &key)
{
    const char *field = reinterpret_cast<const char *>(&cfg) + key.offset;
    if (key.kind == key_kind::path)
        return field;
    double real;
    std::int32_t integer;
    std::memcpy(&real, field, sizeof real);
    std::memcpy(&integer, field, sizeof integer);
    return key.kind == key_kind::real ? std::to_string(real) : std::to_string(integer);
}

void customer_file_seeds()
{
    qvstorage storage = {};
    setup_default_cfg(&storage);
    std::string defaults,
        dictionary = "\"=nan\"\n\"=-inf\"\n\"=1e99\"\n\"=-1e99\"\n\"=1e-310\"\n\"=-1\"\n\"=0x7fffffff\"\n";
    for (const customer_key &key : CUSTOMER_KEYS)
    {
        defaults += std::string(key.name) + " = " + shown(storage.cfg, key) + "\n";
        dictionary += '"' + std::string(key.name) + "\"\n";
    }
    std::ofstream(root / "customer_file.dict") << dictionary;
    write("customer_file", "defaults", defaults);
    write("customer_file", "short_buffer",
          "hcal.rbufsize=3\nhcal.rdummycnt=0\nhcal.readycnt=1\nhcal.rlsm.routmafsize=2\n"
          "hcal.motion.sendiffmin=1e-300\nhcal.motion.stdevmin=0\n");
    write("customer_file", "unusual",
          "# comment\n%\n\r\n=\n a\t= b \nenv.accthr=nan\nenv.gyrthr=-inf\r\n"
          "hcal.rbufsize=1e99\nhcal.rdummycnt=nan\nhcal.incmask=0x7fffffff\nenv.cfgbak=" +
              std::string(63, 'p') + "\n" + std::string(125, ' ') + "\nnone\nenv.endbg=\n");
}

// The two files of a device that was turned until it was calibrated.
void record_file_seeds()
{
    constexpr char as_saved_and_framed = 1 | 4, files_as_they_are = 0;
    sandbox::reset();
    start();
    turn(200, {0, 200.0F, -300.0F, 100.0F, 0}, 320.0F);
    qvalgo_term();
    const std::string configuration = sandbox::files[CONFIGURATION_BACKUP], data = sandbox::files[DATA_BACKUP];
    const auto with_size = [](const std::string &file)
    { return bytes_of(static_cast<std::uint16_t>(file.size())) + file; };

    write("record_files", "learnt", as_saved_and_framed + data.substr(9, sizeof(qvstorage_bak)));
    write("record_files", "both", files_as_they_are + with_size(configuration) + with_size(data));
    write("record_files", "none", std::string(5, '\0'));
}

// Numbers are those of the list in calls.cpp.
void call_seeds()
{
    const std::string start(1, '\0'), stop(1, '\3'), init(1, '\2');
    const std::string turn =
        "\5\x5A" + std::string(2, '\0') + std::string("\x20\0\x32\x20\0\xB5\x20\0\x19\x20\0\x50", 12);
    write("calls", "day", start + turn + stop + start + turn + stop);
    write("calls", "own_settings", std::string("\x0B\x80\x05\x80\x01\x80\x02", 7) + init + turn + stop);
    std::string each;
    for (char operation = 0; operation < 24; ++operation)
        each += operation + std::string(24, '\x40');
    write("calls", "each", start + turn + each);
}

} // namespace

int main(int count, char **arguments)
{
    if (count != 2)
    {
        std::fprintf(stderr, "usage: fuzz_seeds DIRECTORY\n");
        return 2;
    }
    root = arguments[1];
    std::filesystem::create_directories(root);
    customer_file_seeds();
    record_file_seeds();
    call_seeds();
    return 0;
}
