/* Every installed header is C11 too; the public ones come first, so that they lean on nothing. */
#include "qv6dalgo.h"
#include "qv6dservice.h"

#include "algo/qvalgo.h"
#include "env/qvenv.h"
#include "fusion/convm.h"
#include "fusion/qvfusion.h"
#include "hcal/qvhcal.h"
#include "math/qvcrd.h"
#include "math/qvmaf.h"
#include "math/qvmtx.h"
#include "motion/qvmotion.h"
#include "rlsm/qvrlsm.h"
#include "storage/qvfile.h"
#include "storage/qvstorage.h"

/* A service in C sees the records with the same size. */
static_assert(sizeof(qvs_sample) == 24 && sizeof(qvs_output) == 40 && sizeof(qvs_calibration) == 40,
              "boundary records");
static_assert(sizeof(qvalgo_hcal_out) == 96 && sizeof(qvalgo_fusion_out) == 272, "exported records");
