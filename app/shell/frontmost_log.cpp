#include "app/shell/frontmost_log.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "app/platform/atomic_file.h"
#include "app/platform/file_io.h"
#include "core/json_text.h"

namespace scrawlet::shell {
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

double monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

FrontmostLog::~FrontmostLog() {
    close();
}

FrontmostLog& FrontmostLog::shared() {
    static FrontmostLog log;
    return log;
}

std::expected<void, std::string> FrontmostLog::start(const std::string& path) {
    close();
    seq_ = 0;
    // A new file rather than our old one truncated: whoever still holds the old one open
    // must not read this run.
    const auto opened =
        platform::replaceWithEmptyFile(path, {.permissions = 0600, .onlyOwnFile = true});
    if (!opened) {
        return std::unexpected(opened.error());
    }
    fd_ = *opened;
    record("start", std::nullopt, "ownBundleID=" + std::string(kOwnAppId));
    return {};
}

void FrontmostLog::record(std::string_view event, const std::optional<PanelState>& panel,
                          std::string_view note) {
    if (!isOpen()) {
        return;
    }
    const platform::FrontmostApp frontmost =
        provider_ ? provider_->frontmostApp() : platform::FrontmostApp{};
    ++seq_;
    writeLine(formatRecord(seq_, monotonicSeconds(), event, frontmost, panel, note));
}

void FrontmostLog::recordLine(std::string_view jsonObject) {
    if (isOpen()) {
        writeLine(std::string(jsonObject));
    }
}

void FrontmostLog::finish(std::string_view note) {
    record("finish", std::nullopt, note);
    close();
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

void FrontmostLog::writeLine(std::string line) {
    line += '\n';
    // A full disk loses this record, not the run.
    (void)platform::writeAll(fd_, line);
}

void FrontmostLog::close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

}  // namespace scrawlet::shell
