// Update checks: fetches the appcast feed, finds its newest release and compares it with this
// build's version.
//
// A check is manual (the tray's "Check for Updates…") or automatic. Automatic checks run while
// they are enabled, at most once a day: the time of the last check that reached the feed is
// kept in the preferences file, so the day spans restarts. The first automatic check waits a
// little after start-up, so that a login does not wait on the network; a failed automatic check
// is tried again an hour later. One check runs at a time; asking while one runs makes it manual.
//
// The feed must be https (plain http only on the loopback interface, for tests); the download
// is capped in size and time. Results and failures are values handed to `onResult`. Main
// thread only.
#pragma once

#include <QDateTime>
#include <QObject>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class QNetworkAccessManager;
class QNetworkReply;

namespace scrawlet::settings {

struct UpdateCheckResult {
    enum class Kind { newerAvailable, upToDate, failed };
    Kind kind = Kind::failed;
    bool manual = false;
    std::string currentVersion;
    std::string newestVersion;  // newer and up-to-date only
    std::string link;           // the release's page, when the feed gives one
    std::string failure;        // failed only: why, for people
};

class UpdateChecker : public QObject {
    Q_OBJECT

  public:
    static constexpr double kCheckIntervalSeconds = 24 * 60 * 60;
    static constexpr double kRetryAfterFailureSeconds = 60 * 60;
    static constexpr int kTransferTimeoutMilliseconds = 30'000;

    UpdateChecker(std::string feedUrl, std::string currentVersion,
                  std::filesystem::path preferencesFile, double firstCheckDelaySeconds);
    ~UpdateChecker() override;

    void setOnResult(std::function<void(const UpdateCheckResult&)> onResult) {
        onResult_ = std::move(onResult);
    }
    void setAutomaticChecks(bool enabled);
    bool automaticChecks() const { return automatic_; }
    void checkNow();
    bool checking() const { return reply_ != nullptr; }
    const std::string& feedUrl() const { return feedUrl_; }

    // The last check that reached the feed, if any was recorded.
    std::optional<QDateTime> lastCheck() const;

  private:
    void start(bool manual);
    void finished();
    void deliver(UpdateCheckResult result);
    void scheduleAutomatic(double atLeastSeconds);
    void recordCheck();

    std::string feedUrl_;
    std::string currentVersion_;
    std::filesystem::path preferencesFile_;
    double firstCheckDelaySeconds_;
    bool automatic_ = false;
    bool firstScheduled_ = false;
    bool manual_ = false;
    std::function<void(const UpdateCheckResult&)> onResult_;
    std::unique_ptr<QNetworkAccessManager> network_;
    QNetworkReply* reply_ = nullptr;
    std::string tooLarge_;
    QTimer timer_;
};

}  // namespace scrawlet::settings
