// What happens when the library is loaded and unloaded.
#include <orv/orv.h>

#include <orv/http/workspace.hpp>

#include <new>

namespace {

__attribute__((constructor)) void loaded() { ORV_trace4("Load library"); }

// A host that forgot to close the store has it closed here.
__attribute__((destructor)) void unloaded() {
    try {
        ORV_close();
    } catch (const std::bad_alloc&) {
        // There is nobody left to tell.
    }
    transport::free_workspaces();
    ORV_trace4("Unload library");
}

} // namespace
