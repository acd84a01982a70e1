// Frames as files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "imaging/buffer_node.h"

namespace host {

enum class PictureFormat { Png, Tiff, Raw };

// "png", "tiff", "raw".
[[nodiscard]] std::optional<PictureFormat> ParsePictureFormat(std::string_view text);
[[nodiscard]] const char* PictureFormatName(PictureFormat format);

// "Mono8", "RGB8"; "unknown" for what the module does not deliver.
[[nodiscard]] const char* PixelTypeName(std::uint32_t pixelType);

// Writes the picture of a record to `path`, its ending added: ".png", ".tif" or ".raw" with a text
// ".txt" beside it. A file has its name only once it is complete. Gives the size of the files;
// throws host::Failure with the system's reason. Any thread.
std::uint64_t WritePicture(const cam::BufferNode& record, PictureFormat format,
                           const std::filesystem::path& path);

}  // namespace host
