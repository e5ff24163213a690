/* Linkage, layout and platform assumptions shared by every module header. C11 and C++20. */
#ifndef QV6D_PLATFORM_API_H
#define QV6D_PLATFORM_API_H

#include <assert.h>
#include <stdint.h>

/* Exported operation or datum: C linkage, under exactly the name written. */
#ifdef __cplusplus
#define QV_API extern "C" __attribute__((visibility("default")))
#else
#define QV_API extern __attribute__((visibility("default")))
#endif

/* A record whose bytes are a file format. Put on every nested record too: an inner record that is not packed keeps its
 * own alignment and would open a gap. Never take a pointer to a number in such a record. */
#define QV_PACKED __attribute__((packed))

#endif
