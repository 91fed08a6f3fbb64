// Sending on a socket without SIGPIPE. Not installed.
#pragma once

namespace runtime {

// Calls `send` with flags 0 and returns what it returns, `errno` included. If the peer has hung up,
// the SIGPIPE that this raises reaches nobody: it is blocked for the calling thread alone, and
// taken away before the thread's mask is as it was. A SIGPIPE that was pending before, for the
// thread or for the process, stays pending; handlers are never touched.
int send_without_signal(int socket, const char* bytes, int count);

} // namespace runtime
