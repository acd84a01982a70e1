# cmake -DSTAGE=... -DNAME=... -DSOURCE_DIR=... -DGENERATOR=... -DRUN=... [-DTOOLCHAIN=...] [-DOPTIONS=...]
#     [-DEMULATOR=...] -P check_package.cmake
# Builds the project in SOURCE_DIR against the package installed in STAGE, as an integrator does, by
# find_package, and runs its programs. In RUN '|' stands between two runs.
cmake_minimum_required(VERSION 3.25)
set(build ${STAGE}/${NAME})
file(REMOVE_RECURSE ${build})

function(run)
    execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE output
        RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGV}\n${output}")
    endif()
    message(STATUS "${output}")
endfunction()

if(TOOLCHAIN)
    set(toolchain -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE_DIR} -B ${build} ${toolchain} ${OPTIONS}
    -DCMAKE_PREFIX_PATH=${STAGE}/installed)
run(${CMAKE_COMMAND} --build ${build})
string(REPLACE "|" ";" RUN "${RUN}")
foreach(program IN LISTS RUN)
    separate_arguments(program)
    run(${EMULATOR} ${build}/${program})
endforeach()
