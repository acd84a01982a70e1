# find_package(CameraModule): the targets CameraModule::Headers, ::CameraModule, and the stand-ins
# ::ModuleFrame, ::Xalog, ::KZCameraControl for a host without the platform's own.
include(${CMAKE_CURRENT_LIST_DIR}/CameraModuleTargets.cmake)

# The targets name MinGW's import libraries.
if(WIN32 AND NOT MINGW)
    cmake_path(SET CameraModule_libraries NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../msvc)
    foreach(CameraModule_library CameraModule ModuleFrame Xalog KZCameraControl)
        get_target_property(CameraModule_builds CameraModule::${CameraModule_library}
            IMPORTED_CONFIGURATIONS)
        foreach(CameraModule_build IN LISTS CameraModule_builds)
            set_target_properties(CameraModule::${CameraModule_library} PROPERTIES
                IMPORTED_IMPLIB_${CameraModule_build}
                ${CameraModule_libraries}/${CameraModule_library}.lib)
        endforeach()
    endforeach()
endif()
