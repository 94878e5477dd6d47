#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace test {

inline std::string content_of(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// An empty directory that goes away with its contents.
class Temporary_Directory {
 public:
  Temporary_Directory() {
    std::string pattern = std::filesystem::temp_directory_path() / "gustaikrum_XXXXXX";
    EXPECT_NE(::mkdtemp(pattern.data()), nullptr);
    path_ = pattern;
  }
  ~Temporary_Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Temporary_Directory(const Temporary_Directory&) = delete;
  Temporary_Directory& operator=(const Temporary_Directory&) = delete;

  std::string path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  // Each makes one entry and gives its path.
  std::string file(const std::string& name, const std::string& content) const {
    std::ofstream(*this / name, std::ios::binary) << content;
    return *this / name;
  }
  std::string directory(const std::string& name) const {
    std::filesystem::create_directories(*this / name);
    return *this / name;
  }
  std::string fifo(const std::string& name) const {
    EXPECT_EQ(::mkfifo((*this / name).c_str(), 0600), 0);
    return *this / name;
  }
  std::string link(const std::string& name, const std::string& target) const {
    std::filesystem::create_symlink(target, *this / name);
    return *this / name;
  }

 private:
  std::string path_;
};

}  // namespace test
