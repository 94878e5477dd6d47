#include "platform/process/process_identity.h"

#include <sys/prctl.h>

#include "sandbox/way.h"
#include "tests/support/test.h"

namespace {

using namespace platform;
using test::Child;

// A shell whose name, as /proc shows it, looks like what stands behind a name there.
const char SHELL[] = "/tmp/a) 1 2 3 4 5 6";
const bool LINKED = ::symlink("/bin/sh", SHELL) == 0;

void run(const char* script) {
  ::execl(SHELL, SHELL, "-pc", script, nullptr);
}

TEST(ProcessIdentity, the_owner_has_started_the_program_or_root_has) {
  EXPECT_EQ(Process_Identity(::getpid()).owner(std::nullopt), Process_Owner::CALLER);
  EXPECT_EQ(Process_Identity(0).owner(0), Process_Owner::STRANGER) << "no process";
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";

  const Child started_by_it([] {
    if (::setuid(65534) == 0) run("kill -STOP $$");
  });
  const Child started_by_root([] {
    if (::setuid(65534) == 0) ::raise(SIGSTOP);
  });
  const Child started_with_its_rights([] {
    if (::setreuid(0, 65534) == 0) run("kill -STOP $$");
  });
  const Child with_rights_of_another([] {
    if (::setresuid(65534, 65533, 65533) == 0) run("kill -STOP $$");
  });
  const struct {
    pid_t pid;
    Process_Owner owner;
  } cases[] = {{started_by_it.pid(), Process_Owner::NAMED},
               {started_by_root.pid(), Process_Owner::NAMED},
               {started_with_its_rights.pid(), Process_Owner::NAMED},
               {with_rights_of_another.pid(), Process_Owner::STRANGER}};
  for (const auto& c : cases) {
    const Process_Identity identity(c.pid);
    const int index = static_cast<int>(&c - cases);
    EXPECT_EQ(identity.owner(65534), c.owner) << index;
    EXPECT_EQ(identity.owner(65533), Process_Owner::STRANGER) << index;
    EXPECT_EQ(identity.owner(std::nullopt), Process_Owner::STRANGER) << index;
  }
}

TEST(ProcessIdentity, another_program_and_an_end_are_changes) {
  const Child child([] { run("kill -STOP $$; exec \"$0\" -c 'kill -STOP $$'"); });
  const Process_Identity first(child.pid());
  EXPECT_TRUE(first.is_unchanged());

  child.go_on();
  child.expect_stop();
  EXPECT_FALSE(first.is_unchanged());
  const Process_Identity second(child.pid());
  EXPECT_TRUE(second.is_unchanged());

  child.end();
  EXPECT_FALSE(second.is_unchanged());
  EXPECT_FALSE(Process_Identity(child.pid()).is_unchanged()) << "an ended one has none";
}

}  // namespace
