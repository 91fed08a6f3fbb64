// A Mach-O library in the memory of a Linux process. Both systems call functions alike on x86-64,
// so the code of one runs on the other, given stand-ins for what it imports.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

// Throws std::runtime_error for a file that is not a library for x86-64 or uses what is not handled
// here: only what the cross linker writes for our library is.
class image {
public:
    // Maps the library and fills its imports in: `import` gives the address for a name.
    image(const char* path, const std::function<void*(const std::string& name)>& import);
    image(const image&) = delete;
    image& operator=(const image&) = delete;
    ~image();

    // Calls the initialisers, as the dynamic loader does.
    void initialise() const;
    // Where the library begins, by which it names itself to the C library.
    const void* base() const { return base_; }
    // What the library exports under a name as C++ or C has it.
    template <class Type>
    Type* find(const std::string& name) const {
        return reinterpret_cast<Type*>(exported("_" + name));
    }

private:
    void* exported(const std::string& name) const;
    void map();
    void rebase(std::uint32_t offset, std::uint32_t size) const;
    void bind(std::uint32_t offset, std::uint32_t size,
              const std::function<void*(const std::string& name)>& import) const;

    std::string file_;
    char* base_ = nullptr;
    std::uint64_t size_ = 0;
    std::vector<char*> segments_;
    std::vector<std::pair<char*, std::uint64_t>>
        initialisers_; // tables of pointers, and their sizes
    std::map<std::string, char*> exports_;
};
