// The slots are plain atomic pointers. They need no destructor, which would keep the library from
// being unloaded, and may be used by threads that run on while the process ends; and in a child
// made by fork the slots of requests that were under way are empty.
#include <orv/http/workspace.hpp>

#include <orv/buffers/stream_reuse.hpp>

#include <atomic>
#include <initializer_list>

namespace transport {

namespace {

std::atomic<workspace*> slots[16];

// Returns a workspace to the heap, with the blocks of its streams, which they would leave.
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
