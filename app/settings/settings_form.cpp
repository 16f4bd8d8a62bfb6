#include "app/settings/settings_form.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "app/settings/settings_labels.h"
#include "app/settings/settings_model.h"
#include "core/settings_field.h"

namespace scrawlet::settings {
namespace {

using core::FieldKind;
using core::FieldValue;
using core::SettingsField;

// Fine enough that every label's last decimal can be reached on the widest range.
constexpr int kSliderSteps = 4000;
constexpr std::size_t kWhole = std::numeric_limits<std::size_t>::max();

enum class Control { toggle, picker, colour, colourList, slider, stepper, stepperList, text };
enum class ValueText { none, integer, oneDecimal, twoDecimals };

const SettingsField& fieldAt(std::string_view path) {
    const SettingsField* field = core::findSettingsField(path);
    assert(field && "every row names a field of the table");
    return *field;
}

double numberOf(const FieldValue& value) {
    if (const auto* number = std::get_if<double>(&value)) {
        return *number;
    }
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        return static_cast<double>(*integer);
    }
    return 0;
}

double entryOf(const SettingsField& field, const core::Settings& settings, std::size_t entry) {
    const FieldValue value = field.value(settings);
    if (entry == kWhole) {
        return numberOf(value);
    }
    const auto& list = std::get<std::vector<double>>(value);
    return entry < list.size() ? list[entry] : 0;
}

void assignEntry(const SettingsField& field, core::Settings& settings, std::size_t entry,
                 double number) {
    if (entry != kWhole) {
        auto list = std::get<std::vector<double>>(field.value(settings));
        if (entry < list.size()) {
            list[entry] = number;
        }
        field.assign(settings, FieldValue{std::move(list)});
    } else if (field.kind() == FieldKind::integer) {
        field.assign(settings, FieldValue{static_cast<std::int64_t>(std::llround(number))});
    } else {
        field.assign(settings, FieldValue{number});
    }
}

core::Colour colourOf(const SettingsField& field, const core::Settings& settings,
                      std::size_t entry) {
    const FieldValue value = field.value(settings);
    if (entry == kWhole) {
        return std::get<core::Colour>(value);
    }
    const auto& list = std::get<std::vector<core::Colour>>(value);
    return entry < list.size() ? list[entry] : core::Colour{};
}

// A chequered swatch, so that a colour's opacity shows.
QIcon swatch(const core::Colour& colour) {
    QPixmap picture(36, 18);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    for (int y = 0; y < picture.height(); y += 6) {
        for (int x = (y / 6 % 2) * 6; x < picture.width(); x += 12) {
            painter.fillRect(x, y, 6, 6, QColor(204, 204, 204));
        }
    }
    painter.fillRect(picture.rect(), pickerColour(colour));
    painter.setPen(QColor(0, 0, 0, 90));
    painter.drawRect(picture.rect().adjusted(0, 0, -1, -1));
    return QIcon(picture);
}

QLabel* helpLabel(std::string_view text) {
    auto* help = new QLabel(QString::fromUtf8(text.data(), static_cast<int>(text.size())));
    help->setWordWrap(true);
    help->setForegroundRole(QPalette::PlaceholderText);
    QFont font = help->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    help->setFont(font);
    return help;
}

QString qText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

}  // namespace

struct SettingsForm::Row {
    Control control;
    std::string_view label;
    std::string_view path;
    double lower = 0;
    double upper = 0;
    ValueText value = ValueText::none;
    std::string_view unit{};
    std::string_view customModePath{};
    std::string_view help{};

    std::string text(double number) const {
        switch (value) {
            case ValueText::integer:
                return integerLabel(label, number, unit);
            case ValueText::oneDecimal:
                return decimalLabel(label, number, 1, unit);
            case ValueText::twoDecimals:
                return decimalLabel(label, number, 2, unit);
            case ValueText::none:
                break;
        }
        return std::string(label);
    }
};

namespace {

struct Section {
    std::string_view title;
    std::vector<SettingsForm::Row> rows;
};

// The window's sections in order. Ranges are the window's own, never wider than the
// document's, so whatever a control produces is valid.
const std::vector<Section>& sections() {
    using R = SettingsForm::Row;
    using C = Control;
    using V = ValueText;
    constexpr std::string_view kPt = "pt";
    static const std::vector<Section> table{
        {"Annotation",
         {
             R{C::colourList, "Palette ", "annotation.palette"},
             R{C::stepperList, "Stroke width preset ", "annotation.strokeWidth.presetsPoints", 1,
               200},
             R{C::toggle, "Pressure modulation", "annotation.strokeWidth.pressureModulation"},
             R{C::picker, "Auto-erase", "annotation.autoErase.mode"},
             R{C::stepper, "Custom fade", "annotation.autoErase.customSeconds", 0.25, 120,
               V::integer, "s", "annotation.autoErase.mode"},
             R{C::slider, "Pen opacity", "annotation.toolOpacity.pen", 0, 1, V::twoDecimals},
             R{C::slider, "Line opacity", "annotation.toolOpacity.line", 0, 1, V::twoDecimals},
             R{C::slider, "Arrow opacity", "annotation.toolOpacity.arrow", 0, 1, V::twoDecimals},
             R{C::slider, "Rectangle opacity", "annotation.toolOpacity.rectangle", 0, 1,
               V::twoDecimals},
             R{C::slider, "Ellipse opacity", "annotation.toolOpacity.ellipse", 0, 1,
               V::twoDecimals},
             R{C::slider, "Highlighter opacity", "annotation.toolOpacity.highlighter", 0, 1,
               V::twoDecimals},
             R{C::slider, "Text opacity", "annotation.toolOpacity.text", 0, 1, V::twoDecimals},
         }},
        {"Cursor Highlight",
         {
             R{C::toggle, "Enabled at launch", "cursorHighlight.enabled"},
             R{C::picker, "Shape", "cursorHighlight.shape"},
             R{C::colour, "Colour", "cursorHighlight.colour"},
             R{C::slider, "Size", "cursorHighlight.sizePoints", 1, 400, V::integer, kPt},
             R{C::slider, "Opacity", "cursorHighlight.opacity", 0, 1, V::twoDecimals},
             R{C::slider, "Border width", "cursorHighlight.borderWidthPoints", 0, 40, V::integer,
               kPt},
             R{C::toggle, "Click ripple (CH-04)", "cursorHighlight.clickRipple"},
         }},
        {"Spotlight",
         {
             R{C::picker, "Shape", "spotlight.shape"},
             R{C::slider, "Size", "spotlight.sizePoints", 1, 4000, V::integer, kPt},
             R{C::slider, "Dim opacity", "spotlight.dimOpacity", 0, 1, V::twoDecimals},
             R{C::toggle, "Dim all displays", "spotlight.dimAllDisplays"},
         }},
        {"Zoom",
         {
             R{C::slider, "Level", "zoom.level", 1.5, 8, V::oneDecimal, "\u00d7"},
             R{C::picker, "Lens shape", "zoom.lensShape"},
             R{C::slider, "Lens size", "zoom.lensSizePoints", 1, 4000, V::integer, kPt},
             R{C::slider, "Pan easing", "zoom.panEasing", 0, 1, V::twoDecimals},
         }},
        {"Whiteboard", {R{C::colour, "Board colour", "whiteboard.boardColour"}}},
        {"Capture",
         {
             R{C::text, "Destination folder (empty = ~/Pictures/Scrawlet)",
               "capture.destinationFolder"},
             R{C::stepper, "History count", "capture.historyCount", 1, 50, V::integer},
         }},
        {"Keystroke Display",
         {
             R{C::toggle,
               "Enabled at launch",
               "keystrokeDisplay.enabled",
               0,
               0,
               V::none,
               {},
               {},
               "Live-adjustable via the keystroke-display hotkey; this is only the state at "
               "launch."},
             R{C::picker, "Position", "keystrokeDisplay.position"},
             R{C::slider, "Size", "keystrokeDisplay.sizePoints", 1, 120, V::integer, kPt},
             R{C::picker, "Fade", "keystrokeDisplay.fade.mode"},
             R{C::stepper, "Custom fade", "keystrokeDisplay.fade.customSeconds", 0.25, 120,
               V::integer, "s", "keystrokeDisplay.fade.mode"},
         }},
        {"Shortcuts", {}},
        {"General",
         {
             R{C::toggle, "Launch at login", "system.launchAtLogin"},
             R{C::toggle, "Check for updates automatically", "system.checkForUpdates"},
         }},
    };
    return table;
}

}  // namespace

SettingsForm::SettingsForm(SettingsModel& model, QWidget* shortcutsSection) : model_(model) {
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(16, 16, 16, 16);
    stack->setSpacing(14);
    std::vector<QFormLayout*> forms;
    for (const Section& section : sections()) {
        auto* group = new QGroupBox(qText(section.title));
        if (section.rows.empty()) {
            auto* inside = new QVBoxLayout(group);
            inside->addWidget(shortcutsSection);
        } else {
            auto* form = new QFormLayout(group);
            form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
            form->setRowWrapPolicy(QFormLayout::DontWrapRows);
            for (const Row& row : section.rows) {
                addRow(*form, row);
            }
            forms.push_back(form);
        }
        stack->addWidget(group);
    }
    stack->addStretch(1);
    connect(&model_, &SettingsModel::published, this, &SettingsForm::refresh);
    refresh();
    alignLabelColumns(forms);
}

// Each group's form sizes its own label column; one width for all lines the fields up down
// the whole window.
void SettingsForm::alignLabelColumns(const std::vector<QFormLayout*>& forms) {
    int widest = 0;
    std::vector<QWidget*> labels;
    for (QFormLayout* form : forms) {
        for (int row = 0; row < form->rowCount(); ++row) {
            const QLayoutItem* item = form->itemAt(row, QFormLayout::LabelRole);
            if (QWidget* label = item ? item->widget() : nullptr) {
                widest = std::max({widest, label->sizeHint().width(), label->minimumWidth()});
                labels.push_back(label);
            }
        }
    }
    for (QWidget* label : labels) {
        label->setMinimumWidth(widest);
    }
}

void SettingsForm::refresh() {
    const core::Settings& settings = model_.settings();
    for (const auto& refresher : refreshers_) {
        refresher(settings);
    }
}

void SettingsForm::addRow(QFormLayout& form, const Row& row) {
    const SettingsField& field = fieldAt(row.path);
    switch (row.control) {
        case Control::toggle:
            return addToggle(form, row, field);
        case Control::picker:
            return addPicker(form, row, field);
        case Control::colour:
            return addColour(form, qText(row.label), field, kWhole);
        case Control::colourList:
            for (std::size_t i = 0; i < field.entryCount(model_.settings()); ++i) {
                addColour(form, qText(row.label) + QString::number(i + 1), field, i);
            }
            return;
        case Control::slider:
            return addSlider(form, row, field);
        case Control::stepper:
            return addStepper(form, row, field, kWhole);
        case Control::stepperList:
            for (std::size_t i = 0; i < field.entryCount(model_.settings()); ++i) {
                addStepper(form, row, field, i);
            }
            return;
        case Control::text:
            return addText(form, row, field);
    }
}

void SettingsForm::addToggle(QFormLayout& form, const Row& row, const SettingsField& field) {
    auto* box = new QCheckBox(qText(row.label));
    const SettingsField* f = &field;
    connect(box, &QCheckBox::toggled, this, [this, f](bool on) {
        model_.edit([&](core::Settings& s) { f->assign(s, FieldValue{on}); });
    });
    refreshers_.push_back([box, f](const core::Settings& s) {
        const QSignalBlocker quiet(box);
        box->setChecked(std::get<bool>(f->value(s)));
    });
    if (row.help.empty()) {
        form.addRow(QString(), box);
        return;
    }
    auto* both = new QWidget;
    auto* stack = new QVBoxLayout(both);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->setSpacing(2);
    stack->addWidget(box);
    stack->addWidget(helpLabel(row.help));
    form.addRow(QString(), both);
}

void SettingsForm::addPicker(QFormLayout& form, const Row& row, const SettingsField& field) {
    auto* picker = new QComboBox;
    for (const std::string_view name : field.choices()) {
        picker->addItem(qText(name));
    }
    const SettingsField* f = &field;
    connect(picker, &QComboBox::activated, this, [this, f](int index) {
        model_.edit([&](core::Settings& s) {
            f->assign(s, FieldValue{core::FieldChoice{static_cast<std::size_t>(index)}});
        });
    });
    refreshers_.push_back([picker, f](const core::Settings& s) {
        const QSignalBlocker quiet(picker);
        picker->setCurrentIndex(static_cast<int>(std::get<core::FieldChoice>(f->value(s)).index));
    });
    form.addRow(qText(row.label), picker);
}

void SettingsForm::addColour(QFormLayout& form, const QString& label, const SettingsField& field,
                             std::size_t entry) {
    auto* button = new QPushButton;
    button->setIconSize(QSize(36, 18));
    const SettingsField* f = &field;
    connect(button, &QPushButton::clicked, this, [this, f, entry, label] {
        auto* dialog = new QColorDialog(pickerColour(colourOf(*f, model_.settings(), entry)), this);
        dialog->setOption(QColorDialog::ShowAlphaChannel);
        dialog->setWindowTitle(label);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        connect(dialog, &QColorDialog::colorSelected, this, [this, f, entry](const QColor& c) {
            const core::Colour picked = colourFromPicked(c);
            model_.edit([&](core::Settings& s) {
                if (entry == kWhole) {
                    f->assign(s, FieldValue{picked});
                    return;
                }
                auto list = std::get<std::vector<core::Colour>>(f->value(s));
                if (entry < list.size()) {
                    list[entry] = picked;
                }
                f->assign(s, FieldValue{std::move(list)});
            });
        });
        dialog->open();
    });
    refreshers_.push_back([button, f, entry](const core::Settings& s) {
        const core::Colour colour = colourOf(*f, s, entry);
        button->setIcon(swatch(colour));
        button->setText(QString::fromStdString(colour.hexString()));
    });
    auto* left = new QHBoxLayout;
    left->addWidget(button);
    left->addStretch(1);
    form.addRow(label, left);
}

void SettingsForm::addSlider(QFormLayout& form, const Row& row, const SettingsField& field) {
    auto* slider = new QSlider(Qt::Horizontal);
    slider->setRange(0, kSliderSteps);
    auto* label = new QLabel;
    label->setMinimumWidth(
        label->fontMetrics().horizontalAdvance(QString::fromStdString(row.text(row.upper)) + "0"));
    const SettingsField* f = &field;
    const double lower = row.lower;
    const double span = row.upper - row.lower;
    connect(slider, &QSlider::valueChanged, this, [this, f, lower, span](int position) {
        const double value = lower + span * position / kSliderSteps;
        model_.edit([&](core::Settings& s) { assignEntry(*f, s, kWhole, value); });
    });
    refreshers_.push_back([slider, label, f, row](const core::Settings& s) {
        const double value = entryOf(*f, s, kWhole);
        const QSignalBlocker quiet(slider);
        const double fraction = (value - row.lower) / (row.upper - row.lower);
        slider->setValue(
            static_cast<int>(std::lround(std::clamp(fraction, 0.0, 1.0) * kSliderSteps)));
        label->setText(QString::fromStdString(row.text(value)));
    });
    form.addRow(label, slider);
}

void SettingsForm::addStepper(QFormLayout& form, const Row& row, const SettingsField& field,
                              std::size_t entry) {
    auto* stepper = new QDoubleSpinBox;
    stepper->setRange(row.lower, row.upper);
    stepper->setSingleStep(1);
    const bool fractionalBound = row.lower != std::floor(row.lower);
    stepper->setDecimals(field.kind() == FieldKind::integer ? 0 : fractionalBound ? 2 : 1);
    // Typing commits once, at Return or when the field is left; the arrows commit each step.
    stepper->setKeyboardTracking(false);
    auto* label = new QLabel;
    const auto text = [row, entry](double value) {
        return entry == kWhole ? row.text(value) : presetLabel(entry, value);
    };
    label->setMinimumWidth(
        label->fontMetrics().horizontalAdvance(QString::fromStdString(text(row.upper)) + "0"));
    const SettingsField* f = &field;
    connect(stepper, &QDoubleSpinBox::valueChanged, this, [this, f, entry](double value) {
        model_.edit([&](core::Settings& s) { assignEntry(*f, s, entry, value); });
    });
    refreshers_.push_back([stepper, label, f, entry, text](const core::Settings& s) {
        const double value = entryOf(*f, s, entry);
        const QSignalBlocker quiet(stepper);
        stepper->setValue(value);
        label->setText(QString::fromStdString(text(value)));
    });
    auto* left = new QHBoxLayout;
    left->addWidget(stepper);
    left->addStretch(1);
    form.addRow(label, left);
    if (!row.customModePath.empty()) {
        showWhenCustom(form, label, row.customModePath);
    }
}

void SettingsForm::addText(QFormLayout& form, const Row& row, const SettingsField& field) {
    auto* edit = new QLineEdit;
    edit->setPlaceholderText(QStringLiteral("~/Pictures/Scrawlet"));
    const SettingsField* f = &field;
    connect(edit, &QLineEdit::textEdited, this, [this, f](const QString& text) {
        model_.edit([&](core::Settings& s) { f->assign(s, FieldValue{text.toStdString()}); });
    });
    refreshers_.push_back([edit, f](const core::Settings& s) {
        const QString text = QString::fromStdString(std::get<std::string>(f->value(s)));
        // Rewriting an unchanged text would move the caret under the user's typing.
        if (edit->text() != text) {
            edit->setText(text);
        }
    });
    // The long label reads better above its field than squeezing every field of the group.
    form.addRow(new QLabel(qText(row.label)));
    form.addRow(edit);
}

void SettingsForm::showWhenCustom(QFormLayout& form, QWidget* label, std::string_view modePath) {
    const SettingsField* mode = &fieldAt(modePath);
    const auto names = mode->choices();
    const auto custom = static_cast<std::size_t>(
        std::find(names.begin(), names.end(), std::string_view("custom")) - names.begin());
    QFormLayout* layout = &form;
    refreshers_.push_back([layout, label, mode, custom](const core::Settings& s) {
        layout->setRowVisible(label, std::get<core::FieldChoice>(mode->value(s)).index == custom);
    });
}

}  // namespace scrawlet::settings
