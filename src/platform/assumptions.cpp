// What the record layouts and the arithmetic take for granted; a platform that differs fails here, not in the field.

#include <bit>
#include <climits>
#include <cstdint>
#include <limits>

static_assert(std::endian::native == std::endian::little, "record files are little-endian and stored as they lie");
static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == 8, "results are defined for binary64");
static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == 4, "boundary records hold binary32");
static_assert(sizeof(int) == 4 && INT_MAX == INT32_MAX, "%d prints an int32_t");

#if defined(__FAST_MATH__) || (defined(__FLT_EVAL_METHOD__) && __FLT_EVAL_METHOD__ != 0)
#error "results are compared bit for bit: no fast-math, no extended intermediate precision"
#endif
