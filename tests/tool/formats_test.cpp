// What phone apps write, imitated, and the events that it stands for.

#include "common/error.h"
#include "recordings/plausibility.h"
#include "recordings/recording.h"
#include "support.h"

#include <filesystem>
#include <fmt/format.h>
#include <map>
#include <nlohmann/json.hpp>
#include <zip.h>
#include <zlib.h>

using namespace qv6d;
using contents = std::map<std::string, std::string>;

static const std::string SL = "time,seconds_elapsed,z,y,x\n";
static const std::string META = "version,device name,platform,standardisation\n3,\"My, phone\",";

// Events as "t sensor x y z;", then what was decided, then the fault without the folder.
static std::string read(const std::string &path, const reading_options &options, const std::string &folder)
try
{
    std::string seen;
    recording events(path, options);
    for (event e; events.next(&e);)
        seen += fmt::format("{} {} {} {} {};", e.t_ns, name(e.kind), e.x, e.y, e.z);
    seen += events.origin().format;
    for (const std::string &decision : events.origin().decisions)
        seen.append("|").append(decision, 0, decision.find(','));
    for (const remark &r : events.source().remarks())
        seen += "|" + r.code;
    return seen;
}
catch (const error &e)
{
    std::string text = e.what();
    for (std::size_t at = text.find(folder); at != std::string::npos; at = text.find(folder))
        text.erase(at, folder.size());
    return text;
}

static void write_all(const std::string &folder, const contents &files)
{
    for (const auto &[file, text] : files)
        write_file(folder + "/" + file, text);
}

static void zip_all(const std::string &path, const contents &files)
{
    zip_t *archive = zip_open(path.c_str(), ZIP_CREATE, nullptr);
    for (const auto &[file, text] : files)
        zip_file_add(archive, ("../2025/" + file).c_str(), zip_source_buffer(archive, text.data(), text.size(), 0),
                     ZIP_FL_ENC_UTF_8);
    ASSERT_EQ(0, zip_close(archive));
}

struct format_case
{
    contents files;
    std::string expected;
    reading_options options = {};
};

TEST(Formats, AFolderAndItsZipFileGiveTheEventsOfAllSensorsInTheOrderOfTime)
{
    const std::string mag = SL + "1750935420084093401,0,3,2,1\n1750935420104093401,0.02,6,5,4\n";
    const std::string g = SL + "1750935420084093400,0,-1,0,0\n1750935420094093400,0.01,-1.0,0,0\n";
    const std::string ms2 = SL + "1750935420084093400,0,9.8,0,0.5\n1750935420094093400,0,9.8,0,1\n";
    const std::string field = "1750935420084093401 mag 1 2 3;", later = "1750935420104093401 mag 4 5 6;sensor_logger";
    const std::string acc = "1750935420084093400 acc {};{}1750935420094093400 acc {};{}";
    const auto both = [&](const char *one, const char *two)
    { return fmt::format(fmt::runtime(acc), one, field, two, later); };
    const std::string in_g = "|acc: in g", up = both("-0 -0 9.80665", "-0 -0 9.80665") + in_g;
    const format_case cases[] = {
        {{{"MagnetometerUncalibrated.csv", mag},
          {"Magnetometer.csv", "x"},
          {"AccelerometerUncalibrated.csv", g},
          {"Metadata.csv", META + "ios,false\n"},
          {"Annotation.csv", ""},
          {"MergedData.csv", mag}},
         up},
        {{{"MagnetometerUncalibrated.csv", mag}, {"AccelerometerUncalibrated.csv", g}}, up}, // the data tell
        {{{"MagnetometerUncalibrated.csv", mag},
          {"AccelerometerUncalibrated.csv", g},
          {"Metadata.csv", META + "android,false\n"}},
         both("0 0 -9.80665", "0 0 -9.80665") + in_g},
        {{{"MagnetometerUncalibrated.csv", mag},
          {"AccelerometerUncalibrated.csv", g},
          {"TotalAcceleration.csv", ms2},
          {"Accelerometer.csv", g},
          {"Gravity.csv", g}},
         both("0.5 0 9.8", "1 0 9.8")},
        {{{"Magnetometer.csv", mag},
          {"Accelerometer.csv", SL + "1750935420084093400,0,1,0,0\n"},
          {"Gravity.csv", SL + "1750935420074093400,0,8,0,0\n1750935420094093400,0,10,0,0\n"}},
         "1750935420084093400 acc 0 0 10;" + field + later +
             "|acc: the sum of acceleration without gravity and of gravity|mag: Magnetometer.csv has the phone's own "
             "offset "
             "taken off; switch on the uncalibrated magnetometer in the app"},
        {{{"magnetometer.txt", "50.00 1 2 3 7 8 9\n50.02 4 5 6 7 8 9\n"},
          {"accelerometer.txt", "50 0 0 -1\n50.01 0 0 -1\n"},
          {"rotation-vector.txt", "50 1 2 3 4\n"},
          {"description.txt", "BootTime=1\n"}},
         "50000000000 acc -0 -0 9.80665;50000000000 bias 7 8 9;50000000000 mag 1 2 3;50010000000 acc -0 -0 9.80665;"
         "50020000000 mag 4 5 6;senslogs|acc: in g"},
        {{{"Magnetometer.csv",
           "\"Time (s)\",\"Magnetic field x (\xC2\xB5T)\",\"Magnetic field y (\xC2\xB5T)\",\"Magnetic "
           "field z (\xC2\xB5T)\"\n1.5E-2,1,2,3\n"},
          {"Accelerometer.csv", "\"Time (s)\",\"Acceleration x (m/s^2)\",\"Acceleration y (m/s^2)\",\"Acceleration z "
                                "(m/s^2)\"\n1.0E-2,0,0,1\n"}},
         "10000000 acc 0 0 1;15000000 mag 1 2 3;phyphox|mag: as the phone calibrated it"},
        {{{"a.csv", "t_ns,sensor,x,y,z\n5,mag,1,2,3\n"}}, "5 mag 1 2 3;qv6d"},
        {{{"a.csv", "t_ns,sensor,x,y,z\n"}, {"b.csv", "t_ns,sensor,x,y,z\n"}},
         "in: holds several recordings: name one of them"},
        {{{"notes.txt", "nothing\n"}},
         "in: expected the files of a recording, such as Magnetometer.csv; found none (zip files in it and folders of "
         "a "
         "folder are not searched: name the one that holds them)"},
        {{{"Magnetometer.csv", mag}, {"MagnetometerUncalibrated (1).csv", mag}, {"MagnetometerUncalibrated.csv", mag}},
         "in: holds several recordings, such as MagnetometerUncalibrated (1).csv and MagnetometerUncalibrated.csv: "
         "name "
         "one of them"},
        {{{"a.txt", "UncalMag,17,1,1,2,3,7,8,9\n"}, {"b.txt", "UncalMag,17,1,1,2,3,7,8,9\n"}},
         "in: holds several recordings, such as a.txt and b.txt: name one of them"},
        {{{"Magnetometer.csv", SL + "10,0,1,2,3\n20000010,0,1,x\x1b,3\n30000010,0,1,2,3\n"}},
         "in/Magnetometer.csv:3: column y: expected a number, found \"x\\x1b\""},
    };
    for (const format_case &c : cases)
    {
        const temporary_directory dir;
        const std::string folder = dir / "in", packed = dir / "in.zip";
        std::filesystem::create_directory(folder);
        write_all(folder, c.files);
        EXPECT_EQ(c.expected, read(folder, c.options, dir / ""));
        zip_all(packed, c.files);
        std::string unpacked = read(packed, c.options, dir / "");
        for (const std::string part : {"../2025/", ".zip"})
            for (std::size_t at = unpacked.find(part); at != std::string::npos; at = unpacked.find(part))
                unpacked.erase(at, part.size());
        EXPECT_EQ(c.expected, unpacked);
        EXPECT_FALSE(c.expected.starts_with("in: ") && is_recording_folder(folder));
        EXPECT_EQ(2, std::distance(std::filesystem::directory_iterator(dir / ""), {})) << "something was unpacked";
    }
}

TEST(Formats, OneFileGivesItsEventsOrSaysWhatIsWrong)
{
    const std::string plain = "x,y,z,t\n1,2,3,10\n4,5,6,20\n", field = "10000000 mag 1 2 3;20000000 mag 4 5 6;csv";
    const std::string gnss = "# Header\nRaw,1\nUncalMag,17,1000000000000000001,1,2,3,7,8,9,3\n";
    const std::pair<std::string, format_case> cases[] = {
        {"m.tsv",
         {{{"", "\xEF\xBB\xBFTIME (S)\tMagnetic Field X (\xCE\xBCT)\tMagnetic Field Y (\xCE\xBCT)\tMagnetic Field Z "
                "(\xCE\xBCT)\r\n\r\n0,01\t1,5\t-2\t+3\r\n"}},
          "10000000 mag 1.5 -2 3;phyphox|mag: as the phone calibrated it"}},
        {"w.csv",
         {{{"",
            "sep=;\nACCELEROMETER X (m/s\xB2);ACCELEROMETER Y (m/s\xB2);ACCELEROMETER Z (m/s\xB2);LINEAR "
            "ACCELERATION X (m/s\xB2);LINEAR ACCELERATION Y (m/s\xB2);LINEAR ACCELERATION Z (m/s\xB2);MAGNETIC FIELD "
            "X (\xB5T);MAGNETIC FIELD Y (\xB5T);MAGNETIC FIELD Z (\xB5T);Time since start in ms ;YYYY-MO-DD\n"
            "0,5;0;9,8;8;8;8;1;2;3;12;2025-01-01\n;;;;;;4;5;6;30;2025-01-01\n"}},
          "12000000 acc 0.5 0 9.8;12000000 mag 1 2 3;30000000 mag 4 5 6;androsensor"}},
        {"GNSS.txt",
         {{{"", gnss + "UncalMag,17,1000000000000000002,4,5,6,7,8,9,3\nUncalAccel,17,999999999999999999,0,0,1,0,0,0\n"
                       "UncalMag,17,1000000000000000005,4,5,6,7,8,8,3\n"}},
          "999999999999999999 acc 0 0 1;1000000000000000001 bias 7 8 9;1000000000000000001 mag 1 2 3;"
          "1000000000000000002 mag 4 5 6;1000000000000000005 bias 7 8 8;1000000000000000005 mag 4 5 6;"
          "gnss_logger|unordered"}},
        {"old.txt", {{{"", "UncalMag,17,,1,2,3,7,8,9\n"}}, "17000000 bias 7 8 9;17000000 mag 1 2 3;gnss_logger"}},
        {"older.txt", {{{"", "UncalMag,17,1.5,2,3,7,8,9\n"}}, "17000000 bias 7 8 9;17000000 mag 1.5 2 3;gnss_logger"}},
        {"cut.txt",
         {{{"", gnss + "UncalMag,17,100"}},
          "1000000000000000001 bias 7 8 9;1000000000000000001 mag 1 2 3;gnss_logger|cut_line"}},
        {"mag.csv", {{{"", plain}}, field + "|time: in ms"}},
        {"mag.csv", {{{"", "4,2,3,10\n1,5,6,20\n"}}, "10000000 mag 4 2 3;20000000 mag 1 5 6;csv|time: in ms"}},
        {"mag.csv", {{{"", plain}}, "10000 mag 100 200 300;20000 mag 400 500 600;csv", {"", "us", "", {"gauss"}}}},
        {"acc.csv",
         {{{"", "x,y,z,t\n0,0,1,10\n0,0,1,20\n"}},
          "10000000 acc 0 0 9.80665;20000000 acc 0 0 9.80665;csv|acc: in g|time: in ms"}},
        {"log", {{{"", plain}}, field + "|time: in ms", {"mx,my,mz,t", "", "", {}}}},
        {"log", {{{"", "Q|S|P|R\n3|1|2|10\n6|4|5|20\n"}}, field, {"mx=s,my=P,mz=Q,t=R", "ms", "|", {}}}},
        {"log",
         {{{"", "7 0.01 0.1 0.2 0.3\n"}},
          "10000000 acc -0.1 -0.2 -0.3;csv",
          {"-,t,ax,ay,az", "s", "space", {"ms2", "opposite"}}}},
        {"gyr.csv",
         {{{"", "t_us,gx (deg/s),gy (deg/s),gz (deg/s)\n10000,180,0,nan\n"}},
          "10000000 gyr 3.1415927 0 nan;csv|gyr: in deg/s"}},
        {"long.csv",
         {{{"", "Sensor,Timestamp (ns),X,Y,Z\nAccelerometer,5,0,0,1\nlight,6,1,1,1\nMagnetometer,7,1,2,3\n"}},
          "5 acc 0 0 1;7 mag 1 2 3;csv"}},
        {"back.csv",
         {{{"", "t_ns,mx,my,mz\n0,1,2,3\n2000000000,1,2,3\n3100000000,4,5,6\n1500000000,9,9,9\n3000000000,1,2,3\n"}},
          "0 mag 1 2 3;2000000000 mag 1 2 3;3000000000 mag 1 2 3;3100000000 mag 4 5 6;csv|unordered|"
          "backward_times"}},
        {"own.csv",
         {{{"", "t_ns,sensor,x,y,z\n5,acc,0,0,1\n5,mag,1,2,3\n"}},
          "5000000 acc 0 0 9.80665;5000000 mag 1000 2000 3000;qv6d",
          {"", "ms", "", {"mt", "g"}}}},
        {"log",
         {{{"", plain}},
          "log:1: the columns x, y, z do not say of which sensor: name the file after it (mag.csv, "
          "acc.csv, gyr.csv), or say it with --columns, for example --columns t=time,mx=x,my=y,mz=z"}},
        {"log", {{{"", plain}}, "--columns: expected mx, my and mz together", {"t,mx", "", "", {}}}},
        {"log", {{{"", plain}}, "--columns: log has no column \"HX\"", {"t=t,mx=HX,my=y,mz=z", "", "", {}}}},
        {"log", {{{"", plain}}, "--time-unit: expected s, ms, us or ns, found \"h\"", {"", "h", "", {}}}},
        {"mag.csv",
         {{{"", "x,y,z,t\n1,2,3,1\n1,2,3,1.8\n"}},
          "mag.csv:2: the unit of the time \"1\" cannot be judged: say it with --time-unit s, ms, us or ns"}},
        {"mag.csv",
         {{{"", "t_ns;mx;my;mz\n1;1.000,5;2;3\n"}}, "mag.csv:2: column mx: expected a number, found \"1.000,5\""}},
        {"mag.csv",
         {{{"", "t_ns,mx,my,mz\n1,1e33,2,3\n"}},
          "mag.csv:2: column mx: \"1e33\" is too large for a single-precision number",
          {"", "", "", {"t"}}}},
        {"mag.csv",
         {{{"", "t_ns,mx,my,mz\n99999999999999999999,1,2,3\n"}},
          "mag.csv:2: column t_ns: expected a time in ns, found \"99999999999999999999\""}},
        {"mag.csv", {{{"", "t_ns,mx,my,mz\n1,2,3\n2,1,2,3\n"}}, "mag.csv:2: expected at least 4 columns, found 3"}},
        {"mag.csv",
         {{{"", std::string("\xFF\xFEt\0", 4)}},
          "mag.csv:1: is text of two bytes a character (UTF-16): save it as UTF-8"}},
        {"mag.csv",
         {{{"", "PK\3\4 and no more"}}, "mag.csv: is no readable zip file: Not a zip archive; was it copied whole?"}},
        {"mag.csv",
         {{{"", "time;x;y;z\n0,01;1;2;3\n0,02;4;5;6\n0,03;4;5;1.5E"}},
          "10000000 mag 1 2 3;20000000 mag 4 5 6;csv|time: in s|cut_line"}},
        {"mag.csv",
         {{{"", "time,x,y,z\n2025-06-26T10:57:00.0,1,2,3\n"}},
          "mag.csv:2: expected a time that is a number, found \"2025-06-26T10:57:00.0\": dates and clock times are not "
          "read"}},
        {"mag.csv",
         {{{"", "t_ns,note,mx,my,mz\n1,\"a\nb\",1,2,3\n"}},
          "mag.csv:2: expected at least 5 columns, found 2: line breaks within quotes are not read"}},
        {"mag.csv",
         {{{"", "t_ns,mx,my,mz\r" + std::string(5000, '1')}},
          "mag.csv:1: expected a line of at most 4096 characters; its lines end with carriage returns alone: save it "
          "with line feeds"}},
    };
    for (const auto &[file, c] : cases)
    {
        const temporary_directory dir;
        write_file(dir / file, c.files.at(""));
        EXPECT_EQ(c.expected, read(dir / file, c.options, dir / ""));
    }
}

TEST(Formats, GzipIsReadInPartsAndItsEndIsMissed)
{
    const temporary_directory dir;
    const std::string path = dir / "a.csv.gz";
    for (const char *part : {"t_ns,sensor,x,y,z\n5,mag,", "1,2,3\n"}) // appended: a second member of the file
    {
        gzFile out = gzopen(path.c_str(), "ab");
        gzputs(out, part);
        gzclose(out);
    }
    EXPECT_EQ("5 mag 1 2 3;qv6d", read(path, {}, dir / ""));
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 9);
    EXPECT_EQ("a.csv.gz: ends in the middle of its gzip data", read(path, {}, dir / ""));
}

// Turns a field of the earth about an offset, with acceleration in another unit, at so many events a second.
static std::string strange(double offset, double field, double acc, double step_ns, float spoilt = 0.0f)
{
    plausibility input;
    for (int k = 0; k < 500; ++k)
    {
        const auto t = static_cast<std::int64_t>(k * step_ns + (k > 300 ? 100.0 * step_ns : 0.0) * (spoilt != 0.0f));
        const double a = 0.1 * k, b = 0.037 * k;
        input.add({t, sensor::acc, 0, 0, static_cast<float>(acc)}, 0);
        input.add({t, sensor::mag, static_cast<float>(offset + field * std::cos(a) * std::cos(b)),
                   static_cast<float>(field * std::sin(a) * std::cos(b)),
                   static_cast<float>(k == 7 ? field * std::sin(b) + spoilt : field * std::sin(b))},
                  static_cast<std::uint64_t>(k) + 2);
    }
    std::string codes;
    for (const plausibility_finding &f : input.findings())
        codes += f.code + (f.line ? fmt::format(":{} ", *f.line) : " ");
    return codes;
}

TEST(Plausibility, NamesWhatIsStrangeAndNothingElse)
{
    EXPECT_EQ("", strange(300, 48, 9.81, 1e7));
    EXPECT_EQ("already_calibrated ", strange(1, 48, 9.81, 1e7));
    EXPECT_EQ("acc_in_g ", strange(300, 48, 1.0, 1e7));
    EXPECT_EQ("acc_without_gravity ", strange(300, 48, 0.1, 1e7));
    EXPECT_EQ("acc_norm ", strange(300, 48, 981, 1e7));
    EXPECT_EQ("field_norm ", strange(0.3, 0.048, 9.81, 1e7));
    EXPECT_EQ("field_norm ", strange(2000, 320, 9.81, 1e7));       // counts
    EXPECT_EQ("time_unit time_unit ", strange(300, 48, 9.81, 10)); // ms as ns
    EXPECT_EQ("not_numbers:9 gap:0 gap:303 ", strange(300, 48, 9.81, 1e7, NAN));
    plausibility seconds_as_ms;
    seconds_as_ms.open({"csv", time_unit::ms, {}, {}});
    seconds_as_ms.add({0, sensor::mag, 300, 0, 0}, 1);
    seconds_as_ms.add({10'000, sensor::mag, 300, 0, 0}, 2);
    EXPECT_NE(std::string::npos, seconds_as_ms.text().find("With --time-unit s it would have 100."));
    plausibility counts(0.15);
    counts.add({0, sensor::acc, 0, 0, 9.81f}, 1);
    counts.add({0, sensor::mag, 300, 0, 0}, 1);
    EXPECT_EQ("[]", counts.json()["findings"].dump());
    EXPECT_EQ("45.0", counts.json()["sensors"]["mag"]["median_norm"].dump().substr(0, 4));
}
