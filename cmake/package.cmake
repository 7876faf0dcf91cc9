# Debian packages, one a component: `./dev package` builds them for each ABI, with /usr as the prefix and the folder of the
# architecture's libraries. No licence has been chosen, so none is packed.
if(NOT PROJECT_IS_TOP_LEVEL)
    return()
endif()
set(ORVI_DEBIAN_ARCHITECTURE "" CACHE STRING "Of the packages to be made: amd64, i386 or armhf")
if(NOT ORVI_DEBIAN_ARCHITECTURE)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvi-ai-srv)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "orvi-ai-srv packages <packages@orvi-ai-srv.invalid>")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1local1)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ORVI_DEBIAN_ARCHITECTURE})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
# The C library's 64-bit symbols and libstdc++'s are those of Debian 12, where the packages are built.
set(runtime_needs "libc6 (>= 2.36), libgcc-s1 (>= 4.2), libstdc++6 (>= 12)")

# debian_package(COMPONENT NAME SECTION DEPENDS SUMMARY TEXT)
macro(debian_package component name section depends summary text)
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}")
    install(FILES ${PROJECT_BINARY_DIR}/package/changelog.Debian.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
            COMPONENT ${component})
endmacro()

debian_package(runtime liborvi-ai-srv3 libs "${runtime_needs}" "client library of a device's vision service"
"An application on a conference-room device uses the device's vision service
through this library: faces, captions, director, check-in, minutes, models.
Beside it stand the platform libraries of the device, or of a workstation.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "orvi-ai-srv-host (= ${version})")
debian_package(development liborvi-ai-srv-dev libdevel
"liborvi-ai-srv3 (= ${version}), orvi-ai-srv-host (= ${version})" "client library of a vision service, for development"
"The header, the CMake package and the pkg-config file with which
applications are built.")
debian_package(host orvi-ai-srv-host devel "liborvi-ai-srv3 (= ${version}), ${runtime_needs}"
"simulated vision service and tools for a workstation"
"Stand-ins of a device's platform libraries, the simulated vision service and
the tools that direct it, call it and watch its messages.")
debian_package(testkit orvi-ai-srv-testkit devel "liborvi-ai-srv-dev (= ${version}), ${runtime_needs}"
"test kit for applications of a vision service"
"The tests of an application run it against a simulated service of their own,
or against a fake of the client library; a project to copy shows how.")
debian_package(doc orvi-ai-srv-doc doc "" "documentation of a vision service's client library"
"Pages, examples and the manual page that lists the functions.")
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)

# What was laid out decides which packages there are: a component without files of its own has none.
set(CPACK_COMPONENTS_ALL runtime development host doc)
if(TARGET orvi_testkit)
    list(APPEND CPACK_COMPONENTS_ALL testkit)
endif()

# Debian's change log names this version; what has changed stands in CHANGELOG.md of the documentation.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${PROJECT_BINARY_DIR}/package/changelog.Debian
"orvi-ai-srv (${version}) unstable; urgency=medium

  * Version ${PROJECT_VERSION}; docs/CHANGELOG.md of orvi-ai-srv-doc tells its changes.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/package/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)

# Who is linked with the library depends on its package; the loader's cache learns of it.
file(WRITE ${PROJECT_BINARY_DIR}/package/shlibs
     "liborvi_ai_srv ${PROJECT_VERSION_MAJOR} liborvi-ai-srv3 (>= ${PROJECT_VERSION})\n")
file(WRITE ${PROJECT_BINARY_DIR}/package/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/package/shlibs
                                               ${PROJECT_BINARY_DIR}/package/triggers)
include(CPack)
