#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

namespace test {

// A process that a test has made, which is there until it is destroyed.
class Child {
 public:
  // Does what `body` says until that stops it.
  explicit Child(const std::function<void()>& body);
  // A shell with the arguments and the environment that a test asks for, stopped: `name` becomes its argument 0, "-c"
  // and a command its arguments 1 and 2, then come `arguments`.
  explicit Child(const std::string& name, const std::vector<std::string>& arguments = {},
                 const std::vector<std::string>& environment = {}, uid_t user = ::geteuid());
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }
  // What the process table shows of the shell, the arguments joined by blanks.
  const std::string& command_line() const { return command_line_; }

  void go_on() const;
  // Waits until it has stopped again.
  void expect_stop() const;
  // Ends it; it stays a zombie until it is destroyed.
  void end() const;

 private:
  void start(const std::function<void()>& body);

  pid_t pid_ = 0;
  std::string command_line_;
};

}  // namespace test
