#include "app/ink/control_panel_origin_store.h"

#include <QSettings>
#include <QStringList>
#include <iostream>

#include "app/ink/control_panel_layout.h"
#include "app/settings/settings_store.h"

namespace scrawlet::ink {

namespace {

QString qtPath(const std::filesystem::path& file) {
    return QString::fromStdString(file.string());
}

}  // namespace

std::filesystem::path PreferencesOriginStore::defaultFile() {
    return settings::SettingsStore::directory() / "preferences.ini";
}

PreferencesOriginStore::PreferencesOriginStore(std::filesystem::path file)
    : file_(std::move(file)) {}

std::optional<QPoint> PreferencesOriginStore::origin(const platform::DisplayKey& display) const {
    // A fresh reader each time: another panel's store may have written since.
    const QSettings preferences(qtPath(file_), QSettings::IniFormat);
    const auto read = [&](const QString& key) -> std::optional<QPoint> {
        const QVariant value = preferences.value(key);
        // Written by hand without quotes, "{x, y}" comes back from the INI reader as a list.
        const QString text = value.typeId() == QMetaType::QStringList
                                 ? value.toStringList().join(QStringLiteral(","))
                                 : value.toString();
        return parseControlPanelOriginText(text);
    };
    if (!display.name.empty()) {
        if (auto byName = read(controlPanelOriginNameKey(display.name))) {
            return byName;
        }
    }
    return read(controlPanelOriginKey(display.id));
}

void PreferencesOriginStore::setOrigin(const platform::DisplayKey& display, QPoint origin) {
    QSettings preferences(qtPath(file_), QSettings::IniFormat);
    const QString text = controlPanelOriginText(origin);
    preferences.setValue(controlPanelOriginKey(display.id), text);
    if (!display.name.empty()) {
        preferences.setValue(controlPanelOriginNameKey(display.name), text);
    }
    preferences.sync();
    if (preferences.status() != QSettings::NoError) {
        std::cerr << "draw: could not store the control panel's position in " << file_.string()
                  << "\n";
    }
}

}  // namespace scrawlet::ink
