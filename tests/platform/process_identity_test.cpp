#include "platform/process/process_identity.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using platform::Process_Identity;

// A child that does what `body` says and is stopped then, until it goes on or is destroyed.
class Stopped_Child {
 public:
  template <class Body>
  explicit Stopped_Child(Body body) : pid_(::fork()) {
    if (pid_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      body();
      ::_exit(127);
    }
    expect_stop();
  }
  ~Stopped_Child() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  Stopped_Child(const Stopped_Child&) = delete;
  Stopped_Child& operator=(const Stopped_Child&) = delete;

  pid_t pid() const { return pid_; }
  void go_on() { ::kill(pid_, SIGCONT); }
  void expect_stop() {
    int status = 0;
    EXPECT_EQ(::waitpid(pid_, &status, WUNTRACED), pid_);
    EXPECT_TRUE(WIFSTOPPED(status));
  }

 private:
  const pid_t pid_;
};

void run(const char* script) {
  ::execl("/bin/sh", "sh", "-c", script, nullptr);
}

TEST(ProcessIdentity, the_user_has_started_the_program_or_root_has) {
  EXPECT_EQ(Process_Identity(::getpid()).user(), ::geteuid());
  EXPECT_EQ(Process_Identity(0).user(), std::nullopt) << "no process";
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";

  const Stopped_Child started_by_it([] {
    if (::setuid(65534) == 0) run("kill -STOP $$");
  });
  EXPECT_EQ(Process_Identity(started_by_it.pid()).user(), 65534);
  const Stopped_Child started_by_root([] {
    if (::setuid(65534) == 0) ::raise(SIGSTOP);
  });
  EXPECT_EQ(Process_Identity(started_by_root.pid()).user(), 65534);
}

TEST(ProcessIdentity, another_program_and_an_end_are_changes) {
  Stopped_Child child([] { run("kill -STOP $$; exec sh -c 'kill -STOP $$'"); });
  const Process_Identity first(child.pid());
  EXPECT_TRUE(first.is_unchanged());

  child.go_on();
  child.expect_stop();
  EXPECT_FALSE(first.is_unchanged());
  const Process_Identity second(child.pid());
  EXPECT_TRUE(second.is_unchanged());

  ::kill(child.pid(), SIGKILL);
  ::waitid(P_PID, static_cast<id_t>(child.pid()), nullptr, WEXITED | WNOWAIT);
  EXPECT_FALSE(second.is_unchanged());
  EXPECT_FALSE(Process_Identity(child.pid()).is_unchanged()) << "an ended one has none";
}

}  // namespace
