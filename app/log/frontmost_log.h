// The process-wide JSON Lines event log.
//
// Event records carry a sequence number, the monotonic time, the frontmost application and,
// when a panel is given, that panel's window state. Kind records are ready-made JSON objects.
// Every record is written to the file as it is made, so a crash keeps what came before. When
// the file cannot be opened nothing is written and the run goes on.
//
// Any thread may record (the capture thread does): one mutex guards the file, the sequence
// number and the frontmost application, so records reach the file whole and in sequence order.
// The frontmost application is not looked up per record; whoever follows it (the window-system
// layer, on the main thread) hands each change to `setFrontmost`.
#pragma once

#include <expected>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "app/platform/frontmost_app.h"

namespace scrawlet::log {

// The window state of a panel at the moment of a record.
struct PanelState {
    bool visible = false;
    bool isKey = false;
    bool isMain = false;
    bool ignoresMouseEvents = false;
    long long level = 0;
    long long collectionBehavior = 0;
    bool onActiveSpace = false;
    std::string screen;
};

class FrontmostLog {
  public:
    static constexpr std::string_view kOwnAppId = "org.scrawlet.Scrawlet";

    FrontmostLog() = default;
    ~FrontmostLog();
    FrontmostLog(const FrontmostLog&) = delete;
    FrontmostLog& operator=(const FrontmostLog&) = delete;

    static FrontmostLog& shared();

    // Puts a new private file at `path` and writes the "start" record. The default path is in
    // /tmp, where anyone may have put something first: anything but a regular file of ours is
    // left alone, and the error says why the run goes on without a log.
    std::expected<void, std::string> start(const std::string& path);
    void record(std::string_view event, const std::optional<PanelState>& panel = std::nullopt,
                std::string_view note = "");
    void recordLine(std::string_view jsonObject);
    void finish(std::string_view note);

    // Until the first call the frontmost fields are empty and "isOurs" is false.
    void setFrontmost(platform::FrontmostApp frontmost);
    bool isOpen() const;
    // Whether this application was ever the frontmost one since the process started, which a
    // non-activating overlay must never be.
    bool everBecameFrontmost() const;

    // The line of one event record, without its line feed.
    static std::string formatRecord(long long seq, double timeSeconds, std::string_view event,
                                    const platform::FrontmostApp& frontmost,
                                    const std::optional<PanelState>& panel, std::string_view note);

  private:
    void recordLocked(std::string_view event, const std::optional<PanelState>& panel,
                      std::string_view note);
    void writeLocked(std::string line);
    void closeLocked();

    mutable std::mutex mutex_;
    int fd_ = -1;
    long long seq_ = 0;
    platform::FrontmostApp frontmost_;
    bool everBecameFrontmost_ = false;
};

}  // namespace scrawlet::log
