#include <orv/xml/escape.hpp>

#include <orv/buffers/text.hpp>
#include <orv/xml/scan.hpp>

#include <cstring>

namespace xml {

namespace {

using buffers::or_empty;

struct entity {
    char byte;
    const char* reference;
};
constexpr entity entities[] = {
    {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&apos;"}};

const char* entity_for(char byte) {
    for (const entity& each : entities)
        if (each.byte == byte)
            return each.reference;
    return nullptr;
}

// Where the text continues after `beginning`; null if it begins differently.
const char* behind(const char* beginning, const char* text) {
    for (; *beginning != 0; ++beginning, ++text)
        if (*text != *beginning)
            return nullptr;
    return text;
}

// The value of a digit in either base; 16 for any other byte.
unsigned digit_value(char c) {
    const auto digit = static_cast<unsigned char>(c - '0');
    const auto letter = static_cast<unsigned char>((c | 0x20) - 'a');
    return digit < 10 ? digit : letter < 6 ? letter + 10u : 16u;
}

// Reads a reference from the byte after its "&". Returns the character that it stands for and moves
// `at` past its ";"; returns 0 if it is not a reference.
unsigned long read_reference(const char*& at) {
    for (const entity& each : entities) {
        if (const char* const end = behind(each.reference + 1, at)) {
            at = end;
            return static_cast<unsigned long>(each.byte);
        }
    }
    if (*at != '#')
        return 0;
    const unsigned base = at[1] == 'x' ? 16 : 10;
    constexpr unsigned long last = 0x10ffff;
    unsigned long number = 0;
    const char* end = at + (base == 16 ? 2 : 1);
    for (; digit_value(*end) < base; ++end)
        number = number > last ? number : number * base + digit_value(*end);
    const bool is_surrogate = number >= 0xd800 && number < 0xe000;
    if (*end != ';' || number > last || is_surrogate)
        return 0;
    at = end + 1;
    return number;
}

void append_utf8(str_t& out, unsigned long character) {
    constexpr unsigned long lead[] = {0, 0xc0, 0xe0, 0xf0};
    int more = character < 0x80 ? 0 : character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    out.add(static_cast<char>(lead[more] | character >> 6 * more));
    while (more-- > 0)
        out.add(static_cast<char>(0x80 | (character >> 6 * more & 0x3f)));
}

} // namespace

str_t escape(const char* text) {
    text = or_empty(text);
    str_t out;
    const char* plain = text; // what has not been appended yet
    const char* at = text;
    for (; *at != 0; ++at) {
        const char* const reference = entity_for(*at);
        const bool is_outermost = at == text || at[1] == 0;
        if (!reference && *at != '\r' && !(is_outermost && is_space(*at)))
            continue;
        out.append(plain, static_cast<unsigned long>(at - plain));
        if (reference)
            out << reference;
        else
            out.addprintf("&#%d;", *at);
        plain = at + 1;
    }
    return out.append(plain, static_cast<unsigned long>(at - plain));
}

str_t unescape(const char* text) {
    text = or_empty(text);
    str_t out;
    const char* plain = text;
    const char* at = text;
    while ((at = std::strchr(at, '&'))) {
        const char* const reference = at++;
        const unsigned long character = read_reference(at);
        if (character == 0)
            continue;
        out.append(plain, static_cast<unsigned long>(reference - plain));
        append_utf8(out, character);
        plain = at;
    }
    return out << plain;
}

} // namespace xml
