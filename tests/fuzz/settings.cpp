// The exported store functions, on a library object without a file, with any sections, keys, values
// and sizes, each called on a model as well. The input is a byte that chooses a function, then its
// arguments: texts up to a NUL, numbers as four bytes.
#include "model.hpp"
#include "support.hpp"

#include <orv/orv.hpp>

#include <algorithm>
#include <vector>

namespace {

using fuzz::node;
using fuzz::optional_text;
using fuzz::require;

const char* text_of(const node* setting) { return setting->value ? setting->value : ""; }

class session {
public:
    explicit session(fuzz::input from) : in_(from) {
        g_Kernel = &kernel_;
        expected_.hold("root", nullptr);
    }
    ~session() { g_Kernel = nullptr; }
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    void run() {
        static constexpr void (session::*functions[])(const char*, const char*) = {
            &session::get_int, &session::get_string, &session::set_int, &session::set_string};
        while (!in_.empty()) {
            const unsigned chosen = in_.below(4);
            const optional_text section(in_), key(in_);
            (this->*functions[chosen])(section.get(), key.get());
        }
    }

private:
    void get_int(const char* section, const char* key) {
        const int def = in_.integer();
        const node* setting = expected_.get(section, key);
        require(ORVSC_GetInt(section, key, def) == (setting ? std::atoi(text_of(setting)) : def),
                "an integer");
    }
    void get_string(const char* section, const char* key) {
        const unsigned kind = in_.byte();
        const optional_text def(in_);
        const node* setting = expected_.get(section, key);
        const std::string expected = setting ? text_of(setting) : def.get() ? def.get() : "";
        const int whole = static_cast<int>(expected.size()) + 1;

        int size = in_.integer();
        if (kind == 0) {
            require(!ORVSC_GetString(section, key, nullptr, &size, def.get()), "no buffer");
            require(size == whole, "the size asked for");
            return;
        }
        if (kind % 2 != 0)
            size = kind / 2; // mostly sizes about that of the text, from zero up
        const int wanted = std::clamp(size, 0, whole);
        // Exactly the room that must be there: for the bytes wanted, of which no more than the text
        // has are ever written, and a NUL.
        std::vector<char> room(static_cast<unsigned long>(wanted) + 1, '?');
        require(ORVSC_GetString(section, key, room.data(), &size, def.get()) == room.data(),
                "the buffer");
        require(size == wanted, "the size of what was copied");
        require(std::string(room.data(), room.size()) ==
                    (expected + '\0').substr(0, room.size() - 1) + '\0',
                "the bytes copied");
    }
    void set_int(const char* section, const char* key) {
        const int value = in_.integer();
        bool created;
        node* const setting = expected_.get(section, key, created);
        if (created || std::atoi(text_of(setting)) != value)
            setting->set_text(std::to_string(value).c_str());
        ORVSC_SetInt(section, key, value);
        require(ORVSC_GetInt(section, key, value ^ 1) == value, "the integer that was set");
    }
    void set_string(const char* section, const char* key) {
        const optional_text text(in_);
        const std::string value = text.get() ? text.get() : "";
        bool created;
        node* const setting = expected_.get(section, key, created);
        if (created || text_of(setting) != value)
            setting->set_text(value.c_str());
        ORVSC_SetString(section, key, text.get());

        int size = static_cast<int>(value.size()) + 1;
        std::string room(value.size() + 2, '?');
        ORVSC_GetString(section, key, room.data(), &size, "another");
        require(room.c_str() == value, "the text that was set");
    }

    fuzz::input in_;
    ORV::kernel kernel_; // never opened: in memory only
    node expected_;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    session(fuzz::input(data, size)).run();
    return 0;
}
