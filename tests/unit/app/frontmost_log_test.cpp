#include "app/shell/frontmost_log.h"

#include <gtest/gtest.h>

namespace scrawlet::shell {
namespace {

TEST(FrontmostLogFormat, KeysInOrderWithPanelFieldsOnlyWithAPanel) {
    const platform::FrontmostApp app{"org.example.App", "App", true};
    EXPECT_EQ(
        FrontmostLog::formatRecord(3, 12.5, "modeToggle", app, std::nullopt, "n"),
        R"({"seq":3,"t":12.500000,"event":"modeToggle","frontmostBundleID":"org.example.App",)"
        R"("frontmostName":"App","isOurs":true,"note":"n"})");
    const PanelState panel{true, false, false, true, 1000, 1, true, "HDMI-1"};
    EXPECT_EQ(FrontmostLog::formatRecord(4, 0.0000004, "e", {}, panel, ""),
              R"({"seq":4,"t":0.000000,"event":"e","frontmostBundleID":"","frontmostName":"",)"
              R"("isOurs":false,"panelVisible":true,"panelIsKey":false,"panelIsMain":false,)"
              R"("ignoresMouseEvents":true,"level":1000,"collectionBehavior":1,)"
              R"("onActiveSpace":true,"screen":"HDMI-1","note":""})");
}

}  // namespace
}  // namespace scrawlet::shell
