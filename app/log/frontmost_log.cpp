#include "app/log/frontmost_log.h"

#include <unistd.h>

#include "app/platform/atomic_file.h"
#include "app/platform/file_io.h"
#include "app/platform/monotonic_clock.h"
#include "core/json_text.h"

namespace scrawlet::log {
namespace {

void appendBool(std::string& out, std::string_view key, bool value) {
    out += ",\"";
    out += key;
    out += value ? "\":true" : "\":false";
}

void appendInt(std::string& out, std::string_view key, long long value) {
    out += ",\"";
    out += key;
    out += "\":";
    out += std::to_string(value);
}

}  // namespace

FrontmostLog::~FrontmostLog() {
    const std::lock_guard lock(mutex_);
    closeLocked();
}

FrontmostLog& FrontmostLog::shared() {
    static FrontmostLog log;
    return log;
}

std::expected<void, std::string> FrontmostLog::start(const std::string& path) {
    const std::lock_guard lock(mutex_);
    closeLocked();
    seq_ = 0;
    // A new file rather than our old one truncated: whoever still holds the old one open
    // must not read this run.
    const auto opened =
        platform::replaceWithEmptyFile(path, {.permissions = 0600, .onlyOwnFile = true});
    if (!opened) {
        return std::unexpected(opened.error());
    }
    fd_ = *opened;
    recordLocked("start", std::nullopt, "ownBundleID=" + std::string(kOwnAppId));
    return {};
}

void FrontmostLog::record(std::string_view event, const std::optional<PanelState>& panel,
                          std::string_view note) {
    const std::lock_guard lock(mutex_);
    recordLocked(event, panel, note);
}

void FrontmostLog::recordLocked(std::string_view event, const std::optional<PanelState>& panel,
                                std::string_view note) {
    if (fd_ < 0) {
        return;
    }
    ++seq_;
    writeLocked(formatRecord(seq_, platform::monotonicSeconds(), event, frontmost_, panel, note));
}

void FrontmostLog::recordLine(std::string_view jsonObject) {
    const std::lock_guard lock(mutex_);
    if (fd_ >= 0) {
        writeLocked(std::string(jsonObject));
    }
}

void FrontmostLog::finish(std::string_view note) {
    const std::lock_guard lock(mutex_);
    recordLocked("finish", std::nullopt, note);
    closeLocked();
}

void FrontmostLog::setFrontmost(platform::FrontmostApp frontmost) {
    const std::lock_guard lock(mutex_);
    everBecameFrontmost_ = everBecameFrontmost_ || frontmost.isOurs;
    frontmost_ = std::move(frontmost);
}

bool FrontmostLog::everBecameFrontmost() const {
    const std::lock_guard lock(mutex_);
    return everBecameFrontmost_;
}

bool FrontmostLog::isOpen() const {
    const std::lock_guard lock(mutex_);
    return fd_ >= 0;
}

std::string FrontmostLog::formatRecord(long long seq, double timeSeconds, std::string_view event,
                                       const platform::FrontmostApp& frontmost,
                                       const std::optional<PanelState>& panel,
                                       std::string_view note) {
    std::string line = "{\"seq\":" + std::to_string(seq) +
                       ",\"t\":" + core::fixedDecimal(timeSeconds, 6) + ",\"event\":";
    core::appendJsonString(line, event);
    line += ",\"frontmostBundleID\":";
    core::appendJsonString(line, frontmost.bundleId);
    line += ",\"frontmostName\":";
    core::appendJsonString(line, frontmost.name);
    appendBool(line, "isOurs", frontmost.isOurs);
    if (panel) {
        appendBool(line, "panelVisible", panel->visible);
        appendBool(line, "panelIsKey", panel->isKey);
        appendBool(line, "panelIsMain", panel->isMain);
        appendBool(line, "ignoresMouseEvents", panel->ignoresMouseEvents);
        appendInt(line, "level", panel->level);
        appendInt(line, "collectionBehavior", panel->collectionBehavior);
        appendBool(line, "onActiveSpace", panel->onActiveSpace);
        line += ",\"screen\":";
        core::appendJsonString(line, panel->screen);
    }
    line += ",\"note\":";
    core::appendJsonString(line, note);
    line += '}';
    return line;
}

void FrontmostLog::writeLocked(std::string line) {
    line += '\n';
    // A full disk loses this record, not the run.
    (void)platform::writeAll(fd_, line);
}

void FrontmostLog::closeLocked() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

}  // namespace scrawlet::log
