#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "sandbox/host.h"
#include "tests/support/command.h"

namespace {

// The seconds that an action took are left out.
test::Outcome run(const std::string& arguments, const std::string& input = "") {
  test::Outcome outcome = test::run_command("printf '%s' '" + input + "' | " + INSTANCE_TOOL + " " + arguments);
  outcome.output = std::regex_replace(outcome.output, std::regex(" after [0-9]+\\.[0-9] s"), "");
  return outcome;
}

TEST(InstanceTool, it_shows_the_state_before_and_after) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  sandbox::Host host("system HXE { instance 90 tenant TEN1 }");
  const struct {
    const char* arguments;
    const char* output;
    int status;
  } cases[] = {
      {"stop HXE HDB90", "HXE HDB90: running\nstop done\nHXE HDB90: stopped\n", 0},
      {"start HXE HDB90", "HXE HDB90: stopped\nstart done\nHXE HDB90: running\n", 0},
      {"restart HXE HDB90", "HXE HDB90: running\nrestart done\nHXE HDB90: running\n", 0},
      {"stop QQQ HDB90", "QQQ HDB90: no start service runs\n", 1},
      {"stop HXE HDB90 TEN1 --password-file -", "HXE HDB90 TEN1: running\nstop done\nHXE HDB90 TEN1: stopped\n", 0},
      {"state HXE HDB90 TEN1 --password-file -", "HXE HDB90 TEN1: stopped\n", 0},
      {"restart HXE HDB90 TEN1 --user SYSTEM --password-file -",
       "HXE HDB90 TEN1: stopped\nrestart done\nHXE HDB90 TEN1: running\n", 0},
      {"stop HXE HDB90 TEN9 --password-file -", "HXE HDB90 TEN9: no such tenant is listed\n", 1},
      {"stop HXE HDB91 TEN1 --password-file -", "no instance HXE HDB91 runs here\n", 1},
      {"stop HXE HDB90 TEN1 2>/dev/null", "", 2},
  };
  for (const auto& c : cases) {
    const test::Outcome outcome = run(c.arguments, "Manager1\n");
    EXPECT_EQ(outcome.output, c.output) << c.arguments;
    EXPECT_EQ(outcome.status, c.status) << c.arguments;
  }
}

}  // namespace
