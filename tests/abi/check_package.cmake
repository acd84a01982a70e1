# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DGENERATOR=... [-DTOOLCHAIN=...] [-DEMULATOR=...]
#     -P check_package.cmake
# Installs the build as an integrator gets it, builds the example against it by find_package, and runs
# that.
cmake_minimum_required(VERSION 3.25)
set(stage ${BUILD_DIR}/package_check)
file(REMOVE_RECURSE ${stage})

function(run)
    execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE output
        RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGV}\n${output}")
    endif()
    message(STATUS "${output}")
endfunction()

set(options)
if(TOOLCHAIN)
    list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${stage}/installed)
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE_DIR}/examples/minimal_host -B ${stage}/example
    -DCameraModule_DIR=${stage}/installed/lib/cmake/CameraModule ${options})
run(${CMAKE_COMMAND} --build ${stage}/example)
file(GLOB program ${stage}/example/minimal_host ${stage}/example/minimal_host.exe)
cmake_path(GET program FILENAME name)
file(COPY ${program} DESTINATION ${stage}/installed/bin)
run(${EMULATOR} ${stage}/installed/bin/${name})
