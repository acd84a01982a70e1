#include "imaging/local_images.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <utility>

#include "base/log.h"
#include "camera/sdk/pixel_format.h"
#include "platform/code_page.h"
#include "platform/file_system.h"

namespace cam {

namespace {

constexpr std::string_view kPictureEndings[] = {".bmp", ".jpg", ".png", ".jpeg", ".tif"};

// Any picture decodes well within this; bounds the host's wait on a hanging file system.
constexpr std::chrono::milliseconds kDecodeWait{10'000};
// How often the decoder checks for a stop while the queue is full; taking a picture ends the wait.
constexpr std::chrono::milliseconds kRoomLook{500};

}  // namespace

bool IsPictureName(std::string_view name) {
    return std::any_of(std::begin(kPictureEndings), std::end(kPictureEndings),
                       [&](std::string_view ending) { return name.find(ending) != name.npos; });
}

LocalImages::LocalImages() : m_decoder([this] { KeepDecoding(); }, &m_room) {
    static_cast<void>(m_decoded.Create());
    static_cast<void>(m_room.Create());
}

LocalImages::~LocalImages() {
    Clear();
}

Status LocalImages::ScanFolder(std::string_view folder) {
    const LockGuard hold(m_lock);
    Forget();
    if (!platform::PathExists(folder)) {
        return kNoImageFolder;
    }
    const auto names = platform::ListFolder(folder);
    if (!names) {
        return kNoImageFolder;
    }
    // The names are always UTF-8, and a path must not mix encodings.
    const std::string root = platform::AsUtf8(folder);
    for (const std::string& name : *names) {
        if (IsPictureName(name)) {
            m_paths.push_back(platform::JoinPath(root, name));
        }
    }
    return kOk;
}

void LocalImages::Forget() {
    m_paths.clear();
    m_ahead.clear();
    m_aheadBytes = 0;
    m_next = 0;
    m_brokenInARow = 0;
    ++m_scan;
    m_room.Set();
    m_decoded.Set();  // waiters check whether any picture is still to come
}

void LocalImages::Clear() {
    m_decoder.Stop();
    const LockGuard hold(m_lock);
    Forget();
}

bool LocalImages::RoomAhead() const {
    // Rotation needs the current picture and the next one, whatever their size.
    return m_ahead.size() < 2 || (m_ahead.size() < kPicturesAhead && m_aheadBytes < kAheadBytes);
}

void LocalImages::KeepDecoding() {
    while (!m_decoder.StopRequested()) {
        try {
            if (DecodeNext()) {
                continue;
            }
        } catch (...) {
            // The file is tried again: nothing is wrong with it.
            m_room.Reset();
            CAM_LOG(kLogError, m_moduleId.Get(), "LocalImages::KeepDecoding",
                    "Local image not decoded, out of memory");
        }
        m_room.WaitFor(kRoomLook);
    }
}

bool LocalImages::DecodeNext() {
    std::string path;
    std::uint64_t scan = 0;
    {
        const LockGuard hold(m_lock);
        if (m_brokenInARow >= m_paths.size() || !RoomAhead()) {
            m_room.Reset();
            return false;
        }
        path = m_paths[m_next];
        scan = m_scan;
    }
    const Picture picture = Decode(path);
    const LockGuard hold(m_lock);
    if (scan != m_scan) {
        return true;
    }
    if (picture != nullptr) {
        m_ahead.push_back(picture);
        m_aheadBytes += picture->pixels.size();
        m_brokenInARow = 0;
    } else {
        ++m_brokenInARow;
    }
    m_next = (m_next + 1) % m_paths.size();
    m_decoded.Set();
    return true;
}

LocalImages::Picture LocalImages::Decode(const std::string& path) const {
    std::string error;
    try {
        if (auto image = platform::DecodeImageFile(path, kMaxPictureBytes, error)) {
            return std::make_shared<const platform::DecodedImage>(std::move(*image));
        }
    } catch (const std::bad_alloc&) {
        error = "out of memory";
    }
    CAM_LOG(kLogError, m_moduleId.Get(), "LocalImages::Decode", "Local image [%s] passed over: %s",
            path.c_str(), error.c_str());
    return nullptr;
}

LocalImages::Picture LocalImages::NextPicture(bool advance) {
    for (;;) {
        {
            const LockGuard hold(m_lock);
            const std::size_t needed = advance ? 2 : 1;
            if (m_ahead.size() >= needed) {
                if (advance) {
                    m_aheadBytes -= m_ahead.front()->pixels.size();
                    m_ahead.pop_front();
                    m_room.Set();
                }
                return m_ahead.front();
            }
            if (m_brokenInARow >= m_paths.size()) {
                return nullptr;
            }
            m_decoded.Reset();
        }
        if (!m_decoder.Start() || !m_decoded.WaitFor(kDecodeWait)) {
            return nullptr;
        }
    }
}

std::optional<BufferNode> LocalImages::Deliver(bool advance) {
    const Picture picture = NextPicture(advance);
    return picture != nullptr ? CopyOf(*picture) : std::nullopt;
}

std::optional<BufferNode> LocalImages::CopyOf(const platform::DecodedImage& picture) {
    const std::size_t length = picture.pixels.size();
    std::unique_ptr<std::uint8_t[]> block(new (std::nothrow) std::uint8_t[length]);
    if (block == nullptr) {
        return std::nullopt;
    }
    std::memcpy(block.get(), picture.pixels.data(), length);
    BufferNode node;
    node.width = picture.width;
    node.height = picture.height;
    node.pixelType = picture.channels == 1 ? pixel_format::kMono8 : pixel_format::kRGB8;
    node.dataLength = static_cast<std::uint32_t>(length);
    node.data = block.get();
    node.sharedName = "";
    const LockGuard hold(m_deliveredLock);
    node.frameNumber = ++m_deliveredCount;
    m_delivered.emplace(node.data, std::move(block));
    return node;
}

bool LocalImages::FreeDelivered(const BufferNode& node) {
    const LockGuard hold(m_deliveredLock);
    return m_delivered.erase(node.data) != 0;
}

}  // namespace cam
