#include "algo/qvalgo.h"

#include "platform/log.h"
#include "storage/qvstorage_object.h"

// The version as a number, which the banner shows.
static constexpr double VERSION = (10000 * QV6D_VERSION_MAJOR + QV6D_VERSION_MINOR) / 10000.0;
static_assert(QV6D_VERSION_MINOR >= 1000 && QV6D_VERSION_MINOR < 10000, "four digits after the point");

void qvalgo_disp_version(void)
{
    QVLOG(QVLOG_DASHES "\n");
    QVLOG("QV Algorithm Ver %f\n", VERSION);
    QVLOG_END();
}

int32_t qvalgo_init(void)
{
    qvalgo_disp_version();
    return qvstorage_init(&qvstorage_object);
}

void qvalgo_term(void)
{
    qvstorage_term(&qvstorage_object);
}

void qvalgo_disp_cfg(void)
{
    qvstorage_disp_cfg_on_init(&qvstorage_object);
}

void qvalgo_notify_data(int32_t type, const double data[3], double timestamp)
{
    qvenv_notify_data(&qvstorage_object.env, type, data, timestamp);
}
