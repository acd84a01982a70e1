# cmake -DOBJDUMP=... -DLIBRARY=... -P check_windows_library.cmake
# The library exports its two functions and nothing else, and needs nothing that a Windows machine
# with the host on it lacks.
cmake_minimum_required(VERSION 3.25)
execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY} OUTPUT_VARIABLE headers RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${LIBRARY} cannot be read")
endif()

string(REGEX MATCH "\\[Ordinal/Name Pointer\\] Table[^\n]*\n(([ \t]+\\[[^\n]*\n)+)" table "${headers}")
string(REGEX MATCHALL "\\] [A-Za-z_@?$0-9]+" exports "${CMAKE_MATCH_1}")
list(TRANSFORM exports REPLACE "\\] " "")
list(SORT exports)
if(NOT exports STREQUAL "CreateModule;DestroyModule")
    message(FATAL_ERROR "exports: ${exports}")
endif()

set(system_libraries ADVAPI32 KERNEL32 MSVCRT OLE32 WINDOWSCODECS)
string(REGEX MATCHALL "DLL Name: [^\r\n]+" imports "${headers}")
list(TRANSFORM imports REPLACE "DLL Name: " "")
foreach(import IN LISTS imports)
    string(TOUPPER "${import}" name)
    string(REGEX REPLACE "\\.DLL$" "" name "${name}")
    if(name IN_LIST system_libraries OR name MATCHES "^API-MS-WIN-" OR
            import MATCHES "^(ModuleFrame|Xalog|KZCameraControl)\\.dll$")
        continue()
    endif()
    message(FATAL_ERROR "imports ${import}")
endforeach()
foreach(needed ModuleFrame.dll Xalog.dll KZCameraControl.dll)
    if(NOT needed IN_LIST imports)
        message(FATAL_ERROR "does not import ${needed}")
    endif()
endforeach()
