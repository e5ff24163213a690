#include "algo/qvalgo.h"

#include "platform/log.h"
#include "storage/qvstorage_object.h"

int32_t qvalgo_config_debug(int32_t en)
{
    QVLOG("[INFO] %s : en=%d\n", __func__, en);
    return qvstorage_setup_debug(&qvstorage_object, en);
}

static const char *shown(const char *path)
{
    return path != nullptr ? path : "(null)";
}

int32_t qvalgo_config_path(const char *custcfg, const char *cfgbak, const char *datbak)
{
    QVLOG("[INFO] %s : custcfg=%s cfgbak=%s datbak=%s\n", __func__, shown(custcfg), shown(cfgbak), shown(datbak));
    return qvstorage_setup_env_path(&qvstorage_object, custcfg, cfgbak, datbak);
}

int32_t qvalgo_config_softiron(const double matrix[3][3])
{
    for (int32_t i = 0; i < 3; ++i)
        for (int32_t j = 0; j < 3; ++j)
            QVLOG("[INFO] %s : mtx[%d][%d]=%f\n", __func__, i, j, matrix[i][j]);
    return qvstorage_setup_env_simtx(&qvstorage_object, matrix);
}

int32_t qvalgo_config_accthr(double accthr, double aweight)
{
    QVLOG("[INFO] %s : accthr=%f aweight=%f\n", __func__, accthr, aweight);
    return qvstorage_setup_env_accthr(&qvstorage_object, accthr, aweight);
}

int32_t qvalgo_config_gyrthr(double gyrthr)
{
    QVLOG("[INFO] %s : gyrthr=%f\n", __func__, gyrthr);
    return qvstorage_setup_env_gyrthr(&qvstorage_object, gyrthr);
}

int32_t qvalgo_config_accuracy(const double range[3], int32_t policy_mask)
{
    QVLOG("[INFO] %s : range[2]=%f range[1]=%f range[0]=%f policy_mask=%d\n", __func__, range[2], range[1], range[0],
          policy_mask);
    return qvstorage_setup_hcal_accuracy(&qvstorage_object, range, policy_mask);
}

int32_t qvalgo_config_calibration1(double stdevmin, double stdevmax, double senrate, double sendiffmin,
                                   double sendiffmax)
{
    QVLOG("[INFO] %s : stdevmin=%f stdevmax=%f senrate=%f sendiffmin=%f sendiffmax=%f\n", __func__, stdevmin, stdevmax,
          senrate, sendiffmin, sendiffmax);
    return qvstorage_setup_hcal_calibration1(&qvstorage_object, stdevmin, stdevmax, senrate, sendiffmin, sendiffmax);
}

int32_t qvalgo_config_calibration2(int32_t rbsize, int32_t rdummy, int32_t readycnt)
{
    QVLOG("[INFO] %s : rbsize=%d rdummy=%d readycnt=%d\n", __func__, rbsize, rdummy, readycnt);
    return qvstorage_setup_hcal_calibration2(&qvstorage_object, rbsize, rdummy, readycnt);
}

int32_t qvalgo_config_calibration3(double w, double rstdev, double enhthr)
{
    QVLOG("[INFO] %s : w=%f rstdev=%f enhthr=%f\n", __func__, w, rstdev, enhthr);
    return qvstorage_setup_hcal_calibration3(&qvstorage_object, w, rstdev, enhthr);
}

int32_t qvalgo_config_clearradius(double radius)
{
    QVLOG("[INFO] %s : clear radius=%f\n", __func__, radius);
    return qvstorage_setup_hcal_clearradius(&qvstorage_object, radius);
}

int32_t qvalgo_config_hcal_status(const double offset[3], double radius, int32_t status)
{
    return qvstorage_setup_hcal_status(&qvstorage_object, offset, radius, status);
}
