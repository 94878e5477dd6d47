#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

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

}  // namespace test
