#include "app/settings/settings_model.h"

namespace scrawlet::settings {

SettingsModel::SettingsModel(core::Settings settings,
                             std::optional<core::ActionCatalog> actionCatalog)
    : settings_(std::move(settings)), actionCatalog_(std::move(actionCatalog)) {}

void SettingsModel::setSettings(core::Settings settings) {
    settings_ = std::move(settings);
    emit published();
}

void SettingsModel::edit(const std::function<void(core::Settings&)>& change) {
    core::Settings next = settings_;
    change(next);
    setSettings(std::move(next));
    if (onChange) {
        onChange(settings_);
    }
}

}  // namespace scrawlet::settings
