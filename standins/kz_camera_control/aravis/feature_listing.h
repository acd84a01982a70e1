// A readable list of a camera's features.
#pragma once

#include "standins/kz_camera_control/aravis/glib_ptr.h"
#include "standins/kz_camera_control/camera.h"

namespace kz {

// As Device::Describe. Only reads. KZ_CC_E_DEVICE_LOST: the camera did not respond; the features
// shown so far are valid.
[[nodiscard]] Code DescribeFeatures(ArvDevice* device, const char* name,
                                    const FeatureVisitor& visit);

}  // namespace kz
