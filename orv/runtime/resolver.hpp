// Asking the operating system for the address of a host. Not installed.
#pragma once

#include <netinet/in.h>

namespace runtime {

// The first IPv4 address of a host by name, in network byte order; 0 if there is none. Threads: any
// number at once. Blocks for as long as the system's resolver takes.
in_addr_t address_of_host(const char* name);

} // namespace runtime
