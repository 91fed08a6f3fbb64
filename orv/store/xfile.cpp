#include <orv/store/xfile.hpp>

#include <utility>

namespace ORV {

namespace {

constexpr unsigned long piece_size = 255;

bool ends_line(char c) { return c == '\r' || c == '\n' || c == '\0'; }

} // namespace

xfile::~xfile() { close(); }

bool xfile::open(const char* name, const char* mode) {
    close();
    flag = false;
    str_t opened(name); // first, as it may throw and opening may truncate the file
    handle = std::fopen(name, mode);
    if (!handle)
        return false;
    path = std::move(opened);
    return true;
}

bool xfile::close() {
    std::FILE* const closed = std::exchange(handle, nullptr);
    return !closed || std::fclose(closed) == 0;
}

bool xfile::read(str_t& line) {
    if (!handle)
        return false;
    line.clear();
    for (;;) {
        char piece[piece_size + 1];
        const unsigned long count = std::fread(piece, 1, piece_size, handle);
        if (count == 0)
            return !line.empty();

        unsigned long end = 0;
        while (end < count && !ends_line(piece[end]))
            ++end;
        line.append(piece, end);
        const bool full = count == piece_size;
        if (end == count) { // no terminator in this piece
            if (full)
                continue;
            return true;
        }

        const bool last = end + 1 == count;
        const bool single = piece[end] != 0; // a NUL does not pair with another byte
        const bool pair = single && !last && piece[end] != piece[end + 1] && piece[end + 1] != 0 &&
                          ends_line(piece[end + 1]);
        const unsigned long behind = end + (pair ? 2 : 1);
        std::fseek(handle, static_cast<long>(behind) - static_cast<long>(count), SEEK_CUR);
        if (single && last && full)
            continue; // joined with the text after it, as intended
        return true;
    }
}

} // namespace ORV
