// The door to the library: its calibration, run on samples of its own rate, without its files and its table.
#pragma once

#include "qv6ds_vector.h"
#include "storage/qvstorage.h"

#include <cstdint>

struct qv6ds_learner
{
    qvstorage storage; // configuration and the calibration's state
    int64_t period;    // ns between samples
    int64_t next;      // ns, time from which the next sample is taken
    bool any;
    bool validated; // the library validated an offset since it last started over
};

// Defaults, the settings of a service, and the customer file over them; null for none.
void qv6ds_learner_start(qv6ds_learner *learner, double learn_hz, const char *customer_file);

// Takes up what an earlier run learnt under the same configuration; false and nothing is changed under another one.
bool qv6ds_learner_resume(qv6ds_learner *learner, const qvstorage_cfg *cfg, const qvstorage_bak *bak);

// What a later run resumes from.
void qv6ds_learner_learnt(const qv6ds_learner *learner, qvstorage_cfg *cfg, qvstorage_bak *bak);

// True when the sample is one of those that are learnt from, by its time.
bool qv6ds_learner_takes(qv6ds_learner *learner, int64_t time_ns);

// One cycle of the library with a field in device axes, soft iron taken off.
void qv6ds_learner_learn(qv6ds_learner *learner, qv6ds_math::vec field);

// Starts the library over, as after a step of the offset.
void qv6ds_learner_restart(qv6ds_learner *learner);

// The offset that the library validated last.
qv6ds_math::vec qv6ds_learner_offset(const qv6ds_learner *learner);
