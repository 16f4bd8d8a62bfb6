// The platform of a build without a window-system backend: every service is absent, so each
// feature that needs one is off, and ink is drawn on the CPU into Qt's own backing store.
#include <QHash>
#include <QScreen>

#include "app/platform/display_identifier.h"
#include "app/platform/gl_presenter.h"
#include "app/platform/pixel_presenter.h"
#include "app/platform/platform_services.h"
#include "app/platform/presentation_timer.h"

namespace scrawlet::platform {

std::unique_ptr<FrontmostAppProvider> createFrontmostAppProvider() {
    return nullptr;
}
std::unique_ptr<KeyGrabber> createKeyGrabber() {
    return nullptr;
}
std::unique_ptr<PointerStage> createPointerStage() {
    return nullptr;
}
std::unique_ptr<ScreenReader> createScreenReader() {
    return nullptr;
}
std::unique_ptr<SoundPlayer> createSoundPlayer() {
    return nullptr;
}
std::unique_ptr<CaptureService> createCaptureService(std::string* why) {
    if (why) {
        *why = "this build has no window-system backend";
    }
    return nullptr;
}

std::unique_ptr<KeyMonitor> createKeyMonitor() {
    return nullptr;
}
std::unique_ptr<KeyboardTap> createKeyboardTap() {
    return nullptr;
}
std::unique_ptr<ClickMonitor> createClickMonitor() {
    return nullptr;
}
bool ownWindowHasInputFocus() {
    return false;
}
std::unique_ptr<SyntheticInput> createSyntheticInput() {
    return nullptr;
}
std::unique_ptr<WindowPlacer> createWindowPlacer() {
    return nullptr;
}
std::unique_ptr<WorkspaceWatcher> createWorkspaceWatcher() {
    return nullptr;
}

// Nothing can tell; the desktops such a build runs on composite.
bool compositingManagerRunning() {
    return true;
}
std::unique_ptr<CompositingWatcher> createCompositingWatcher() {
    return nullptr;
}
// Nowhere to keep a lock that every run would see.
InstanceClaim claimInstance() {
    return {};
}
bool displayReachable(const std::string&) {
    return true;
}
bool displayConnectionLost() {
    return false;
}

// Stable for the run, and never the "no identifier" 0.
std::uint32_t displayIdentifier(const QString& screenName) {
    return static_cast<std::uint32_t>(qHash(screenName)) | 1U;
}
std::uint32_t displayIdentifier(const QScreen* screen) {
    return screen ? displayIdentifier(screen->name()) : 0;
}

std::optional<GlPresentation> probeGlPresentation() {
    return GlPresentation{.softwareRenderer = true, .renderer = "none"};
}
std::unique_ptr<GlPresenter> createGlPresenter(QOpenGLContext&, QWindow&, PresentPath) {
    return nullptr;
}
std::unique_ptr<PixelPresenter> createPixelPresenter(QWindow&) {
    return nullptr;
}
std::unique_ptr<PresentationTimer> createPresentationTimer(PresentationTimer::Report report) {
    return createImmediatePresentationTimer(std::move(report));
}

Qt::WindowFlags flagsForLevel(Qt::WindowFlags flags, long long level) {
    if (level >= kBypassWindowManagerLevel) {
        return flags | Qt::BypassWindowManagerHint | Qt::WindowStaysOnTopHint;
    }
    return level >= kAboveLevel ? flags | Qt::WindowStaysOnTopHint : flags;
}

}  // namespace scrawlet::platform
