#include "app/settings/update_checker.h"

#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSettings>
#include <QUrl>
#include <algorithm>

#include "app/settings/appcast.h"
#include "core/release_version.h"

namespace scrawlet::settings {
namespace {

const QString kLastCheckKey = QStringLiteral("updates.lastCheck");

bool unreachable(QNetworkReply::NetworkError error) {
    switch (error) {
        case QNetworkReply::HostNotFoundError:
        case QNetworkReply::ConnectionRefusedError:
        case QNetworkReply::RemoteHostClosedError:
        case QNetworkReply::TimeoutError:
        case QNetworkReply::OperationCanceledError:
        case QNetworkReply::TemporaryNetworkFailureError:
        case QNetworkReply::NetworkSessionFailedError:
        case QNetworkReply::UnknownNetworkError:
        case QNetworkReply::ProxyConnectionRefusedError:
        case QNetworkReply::ProxyNotFoundError:
        case QNetworkReply::ProxyTimeoutError:
            return true;
        default:
            return false;
    }
}

// Plain http would let anyone on the path announce a release; only the loopback interface,
// where tests serve their feeds, is trusted without TLS.
std::optional<std::string> refusal(const QUrl& url) {
    if (!url.isValid() || url.host().isEmpty()) {
        return "the update feed address \"" + url.toString().toStdString() + "\" is not valid";
    }
    if (url.scheme() == u"https") {
        return std::nullopt;
    }
    if (url.scheme() == u"http" && QHostAddress(url.host()).isLoopback()) {
        return std::nullopt;
    }
    return "the update feed address must start with https://";
}

}  // namespace

UpdateChecker::UpdateChecker(std::string feedUrl, std::string currentVersion,
                             std::filesystem::path preferencesFile, double firstCheckDelaySeconds)
    : feedUrl_(std::move(feedUrl)),
      currentVersion_(std::move(currentVersion)),
      preferencesFile_(std::move(preferencesFile)),
      firstCheckDelaySeconds_(std::max(0.0, firstCheckDelaySeconds)) {
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, [this] {
        if (automatic_ && !checking()) {
            start(false);
        }
    });
}

UpdateChecker::~UpdateChecker() {
    if (reply_) {
        // An aborted reply reports at once; nobody is left to hear it.
        reply_->disconnect(this);
        reply_->abort();
    }
}

std::optional<QDateTime> UpdateChecker::lastCheck() const {
    const QSettings preferences(QString::fromStdString(preferencesFile_.string()),
                                QSettings::IniFormat);
    const QDateTime when =
        QDateTime::fromString(preferences.value(kLastCheckKey).toString(), Qt::ISODateWithMs);
    if (!when.isValid()) {
        return std::nullopt;
    }
    return when;
}

void UpdateChecker::recordCheck() {
    QSettings preferences(QString::fromStdString(preferencesFile_.string()), QSettings::IniFormat);
    preferences.setValue(kLastCheckKey,
                         QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    preferences.sync();
}

void UpdateChecker::setAutomaticChecks(bool enabled) {
    automatic_ = enabled;
    if (!enabled) {
        timer_.stop();
        return;
    }
    if (!timer_.isActive() && !checking()) {
        scheduleAutomatic(firstScheduled_ ? 0 : firstCheckDelaySeconds_);
    }
    firstScheduled_ = true;
}

void UpdateChecker::scheduleAutomatic(double atLeastSeconds) {
    double dueInSeconds = 0;
    if (const auto last = lastCheck()) {
        const double sinceSeconds =
            static_cast<double>(last->msecsTo(QDateTime::currentDateTimeUtc())) / 1000.0;
        // A clock set back makes the last check lie in the future: check after a day anyway.
        dueInSeconds = sinceSeconds < 0 ? kCheckIntervalSeconds
                                        : std::max(0.0, kCheckIntervalSeconds - sinceSeconds);
    }
    const double delaySeconds = std::max(dueInSeconds, atLeastSeconds);
    timer_.start(static_cast<int>(std::min(delaySeconds, kCheckIntervalSeconds) * 1000));
}

void UpdateChecker::checkNow() {
    if (checking()) {
        manual_ = true;
        return;
    }
    start(true);
}

void UpdateChecker::start(bool manual) {
    manual_ = manual;
    timer_.stop();
    const QUrl url(QString::fromStdString(feedUrl_));
    if (const auto refused = refusal(url)) {
        UpdateCheckResult failed;
        failed.failure = *refused;
        deliver(std::move(failed));
        return;
    }
    if (!network_) {
        network_ = std::make_unique<QNetworkAccessManager>();
    }
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setTransferTimeout(kTransferTimeoutMilliseconds);
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QString::fromStdString("Scrawlet/" + currentVersion_));
    tooLarge_.clear();
    reply_ = network_->get(request);
    connect(reply_, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64 total) {
        if (std::max(received, total) > Appcast::kMaximumFeedBytes && reply_) {
            tooLarge_ = "the update feed is larger than " +
                        std::to_string(Appcast::kMaximumFeedBytes / (1024 * 1024)) + " MB";
            reply_->abort();
        }
    });
    connect(reply_, &QNetworkReply::finished, this, &UpdateChecker::finished);
}

void UpdateChecker::finished() {
    QNetworkReply* reply = reply_;
    reply_ = nullptr;
    if (!reply) {
        return;
    }
    reply->deleteLater();
    UpdateCheckResult result;
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (!tooLarge_.empty()) {
        result.failure = tooLarge_;
    } else if (reply->error() != QNetworkReply::NoError && status == 0) {
        const std::string why = reply->errorString().toStdString();
        result.failure = unreachable(reply->error())
                             ? "the update server could not be reached; check the network "
                               "connection (" +
                                   why + ")"
                             : why;
    } else if (status != 200) {
        result.failure = "the update server answered HTTP " + std::to_string(status);
    } else if (const auto newest = Appcast::newestRelease(reply->readAll()); !newest) {
        result.failure = newest.error();
    } else {
        recordCheck();
        const auto order = core::compareVersions(newest->version, currentVersion_);
        result.kind = order && *order > 0 ? UpdateCheckResult::Kind::newerAvailable
                                          : UpdateCheckResult::Kind::upToDate;
        result.newestVersion = newest->version;
        result.link = newest->link;
    }
    deliver(std::move(result));
}

void UpdateChecker::deliver(UpdateCheckResult result) {
    result.manual = manual_;
    result.currentVersion = currentVersion_;
    manual_ = false;
    if (automatic_) {
        // A day after a check that reached the feed even when the preferences file could not
        // keep its time.
        scheduleAutomatic(result.kind == UpdateCheckResult::Kind::failed ? kRetryAfterFailureSeconds
                                                                         : kCheckIntervalSeconds);
    }
    if (onResult_) {
        onResult_(result);
    }
}

}  // namespace scrawlet::settings
