#include "storage/qvstorage_keys.h"

#include <cstring>

constexpr customer_key CUSTOMER_KEYS[CUSTOMER_KEY_COUNT] = {
#define FIELD(field, kind, unit, meaning)
#define KEY(field, kind, compared, unit, meaning) {#field, offsetof(qvstorage_cfg, field), key_kind::kind, compared},
#include "storage/qvstorage_keys.def"
#undef KEY
#undef FIELD
};
static_assert(CUSTOMER_KEYS[CUSTOMER_KEY_COUNT - 1].name != nullptr, "the list is as long as it says");

const customer_key *find_customer_key(const char *name)
{
    for (const customer_key &key : CUSTOMER_KEYS)
        if (std::strcmp(key.name, name) == 0)
            return &key;
    return nullptr;
}
