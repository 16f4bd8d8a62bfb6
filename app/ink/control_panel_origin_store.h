// Where each display's control panel was last dragged to.
//
// The production store is the preferences file, `preferences.ini` in the settings folder
// (QSettings' INI format, kept apart from settings.json so that the settings document stays
// the user's own). Each origin is the key "controlPanel.origin.<display identifier>" with the
// text "{x, y}" in global points. A missing file, key or unreadable text reads as no origin;
// a write that fails says so once per write on standard error and changes nothing else.
// Main thread only.
#pragma once

#include <QPoint>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace scrawlet::ink {

class ControlPanelOriginStore {
  public:
    virtual ~ControlPanelOriginStore() = default;
    virtual std::optional<QPoint> origin(std::uint32_t displayID) const = 0;
    virtual void setOrigin(std::uint32_t displayID, QPoint origin) = 0;
};

class PreferencesOriginStore : public ControlPanelOriginStore {
  public:
    static std::filesystem::path defaultFile();

    explicit PreferencesOriginStore(std::filesystem::path file = defaultFile());

    const std::filesystem::path& file() const { return file_; }
    std::optional<QPoint> origin(std::uint32_t displayID) const override;
    void setOrigin(std::uint32_t displayID, QPoint origin) override;

  private:
    std::filesystem::path file_;
};

}  // namespace scrawlet::ink
