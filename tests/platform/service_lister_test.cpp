#include "platform/process/service_lister.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "platform/process/accounts.h"
#include "tests/support/child.h"
#include "tests/support/log_capture.h"

namespace {

using platform::Service_Info;
using test::Child;

class ServiceLister : public testing::Test {
 protected:
  // A program name that nothing else on this host has.
  std::string program(const std::string& name) const { return "/lister_test/" + std::to_string(::getpid()) + name; }

  std::list<Service_Info> list(const std::string& pattern) const {
    std::list<Service_Info> services;
    EXPECT_EQ(platform::Service_Lister().list_service(pattern.c_str(), services, false, "C"), 0) << pattern;
    return services;
  }

  test::Log_Capture log_;
};

TEST_F(ServiceLister, matching_processes_are_appended_by_pid_with_their_arguments_and_owner) {
  const Child first(program("/HXE/sapstartsrv"), {"pf=/profile", "", "a b", "-u"});
  const Child other(program("/ABC/other"));
  platform::User_Ids daemon{};
  ASSERT_EQ(platform::find_user("daemon", daemon), 0);
  const uid_t other_user = ::geteuid() == 0 ? daemon.uid : ::geteuid();
  const Child second(program("/HXE/sapstartsrv"), {}, {}, other_user);

  std::list<Service_Info> services{{"before", "", 0}};
  ASSERT_EQ(platform::Service_Lister().list_service(program("/HXE.*sapstartsrv").c_str(), services, false, "C"), 0);

  ASSERT_EQ(services.size(), 3U);
  services.pop_front();
  const auto& lower = first.pid() < second.pid() ? first : second;
  EXPECT_EQ(services.front().pid, lower.pid());
  EXPECT_EQ(services.back().pid, first.pid() + second.pid() - lower.pid());
  for (const Service_Info& service : services) {
    const bool is_first = service.pid == first.pid();
    EXPECT_EQ(service.cmd, is_first ? first.command_line() : second.command_line());
    EXPECT_EQ(service.user, platform::user_name(is_first ? ::geteuid() : other_user));
  }
}

TEST_F(ServiceLister, a_user_without_a_name_is_told_by_its_number) {
  EXPECT_EQ(platform::user_name(0), "root");
  EXPECT_EQ(platform::user_name(4000000000), "4000000000");
}

TEST_F(ServiceLister, a_process_that_has_ended_is_passed_over) {
  Child ended(program("/ended"));
  ASSERT_EQ(list(program("/ended")).size(), 1U);

  ended.end();

  EXPECT_EQ(list(program("/ended")).size(), 0U);
}

TEST_F(ServiceLister, a_pattern_that_does_not_compile_is_a_failure_and_appends_nothing) {
  for (const char* pattern : {"(", "[", "*", "(.*exe/sapstartsrv"}) {
    std::list<Service_Info> services{{"before", "", 0}};
    EXPECT_NE(platform::Service_Lister().list_service(pattern, services, false, "C"), 0) << pattern;
    EXPECT_EQ(services.size(), 1U);
  }
}

TEST_F(ServiceLister, hostile_command_lines_do_not_hide_the_others) {
  std::string repeated;
  while (repeated.size() < 32 * 1024)
    repeated += "HXEHXE";
  const Child hostile(program("/hostile"), {repeated});
  const Child newlines(program("/hostile"), {"HXE\n\nexe/sapstartsrv"});
  const Child real(program("/HXE/HDB90/exe/sapstartsrv"));

  const std::list<Service_Info> services = list("HXE.*exe/sapstartsrv");

  const auto has = [&services](const Child& child) {
    return std::any_of(services.begin(), services.end(), [&](const auto& one) { return one.pid == child.pid(); });
  };
  EXPECT_FALSE(has(hostile));
  EXPECT_TRUE(has(newlines));
  EXPECT_TRUE(has(real));
}

TEST_F(ServiceLister, a_search_that_grows_too_complex_matches_nothing) {
  const Child real(program("/HXE/HDB90/exe/sapstartsrv"), {std::string(32 * 1024, 'a')});

  EXPECT_TRUE(list("(a*)*" + program("/HXE/none")).empty());
}

TEST_F(ServiceLister, a_command_line_counts_up_to_its_limit) {
  const Child child(program("/long"), {std::string(100 * 1024, 'x'), "end"});

  const std::list<Service_Info> services = list(program("/long"));

  ASSERT_EQ(services.size(), 1U);
  EXPECT_EQ(services.front().cmd, child.command_line().substr(0, 4 * 1024));
}

}  // namespace
