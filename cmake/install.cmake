# What `cmake --install` lays out, and the package through which another project finds it:
#
#   lib/liborvi_ai_srv.so.3         the product; on a device it is all that is needed
#   lib/orvi-host/                  the platform libraries of a workstation, found by the product from where it stands
#   bin/                            the simulated vision service and the tools
#   include/orvi_ai_srv.h           the public header
#   include/orvi-host/              headers of the platform libraries and of the simulated service's payloads
#   share/orvi-ai-srv/scenarios/    courses of a room for the simulated service, and an application's calls for one
#   lib/cmake/orvi_ai_srv/          find_package(orvi_ai_srv)
include(CMakePackageConfigHelpers)

set(orvi_host_dir ${CMAKE_INSTALL_LIBDIR}/orvi-host)
set(orvi_host_include ${CMAKE_INSTALL_INCLUDEDIR}/orvi-host)
set(orvi_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orvi_ai_srv)

get_property(host_libraries GLOBAL PROPERTY ORVI_HOST_LIBRARIES)
foreach(name ${host_libraries})
    set_target_properties(orvi_${name} PROPERTIES EXPORT_NAME ${name} INSTALL_RPATH "$ORIGIN")
    target_include_directories(orvi_${name} INTERFACE $<INSTALL_INTERFACE:${orvi_host_include}>)
    install(TARGETS orvi_${name} EXPORT orvi_ai_srv LIBRARY DESTINATION ${orvi_host_dir} COMPONENT host)
endforeach()
file(GLOB host_headers ${PROJECT_SOURCE_DIR}/platform/*.h ${PROJECT_SOURCE_DIR}/host/orvi_host_*.h
     ${PROJECT_SOURCE_DIR}/host/*/orvi_host_*.h ${PROJECT_SOURCE_DIR}/include/orvi_vision_sim_*.h)
install(FILES ${host_headers} DESTINATION ${orvi_host_include} COMPONENT host)

set_target_properties(orvi_vision_sim_payloads PROPERTIES EXPORT_NAME vision_sim_payloads)
target_include_directories(orvi_vision_sim_payloads INTERFACE $<INSTALL_INTERFACE:${orvi_host_include}>)
install(TARGETS orvi_vision_sim_payloads EXPORT orvi_ai_srv)

# The folder of the workstation's libraries comes last in the search, and on a device it does not exist.
set_target_properties(orvi_ai_srv PROPERTIES EXPORT_NAME ai_srv INSTALL_RPATH "$ORIGIN/orvi-host")
install(TARGETS orvi_ai_srv EXPORT orvi_ai_srv LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
                                                       NAMELINK_COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/include/orvi_ai_srv.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development)

file(RELATIVE_PATH host_dir_from_bin ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
foreach(program orvi-vision-sim orvi-ai orvi-room orvi-bus)
    set_target_properties(${program} PROPERTIES
        INSTALL_RPATH "$ORIGIN/${host_dir_from_bin}/orvi-host;$ORIGIN/${host_dir_from_bin}")
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT host)
endforeach()

file(GLOB scenarios ${PROJECT_SOURCE_DIR}/simulator/scenarios/*.jsonl)
install(FILES ${scenarios} ${PROJECT_SOURCE_DIR}/examples/meeting.calls
        DESTINATION ${CMAKE_INSTALL_DATADIR}/orvi-ai-srv/scenarios COMPONENT host)

install(EXPORT orvi_ai_srv FILE orvi_ai_srv-targets.cmake NAMESPACE orvi:: DESTINATION ${orvi_package_dir}
        COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/orvi_ai_srv-config.cmake.in
                              ${PROJECT_BINARY_DIR}/package/orvi_ai_srv-config.cmake
                              INSTALL_DESTINATION ${orvi_package_dir} PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/orvi_ai_srv-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/orvi_ai_srv-config.cmake
              ${PROJECT_BINARY_DIR}/package/orvi_ai_srv-config-version.cmake
        DESTINATION ${orvi_package_dir} COMPONENT development)
