# The installed package: find_package(Amqp) gives Amqp::amqp, pkg-config knows it as amqp.
include(CMakePackageConfigHelpers)

install(TARGETS amqp EXPORT AmqpTargets)
install(DIRECTORY include/amqp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT AmqpTargets NAMESPACE Amqp:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Amqp)

configure_package_config_file(cmake/AmqpConfig.cmake.in AmqpConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Amqp)
write_basic_package_version_file(AmqpConfigVersion.cmake COMPATIBILITY SameMajorVersion)
configure_file(cmake/amqp.pc.in amqp.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/AmqpConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/AmqpConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Amqp)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/amqp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
