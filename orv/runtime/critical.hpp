// `ORV::critical`, a mutex.
#pragma once

#include <orv/buffers/export.h>

#include <pthread.h>

namespace ORV {

// A plain mutex, not recursive: a thread that holds it must not lock it again. Works with
// std::lock_guard.
class ORV_API critical {
public:
    critical();
    ~critical();
    critical(const critical&) = delete;
    critical& operator=(const critical&) = delete;

    void lock();
    void unlock();

private:
    pthread_mutex_t mutex_;
};

} // namespace ORV
