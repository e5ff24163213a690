/* A host of the library, built in several ways by host_test.sh. It feeds a few samples and looks at what the exported
 * variables say, at its own variables of the same names, and at a second copy of the library.
 *   host [LIBRARY]  that file is loaded as well, or alone when the host is not linked with the library
 *   host comma      starts the library in a process whose numbers have a decimal comma */
#ifdef OWN_VARIABLES /* whose names the library has too */
#define mag declared_mag
#define accel declared_accel
#define algo_out_hcal declared_algo_out_hcal
#endif
#include "algo/qvalgo.h"
#undef mag
#undef accel
#undef algo_out_hcal

#include <dlfcn.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXPECT(condition) ((condition) ? (void)0 : (printf("%s:%d: %s\n", __FILE__, __LINE__, #condition), exit(1)))

static void feed(const qvs_interface *library, float counts)
{
    const qvs_sample acc = {1, 0.5f, 1.0f, 9.7f, 0}, field = {1000000000, counts, 200.0f, -250.0f, 0};
    qvs_calibration result;
    library->initLib();
    library->caliApiSetAccData(&acc);
    library->doCaliApi(&field, &result);
    library->caliApiSetMagData(&field);
    qvs_output orientation = {0};
    library->getOrientation(&orientation);
    EXPECT(result.timestamp == field.timestamp && orientation.timestamp == field.timestamp);
}

__attribute__((unused)) static const qvs_interface *loaded(void **handle, const char *path)
{
    *handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    EXPECT(*handle != NULL);
    return dlsym(*handle, "MAG_LIB_API_INTERFACE");
}

static double field_of(void *handle)
{
    return ((const double *)dlsym(handle, "mag"))[0];
}

#ifdef OWN_VARIABLES
int mag = 7, limits[5] = {1, 2, 3, 4, 5};
struct
{
    char text[8];
} accel = {"mine"};
float algo_out_hcal[24] = {42.0f};

static void expect_own_untouched(void)
{
    EXPECT(mag == 7 && limits[0] == 1 && limits[4] == 5 && strcmp(accel.text, "mine") == 0);
    EXPECT(algo_out_hcal[0] == 42.0f && algo_out_hcal[8] == 0.0f && algo_out_hcal[23] == 0.0f);
}
#elif defined(OTHERS_VARIABLES) /* of a library that is linked before */
static void expect_own_untouched(void)
{
    EXPECT(mag[0] == 1.0 && mag[1] == 2.0 && mag[2] == 3.0);
}
#else
static void expect_own_untouched(void)
{
}
#endif

#ifdef BY_NAME
__attribute__((unused)) static void expect_by_name(float counts)
{
    const float field = counts * QV6D_MICROTESLA_PER_COUNT;
    EXPECT(mag[0] == field && accel[2] == (double)9.7f);
    EXPECT(accRawDataReady == 1 && magDataIn.x == counts && accDataIn.timestamp == 1);
    EXPECT(algo_out_hcal.compensated[0] == mag[0] && algo_out_fusion.valid == 1);
    qvs_output orientation;
    MAG_LIB_API_INTERFACE.getOrientation(&orientation);
    EXPECT(qvOrientation.x == orientation.x && qvOrientation.timestamp == 1000000000);
}

/* An operation may be handed a variable: what it writes there stays. */
static void expect_kept_by_name(void)
{
    const qvcrd_vec3 field = {20.0, 30.0, 40.0};
    qvalgo_update_hcal(&algo_out_hcal, field);
    const qvs_sample rate = {2, 0.0f, 0.0f, 0.0f, 0};
    QVS_caliApiSetGyroData(&rate);
    EXPECT(algo_out_hcal.compensated[0] == field.x);
}
#else
__attribute__((unused)) static void expect_by_name(float counts)
{
    (void)counts;
}
__attribute__((unused)) static void expect_kept_by_name(void)
{
}
#endif

#ifdef LINKED
/* What the library logs then, host_test.sh looks at. */
static void start_with_a_decimal_comma(void)
{
    EXPECT(setlocale(LC_ALL, "de_DE.UTF-8") != NULL && strcmp(localeconv()->decimal_point, ",") == 0);
    qvalgo_config_path("customer.cfg", "cfgbak", "datbak");
    qvalgo_config_debug(1);
    EXPECT(qvalgo_init() == 0);
    EXPECT(strcmp(localeconv()->decimal_point, ",") == 0 && strtod("0,5", NULL) == 0.5);
}
#endif

int main(int argc, char **argv)
{
#ifdef LINKED
    if (argc > 1 && strcmp(argv[1], "comma") == 0)
    {
        start_with_a_decimal_comma();
        return 0;
    }
#endif
    void *other = NULL;
    const qvs_interface *second = argc > 1 ? loaded(&other, argv[1]) : NULL;
#ifdef LINKED
    feed(&MAG_LIB_API_INTERFACE, 100.0f);
    expect_by_name(100.0f);
#endif
    if (second != NULL)
    {
        feed(second, 300.0f);
        EXPECT(field_of(other) == (double)(300.0f * QV6D_MICROTESLA_PER_COUNT));
    }
#ifdef LINKED
    expect_by_name(100.0f); /* what another copy does is not seen here */
    feed(&MAG_LIB_API_INTERFACE, 150.0f);
    expect_by_name(150.0f);
    expect_kept_by_name();
#endif
    expect_own_untouched();
    return 0;
}
