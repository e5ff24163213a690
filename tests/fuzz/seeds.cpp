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

// How a seed begins is read_as() in recordings.cpp: one file is 2, a folder 1; then options, then the number of a name.
static void write_recordings()
{
    std::string dictionary;
    for (const char *word : {"time,seconds_elapsed,z,y,x", "UncalMag,", "UncalAccel,", "elapsedRealtimeNanos",
                             "Time (s)", "Magnetic field x (uT)", "t_ns,sensor,x,y,z", "1750935420084093400",
                             "9223372036854775807", "1e-400", "nan", "sep=;", "platform,standardisation", "ios,false"})
        dictionary += '"' + std::string(word) + "\"\n";
    write("recordings.dict", dictionary);
    const std::string rows =
        "time,seconds_elapsed,z,y,x\n1750935420084093400,0.1,3,2,1\n1750935420094093400,0.2,3,2,1\n";
    const auto in_folder = [&](char name, const std::string &text) {
        return std::string{name, static_cast<char>(text.size() % 256), static_cast<char>(text.size() / 256)} + text;
    };
    write("recordings/logger", std::string("\1\0", 2) + in_folder(0, rows) + in_folder(1, rows) + in_folder(3, rows) +
                                   in_folder(4, rows) + in_folder(5, "platform,standardisation\nios,false\n"));
    write("recordings/senslogs", std::string("\1\0", 2) + in_folder(7, "1.0 1 2 3 4 5 6\n1.01 1 2 3 4 5 6\n") +
                                     in_folder(8, "1.0 0 0 -1\n1.01 0 0 -1\n"));
    write("recordings/gnss",
          std::string("\2\0\x9", 3) + "# UncalMag,a\nUncalMag,17,18,1,2,3,4,5,6\nUncalAccel,17,19,1,2,3\n");
    write("recordings/phyphox", std::string("\2\0\xA", 3) +
                                    "\"Time (s)\";\"Magnetic field x (uT)\";\"Magnetic field y "
                                    "(uT)\";\"Magnetic field z (uT)\"\n0,01;1,5;2;3\n0,02;1;2;3\n");
    write("recordings/plain", std::string("\2\0\xB", 3) + "x,y,z,t\n1,2,3,10\n4,5,6,20\n");
    write("recordings/own", std::string("\2\x28\xA", 3) + "t_ns,sensor,x,y,z\n0,mag,1,2,3\n1,bias,1,2,3\n");
    // One stored file, mag.csv.
    write("recordings/zip",
          std::string("\0\0"
                      "PK\003\004\024\000\000\000\000\000\000\000!\000\374\004~\363\032\000\000\000\032\000\000"
                      "\000\007\000\000\000mag.csvx,y,z,t\n1,2,3,10\n4,5,6,20\nPK\001\002\024\003\024\000\000"
                      "\000\000\000\000\000!\000\374\004~\363\032\000\000\000\032\000\000\000\007\000\000\000"
                      "\000\000\000\000\000\000\000\000\200\001\000\000\000\000mag.csvPK\005\006\000\000\000"
                      "\000\001\000\001\0005\000\000\000\?\000\000\000\000\000",
                      140));
}

int main()
{
    for (const char *target : {"customer_file", "record_files", "calls", "service", "recordings"})
        std::filesystem::create_directories(target);
    write_customer_files();
    write_record_files();
    write_calls();
    write_service();
    write_recordings();
}
