#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <QTest>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <vector>

#include "app/platform/platform_services.h"
#include "app/shortcuts/hotkey_centre.h"
#include "tests/e2e/rival_client.h"
#include "tests/e2e/x_session.h"

namespace scrawlet::shortcuts {
namespace {

using core::ActionID;
using core::ActionScope;
using e2e::Rival;

constexpr std::uint32_t kControlL = 0xffe3;
constexpr std::uint32_t kAltL = 0xffe9;
constexpr std::uint32_t kNumLock = 0xff7f;
constexpr std::uint32_t kKeyJ = 0x6a;
constexpr std::uint32_t kKeyK = 0x6b;
constexpr std::uint32_t kKeyL = 0x6c;

core::Action action(std::string id, std::string windows) {
    return {std::move(id),           "label", "category", "X-01", "P0", ActionScope::global,
            {"", std::move(windows)}};
}

class KeyGrabTest : public e2e::GuiTestSuite {
  protected:
    void SetUp() override {
        input = platform::createSyntheticInput();
        ASSERT_TRUE(input && input->canInject());
    }

    std::unique_ptr<HotkeyCentre> centre(core::ActionCatalog catalog) {
        auto grabber = platform::createKeyGrabber();
        EXPECT_TRUE(grabber);
        auto made = std::make_unique<HotkeyCentre>(std::move(catalog), core::ShortcutOverrides{},
                                                   std::move(grabber));
        made->setOnAction([this](ActionID id) { fired.push_back(id); });
        made->reregister();
        return made;
    }

    // Presses the keys in order and releases them in reverse, as a hand would.
    void chord(std::initializer_list<std::uint32_t> keysyms) {
        for (const std::uint32_t keysym : keysyms) ASSERT_TRUE(input->setKey(keysym, true));
        for (auto it = std::rbegin(keysyms); it != std::rend(keysyms); ++it)
            ASSERT_TRUE(input->setKey(*it, false));
    }

    bool firedCountReaches(std::size_t count) {
        return QTest::qWaitFor([&] { return fired.size() >= count; }, 3000);
    }

    std::unique_ptr<platform::SyntheticInput> input;
    std::vector<ActionID> fired;
};

TEST_F(KeyGrabTest, ChordFollowsItsKeyWhenTheKeyboardMappingChanges) {
    auto hotkeys = centre({1, {action("panel.toggle", "ctrl+alt+k")}});
    ASSERT_EQ(hotkeys->registered().size(), 1u);
    Rival rival;
    ASSERT_TRUE(rival.ok());
    const xcb_keycode_t home = rival.keycode(kKeyK);
    const xcb_keycode_t spare = rival.unusedKeycode();
    ASSERT_TRUE(home && spare);

    const auto homeRow = rival.row(home);
    const auto spareRow = rival.row(spare);
    ASSERT_FALSE(homeRow.empty());
    std::vector<xcb_keysym_t> blank(homeRow.size(), XCB_NO_SYMBOL);

    const std::uint32_t before = hotkeys->nextID();
    rival.setRow(spare, homeRow);
    rival.setRow(home, blank);
    const bool regrabbed = QTest::qWaitFor([&] { return hotkeys->nextID() > before; }, 3000);
    if (regrabbed)
        chord({kControlL, kAltL, kKeyK});  // XTest finds k on its new key
    const bool delivered = regrabbed && firedCountReaches(1);

    const std::uint32_t moved = hotkeys->nextID();
    rival.setRow(spare, spareRow);
    rival.setRow(home, homeRow);
    EXPECT_TRUE(regrabbed);
    EXPECT_TRUE(delivered);
    EXPECT_TRUE(QTest::qWaitFor([&] { return hotkeys->nextID() > moved; }, 3000));
}

}  // namespace
}  // namespace scrawlet::shortcuts
