# The installed package: find_package(Amqp) gives Amqp::amqp, pkg-config knows it as amqp.
include(CMakePackageConfigHelpers)

install(TARGETS amqp EXPORT AmqpTargets)
install(DIRECTORY include/amqp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT AmqpTargets NAMESPACE Amqp:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Amqp)

configure_package_config_file(cmake/AmqpConfig.cmake.in AmqpConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Amqp)
write_basic_package_version_file(AmqpConfigVersion.cmake COMPATIBILITY SameMajorVersion)
# From the folder of amqp.pc up to the prefix, so that an installed tree can be moved.
file(RELATIVE_PATH AMQP_UP_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/amqp.pc.in amqp.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/AmqpConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/AmqpConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Amqp)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/amqp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
