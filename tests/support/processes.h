#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

namespace test {

// A process that a test has made, which is there until it is destroyed.
class Child {
 public:
  // Does what `body` says until that stops it.
  explicit Child(const std::function<void()>& body) { start(body); }

  // A shell with the arguments and the environment that a test asks for, stopped: `name` becomes its argument 0, "-c"
  // and a command its arguments 1 and 2, then come `arguments`.
  explicit Child(const std::string& name, const std::vector<std::string>& arguments = {},
                 std::vector<std::string> environment = {}, uid_t user = ::geteuid()) {
    std::vector<std::string> argv{name, "-c", "kill -STOP $$"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    for (const std::string& argument : argv)
      command_line_ += (command_line_.empty() ? "" : " ") + argument;
    const std::vector<char*> argv_pointers = pointers(argv), envp_pointers = pointers(environment);
    start([&] {
      if (user == ::geteuid() || ::setuid(user) == 0) ::execve("/bin/sh", argv_pointers.data(), envp_pointers.data());
    });
  }

  ~Child() {
    end();
    ::waitpid(pid_, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }
  // What the process table shows of the shell, the arguments joined by blanks.
  const std::string& command_line() const { return command_line_; }

  void go_on() const { ::kill(pid_, SIGCONT); }

  // Waits until it has stopped again.
  void expect_stop() const {
    int status = 0;
    EXPECT_EQ(::waitpid(pid_, &status, WUNTRACED), pid_);
    EXPECT_TRUE(WIFSTOPPED(status));
  }

  // Ends it; it stays a zombie until it is destroyed.
  void end() const {
    ::kill(pid_, SIGKILL);
    ::waitid(P_PID, static_cast<id_t>(pid_), nullptr, WEXITED | WNOWAIT);
  }

 private:
  static std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts)
      result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  }

  void start(const std::function<void()>& body) {
    pid_ = ::fork();
    // A number below 0 would name every process there is to the calls that follow.
    if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (pid_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      body();
      ::_exit(127);
    }
    expect_stop();  // it runs then, and /proc shows all of it
  }

  pid_t pid_ = 0;
  std::string command_line_;
};

// Runs `body` in a process of its own, which it may spoil and which ends after a minute at the latest. True if it
// returns true there and no expectation fails.
template <class Body>
bool in_own_process(Body body) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::alarm(60);
    ::_exit(body() && !testing::Test::HasFailure() ? 0 : 1);
  }
  int status = -1;
  return ::waitpid(pid, &status, 0) == pid && status == 0;
}

// True if what this process mounts from now on is its own.
inline bool in_own_mounts() {
  return ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

struct Outcome {
  int status;
  std::string output;  // both streams
};

// Runs a shell command to its end.
inline Outcome run_command(const std::string& command) {
  Outcome outcome{-1, ""};
  FILE* const pipe = ::popen(("{ " + command + "; } 2>&1").c_str(), "re");
  if (pipe == nullptr) return outcome;
  std::array<char, 4096> buffer;
  while (const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), pipe))
    outcome.output.append(buffer.data(), got);
  outcome.status = WEXITSTATUS(::pclose(pipe));
  return outcome;
}

}  // namespace test
