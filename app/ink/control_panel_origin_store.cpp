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

std::optional<QPoint> PreferencesOriginStore::origin(std::uint32_t displayID) const {
    // A fresh reader each time: another panel's store may have written since.
    const QSettings preferences(qtPath(file_), QSettings::IniFormat);
    const QVariant value = preferences.value(controlPanelOriginKey(displayID));
    // Written by hand without quotes, "{x, y}" comes back from the INI reader as a list.
    const QString text = value.typeId() == QMetaType::QStringList
                             ? value.toStringList().join(QStringLiteral(","))
                             : value.toString();
    return parseControlPanelOriginText(text);
}

void PreferencesOriginStore::setOrigin(std::uint32_t displayID, QPoint origin) {
    QSettings preferences(qtPath(file_), QSettings::IniFormat);
    preferences.setValue(controlPanelOriginKey(displayID), controlPanelOriginText(origin));
    preferences.sync();
    if (preferences.status() != QSettings::NoError) {
        std::cerr << "draw: could not store the control panel's position in " << file_.string()
                  << "\n";
    }
}

}  // namespace scrawlet::ink
