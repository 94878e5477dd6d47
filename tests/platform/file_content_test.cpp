#include "platform/files/file_content.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "platform/files/ini_file.h"
#include "tests/support/temporary_directory.h"

namespace {

using platform::File_Read;
using platform::read_ini_file;
using platform::read_regular_file;

TEST(FileContent, only_regular_files_are_read_and_nothing_blocks) {
  const test::Temporary_Directory files;
  const std::string text = std::string("one\0two\r\n", 9) + std::string(100000, 'x');
  const std::string regular = files.file("regular", text);
  const struct {
    std::string path;
    std::size_t limit;
    File_Read result;
    std::string content;
  } cases[] = {
      {regular, text.size(), File_Read::DONE, text},
      {regular, text.size() - 1, File_Read::FAILED, "before"},
      {files.link("link", regular), text.size(), File_Read::DONE, text},
      {files.file("empty", ""), 0, File_Read::DONE, ""},
      {"/proc/self/comm", 100, File_Read::DONE, "file_content_te\n"},
      {files / "missing", 100, File_Read::FAILED, "before"},
      {files.directory("directory"), 100, File_Read::NOT_REGULAR, "before"},
      {files.fifo("fifo"), 100, File_Read::NOT_REGULAR, "before"},
      {"/dev/zero", 100, File_Read::NOT_REGULAR, "before"},
  };
  for (const auto& c : cases) {
    std::string content = "before";
    EXPECT_EQ(read_regular_file(c.path.c_str(), content, c.limit), c.result) << c.path;
    EXPECT_TRUE(content == c.content) << c.path;
  }
}

std::string fault_of(const std::string& path) {
  try {
    read_ini_file(path);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

TEST(IniFile, values_are_found_by_section_and_key) {
  const test::Temporary_Directory files;
  const std::string path = files.file("global.ini",
                                      "# global.ini last modified 2023-06-01 by hdbnameserver\n"
                                      "[multidb]\nmode = multidb\n[a.b]\nc=1\n[empty]\nkey =\n");

  const auto tree = read_ini_file(path);

  EXPECT_EQ(tree.get<std::string>("multidb.mode"), "multidb");
  EXPECT_EQ(tree.get<std::string>("empty.key"), "");
  EXPECT_FALSE(tree.get_optional<std::string>("multidb.other"));
}

TEST(IniFile, a_fault_names_the_path_and_the_line) {
  const test::Temporary_Directory files;
  const std::string bad = files.file("bad.ini", "[trace]\na=1\n[trace]\nb=2\n");
  const std::string fifo = files.fifo("fifo");

  EXPECT_EQ(fault_of(bad), bad + "(3): duplicate section name");
  EXPECT_EQ(fault_of(files / "missing"), files / "missing: cannot read file");
  EXPECT_EQ(fault_of(fifo), fifo + ": not a regular file");
}

}  // namespace
