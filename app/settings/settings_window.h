// The settings window: the form in a scroll area, titled "<name> Settings", 620 × 600 at
// first (560 × 420 at least). Its frame is kept in the preferences file under
// "ScrawletSettings.v2" and comes back on the next run when it still lies on a screen.
// Closing hides it (and ends a recording); the owner keeps it for the next opening.
//
// The auto-record inputs are for harnesses: when the form first shows, recording starts for
// `autoRecordActionID` after `autoRecordDelaySeconds`, and the pending shortcuts are saved
// after `autoSaveShortcutsAfterSeconds`. Main thread only.
#pragma once

#include <QTimer>
#include <QWidget>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace scrawlet::settings {

class SettingsModel;
class ShortcutsSection;

class SettingsWindowController : public QWidget {
    Q_OBJECT

  public:
    static constexpr int kWidthPoints = 620;
    static constexpr int kHeightPoints = 600;
    static constexpr const char* kFrameKey = "ScrawletSettings.v2";

    struct AutoRecord {
        std::optional<std::string> actionID;
        double delaySeconds = 0;
        std::optional<double> saveAfterSeconds;
    };

    SettingsWindowController(SettingsModel& model, AutoRecord autoRecord,
                             std::filesystem::path preferencesFile);

    // False when no usable frame was stored; the window keeps its size and is not placed.
    bool restoreFrame();
    ShortcutsSection& shortcuts() { return *shortcuts_; }

    std::function<void()> onClose;

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void saveFrame();

    ShortcutsSection* shortcuts_ = nullptr;
    AutoRecord autoRecord_;
    std::filesystem::path preferencesFile_;
    bool hasInitializedShortcutOverrides_ = false;
    QTimer frameWrite_;
};

}  // namespace scrawlet::settings
