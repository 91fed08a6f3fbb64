// Activation codes: a serial number is signed by the vendor, written in groups that people can read
// and type, and checked by the host with the public half of the key.
//
// The key has 80 bits so that the code is short enough to show; it protects nothing. Use 2048 bits
// and sign a padded digest.
#include <orv/orv.hpp>

#include <cstdio>

namespace {

constexpr unsigned long key_bits = 80; // a multiple of 40 bits, which make 8 whole characters

// The least significant byte first.
constexpr unsigned char modulus_bytes[] = {0xe3, 0x3f, 0x60, 0xa8, 0xc0,
                                           0xff, 0xec, 0x6e, 0x8a, 0xd0};
constexpr unsigned char private_bytes[] = {0x51, 0x58, 0xd7, 0xea, 0x37,
                                           0xf0, 0x1b, 0x06, 0x82, 0xb3};
constexpr unsigned int public_exponent = 65537;

ubigint number(const unsigned char (&bytes)[key_bits / 8]) {
    ubigint made;
    made.set(reinterpret_cast<const char*>(bytes), sizeof bytes);
    return made;
}

ubigint number(unsigned int value) {
    ubigint made;
    made.add(value);
    return made;
}

// What the vendor does.
str_t issue(unsigned int serial) {
    const ubigint signature =
        ubigint::modexp2(number(serial), number(private_bytes), number(modulus_bytes));
    const bin_t bytes = signature.toBinary(key_bits);
    return str_t::base32code(bytes.data(), bytes.length(), 4, '-');
}

// What the host does: the serial number that a code stands for, as text.
str_t serial_of(const char* code) {
    const bin_t bytes = bin_t::base32decode(code);
    ubigint signature;
    signature.set(bytes.data(), bytes.length());
    const ubigint serial =
        ubigint::modexp2(signature, number(public_exponent), number(modulus_bytes));
    return serial.count() == 1 ? serial.toString() : str_t(); // a wrong code gives a long number
}

// The same code as a user might type it: in small letters, with spaces for the hyphens.
str_t as_typed(const str_t& code) {
    str_t typed;
    for (unsigned long i = 0; i < code.length(); ++i) {
        const char c = code[i];
        typed.add(c == '-' ? ' ' : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
    }
    return typed;
}

} // namespace

int main() {
    const str_t code = issue(20260042);
    const str_t typed = as_typed(code);
    const str_t serial = serial_of(typed.c_str());
    std::printf("activation code  %s\n", code.c_str());
    std::printf("as it is typed   %s\n", typed.c_str());
    std::printf("serial number    %s\n", serial.c_str());

    str_t wrong(typed);
    wrong[0] = wrong[0] == 'a' ? 'b' : 'a';
    const bool refused = serial_of(wrong.c_str()).empty();
    std::printf("another letter   %s\n", refused ? "refused" : "accepted");
    return serial == str_t("20260042") && refused ? 0 : 1;
}
