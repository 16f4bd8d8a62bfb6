// The settings window's form: one group per section of the document, in the window's order,
// each control bound to its field through the settings field table. An edit goes to the model
// at once (`SettingsModel::edit`); a document published by the model is shown again by every
// control. The Shortcuts section is a widget of its own, placed where its group belongs.
// Main thread only.
#pragma once

#include <QWidget>
#include <functional>
#include <vector>

#include "core/settings.h"

class QFormLayout;
class QLabel;

namespace scrawlet::core {
struct SettingsField;
}

namespace scrawlet::settings {

class SettingsModel;

class SettingsForm : public QWidget {
    Q_OBJECT

  public:
    // One control of the form, as the section table describes it.
    struct Row;

    SettingsForm(SettingsModel& model, QWidget* shortcutsSection);

  private:
    void addRow(QFormLayout& form, const Row& row);
    void addToggle(QFormLayout& form, const Row& row, const core::SettingsField& field);
    void addPicker(QFormLayout& form, const Row& row, const core::SettingsField& field);
    void addColour(QFormLayout& form, const QString& label, const core::SettingsField& field,
                   std::size_t entry);
    void addSlider(QFormLayout& form, const Row& row, const core::SettingsField& field);
    void addStepper(QFormLayout& form, const Row& row, const core::SettingsField& field,
                    std::size_t entry);
    void addText(QFormLayout& form, const Row& row, const core::SettingsField& field);
    // Shown only while the mode choice at `modePath` is `custom`.
    void showWhenCustom(QFormLayout& form, QWidget* field, std::string_view modePath);
    void refresh();
    void alignLabelColumns(const std::vector<QFormLayout*>& forms);

    SettingsModel& model_;
    std::vector<std::function<void(const core::Settings&)>> refreshers_;
};

}  // namespace scrawlet::settings
