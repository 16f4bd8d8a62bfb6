#include "app/platform/file_io.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace scrawlet::platform {

std::expected<std::string, std::string> readFileText(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return std::unexpected(std::string(std::strerror(errno)));
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad() || (in.fail() && !in.eof())) {
        // A folder opens but cannot be read.
        return std::unexpected(std::string(std::strerror(errno ? errno : EIO)));
    }
    return text.str();
}

std::expected<void, std::string> writeAll(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t n = ::write(fd, data.data(), data.size());
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return std::unexpected(std::string(std::strerror(n < 0 ? errno : EIO)));
        }
        data.remove_prefix(static_cast<std::size_t>(n));
    }
    return {};
}

}  // namespace scrawlet::platform
