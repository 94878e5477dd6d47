#include "platform/process/service_lister.h"

#include "platform/process/process_identity.h"
#include "platform/users/accounts.h"
#include "sandbox/way.h"
#include "tests/support/test.h"

namespace {

using platform::Service_Info;
using test::Child;

class ServiceLister : public testing::Test {
 protected:
  // A program name that nothing else on this host has.
  std::string program(const std::string& name) const { return "/lister_test/" + std::to_string(::getpid()) + name; }

  // Lists behind an entry that is there already.
  int list(const std::string& pattern) {
    services_ = {{"before", "", 0}};
    return platform::Service_Lister().list_service(pattern.c_str(), services_, false, "C");
  }

  std::list<Service_Info> services_;
  test::Log_Capture log_;
};

TEST_F(ServiceLister, matching_processes_are_appended_by_pid_with_their_arguments_and_owner) {
  platform::User_Ids daemon{};
  ASSERT_EQ(platform::find_user("daemon", daemon), 0);
  const Child one(program("/HXE/sapstartsrv"), {"pf=/profile", "", "a b", "-u"});
  const Child other(program("/ABC/other"));
  const Child two(program("/HXE/sapstartsrv"), {}, {}, sandbox::second_user_available() ? daemon.uid : ::geteuid());
  Child ended(program("/HXE/sapstartsrv"));
  ended.end();

  ASSERT_EQ(list(program("/HXE.*sapstartsrv")), 0);

  ASSERT_EQ(services_.size(), 3U);
  EXPECT_LT(std::next(services_.begin())->pid, services_.back().pid);
  services_.pop_front();
  for (const Service_Info& service : services_) {
    const bool is_one = service.pid == one.pid();
    EXPECT_EQ(service.cmd, is_one ? one.command_line() : two.command_line());
    EXPECT_EQ(service.user, is_one || !sandbox::second_user_available() ? platform::user_name(::geteuid()) : "daemon");
  }
  ASSERT_EQ(list(".*"), 0);
  EXPECT_TRUE(std::none_of(services_.begin(), services_.end(), [&](const Service_Info& service) {
    return service.pid == ended.pid();
  })) << "what has ended has no arguments";
  EXPECT_EQ(platform::user_name(4000000000), "4000000000") << "one without a name";
}

TEST_F(ServiceLister, hostile_command_lines_do_not_hide_the_others) {
  std::string repeated;
  while (repeated.size() < 120 * 1024)
    repeated += "HXEexe/";
  const Child hostile(program("/hostile"), {repeated});
  const Child newlines(program("/real"), {"HXE\n\nexe/sapstartsrv"});
  const Child real(program("/real/" + std::string(5000, 'a') + "HXE/HDB90/exe/sapstartsrv"),
                   {std::string(126 * 1024, 'a'), "end"});

  EXPECT_EQ(list(program("/(real|hostile).*HXE.*exe/sapstartsrv")), 0);
  EXPECT_EQ(services_.size(), 3U);
  EXPECT_EQ(services_.back().cmd, real.command_line().substr(0, 128 * 1024)) << "the limit";
  log_.take_debug();

  EXPECT_EQ(list(program(".*HXE.*exe/sapstartsrv")), 0);
  EXPECT_EQ(services_.size(), 3U);
  EXPECT_TRUE(log_.take_debug().empty()) << "no search of a system's services grows too complex";

  EXPECT_EQ(list("(a*)*" + program("/none")), 0) << "too complex a search";
  EXPECT_EQ(services_.size(), 1U);
  EXPECT_NE(list("(.*exe/sapstartsrv"), 0) << "no pattern";
  EXPECT_EQ(services_.size(), 1U);
}

TEST(ProcessIdentity, another_program_and_an_end_are_changes) {
  const test::Temporary_Directory files;
  // A shell whose name, as /proc shows it, looks like what stands behind a name there.
  const std::string shell = files.link("a) 1 2 3 4 5 6", "/bin/sh");
  const Child child(
      [&] { ::execl(shell.c_str(), shell.c_str(), "-c", "kill -STOP $$; exec \"$0\" -c 'kill -STOP $$'", nullptr); });
  const platform::Process_Identity first(child.pid());
  EXPECT_TRUE(first.is_unchanged());

  child.go_on();
  child.expect_stop();
  EXPECT_FALSE(first.is_unchanged());
  const platform::Process_Identity second(child.pid());
  EXPECT_TRUE(second.is_unchanged());

  child.end();
  EXPECT_FALSE(second.is_unchanged());
  EXPECT_FALSE(platform::Process_Identity(child.pid()).is_unchanged()) << "an ended one has none";
}

}  // namespace
