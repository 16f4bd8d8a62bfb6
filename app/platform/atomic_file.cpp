#include "app/platform/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "app/platform/file_io.h"

namespace scrawlet::platform {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kTemporarySuffix = ".XXXXXX";

std::string errorText(const fs::path& file, std::string_view action, int error) {
    return std::string(action) + " " + file.string() + ": " + std::strerror(error);
}

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

std::string temporaryPrefix(const fs::path& path) {
    return "." + path.filename().string() + ".";
}

// Left behind by a write that was killed between creating and renaming its file.
void removeStaleTemporaries(const fs::path& path) {
    const std::string prefix = temporaryPrefix(path);
    const std::size_t length = prefix.size() + kTemporarySuffix.size() - 1;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folderOf(path), error)) {
        const std::string name = entry.path().filename().string();
        struct stat status {};
        if (name.size() == length && name.starts_with(prefix) &&
            ::lstat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
            status.st_uid == ::geteuid()) {
            ::unlink(entry.path().c_str());
        }
    }
}

struct Temporary {
    std::string path;
    int fd = -1;
};

std::expected<Temporary, std::string> makeTemporary(const fs::path& path,
                                                    const AtomicWriteOptions& options) {
    if (options.onlyOwnFile) {
        if (const auto refusal = refusalToReplace(path)) {
            return std::unexpected("will not replace " + path.string() + ": it " + *refusal);
        }
    }
    removeStaleTemporaries(path);
    // Same folder as the target: rename is only atomic within one file system.
    Temporary made{
        (folderOf(path) / temporaryPrefix(path)).string() + std::string(kTemporarySuffix.substr(1)),
        -1};
    made.fd = ::mkostemp(made.path.data(), O_CLOEXEC | O_APPEND);
    if (made.fd < 0) {
        return std::unexpected(errorText(path, "cannot create a temporary file for", errno));
    }
    const mode_t mode =
        options.applyUmask ? options.permissions & ~currentUmask() : options.permissions;
    if (mode != 0600 && ::fchmod(made.fd, mode) != 0) {
        const int error = errno;
        ::close(made.fd);
        ::unlink(made.path.c_str());
        return std::unexpected(errorText(path, "cannot set the permissions of", error));
    }
    return made;
}

std::expected<void, std::string> putInPlace(const Temporary& made, const fs::path& path) {
    if (::rename(made.path.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(made.path.c_str());
        return std::unexpected(errorText(path, "cannot replace", error));
    }
    return {};
}

}  // namespace

std::optional<std::string> refusalToWrite(const fs::path& path) {
    const fs::path folder = path.parent_path().empty() ? fs::path(".") : path.parent_path();
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        return path.string() + ": " + std::strerror(errno);
    }
    if (const auto refusal = refusalToReplace(path)) {
        return path.string() + " " + *refusal;
    }
    return std::nullopt;
}

std::optional<std::string> refusalToReplace(const fs::path& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        if (errno == ELOOP) {
            return "is a symbolic link";
        }
        // Unreadable to us: not a file we made.
        struct stat status {};
        if (::lstat(path.c_str(), &status) == 0 && status.st_uid != ::geteuid()) {
            return "belongs to another user";
        }
        return "cannot be examined (" + std::string(std::strerror(errno)) + ")";
    }
    struct stat status {};
    const bool examined = ::fstat(fd, &status) == 0;
    ::close(fd);
    if (!examined) {
        return "cannot be examined";
    }
    if (!S_ISREG(status.st_mode)) {
        return "is not a regular file";
    }
    if (status.st_uid != ::geteuid()) {
        return "belongs to another user";
    }
    if (status.st_nlink > 1) {
        return "has another hard link";
    }
    return std::nullopt;
}

std::expected<void, std::string> writeFileAtomically(const fs::path& path, std::string_view text,
                                                     const AtomicWriteOptions& options) {
    auto made = makeTemporary(path, options);
    if (!made) {
        return std::unexpected(made.error());
    }
    const auto fail = [&](std::string message) {
        ::unlink(made->path.c_str());
        return std::unexpected(std::move(message));
    };
    if (auto written = writeAll(made->fd, text); !written) {
        ::close(made->fd);
        return fail("cannot write " + path.string() + ": " + written.error());
    }
    // Without the flush a crash soon after the rename could leave an empty file.
    if (::fsync(made->fd) != 0) {
        const int error = errno;
        ::close(made->fd);
        return fail(errorText(path, "cannot flush", error));
    }
    if (::close(made->fd) != 0) {
        return fail(errorText(path, "cannot close", errno));
    }
    return putInPlace(*made, path);
}

std::expected<int, std::string> replaceWithEmptyFile(const fs::path& path,
                                                     const AtomicWriteOptions& options) {
    auto made = makeTemporary(path, options);
    if (!made) {
        return std::unexpected(made.error());
    }
    if (auto placed = putInPlace(*made, path); !placed) {
        ::close(made->fd);
        return std::unexpected(placed.error());
    }
    return made->fd;
}

mode_t currentUmask() {
    // umask() can only be read by setting it, which races with other threads creating files.
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.starts_with("Umask:")) {
            return static_cast<mode_t>(std::stoul(line.substr(6), nullptr, 8));
        }
    }
    const mode_t mask = ::umask(022);
    ::umask(mask);
    return mask;
}

}  // namespace scrawlet::platform
