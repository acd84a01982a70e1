#include "host/picture_writer.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#define STBI_WRITE_NO_STDIO
#include <stb_image_write.h>

#include <cstdio>
#include <fstream>
#include <system_error>

#include "camera/sdk/pixel_format.h"
#include "host/exit_codes.h"

namespace host {
namespace {

constexpr std::size_t kMaxWaiting = 16;

std::string Utf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

}  // namespace

std::string EncodePng(const cam::BufferNode& record) {
    std::uint64_t channels = 0;
    if (record.pixelType == pixel_format::kMono8) {
        channels = 1;
    } else if (record.pixelType == pixel_format::kRGB8) {
        channels = 3;
    }
    const std::uint64_t length = channels * record.width * record.height;
    if (length == 0 || length > record.dataLength || record.data == nullptr) {
        return {};
    }
    std::string png;
    const auto append = [](void* context, void* data, int size) {
        static_cast<std::string*>(context)->append(static_cast<const char*>(data),
                                                   static_cast<std::size_t>(size));
    };
    const int written = stbi_write_png_to_func(
        append, &png, static_cast<int>(record.width), static_cast<int>(record.height),
        static_cast<int>(channels), record.data, static_cast<int>(record.width * channels));
    return written != 0 ? png : std::string();
}

PictureWriter::PictureWriter(const std::string& folder)
    : m_folder(std::u8string(folder.begin(), folder.end())) {
    std::error_code error;
    std::filesystem::create_directories(m_folder, error);
    if (!std::filesystem::is_directory(m_folder, error)) {
        throw Failure("the folder '" + folder + "' cannot be made");
    }
    m_thread = std::thread([this] { Run(); });
}

PictureWriter::~PictureWriter() {
    Stop();
}

void PictureWriter::Write(Frame frame, std::uint64_t number) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_jobs.size() < kMaxWaiting; });
    m_jobs.push_back({std::move(frame), number});
    m_changed.notify_all();
}

std::uint64_t PictureWriter::Finish() {
    Stop();
    const std::lock_guard lock(m_mutex);
    if (!m_error.empty()) {
        throw Failure(m_error);
    }
    return m_written;
}

void PictureWriter::Stop() noexcept {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
        m_changed.notify_all();
    }
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void PictureWriter::Run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [&] { return m_stop || !m_jobs.empty(); });
        if (m_jobs.empty()) {
            return;
        }
        Job job = std::move(m_jobs.front());
        m_jobs.pop_front();
        m_changed.notify_all();
        lock.unlock();
        std::string error = Save(job);
        job = {};  // handed back without the lock
        lock.lock();
        if (error.empty()) {
            ++m_written;
        } else if (m_error.empty()) {
            m_error = std::move(error);
        }
    }
}

std::string PictureWriter::Save(const Job& job) const try {
    char name[40];
    std::snprintf(name, sizeof name, "frame-%06llu.png",
                  static_cast<unsigned long long>(job.number));
    const std::filesystem::path file = m_folder / name;
    std::filesystem::path partial = file;
    partial += ".part";

    const std::string png = EncodePng(job.frame.Record());
    if (png.empty()) {
        return "frame " + std::to_string(job.number) + " has no format that could be saved";
    }
    std::ofstream out(partial, std::ios::binary);
    out.write(png.data(), static_cast<std::streamsize>(png.size()));
    out.close();
    std::error_code error;
    if (out) {
        std::filesystem::rename(partial, file, error);
    }
    if (!out || error) {
        std::error_code ignored;
        std::filesystem::remove(partial, ignored);
        return "'" + Utf8(file) + "' could not be written";
    }
    return {};
} catch (const std::exception& failed) {
    return "frame " + std::to_string(job.number) + " could not be saved: " + failed.what();
}

}  // namespace host
