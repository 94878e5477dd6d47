#include "tests/support/child.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace test {
namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (std::string& text : texts)
    result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

Child::Child(const std::function<void()>& body) {
  start(body);
}

Child::Child(const std::string& name, const std::vector<std::string>& arguments,
             const std::vector<std::string>& environment, uid_t user) {
  std::vector<std::string> argv{name, "-c", "kill -STOP $$"};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  std::vector<std::string> envp = environment;
  for (const std::string& argument : argv)
    command_line_ += (command_line_.empty() ? "" : " ") + argument;

  const std::vector<char*> argv_pointers = pointers(argv);
  const std::vector<char*> envp_pointers = pointers(envp);
  start([&] {
    if (user == ::geteuid() || ::setuid(user) == 0) ::execve("/bin/sh", argv_pointers.data(), envp_pointers.data());
  });
}

Child::~Child() {
  end();
  ::waitpid(pid_, nullptr, 0);
}

void Child::start(const std::function<void()>& body) {
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

void Child::go_on() const {
  ::kill(pid_, SIGCONT);
}

void Child::expect_stop() const {
  int status = 0;
  EXPECT_EQ(::waitpid(pid_, &status, WUNTRACED), pid_);
  EXPECT_TRUE(WIFSTOPPED(status));
}

void Child::end() const {
  ::kill(pid_, SIGKILL);
  ::waitid(P_PID, static_cast<id_t>(pid_), nullptr, WEXITED | WNOWAIT);
}

}  // namespace test
