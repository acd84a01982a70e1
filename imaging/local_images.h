// The pictures of a folder in rotation, instead of a camera.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/lock.h"
#include "base/relaxed.h"
#include "base/worker_thread.h"
#include "imaging/buffer_node.h"
#include "module/framework/status_codes.h"
#include "pictures/image_decoder.h"
#include "platform/event.h"

namespace cam {

// A thread of this object decodes the files, a few ahead of the host, from the first Deliver on; a
// file that cannot be decoded is logged and skipped. At most kPicturesAhead pictures are kept, more
// than two only while they total less than kAheadBytes; a picture above kMaxPictureBytes counts as
// broken.
class LocalImages {
  public:
    static constexpr std::size_t kPicturesAhead = 4;
    static constexpr std::uint64_t kAheadBytes = 256ULL << 20;
    static constexpr std::uint64_t kMaxPictureBytes = 256ULL << 20;

    LocalImages();
    ~LocalImages();

    // For log lines.
    void SetModuleId(std::int32_t moduleId) { m_moduleId.Set(moduleId); }

    // Replaces the pictures by those of the folder, in the order the file system lists them.
    // kNoImageFolder: it is missing or cannot be listed; no picture is left.
    [[nodiscard]] Status ScanFolder(std::string_view folder);

    // The current picture, after moving to the next if `advance` is set (so the first call then
    // returns the second picture), in its own heap block, to be freed by FreeDelivered. Nothing
    // when there is no picture. Waits for a decoding in progress, within a bound.
    [[nodiscard]] std::optional<BufferNode> Deliver(bool advance);

    // True when the record is a delivered picture, whose block it frees.
    bool FreeDelivered(const BufferNode& node);

    // Ends the decoding and drops the pictures; the host keeps delivered blocks.
    void Clear();

  private:
    using Picture = std::shared_ptr<const platform::DecodedImage>;

    void Forget() REQUIRES(m_lock);
    void KeepDecoding();
    // Decodes one file; false when the queue is full or there is nothing to decode. May throw
    // std::bad_alloc.
    [[nodiscard]] bool DecodeNext();
    // Null when the file cannot be decoded; the reason is logged.
    [[nodiscard]] Picture Decode(const std::string& path) const;
    [[nodiscard]] bool RoomAhead() const REQUIRES(m_lock);
    [[nodiscard]] Picture NextPicture(bool advance);
    [[nodiscard]] std::optional<BufferNode> CopyOf(const platform::DecodedImage& picture);

    Relaxed<std::int32_t> m_moduleId{0};

    // Not held while decoding.
    mutable Lock m_lock{LockRank::Leaf, "local images"};
    std::vector<std::string> m_paths GUARDED_BY(m_lock);
    std::uint64_t m_scan GUARDED_BY(m_lock) = 0;        // marks a decoding of an earlier folder
    std::size_t m_next GUARDED_BY(m_lock) = 0;          // index of the next path to decode
    std::size_t m_brokenInARow GUARDED_BY(m_lock) = 0;  // all of them: there is no picture
    std::deque<Picture> m_ahead GUARDED_BY(m_lock);     // front: the current picture
    std::uint64_t m_aheadBytes GUARDED_BY(m_lock) = 0;

    platform::Event m_decoded;  // a picture, or a broken file, was added
    platform::Event m_room;     // a picture was taken, or the folder changed

    Lock m_deliveredLock{LockRank::Leaf, "delivered pictures"};
    std::unordered_map<const std::uint8_t*, std::unique_ptr<std::uint8_t[]>> m_delivered
        GUARDED_BY(m_deliveredLock);
    std::uint32_t m_deliveredCount GUARDED_BY(m_deliveredLock) = 0;

    WorkerThread m_decoder;
};

// True for names that contain one of the known picture endings, in lower case, anywhere.
[[nodiscard]] bool IsPictureName(std::string_view name);

}  // namespace cam
