# Debian packages, made by scripts/packages: libamqp1, what programs need to run, and libamqp-dev, what it takes to build
# them. The first one's name carries the SOVERSION, so that two of them can stand side by side.
set(AMQP_MAINTAINER "Developers of amqp <developers@amqp.invalid>" CACHE STRING
    "Whom the packages name for questions: a name and an address that is read")

set(runtime libamqp${PROJECT_VERSION_MAJOR})
set(development libamqp-dev)
set(texts ${CMAKE_CURRENT_BINARY_DIR}/package-texts)

# Debian's changelog has a form of its own, and is compressed like all documentation.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # of SOURCE_DATE_EPOCH, if that is set
file(WRITE ${texts}/changelog "amqp (${PROJECT_VERSION}) unstable; urgency=medium

  * New version. What changed stands in CHANGELOG.md.gz beside this file.

 -- ${AMQP_MAINTAINER}  ${date}
")
configure_file(CHANGELOG.md ${texts}/CHANGELOG.md COPYONLY)
execute_process(COMMAND gzip --best --no-name --force changelog CHANGELOG.md
    WORKING_DIRECTORY ${texts} COMMAND_ERROR_IS_FATAL ANY)
foreach(component runtime development)
    set(folder ${CMAKE_INSTALL_DATADIR}/doc/${${component}})
    install(FILES ${texts}/changelog.gz ${texts}/CHANGELOG.md.gz DESTINATION ${folder} COMPONENT ${component})
    install(FILES LICENSE DESTINATION ${folder} RENAME copyright COMPONENT ${component})
endforeach()

# What dependent packages are to name, and that the linker's cache is to be renewed.
file(WRITE ${texts}/shlibs "libamqp ${PROJECT_VERSION_MAJOR} ${runtime} (>= ${PROJECT_VERSION})\n")
file(WRITE ${texts}/triggers "activate-noawait ldconfig\n")

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_PACKAGE_CONTACT "${AMQP_MAINTAINER}")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(about "It puts a small object model over rabbitmq-c: connections, channels, envelopes
with headers, topology calls, a run loop that acknowledges deliveries by the
verdict of a handler, callbacks for messages that nobody takes, and large
bodies in parts.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${about}\n\nPrograms that were built with the library need this package to run.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${texts}/shlibs;${texts}/triggers")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${about}\n\nThis package has the headers, and what CMake and pkg-config need.")

include(CPack)
