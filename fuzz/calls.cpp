// Entry points and driver operations in any order with any arguments, initialisation and termination anywhere.

#include "algo/qvalgo.h"
#include "sandbox.h"
#include "storage/qvfile.h"
#include "storage/qvstorage.h"
#include "use.h"

#include <cmath>

// An argument of one statement each: the order in which a call's arguments are evaluated is the compiler's.
struct reals
{
    explicit reals(input &in)
    {
        for (double &value : v)
            value = in.real<double>();
    }

    double v[9] = {};
};

static std::string take_path(input &in)
{
    const std::uint8_t length = in.byte();
    const std::string text = in.text(length % 80);
    return text.substr(0, text.find('\0'));
}

static void set_paths(input &in)
{
    const std::string custcfg = take_path(in), cfgbak = take_path(in), datbak = take_path(in);
    const std::uint8_t absent = in.byte();
    qvalgo_config_path((absent & 1) != 0 ? nullptr : custcfg.c_str(), (absent & 2) != 0 ? nullptr : cfgbak.c_str(),
                       (absent & 4) != 0 ? nullptr : datbak.c_str());
}

static void set_buffers(input &in)
{
    const std::int32_t size = in.integer(), discarded = in.integer(), ready = in.integer();
    qvalgo_config_calibration2(size, discarded, ready);
}

static void set_softiron(input &in)
{
    const reals r(in);
    const double matrix[3][3] = {{r.v[0], r.v[1], r.v[2]}, {r.v[3], r.v[4], r.v[5]}, {r.v[6], r.v[7], r.v[8]}};
    qvalgo_config_softiron(matrix);
}

static void set_accuracy(input &in)
{
    const reals r(in);
    qvalgo_config_accuracy(r.v, in.integer());
}

static void set_calibration1(input &in)
{
    const reals r(in);
    qvalgo_config_calibration1(r.v[0], r.v[1], r.v[2], r.v[3], r.v[4]);
}

static void set_calibration3(input &in)
{
    const reals r(in);
    qvalgo_config_calibration3(r.v[0], r.v[1], r.v[2]);
}

static void set_motion(input &in)
{
    const reals r(in);
    qvalgo_config_accthr(r.v[0], r.v[1]);
    qvalgo_config_gyrthr(r.v[2]);
    qvalgo_config_clearradius(r.v[3]);
}

static void change_offset(input &in)
{
    const float offset[3] = {in.real<float>(), in.real<float>(), in.real<float>()};
    float now[3];
    QVS_caliApiSetOffset(offset);
    QVS_caliApiGetOffset(now);
    for (int axis = 0; axis < 3; ++axis)
        sandbox::claim(now[axis] == offset[axis] || std::isnan(offset[axis]), "an offset reads back as it was set");
}

static void notify(input &in)
{
    const std::int32_t type = in.integer();
    const reals r(in);
    qvalgo_notify_data(type, r.v, r.v[3]);
}

static void take_samples(input &in)
{
    const qvs_sample acc = take_sample(in), gyro = take_sample(in), mag = take_sample(in);
    feed(acc, gyro, mag);
}

static void step_directly(input &in)
{
    const reals r(in);
    qvalgo_update_hcal(&algo_out_hcal, {r.v[0], r.v[1], r.v[2]});
    qvalgo_update_fusion(&algo_out_fusion, {r.v[3], r.v[4], r.v[5]}, {r.v[0], r.v[1], r.v[2]}, r.v[6]);
}

static void turn_around(input &in)
{
    const std::uint8_t samples = in.byte();
    const qvs_sample centre = take_sample(in);
    turn(samples, centre, in.real<float>());
}

static void lie_still(input &in)
{
    const std::uint8_t samples = in.byte();
    const qvs_sample acc = take_sample(in), gyro = take_sample(in), mag = take_sample(in);
    for (int k = 0; k < samples; ++k)
        feed(acc, gyro, mag);
}

// A whole file of the input's, sound frame or not: the library's own files are damaged between its runs.
static void damage_file(input &in)
{
    if (sandbox::files.empty())
        return;
    auto file = sandbox::files.begin();
    std::advance(file, in.byte() % sandbox::files.size());
    std::string &content = file->second;
    const auto at = in.raw<std::uint16_t>();
    if (at < content.size())
        content[at] = static_cast<char>(in.byte());
    else
        content.resize(content.size() / 2);
}

static void write_customer_file(input &in)
{
    const std::uint8_t length = in.byte();
    sandbox::files[CUSTOMER_FILE] = in.text(length);
}

static void limit_files(input &in)
{
    const auto limit = in.raw<std::uint16_t>();
    sandbox::size_limit = limit < 600 ? limit : sandbox::NO_LIMIT;
}

using operation = void (*)(input &);

// By position in this list an input names its calls; a new one goes to the end, so that kept inputs keep their meaning.
static constexpr operation OPERATIONS[] = {
    [](input &) { start(); },
    [](input &) { QVS_initLib(); },
    [](input &) { qvalgo_init(); },
    [](input &) { qvalgo_term(); },
    take_samples,
    turn_around,
    lie_still,
    step_directly,
    notify,
    change_offset,
    set_paths,
    set_buffers,
    set_softiron,
    set_accuracy,
    set_calibration1,
    set_calibration3,
    set_motion,
    [](input &in) { qvalgo_config_debug(in.integer()); },
    [](input &) { qvalgo_disp_cfg(); },
    [](input &) { qvalgo_disp_version(); },
    [](input &) { QVS_enableLib(); },
    damage_file,
    write_customer_file,
    limit_files,
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    sandbox::reset();
    input in(bytes, size);
    while (!in.empty())
        OPERATIONS[in.byte() % std::size(OPERATIONS)](in);
    qvalgo_term();
    return 0;
}
