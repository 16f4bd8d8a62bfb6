// The Shortcuts section of the settings window: one row per catalogue action with its binding,
// "Record" and "Unbind", conflict lines, and "Revert" / "Save Shortcuts" for the pending set.
//
// While a row records, `model.onRecordingChanged(true)` has released the global shortcuts so
// that the chord reaches this window; every way out of recording (a chord, Cancel, Escape, the
// window hiding) calls it with false. Starting, capturing and saving are written to the event
// log. Main thread only.
#pragma once

#include <QWidget>
#include <functional>
#include <optional>
#include <string>

#include "app/settings/pending_shortcuts.h"
#include "core/chord.h"

class QPushButton;
class QVBoxLayout;

namespace scrawlet::settings {

class SettingsModel;

// The focusable key catcher of a recording row. Escape alone cancels; any other key the chord
// mapping knows, with any modifiers, is captured; other keys are ignored.
class ChordRecorder : public QWidget {
    Q_OBJECT

  public:
    ChordRecorder();

    std::function<void(const core::Chord&)> onCapture;
    std::function<void()> onCancel;

  protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool focusNextPrevChild(bool) override { return false; }
};

class ShortcutsSection : public QWidget {
    Q_OBJECT

  public:
    explicit ShortcutsSection(SettingsModel& model);

    // The pending set starts from the document's overrides.
    void initialise();
    void startRecording(const std::string& actionID);
    void cancelRecording();
    void saveShortcuts();
    const std::optional<std::string>& recordingActionID() const { return recordingActionID_; }
    const PendingShortcuts& pending() const { return pending_; }

  private:
    void captured(const core::Chord& chord);
    void endRecording();
    void documentPublished();
    void rebuild();
    QWidget* buildRows();

    SettingsModel& model_;
    PendingShortcuts pending_;
    std::optional<std::string> recordingActionID_;
    QVBoxLayout* stack_ = nullptr;
    QWidget* rows_ = nullptr;
    QPushButton* revert_ = nullptr;
    QPushButton* save_ = nullptr;
};

}  // namespace scrawlet::settings
