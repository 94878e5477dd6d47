#include "bench/program.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>

#include "bench/measure.h"

namespace bench {

pid_t start_program(const std::vector<std::string>& arguments, int output, const char* path) {
  std::vector<char*> pointers;
  for (const std::string& argument : arguments)
    pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  if (output < 0) {
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  } else {
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  }

  pid_t pid = -1;
  const int error =
      ::posix_spawn(&pid, path == nullptr ? pointers[0] : path, &actions, nullptr, pointers.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  expect(error == 0, pointers[0]);
  return pid;
}

pid_t start_copy(const std::function<void()>& body) {
  const pid_t pid = ::fork();
  expect(pid >= 0, "fork");
  if (pid > 0) return pid;
  int status = 0;
  try {
    body();
  } catch (const std::exception&) {
    status = 1;
  }
  ::_exit(status);
}

void finish(pid_t child, int expected) {
  int status = -1;
  expect(::waitpid(child, &status, 0) == child, "waitpid");
  expect(WIFEXITED(status) && WEXITSTATUS(status) == expected, "child");
}

void end(pid_t child) {
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}

}  // namespace bench
