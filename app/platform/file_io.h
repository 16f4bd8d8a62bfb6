// Small POSIX file helpers whose failures come back as readable text.
#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <string>
#include <string_view>

namespace scrawlet::platform {

// Far above any document we read (settings, os-release), far below what hurts to hold.
inline constexpr std::size_t kMaximumReadBytes = 1 << 20;

// The whole of a regular file, or the system's description of why it could not be read.
// Devices, FIFOs and folders are refused without blocking, and so is a file larger than
// `maximumBytes`: a path from the environment may name /dev/zero or a pipe nobody writes.
std::expected<std::string, std::string> readFileText(const std::filesystem::path& file,
                                                     std::size_t maximumBytes = kMaximumReadBytes);

// Writes all of `data`, retrying short writes and interruptions.
std::expected<void, std::string> writeAll(int fd, std::string_view data);

}  // namespace scrawlet::platform
