// What a request works on, kept for the requests that follow. Not installed.
#pragma once

#include <orv/buffers/stream.hpp>

namespace transport {

// The streams of one request.
struct workspace {
    stream<0> scheme, host, path; // of the URL
    stream<0> message;
    stream<0> reply; // a header line so far, then the body so far
};

// A workspace for as long as it lives: one that an earlier request has left, if one is free. Its
// streams may hold old text.
//
// A few workspaces are kept by the process, each in a slot of its own, which is taken and put back
// by one atomic exchange; so any number of threads get along without a lock. What more requests
// than that use at once goes back to the heap.
class borrowed_workspace {
public:
    borrowed_workspace();
    borrowed_workspace(const borrowed_workspace&) = delete;
    borrowed_workspace& operator=(const borrowed_workspace&) = delete;
    ~borrowed_workspace();

    workspace* operator->() const { return held_; }

private:
    workspace* held_;
};

// Returns what is kept to the heap. What a request has borrowed just then is not touched.
void free_workspaces();

} // namespace transport
