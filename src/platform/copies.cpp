#include "platform/copies.h"

#ifdef __ANDROID__

// Programs are position-independent there, and the loader knows no copy relocation.
void find_copies(exported_variable *, size_t)
{
}

#else

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
                dynamic_ = reinterpret_cast<const dynamic_entry *>(info.dlpi_addr + info.dlpi_phdr[k].p_vaddr);
        names_ = table<char>(DT_STRTAB);
    }

    bool holds(const void *address) const
    {
        const auto at = reinterpret_cast<std::uintptr_t>(address) - info_.dlpi_addr;
        for (int k = 0; k < info_.dlpi_phnum; ++k)
            if (const segment_header &segment = info_.dlpi_phdr[k];
                segment.p_type == PT_LOAD && at - segment.p_vaddr < segment.p_memsz)
                return true;
        return false;
    }

    // Null without one, as in a program.
    const char *soname() const
    {
        const dynamic_entry *entry = find(DT_SONAME);
        return entry != nullptr && names_ != nullptr ? names_ + entry->d_un.d_val : nullptr;
    }

    bool needs(const char *library) const
    {
        for (const dynamic_entry *entry = dynamic_; entry != nullptr && entry->d_tag != DT_NULL; ++entry)
            if (entry->d_tag == DT_NEEDED && std::strcmp(names_ + entry->d_un.d_val, library) == 0)
                return true;
        return false;
    }

    void find_copies(exported_variable *variables, std::size_t n) const
    {
        find_copies<ElfW(Rela)>(DT_RELA, DT_RELASZ, variables, n);
        find_copies<ElfW(Rel)>(DT_REL, DT_RELSZ, variables, n);
    }

private:
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
        return reinterpret_cast<const T *>(at < info_.dlpi_addr ? info_.dlpi_addr + at : at);
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
                v->copy = reinterpret_cast<void *>(info_.dlpi_addr + offset);
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
    const char *soname;        // of the library that asks
    bool program_seen, needed; // the program comes first; whether it names the library
};

int note_soname(dl_phdr_info *info, size_t, void *data)
{
    auto *asked = static_cast<search *>(data);
    const mapped_object object(*info);
    if (!object.holds(asked->variables[0].address))
        return 0;
    asked->soname = object.soname();
    return 1;
}

// Two files of one soname can be loaded. The program's copies belong to the first one.
int look_until_found(dl_phdr_info *info, size_t, void *data)
{
    auto *asked = static_cast<search *>(data);
    const mapped_object object(*info);
    if (!asked->program_seen)
    {
        asked->program_seen = true;
        asked->needed = object.needs(asked->soname);
        if (asked->needed)
            object.find_copies(asked->variables, asked->n);
        return asked->needed ? 0 : 1;
    }
    const char *soname = object.soname();
    if (soname == nullptr || std::strcmp(soname, asked->soname) != 0)
        return 0;
    if (!object.holds(asked->variables[0].address))
        for (std::size_t k = 0; k < asked->n; ++k)
            asked->variables[k].copy = nullptr;
    return 1;
}

} // namespace

void find_copies(exported_variable *variables, std::size_t n)
{
    search asked = {variables, n, nullptr, false, false};
    dl_iterate_phdr(note_soname, &asked);
    if (asked.soname != nullptr) // a static library has none: its variables are the program's
        dl_iterate_phdr(look_until_found, &asked);
}

#endif
