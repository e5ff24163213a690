// What a service is started with: whether it has a meaning, and what the other parts read of it.
#pragma once

#include "qv6ds_vector.h"
#include "qv6dservice.h"

struct qvenv_cfg;

bool qv6ds_settings_valid(const qv6ds_settings &settings);

// Row by row as given.
qv6ds_math::matrix qv6ds_settings_matrix(const float rows[3][3]);

// Soft iron by the settings, and after that by the customer file, whose matrix a row vector is multiplied by. False and
// that of the settings alone when the file's has no meaning.
bool qv6ds_settings_soft_iron(const qv6ds_settings &settings, const qvenv_cfg &env, qv6ds_math::matrix *both);
