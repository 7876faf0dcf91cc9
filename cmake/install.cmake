# What `cmake --install` lays out, by component, and the package through which another project finds it:
#
#   runtime      lib/liborvi_ai_srv.so.3      the product; on a device it is all that is needed
#   development  include/orvi_ai_srv.h, .hpp  the public headers, find_package(orvi_ai_srv), orvi_ai_srv.pc
#   host         lib/orvi-host/               the platform libraries of a workstation, found by the product from where it
#                                             stands
#                bin/                         the simulated vision service and the tools, their pages and completions
#                share/orvi-ai-srv/scenarios/ courses of a room for the simulated service, and an application's calls for one
#                include/orvi-host/           headers of the platform libraries and of the simulated service's payloads
#   testkit      bin/orvi-test-run            runs one command of a test beside a simulated service
#                include/orvi/test/           a room for C++ tests, and the fake's header
#                lib/liborvi_ai_srv_fake.a    stands in for the product in unit tests
#                lib/cmake/                   orvi_add_test(); orvi_testkit.pc
#                share/orvi-ai-srv/template/  a project to copy
#   doc          share/doc/orvi_ai_srv/       pages, examples; orvi_ai_srv(7)
include(CMakePackageConfigHelpers)

set(orvi_host_dir ${CMAKE_INSTALL_LIBDIR}/orvi-host)
set(orvi_host_include ${CMAKE_INSTALL_INCLUDEDIR}/orvi-host)
set(orvi_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orvi_ai_srv)

# --- The library ---

# The folder of the workstation's libraries comes last in the search, and on a device it does not exist.
set_target_properties(orvi_ai_srv PROPERTIES EXPORT_NAME ai_srv INSTALL_RPATH "$ORIGIN/orvi-host")
install(TARGETS orvi_ai_srv EXPORT orvi_ai_srv LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
                                                       NAMELINK_COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/include/orvi_ai_srv.h ${PROJECT_SOURCE_DIR}/include/orvi_ai_srv.hpp
              ${PROJECT_SOURCE_DIR}/include/orvi_ai_srv_events.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development)

# --- The workstation's parts ---

get_property(host_libraries GLOBAL PROPERTY ORVI_HOST_LIBRARIES)
foreach(name ${host_libraries})
    set_target_properties(orvi_${name} PROPERTIES EXPORT_NAME ${name} INSTALL_RPATH "$ORIGIN")
    target_include_directories(orvi_${name} INTERFACE $<INSTALL_INTERFACE:${orvi_host_include}>)
    install(TARGETS orvi_${name} EXPORT orvi_host LIBRARY DESTINATION ${orvi_host_dir} COMPONENT host)
endforeach()
file(GLOB host_headers ${PROJECT_SOURCE_DIR}/platform/*.h ${PROJECT_SOURCE_DIR}/host/orvi_host_*.h
     ${PROJECT_SOURCE_DIR}/host/*/orvi_host_*.h ${PROJECT_SOURCE_DIR}/include/orvi_vision_sim_*.h*)
install(FILES ${host_headers} DESTINATION ${orvi_host_include} COMPONENT host)

set_target_properties(orvi_vision_sim_payloads PROPERTIES EXPORT_NAME vision_sim_payloads)
target_include_directories(orvi_vision_sim_payloads INTERFACE $<INSTALL_INTERFACE:${orvi_host_include}>)
install(TARGETS orvi_vision_sim_payloads EXPORT orvi_host)

get_property(orvi_tools GLOBAL PROPERTY ORVI_TOOLS)
file(RELATIVE_PATH host_dir_from_bin ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
foreach(program ${orvi_tools})
    set_target_properties(${program} PROPERTIES
        INSTALL_RPATH "$ORIGIN/${host_dir_from_bin}/orvi-host;$ORIGIN/${host_dir_from_bin}")
    get_target_property(component ${program} ORVI_COMPONENT)
    set(export "")
    if(component STREQUAL "testkit")
        set(export EXPORT orvi_testkit)
    endif()
    install(TARGETS ${program} ${export} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
endforeach()

file(GLOB scenarios ${PROJECT_SOURCE_DIR}/simulator/scenarios/*.jsonl)
install(FILES ${scenarios} ${PROJECT_SOURCE_DIR}/examples/meeting.calls
        DESTINATION ${CMAKE_INSTALL_DATADIR}/orvi-ai-srv/scenarios COMPONENT host)

# --- The test kit ---

set_target_properties(orvi-test-run PROPERTIES EXPORT_NAME test_run)
set_target_properties(orvi_testkit PROPERTIES EXPORT_NAME testkit)
set_target_properties(orvi_ai_srv_fake PROPERTIES EXPORT_NAME ai_srv_fake)
install(TARGETS orvi_testkit EXPORT orvi_testkit)
install(TARGETS orvi_ai_srv_fake EXPORT orvi_testkit ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT testkit)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/testkit/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT testkit)
install(FILES ${PROJECT_SOURCE_DIR}/testkit/cmake/orvi_add_test.cmake DESTINATION ${orvi_package_dir}
        COMPONENT testkit)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/template DESTINATION ${CMAKE_INSTALL_DATADIR}/orvi-ai-srv
        COMPONENT testkit USE_SOURCE_PERMISSIONS)

# --- CMake package and pkg-config ---

install(EXPORT orvi_ai_srv FILE orvi_ai_srv-targets.cmake NAMESPACE orvi:: DESTINATION ${orvi_package_dir}
        COMPONENT development)
install(EXPORT orvi_host FILE orvi_ai_srv-host-targets.cmake NAMESPACE orvi:: DESTINATION ${orvi_package_dir}
        COMPONENT host)
install(EXPORT orvi_testkit FILE orvi_ai_srv-testkit-targets.cmake NAMESPACE orvi:: DESTINATION ${orvi_package_dir}
        COMPONENT testkit)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/orvi_ai_srv-config.cmake.in
                              ${PROJECT_BINARY_DIR}/package/orvi_ai_srv-config.cmake
                              INSTALL_DESTINATION ${orvi_package_dir} PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/orvi_ai_srv-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/orvi_ai_srv-config.cmake
              ${PROJECT_BINARY_DIR}/package/orvi_ai_srv-config-version.cmake
        DESTINATION ${orvi_package_dir} COMPONENT development)

# orvi_pkg_config(NAME COMPONENT): installs cmake/NAME.pc.in, whose folders count from where the file stands.
function(orvi_pkg_config name component)
    file(RELATIVE_PATH ORVI_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    string(REGEX REPLACE "/$" "" ORVI_PREFIX_FROM_PC "${ORVI_PREFIX_FROM_PC}")
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/package/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/package/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
            COMPONENT ${component})
endfunction()
orvi_pkg_config(orvi_ai_srv development)
orvi_pkg_config(orvi_host host)
orvi_pkg_config(orvi_testkit testkit)

# --- Pages and completions, made of what the programs say ---

find_program(ORVI_GZIP gzip)
set(orvi_pages "")
# orvi_page(FILE SECTION COMPONENT DEPENDS COMMAND...): a manual page from a command's output.
function(orvi_page file section component depends)
    set(page ${PROJECT_BINARY_DIR}/man/${file})
    set(pack "")
    set(result ${page})
    if(ORVI_GZIP)
        set(pack COMMAND ${ORVI_GZIP} -9nkf ${page})
        set(result ${page}.gz)
    endif()
    add_custom_command(OUTPUT ${result} COMMAND ${ARGN} > ${page} ${pack}
                       DEPENDS ${depends} ${PROJECT_SOURCE_DIR}/cmake/tool_page.sh
                               ${PROJECT_SOURCE_DIR}/cmake/library_page.awk VERBATIM)
    install(FILES ${result} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
    set(orvi_pages ${orvi_pages} ${result} PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man ${PROJECT_BINARY_DIR}/completion)
foreach(program ${orvi_tools})
    get_target_property(component ${program} ORVI_COMPONENT)
    orvi_page(${program}.1 1 ${component} ${program} sh ${PROJECT_SOURCE_DIR}/cmake/tool_page.sh ${program}
              ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${program}>)
endforeach()
orvi_page(orvi_ai_srv.7 7 doc ${PROJECT_SOURCE_DIR}/include/orvi_ai_srv.h
          awk -v version=${PROJECT_VERSION} -f ${PROJECT_SOURCE_DIR}/cmake/library_page.awk
          ${PROJECT_SOURCE_DIR}/include/orvi_ai_srv.h)
get_property(with_completion GLOBAL PROPERTY ORVI_TOOLS_WITH_COMPLETION)
foreach(program ${with_completion})
    set(completion ${PROJECT_BINARY_DIR}/completion/${program})
    add_custom_command(OUTPUT ${completion} DEPENDS ${program} VERBATIM
                       COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${program}> --completion bash > ${completion})
    install(FILES ${completion} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT host)
    list(APPEND orvi_pages ${completion})
endforeach()
add_custom_target(orvi-pages ALL DEPENDS ${orvi_pages})

# --- Documentation and examples ---

set(orvi_doc_dir ${CMAKE_INSTALL_DATADIR}/doc/orvi_ai_srv CACHE STRING "Where documentation and examples go")
file(GLOB pages ${PROJECT_SOURCE_DIR}/docs/*.md ${PROJECT_SOURCE_DIR}/docs/*.xml ${PROJECT_SOURCE_DIR}/docs/*.svg
     ${PROJECT_SOURCE_DIR}/docs/*.png)
install(FILES ${pages} DESTINATION ${orvi_doc_dir}/docs COMPONENT doc)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/SECURITY.md DESTINATION ${orvi_doc_dir} COMPONENT doc)
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${orvi_doc_dir}/docs COMPONENT doc)
file(GLOB examples ${PROJECT_SOURCE_DIR}/examples/*.c ${PROJECT_SOURCE_DIR}/examples/*.cpp)
install(FILES ${examples} DESTINATION ${orvi_doc_dir}/examples COMPONENT doc)
