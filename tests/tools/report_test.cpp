#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "sandbox/host.h"
#include "tests/support/command.h"

namespace {

using testing::HasSubstr;

// The sandbox's own, or the machine's where no namespaces can be entered.
std::string host_name() {
  char name[256] = "";
  EXPECT_EQ(::gethostname(name, sizeof(name)), 0);
  return name;
}

test::Outcome run(const std::string& arguments, const std::string& input = "") {
  return test::run_command("printf '%s' '" + input + "' | " + TOOL + " " + arguments);
}

// What cannot be read, what is hostile and what is not there; docs/guide.md shows the usual.
TEST(Report, it_shows_the_host_that_is_there) {
  const sandbox::Host host(
      "host db-7\n"
      "system HXE { instance 00 { environment { HOSTNAME \"a\\\"b\033\" } running no version \"\" }\n"
      "  replication { mode primary }\n"
      "  topology { master db-8:30001 worker \"db-7 db-8\" active_master db-8:30001 role \"\" } }\n"
      "system HDB { mode single instance 02 }");

  const std::string all = run("").output;
  EXPECT_EQ(all.find("SAP HANA on " + host_name() +
                     ": 2 systems, 2 instances, 1 stopped\n\nHDB\n    mode          single-container\n"),
            0U);
  EXPECT_THAT(all, HasSubstr("\nHXE\n"
                             "    mode          multiple-container\n"
                             "    landscape id  5fb0d5a1-7c3e-4d2b-9a60-485845000000\n"
                             "    master        db-8:30001\n"
                             "    worker        db-7, db-8\n"
                             "    standby       -\n"
                             "    cluster       yes\n"
                             "    active master another host\n"
                             "    role          unknown\n"
                             "    replication   primary\n"
                             "    SQL           left out: no password was given (--password-file)\n"
                             "\n"
                             "  HDB00\n"
                             "    state         stopped\n"
                             "    number        00\n"
                             "    host          a\"b\\x1B\n"
                             "    version       unknown\n"));
  EXPECT_THAT(all, HasSubstr("    ports         30000  daemon                -\n"));
  EXPECT_THAT(all, HasSubstr("    ports         30200  daemon                listening\n"));

  const std::string json = run("--json --sid HXE").output;
  for (const char* text : {R"("schema": 1)", R"("state": "stopped")", R"("host": "a\"b\u001b",)", R"("role": null,)",
                           R"("version": null)", R"("standby": null,)"})
    EXPECT_THAT(json, HasSubstr(text));
  EXPECT_EQ(json.find("HDB02"), std::string::npos);
  EXPECT_EQ(run("--json --sid ABC 2>/dev/null").output,
            "{\n  \"host\": \"" + host_name() + "\",\n  \"schema\": 1,\n  \"systems\": []\n}\n");
  EXPECT_EQ(run("--sid HXE").status, 0);
  EXPECT_EQ(run("--sid ABC").status, 1);
  EXPECT_EQ(run("--sid HXE >/dev/full").status, 3);
}

TEST(Report, what_it_cannot_show_it_says) {
  const sandbox::Host host("host db-7\nsystem HXE { instance 90 { unset HOSTNAME } }");
  const struct {
    const char* arguments;
    int status;
    const char* output;  // its beginning
  } cases[] = {
      {"--json", 3, "gustaikrum-report: SAP HANA runs on "},
      {"everything", 2, "gustaikrum-report: unexpected 'everything'\nTry 'gustaikrum-report --help' for more "},
      {"--bogus", 2, "gustaikrum-report: unrecognized option '--bogus'\n"},
      {"--json --user=SYSTEM", 2, "gustaikrum-report: --json shows "},
      {"-h", 0, "Usage: gustaikrum-report "},
      {"--version", 0, "gustaikrum-report 0."},
      {"--password-file -", 2, "no password in standard input\n"},
      {"--password-file HXE=/nowhere", 2, "cannot read the password from /nowhere: No such file or directory\n"},
  };
  for (const auto& c : cases) {
    const test::Outcome outcome = run(c.arguments);
    EXPECT_EQ(outcome.status, c.status) << c.arguments;
    EXPECT_EQ(outcome.output.find(c.output), 0U) << outcome.output;
  }
}

TEST(Report, with_a_password_it_shows_what_sql_tells) {
  const std::string name(127, 'N');
  const sandbox::Host host(
      "host db-7\n"
      "system HXE { instance 90  tenant " +
      name +
      " { description \"Sales, north\" }  tenant TEN2 { active no }\n"
      "  schema SALES { owner S database " +
      name + " }  schema PRIVATE { database " + name +
      " privileges no }\n"
      "  ini global.ini { persistence { log_mode overwrite }  backup { log_backup_using_backint true } } }\n"
      "system S1P { mode single instance 02  user SYSTEM { password other } }");

  const std::string report = run("--password-file -", "Manager1\r\n").output;
  EXPECT_THAT(report, HasSubstr("    log mode      overwrite\n"
                                "    log backup    automatic: yes, through Backint: yes\n"
                                "    catalog       through Backint: no\n"
                                "    databases     started  SYSTEMDB (SystemDB-HXE-90)\n"
                                "                  4 schemas: SYS, SYSTEM, _SYS_REPO (no privileges),\n"
                                "                  _SYS_STATISTICS\n"
                                "                  started  " +
                                name +
                                " (Sales, north)\n"
                                "                  2 schemas: SALES, PRIVATE (no privileges)\n"
                                "                  stopped  TEN2 (TEN2)\n"));
  EXPECT_THAT(report, HasSubstr("SQL           not possible as SYSTEM: * 10: authentication failed SQLSTATE: 28000\n"));

  const std::string other = run("--password-file S1P=- --user SYSTEM", "other").output;
  EXPECT_THAT(other, HasSubstr("    databases     started  S1P\n"));
  EXPECT_THAT(other, HasSubstr("    SQL           left out"));
}

}  // namespace
