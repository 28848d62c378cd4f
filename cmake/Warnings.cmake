# What the project's own code is compiled with. Linked privately, so that no user of the library inherits it.
add_library(amqp-warnings INTERFACE)
target_compile_options(amqp-warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual $<$<BOOL:${AMQP_WERROR}>:-Werror>)
