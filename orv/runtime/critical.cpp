#include <orv/runtime/critical.hpp>

namespace ORV {

critical::critical() { pthread_mutex_init(&mutex_, nullptr); }
critical::~critical() { pthread_mutex_destroy(&mutex_); }
void critical::lock() { pthread_mutex_lock(&mutex_); }
void critical::unlock() { pthread_mutex_unlock(&mutex_); }

} // namespace ORV
