// The options of the address sanitizer in every target, however the target is started. A frame may announce a body of
// any size. If code then allocates memory of this size at once, the limit ends the process. libFuzzer itself allocates
// 20 MB at once.
extern "C" const char* __asan_default_options();

extern "C" const char* __asan_default_options() // NOLINT: the name is the sanitizer's
{
    return "max_allocation_size_mb=64:detect_stack_use_after_return=1";
}
