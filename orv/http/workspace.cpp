// The slots are plain atomic pointers. They need no destructor, which would keep the library from
// being unloaded; threads that are still running while the process exits may use them; and in a
// forked child, the slots of requests that were in progress are empty.
#include <orv/http/workspace.hpp>

#include <orv/buffers/stream_reuse.hpp>

#include <atomic>
#include <initializer_list>

namespace transport {

namespace {

std::atomic<workspace*> slots[16];

// Frees a workspace, and the blocks of its streams, which these would leave allocated.
void discard(workspace* unused) {
    for (stream<0>* text :
         {&unused->scheme, &unused->host, &unused->path, &unused->message, &unused->reply})
        buffers::stream_reuse::free(*text);
    delete unused;
}

} // namespace

borrowed_workspace::borrowed_workspace() {
    for (auto& slot : slots) {
        held_ = slot.exchange(nullptr);
        if (held_)
            return;
    }
    held_ = new workspace;
}

borrowed_workspace::~borrowed_workspace() {
    for (auto& slot : slots) {
        held_ = slot.exchange(held_);
        if (!held_)
            return;
    }
    discard(held_);
}

void free_workspaces() {
    for (auto& slot : slots) {
        if (workspace* const kept = slot.exchange(nullptr))
            discard(kept);
    }
}

} // namespace transport
