// Sending a thread that has already been joined the signal to continue. Not installed.
#pragma once

#include <pthread.h>

namespace runtime {

// What the platform needs besides the handle to find the calling thread again; 0 where that is
// nothing.
int current_thread_id();

// Sends SIGCONT to a thread that may have ended.
void nudge(pthread_t thread, int id);

} // namespace runtime
