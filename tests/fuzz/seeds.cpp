// Writes what the fuzzer starts from into the present directory, a folder for each target, and the customer file's
// dictionary.

#include "sandbox.h"
#include "storage/qvstorage_keys.h"
#include "storage/qvstorage_object.h"

#include <filesystem>
#include <fstream>

using namespace sandbox;

static void write(const char *path, const std::string &content)
{
    std::ofstream(path, std::ios::binary) << content;
}

static std::string shown(const qvstorage_cfg &cfg, const customer_key &key)
{
    const char *field = reinterpret_cast<const char *>(&cfg) + key.offset;
    if (key.kind == key_kind::path)
        return field;
    input in(reinterpret_cast<const std::uint8_t *>(field), sizeof(double));
    return key.kind == key_kind::real ? std::to_string(in.raw<double>()) : std::to_string(in.raw<std::int32_t>());
}

static void write_customer_files()
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
    write("customer_file.dict", dictionary);
    write("customer_file/defaults", defaults);
    write("customer_file/short_buffer", "hcal.rbufsize=3\nhcal.rdummycnt=0\nhcal.readycnt=1\nhcal.rlsm.routmafsize=2\n"
                                        "hcal.motion.sendiffmin=1e-300\nhcal.motion.stdevmin=0\n");
    write("customer_file/unusual", "# comment\n%\n\r\n=\n a\t= b \nenv.accthr=nan\nenv.gyrthr=-inf\r\n"
                                   "hcal.rbufsize=1e99\nhcal.rdummycnt=nan\nhcal.incmask=0x7fffffff\nenv.cfgbak=" +
                                       std::string(63, 'p') + "\n" + std::string(125, ' ') + "\nnone\nenv.endbg=\n");
}

// The two files of a device that was turned until it was calibrated.
static void write_record_files()
{
    reset();
    start();
    turn(200);
    qvalgo_term();
    const auto with_size = [](const std::string &file) {
        return std::string{static_cast<char>(file.size() % 256), static_cast<char>(file.size() / 256)} + file;
    };
    const std::string configuration = files[CONFIGURATION_BACKUP], data = files[DATA_BACKUP];
    write("record_files/learnt", "\5" + data.substr(9, sizeof(qvstorage_bak))); // configuration as saved, data framed
    write("record_files/both", '\0' + with_size(configuration) + with_size(data));
    write("record_files/none", std::string(5, '\0'));
}

// Numbers are those of the list in calls.cpp.
static void write_calls()
{
    const std::string start(1, '\0'), stop = "\3", init = "\2";
    const std::string turn("\5\x5A\0\0\x20\0\x32\x20\0\xB5\x20\0\x19\x20\0\x50", 16);
    write("calls/day", start + turn + stop + start + turn + stop);
    write("calls/own_settings", "\x0B\x80\x05\x80\x01\x80\x02" + init + turn + stop);
    std::string each;
    for (char operation = 0; operation < 24; ++operation)
        each += operation + std::string(24, '\x40');
    write("calls/each", start + turn + each);
}

// Numbers are those of the switch in service.cpp; the settings take what is not valid for the defaults.
static void write_service()
{
    const std::string settings(24, '\xFF'), turn("\0\x14\x20\xA0", 4);
    std::string day = settings;
    for (int second = 0; second < 20; ++second)
        day += turn;
    write("service/day", day);
    write("service/samples", day + std::string(200, '\x33'));
}

int main()
{
    for (const char *target : {"customer_file", "record_files", "calls", "service"})
        std::filesystem::create_directories(target);
    write_customer_files();
    write_record_files();
    write_calls();
    write_service();
}
