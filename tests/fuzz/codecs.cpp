// Base64 and base32, of any bytes and of any text, against their rules spelled out. The input is a
// byte for the length of lines and groups, one for the separator, and the bytes or the text; each
// of these is decoded in the midst of a text, too.
#include "support.hpp"

#include "../support/guarded_page.hpp"

#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>

namespace {

using std::string;

struct encoding {
    unsigned width; // bits of a character
    string alphabet, ignored;
    string bytes_of_rest; // bytes that so many characters make
};
const encoding base64{6, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/",
                      "\t\n\r ", "0112"};
const encoding base32{5, "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567abcdefghijklmnopqrstuvwxyz", "\t -",
                      "01123345"};

// The bits of values, the most significant first, in groups of another size; those left over go.
string regroup(const string& values, unsigned from, unsigned to) {
    string made;
    unsigned held = 0, bits = 0;
    for (const char value : values) {
        held = held << from | static_cast<unsigned char>(value);
        for (bits += from; bits >= to; bits -= to)
            made += static_cast<char>(held >> (bits - to) & ((1u << to) - 1));
    }
    return made;
}

string encoded(const string& bytes, const encoding& as, unsigned line, const string& separator) {
    string text;
    const string values = regroup(bytes + '\0', 8, as.width);
    const unsigned long count = (bytes.size() * 8 + as.width - 1) / as.width;
    for (unsigned long i = 0; i < count || (as.width == 6 && i % 4 != 0); ++i) {
        const bool may_break = as.width == 6 || i < bytes.size() * 8 / 5; // whole characters
        if (line != 0 && i != 0 && i % line == 0 && may_break)
            text += separator;
        text += i < count ? as.alphabet[static_cast<unsigned char>(values[i])] : '=';
    }
    return text;
}

string decoded(const string& text, const encoding& as) {
    string values;
    for (char c : text) {
        if (as.ignored.find(c) != string::npos)
            continue;
        if (as.width == 5)
            c = c == '0' ? 'O' : c == '1' ? 'I' : c;
        const std::size_t value = as.alphabet.find(c);
        if (value == string::npos && as.width == 6 && c != '=')
            return "";
        if (value == string::npos)
            break;
        values += static_cast<char>(value % (1u << as.width));
    }
    const std::size_t group = as.bytes_of_rest.size(), rest = values.size() % group;
    const std::size_t whole = (values.size() - rest) * as.width / 8;
    const auto more = static_cast<std::size_t>(as.bytes_of_rest[rest] - '0');
    return regroup(values + string(group, '\0'), as.width, 8).substr(0, whole + more);
}

// The bytes, in the block that appending them one by one makes.
template <class Buffer>
void check(const Buffer& made, const char* bytes, const string& expected, const char* what) {
    Buffer appended;
    for (const char byte : expected)
        appended.add(byte);
    fuzz::require(string(bytes, made.length()) == expected, what);
    fuzz::require(made.capacity() == appended.capacity(), "the room");
}

void decode(const char* text) {
    const char* const at = copy_before_guard(string(text) + '\0');
    const bin_t from64 = bin_t::base64decode(at), from32 = bin_t::base32decode(at);
    check(from64, from64.data(), decoded(text, base64), "base64 decoded");
    check(from32, from32.data(), decoded(text, base32), "base32 decoded");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const unsigned line = in.byte();
    const string separator = in.take(1).c_str(), bytes = in.take(size);

    const str_t text64 = str_t::base64code(bytes.data(), bytes.size(), line);
    const str_t text32 = str_t::base32code(bytes.data(), bytes.size(), line, *separator.c_str());
    check(text64, text64.c_str(), encoded(bytes, base64, line, "\r\n"), "base64");
    check(text32, text32.c_str(), encoded(bytes, base32, line, separator), "base32");
    for (const char* text : {text64.c_str(), text32.c_str(), bytes.c_str()})
        decode(text);
    for (const char byte : bytes.substr(0, 256))
        decode((string("MZXW") + byte + "6YTB").c_str());
    return 0;
}
