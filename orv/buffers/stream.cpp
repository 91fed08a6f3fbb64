#include <orv/buffers/stream.hpp>

#include <ctime>
#include <new>
#include <utility>

template <unsigned long N>
stream<N>& stream<N>::add(const char* bytes, unsigned long count) {
    const unsigned long room = N - 1 - length_;
    if (count > room)
        count = room;
    std::memmove(text_ + length_, bytes, count); // the bytes may be our own
    length_ += count;
    text_[length_] = 0;
    return *this;
}

template <unsigned long N>
stream<N>& stream<N>::addtime(long t, const char* format) {
    const std::time_t when = t == 0 ? std::time(nullptr) : t;
    std::tm parts{};
    char formatted[100];
    if (!localtime_r(&when, &parts))
        return *this;
    return add(formatted, std::strftime(formatted, sizeof formatted, format, &parts));
}

template class stream<4096>;

stream<0>::stream(const stream& other) : block_(other.block_) {
    if (block_)
        ++block_->refs;
}

stream<0>::~stream() { release(block_); }

stream<0>& stream<0>::operator=(const stream& other) {
    stream copy(other);
    return *this = std::move(copy);
}

stream<0>& stream<0>::operator=(stream&& other) noexcept {
    std::swap(block_, other.block_);
    return *this;
}

void stream<0>::clear() {
    if (!block_)
        return;
    if (block_->refs > 1) {
        release(block_);
        block_ = nullptr;
        return;
    }
    block_->length = 0;
    block_->data()[0] = 0;
}

void stream<0>::need(unsigned long n) { adopt(roomy(n)); }

stream<0>::block* stream<0>::roomy(unsigned long n) {
    if (n == 0) {
        if (!block_ || block_->length + 1 == 0)
            return block_;
        n = block_->length + 1;
    }
    // Capacity of at least n is enough here, unlike in the room rule of text and bytes.
    if (block_ && block_->refs <= 1 && block_->capacity >= n)
        return block_;
    if (n > ~0ul / 4)
        throw std::bad_array_new_length(); // the sizes below would wrap

    unsigned long capacity = n + n / 2;
    if (block_ && block_->length != 0 && n < block_->length - 1)
        capacity = block_->length;
    void* memory = new char[sizeof(block) + capacity + 4];
    block* made = static_cast<block*>(memory);
    made->length = 0;
    made->capacity = capacity;
    made->refs = 1;
    made->data()[0] = 0;
    if (block_ && block_->length != 0) {
        std::memcpy(made->data(), block_->data(), block_->length + 1);
        made->length = block_->length;
    }
    return made;
}

void stream<0>::adopt(block* next) {
    if (next != block_)
        release(std::exchange(block_, next));
}

// The block goes back only if its count was 0 already, so that one that was never shared stays
// allocated. This is the contract of the type and is kept.
void stream<0>::release(block* left) {
    if (left && left->refs-- == 0)
        delete[] reinterpret_cast<char*>(left);
}

stream<0>& stream<0>::add(const char* bytes, unsigned long count) {
    if (count == 0)
        return *this;
    const unsigned long old_length = length();
    block* to = roomy(old_length + count + 1);
    std::memcpy(to->data() + old_length, bytes, count);
    to->length = old_length + count;
    to->data()[to->length] = 0;
    adopt(to);
    return *this;
}

stream<0>& stream<0>::add(unsigned long v) {
    char digits[48];
    char* const end = digits + sizeof digits;
    char* first = end;
    do {
        *--first = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v != 0);
    return add(first, static_cast<unsigned long>(end - first));
}
