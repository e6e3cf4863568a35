// Part of each test program that ends threads by force and may be built with the address sanitizer.

// The frames of a thread that was ended stay marked in the sanitizer's map of the stack. It trips over them itself when
// it gives the thread's signal stack back, so it is told to have none.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "use_sigaltstack=0";
}
