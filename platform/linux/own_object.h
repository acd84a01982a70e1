// Shared-memory objects of this user. Every user may create objects under any name, so a name may
// hold a FIFO, a link, a folder or another user's file; none of these is ever used.
#pragma once

namespace platform {

inline constexpr int kNoObject = -1;

inline constexpr char kObjectFolder[] = "/dev/shm";

// A path is "/" and the object's name.

// Opens the object at `path` for reading; kNoObject with errno set on failure, EPERM for anything
// but a regular file of this user. Never blocks and never follows a link.
[[nodiscard]] int OpenOwnObject(const char* path) noexcept;

// Creates the object at `path` for reading and writing by this user; kNoObject with errno set on
// failure, EEXIST if anything has the name.
[[nodiscard]] int CreateOwnObject(const char* path) noexcept;

// Creates an object without a name; kNoObject with errno set on failure.
[[nodiscard]] int CreateUnnamedObject() noexcept;

// Gives an unnamed object its name; false with errno set on failure, EEXIST if anything has the
// name.
[[nodiscard]] bool NameObject(int object, const char* path) noexcept;

// Removes the name of an object of this user; false, with nothing removed, for anything else.
bool RemoveOwnObject(const char* path) noexcept;

}  // namespace platform
