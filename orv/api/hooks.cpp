// What happens when the library is loaded and unloaded.
#include <orv/orv.h>

#include <orv/api/unload.hpp>
#include <orv/http/workspace.hpp>

namespace {

__attribute__((constructor)) void loaded() { ORV_trace4("Load library"); }

__attribute__((destructor)) void unloaded() {
    api::close_forgotten_store();
    transport::free_workspaces();
    ORV_trace4("Unload library");
}

} // namespace
