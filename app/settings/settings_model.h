// The settings document as the settings window and the draw controller share it. Every
// assignment tells the views (`published`); an edit made in the window also goes to
// `onChange`, which saves and applies it. Main thread only.
#pragma once

#include <QObject>
#include <functional>
#include <optional>

#include "core/action_catalog.h"
#include "core/settings.h"

namespace scrawlet::settings {

class SettingsModel : public QObject {
    Q_OBJECT

  public:
    SettingsModel(core::Settings settings, std::optional<core::ActionCatalog> actionCatalog);

    const core::Settings& settings() const { return settings_; }
    // Assigns and publishes, without `onChange`.
    void setSettings(core::Settings settings);
    // A modified copy is published, then handed whole to `onChange`.
    void edit(const std::function<void(core::Settings&)>& change);
    const std::optional<core::ActionCatalog>& actionCatalog() const { return actionCatalog_; }

    std::function<void(const core::Settings&)> onChange;
    // True when a shortcut recording starts, false when it ends.
    std::function<void(bool)> onRecordingChanged;

  signals:
    void published();

  private:
    core::Settings settings_;
    std::optional<core::ActionCatalog> actionCatalog_;
};

}  // namespace scrawlet::settings
