// The draw controller's ordinary windows and services of the system section: the welcome
// window, the about window, the autostart entry and update checks.
#include <QApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QUrl>
#include <iostream>

#include "app/ink/control_panel_origin_store.h"
#include "app/log/frontmost_log.h"
#include "app/settings/about_window.h"
#include "app/settings/app_identity.h"
#include "app/settings/login_item.h"
#include "app/settings/onboarding_window.h"
#include "app/settings/settings_store.h"
#include "app/settings/update_checker.h"
#include "app/shell/draw_app_delegate.h"
#include "app/shell/status_menu.h"
#include "app/shortcuts/permissions.h"

namespace scrawlet::shell {
namespace {

using settings::UpdateCheckResult;

int milliseconds(double seconds) {
    return static_cast<int>(std::clamp(seconds, 0.0, 2147483.0) * 1000);
}

// Without a window manager nobody else would centre a new window; a manager that places
// windows itself still starts from there.
void centre(QWidget& window) {
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        window.move(area.center() - QPoint(window.width() / 2, window.height() / 2));
    }
}

void bringToFront(QWidget& window) {
    window.show();
    window.raise();
    window.activateWindow();
}

// The event log's note for a check: what started it, then what it found.
std::string updateNote(const UpdateCheckResult& result) {
    const std::string trigger = result.manual ? "manual " : "automatic ";
    switch (result.kind) {
        case UpdateCheckResult::Kind::newerAvailable:
            return trigger + "newer=" + result.newestVersion + " current=" + result.currentVersion;
        case UpdateCheckResult::Kind::upToDate:
            return trigger + "upToDate newest=" + result.newestVersion +
                   " current=" + result.currentVersion;
        case UpdateCheckResult::Kind::failed:
            break;
    }
    return trigger + "failed: " + result.failure;
}

}  // namespace

// A run on a settings file of its own never writes it, so a welcome window there would come
// back on every run; such runs skip it, as they skip every other use of the user's settings.
void DrawAppDelegate::showOnboardingIfFirstLaunch() {
    if (config_.runSettingsFile) {
        return;
    }
    const auto loaded = settings::SettingsStore::load(settings::SettingsStore::settingsFile());
    if (!loaded) {
        return;
    }
    // A file the store keeps untouched (another schema version, or unreadable and stuck in
    // place) cannot take the flag, so the window would come back on every launch.
    using Store = settings::SettingsStore;
    if (std::holds_alternative<Store::RefusedNewerSchema>(loaded->outcome) ||
        std::holds_alternative<Store::KeptInvalid>(loaded->outcome)) {
        return;
    }
    if (!loaded->settings.system.onboardingCompleted) {
        showOnboardingWindow();
    }
}

void DrawAppDelegate::showOnboardingWindow() {
    if (onboardingWindow_) {
        bringToFront(*onboardingWindow_);
        return;
    }
    using shortcuts::Permissions::Grant;
    onboardingWindow_ = std::make_unique<settings::OnboardingWindowController>(
        settings::OnboardingWindowController::Grants{
            shortcuts::Permissions::isHeld(Grant::screenRecording),
            shortcuts::Permissions::isHeld(Grant::accessibility)});
    onboardingWindow_->onDismiss = [this](const std::string& note) { dismissOnboarding(note); };
    centre(*onboardingWindow_);
    const auto autoDismissSeconds = config_.onboardingAutoDismissAfterSeconds;
    // Dismissed at once, the window is never mapped: mapped and unmapped within one turn it
    // would only take the focus from under the user's first stroke.
    if (autoDismissSeconds && *autoDismissSeconds <= 0) {
        log::FrontmostLog::shared().record("onboarding", std::nullopt, "shown");
        dismissOnboarding("auto");
        return;
    }
    bringToFront(*onboardingWindow_);
    log::FrontmostLog::shared().record("onboarding", std::nullopt, "shown");
    if (autoDismissSeconds) {
        QTimer::singleShot(milliseconds(*autoDismissSeconds), this,
                           [this] { dismissOnboarding("auto"); });
    }
}

void DrawAppDelegate::dismissOnboarding(const std::string& note) {
    if (!onboardingWindow_) {
        return;
    }
    bool wasOpen = false;
    // Writes "draw: could not save settings: …" itself when the write fails.
    (void)settings::SettingsStore::save(
        settings::SettingsStore::settingsFile(),
        [&](core::Settings& document) {
            wasOpen = !document.system.onboardingCompleted;
            document.system.onboardingCompleted = true;
        },
        "draw: ");
    if (wasOpen) {
        log::FrontmostLog::shared().record("onboarding", std::nullopt, note);
    }
    // Closed even when another run saved the flag first: a button that does nothing would
    // leave the user with a window that cannot go. The callback that may be running now stays
    // in place; the window reports once, and a late report finds no window here.
    settings::OnboardingWindowController* window = onboardingWindow_.release();
    window->close();
    window->deleteLater();
}

ink::Outcome DrawAppDelegate::showAboutWindow() {
    if (!aboutWindow_) {
        aboutWindow_ = std::make_unique<settings::AboutWindowController>();
        centre(*aboutWindow_);
    }
    bringToFront(*aboutWindow_);
    log::FrontmostLog::shared().record("about", std::nullopt, "shown");
    if (config_.aboutWindowCloseAfterSeconds) {
        QTimer::singleShot(milliseconds(*config_.aboutWindowCloseAfterSeconds), this, [this] {
            if (aboutWindow_) {
                aboutWindow_->close();
            }
        });
    }
    return ink::Outcome::handled();
}

void DrawAppDelegate::applyLaunchAtLogin(bool wanted) {
    const auto outcome =
        settings::LoginItem::apply(wanted, QCoreApplication::applicationFilePath().toStdString());
    if (const auto* changed = std::get_if<settings::LoginItem::Changed>(&outcome)) {
        log::FrontmostLog::shared().record("launchAtLogin", std::nullopt,
                                           changed->enabled ? "enabled=true" : "enabled=false");
    } else if (const auto* failed = std::get_if<settings::LoginItem::Failed>(&outcome)) {
        log::FrontmostLog::shared().record("launchAtLogin", std::nullopt,
                                           "failed: " + failed->message);
    }
}

void DrawAppDelegate::startUpdater() {
    updater_ = std::make_unique<settings::UpdateChecker>(
        settings::AppIdentity::updateFeedUrl(), settings::AppIdentity::shortVersion(),
        ink::PreferencesOriginStore::defaultFile(), config_.updateCheckDelaySeconds);
    updater_->setOnResult([this](const UpdateCheckResult& result) { showUpdateResult(result); });
    updater_->setAutomaticChecks(config_.currentSettings().system.checkForUpdates);
}

void DrawAppDelegate::setAutomaticUpdateChecks(bool enabled) {
    if (updater_) {
        updater_->setAutomaticChecks(enabled);
    }
}

// Automatic checks speak up only when there is something to install; a manual check always
// answers.
void DrawAppDelegate::showUpdateResult(const UpdateCheckResult& result) {
    log::FrontmostLog::shared().record("updateCheck", std::nullopt, updateNote(result));
    const bool newer = result.kind == UpdateCheckResult::Kind::newerAvailable;
    const QString newest = QString::fromStdString(result.newestVersion);
    const QString current = QString::fromStdString(result.currentVersion);
    if (result.kind == UpdateCheckResult::Kind::failed) {
        std::cerr << "draw: could not check for updates: " << result.failure << "\n";
    } else if (newer) {
        std::cerr << "draw: Scrawlet " << result.newestVersion << " is available (this is "
                  << result.currentVersion << ")\n";
    }
    if (!result.manual && !newer) {
        return;
    }
    const QString title = QStringLiteral("Software Update");
    QString text;
    if (newer) {
        text = QStringLiteral("Scrawlet %1 is available. You have %2.").arg(newest, current);
    } else if (result.kind == UpdateCheckResult::Kind::upToDate) {
        text = QStringLiteral("You\u2019re up to date. Scrawlet %1 is the newest version.")
                   .arg(current);
    } else {
        text = QStringLiteral("Could not check for updates: %1.")
                   .arg(QString::fromStdString(result.failure));
    }
    if (!result.manual && statusMenu_ && statusMenu_->notify(title, text)) {
        return;
    }
    auto* box =
        new QMessageBox(newer                                            ? QMessageBox::Information
                        : result.kind == UpdateCheckResult::Kind::failed ? QMessageBox::Warning
                                                                         : QMessageBox::Information,
                        title, text);
    box->setAttribute(Qt::WA_DeleteOnClose);
    const QUrl page(QString::fromStdString(result.link));
    QPushButton* open = nullptr;
    if (newer && page.isValid() && !result.link.empty()) {
        open = box->addButton(QStringLiteral("Open Download Page"), QMessageBox::AcceptRole);
        box->addButton(QStringLiteral("Later"), QMessageBox::RejectRole);
    } else {
        box->addButton(QMessageBox::Ok);
    }
    connect(box, &QMessageBox::finished, this, [box, open, page] {
        if (open && box->clickedButton() == open) {
            QDesktopServices::openUrl(page);
        }
    });
    box->open();
}

}  // namespace scrawlet::shell
