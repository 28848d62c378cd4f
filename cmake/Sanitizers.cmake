# Sanitizers apply to everything that is built here, the tests included.
if(AMQP_SANITIZERS)
    add_compile_options(-fsanitize=${AMQP_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${AMQP_SANITIZERS})
endif()
