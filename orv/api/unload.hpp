// What the unload hook calls of the exported functions. Not installed.
#pragma once

namespace api {

// Saves and closes the store that the host forgot to close. The library object is not freed, as the
// host may have threads that use it while the process ends; what they set then is lost.
void close_forgotten_store();

} // namespace api
