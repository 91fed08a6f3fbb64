// The answer of gethostbyname belongs to the calling thread here.
#include <orv/runtime/resolver.hpp>

#include <cstring>
#include <netdb.h>

namespace runtime {

in_addr_t address_of_host(const char* name) {
    const hostent* const answer = gethostbyname(name);
    if (!answer || !answer->h_addr_list[0])
        return 0;
    in_addr_t address;
    std::memcpy(&address, answer->h_addr_list[0], sizeof address);
    return address;
}

} // namespace runtime
