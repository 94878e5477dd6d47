#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace test {

// A process that runs until it is destroyed, with the arguments and the environment that a test asks for.
class Child {
 public:
  // `name` becomes its argument 0, "-c" and a waiting shell command its arguments 1 and 2, then come `arguments`.
  explicit Child(const std::string& name, const std::vector<std::string>& arguments = {},
                 const std::vector<std::string>& environment = {}, uid_t user = ::geteuid());
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }
  // What the process table shows of it, the arguments joined by blanks.
  const std::string& command_line() const { return command_line_; }

  // Ends it; it stays a zombie until it is destroyed.
  void end();

 private:
  pid_t pid_;
  std::string command_line_;
};

}  // namespace test
