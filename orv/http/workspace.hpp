// The working memory of a request, kept for later ones. Not installed.
#pragma once

#include <orv/buffers/stream.hpp>

namespace transport {

// The streams of one request.
struct workspace {
    stream<0> scheme, host, path; // of the URL
    stream<0> message;
    stream<0> reply; // a header line so far, then the body so far
};

// Holds a workspace for as long as it lives: one that an earlier request has left, if any is free.
// Its streams may hold old text.
//
// The process keeps a few workspaces, each in a slot of its own. One atomic exchange takes or
// returns one, so any number of threads need no lock. Workspaces beyond that number are freed.
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

// Frees the workspaces that are kept. Those that requests hold at that moment are not touched.
void free_workspaces();

} // namespace transport
