#include "image.hpp"

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/mman.h>

namespace {

// The parts of <mach-o/loader.h> and <mach-o/nlist.h> that are needed, as the file holds them.
struct header {
    std::uint32_t magic, cpu, cpu_subtype, file_type, commands, commands_size, flags, reserved;
};
struct segment_command {
    std::uint32_t command, size;
    char name[16];
    std::uint64_t address, memory_size, offset, file_size;
    std::uint32_t max_protection, protection, sections, flags;
};
struct section {
    char name[16], segment[16];
    std::uint64_t address, size;
    std::uint32_t offset, align, relocations, relocation_count, flags, reserved[3];
};
struct fixups_command {
    std::uint32_t command, size, rebase, rebase_size, bind, bind_size, weak, weak_size, lazy,
        lazy_size, exports, exports_size;
};
struct symbols_command {
    std::uint32_t command, size, symbols, count, strings, strings_size;
};
struct symbol {
    std::uint32_t name;
    std::uint8_t type, section;
    std::uint16_t description;
    std::uint64_t value;
};

constexpr std::uint32_t magic_64 = 0xFEEDFACF, cpu_x86_64 = 0x01000007, type_library = 6;
constexpr std::uint32_t command_symbols = 0x2, command_segment = 0x19, command_fixups = 0x80000022;
constexpr std::uint32_t section_initialisers = 0x9;
constexpr std::uint8_t symbol_defined = 0xE, symbol_external = 1;

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what); }

template <class Type>
Type read(const char* from) {
    Type value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

// Calls `take` with every load command of that kind.
template <class Take>
void for_each(std::uint32_t kind, const std::string& file, Take take) {
    const char* command = file.data() + sizeof(header);
    for (std::uint32_t left = read<header>(file.data()).commands; left > 0; --left) {
        if (read<std::uint32_t>(command) == kind)
            take(command);
        command += read<std::uint32_t>(command + 4);
    }
}

// A program of opcodes that writes pointers into the library at a place that moves.
struct program {
    const char* at;
    const char* end;
    std::function<void(char*)> write_pointer;
    char* place = nullptr;

    std::uint8_t byte() {
        if (at == end)
            fail("the fixups are cut short");
        return static_cast<std::uint8_t>(*at++);
    }
    std::uint64_t number() {
        std::uint64_t value = 0;
        for (int shift = 0;; shift += 7) {
            const std::uint8_t next = byte();
            value |= static_cast<std::uint64_t>(next & 0x7F) << shift;
            if (next < 0x80)
                return value;
        }
    }
    std::string text() {
        std::string read;
        while (const char c = static_cast<char>(byte()))
            read += c;
        return read;
    }
    void write(std::uint64_t count, std::uint64_t skip = 0) {
        for (; count > 0; --count, place += 8 + skip)
            write_pointer(place);
    }
    void write_as_told() {
        const std::uint64_t count = number();
        write(count, number());
    }

    // The upper half of a byte is the operation, the lower half its operand.
    void run(const std::vector<std::function<void(unsigned)>>& operations) {
        while (at != end) {
            const unsigned next = byte();
            operations.at(next >> 4)(next & 15);
        }
    }
};

} // namespace

image::image(const char* path, const std::function<void*(const std::string&)>& import) {
    std::ifstream in(path, std::ios::binary);
    file_.assign(std::istreambuf_iterator<char>(in), {});
    const header head = file_.size() > sizeof head ? read<header>(file_.data()) : header{};
    if (head.magic != magic_64 || head.cpu != cpu_x86_64 || head.file_type != type_library)
        fail(std::string(path) + " is not a macOS library for x86-64");
    map();
    for_each(command_fixups, file_, [&](const char* command) {
        const auto fixups = read<fixups_command>(command);
        if (fixups.weak_size != 0)
            fail("weak bindings are not handled");
        rebase(fixups.rebase, fixups.rebase_size);
        bind(fixups.bind, fixups.bind_size, import);
        bind(fixups.lazy, fixups.lazy_size, import);
    });
    for_each(command_symbols, file_, [&](const char* command) {
        const auto symbols = read<symbols_command>(command);
        for (std::uint32_t i = 0; i < symbols.count; ++i) {
            const auto entry = read<symbol>(file_.data() + symbols.symbols + i * sizeof(symbol));
            if (entry.type == (symbol_defined | symbol_external))
                exports_[file_.data() + symbols.strings + entry.name] = base_ + entry.value;
        }
    });
}

image::~image() { munmap(base_, size_); }

void image::map() {
    for_each(command_segment, file_, [&](const char* command) {
        const auto segment = read<segment_command>(command);
        size_ = segment.address + segment.memory_size; // they come in order
    });
    void* memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE | PROT_EXEC,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        fail("no memory for the library");
    base_ = static_cast<char*>(memory);
    for_each(command_segment, file_, [&](const char* command) {
        const auto segment = read<segment_command>(command);
        segments_.push_back(base_ + segment.address);
        std::memcpy(segments_.back(), file_.data() + segment.offset, segment.file_size);
        for (std::uint32_t i = 0; i < segment.sections; ++i) {
            const auto here = read<section>(command + sizeof segment + i * sizeof(section));
            if ((here.flags & 0xFF) == section_initialisers)
                initialisers_.emplace_back(base_ + here.address, here.size);
        }
    });
}

// Pointers into the library itself.
void image::rebase(std::uint32_t offset, std::uint32_t size) const {
    program code{file_.data() + offset, file_.data() + offset + size, [this](char* at) {
                     *reinterpret_cast<char**>(at) += reinterpret_cast<std::uintptr_t>(base_);
                 }};
    code.run({
        [&](unsigned) { code.at = code.end; },
        [](unsigned) {}, // the type, always a pointer
        [&](unsigned segment) { code.place = segments_.at(segment) + code.number(); },
        [&](unsigned) { code.place += code.number(); },
        [&](unsigned pointers) { code.place += pointers * 8; },
        [&](unsigned count) { code.write(count); },
        [&](unsigned) { code.write(code.number()); },
        [&](unsigned) { code.write(1, code.number()); },
        [&](unsigned) { code.write_as_told(); },
    });
}

// Pointers to what is imported; those bound at a first call on macOS are bound here too.
void image::bind(std::uint32_t offset, std::uint32_t size,
                 const std::function<void*(const std::string&)>& import) const {
    std::string name;
    std::uint64_t addend = 0;
    program code{file_.data() + offset, file_.data() + offset + size, [&](char* at) {
                     *reinterpret_cast<char**>(at) = static_cast<char*>(import(name)) + addend;
                 }};
    code.run({
        [](unsigned) {},                  // ends each of the lazy bindings
        [](unsigned) {},                  // the library
        [&](unsigned) { code.number(); }, // the library
        [](unsigned) {},                  // the library
        [&](unsigned) { name = code.text(); },
        [](unsigned) {},                           // the type, always a pointer
        [&](unsigned) { addend = code.number(); }, // signed, but the library has no negative ones
        [&](unsigned segment) { code.place = segments_.at(segment) + code.number(); },
        [&](unsigned) { code.place += code.number(); },
        [&](unsigned) { code.write(1); },
        [&](unsigned) { code.write(1, code.number()); },
        [&](unsigned pointers) { code.write(1, pointers * 8); },
        [&](unsigned) { code.write_as_told(); },
    });
}

void image::initialise() const {
    for (const auto& [pointers, size] : initialisers_) {
        for (std::uint64_t at = 0; at < size; at += 8)
            read<void (*)(int, const char**, const char**, const char**)>(pointers + at)(
                0, nullptr, nullptr, nullptr);
    }
}

void* image::exported(const std::string& name) const {
    const auto found = exports_.find(name);
    if (found == exports_.end())
        fail("the library does not export " + name);
    return found->second;
}
