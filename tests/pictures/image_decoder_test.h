// The fixture of the picture tests.
#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "pictures/image_decoder.h"
#include "tests/platform/support.h"

namespace platform::test {

constexpr std::uint64_t kPlenty = 1U << 20;

using Pixels = std::vector<std::uint8_t>;

class ImageDecoder : public ::testing::Test {
  protected:
    std::optional<DecodedImage> Decode(const std::string& bytes, std::uint64_t maxBytes = kPlenty) {
        // Named against its content: the content decides.
        const auto path = m_folder.Path() / "picture.dat";
        WriteFile(path, bytes);
        m_error.clear();
        return DecodeImageFile(ToUtf8Text(path), maxBytes, m_error);
    }

    void Expect(const std::string& bytes, std::uint32_t width, std::uint32_t height,
                std::uint32_t channels, const Pixels& pixels) {
        const auto image = Decode(bytes);
        ASSERT_TRUE(image) << m_error;
        EXPECT_EQ(image->width, width);
        EXPECT_EQ(image->height, height);
        EXPECT_EQ(image->channels, channels);
        EXPECT_THAT(image->pixels, ::testing::ElementsAreArray(pixels));
    }

    void ExpectRefusal(const std::string& bytes, std::uint64_t maxBytes = kPlenty) {
        EXPECT_FALSE(Decode(bytes, maxBytes));
        EXPECT_NE(m_error, "");
    }

    // Whatever a file says, decoding it ends, stays within bounds and keeps to the limit.
    void SurviveDamageTo(const std::string& file) {
        constexpr std::uint64_t kLimit = 1U << 16;
        std::mt19937 random(20);
        for (int round = 0; round < 150; ++round) {
            std::string damaged = file;
            for (unsigned hits = 1 + random() % 4; hits > 0; --hits) {
                damaged[random() % damaged.size()] = static_cast<char>(random());
            }
            if (const auto image = Decode(damaged, kLimit)) {
                ASSERT_LE(image->pixels.size(), kLimit);
                ASSERT_EQ(image->pixels.size(),
                          std::size_t{image->width} * image->height * image->channels);
            } else {
                ASSERT_NE(m_error, "");
            }
        }
    }

    TemporaryFolder m_folder;
    std::string m_error;
};

}  // namespace platform::test
