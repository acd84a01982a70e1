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

# Of its three neighbours, what their interfaces offer; of the base class, what the framework implements.
set(ModuleFrame_functions CQ_M_[A-Za-z]+
    "\\?\\?[01]CAbstractUserModule@@[QU]EAA@XZ" "\\?Reserved@CAbstractUserModule@@UEAAIXZ"
    "\\?SaveModuleData@CAbstractUserModule@@UEAAIPEAUSAVE_MODULE_DATA_PARAM@@@Z")
set(Xalog_functions Xalog_[A-Za-z]+)
set(KZCameraControl_functions KZ_[A-Z]+_[A-Za-z_]+)
set(system_libraries ADVAPI32 KERNEL32 MSVCRT OLE32 WINDOWSCODECS)

string(REGEX MATCHALL "DLL Name: [^\n]+\n[^\n]+\n([ \t]+[0-9a-f]+[ \t]+[0-9]+ [^\n]+\n)*" tables
    "${headers}")
set(imports)
foreach(table IN LISTS tables)
    string(REGEX MATCH "DLL Name: ([^\r\n]+)\\.[dD][lL][lL]" name "${table}")
    set(name ${CMAKE_MATCH_1})
    list(APPEND imports ${name})
    if(DEFINED ${name}_functions)
        string(REGEX MATCHALL "[0-9a-f]+[ \t]+[0-9]+  ?[^ \r\n]+\n" functions "${table}")
        list(TRANSFORM functions REPLACE ".* ([^ ]+)\n" "\\1")
        list(JOIN ${name}_functions "|" offered)
        list(FILTER functions EXCLUDE REGEX "^(${offered})$")
        if(functions)
            message(FATAL_ERROR "imports of ${name}: ${functions}")
        endif()
        continue()
    endif()
    string(TOUPPER "${name}" upper)
    if(NOT upper IN_LIST system_libraries AND NOT upper MATCHES "^API-MS-WIN-")
        message(FATAL_ERROR "imports ${name}")
    endif()
endforeach()
foreach(needed ModuleFrame Xalog KZCameraControl)
    if(NOT needed IN_LIST imports)
        message(FATAL_ERROR "does not import ${needed}")
    endif()
endforeach()
