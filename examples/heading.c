/* A program that is linked with the library and has settings and files of its own, in the folder that it is run in.
 *
 * Prints the orientation of a device that is held tilted.
 */

#include <qv6dalgo.h>

#include <stdio.h>

static const float COUNTS_PER_MICROTESLA = 1.0f / QV6D_MICROTESLA_PER_COUNT;

int main(void)
{
    qvalgo_config_path("heading.cfg", "heading.cfgbak", "heading.datbak");
    qvalgo_config_accthr(QV6D_INIT_ACCTHR, QV6D_INIT_AWEIGHT);
    if (qvalgo_init() != 0)
        fprintf(stderr, "heading.cfgbak cannot be written: the next start will begin from nothing\n");

    const qvs_sample acc = {1000000, 3.0f, -4.0f, 8.0f, 0};
    const qvs_sample mag = {1000000, 15.0f * COUNTS_PER_MICROTESLA, 30.0f * COUNTS_PER_MICROTESLA,
                            -45.0f * COUNTS_PER_MICROTESLA, 0};
    qvs_output orientation = {0};
    QVS_caliApiSetAccData(&acc);
    QVS_caliApiSetMagData(&mag);
    QVS_getOrientation(&orientation);
    printf("azimuth %.1f  pitch %.1f  roll %.1f\n", (double)orientation.x, (double)orientation.y,
           (double)orientation.z);

    qvalgo_term();
    return 0;
}
