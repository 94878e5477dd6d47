#include "platform/files/directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include "platform/files/path_conf.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_directory.h"

namespace {

using platform::Directory_Entry;
using platform::Directory_Iterator;
using platform::Directory_Reader;
using platform::Path_Conf;

TEST(Directory, a_path_is_judged_by_what_its_links_lead_to) {
  const test::Temporary_Directory files;
  const std::string file = files.file("file", "x");
  const std::string directory = files.directory("directory");
  const struct {
    std::string path;
    bool directory;
    bool regular_file;
  } cases[] = {
      {file, false, true},
      {directory, true, false},
      {files.link("to_file", file), false, true},
      {files.link("to_directory", directory), true, false},
      {files.link("dangling", files / "missing"), false, false},
      {files.fifo("fifo"), false, false},
      {file + "/below", false, false},
      {"", false, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(platform::is_directory(c.path), c.directory) << c.path;
    EXPECT_EQ(platform::is_regular_file(c.path), c.regular_file) << c.path;
  }
}

TEST(Directory, every_entry_but_the_dots_is_yielded_once_with_its_own_status) {
  const test::Temporary_Directory files;
  files.file("file", "12345");
  files.directory(".hidden");
  files.link("dangling", "missing");

  std::set<std::string> names;
  for (const Directory_Entry& entry : platform::iterate_directory(files.path(), false, 0)) {
    EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
    EXPECT_EQ(S_ISREG(entry.stat.st_mode) && entry.stat.st_size == 5, entry.name == "file");
    EXPECT_EQ(S_ISLNK(entry.stat.st_mode), entry.name == "dangling");
  }

  EXPECT_EQ(names, (std::set<std::string>{".hidden", "dangling", "file"}));
}

TEST(Directory, a_reader_tells_the_end_from_an_error) {
  const test::Temporary_Directory files;
  Directory_Reader reader;
  Directory_Entry entry;

  EXPECT_FALSE(reader.read(entry));
  EXPECT_EQ(reader.last_error(), EBADF);

  EXPECT_FALSE(reader.open((files / "missing").c_str(), false, 0));
  EXPECT_EQ(reader.last_error(), ENOENT);
  EXPECT_FALSE(reader.open(files.fifo("fifo").c_str(), false, 0));
  EXPECT_EQ(reader.last_error(), ENOTDIR);

  EXPECT_TRUE(reader.open(files.directory("empty").c_str(), false, 0));
  EXPECT_FALSE(reader.read(entry));
  EXPECT_EQ(reader.last_error(), 0);
}

TEST(Directory, iterators_are_equal_at_the_end_and_as_copies) {
  test::Log_Capture log;
  const test::Temporary_Directory files;
  files.file("only", "");
  const Directory_Iterator end;
  const std::string empty = files.directory("only_directory/empty");

  EXPECT_EQ(Directory_Iterator(nullptr, false, 0), end);
  EXPECT_EQ(Directory_Iterator("", false, 0), end);
  EXPECT_EQ(Directory_Iterator((files / "missing").c_str(), false, 0), end);
  EXPECT_EQ(Directory_Iterator(empty.c_str(), false, 0), end);
  EXPECT_EQ(Directory_Iterator(empty.c_str(), false, 0), Directory_Iterator(empty.c_str(), false, 0));

  Directory_Iterator walk((files / "only_directory").c_str(), false, 0);
  const Directory_Iterator copy = walk;
  EXPECT_EQ(walk->name, "empty");
  EXPECT_EQ(walk, copy);
  EXPECT_NE(walk, end);
  EXPECT_NE(end, walk);

  ++walk;
  EXPECT_EQ(walk, end);
  EXPECT_EQ(copy, end);
  ++walk;
  EXPECT_EQ(walk, end);
}

TEST(Directory, comparing_two_live_walks_is_logged_and_unequal) {
  test::Log_Capture log;
  const test::Temporary_Directory files;
  files.file("file", "");

  EXPECT_FALSE(Directory_Iterator(files.path().c_str(), false, 0) ==
               Directory_Iterator(files.path().c_str(), false, 0));

  log.expect_error("Oops, logical error on Directory_Iterator operator ==\n");
}

TEST(PathConf, components_are_joined_and_the_first_placeholder_is_replaced) {
  Path_Conf path("/var/$COMPONENT/hana", true, "catalog", 0750);

  path.append("$COMPONENT@x");
  path.fix("$COMPONENT", "agent");
  path.fix("$OTHER", "no");

  EXPECT_EQ(path.str(), "/var/agent/hana/catalog/$COMPONENT@x");
}

}  // namespace
