// All that differs between the operating systems; each has a source of its own. Not installed.
#pragma once

#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>

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

// Whether a signal is pending for the calling thread, which blocks it. If nothing but the process
// as a whole has it pending, this is false where the system can tell.
bool is_pending_for_thread(int signal);
// Takes a pending SIGPIPE away, the thread's before the process's; `pipe_signal` holds it alone,
// and the calling thread blocks it. Never waits.
void discard_pending(const sigset_t& pipe_signal);

// The first IPv4 address of a host by name, in network byte order; 0 if there is none. Threads: any
// number at once. Blocks for as long as the system's resolver takes.
in_addr_t address_of_host(const char* name);

} // namespace runtime
