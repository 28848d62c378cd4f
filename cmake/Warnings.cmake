# What the project's own code is compiled with. Linked privately, so that no user of the library inherits it.
add_library(amqp-warnings INTERFACE)
target_compile_options(amqp-warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual $<$<BOOL:${AMQP_WERROR}>:-Werror>
    # Sources that are compiled as one see what is private to each other, and include each other: two warnings would be
    # about that. The preset clang-19 compiles each by itself.
    $<$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>:-Wno-shadow>
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow=local -Wno-subobject-linkage>)
