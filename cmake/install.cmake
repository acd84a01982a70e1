# What an integrator gets: programs and libraries side by side in bin/, import libraries in lib/, the
# headers of the boundary, the pages, and find_package(CameraModule).
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/CameraModule)
set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/camera_module)

add_library(camera_module_headers INTERFACE)
set_target_properties(camera_module_headers PROPERTIES EXPORT_NAME Headers)
target_compile_features(camera_module_headers INTERFACE cxx_std_20)
target_include_directories(camera_module_headers INTERFACE $<INSTALL_INTERFACE:${header_dir}>)

install(TARGETS camera_module_headers CameraModule ModuleFrame Xalog KZCameraControl
    EXPORT CameraModuleTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_BINDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(CAMERA_MODULE_HOST)
    install(TARGETS camera_host RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

foreach(header
        camera/sdk/kz_camera_control.h camera/sdk/pixel_format.h
        imaging/buffer_node.h
        module/exports.h
        module/framework/module_frame.h module/framework/status_codes.h
        module/log/xalog.h
        standins/kz_camera_control/simulated_cameras.h
        standins/module_frame/module_frame_host.h
        standins/xalog/xalog_host.h)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${header_dir}/${folder})
endforeach()

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md")
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES standins/module_frame/GlobalCameraModuleAlgorithm.xml
    DESTINATION ${CMAKE_INSTALL_DOCDIR})

install(EXPORT CameraModuleTargets NAMESPACE CameraModule:: DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/CameraModuleConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES cmake/CameraModuleConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/CameraModuleConfigVersion.cmake DESTINATION ${package_dir})

set(CPACK_PACKAGE_NAME camera-module)
if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_PACKAGE_FILE_NAME camera-module-${PROJECT_VERSION}-win64)
else()
    set(CPACK_GENERATOR TGZ)
    set(CPACK_PACKAGE_FILE_NAME
        camera-module-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR})
endif()
set(CPACK_STRIP_FILES ON)
include(CPack)
