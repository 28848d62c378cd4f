# What the project's own code is compiled with. Linked privately, so that no user of the library inherits it.
add_library(amqp-warnings INTERFACE)
target_compile_options(amqp-warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual $<$<BOOL:${AMQP_WERROR}>:-Werror>
    # Where several sources are compiled as one, what is private to one file is seen by the next, and to be in an
    # included file is no mistake. The preset clang-19 compiles each by itself.
    $<$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>:-Wno-shadow $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local -Wno-subobject-linkage>>)
