#include "app/settings/shortcuts_section.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "app/log/frontmost_log.h"
#include "app/settings/settings_model.h"
#include "app/shortcuts/key_chord.h"
#include "core/json_text.h"

namespace scrawlet::settings {
namespace {

constexpr int kLabelColumnPoints = 190;
constexpr int kChordColumnPoints = 96;

void logKind(const std::string& fields) {
    log::FrontmostLog::shared().recordLine("{" + fields + "}");
}

}  // namespace

ChordRecorder::ChordRecorder() {
    setFocusPolicy(Qt::StrongFocus);
    setFixedSize(1, 1);
}

// Keys that the window would take as shortcuts of its own (Escape, Return on a default
// button) reach the recorder first.
bool ChordRecorder::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QWidget::event(event);
}

void ChordRecorder::keyPressEvent(QKeyEvent* event) {
    const Qt::KeyboardModifiers modifiers =
        event->modifiers() &
        (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    if (event->key() == Qt::Key_Escape && modifiers == Qt::NoModifier) {
        if (onCancel) {
            onCancel();
        }
        return;
    }
    if (const auto chord = shortcuts::chordFromQtKey(event->key(), modifiers); chord && onCapture) {
        onCapture(*chord);
    }
}

ShortcutsSection::ShortcutsSection(SettingsModel& model)
    : model_(model), pending_(model.actionCatalog(), model.settings().system.shortcutOverrides) {
    stack_ = new QVBoxLayout(this);
    stack_->setContentsMargins(0, 0, 0, 0);
    stack_->setSpacing(10);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    revert_ = new QPushButton(QStringLiteral("Revert"));
    save_ = new QPushButton(QStringLiteral("Save Shortcuts"));
    buttons->addWidget(revert_);
    buttons->addWidget(save_);
    stack_->addLayout(buttons);
    connect(revert_, &QPushButton::clicked, this, [this] {
        pending_.revert();
        rebuild();
    });
    connect(save_, &QPushButton::clicked, this, [this] { saveShortcuts(); });
    connect(&model_, &SettingsModel::published, this, &ShortcutsSection::documentPublished);
    rebuild();
}

void ShortcutsSection::initialise() {
    pending_ = PendingShortcuts(model_.actionCatalog(), model_.settings().system.shortcutOverrides);
    rebuild();
}

void ShortcutsSection::startRecording(const std::string& actionID) {
    const bool already = recordingActionID_.has_value();
    recordingActionID_ = actionID;
    if (!already && model_.onRecordingChanged) {
        model_.onRecordingChanged(true);
    }
    logKind("\"kind\":\"shortcutRecordingStarted\",\"action\":" + core::jsonString(actionID));
    rebuild();
}

void ShortcutsSection::captured(const core::Chord& chord) {
    if (!recordingActionID_) {
        return;
    }
    const std::string actionID = *recordingActionID_;
    pending_.capture(actionID, chord);
    endRecording();
    logKind("\"kind\":\"shortcutChordCaptured\",\"action\":" + core::jsonString(actionID) +
            ",\"chord\":" + core::jsonString(chord.specText()));
}

void ShortcutsSection::cancelRecording() {
    if (recordingActionID_) {
        endRecording();
    }
}

void ShortcutsSection::endRecording() {
    recordingActionID_.reset();
    if (model_.onRecordingChanged) {
        model_.onRecordingChanged(false);
    }
    rebuild();
}

void ShortcutsSection::saveShortcuts() {
    model_.edit([this](core::Settings& document) { pending_.save(document); });
    logKind("\"kind\":\"shortcutsSaved\"");
    rebuild();
}

// Slider and field edits publish too; the rows are built again only when the saved set moved.
void ShortcutsSection::documentPublished() {
    const auto& saved = model_.settings().system.shortcutOverrides;
    const bool savedMoved = saved != pending_.saved();
    pending_.setSaved(saved);
    if (savedMoved) {
        rebuild();
    }
}

void ShortcutsSection::rebuild() {
    // The clicked button may be inside the old rows: they go once its signal has returned.
    if (rows_) {
        stack_->removeWidget(rows_);
        rows_->hide();
        rows_->deleteLater();
    }
    rows_ = buildRows();
    stack_->insertWidget(0, rows_);
    revert_->setEnabled(pending_.canRevert());
    save_->setEnabled(pending_.canSave());
}

QWidget* ShortcutsSection::buildRows() {
    auto* rows = new QWidget;
    auto* grid = new QGridLayout(rows);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(4);
    grid->setColumnStretch(3, 1);
    int line = 0;
    for (const PendingShortcuts::Row& row : pending_.rows()) {
        auto* label = new QLabel(QString::fromStdString(row.label));
        label->setFixedWidth(kLabelColumnPoints);
        label->setToolTip(QString::fromStdString(row.actionID));
        auto* chord = new QLabel(QString::fromStdString(row.chordText));
        // Linux chord texts ("Ctrl+Alt+Shift+Z") are longer than symbols: at least the
        // column, never clipped.
        chord->setMinimumWidth(kChordColumnPoints);
        if (row.chordText == PendingShortcuts::kUnbound) {
            chord->setForegroundRole(QPalette::PlaceholderText);
        }
        auto* actions = new QHBoxLayout;
        actions->setSpacing(6);
        const std::string id = row.actionID;
        if (recordingActionID_ == id) {
            auto* recorder = new ChordRecorder;
            recorder->onCapture = [this](const core::Chord& c) { captured(c); };
            recorder->onCancel = [this] { cancelRecording(); };
            actions->addWidget(recorder);
            actions->addWidget(new QLabel(QStringLiteral("Press a key\u2026")));
            auto* cancel = new QPushButton(QStringLiteral("Cancel"));
            connect(cancel, &QPushButton::clicked, this, [this] { cancelRecording(); });
            actions->addWidget(cancel);
            // Focus once the new rows are in the window.
            QTimer::singleShot(0, recorder, [recorder] {
                if (!recorder->hasFocus()) {
                    recorder->setFocus(Qt::OtherFocusReason);
                }
            });
        } else {
            auto* record = new QPushButton(QStringLiteral("Record"));
            auto* unbind = new QPushButton(QStringLiteral("Unbind"));
            connect(record, &QPushButton::clicked, this, [this, id] { startRecording(id); });
            connect(unbind, &QPushButton::clicked, this, [this, id] {
                pending_.unbind(id);
                rebuild();
            });
            actions->addWidget(record);
            actions->addWidget(unbind);
        }
        actions->addStretch(1);
        grid->addWidget(label, line, 0);
        grid->addWidget(chord, line, 1);
        grid->addLayout(actions, line, 2, 1, 2);
        ++line;
        if (const std::string conflict = PendingShortcuts::conflictLine(row); !conflict.empty()) {
            auto* warning = new QLabel(QString::fromStdString(conflict));
            warning->setWordWrap(true);
            QPalette palette = warning->palette();
            palette.setColor(QPalette::WindowText, QColor(200, 60, 20));
            warning->setPalette(palette);
            grid->addWidget(warning, line, 0, 1, 4);
            ++line;
        }
    }
    return rows;
}

}  // namespace scrawlet::settings
