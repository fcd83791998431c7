// How the sanitizers are to run in a test program; the functions are theirs by name.

extern "C" {

const char* __asan_default_options();
const char* __tsan_default_options();

// A request that no memory can fulfil must come back as a failure, as it does without them.
const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}

// libzmq is not built for the thread sanitizer: the atomics with which it hands memory from one of
// its threads to another are not seen, and what it calls in the C and C++ libraries would be
// reported. Our own code is built for it and is watched, but for what the C library does on its
// behalf, memcpy() for one, and for threads that std::async() starts.
const char* __tsan_default_options()
{
    return "allocator_may_return_null=1 ignore_noninstrumented_modules=1 "
           "atexit_sleep_ms=0";
}

} // extern "C"
