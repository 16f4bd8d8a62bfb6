// Files that are replaced whole: a reader sees the old file or the complete new one, never a
// torn one, and a crash leaves at most a hidden temporary file that the next write removes.
//
// The new file is made beside the target (".<name>.XXXXXX", close-on-exec, flushed to disk)
// and renamed over it. Files in shared folders such as /tmp may have been planted by someone
// else; `onlyOwnFile` then refuses to replace anything but a regular file of ours with no other
// link. Failures come back as one readable line naming the file and the system's reason.
#pragma once

#include <sys/types.h>

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace scrawlet::platform {

struct AtomicWriteOptions {
    // Permission bits of the new file before the umask; 0600 keeps it private whatever the
    // umask says.
    mode_t permissions = 0600;
    bool applyUmask = false;
    bool onlyOwnFile = false;
};

// Why the file at `path` is not ours to replace ("is a symbolic link", "is not a regular file",
// "belongs to another user", "has another hard link"); none when nothing is there or it is a
// regular file of ours. Never blocks (a FIFO is looked at, not waited on) and never follows a
// link.
std::optional<std::string> refusalToReplace(const std::filesystem::path& path);

// Why a file could not be written at `path` at the end of a run, asked before the run starts
// so that its result is not lost: "<path>: <reason>" when the folder does not let us create
// files, "<path> <refusal>" when the file is not ours to replace; none when it can be written.
std::optional<std::string> refusalToWrite(const std::filesystem::path& path);

std::expected<void, std::string> writeFileAtomically(const std::filesystem::path& path,
                                                     std::string_view text,
                                                     const AtomicWriteOptions& options = {});

// Puts a new empty file at `path` the same way and returns its descriptor, open for appending
// and close-on-exec; the caller closes it.
std::expected<int, std::string> replaceWithEmptyFile(const std::filesystem::path& path,
                                                     const AtomicWriteOptions& options = {});

// The process's file-creation mask, read without changing it.
mode_t currentUmask();

}  // namespace scrawlet::platform
