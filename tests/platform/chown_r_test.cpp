#include "platform/files/chown_r.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/process/accounts.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_directory.h"

namespace {

using platform::chown_r;

bool belongs_to_daemon(const std::string& path) {
  platform::User_Ids daemon{};
  gid_t group = 0;
  EXPECT_EQ(platform::find_user("daemon", daemon), 0);
  EXPECT_EQ(platform::find_group("nogroup", group), 0);
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_uid == daemon.uid && status.st_gid == group;
}

class ChownR : public testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  }

  test::Log_Capture log_;
  test::Temporary_Directory files_;
};

TEST_F(ChownR, the_tree_is_given_and_links_are_not_followed) {
  const std::string outside = files_.file("outside", "");
  const std::string outside_directory = files_.directory("outside_directory");
  files_.directory("tree/a/b");
  const std::string paths[] = {files_ / "tree",
                               files_ / "tree/a/b",
                               files_.file("tree/a/b/file", ""),
                               files_.fifo("tree/fifo"),
                               files_.link("tree/to_file", outside),
                               files_.link("tree/a/to_directory", outside_directory),
                               files_.link("tree/dangling", "missing")};

  EXPECT_TRUE(chown_r((files_ / "tree").c_str(), "daemon", "nogroup", true));

  for (const std::string& path : paths) {
    EXPECT_TRUE(belongs_to_daemon(path)) << path;
  }
  EXPECT_FALSE(belongs_to_daemon(outside));
  EXPECT_FALSE(belongs_to_daemon(outside_directory));
}

TEST_F(ChownR, without_recursion_only_the_path_is_given) {
  const std::string file = files_.file("file", "");
  const std::string below = files_.directory("tree/below");

  EXPECT_TRUE(chown_r(file.c_str(), "daemon", "nogroup", false));
  EXPECT_TRUE(chown_r((files_ / "tree").c_str(), "daemon", "nogroup", false));

  EXPECT_TRUE(belongs_to_daemon(file));
  EXPECT_TRUE(belongs_to_daemon(files_ / "tree"));
  EXPECT_FALSE(belongs_to_daemon(below));
}

TEST_F(ChownR, what_cannot_be_given_is_false) {
  const std::string file = files_.file("file", "");
  const struct {
    const char* path;
    const char* user;
    const char* group;
  } cases[] = {
      {file.c_str(), "no_such_user", "nogroup"},
      {file.c_str(), "daemon", "no_such_group"},
      {file.c_str(), nullptr, "nogroup"},
      {file.c_str(), "daemon", nullptr},
      {nullptr, "daemon", "nogroup"},
      {"/missing/file", "daemon", "nogroup"},
      {"", "daemon", "nogroup"},
  };
  for (const auto& c : cases) {
    EXPECT_FALSE(chown_r(c.path, c.user, c.group, true));
  }
  EXPECT_FALSE(belongs_to_daemon(file));
}

TEST_F(ChownR, nesting_without_end_is_refused_but_given_as_far_as_it_goes) {
  std::string deep = "tree";
  for (int level = 0; level < 220; ++level)
    deep += "/d";
  files_.directory(deep);

  EXPECT_FALSE(chown_r((files_ / "tree").c_str(), "daemon", "nogroup", true));

  EXPECT_TRUE(belongs_to_daemon(files_ / "tree/d/d"));
  EXPECT_FALSE(belongs_to_daemon(files_ / deep));
}

TEST_F(ChownR, entries_exchanged_for_links_meanwhile_lead_nowhere) {
  const std::string outside = files_.directory("outside");
  const std::string secret = files_.file("outside/secret", "");
  files_.directory("tree/swapped");
  files_.file("tree/swapped/secret", "");
  files_.link("tree/link", outside);
  std::atomic<bool> stop{false};
  std::thread swapper([&] {
    while (!stop) {
      ::renameat2(AT_FDCWD, (files_ / "tree/swapped").c_str(), AT_FDCWD, (files_ / "tree/link").c_str(),
                  RENAME_EXCHANGE);
    }
  });

  for (int round = 0; round < 2000; ++round)
    chown_r((files_ / "tree").c_str(), "daemon", "nogroup", true);
  stop = true;
  swapper.join();

  EXPECT_FALSE(belongs_to_daemon(outside));
  EXPECT_FALSE(belongs_to_daemon(secret));
}

}  // namespace
