#include "library/configuration.h"

#include "api/qvs_start.h"
#include "storage/qvstorage_object.h"

namespace qv6d
{

qvstorage_cfg default_configuration()
{
    qvstorage storage = {};
    setup_default_cfg(&storage);
    return storage.cfg;
}

qvstorage_cfg start_configuration()
{
    const qvstorage in_use = qvstorage_object;
    qvstorage_object = {};
    qvs_configure(QV6D_INIT_CUSTCFG, QV6D_INIT_CFGBAK, QV6D_INIT_DATBAK);
    const qvstorage_cfg start = qvstorage_object.cfg;
    qvstorage_object = in_use;
    return start;
}

qvstorage_cfg explained_configuration()
{
    const qvstorage in_use = qvstorage_object;
    qvstorage_object = {};
    qvalgo_config_debug(1);
    qvs_configure(QV6D_INIT_CUSTCFG_NAME, QV6D_INIT_CFGBAK_NAME, QV6D_INIT_DATBAK_NAME);
    const qvstorage_cfg start = qvstorage_object.cfg;
    qvstorage_object = in_use;
    return start;
}

const qvstorage_cfg &configuration_in_force()
{
    return qvstorage_object.cfg;
}

std::array<double, 3> without_soft_iron(const std::array<double, 3> &field)
{
    const qvcrd_vec3 left = qvenv_compensate_softiron(&qvstorage_object.env, {field[0], field[1], field[2]});
    return {left.x, left.y, left.z};
}

} // namespace qv6d
