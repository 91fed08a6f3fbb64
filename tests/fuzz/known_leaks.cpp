// A stream<0> that was never shared leaves its block allocated when it is destroyed or outgrown:
// that is the contract of the type. Every such block is made in this one function.
extern "C" const char* __lsan_default_suppressions();
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:stream<0*>::roomy\n";
}
