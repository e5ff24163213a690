// Entry points and driver operations in any order with any arguments, initialisation and termination anywhere.

#include "algo/qvalgo.h"
#include "sandbox.h"

#include <array>
#include <cmath>

using namespace sandbox;

// Arguments are taken before a call: the order in which a call's arguments are evaluated is the compiler's.
static std::array<double, 9> take_reals(input &in)
{
    std::array<double, 9> reals;
    for (double &value : reals)
        value = in.real<double>();
    return reals;
}

static void set_paths(input &in)
{
    const std::string custcfg = in.text(in.byte() % 80), cfgbak = in.text(in.byte() % 80);
    const std::string datbak = in.text(in.byte() % 80);
    const std::uint8_t absent = in.byte();
    qvalgo_config_path((absent & 1) != 0 ? nullptr : custcfg.c_str(), (absent & 2) != 0 ? nullptr : cfgbak.c_str(),
                       (absent & 4) != 0 ? nullptr : datbak.c_str());
}

static void set_softiron(input &in)
{
    const auto r = take_reals(in);
    const double matrix[3][3] = {{r[0], r[1], r[2]}, {r[3], r[4], r[5]}, {r[6], r[7], r[8]}};
    qvalgo_config_softiron(matrix);
}

static void set_motion(input &in)
{
    const auto r = take_reals(in);
    qvalgo_config_accthr(r[0], r[1]);
    qvalgo_config_gyrthr(r[2]);
    qvalgo_config_clearradius(r[3]);
}

static void change_offset(input &in)
{
    const float offset[3] = {in.real<float>(), in.real<float>(), in.real<float>()};
    float now[3];
    QVS_caliApiSetOffset(offset);
    QVS_caliApiGetOffset(now);
    for (int axis = 0; axis < 3; ++axis)
        claim(now[axis] == offset[axis] || std::isnan(offset[axis]), "an offset reads back as it was set");
}

static void step_directly(input &in)
{
    const auto r = take_reals(in);
    qvalgo_update_hcal(&algo_out_hcal, {r[0], r[1], r[2]});
    qvalgo_update_fusion(&algo_out_fusion, {r[3], r[4], r[5]}, {r[0], r[1], r[2]}, r[6]);
}

static void turn_around(input &in)
{
    const std::uint8_t samples = in.byte();
    const qvs_sample centre = take_sample(in);
    turn(samples, centre, in.real<float>());
}

// The library's own files are damaged between its runs.
static void damage_file(input &in)
{
    if (files.empty())
        return;
    std::string &content = std::next(files.begin(), in.byte() % static_cast<int>(files.size()))->second;
    const auto at = in.raw<std::uint16_t>();
    if (at < content.size())
        content[at] = static_cast<char>(in.byte());
    else
        content.resize(content.size() / 2);
}

static void limit_files(input &in)
{
    const auto limit = in.raw<std::uint16_t>();
    size_limit = limit < 600 ? limit : NO_LIMIT;
}

using operation = void (*)(input &);

// By position in this list an input names its calls; a new one goes to the end, so that kept inputs keep their meaning.
static constexpr operation OPERATIONS[] = {
    [](input &) { start(); },
    [](input &) { QVS_initLib(); },
    [](input &) { qvalgo_init(); },
    [](input &) { qvalgo_term(); },
    [](input &in) { feed(in); },
    turn_around,
    [](input &in) { feed(in, in.byte()); },
    step_directly,
    [](input &in)
    {
        const std::int32_t type = in.integer();
        const auto r = take_reals(in);
        qvalgo_notify_data(type, r.data(), r[3]);
    },
    change_offset,
    set_paths,
    [](input &in)
    {
        const std::int32_t size = in.integer(), discarded = in.integer(), ready = in.integer();
        qvalgo_config_calibration2(size, discarded, ready);
    },
    set_softiron,
    [](input &in)
    {
        const auto r = take_reals(in);
        qvalgo_config_accuracy(r.data(), in.integer());
    },
    [](input &in)
    {
        const auto r = take_reals(in);
        qvalgo_config_calibration1(r[0], r[1], r[2], r[3], r[4]);
    },
    [](input &in)
    {
        const auto r = take_reals(in);
        qvalgo_config_calibration3(r[0], r[1], r[2]);
    },
    set_motion,
    [](input &in) { qvalgo_config_debug(in.integer()); },
    [](input &) { qvalgo_disp_cfg(); },
    [](input &) { qvalgo_disp_version(); },
    [](input &) { QVS_enableLib(); },
    damage_file,
    [](input &in) { files[CUSTOMER_FILE] = in.text(in.byte()); },
    limit_files,
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    reset();
    input in(bytes, size);
    while (!in.empty())
        OPERATIONS[in.byte() % std::size(OPERATIONS)](in);
    qvalgo_term();
    return 0;
}
