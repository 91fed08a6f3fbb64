// gethostbyname shares its answer among all threads here, so its reentrant sibling is asked.
#include <orv/runtime/resolver.hpp>

#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <vector>

namespace runtime {

in_addr_t address_of_host(const char* name) {
    std::vector<char> room(1024);
    for (;;) {
        hostent host;
        hostent* answer = nullptr;
        int reason;
        const int failure =
            gethostbyname_r(name, &host, room.data(), room.size(), &answer, &reason);
        if (failure == ERANGE) {
            room.resize(2 * room.size());
            continue;
        }
        if (failure != 0 || !answer || !answer->h_addr_list[0])
            return 0;
        in_addr_t address;
        std::memcpy(&address, answer->h_addr_list[0], sizeof address);
        return address;
    }
}

} // namespace runtime
