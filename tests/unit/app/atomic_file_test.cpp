#include "app/platform/atomic_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "app/log/frontmost_log.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::platform {
namespace {

using testing::TemporaryFolder;

std::vector<std::string> entries(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

mode_t modeOf(const std::filesystem::path& file) {
    struct stat info {};
    return ::stat(file.c_str(), &info) == 0 ? info.st_mode & 0777 : 0;
}

constexpr AtomicWriteOptions kOwnFileOnly{.permissions = 0600, .onlyOwnFile = true};

TEST(AtomicFile, ReplacesOurFilePrivatelyAndClearsWhatAKilledWriteLeft) {
    TemporaryFolder tmp;
    const auto file = tmp.path() / "summary.json";
    ASSERT_TRUE(writeFileAtomically(file, "first", kOwnFileOnly));
    tmp.write(".summary.json.a1B2c3", "torn");
    tmp.write(".summary.json.notOurPattern", "kept");
    ASSERT_TRUE(writeFileAtomically(file, "second", kOwnFileOnly));
    EXPECT_EQ(TemporaryFolder::read(file), "second");
    EXPECT_EQ(modeOf(file), 0600u);
    EXPECT_EQ(entries(tmp.path()),
              (std::vector<std::string>{".summary.json.notOurPattern", "summary.json"}));
}

TEST(AtomicFile, UserFilesFollowTheUmask) {
    TemporaryFolder tmp;
    const mode_t before = ::umask(027);
    const auto written = writeFileAtomically(tmp.path() / "settings.json", "{}",
                                             {.permissions = 0666, .applyUmask = true});
    EXPECT_EQ(currentUmask(), 027u);
    ::umask(before);
    ASSERT_TRUE(written) << written.error();
    EXPECT_EQ(modeOf(tmp.path() / "settings.json"), 0640u);
}

// What another user can leave at a path in /tmp before we start.
struct Planted {
    std::filesystem::path path;
    std::string why;
    std::filesystem::path victim;  // must keep its text
};

std::vector<Planted> plantHostileFiles(const TemporaryFolder& tmp) {
    std::vector<Planted> planted;
    const auto victim = tmp.write("victim.txt", "keep");
    const auto link = tmp.path() / "symlink.json";
    std::filesystem::create_symlink(victim, link);
    planted.push_back({link, "is a symbolic link", victim});
    const auto hard = tmp.path() / "hardlink.json";
    std::filesystem::create_hard_link(tmp.write("linked.txt", "keep"), hard);
    planted.push_back({hard, "has another hard link", tmp.path() / "linked.txt"});
    const auto fifo = tmp.path() / "fifo.json";
    EXPECT_EQ(::mkfifo(fifo.c_str(), 0666), 0);
    planted.push_back({fifo, "is not a regular file", {}});
    if (::geteuid() == 0) {
        const auto foreign = tmp.write("foreign.json", "keep");
        ::chmod(foreign.c_str(), 0666);
        EXPECT_EQ(::chown(foreign.c_str(), 65534, 65534), 0);
        planted.push_back({foreign, "belongs to another user", foreign});
    }
    return planted;
}

TEST(AtomicFile, AnythingButOurOwnRegularFileIsLeftAloneWithTheReason) {
    TemporaryFolder tmp;
    for (const Planted& p : plantHostileFiles(tmp)) {
        const auto before = entries(tmp.path());
        const auto written = writeFileAtomically(p.path, "leak", kOwnFileOnly);
        ASSERT_FALSE(written) << p.path;
        EXPECT_EQ(written.error(), "will not replace " + p.path.string() + ": it " + p.why);
        if (!p.victim.empty()) {
            EXPECT_EQ(TemporaryFolder::read(p.victim), "keep") << p.path;
        }
        EXPECT_EQ(entries(tmp.path()), before) << "nothing left behind for " << p.path;
    }
}

TEST(AtomicFile, TheEventLogStartsOnlyInAFileOfItsOwn) {
    TemporaryFolder tmp;
    log::FrontmostLog log;
    for (const Planted& p : plantHostileFiles(tmp)) {
        const auto started = log.start(p.path);
        ASSERT_FALSE(started) << p.path;
        EXPECT_NE(started.error().find(p.why), std::string::npos) << started.error();
        EXPECT_FALSE(log.isOpen());
        if (!p.victim.empty()) {
            EXPECT_EQ(TemporaryFolder::read(p.victim), "keep") << p.path;
        }
    }
    // Our own older log is replaced by a new private file, not truncated in place.
    const auto own = tmp.write("own.jsonl", "old run\n");
    ::chmod(own.c_str(), 0644);
    struct stat old {};
    ASSERT_EQ(::stat(own.c_str(), &old), 0);
    ASSERT_TRUE(log.start(own));
    log.finish("done");
    struct stat now {};
    ASSERT_EQ(::stat(own.c_str(), &now), 0);
    EXPECT_NE(now.st_ino, old.st_ino);
    EXPECT_EQ(now.st_mode & 0777, 0600u);
    const std::string text = TemporaryFolder::read(own);
    EXPECT_TRUE(text.starts_with("{\"seq\":1,")) << text;
    EXPECT_EQ(text.find("old run"), std::string::npos);
}

}  // namespace
}  // namespace scrawlet::platform
