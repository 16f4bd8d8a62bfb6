// The settings window's widgets, offscreen: what a control writes, what shows and hides, and
// the recorder's keys.
#include "app/settings/settings_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QTest>

#include "app/settings/settings_model.h"
#include "app/settings/shortcuts_section.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::settings {
namespace {

core::ActionCatalog catalog() {
    core::ActionCatalog c;
    for (const auto& [id, label, key] :
         {std::tuple{"tool.pen", "Pen", "p"},
          std::tuple{"spotlight.toggle", "Spotlight", "ctrl+alt+s"}}) {
        core::Action action;
        action.id = id;
        action.label = label;
        action.defaultBinding.windows = key;
        c.actions.push_back(action);
    }
    return c;
}

class SettingsWindowTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { qputenv("QT_QPA_PLATFORM", "offscreen"); }

    SettingsWindowTest() {
        model.onChange = [this](const core::Settings& s) { changes.push_back(s); };
        model.onRecordingChanged = [this](bool on) { recording.push_back(on); };
    }

    // Rows built again leave their old widgets for the event loop to delete.
    QLabel* label(const QString& prefix) const {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        for (QLabel* candidate : window.findChildren<QLabel*>()) {
            if (candidate->text().startsWith(prefix)) {
                return candidate;
            }
        }
        return nullptr;
    }
    QPushButton* button(const QString& text, int nth = 0) const {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        for (QPushButton* candidate : window.findChildren<QPushButton*>()) {
            if (candidate->text() == text && candidate->isVisible() && nth-- == 0) {
                return candidate;
            }
        }
        return nullptr;
    }

    int argc = 1;
    char name[5] = "test";
    char* argv[2] = {name, nullptr};
    QApplication application{argc, argv};
    testing::TemporaryFolder tmp;
    SettingsModel model{core::Settings{}, catalog()};
    SettingsWindowController window{model, {}, tmp.path() / "preferences.ini"};
    std::vector<core::Settings> changes;
    std::vector<bool> recording;
};

TEST_F(SettingsWindowTest, SectionsComeInOrderUnderTheTitle) {
    QStringList titles;
    for (const QGroupBox* group : window.findChildren<QGroupBox*>()) {
        titles << group->title();
    }
    EXPECT_EQ(titles,
              (QStringList{"Annotation", "Cursor Highlight", "Spotlight", "Zoom", "Whiteboard",
                           "Capture", "Keystroke Display", "Shortcuts", "General"}));
    EXPECT_EQ(window.windowTitle(), "Scrawlet Settings");
    EXPECT_EQ(window.size(), QSize(620, 600));
}

TEST_F(SettingsWindowTest, ASliderCommitsEachMoveAndItsLabelFollows) {
    window.show();
    auto sliders = window.findChildren<QSlider*>();
    ASSERT_FALSE(sliders.empty());
    // The first slider of the form is the pen's opacity.
    sliders[0]->setValue(sliders[0]->maximum() / 2);
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_DOUBLE_EQ(changes[0].annotation.toolOpacity.pen, 0.5);
    EXPECT_TRUE(label("Pen opacity: 0.50"));
}

TEST_F(SettingsWindowTest, CustomFadeShowsOnlyForTheCustomModeAndKeepsItsSeconds) {
    window.show();
    QLabel* fade = label("Custom fade: 10s");
    ASSERT_TRUE(fade);
    EXPECT_FALSE(fade->isVisible());
    model.edit(
        [](core::Settings& s) { s.annotation.autoErase.mode = core::AutoEraseMode::custom; });
    EXPECT_TRUE(fade->isVisible());
    model.edit([](core::Settings& s) { s.annotation.autoErase.mode = core::AutoEraseMode::off; });
    EXPECT_FALSE(fade->isVisible());
    EXPECT_EQ(changes.back().annotation.autoErase.customSeconds, 10);
}

TEST_F(SettingsWindowTest, RecordingTakesAChordCancelsOnEscapeAndSavesOnlyWhenAsked) {
    window.show();
    ShortcutsSection& shortcuts = window.shortcuts();
    shortcuts.startRecording("tool.pen");
    EXPECT_TRUE(label(QString::fromUtf8("Press a key\u2026")));
    QApplication::processEvents();
    auto* recorder = window.findChild<ChordRecorder*>();
    ASSERT_TRUE(recorder);
    QTest::keyClick(recorder, Qt::Key_Escape);
    EXPECT_FALSE(shortcuts.recordingActionID());
    EXPECT_TRUE(shortcuts.pending().pending().empty()) << "cancel changes nothing";

    shortcuts.startRecording("tool.pen");
    QApplication::processEvents();
    QTest::keyClick(window.findChild<ChordRecorder*>(), Qt::Key_S,
                    Qt::ControlModifier | Qt::AltModifier);
    EXPECT_EQ(recording, (std::vector<bool>{true, false, true, false}));
    EXPECT_TRUE(label("Conflicts with Spotlight"));
    EXPECT_TRUE(label("Conflicts with Pen"));
    EXPECT_TRUE(changes.empty()) << "nothing saved before Save Shortcuts";

    ASSERT_TRUE(button("Revert"));
    button("Revert")->click();
    EXPECT_FALSE(label("Conflicts with"));
    EXPECT_FALSE(button("Save Shortcuts")->isEnabled());

    shortcuts.startRecording("spotlight.toggle");
    QApplication::processEvents();
    QTest::keyClick(window.findChild<ChordRecorder*>(), Qt::Key_Escape, Qt::ShiftModifier);
    button("Save Shortcuts")->click();
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].system.shortcutOverrides,
              (std::map<std::string, std::string>{{"spotlight.toggle", "shift+escape"}}));
    EXPECT_TRUE(label("Shift+Esc"));
    EXPECT_FALSE(button("Revert")->isEnabled());
}

TEST_F(SettingsWindowTest, TheFrameComesBackOnlyWhenItStillLiesOnAScreen) {
    const QString file = QString::fromStdString((tmp.path() / "preferences.ini").string());
    QSettings(file, QSettings::IniFormat).setValue("ScrawletSettings.v2", QRect(40, 50, 700, 500));
    ASSERT_TRUE(window.restoreFrame());
    EXPECT_EQ(window.geometry(), QRect(40, 50, 700, 500));
    QSettings(file, QSettings::IniFormat)
        .setValue("ScrawletSettings.v2", QRect(90000, 90000, 700, 500));
    EXPECT_FALSE(window.restoreFrame());
}

}  // namespace
}  // namespace scrawlet::settings
