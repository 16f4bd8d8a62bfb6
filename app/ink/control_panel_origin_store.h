// Where each display's control panel was last dragged to.
//
// The production store is the preferences file, `preferences.ini` in the settings folder
// (QSettings' INI format, kept apart from settings.json so that the settings document stays
// the user's own). Each origin is the key "controlPanel.origin.<display identifier>" with the
// text "{x, y}" in global points, written a second time under the monitor's name
// ("controlPanel.originByName.<name>"): identifiers are numbered afresh by each X server, so
// after a new login only the name finds the panel's place. The name is read first. A missing file,
// key or unreadable text reads as no origin; a write that fails says so once per write on standard
// error and changes nothing else. Main thread only.
#pragma once

#include <QPoint>
#include <cstdint>
#include <filesystem>
#include <optional>

#include "app/platform/display_identifier.h"

namespace scrawlet::ink {

class ControlPanelOriginStore {
  public:
    virtual ~ControlPanelOriginStore() = default;
    virtual std::optional<QPoint> origin(const platform::DisplayKey& display) const = 0;
    virtual void setOrigin(const platform::DisplayKey& display, QPoint origin) = 0;
};

class PreferencesOriginStore : public ControlPanelOriginStore {
  public:
    static std::filesystem::path defaultFile();

    explicit PreferencesOriginStore(std::filesystem::path file = defaultFile());

    const std::filesystem::path& file() const { return file_; }
    std::optional<QPoint> origin(const platform::DisplayKey& display) const override;
    void setOrigin(const platform::DisplayKey& display, QPoint origin) override;

  private:
    std::filesystem::path file_;
};

}  // namespace scrawlet::ink
