#include <orv/store/aes_tables.hpp>

namespace ORV {

namespace {

// Multiplication by x in GF(2^8), modulo x^8 + x^4 + x^3 + x + 1.
unsigned times_x(unsigned a) { return (a << 1 ^ (a & 0x80 ? 0x1Bu : 0)) & 0xFF; }

// Logarithms to base 3, a generator, so that multiplication becomes addition.
struct logarithms {
    unsigned power[255];
    unsigned log[256];

    logarithms() {
        unsigned a = 1;
        log[0] = 0; // there is none
        for (unsigned i = 0; i < 255; ++i) {
            power[i] = a;
            log[a] = i;
            a ^= times_x(a);
        }
    }
    unsigned multiply(unsigned a, unsigned b) const {
        return a == 0 || b == 0 ? 0 : power[(log[a] + log[b]) % 255];
    }
    unsigned inverse(unsigned a) const { return a == 0 ? 0 : power[(255 - log[a]) % 255]; }
};

// The affine map of the S-box, with the constant 0x63.
unsigned affine(unsigned a) {
    unsigned sum = a;
    for (int i = 1; i <= 4; ++i)
        sum ^= (a << i | a >> (8 - i)) & 0xFF;
    return sum ^ 0x63;
}

std::uint64_t column(unsigned b0, unsigned b1, unsigned b2, unsigned b3) {
    return b0 | b1 << 8 | b2 << 16 | b3 << 24;
}

void fill_rotated(std::uint64_t (&tables)[4][256], unsigned index, std::uint64_t value) {
    for (auto& table : tables) {
        table[index] = value;
        value = (value << 8 | value >> 24) & 0xFFFFFFFF;
    }
}

} // namespace

aes_tables::aes_tables() {
    const logarithms field;
    for (unsigned i = 0; i < 256; ++i) {
        const unsigned substituted = affine(field.inverse(i));
        forward_box[i] = static_cast<unsigned char>(substituted);
        reverse_box[substituted] = static_cast<unsigned char>(i);
    }
    for (unsigned i = 0; i < 256; ++i) {
        const unsigned f = forward_box[i];
        fill_rotated(forward, i, column(field.multiply(2, f), f, f, field.multiply(3, f)));
        const unsigned r = reverse_box[i];
        fill_rotated(reverse, i,
                     column(field.multiply(14, r), field.multiply(9, r), field.multiply(13, r),
                            field.multiply(11, r)));
    }
    unsigned constant = 1;
    for (auto& round : round_constants) {
        round = constant;
        constant = times_x(constant);
    }
}

const aes_tables& aes_tables::globalTable() {
    static const aes_tables tables;
    return tables;
}

} // namespace ORV
