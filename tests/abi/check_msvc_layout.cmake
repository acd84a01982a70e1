# cmake -DCLANG=... -DSOURCE_DIR=... -P check_msvc_layout.cmake
# Compiles the boundary's headers for MSVC's binary interface and compares the slots of the virtual
# operations with those the host calls through.
cmake_minimum_required(VERSION 3.25)
set(slots
    "0 | CAbstractUserModule::~CAbstractUserModule()"
    "1 | std::uint32_t CAbstractUserModule::Reserved("
    "2 | std::uint32_t CAbstractUserModule::GetParam("
    "3 | std::uint32_t CAbstractUserModule::SetParam("
    "4 | std::uint32_t CAbstractUserModule::GetCurrentConfig("
    "5 | std::uint32_t CAbstractUserModule::SaveModuleData("
    "6 | std::uint32_t CAbstractUserModule::LoadModuleData("
    "7 | std::uint32_t CAbstractUserModule::Init("
    "8 | std::uint32_t CAbstractUserModule::DeInit(")

execute_process(
    COMMAND ${CLANG} --target=x86_64-pc-windows-msvc -std=c++20 -Wall -Wextra -Werror
        -ffreestanding -nostdlibinc -nostdinc++
        -isystem ${SOURCE_DIR}/tests/abi/freestanding -I ${SOURCE_DIR}
        -Xclang -fdump-vtable-layouts -S -emit-llvm -o -
        ${SOURCE_DIR}/tests/abi/binary_boundary.cpp
    OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "the boundary does not compile for MSVC's interface:\n${errors}")
endif()

string(FIND "${output}" "VFTable indices for 'CAbstractUserModule' (9 entries)" table)
if(table EQUAL -1)
    message(FATAL_ERROR "no table of nine operations:\n${output}")
endif()
string(SUBSTRING "${output}" ${table} -1 indices)
foreach(slot IN LISTS slots)
    string(FIND "${indices}" "${slot}" found)
    if(found EQUAL -1)
        message(FATAL_ERROR "slot missing: ${slot}\n${output}")
    endif()
endforeach()
