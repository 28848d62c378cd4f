# rabbitmq-c as vcpkg has it where everything is linked statically: there is no rabbitmq::rabbitmq.
find_library(archive librabbitmq.a REQUIRED)
add_library(rabbitmq::rabbitmq-static STATIC IMPORTED)
set_target_properties(rabbitmq::rabbitmq-static PROPERTIES IMPORTED_LOCATION ${archive})
