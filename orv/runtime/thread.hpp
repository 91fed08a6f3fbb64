// `ORV::thread`, an object that owns a worker thread.
#pragma once

#include <orv/buffers/export.h>

#include <atomic>
#include <pthread.h>

namespace ORV {

// Runs a loop of steps on a thread of its own. Derive from it and override the hooks; a class that
// does must call `stop` in its own destructor, before the members its hooks use are destroyed.
//
// Threads: `start`, `stop` and the destructor belong to one controlling thread; `stop` may also be
// called by the worker. The hooks run on the worker.
class ORV_API thread {
public:
    thread() = default;
    thread(const thread&) = delete;
    thread& operator=(const thread&) = delete;
    // Stops the worker and waits for it.
    virtual ~thread();

    // Called first on the worker. By default, does nothing.
    virtual void onInit();
    // One step of work. Receives what the previous step returned, 0 at first; a negative result
    // ends the loop. There is no pause between steps. By default, returns -1.
    virtual int onRunStep(int step);
    // Called last on the worker. By default, does nothing.
    virtual void onStop();
    // The loop: runs steps until one is negative or the worker is asked to stop. Returns 0.
    virtual int onRun();

    // Stops the worker, if there is one, and starts another. If the system cannot create one, no
    // error is reported: `isRunning` may be set all the same.
    void start();
    // Asks the worker to stop and waits until it has; called by the worker itself, it only asks.
    // Always returns true. Harmless without a worker.
    bool stop();

    // What the worker runs. Returns its exit value, a 32-bit number zero-extended to a pointer: the
    // result of `onRun`, or -1, without calling a hook, if `self` is null or its run flag is not
    // set.
    static void* thread_func(thread* self);

protected:
    pthread_t handle{};                 // 0 without a worker; stays set until it has been joined
    std::atomic<bool> isRunning{false}; // cleared to ask the worker to stop

private:
    int systemId_ = 0; // the worker's, where the platform needs it to find the thread again
};

} // namespace ORV
