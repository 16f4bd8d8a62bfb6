// The keystroke display: while active, the caption of every key typed anywhere replaces the
// last one in a pill in a corner of the main display's work area, and fades out over the fade
// setting's lifetime.
//
// Keys without a caption are neither shown nor counted. Each shown key writes a
// "keystrokeDisplay" record to the event log; each switch writes "keystrokeDisplayToggle".
// The fade clock runs only while a caption is actually fading: after a key it sleeps until the
// fade begins, then ticks once per refresh until the pill is invisible and leaves the screen.
// The pill follows the main display and its work area as they change. Without a screen nothing
// is placed, but keys are still counted and logged. Main thread only.
#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <string>

#include "app/aids/keystroke_display_panel.h"
#include "app/platform/display_feature.h"
#include "app/platform/key_monitor.h"
#include "app/platform/window_placement.h"
#include "core/settings.h"

class QScreen;

namespace scrawlet::aids {

class KeystrokeDisplay : public QObject, public platform::DisplayFeature {
    Q_OBJECT

  public:
    using MonitorFactory = std::function<std::unique_ptr<platform::KeyMonitor>()>;

    // `placer` may be null (the pill is then an ordinary tool window) and must outlive this.
    KeystrokeDisplay(const core::KeystrokeDisplaySettings& settings, platform::WindowPlacer* placer,
                     MonitorFactory monitors);
    ~KeystrokeDisplay() override;

    // New settings take effect at once: size and corner now, the fade from the next key.
    void apply(const core::KeystrokeDisplaySettings& settings);
    // Fails, changing nothing, when keys cannot be observed; the text says why.
    std::expected<void, std::string> setActive(bool active);
    void handle(const platform::KeyPress& press);

    bool isActive() const { return monitor_ != nullptr; }
    std::uint64_t shownCount() const { return shownCount_; }
    const core::KeystrokeDisplaySettings& settings() const { return settings_; }
    const KeystrokeDisplayPanel& panel() const { return panel_; }

    bool attach(const platform::Display& display) override;
    void detach(const platform::Display& display) override;
    void reanchor(const platform::Display& display) override;

  private:
    void place();
    void followScreen(QScreen* screen);
    void startClock(double ageSeconds);
    void tick();

    core::KeystrokeDisplaySettings settings_;
    platform::WindowPlacer* placer_;
    MonitorFactory monitors_;
    std::unique_ptr<platform::KeyMonitor> monitor_;
    KeystrokeDisplayPanel panel_;
    QTimer clock_;
    QPointer<QScreen> screen_;
    double shownAt_ = 0;
    std::uint64_t shownCount_ = 0;
};

}  // namespace scrawlet::aids
