// A stream<0> that was never shared leaves its block allocated when it is destroyed or outgrown:
// that is the contract of the type, and the one thing that the leak checker is told of.
extern "C" const char* __lsan_default_suppressions();
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:buffers::room<buffers::stream_traits>\n";
}
