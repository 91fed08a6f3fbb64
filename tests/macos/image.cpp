#include "image.hpp"

#include <cstring>
#include <fstream>
#include <sstream>
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

// Steps through a program of rebase or bind opcodes.
struct opcodes {
    const char* at;
    const char* end;

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
};

} // namespace

image::image(const char* path, const std::function<void*(const std::string&)>& import) {
    std::stringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    file_ = content.str();

    header head{};
    if (file_.size() > sizeof head)
        std::memcpy(&head, file_.data(), sizeof head);
    if (head.magic != magic_64 || head.cpu != cpu_x86_64 || head.file_type != type_library)
        fail(std::string(path) + " is not a macOS library for x86-64");
    map();

    const char* command = file_.data() + sizeof head;
    for (std::uint32_t i = 0; i < head.commands; ++i) {
        std::uint32_t kind[2];
        std::memcpy(kind, command, sizeof kind);
        if (kind[0] == command_fixups) {
            fixups_command fixups;
            std::memcpy(&fixups, command, sizeof fixups);
            rebase(fixups.rebase, fixups.rebase_size);
            bind(fixups.bind, fixups.bind_size, import);
            bind(fixups.lazy, fixups.lazy_size, import);
            if (fixups.weak_size != 0)
                fail("weak bindings are not handled");
        } else if (kind[0] == command_symbols) {
            symbols_command symbols;
            std::memcpy(&symbols, command, sizeof symbols);
            read_symbols(symbols.symbols, symbols.count, symbols.strings);
        }
        command += kind[1];
    }
}

image::~image() { munmap(base_, size_); }

void image::map() {
    const char* command = file_.data() + sizeof(header);
    std::vector<segment_command> segments;
    while (true) {
        segment_command segment;
        std::memcpy(&segment, command, sizeof segment);
        if (segment.command != command_segment)
            break; // they come first
        segments.push_back(segment);
        segments_.push_back({segment.address, segment.memory_size});
        size_ = segment.address + segment.memory_size;
        for (std::uint32_t i = 0; i < segment.sections; ++i) {
            section here;
            std::memcpy(&here, command + sizeof segment + i * sizeof here, sizeof here);
            if ((here.flags & 0xFF) == section_initialisers)
                initialisers_.push_back({here.address, here.size});
        }
        command += segment.size;
    }
    void* memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE | PROT_EXEC,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        fail("no memory for the library");
    base_ = static_cast<char*>(memory);
    for (const segment_command& segment : segments)
        std::memcpy(base_ + segment.address, file_.data() + segment.offset, segment.file_size);
}

// Pointers into the library itself.
void image::rebase(std::uint32_t offset, std::uint32_t size) const {
    opcodes code{file_.data() + offset, file_.data() + offset + size};
    char* at = base_;
    const auto repeat = [&](std::uint64_t count, std::uint64_t skip) {
        for (; count > 0; --count, at += 8 + skip)
            *reinterpret_cast<char**>(at) += reinterpret_cast<std::uintptr_t>(base_);
    };
    while (code.at != code.end) {
        const std::uint8_t operation = code.byte();
        const std::uint8_t operand = operation & 0x0F;
        switch (operation & 0xF0) {
        case 0x00:
            return;
        case 0x10: // the type, always a pointer
            break;
        case 0x20:
            at = base_ + segments_.at(operand).address + code.number();
            break;
        case 0x30:
            at += code.number();
            break;
        case 0x40:
            at += operand * 8;
            break;
        case 0x50:
            repeat(operand, 0);
            break;
        case 0x60:
            repeat(code.number(), 0);
            break;
        case 0x70:
            repeat(1, code.number());
            break;
        case 0x80: {
            const std::uint64_t count = code.number();
            repeat(count, code.number());
            break;
        }
        default:
            fail("an unknown rebase opcode");
        }
    }
}

// Pointers to what is imported; those bound at a first call on macOS are bound here too.
void image::bind(std::uint32_t offset, std::uint32_t size,
                 const std::function<void*(const std::string&)>& import) const {
    opcodes code{file_.data() + offset, file_.data() + offset + size};
    char* at = base_;
    std::string name;
    std::uint64_t addend = 0;
    const auto repeat = [&](std::uint64_t count, std::uint64_t skip) {
        for (; count > 0; --count, at += 8 + skip)
            *reinterpret_cast<char**>(at) = static_cast<char*>(import(name)) + addend;
    };
    while (code.at != code.end) {
        const std::uint8_t operation = code.byte();
        const std::uint8_t operand = operation & 0x0F;
        switch (operation & 0xF0) {
        case 0x00: // ends each of the lazy bindings
        case 0x10: // the library
        case 0x30:
        case 0x50: // the type, always a pointer
            break;
        case 0x20:
            code.number(); // the library
            break;
        case 0x40:
            name = code.text();
            break;
        case 0x60: // a signed number, but the library has no negative ones
            addend = code.number();
            break;
        case 0x70:
            at = base_ + segments_.at(operand).address + code.number();
            break;
        case 0x80:
            at += code.number();
            break;
        case 0x90:
            repeat(1, 0);
            break;
        case 0xA0:
            repeat(1, code.number());
            break;
        case 0xB0:
            repeat(1, operand * 8u);
            break;
        case 0xC0: {
            const std::uint64_t count = code.number();
            repeat(count, code.number());
            break;
        }
        default:
            fail("an unknown bind opcode");
        }
    }
}

void image::read_symbols(std::uint32_t offset, std::uint32_t count, std::uint32_t strings) {
    for (std::uint32_t i = 0; i < count; ++i) {
        symbol entry;
        std::memcpy(&entry, file_.data() + offset + i * sizeof entry, sizeof entry);
        if (entry.type == (symbol_defined | symbol_external))
            exports_[file_.data() + strings + entry.name] = entry.value;
    }
}

void image::initialise() const {
    for (const part& pointers : initialisers_) {
        for (std::uint64_t at = 0; at < pointers.size; at += 8) {
            void (*initialiser)(int, const char**, const char**, const char**);
            std::memcpy(&initialiser, base_ + pointers.address + at, sizeof initialiser);
            initialiser(0, nullptr, nullptr, nullptr);
        }
    }
}

void* image::exported(const std::string& name) const {
    const auto found = exports_.find(name);
    if (found == exports_.end())
        fail("the library does not export " + name);
    return base_ + found->second;
}
