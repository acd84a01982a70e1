# What every target of the project is compiled with: an interface library, so that libraries from
# outside (GoogleTest) are left alone.
add_library(project_options INTERFACE)
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(project_options INTERFACE
    CAMERA_MODULE_CHECK_LOCK_ORDER=$<BOOL:${CAMERA_MODULE_CHECK_LOCK_ORDER}>)

option(CAMERA_MODULE_WARNINGS_AS_ERRORS "A warning of the compiler fails the build" ON)
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2
    -Wno-format-nonliteral -Wimplicit-fallthrough
    # GCC 12 is wrong about a text that is added to a literal in a release build.
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
    $<$<BOOL:${CAMERA_MODULE_WARNINGS_AS_ERRORS}>:-Werror>)

if(WIN32)
    # The host knows the libraries by their bare names.
    set(CMAKE_SHARED_LIBRARY_PREFIX "")
    # Windows 10, and no library of the compiler's beside ours.
    target_compile_definitions(project_options INTERFACE
        _WIN32_WINNT=0x0A00 WIN32_LEAN_AND_MEAN NOMINMAX)
    if(MINGW)
        target_link_options(project_options INTERFACE -static)
    endif()
endif()

if(CAMERA_MODULE_SANITIZE)
    add_compile_options(-fsanitize=${CAMERA_MODULE_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${CAMERA_MODULE_SANITIZE})
endif()

if(CAMERA_MODULE_THREAD_SAFETY_ANALYSIS)
    target_compile_options(project_options INTERFACE -Wthread-safety -Wthread-safety-beta)
endif()
