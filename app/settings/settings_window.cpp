#include "app/settings/settings_window.h"

#include <QGuiApplication>
#include <QHideEvent>
#include <QScreen>
#include <QScrollArea>
#include <QSettings>
#include <QVBoxLayout>
#include <algorithm>

#include "app/settings/app_identity.h"
#include "app/settings/settings_form.h"
#include "app/settings/settings_model.h"
#include "app/settings/shortcuts_section.h"

namespace scrawlet::settings {
namespace {

int milliseconds(double seconds) {
    return static_cast<int>(std::clamp(seconds, 0.0, 2147483.0) * 1000);
}

// Dragging the window moves it many times a second; one write once it rests.
constexpr int kFrameWriteDelayMs = 400;

}  // namespace

SettingsWindowController::SettingsWindowController(SettingsModel& model, AutoRecord autoRecord,
                                                   std::filesystem::path preferencesFile)
    : autoRecord_(std::move(autoRecord)), preferencesFile_(std::move(preferencesFile)) {
    setWindowTitle(QString::fromStdString(AppIdentity::name()) + QStringLiteral(" Settings"));
    setWindowFlags(Qt::Window);
    setMinimumSize(560, 420);
    resize(kWidthPoints, kHeightPoints);

    shortcuts_ = new ShortcutsSection(model);
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setWidget(new SettingsForm(model, shortcuts_));
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->addWidget(scroll);

    frameWrite_.setSingleShot(true);
    frameWrite_.setInterval(kFrameWriteDelayMs);
    connect(&frameWrite_, &QTimer::timeout, this, [this] { saveFrame(); });
}

bool SettingsWindowController::restoreFrame() {
    const QSettings preferences(QString::fromStdString(preferencesFile_.string()),
                                QSettings::IniFormat);
    const QRect frame = preferences.value(QString::fromLatin1(kFrameKey)).toRect();
    if (!frame.isValid() || frame.width() < minimumWidth() || frame.height() < minimumHeight()) {
        return false;
    }
    // A frame on a monitor that has gone would open the window where nobody sees it.
    for (const QScreen* screen : QGuiApplication::screens()) {
        if (screen->availableGeometry().intersects(frame)) {
            setGeometry(frame);
            return true;
        }
    }
    return false;
}

void SettingsWindowController::saveFrame() {
    QSettings preferences(QString::fromStdString(preferencesFile_.string()), QSettings::IniFormat);
    preferences.setValue(QString::fromLatin1(kFrameKey), geometry());
}

void SettingsWindowController::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    if (isVisible()) {
        frameWrite_.start();
    }
}

void SettingsWindowController::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (isVisible()) {
        frameWrite_.start();
    }
}

void SettingsWindowController::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (hasInitializedShortcutOverrides_) {
        return;
    }
    hasInitializedShortcutOverrides_ = true;
    shortcuts_->initialise();
    if (autoRecord_.actionID) {
        QTimer::singleShot(milliseconds(autoRecord_.delaySeconds), this,
                           [this] { shortcuts_->startRecording(*autoRecord_.actionID); });
    }
    if (autoRecord_.saveAfterSeconds) {
        QTimer::singleShot(milliseconds(*autoRecord_.saveAfterSeconds), this,
                           [this] { shortcuts_->saveShortcuts(); });
    }
}

// Global shortcuts are away while a row records; a hidden window must not keep them away.
void SettingsWindowController::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    shortcuts_->cancelRecording();
    if (frameWrite_.isActive()) {
        frameWrite_.stop();
        saveFrame();
    }
    if (onClose && !event->spontaneous()) {
        onClose();
    }
}

}  // namespace scrawlet::settings
