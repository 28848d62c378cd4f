// What the sanitizers are told in every target however it is started. A frame may announce a body of any size: whoever
// asks for that much memory at once ends the process. libFuzzer itself takes 20 MB at once.
extern "C" const char* __asan_default_options();

extern "C" const char* __asan_default_options() // NOLINT: the name is the sanitizer's
{
    return "max_allocation_size_mb=64:detect_stack_use_after_return=1";
}
