#include <gmock/gmock.h>

#include "sandbox/host.h"
#include "tests/support/test.h"

namespace {

// The seconds that an action took are left out.
test::Outcome run(const std::string& arguments, const std::string& input = "") {
  test::Outcome outcome = test::run_command("printf '%s' '" + input + "' | " + TOOL + " " + arguments);
  outcome.output = std::regex_replace(outcome.output, std::regex(" after [0-9]+\\.[0-9] s"), "");
  return outcome;
}

TEST(Instance, it_shows_the_state_before_and_after_and_names_the_cause) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  sandbox::Host host("system HXE { instance 90 tenant TEN1 }");
  const struct {
    const char* arguments;
    const char* output;
    int status;
    bool wrong_password = false;
  } cases[] = {
      {"stop HXE HDB90", "HXE HDB90: running\nstop done\nHXE HDB90: stopped\n", 0},
      {"state HXE HDB90 TEN1 --password-file -",
       "HXE HDB90 TEN1: unknown: * -10709: Connection failed (RTE:[89006] System call 'connect' failed, "
       "rc=111:Connection refused (127.0.0.1:39013))\n",
       1},
      {"start HXE HDB90", "HXE HDB90: stopped\nstart done\nHXE HDB90: running\n", 0},
      {"restart HXE HDB90", "HXE HDB90: running\nrestart done\nHXE HDB90: running\n", 0},
      {"stop QQQ HDB90", "QQQ HDB90: no start service runs\n", 1},
      {"stop HXE HDB90 TEN1 --password-file=-", "HXE HDB90 TEN1: running\nstop done\nHXE HDB90 TEN1: stopped\n", 0},
      {"--password-file - state HXE HDB90 TEN1", "HXE HDB90 TEN1: stopped\n", 0},
      {"restart HXE HDB90 TEN1 --user SYSTEM --password-file -",
       "HXE HDB90 TEN1: stopped\nrestart done\nHXE HDB90 TEN1: running\n", 0},
      {"stop HXE HDB90 TEN9 --password-file -", "HXE HDB90 TEN9: no such tenant is listed\n", 1},
      {"stop HXE HDB90 TEN1 --password-file -",
       "HXE HDB90 TEN1: unknown: * 10: authentication failed SQLSTATE: 28000\n", 1, true},
      {"stop HXE HDB91 TEN1 --password-file -", "no instance HXE HDB91 can be seen here\n", 1},
      {"stop HXE HDB90 TEN1 2>/dev/null", "", 2},
      {"pause HXE HDB90 2>/dev/null", "", 2},
      {"stop HXE HDB90 --user=SYSTEM 2>/dev/null", "", 2},
  };
  for (const auto& c : cases) {
    const test::Outcome outcome = run(c.arguments, c.wrong_password ? "wrong" : "Manager1\r\n");
    EXPECT_EQ(outcome.output, c.output) << c.arguments;
    EXPECT_EQ(outcome.status, c.status) << c.arguments;
  }

  host.fail_hdb("HXE", "HDB90", "no licence");
  EXPECT_EQ(run("stop HXE HDB90").output,
            "HXE HDB90: running\nstop failed\n'/usr/sap/HXE/HDB90/HDB' exited with status 1\n"
            "Failed to stop HXE instance HDB90\nHXE HDB90: running\n");
  // On a terminal it says since when it waits, until it is done.
  const test::Outcome slow =
      test::run_command("cd /usr/sap/HXE/HDB90 && printf '#!/bin/sh\\nsleep 1.5\\n' >HDB && script -qec \"" TOOL
                        " stop HXE HDB90\" /dev/null");
  EXPECT_THAT(slow.output, testing::HasSubstr("\rstop of HXE HDB90 ... 1 s\r\033[Kstop done after 1."));
}

}  // namespace
