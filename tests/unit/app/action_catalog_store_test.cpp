#include "app/shell/action_catalog_store.h"

#include <gtest/gtest.h>

#include "core/action_id.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::shell {
namespace {

using testing::TemporaryFolder;

TEST(ActionCatalogStoreLoad, TheCompiledCopyHasEveryAction) {
    const auto catalog = ActionCatalogStore::loadFirst({ActionCatalogStore::kCompiledPath});
    ASSERT_TRUE(catalog);
    for (const core::ActionID id : core::allCases<core::ActionID>()) {
        EXPECT_TRUE(catalog->action(std::string(core::rawValue(id)))) << core::rawValue(id);
    }
    EXPECT_TRUE(ActionCatalogStore::load());
}

TEST(ActionCatalogStoreLoad, BrokenCandidatesAreSkippedSilently) {
    TemporaryFolder tmp;
    std::string text = TemporaryFolder::read(std::filesystem::path(SCRAWLET_SOURCE_DIR) /
                                             "resources" / "actions.json");
    ASSERT_FALSE(text.empty());
    const auto good = tmp.write("good.json", text);
    const auto scope = text.find("\"scope\": \"global\"");
    ASSERT_NE(scope, std::string::npos);
    text.replace(scope, 17, "\"scope\": \"Global\"");
    const auto capitalised = tmp.write("capital.json", text);
    const auto notJson = tmp.write("broken.json", "{");

    const auto catalog =
        ActionCatalogStore::loadFirst({(tmp.path() / "missing.json").string(), capitalised.string(),
                                       notJson.string(), good.string()});
    ASSERT_TRUE(catalog);
    EXPECT_FALSE(ActionCatalogStore::loadFirst({capitalised.string(), notJson.string()}));
}

}  // namespace
}  // namespace scrawlet::shell
