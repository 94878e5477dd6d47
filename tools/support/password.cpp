#include "tools/support/password.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <system_error>

#include "platform/files/unique_fd.h"

namespace tools {
namespace {

constexpr std::size_t LIMIT = 1000;

// One character at a time: nothing of the secret stays in a buffer, and what follows the line stays unread.
ssize_t read_character(int file, char& character) {
  ssize_t got;
  do {
    got = ::read(file, &character, 1);
  } while (got < 0 && errno == EINTR);
  return got;
}

bool read_line(int file, platform::secure_string& line) {
  char character = '\0';
  ssize_t got;
  while ((got = read_character(file, character)) == 1 && character != '\n' && line.size() <= LIMIT)
    line.push_back(character);
  ::explicit_bzero(&character, sizeof(character));
  if (const std::size_t size = line.size(); size > 0 && line.c_str()[size - 1] == '\r')
    line = platform::secure_string(line.c_str(), size - 1);  // written on another system
  return got >= 0;
}

}  // namespace

bool read_password(const std::string& path, platform::secure_string& password) {
  const bool from_input = path == "-";
  const platform::Unique_Fd file(from_input ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  platform::secure_string line;
  if (!file || !read_line(file.get(), line)) {
    std::cerr << "cannot read the password from " << path << ": " << std::generic_category().message(errno) << '\n';
    return false;
  }
  if (line.empty() || line.size() > LIMIT) {
    std::cerr << "no password in " << (from_input ? "standard input" : path) << '\n';
    return false;
  }
  password.swap(line);
  return true;
}

}  // namespace tools
