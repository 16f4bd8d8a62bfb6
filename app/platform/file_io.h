// Small POSIX file helpers whose failures come back as readable text.
#pragma once

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>

namespace scrawlet::platform {

// The whole file, or the system's description of why it could not be read.
std::expected<std::string, std::string> readFileText(const std::filesystem::path& file);

// Writes all of `data`, retrying short writes and interruptions.
std::expected<void, std::string> writeAll(int fd, std::string_view data);

}  // namespace scrawlet::platform
