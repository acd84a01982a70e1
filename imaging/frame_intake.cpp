#include "imaging/frame_intake.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/log.h"
#include "base/on_exit.h"
#include "camera/sdk/pixel_format.h"
#include "imaging/frame_rules.h"

namespace cam {

namespace {

constexpr char kFunction[] = "CCameraModule::DoImageCallBack";

}  // namespace

void FrameIntake::DoImageCallBack(std::uint8_t* data, const FrameOutInfo* info) try {
    // Lets the shutdown know whether the module is handling a frame.
    m_events.EventDeinit.Reset();
    const OnExit done([this] { m_events.EventDeinit.Set(); });
    const StopGate::Callback callback(m_stopGate, StopGate::Source::Frame);
    if (info == nullptr || info->height == 0 || info->width == 0) {
        return;
    }
    CAM_LOG(kLogDebug, ModuleId(), kFunction, "CameraModuleDebug:DoImageCallBack Start");
    if (m_camera.InRealTimeMode()) {
        return;
    }
    if (!m_receivers.AnyReceiver()) {
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "Received image from camera: %s, frame number: %d,relate proc is empty",
                m_camera.Key().c_str(), static_cast<int>(info->frameNumber));
        return;
    }
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "Received image from camera: %s, frame number: %d",
            m_camera.Key().c_str(), static_cast<int>(info->frameNumber));
    m_notices.ReportFrame(info->frameNumber, m_camera.Key());
    if (m_settings.debugMode.Get()) {
        return;
    }
    if (!callback.OnlyFrame()) {
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "Frame lost, another one is still taken in, frame number:%d",
                static_cast<int>(info->frameNumber));
        return;
    }
    if (TakeFrame(data, *info)) {
        // Logged as an error so that it is visible at every level.
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "CameraModule:Image callback end.frame number : %d",
                static_cast<int>(info->frameNumber));
    }
} catch (...) {
    CAM_LOG(kLogError, ModuleId(), kFunction, "Frame lost, out of memory");
}

bool FrameIntake::TakeFrame(std::uint8_t* data, const FrameOutInfo& info) {
    const auto number = static_cast<int>(info.frameNumber);
    FrameStore::FrameUnderWay frame(m_store);
    const std::int32_t limit = m_settings.imageCacheNum.Get();
    if (!frame.HasRoom(limit)) {
        CAM_LOG(kLogInfo, ModuleId(), kFunction,
                "Image buffer queue count > %d, throw current image, frame number:%d", limit,
                number);
        return false;
    }

    BufferNode source;
    source.width = info.width;
    source.height = info.height;
    source.pixelType = info.pixelType;
    source.dataLength = info.frameLength;
    source.data = data;
    if (IsCompressedFormat(info.pixelType) && !DecodeFrame(frame, info, source)) {
        return false;
    }

    const std::uint32_t bytesPerPixel =
        pixel_format::BitsPerPixel(OutputFormatOf(info.pixelType)) / 8;
    const std::uint64_t length = ImageBytes(info.width, info.height, bytesPerPixel);
    BufferNode output;
    if (!GetOutputNode(frame, info, length, output)) {
        return false;
    }
    if (output.data == nullptr) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Out of memory");
    } else {
        if (!FillOutputNode(info, source, length, output)) {
            return false;
        }
        if (source.capacity > 0) {
            static_cast<void>(m_store.FreeBuf(source));
        }
    }
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "push frame to list success.frame number : %d",
            number);
    if (!frame.Publish(output)) {
        CAM_LOG(kLogWarning, ModuleId(), kFunction,
                "Warning:Image dropped by a clear while it was taken in, frame number:%d", number);
        return false;
    }
    return true;
}

bool FrameIntake::DecodeFrame(FrameStore::FrameUnderWay& frame, const FrameOutInfo& info,
                              BufferNode& source) {
    const auto number = static_cast<int>(info.frameNumber);
    CAM_LOG(kLogDebug, ModuleId(), kFunction, "this frame is encode .frame number : %d", number);
    const std::uint64_t size =
        ImageBytes(info.width, info.height, DecodedBytesPerPixel(info.pixelType));
    BufferNode decoded;
    if (frame.GetFreeNodeCount() < 1) {
        if (!AddNode(frame, size, info.frameNumber, decoded)) {
            return false;
        }
    } else if (!TakeFreeNode(frame, size, NodePool::Fit::AtLeast, info.frameNumber, decoded) ||
               (decoded.capacity < size && !ResizeNode(frame, size, info.frameNumber, decoded))) {
        return false;
    }

    HbDecodeParam param{};
    param.source = source.data;
    param.sourceLength = info.frameLength;
    param.destination = decoded.data;
    param.destinationCapacity = static_cast<std::uint32_t>(size);
    if (const Status status = m_camera.DecodeFrame(&param); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "iamge decode error, frame number:%d,%x", number,
                status);
        return false;
    }
    decoded.width = source.width;
    decoded.height = source.height;
    decoded.pixelType = param.decodedPixelType;
    decoded.dataLength = std::min(param.decodedLength, decoded.capacity);
    source = decoded;
    CAM_LOG(kLogDebug, ModuleId(), kFunction, "this frame decode success .frame number : %d",
            number);
    return true;
}

bool FrameIntake::GetOutputNode(FrameStore::FrameUnderWay& frame, const FrameOutInfo& info,
                                std::uint64_t length, BufferNode& output) {
    if (frame.GetFreeNodeCount() < 1) {
        if (!AddNode(frame, length, info.frameNumber, output)) {
            return false;
        }
        CAM_LOG(kLogDebug, ModuleId(), kFunction, "AddOneNode %s", output.sharedName);
    } else {
        if (!TakeFreeNode(frame, length, NodePool::Fit::Exactly, info.frameNumber, output)) {
            return false;
        }
        CAM_LOG(kLogDebug, ModuleId(), kFunction, "GetFreeNodeCount %s", output.sharedName);
    }
    output.frameNumber = info.frameNumber;
    output.height = info.height;
    output.width = info.width;
    output.pixelType = OutputFormatOf(info.pixelType);
    output.tagValue = info.tagValue;
    if (output.capacity == length) {
        return true;
    }
    CAM_LOG(kLogDebug, ModuleId(), kFunction,
            "this frame size change .need reallco .frame number : %d",
            static_cast<int>(info.frameNumber));
    if (!ResizeNode(frame, length, info.frameNumber, output)) {
        return false;
    }
    CAM_LOG(kLogDebug, ModuleId(), kFunction, "RellocNodeMainBuf %s", output.sharedName);
    return true;
}

bool FrameIntake::FillOutputNode(const FrameOutInfo& info, const BufferNode& source,
                                 std::uint64_t length, BufferNode& output) {
    const auto number = static_cast<int>(info.frameNumber);
    if (source.pixelType == output.pixelType) {
        if (source.data == nullptr || source.dataLength != length) {
            CAM_LOG(kLogError, ModuleId(), kFunction, "Recv size [%d],need output size [%d]",
                    static_cast<int>(source.dataLength), static_cast<int>(length));
            return false;
        }
        output.dataLength = source.dataLength;
        std::memcpy(output.data, source.data, std::min(output.dataLength, output.capacity));
        return true;
    }
    CAM_LOG(kLogDebug, ModuleId(), kFunction,
            "this frame need change pixel format.old:%x,new:%x .frame number : %d",
            source.pixelType, output.pixelType, number);
    if (const Status status = ConvertPixelFormat(source, output); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "KZS SDK Convert Failed, Ret:%d",
                static_cast<int>(status));
        return false;
    }
    CAM_LOG(kLogDebug, ModuleId(), kFunction,
            "this frame change pixel format success .frame number : %d", number);
    return true;
}

bool FrameIntake::AddNode(FrameStore::FrameUnderWay& frame, std::uint64_t size,
                          std::uint32_t frameNumber, BufferNode& node) {
    if (size > std::numeric_limits<std::uint32_t>::max() ||
        frame.AddOneNode(static_cast<std::uint32_t>(size), node) != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "Image buffer add buf node error, frame number:%d", static_cast<int>(frameNumber));
        return false;
    }
    return true;
}

bool FrameIntake::TakeFreeNode(FrameStore::FrameUnderWay& frame, std::uint64_t size,
                               NodePool::Fit fit, std::uint32_t frameNumber, BufferNode& node) {
    const auto free = frame.TakeFreeNode(size, fit);
    if (!free) {
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "Image buffer get free node error, frame number:%d", static_cast<int>(frameNumber));
        return false;
    }
    node = *free;
    return true;
}

bool FrameIntake::ResizeNode(FrameStore::FrameUnderWay& frame, std::uint64_t size,
                             std::uint32_t frameNumber, BufferNode& node) {
    if (size > std::numeric_limits<std::uint32_t>::max() ||
        frame.RellocNode(static_cast<std::uint32_t>(size), node) != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Image buffer relloc node error, frame number:%d",
                static_cast<int>(frameNumber));
        return false;
    }
    return true;
}

Status FrameIntake::ConvertPixelFormat(const BufferNode& source, BufferNode& output) {
    PixelConvertParam param{};
    param.width = static_cast<std::uint16_t>(output.width);
    param.height = static_cast<std::uint16_t>(output.height);
    param.sourcePixelType = source.pixelType;
    param.source = source.data;
    param.sourceLength = source.dataLength;
    param.destinationPixelType = output.pixelType;
    param.destination = output.data;
    param.destinationCapacity = output.capacity;
    const Status status = m_camera.ConvertPixelType(&param);
    if (status != kOk) {
        CAM_LOG(kLogError, ModuleId(), "CCameraModule::ConvertPixelFormat",
                "ConvertPixelFormatToRGB occurs error:%d.", static_cast<int>(status));
        return status;
    }
    output.dataLength = std::min(param.convertedLength, output.capacity);
    return kOk;
}

}  // namespace cam
