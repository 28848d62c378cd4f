# Stands in for vcpkg with one port, of which it makes a static library, as vcpkg would by default: the functions that
# the port calls.
set(CURRENT_PORT_DIR ${PORT_FOLDER})
set(CURRENT_PACKAGES_DIR ${WORK}/packages)

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(vcpkg_cmake_configure)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" SOURCE_PATH OPTIONS)
    if(NOT EXISTS ${arg_SOURCE_PATH}/CMakeLists.txt OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "vcpkg_cmake_configure: ${ARGN}")
    endif()
    run(${CMAKE_COMMAND} -S ${arg_SOURCE_PATH} -B ${WORK}/build -G Ninja ${arg_OPTIONS}
        -D BUILD_SHARED_LIBS=OFF -D CMAKE_BUILD_TYPE=Debug -D CMAKE_INSTALL_LIBDIR=lib
        -D CMAKE_INSTALL_PREFIX=${CURRENT_PACKAGES_DIR} -D rabbitmq-c_DIR=${CMAKE_CURRENT_FUNCTION_LIST_DIR})
endfunction()

function(vcpkg_cmake_install)
    run(${CMAKE_COMMAND} --build ${WORK}/build --target install)
endfunction()

function(vcpkg_cmake_config_fixup)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "PACKAGE_NAME;CONFIG_PATH" "")
    if(NOT EXISTS ${CURRENT_PACKAGES_DIR}/${arg_CONFIG_PATH}/${arg_PACKAGE_NAME}Config.cmake)
        message(FATAL_ERROR "vcpkg_cmake_config_fixup: ${ARGN}")
    endif()
    string(TOLOWER ${arg_PACKAGE_NAME} name)
    file(MAKE_DIRECTORY ${CURRENT_PACKAGES_DIR}/share)
    file(RENAME ${CURRENT_PACKAGES_DIR}/${arg_CONFIG_PATH} ${CURRENT_PACKAGES_DIR}/share/${name})
endfunction()

function(vcpkg_fixup_pkgconfig)
    if(NOT EXISTS ${CURRENT_PACKAGES_DIR}/lib/pkgconfig/amqp.pc)
        message(FATAL_ERROR "vcpkg_fixup_pkgconfig: there is nothing to fix")
    endif()
endfunction()

function(vcpkg_install_copyright)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "" FILE_LIST)
    file(INSTALL ${arg_FILE_LIST} DESTINATION ${CURRENT_PACKAGES_DIR}/share/${PORT} RENAME copyright)
endfunction()

include(${PORT_FOLDER}/portfile.cmake)
