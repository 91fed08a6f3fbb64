#include <orv/runtime/thread.hpp>

#include <orv/runtime/platform.hpp>

#include <cstdint>

static_assert(std::atomic<bool>::is_always_lock_free && sizeof(std::atomic<bool>) == 1);

namespace ORV {

thread::~thread() { stop(); }

void thread::onInit() {}
int thread::onRunStep(int) { return -1; }
void thread::onStop() {}

int thread::onRun() {
    int step = 0;
    do {
        if (!isRunning)
            break;
        step = onRunStep(step);
    } while (step >= 0);
    return 0;
}

void* thread::thread_func(thread* self) {
    int result = -1;
    if (self && self->isRunning) {
        self->systemId_ = runtime::current_thread_id();
        self->onInit();
        result = self->onRun();
        self->isRunning = false;
        self->onStop();
    }
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the thread's exit value is a number
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(static_cast<std::uint32_t>(result)));
}

void thread::start() {
    stop();
    isRunning = true;
    systemId_ = 0;
    const int error = pthread_create(
        &handle, nullptr, [](void* self) { return thread_func(static_cast<thread*>(self)); }, this);
    // Only -1 counts as failure here, although errors are positive numbers: these leave the flag
    // set unless the handle is null. Derived classes see the flag in that state.
    if (error == -1) {
        handle = pthread_t{};
        isRunning = false;
    } else if (handle == pthread_t{}) {
        isRunning = false;
    }
    if (error != 0)
        handle = pthread_t{}; // after a failed call it identifies no thread
}

bool thread::stop() {
    if (handle == pthread_t{})
        return true;
    isRunning = false;
    if (pthread_equal(handle, pthread_self()))
        return true; // the loop ends when the current step returns
    pthread_join(handle, nullptr);
    // A last nudge to the worker, which has been joined: it is deliberate, and the signal neither
    // stops nor ends anything.
    runtime::nudge(handle, systemId_);
    handle = pthread_t{};
    return true;
}

} // namespace ORV
