#include "app/platform/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace scrawlet::platform {
namespace {

std::string errnoText(int error) {
    return std::strerror(error);
}

}  // namespace

std::expected<std::string, std::string> readFileText(const std::filesystem::path& file,
                                                     std::size_t maximumBytes) {
    // Non-blocking so that opening a FIFO returns at once; fstat then refuses it.
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        return std::unexpected(errnoText(errno));
    }
    const auto fail = [fd](std::string why) {
        ::close(fd);
        return std::unexpected(std::move(why));
    };
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
        return fail(errnoText(errno));
    }
    if (S_ISDIR(status.st_mode)) {
        return fail(errnoText(EISDIR));
    }
    if (!S_ISREG(status.st_mode)) {
        return fail("not a regular file");
    }
    const std::string tooLarge = "larger than " + std::to_string(maximumBytes) + " bytes";
    if (static_cast<std::uintmax_t>(status.st_size) > maximumBytes) {
        return fail(tooLarge);
    }
    std::string text;
    char buffer[16384];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return fail(errnoText(errno));
        }
        if (n == 0) {
            break;
        }
        // The file may grow while we read it.
        if (text.size() + static_cast<std::size_t>(n) > maximumBytes) {
            return fail(tooLarge);
        }
        text.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(fd);
    return text;
}

std::expected<void, std::string> writeAll(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t n = ::write(fd, data.data(), data.size());
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return std::unexpected(errnoText(n < 0 ? errno : EIO));
        }
        data.remove_prefix(static_cast<std::size_t>(n));
    }
    return {};
}

}  // namespace scrawlet::platform
