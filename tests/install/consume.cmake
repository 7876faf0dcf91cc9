# Builds the project in consumer/ against what this build produced and runs it.
#   WAY = package        installs into a fresh folder, which is then moved, and goes by find_package; builds the examples
#                        and the template of a project, whose tests are run
#   WAY = subdirectory   goes by add_subdirectory; compiles its own source only, as the rest is what this build is
set(work ${BUILD_DIR}/consumer-${WAY})
file(REMOVE_RECURSE ${work})

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${result}:\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

set(flags "")
if(SANITIZE)
    set(flags "-fsanitize=${SANITIZE}")
endif()
set(arguments -S ${CMAKE_CURRENT_LIST_DIR}/consumer -B ${work}/build -G ${GENERATOR} -DCMAKE_C_FLAGS=${flags}
              -DCMAKE_CXX_FLAGS=${flags} -DCMAKE_BUILD_TYPE=RelWithDebInfo)
if(TOOLCHAIN)
    list(APPEND arguments -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
if(WAY STREQUAL "package")
    # Nothing installed may remember where it was installed to.
    run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${work}/installed)
    file(RENAME ${work}/installed "${work}/moved here")
    list(APPEND arguments -DEXAMPLES_DIR=${SOURCE_DIR}/examples -DCMAKE_CXX_STANDARD=17)
    list(APPEND arguments "-DCMAKE_PREFIX_PATH=${work}/moved here" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH)
else()
    list(APPEND arguments -DORVI_SOURCE_DIR=${SOURCE_DIR})
endif()
run(${CMAKE_COMMAND} ${arguments})
if(WAY STREQUAL "subdirectory")
    run(${CMAKE_COMMAND} --build ${work}/build --target CMakeFiles/consumer.dir/main.c.o)
    return()
endif()
run(${CMAKE_COMMAND} --build ${work}/build)

separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")
set(environment --unset=ORVI_LOG_FILE ORVI_LOG_LEVEL=error)
if(LIBRARY_PATH) # of a cross compiler whose libraries the loader does not know
    list(APPEND environment LD_LIBRARY_PATH=${LIBRARY_PATH})
endif()
run(${CMAKE_COMMAND} -E env ${environment} ${emulator} ${work}/build/consumer)
string(REPLACE "." "\\." version "${VERSION}")
foreach(expected "<OrviAiSrvApiInit> callback is nullptr" "${version}")
    if(NOT output MATCHES "${expected}")
        message(FATAL_ERROR "no ${expected} in what the consumer and its log say:\n${output}")
    endif()
endforeach()

# The same by pkg-config and by a Makefile, in C and in C++, from a path that such rules can spell.
file(CREATE_LINK "${work}/moved here" ${work}/linked SYMBOLIC)
set(page "")
if(NOT TOOLCHAIN)
    set(page PAGE=${SOURCE_DIR}/docs/first-application.md)
endif()
run(${CMAKE_COMMAND} -E env ${page} CC=${CC} CXX=${CXX} "CFLAGS=${flags} ${LINK}" RUN_PATH=${LIBRARY_PATH}
    bash ${CMAKE_CURRENT_LIST_DIR}/by_hand.sh ${work}/linked ${work}/linked/${LIBDIR} ${VERSION} ${work}/by_hand ${emulator})

# The template, as somebody has it who has copied it. What its tests start does not know an emulator.
file(COPY "${work}/moved here/share/orvi-ai-srv/template" DESTINATION ${work})
list(TRANSFORM arguments REPLACE "^${CMAKE_CURRENT_LIST_DIR}/consumer$" ${work}/template)
list(TRANSFORM arguments REPLACE "^${work}/build$" ${work}/template/build)
list(TRANSFORM arguments REPLACE "^-DCMAKE_BUILD_TYPE=.*" -DCMAKE_BUILD_TYPE=Debug)
run(${CMAKE_COMMAND} ${arguments})
run(${CMAKE_COMMAND} --build ${work}/template/build)
set(which "")
if(EMULATOR)
    set(which -R unit)
endif()
run(${CMAKE_COMMAND} -E env ${environment} ${CMAKE_CTEST_COMMAND} --test-dir ${work}/template/build --no-tests=error
    --output-on-failure ${which})
