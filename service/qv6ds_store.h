// The state on disk: one file, whole or not at all, with the one before kept beside it.
#pragma once

#include "qv6ds_sphere.h"
#include "storage/qvstorage.h"

#include <cstdint>

// What a restart resumes from. Plain bytes; the head tells another version or a damaged file.
struct qv6ds_kept
{
    qvstorage_cfg cfg;
    qvstorage_bak bak;
    qv6ds_sphere samples;
    double noise;                        // microtesla
    qv6ds_math::matrix mount, soft_iron; // of the fields, under which it was learnt
};

// False with *kept as it was when neither the file nor the one before it is whole and sound.
bool qv6ds_store_load(const char *directory, qv6ds_kept *kept);

// A temporary file, synced and renamed; the old one, if it is whole, is renamed before, and loaded as long as there is
// no other. Returns 0, or errno of the step that failed, with what was there before still there.
int qv6ds_store_save(const char *directory, const qv6ds_kept &kept);
