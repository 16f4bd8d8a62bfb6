#include "app/shell/launch_mode.h"

namespace scrawlet::shell {

std::expected<LaunchMode, ConfigExit> launchModeFromEnvironment(const Environment& env) {
    if (const auto value = env.value("SCRAWLET_MODE")) {
        if (const auto mode = core::fromRawValue<LaunchMode>(*value)) {
            return *mode;
        }
        return std::unexpected(ConfigExit{"scrawlet: unknown SCRAWLET_MODE \"" +
                                              std::string(*value) +
                                              "\" (overlay|probe|draw|capture|textspike)",
                                          64});
    }
    return env.has("SCRAWLET_PROBE_DEVICE") ? LaunchMode::probe : LaunchMode::draw;
}

}  // namespace scrawlet::shell
