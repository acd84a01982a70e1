// What a camera tells of its features, for people.
#pragma once

#include "standins/kz_camera_control/aravis/glib_ptr.h"
#include "standins/kz_camera_control/camera.h"

namespace kz {

// As Device::Describe. Reads only. KZ_CC_E_DEVICE_LOST: the camera did not answer; those shown so
// far hold.
[[nodiscard]] Code DescribeFeatures(ArvDevice* device, const char* name,
                                    const FeatureVisitor& visit);

}  // namespace kz
