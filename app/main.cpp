// The scrawlet executable: chooses the launch mode and runs its controller. Every configuration
// error ends the process here, with its line and status, before any window exists.
#include <iostream>

#include "app/shell/action_catalog_store.h"
#include "app/shell/draw_config.h"
#include "app/shell/frontmost_log.h"
#include "app/shell/launch_mode.h"

namespace {

using namespace scrawlet;

int fail(const shell::ConfigExit& exit) {
    std::cerr << exit.message << "\n";
    return exit.status;
}

int notBuiltYet(shell::LaunchMode mode) {
    std::cerr << "scrawlet: " << core::rawValue(mode) << " mode is not built yet\n";
    return 2;
}

int runDraw(const shell::Environment& env) {
    const auto config = shell::DrawConfig::fromEnvironment(env);
    if (!config) {
        return fail(config.error());
    }
    const auto behavior = shell::collectionBehavior(config->behaviorTokens);
    if (!behavior.unknownTokens.empty()) {
        std::string joined;
        for (const auto& token : behavior.unknownTokens) {
            joined += (joined.empty() ? "" : ",") + token;
        }
        return fail({"draw: unknown collectionBehavior tokens: " + joined, 64});
    }
    auto& log = shell::FrontmostLog::shared();
    log.start(config->logPath);
    if (!shell::ActionCatalogStore::load()) {
        std::cerr << "draw: no action catalogue; shortcuts are off\n";
    }
    log.finish("notBuilt");
    return notBuiltYet(shell::LaunchMode::draw);
}

}  // namespace

int main() {
    const auto env = shell::Environment::fromProcess();
    const auto mode = shell::launchModeFromEnvironment(env);
    if (!mode) {
        return fail(mode.error());
    }
    if (*mode == shell::LaunchMode::draw) {
        return runDraw(env);
    }
    return notBuiltYet(*mode);
}
