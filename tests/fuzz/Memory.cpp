// What the sanitizers do when something asks for much memory, in every target however it is started. A frame may
// announce a body of any size, and rabbitmq-c asks for all of it at once: the library has to see that refused, as on a
// machine that has not so much, rather than the sanitizer ending the process. libFuzzer itself takes 20 MB at once.
extern "C" const char* __asan_default_options();

extern "C" const char* __asan_default_options() // NOLINT: the name is the sanitizer's
{
    return "allocator_may_return_null=1:max_allocation_size_mb=64:detect_stack_use_after_return=1";
}
