// Everything that differs between operating systems; each has its own source. Not installed.
#pragma once

#include <cstdio>
#include <ctime>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/stat.h>

namespace runtime {

// Ticks of the system's times() clock, sysconf(_SC_CLK_TCK) of them a second.
long ticks();

// Stores the path of the running executable in `text`, at most 255 bytes of it. A path that is
// unavailable, or cannot be converted to ASCII, leaves `text` empty.
void executable_path(char (&text)[256]);

// What is needed besides the handle to find the calling thread again; 0 if nothing is.
int current_thread_id();
// Sends SIGCONT to a thread that may have ended, and may have been joined.
void nudge(pthread_t thread, int id);

// A socket for TCP over IPv4, as `socket` creates it; programs that the host starts do not inherit
// it. -1 if none can be created.
int tcp_socket();
// Calls `send` with flags 0, on a socket from `tcp_socket`, and returns its result, `errno`
// included. If the peer has hung up, the resulting SIGPIPE is never delivered; handlers are not
// touched, the calling thread's mask is restored, and a signal that was pending stays so.
int send_without_signal(int socket, const char* bytes, int count);
// Calls `fwrite` for bytes and returns how many it has written, `errno` included. The SIGXFSZ of a
// limit that is reached is never delivered, as above. (Where a signal is sent to the process, as on
// macOS, no thread can hold it back: there the caller checks the limit first.)
unsigned long write_without_signal(std::FILE* to, const char* bytes, unsigned long count);

// When the content of a file last changed, and when its content or its status last did.
timespec modification_time(const struct stat& of);
timespec status_time(const struct stat& of);

// The first IPv4 address of a host by name, in network byte order; 0 if there is none. Threads: any
// number at once. Blocks for as long as the system's resolver takes.
in_addr_t address_of_host(const char* name);

#ifdef __aarch64__
// Whether the processor has the instructions for AES. (An x86-64 processor reports this itself.)
bool has_aes_instructions();
#endif

} // namespace runtime
