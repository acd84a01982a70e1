// From the SDK's frame callback into the image queue.
#include <algorithm>
#include <cstring>
#include <limits>

#include "camera/sdk/pixel_format.h"
#include "imaging/frame_rules.h"
#include "module/camera_module.h"
#include "module/log/log.h"

namespace cam {

namespace {

constexpr char kFunction[] = "CCameraModule::DoImageCallBack";

// Tells the shut-down whether a frame is in the module's hands.
class FrameInProgress {
  public:
    explicit FrameInProgress(platform::Event& done) : m_done(done) { m_done.Reset(); }
    ~FrameInProgress() { m_done.Set(); }
    FrameInProgress(const FrameInProgress&) = delete;
    FrameInProgress& operator=(const FrameInProgress&) = delete;

  private:
    platform::Event& m_done;
};

}  // namespace

void CCameraModule::ImageCallBack(std::uint8_t* data, FrameOutInfo* info, void* user) {
    if (user != nullptr) {
        static_cast<CCameraModule*>(user)->DoImageCallBack(data, info);
    }
}

void CCameraModule::DoImageCallBack(std::uint8_t* data, const FrameOutInfo* info) try {
    const FrameInProgress inProgress(EventDeinit);
    const CMyCamera::FrameCallback onThisThread(m_camera);
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
    ReportFrame(info->frameNumber);
    if (m_settings.debugMode.Get()) {
        return;
    }
    bool queued = false;
    {
        const platform::LockGuard hold(m_imageQueue.m_lock);
        queued = TakeFrame(data, *info);
        if (queued) {
            // Under the lock: a host that takes this frame and triggers the next must not take
            // this one's signal for the next one's.
            ImageArrivedEvent.Signal();
        }
    }
    if (queued) {
        ImageArrivedEvent.Wake();
        // At the error level so that it stays visible whatever level is in force.
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "CameraModule:Image callback end.frame number : %d",
                static_cast<int>(info->frameNumber));
    }
} catch (...) {
    CAM_LOG(kLogError, ModuleId(), kFunction, "Frame lost, out of memory");
}

bool CCameraModule::TakeFrame(std::uint8_t* data, const FrameOutInfo& info) {
    const auto frame = static_cast<int>(info.frameNumber);
    const std::int32_t limit = m_settings.imageCacheNum.Get();
    if (limit <= 0 || m_imageQueue.Size() >= static_cast<std::size_t>(limit)) {
        CAM_LOG(kLogInfo, ModuleId(), kFunction,
                "Image buffer queue count > %d, throw current image, frame number:%d", limit,
                frame);
        return false;
    }

    BufferNode source;
    source.width = info.width;
    source.height = info.height;
    source.pixelType = info.pixelType;
    source.dataLength = info.frameLength;
    source.data = data;
    if (IsCompressedFormat(info.pixelType) && !DecodeFrame(info, source)) {
        return false;
    }

    const std::uint32_t bytesPerPixel =
        pixel_format::BitsPerPixel(OutputFormatOf(info.pixelType)) / 8;
    const std::uint64_t length = ImageBytes(info.width, info.height, bytesPerPixel);
    BufferNode output;
    if (!GetOutputNode(info, length, output)) {
        return false;
    }
    if (output.data == nullptr) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Out of memory");
    } else {
        if (!FillOutputNode(info, source, length, output)) {
            return false;
        }
        if (source.capacity > 0) {
            FreeNode(source);
        }
    }
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "push frame to list success.frame number : %d", frame);
    m_imageQueue.Push(output);
    return true;
}

bool CCameraModule::DecodeFrame(const FrameOutInfo& info, BufferNode& source) {
    const auto frame = static_cast<int>(info.frameNumber);
    CAM_LOG(kLogDebug, ModuleId(), kFunction, "this frame is encode .frame number : %d", frame);
    const std::uint64_t size =
        ImageBytes(info.width, info.height, DecodedBytesPerPixel(info.pixelType));
    BufferNode decoded;
    if (m_bufManager.GetFreeNodeCount() < 1) {
        if (!AddNode(size, info.frameNumber, decoded)) {
            return false;
        }
    } else if (!TakeFreeNode(size, CBufManager::Fit::AtLeast, info.frameNumber, decoded) ||
               (decoded.capacity < size && !ResizeNode(size, info.frameNumber, decoded))) {
        return false;
    }

    HbDecodeParam param{};
    param.source = source.data;
    param.sourceLength = info.frameLength;
    param.destination = decoded.data;
    param.destinationCapacity = static_cast<std::uint32_t>(size);
    if (const Status status = m_camera.DecodeFrame(&param); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "iamge decode error, frame number:%d,%x", frame,
                status);
        return false;
    }
    decoded.width = source.width;
    decoded.height = source.height;
    decoded.pixelType = param.decodedPixelType;
    decoded.dataLength = std::min(param.decodedLength, decoded.capacity);
    source = decoded;
    CAM_LOG(kLogDebug, ModuleId(), kFunction, "this frame decode success .frame number : %d",
            frame);
    return true;
}

bool CCameraModule::GetOutputNode(const FrameOutInfo& info, std::uint64_t length,
                                  BufferNode& output) {
    if (m_bufManager.GetFreeNodeCount() < 1) {
        if (!AddNode(length, info.frameNumber, output)) {
            return false;
        }
        CAM_LOG(kLogDebug, ModuleId(), kFunction, "AddOneNode %s", output.sharedName);
    } else {
        if (!TakeFreeNode(length, CBufManager::Fit::Exactly, info.frameNumber, output)) {
            return false;
        }
        CAM_LOG(kLogDebug, ModuleId(), kFunction, "GetFreeNodeCount %s", output.sharedName);
    }
    output.handedOver = 0;
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
    if (!ResizeNode(length, info.frameNumber, output)) {
        return false;
    }
    CAM_LOG(kLogDebug, ModuleId(), kFunction, "RellocNodeMainBuf %s", output.sharedName);
    return true;
}

bool CCameraModule::FillOutputNode(const FrameOutInfo& info, const BufferNode& source,
                                   std::uint64_t length, BufferNode& output) {
    const auto frame = static_cast<int>(info.frameNumber);
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
            source.pixelType, output.pixelType, frame);
    if (const Status status = ConvertPixelFormat(source, output); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "KZS SDK Convert Failed, Ret:%d",
                static_cast<int>(status));
        return false;
    }
    CAM_LOG(kLogDebug, ModuleId(), kFunction,
            "this frame change pixel format success .frame number : %d", frame);
    return true;
}

bool CCameraModule::AddNode(std::uint64_t size, std::uint32_t frameNumber, BufferNode& node) {
    if (size > std::numeric_limits<std::uint32_t>::max() ||
        m_bufManager.AddOneNode(static_cast<std::uint32_t>(ModuleId()),
                                static_cast<std::uint32_t>(size), node) != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "Image buffer add buf node error, frame number:%d", static_cast<int>(frameNumber));
        return false;
    }
    return true;
}

bool CCameraModule::TakeFreeNode(std::uint64_t size, CBufManager::Fit fit,
                                 std::uint32_t frameNumber, BufferNode& node) {
    const auto free = m_bufManager.TakeFreeNode(size, fit);
    if (!free) {
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "Image buffer get free node error, frame number:%d", static_cast<int>(frameNumber));
        return false;
    }
    node = *free;
    return true;
}

bool CCameraModule::ResizeNode(std::uint64_t size, std::uint32_t frameNumber, BufferNode& node) {
    if (size > std::numeric_limits<std::uint32_t>::max() ||
        m_bufManager.RellocNode(static_cast<std::uint32_t>(ModuleId()),
                                static_cast<std::uint32_t>(size), node) != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Image buffer relloc node error, frame number:%d",
                static_cast<int>(frameNumber));
        return false;
    }
    return true;
}

Status CCameraModule::ConvertPixelFormat(const BufferNode& source, BufferNode& output) {
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
