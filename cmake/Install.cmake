# The installed package: find_package(Amqp) gives Amqp::amqp, pkg-config knows it as amqp.
include(CMakePackageConfigHelpers)

# Two components, for whoever packages: what programs need to run, and what it takes to build them.
install(TARGETS amqp EXPORT AmqpTargets
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)
install(DIRECTORY include/amqp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT AmqpTargets NAMESPACE Amqp:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Amqp COMPONENT development)

# A shared library brings what it needs; a static one leaves that to whoever links it.
if(BUILD_SHARED_LIBS)
    set(AMQP_IS_STATIC OFF)
    set(AMQP_PC_REQUIRES "")
else()
    set(AMQP_IS_STATIC ON)
    set(AMQP_PC_REQUIRES "\nRequires.private: librabbitmq libssl libcrypto fmt")
endif()

configure_package_config_file(cmake/AmqpConfig.cmake.in AmqpConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Amqp)
write_basic_package_version_file(AmqpConfigVersion.cmake COMPATIBILITY SameMajorVersion)
# From the folder of amqp.pc up to the prefix, so that an installed tree can be moved.
file(RELATIVE_PATH AMQP_UP_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/amqp.pc.in amqp.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/AmqpConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/AmqpConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Amqp COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/amqp.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
