// Any bytes as a record file that a person looks at. The first byte is the type that the person names, if any.

#include "common/text.h"
#include "files/record_file.h"
#include "foreign.h"

#include <nlohmann/json.hpp>

using namespace qv6d;

static void look(const record_file &file)
{
    claim(file.intact == file.damage.empty());
    claim(!file.intact || file.record.size() == record_size(file.type));
    claim_shown(file.damage);
    for (const std::string &note : file.notes)
        claim_shown(note);
    for (const record_field &field : record_fields(file.type))
    {
        if (!file.has(field))
            continue;
        claim_shown(value_text(field, file.view()));
        claim_shown(value_words(field, file.view()));
        claim(!json_text(value_json(field, file.view())).empty());
        claim(same_value(field, file.view(), file.view()));
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    if (size == 0)
        return 0;
    constexpr std::optional<record_type> types[] = {std::nullopt, record_type::configuration, record_type::data};
    const std::string file(bytes + 1, bytes + size);
    read_or_refuse([&] { look(read_record_file(foreign_file(file), types[*bytes % std::size(types)])); });
    return 0;
}
