#include "app/settings/onboarding_window.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace scrawlet::settings {
namespace {

const char* const kScreenRecordingUnlocks = "the zoom lens, full-screen zoom, and screenshots";
const char* const kAccessibilityUnlocks = "global keyboard shortcuts and the keystroke display";

QLabel* textLabel(const std::string& text, double pointSize, bool bold = false) {
    auto* label = new QLabel(QString::fromStdString(text));
    QFont font = label->font();
    font.setPointSizeF(pointSize);
    font.setBold(bold);
    label->setFont(font);
    label->setWordWrap(true);
    label->setMaximumWidth(OnboardingWindowController::kTextWidthPoints);
    return label;
}

std::string grantLine(const std::string& grant, bool granted) {
    return grant + ": " + (granted ? "Granted" : "Not granted yet");
}

std::string neededLine(const std::string& unlocks) {
    return "Needed for " + unlocks + ".";
}

// On X11 the grants follow the session, not a settings panel: only an X11 session gives them.
const char* const kGrantHint =
    "Grant it by logging in to an X11 session, then quit and reopen Scrawlet.";

QVBoxLayout* permissionSection(const std::string& grant, const std::string& unlocks, bool granted) {
    auto* section = new QVBoxLayout;
    section->setSpacing(2);
    section->addWidget(textLabel(grantLine(grant, granted), 13, true));
    section->addWidget(textLabel(neededLine(unlocks), 12));
    if (!granted) {
        QLabel* hint = textLabel(kGrantHint, 12);
        hint->setForegroundRole(QPalette::PlaceholderText);
        section->addWidget(hint);
    }
    return section;
}

}  // namespace

std::string OnboardingWindowController::permissionText(const std::string& grant,
                                                       const std::string& unlocks, bool granted) {
    std::string text = grantLine(grant, granted) + "\n" + neededLine(unlocks);
    if (!granted) {
        text += std::string("\n") + kGrantHint;
    }
    return text;
}

OnboardingWindowController::OnboardingWindowController(Grants grants) {
    setWindowTitle(QStringLiteral("Welcome to Scrawlet"));
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    setFixedSize(kWidthPoints, kHeightPoints);

    auto* stack = new QVBoxLayout(this);
    stack->setSpacing(16);
    stack->setContentsMargins(24, 24, 24, 24);
    stack->addWidget(textLabel("Welcome to Scrawlet", 20, true));
    stack->addWidget(textLabel(
        "Scrawlet draws directly on your screen so you can annotate, highlight, and zoom while "
        "you present or record \u2014 no separate whiteboard, nothing to switch windows for.",
        13));
    stack->addLayout(
        permissionSection("Screen Recording", kScreenRecordingUnlocks, grants.screenRecording));
    stack->addLayout(
        permissionSection("Accessibility", kAccessibilityUnlocks, grants.accessibility));
    stack->addStretch(1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto* skip = new QPushButton(QStringLiteral("Skip"));
    auto* getStarted = new QPushButton(QStringLiteral("Get Started"));
    getStarted->setDefault(true);
    getStarted->setAutoDefault(true);
    skip->setAutoDefault(false);
    buttons->addWidget(skip);
    buttons->addWidget(getStarted);
    stack->addLayout(buttons);
    connect(skip, &QPushButton::clicked, this, [this] { dismiss("skipped"); });
    connect(getStarted, &QPushButton::clicked, this, [this] { dismiss("completed"); });
    getStarted->setFocus();
}

void OnboardingWindowController::dismiss(const std::string& note) {
    report(note);
    close();
}

void OnboardingWindowController::report(const std::string& note) {
    if (dismissed_) {
        return;
    }
    dismissed_ = true;
    if (onDismiss) {
        onDismiss(note);
    }
}

void OnboardingWindowController::closeEvent(QCloseEvent* event) {
    report("skipped");
    event->accept();
}

}  // namespace scrawlet::settings
