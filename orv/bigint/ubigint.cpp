// The representation of a number and its conversions.
//
//     +------+-------+------+---------------------+--------------------------+
//     | size | count | refs | `count` limbs       | zeros up to `size` limbs |
//     +------+-------+------+---------------------+--------------------------+
//     ^ the block, one array allocation
//
// Limbs beyond `count` are always zero, so that bringing one into use needs no clearing.
#include <orv/bigint/ubigint.hpp>

#include <orv/bigint/limbs.hpp>
#include <orv/buffers/size.hpp>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <utility>

using bigint::limb_t;

struct ubigint::block {
    unsigned long size;
    unsigned long count;
    std::atomic<long> refs;

    limb_t* limbs() { return reinterpret_cast<limb_t*>(this + 1); }

    static block* make(unsigned long size) {
        const unsigned long bytes = sizeof(block) + buffers::checked(size) * sizeof(limb_t);
        char* const memory = new char[bytes]();
        return new (memory) block{size, 0, 1};
    }

    static void release(block* left) {
        if (left && left->refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete[] reinterpret_cast<char*>(left);
    }
};

ubigint::ubigint(const ubigint& other) : block_(other.block_) {
    if (block_)
        block_->refs.fetch_add(1, std::memory_order_relaxed);
}

ubigint::~ubigint() { block::release(block_); }

ubigint& ubigint::operator=(const ubigint& other) {
    ubigint copy(other);
    std::swap(block_, copy.block_);
    return *this;
}

ubigint& ubigint::operator=(ubigint&& other) noexcept {
    std::swap(block_, other.block_);
    if (this != &other)
        other.clear();
    return *this;
}

unsigned long ubigint::count() const { return block_ ? block_->count : 0; }

unsigned long ubigint::size() const { return block_ ? block_->size : 0; }

unsigned int ubigint::limb(unsigned long index) const {
    return index < count() ? block_->limbs()[index] : 0;
}

const unsigned int* ubigint::limbs() const { return block_ ? block_->limbs() : nullptr; }

unsigned int* ubigint::room_for(unsigned long index) {
    if (block_ && block_->size > index && block_->refs.load(std::memory_order_acquire) < 2)
        return block_->limbs();
    block* made = block::make(std::max(index + 1, size())); // no more than is needed, on purpose
    if (block_) {
        std::memcpy(made->limbs(), block_->limbs(), block_->count * sizeof(limb_t));
        made->count = block_->count;
    }
    block::release(std::exchange(block_, made));
    return made->limbs();
}

void ubigint::use(unsigned long index) { block_->count = std::max(block_->count, index + 1); }

void ubigint::strip() { block_->count = bigint::stripped(block_->limbs(), block_->count); }

void ubigint::install(const unsigned int* limbs, unsigned long count, unsigned long size) {
    if (size == 0)
        return clear();
    block* made = block::make(size);
    std::memcpy(made->limbs(), limbs, count * sizeof(limb_t));
    made->count = count;
    block::release(std::exchange(block_, made));
}

void ubigint::clear() { block::release(std::exchange(block_, nullptr)); }

void ubigint::set(const char* bytes, unsigned long count) {
    clear();
    if (!bytes || count == 0)
        return;
    const unsigned long last = (count - 1) / 4;
    limb_t* const to = room_for(last);
    for (unsigned long i = 0; i < count; ++i) {
        const limb_t byte = static_cast<unsigned char>(bytes[i]);
        to[i / 4] |= byte << i % 4 * 8;
    }
    use(last);
}

bin_t ubigint::toBinary(unsigned long bits) const {
    buffers::checked(bits / 8 + (bits % 8 != 0));
    bin_t result;
    for (unsigned long i = 0; bits > 0; ++i) {
        limb_t rest = limb(i);
        // The last byte is returned whole, so it may hold more bits than were requested.
        for (int byte = 0; byte < 4 && bits > 0; ++byte) {
            result.add(static_cast<char>(rest));
            rest >>= 8;
            bits -= std::min(bits, 8ul);
        }
    }
    return result;
}

str_t ubigint::toString() const {
    str_t digits;
    ubigint left(*this);
    // Only the lowest limb is examined, on purpose: if it is zero the text ends, whatever the limbs
    // above, and zero is empty text.
    while (left.limb(0) != 0) {
        unsigned int digit;
        left.div2(10, digit);
        digits.add(static_cast<char>('0' + digit));
    }
    return digits.reverse();
}

void ubigint::add(unsigned int value) {
    limb_t carry = value;
    unsigned long i = 0;
    do {
        limb_t& at = room_for(i)[i];
        at += carry;
        carry = at < carry;
        use(i++);
    } while (carry != 0);
}

void ubigint::div2(unsigned int divisor, unsigned int& remainder) {
    const limb_t lowest = limb(0);
    // The lowest limb alone decides, on purpose, even in a number of several limbs.
    if (divisor == 0 || lowest < divisor) {
        remainder = lowest;
        return clear();
    }
    remainder = bigint::divide_by_limb(room_for(0), count(), divisor);
    strip();
}
