#include "platform/copies.h"

#ifdef __ANDROID__

// Programs are position-independent there, and the loader knows no copy relocation.
void find_copies(exported_variable *, size_t)
{
}

#else

#include <bit>
#include <cstdint>
#include <cstring>
#include <elf.h>
#include <link.h>

namespace
{

#if defined(__x86_64__)
constexpr unsigned COPY_RELOCATION = R_X86_64_COPY;
#elif defined(__i386__)
constexpr unsigned COPY_RELOCATION = R_386_COPY;
#elif defined(__aarch64__)
constexpr unsigned COPY_RELOCATION = R_AARCH64_COPY;
#elif defined(__arm__)
constexpr unsigned COPY_RELOCATION = R_ARM_COPY;
#elif defined(__riscv)
constexpr unsigned COPY_RELOCATION = R_RISCV_COPY;
#elif defined(__powerpc64__)
constexpr unsigned COPY_RELOCATION = R_PPC64_COPY;
#elif defined(__loongarch__)
constexpr unsigned COPY_RELOCATION = R_LARCH_COPY;
#else
#error "name this processor's copy relocation, or hosts that link the library read stale variables"
#endif

using dynamic_entry = ElfW(Dyn);
using symbol_entry = ElfW(Sym);
using segment_header = ElfW(Phdr);
using address_value = ElfW(Addr);

// An object that the loader has mapped: the program or a shared library.
class mapped_object
{
public:
    explicit mapped_object(const dl_phdr_info &info) : info_(info)
    {
        for (int k = 0; k < info.dlpi_phnum; ++k)
            if (info.dlpi_phdr[k].p_type == PT_DYNAMIC)
                dynamic_ = std::bit_cast<const dynamic_entry *>(info.dlpi_addr + info.dlpi_phdr[k].p_vaddr);
        names_ = table<char>(DT_STRTAB);
    }

    bool holds(const void *address) const
    {
        return holds(reinterpret_cast<address_value>(address));
    }

    // As the loader finds it.
    bool defines(const char *name) const
    {
        const auto *symbols = table<symbol_entry>(DT_SYMTAB);
        if (symbols == nullptr || names_ == nullptr)
            return false;
        if (const auto *hash = table<std::uint32_t>(DT_GNU_HASH))
            return hash[0] != 0 && is_in_chain(hash, symbols, name);
        if (const auto *hash = table<std::uint32_t>(DT_HASH))
            for (const symbol_entry *symbol = symbols; symbol < symbols + hash[1]; ++symbol)
                if (is_definition(*symbol, name))
                    return true;
        return false;
    }

    void find_copies(exported_variable *variables, std::size_t n) const
    {
        find_copies<ElfW(Rela)>(DT_RELA, DT_RELASZ, variables, n);
        find_copies<ElfW(Rel)>(DT_REL, DT_RELSZ, variables, n);
    }

private:
    bool holds(address_value address) const
    {
        const address_value at = address - info_.dlpi_addr;
        for (int k = 0; k < info_.dlpi_phnum; ++k)
            if (const segment_header &segment = info_.dlpi_phdr[k];
                segment.p_type == PT_LOAD && at - segment.p_vaddr < segment.p_memsz)
                return true;
        return false;
    }

    bool is_definition(const symbol_entry &symbol, const char *name) const
    {
        return symbol.st_shndx != SHN_UNDEF && std::strcmp(names_ + symbol.st_name, name) == 0;
    }

    // The table's words: number of buckets, first symbol, words of the filter, its shift; the filter; for each bucket
    // its first symbol; for each symbol its hash, with the lowest bit set at the end of a bucket.
    bool is_in_chain(const std::uint32_t *table, const symbol_entry *symbols, const char *name) const
    {
        std::uint32_t hash = 5381;
        for (const char *c = name; *c != '\0'; ++c)
            hash = hash * 33 + static_cast<unsigned char>(*c);
        const std::uint32_t *buckets = table + 4 + table[2] * (sizeof(address_value) / sizeof *table);
        const std::uint32_t *hashes = buckets + table[0], first = table[1];
        for (std::uint32_t k = buckets[hash % table[0]]; k >= first; ++k)
        {
            const std::uint32_t stored = hashes[k - first];
            if ((stored | 1) == (hash | 1) && is_definition(symbols[k], name))
                return true;
            if ((stored & 1) != 0)
                return false;
        }
        return false;
    }

    const dynamic_entry *find(std::int64_t tag) const
    {
        for (const dynamic_entry *entry = dynamic_; entry != nullptr && entry->d_tag != DT_NULL; ++entry)
            if (entry->d_tag == tag)
                return entry;
        return nullptr;
    }

    // Loaders differ in whether they turn the offset of a table into its address.
    template <typename T>
    const T *table(std::int64_t tag) const
    {
        const dynamic_entry *entry = find(tag);
        if (entry == nullptr)
            return nullptr;
        const address_value at = entry->d_un.d_ptr;
        return std::bit_cast<const T *>(holds(at) ? at : info_.dlpi_addr + at);
    }

    template <typename T>
    void find_copies(std::int64_t relocations, std::int64_t bytes, exported_variable *variables, std::size_t n) const
    {
        const T *relocation = table<T>(relocations);
        const auto *symbols = table<symbol_entry>(DT_SYMTAB);
        const dynamic_entry *size = find(bytes);
        if (relocation == nullptr || symbols == nullptr || size == nullptr)
            return;
        for (const T *end = relocation + size->d_un.d_val / sizeof(T); relocation < end; ++relocation)
            if (const auto info = relocation->r_info; type_of(info) == COPY_RELOCATION)
                take(symbols[symbol_of(info)], relocation->r_offset, variables, n);
    }

    void take(const symbol_entry &symbol, address_value offset, exported_variable *variables, std::size_t n) const
    {
        for (exported_variable *v = variables; v < variables + n; ++v)
            if (symbol.st_size == v->size && std::strcmp(names_ + symbol.st_name, v->name) == 0)
                v->copy = std::bit_cast<void *>(info_.dlpi_addr + offset);
    }

    static unsigned type_of(std::uint64_t info)
    {
        return static_cast<unsigned>(sizeof(void *) == 8 ? ELF64_R_TYPE(info) : ELF32_R_TYPE(info));
    }

    static std::size_t symbol_of(std::uint64_t info)
    {
        return static_cast<std::size_t>(sizeof(void *) == 8 ? ELF64_R_SYM(info) : ELF32_R_SYM(info));
    }

    const dl_phdr_info &info_;
    const dynamic_entry *dynamic_ = nullptr;
    const char *names_ = nullptr;
};

struct search
{
    exported_variable *variables;
    std::size_t n;
    bool program_seen; // it comes first
};

// The loader fills a copy from the first library that defines its name: that need not be this one.
int look_until_library(dl_phdr_info *info, size_t, void *data)
{
    auto *asked = static_cast<search *>(data);
    const mapped_object object(*info);
    if (object.holds(asked->variables[0].address))
        return 1;
    if (!asked->program_seen)
        object.find_copies(asked->variables, asked->n);
    else
        for (exported_variable *v = asked->variables; v < asked->variables + asked->n; ++v)
            if (v->copy != nullptr && object.defines(v->name))
                v->copy = nullptr;
    asked->program_seen = true;
    return 0;
}

} // namespace

void find_copies(exported_variable *variables, std::size_t n)
{
    search asked = {variables, n, false};
    if (dl_iterate_phdr(look_until_library, &asked) == 0) // the library was not among them
        for (exported_variable *v = variables; v < variables + n; ++v)
            v->copy = nullptr;
}

#endif
