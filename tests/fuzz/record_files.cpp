// Any bytes as configuration backup and data backup: started with, used, saved and started with again.

#include "sandbox.h"
#include "storage/qvfile.h"
#include "storage/qvstorage.h"

using namespace sandbox;

// How an input describes its two files. In front, so that a mutation finds it.
enum options : std::uint8_t
{
    CONFIGURATION_AS_SAVED = 1, // else from the input; only a matching one lets the data backup in
    FRAME_CONFIGURATION = 2,    // the bytes are the payload, else the whole file
    FRAME_DATA = 4,
};

static std::string take_file(input &in, bool frame, std::size_t size)
{
    if (!frame)
        return in.text(in.raw<std::uint16_t>());
    std::string payload = in.text(size);
    payload.resize(size);
    const double version = QVSTORAGE_VERSION;
    const std::string bytes(reinterpret_cast<const char *>(&version), sizeof version);
    return QVFILE_HEAD_MARK + bytes + payload + bytes + QVFILE_TAIL_MARK;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    reset();
    input in(bytes, size);
    const std::uint8_t options = in.byte();
    if ((options & CONFIGURATION_AS_SAVED) != 0)
    {
        start();
        qvalgo_term();
        const std::string saved = files[CONFIGURATION_BACKUP];
        reset();
        files[CONFIGURATION_BACKUP] = saved;
    }
    else
        files[CONFIGURATION_BACKUP] = take_file(in, (options & FRAME_CONFIGURATION) != 0, sizeof(qvstorage_cfg));
    files[DATA_BACKUP] = take_file(in, (options & FRAME_DATA) != 0, sizeof(qvstorage_bak));

    start();
    qvalgo_disp_cfg();
    while (!in.empty())
        feed(in);
    turn(60);
    qvalgo_term();

    logged("");
    start();
    claim(logged("LOAD_DAT_BAK [O]"), "what the library saved, it loads");
    turn(5);
    qvalgo_term();
    return 0;
}
