#include "platform/files/chown_r.h"
#include "platform/files/directory.h"
#include "platform/files/file_content.h"
#include "sandbox/way.h"
#include "tests/support/test.h"

namespace {

using namespace platform;

class Files : public testing::Test {
 protected:
  Directory_Iterator walk(const std::string& path) const { return Directory_Iterator(path.c_str(), false, 0); }

  test::Log_Capture log_;
  const test::Temporary_Directory files_;
};

TEST_F(Files, only_regular_files_are_read_and_nothing_blocks) {
  std::string content;
  const auto read = [&](const std::string& path, std::size_t limit = 100) {
    content = "before";
    return platform::read_regular_file(path.c_str(), content, limit);
  };
  const std::string text = std::string("one\0two\r\n", 9) + std::string(100000, 'x');
  EXPECT_EQ(read(files_.link("link", files_.file("regular", text)), text.size()), File_Read::DONE);
  EXPECT_TRUE(content == text);
  EXPECT_EQ(read("/proc/self/comm"), File_Read::DONE);
  EXPECT_EQ(content, "files_test\n");

  EXPECT_EQ(read(files_ / "regular", text.size() - 1), File_Read::FAILED);
  EXPECT_EQ(content, "before");
  EXPECT_EQ(read(files_ / "missing"), File_Read::FAILED);
  EXPECT_EQ(read(files_.path()), File_Read::NOT_REGULAR);
  EXPECT_EQ(read(files_.fifo("fifo")), File_Read::NOT_REGULAR);
  EXPECT_EQ(read("/dev/zero"), File_Read::NOT_REGULAR);
  EXPECT_TRUE(test::in_own_process([&] {
    return ::close(0) == 0 && read("/proc/self/comm") == File_Read::DONE && ::fcntl(0, F_GETFD) == -1;
  })) << "descriptor 0 is one as any other";
}

TEST_F(Files, a_file_under_a_lease_is_read_when_its_holder_gives_it_up) {
  const std::string path = files_.file("leased", "text");
  const test::Child holder([&] {
    ::fcntl(::open(path.c_str(), O_RDWR), F_SETLEASE, F_WRLCK);
    ::raise(SIGSTOP);
    ::pause();  // SIGIO asks for it, and ends this process
  });
  holder.go_on();
  std::string content;

  EXPECT_EQ(platform::read_regular_file(path.c_str(), content), File_Read::DONE);

  EXPECT_EQ(content, "text");
}

TEST_F(Files, a_path_is_judged_by_what_its_links_lead_to) {
  EXPECT_TRUE(platform::is_directory(files_.link("to_directory", files_.path())));
  EXPECT_TRUE(platform::is_regular_file(files_.link("to_file", files_.file("file", ""))));
  for (const std::string& path : {files_.link("dangling", files_ / "missing"), files_.fifo("fifo"), std::string()}) {
    EXPECT_FALSE(platform::is_directory(path)) << path;
    EXPECT_FALSE(platform::is_regular_file(path)) << path;
  }
}

TEST_F(Files, every_entry_but_the_dots_is_yielded_once_with_its_own_status) {
  files_.file("file", "12345");
  files_.directory(".hidden");
  files_.link("dangling", "missing");

  std::multiset<std::string> names;
  for (const platform::Directory_Entry& entry : platform::iterate_directory(files_.path(), false, 0)) {
    names.insert(entry.name);
    EXPECT_EQ(S_ISREG(entry.stat.st_mode) && entry.stat.st_size == 5, entry.name == "file");
    EXPECT_EQ(S_ISLNK(entry.stat.st_mode) + entry.reparse_types, entry.name == "dangling" ? 1U : 0U);
  }

  EXPECT_EQ(names, (std::multiset<std::string>{".hidden", "dangling", "file"}));
}

TEST_F(Files, a_reader_tells_the_end_from_an_error) {
  platform::Directory_Reader reader;
  platform::Directory_Entry entry;
  EXPECT_FALSE(reader.read(entry));
  EXPECT_EQ(reader.last_error(), EBADF);
  EXPECT_FALSE(reader.open(files_.fifo("fifo").c_str(), false, 0));
  EXPECT_EQ(reader.last_error(), ENOTDIR);
  EXPECT_TRUE(reader.open(files_.directory("parent/empty").c_str(), false, 0));
  EXPECT_FALSE(reader.read(entry));
  EXPECT_EQ(reader.last_error(), 0);
  EXPECT_TRUE(reader.open((files_ / "parent").c_str(), false, 0));
  EXPECT_TRUE(reader.read(entry));
  EXPECT_EQ(reader.last_error(), 0);
}

TEST_F(Files, iterators_are_equal_at_the_end_and_as_copies) {
  const Directory_Iterator end;
  const std::string empty = files_.directory("parent/empty");
  EXPECT_EQ(Directory_Iterator(nullptr, false, 0), end);
  EXPECT_EQ(walk(files_ / "missing"), end);
  EXPECT_EQ(walk(empty), walk(empty));

  Directory_Iterator one = walk(files_ / "parent");
  const Directory_Iterator copy = one;
  EXPECT_NE(one, end);
  EXPECT_FALSE(one == walk(files_ / "parent"));
  log_.expect_error("Oops, logical error on Directory_Iterator operator ==\n");

  ++ ++one;
  EXPECT_EQ(one, end);
  EXPECT_EQ(copy, end);
}

class ChownR : public Files {
 protected:
  void SetUp() override {
    if (!sandbox::second_user_available()) GTEST_SKIP() << "only root may give files away";
    if (::access("/", W_OK) == 0) GTEST_SKIP() << "a fault could give away this machine's files";
  }

  // To the user daemon and the group nogroup.
  static bool give(const std::string& path, bool recursive) {
    return platform::chown_r(path.c_str(), "daemon", "nogroup", recursive);
  }

  static bool given(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_uid == 1 && status.st_gid == 65534;
  }
};

TEST_F(ChownR, the_tree_is_given_and_links_are_not_followed) {
  const std::string outside = files_.directory("outside");
  const std::string below = files_.directory("tree/a/b");
  const std::string tree = files_ / "tree";

  EXPECT_TRUE(give(tree, false));
  EXPECT_TRUE(given(tree));
  EXPECT_FALSE(given(below));

  const std::string link = files_.link("tree/a/link", outside);
  const std::string fifo = files_.fifo("tree/a/b/fifo");
  EXPECT_TRUE(give(tree, true));
  EXPECT_TRUE(given(below) && given(link) && given(fifo));
  EXPECT_FALSE(given(outside));
}

TEST_F(ChownR, what_cannot_be_given_is_false) {
  const std::string file = files_.file("file", "");
  EXPECT_FALSE(platform::chown_r(file.c_str(), "no_such_user", "nogroup", true));
  EXPECT_FALSE(platform::chown_r(file.c_str(), "daemon", "no_such_group", true));
  EXPECT_FALSE(platform::chown_r(nullptr, "daemon", "nogroup", true));
  EXPECT_FALSE(give("/missing/file", true));
  EXPECT_FALSE(given(file));

  std::string deep = "tree";
  for (int level = 0; level < 220; ++level)
    deep += "/d";
  files_.file("tree/before", "");
  files_.directory(deep);
  files_.file("tree/after", "");
  EXPECT_FALSE(give(files_ / "tree", true)) << "nested without end";
  EXPECT_EQ(log_.take_debug().back(), "Failed to change the owner of 'd': Too many levels of symbolic links\n");
  EXPECT_TRUE(given(files_ / "tree/d/d"));
  EXPECT_FALSE(given(files_ / deep));
}

TEST_F(ChownR, entries_exchanged_for_links_meanwhile_lead_nowhere) {
  files_.directory("outside");
  const std::string secret = files_.file("outside/secret", "");
  const std::string swapped = files_.directory("tree/swapped");
  const std::string link = files_.link("tree/link", files_ / "outside");
  files_.file("tree/swapped/secret", "");
  std::atomic<bool> stop{false};
  std::thread swapper([&] {
    while (!stop)
      ::renameat2(AT_FDCWD, swapped.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
  });

  for (int round = 0; round < 2000; ++round)
    give(files_ / "tree", true);
  stop = true;
  swapper.join();

  EXPECT_FALSE(given(files_ / "outside"));
  EXPECT_FALSE(given(secret));
}

}  // namespace
