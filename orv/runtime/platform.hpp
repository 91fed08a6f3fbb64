// All that differs between the operating systems; each has a source of its own. Not installed.
#pragma once

#include <cstdio>
#include <ctime>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/stat.h>

namespace runtime {

// Ticks of the system's times() clock, sysconf(_SC_CLK_TCK) of them a second.
long ticks();

// Asks for the path of the running executable, into `text`. A path that cannot be had, or cannot be
// converted to ASCII, leaves `text` empty. Not more than 255 bytes of it are taken.
void executable_path(char (&text)[256]);

// What is needed besides the handle to find the calling thread again; 0 where that is nothing.
int current_thread_id();
// Sends SIGCONT to a thread that may have ended, and may have been joined.
void nudge(pthread_t thread, int id);

// A socket for TCP over IPv4, as `socket` makes it; programs that the host starts do not inherit
// it. -1 if there is none to be had.
int tcp_socket();
// Calls `send` with flags 0, on a socket from `tcp_socket`, and returns what it returns, `errno`
// included. If the peer has hung up, the SIGPIPE of that reaches nobody; handlers are never
// touched, the calling thread's mask is as it was, and a signal that was pending stays so.
int send_without_signal(int socket, const char* bytes, int count);
// Calls `fwrite` for bytes, and returns how many it has written, `errno` included. The SIGXFSZ of a
// limit that is met reaches nobody, as above. (Where a signal goes to the process, as on macOS, no
// thread can hold it back: there the caller asks for the limit first.)
unsigned long write_without_signal(std::FILE* to, const char* bytes, unsigned long count);

// When the content of a file was changed last, and when its content or its status was.
timespec modification_time(const struct stat& of);
timespec status_time(const struct stat& of);

// The first IPv4 address of a host by name, in network byte order; 0 if there is none. Threads: any
// number at once. Blocks for as long as the system's resolver takes.
in_addr_t address_of_host(const char* name);

#ifdef __aarch64__
// Whether the processor has the instructions for AES. One that is an x86-64 tells it itself.
bool has_aes_instructions();
#endif

} // namespace runtime
