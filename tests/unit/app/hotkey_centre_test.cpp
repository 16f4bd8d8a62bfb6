#include "app/shortcuts/hotkey_centre.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "app/log/frontmost_log.h"
#include "app/shortcuts/hotkey_reports.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::shortcuts {
namespace {

using core::ActionID;
using core::ActionScope;
using core::Chord;
using platform::GrabFailure;

// Holds grabs in a map and refuses the chords it is told another application owns.
class FakeGrabber : public platform::KeyGrabber {
  public:
    struct State {
        std::map<std::uint32_t, Chord> held;
        std::set<std::string> owned;    // canonical texts of chords taken elsewhere
        std::set<std::string> keyless;  // canonical texts with no key in the mapping
        int grabCalls = 0;
    };

    explicit FakeGrabber(State& state) : state_(state) {}

    std::expected<void, GrabFailure> grab(std::uint32_t id, const Chord& chord) override {
        ++state_.grabCalls;
        EXPECT_FALSE(state_.held.contains(id)) << "number " << id << " reused";
        if (state_.keyless.contains(chord.specText()))
            return std::unexpected(GrabFailure{GrabFailure::Kind::noKeyCode, 0});
        if (state_.owned.contains(chord.specText()))
            return std::unexpected(GrabFailure{GrabFailure::Kind::refused, 10});
        state_.held.emplace(id, chord);
        return {};
    }
    void ungrab(std::uint32_t id) override { state_.held.erase(id); }

    bool press(std::uint32_t id) { return onPress_(id); }

  private:
    State& state_;
};

core::Action action(std::string id, ActionScope scope, std::string windows) {
    return {std::move(id), "label", "category", "X-01", "P0", scope, {"", std::move(windows)}};
}

core::ActionCatalog catalogue() {
    return {1,
            {action("overlay.toggleAnnotation", ActionScope::global, "ctrl+alt+p"),
             action("panel.toggle", ActionScope::global, "p"),
             action("app.unknownToThisBuild", ActionScope::global, "ctrl+alt+u"),
             action("tool.pen", ActionScope::annotating, "p"),
             action("edit.undo", ActionScope::annotating, "ctrl+z"),
             action("zoom.increaseLevel", ActionScope::zooming, "ctrl+equal")}};
}

class HotkeyCentreTest : public ::testing::Test {
  protected:
    void SetUp() override { log::FrontmostLog::shared().start(log_.path() / "log.jsonl"); }
    void TearDown() override { log::FrontmostLog::shared().finish(""); }

    std::unique_ptr<HotkeyCentre> make(core::ShortcutOverrides overrides = {},
                                       core::ActionCatalog catalog = catalogue()) {
        auto grabber = std::make_unique<FakeGrabber>(grabs);
        fake = grabber.get();
        auto centre = std::make_unique<HotkeyCentre>(std::move(catalog), std::move(overrides),
                                                     std::move(grabber));
        centre->setOnAction([this](ActionID id) { fired.push_back(id); });
        return centre;
    }

    // "event note" of every record after "start".
    std::vector<std::string> records() const {
        std::istringstream in(testing::TemporaryFolder::read(log_.path() / "log.jsonl"));
        std::vector<std::string> out;
        for (std::string line; std::getline(in, line);) {
            const auto record = nlohmann::json::parse(line);
            if (record["event"] != "start")
                out.push_back(record["event"].get<std::string>() + " " +
                              record["note"].get<std::string>());
        }
        return out;
    }

    static std::vector<std::string> texts(const std::vector<HotkeyCentre::Registration>& list) {
        std::vector<std::string> out;
        for (const auto& registration : list) out.push_back(registration.text);
        return out;
    }

    testing::TemporaryFolder log_;
    FakeGrabber::State grabs;
    FakeGrabber* fake = nullptr;
    std::vector<ActionID> fired;
};

TEST_F(HotkeyCentreTest, GlobalBareKeyIsLeftAloneButTheSameKeyRegistersWhileAnnotating) {
    auto centre = make();
    centre->reregister();
    EXPECT_EQ(texts(centre->registered()), std::vector<std::string>{"ctrl+alt+p"});
    EXPECT_TRUE(centre->conflicts().empty());

    centre->setLiveScopes({ActionScope::annotating});
    EXPECT_EQ(centre->liveScopes(), (std::set{ActionScope::global, ActionScope::annotating}));
    EXPECT_EQ(texts(centre->registered()), (std::vector<std::string>{"ctrl+alt+p", "p", "ctrl+z"}))
        << "catalogue order; panel.toggle's bare p stays off, tool.pen's is taken";
    EXPECT_EQ(centre->registered()[1].action, ActionID::toolPen);
    EXPECT_TRUE(records().empty()) << "a skipped global bare key is not reported";
}

TEST_F(HotkeyCentreTest, ScopeChangesRegisterAgainWithNewNumbersAndSameScopesDoNothing) {
    auto centre = make();
    centre->reregister();
    centre->setLiveScopes({ActionScope::global, ActionScope::annotating});
    const auto annotatingNumbers = grabs.held;
    ASSERT_EQ(annotatingNumbers.size(), 3u);
    const int calls = grabs.grabCalls;

    centre->setLiveScopes({ActionScope::annotating});
    EXPECT_EQ(grabs.grabCalls, calls) << "global is implied, so the set is unchanged";
    EXPECT_EQ(grabs.held, annotatingNumbers);

    centre->setLiveScopes({});
    EXPECT_EQ(grabs.held.size(), 1u) << "annotating shortcuts released";
    EXPECT_GT(grabs.held.begin()->first, annotatingNumbers.rbegin()->first);

    centre->setLiveScopes({ActionScope::annotating, ActionScope::zooming});
    EXPECT_EQ(grabs.held.size(), 4u);
    EXPECT_EQ(centre->handlers().size(), 4u);
    for (const auto& [number, chord] : grabs.held)
        EXPECT_GT(number, annotatingNumbers.rbegin()->first) << "numbers are never reused";
    EXPECT_EQ(centre->nextID(), grabs.held.rbegin()->first + 1);
}

TEST_F(HotkeyCentreTest, EmptyOrBadOverridesUnbindAndAreRecordedWithTheDefault) {
    auto centre = make({{"overlay.toggleAnnotation", ""}, {"edit.undo", "ctrl+"}});
    centre->setLiveScopes({ActionScope::annotating});
    EXPECT_EQ(texts(centre->registered()), std::vector<std::string>{"p"});
    EXPECT_EQ(records(), (std::vector<std::string>{"hotkeyUnparseable overlay.toggleAnnotation "
                                                   "binding=ctrl+alt+p",
                                                   "hotkeyUnparseable edit.undo binding=ctrl+z"}));
}

TEST_F(HotkeyCentreTest, RefusedChordsBecomeConflictsAndOnlyRefusalsAreLogged) {
    grabs.owned = {"shift+opt+control+p"};
    grabs.keyless = {"control+z"};
    auto centre = make({{"overlay.toggleAnnotation", "Ctrl+Alt+Shift+P"}});
    centre->setLiveScopes({ActionScope::annotating});
    EXPECT_EQ(texts(centre->conflicts()), (std::vector<std::string>{"Ctrl+Alt+Shift+P", "ctrl+z"}));
    EXPECT_EQ(texts(centre->registered()), std::vector<std::string>{"p"});
    EXPECT_EQ(centre->nextID(), 2u) << "failed attempts use no number";
    EXPECT_EQ(records(), std::vector<std::string>{
                             "hotkeyConflict overlay.toggleAnnotation chord=Ctrl+Alt+Shift+P "
                             "status=10"});

    std::ostringstream out;
    reportRefusedShortcuts(centre->conflicts(), out);
    EXPECT_EQ(out.str(),
              "draw: shortcut Ctrl+Alt+Shift+P for overlay.toggleAnnotation could not be "
              "registered; another application owns it\n"
              "draw: shortcut ctrl+z for edit.undo could not be registered; another application "
              "owns it\n");

    grabs.owned.clear();
    centre->reregister();
    EXPECT_EQ(centre->conflicts().size(), 1u) << "the last pass only";
}

TEST_F(HotkeyCentreTest, AnActionMayChangeTheScopesFromInsideItsPress) {
    auto centre = make();
    centre->setLiveScopes({ActionScope::annotating});
    centre->setOnAction([&](ActionID id) {
        fired.push_back(id);
        centre->setLiveScopes({});
    });
    EXPECT_TRUE(fake->press(centre->handlers().begin()->first));
    EXPECT_EQ(fired, std::vector{ActionID::overlayToggleAnnotation});
    EXPECT_EQ(centre->handlers().size(), 1u);
}

TEST_F(HotkeyCentreTest, OverlapsAreReportedOncePerGroupWithTheirBinding) {
    core::ActionCatalog catalog{1,
                                {action("tool.pen", ActionScope::annotating, "p"),
                                 action("overlay.toggleAnnotation", ActionScope::global, "ctrl+k"),
                                 action("tool.line", ActionScope::annotating, "p"),
                                 action("panel.toggle", ActionScope::global, "ctrl+k")}};
    std::ostringstream out;
    reportCatalogueOverlaps(catalog, {{"tool.line", ""}}, out);
    EXPECT_EQ(out.str(),
              "draw: overlay.toggleAnnotation and panel.toggle are both bound to ctrl+k; one of "
              "them will not fire\n");
    EXPECT_EQ(records(),
              std::vector<std::string>{
                  "hotkeyOverlap overlay.toggleAnnotation and panel.toggle chord=ctrl+k"});
}

}  // namespace
}  // namespace scrawlet::shortcuts
