// Counting allocations. Linked into a test program, its operator new stands in front of the
// library's too.
#pragma once

// How often the calling thread has allocated since it began.
unsigned long allocations();
