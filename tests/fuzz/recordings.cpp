// Any bytes as what a phone app wrote: one file under a name that says what is in it, a folder of files, a zip file.
// Every event that comes out is in the order of time and is judged.

#include "foreign.h"
#include "input.h"
#include "recordings/plausibility.h"
#include "recordings/recording.h"

#include <memory>
#include <nlohmann/json.hpp>

using namespace qv6d;

namespace
{

class bytes_in_memory : public byte_source
{
public:
    bytes_in_memory(std::string bytes, std::string name) : bytes_(std::move(bytes)), name_(std::move(name))
    {
    }

    std::size_t read(char *to, std::size_t size) override
    {
        const std::size_t count = std::min(size, bytes_.size() - taken_);
        std::memcpy(to, bytes_.data() + taken_, count);
        taken_ += count;
        return count;
    }

    const std::string &name() const override
    {
        return name_;
    }

private:
    std::string bytes_, name_;
    std::size_t taken_ = 0;
};

class folder_in_memory : public container
{
public:
    void add(const std::string &name, const std::string &bytes)
    {
        names_.push_back(name);
        files_.push_back(bytes);
    }

    const std::vector<std::string> &names() const override
    {
        return names_;
    }

    std::unique_ptr<line_reader> open(std::size_t index) const override
    {
        return std::make_unique<line_reader>(std::make_unique<bytes_in_memory>(files_[index], names_[index]), 0);
    }

private:
    std::vector<std::string> names_, files_;
};

constexpr const char *NAMES[] = {"MagnetometerUncalibrated.csv",
                                 "AccelerometerUncalibrated.csv",
                                 "Gyroscope.csv",
                                 "Accelerometer.csv",
                                 "Gravity.csv",
                                 "Metadata.csv",
                                 "TotalAcceleration.csv",
                                 "magnetometer.txt",
                                 "accelerometer.txt",
                                 "gnss_log.txt",
                                 "log.csv",
                                 "Magnetometer.csv"};

constexpr const char *COLUMNS[] = {"", "", "", "t,mx,my,mz", "t=time,mx=x,my=y,mz=z", "-,ax,ay,az,t"};

reading_options options_of(std::uint8_t choice)
{
    reading_options options;
    options.columns = COLUMNS[choice % std::size(COLUMNS)];
    options.time_unit = choice & 8 ? "ms" : "";
    options.delimiter = choice & 16 ? "semicolon" : "";
    if (choice & 32)
        options.units = {"mt", "g", "opposite"};
    return options;
}

void read_all(recording *events)
{
    plausibility input;
    input.open(events->origin());
    std::int64_t last = INT64_MIN;
    for (event e; events->next(&e);)
    {
        claim(e.t_ns >= last);
        claim(events->source().line() > 0);
        last = e.t_ns;
        input.add(e, events->source().line());
    }
    input.close(events->source().remarks());
    claim_shown(input.text());
    claim(!input.json().dump().empty());
}

std::unique_ptr<line_reader> lines_of(std::string bytes, const std::string &name, bool packed)
{
    std::unique_ptr<byte_source> source = std::make_unique<bytes_in_memory>(std::move(bytes), name);
    if (packed)
        source = unpack_gzip(std::move(source));
    return std::make_unique<line_reader>(std::move(source), 0);
}

void read_as(std::uint8_t kind, const reading_options &options, input *in, const std::uint8_t *bytes, std::size_t size)
{
    if (kind % 4 == 0)
    {
        const auto files = open_zip("a.zip", bytes, size);
        recording events(*files, "a.zip", options);
        return read_all(&events);
    }
    if (kind % 4 == 1)
    {
        folder_in_memory files;
        while (!in->empty())
        {
            const std::size_t name = in->byte() % std::size(NAMES), length = in->raw<std::uint16_t>();
            files.add(NAMES[name], in->text(length));
        }
        recording events(files, "folder", options);
        return read_all(&events);
    }
    const std::string name = NAMES[in->byte() % std::size(NAMES)];
    recording events(lines_of(in->text(size), name, kind % 8 == 3), name, options);
    read_all(&events);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    constexpr std::size_t head = 2;
    input in(bytes, size);
    const std::uint8_t kind = in.byte(), choice = in.byte();
    read_or_refuse(
        [&] { read_as(kind, options_of(choice), &in, bytes + std::min(head, size), size - std::min(head, size)); });
    return 0;
}
