// Any bytes as configuration backup and data backup: started with, used, saved and started with again.

#include "sandbox.h"
#include "storage/qvfile.h"
#include "storage/qvstorage.h"
#include "use.h"

// How an input describes its two files. In front, so that a mutation finds it.
enum options : std::uint8_t
{
    CONFIGURATION_AS_SAVED = 1, // else from the input; only a matching one lets the data backup in
    FRAME_CONFIGURATION = 2,    // the bytes are the payload, else the whole file
    FRAME_DATA = 4,
};

static std::string framed(std::string payload, std::size_t size)
{
    payload.resize(size);
    const double version = QVSTORAGE_VERSION;
    const std::string bytes(reinterpret_cast<const char *>(&version), sizeof version);
    return QVFILE_HEAD_MARK + bytes + payload + bytes + QVFILE_TAIL_MARK;
}

static std::string take_file(input &in, bool frame, std::size_t payload)
{
    return frame ? framed(in.text(payload), payload) : in.text(in.raw<std::uint16_t>());
}

static std::string configuration_as_saved()
{
    start();
    qvalgo_term();
    std::string saved = sandbox::files[CONFIGURATION_BACKUP];
    sandbox::reset();
    return saved;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    sandbox::reset();
    input in(bytes, size);
    const std::uint8_t options = in.byte();
    const std::string configuration = (options & CONFIGURATION_AS_SAVED) != 0
                                          ? configuration_as_saved()
                                          : take_file(in, (options & FRAME_CONFIGURATION) != 0, sizeof(qvstorage_cfg));
    sandbox::files[CONFIGURATION_BACKUP] = configuration;
    sandbox::files[DATA_BACKUP] = take_file(in, (options & FRAME_DATA) != 0, sizeof(qvstorage_bak));

    start();
    qvalgo_disp_cfg();
    while (!in.empty())
    {
        const qvs_sample acc = take_sample(in), gyro = take_sample(in), mag = take_sample(in);
        feed(acc, gyro, mag);
    }
    turn(60, {0, 200.0F, -300.0F, 100.0F, 0}, 320.0F);
    qvalgo_term();

    sandbox::logged("");
    start();
    sandbox::claim(sandbox::logged("LOAD_DAT_BAK [O]"), "what the library saved, it loads");
    turn(5, {0, 200.0F, -300.0F, 100.0F, 0}, 320.0F);
    qvalgo_term();
    return 0;
}
