// The state on disk: one file, whole or not at all, with the one before kept beside it.
#pragma once

#include "qv6ds_trust.h"
#include "storage/qvstorage.h"

#include <cstdint>

// What a restart resumes from. Plain bytes; the head tells another version or a damaged file.
struct qv6ds_kept
{
    qvstorage_cfg cfg;
    qvstorage_bak bak;
    qv6ds_sphere samples;
    qv6ds_fit fit;
    double noise; // microtesla
};

// False with *kept as it was when neither the file nor the one before it is whole.
bool qv6ds_store_load(const char *directory, qv6ds_kept *kept);

// A temporary file, synced, renamed over the old one, which is kept under another name. Returns 0, or errno of the step
// that failed, with what was there before still there.
int qv6ds_store_save(const char *directory, const qv6ds_kept &kept);
