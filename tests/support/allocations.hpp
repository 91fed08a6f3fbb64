// Counts the memory blocks of a test program and of the library in it, and makes chosen allocations
// fail. A program that links this has these operators new and delete in place of the usual ones.
#pragma once

namespace support {

// Blocks that operator new has handed out and operator delete has not taken back, in all threads.
long live_blocks();

// Which allocations fail.
enum class failure {
    once,     // the n-th of this thread
    lasting,  // the n-th of this thread and all that follow
    of_others // every one of every other thread
};
// From now on, until `stop_failing`.
void fail_allocations(failure which, long n);
// Ends it, and tells how many have failed since.
long stop_failing();

} // namespace support
