# The installed GoogleTest, if there is one for the system that is built for. Else, and for sanitizers,
# which must see it, Debian's source package, built with the project's own compiler and flags.
if(NOT CAMERA_MODULE_SANITIZE)
    find_package(GTest CONFIG QUIET)
endif()
if(NOT TARGET GTest::gmock_main)
    find_path(GOOGLETEST_SOURCE CMakeLists.txt PATHS /usr/src/googletest NO_DEFAULT_PATH
        NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(${GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endif()
# add_project_test(name SOURCES ... LIBRARIES ... [TIMEOUT s] [SHARDS n] [ENVIRONMENT ...]): one test
# program, run as a whole, because starting a program under Wine costs more than most of its cases;
# with SHARDS as that many tests side by side, for one that waits long and often.
function(add_project_test name)
    cmake_parse_arguments(TEST "" "TIMEOUT;SHARDS" "SOURCES;LIBRARIES;ENVIRONMENT" ${ARGN})
    if(NOT TEST_TIMEOUT)
        set(TEST_TIMEOUT 180)
    endif()
    add_executable(${name} ${TEST_SOURCES})
    target_link_libraries(${name} PRIVATE project_options GTest::gmock_main ${TEST_LIBRARIES})
    if(NOT TEST_SHARDS)
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES
            TIMEOUT ${TEST_TIMEOUT} ENVIRONMENT "${TEST_ENVIRONMENT}")
        return()
    endif()
    foreach(shard RANGE 1 ${TEST_SHARDS})
        math(EXPR index "${shard} - 1")
        add_test(NAME ${name}_${shard} COMMAND ${name})
        # Begun first, as the run is over when the last of these is.
        set_tests_properties(${name}_${shard} PROPERTIES TIMEOUT ${TEST_TIMEOUT} COST 100 ENVIRONMENT
            "${TEST_ENVIRONMENT};GTEST_TOTAL_SHARDS=${TEST_SHARDS};GTEST_SHARD_INDEX=${index}")
    endforeach()
endfunction()
