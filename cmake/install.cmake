# What an integrator gets:
#   module/      what goes into the host's folder, and nothing else
#   standins/    camera_host with the stand-ins that it runs on and a module of its own
#   include/     the headers of the boundary
#   lib/         import libraries for MinGW and MSVC; find_package(CameraModule)
#   share/doc/   the pages and the examples
include(CMakePackageConfigHelpers)

set(libraries CameraModule ModuleFrame Xalog KZCameraControl)
set(package_dir lib/cmake/CameraModule)
set(header_dir include/camera_module)
set(doc_dir share/doc/CameraModule)

add_library(camera_module_headers INTERFACE)
set_target_properties(camera_module_headers PROPERTIES EXPORT_NAME Headers)
target_compile_features(camera_module_headers INTERFACE cxx_std_20)
target_include_directories(camera_module_headers INTERFACE $<INSTALL_INTERFACE:${header_dir}>)

install(TARGETS CameraModule EXPORT CameraModuleTargets
    RUNTIME DESTINATION module LIBRARY DESTINATION module ARCHIVE DESTINATION lib/mingw)
install(TARGETS camera_module_headers ModuleFrame Xalog KZCameraControl EXPORT CameraModuleTargets
    RUNTIME DESTINATION standins LIBRARY DESTINATION standins ARCHIVE DESTINATION lib/mingw)
if(CAMERA_MODULE_HOST)
    install(TARGETS camera_host CameraModule
        RUNTIME DESTINATION standins LIBRARY DESTINATION standins ARCHIVE DESTINATION lib/mingw)
endif()
install(FILES standins/module_frame/GlobalCameraModuleAlgorithm.xml DESTINATION standins)

# Made by the program itself, so only where it runs.
if(CAMERA_MODULE_HOST AND NOT CMAKE_CROSSCOMPILING)
    set(man_page ${CMAKE_BINARY_DIR}/camera_host.1)
    set(completion ${CMAKE_BINARY_DIR}/camera_host.bash)
    add_custom_command(OUTPUT ${man_page} ${completion}
        COMMAND camera_host man > ${man_page}
        COMMAND camera_host completion > ${completion}
        DEPENDS camera_host VERBATIM)
    add_custom_target(camera_host_pages ALL DEPENDS ${man_page} ${completion})
    install(FILES ${man_page} DESTINATION share/man/man1)
    install(FILES ${completion} DESTINATION share/bash-completion/completions RENAME camera_host)
endif()

# MSVC's linker does not read the import libraries that MinGW's makes.
if(WIN32)
    find_program(LLVM_DLLTOOL llvm-dlltool REQUIRED)
    foreach(library IN LISTS libraries)
        get_target_property(definitions ${library} SOURCES)
        list(FILTER definitions INCLUDE REGEX "\\.def$")
        get_target_property(folder ${library} SOURCE_DIR)
        cmake_path(ABSOLUTE_PATH definitions BASE_DIRECTORY ${folder})
        set(import_library ${CMAKE_BINARY_DIR}/lib/msvc/${library}.lib)
        add_custom_command(OUTPUT ${import_library}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/lib/msvc
            COMMAND ${LLVM_DLLTOOL} -m i386:x86-64 -d ${definitions}
                -D $<TARGET_FILE_NAME:${library}> -l ${import_library}
            DEPENDS ${definitions} VERBATIM)
        list(APPEND import_libraries ${import_library})
    endforeach()
    add_custom_target(msvc_import_libraries ALL DEPENDS ${import_libraries})
    install(FILES ${import_libraries} DESTINATION lib/msvc)
endif()

foreach(header
        camera/sdk/kz_camera_control.h camera/sdk/pixel_format.h
        imaging/buffer_node.h
        module/exports.h
        module/framework/module_frame.h module/framework/status_codes.h
        module/log/xalog.h
        standins/kz_camera_control/camera_inspection.h
        standins/kz_camera_control/simulated_cameras.h
        standins/module_frame/module_frame_host.h
        standins/xalog/xalog_host.h)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${header_dir}/${folder})
endforeach()

install(FILES README.md INSTALL.md THIRD_PARTY.md DESTINATION ${doc_dir})
install(DIRECTORY docs DESTINATION ${doc_dir} FILES_MATCHING PATTERN "*.md")
install(DIRECTORY examples DESTINATION ${doc_dir})

install(EXPORT CameraModuleTargets NAMESPACE CameraModule:: DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/CameraModuleConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES cmake/CameraModuleConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/CameraModuleConfigVersion.cmake DESTINATION ${package_dir})
