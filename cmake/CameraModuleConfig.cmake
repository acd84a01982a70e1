# find_package(CameraModule): the targets CameraModule::Headers, ::CameraModule, and the stand-ins
# ::ModuleFrame, ::Xalog, ::KZCameraControl for a host without the platform's own.
include(${CMAKE_CURRENT_LIST_DIR}/CameraModuleTargets.cmake)
