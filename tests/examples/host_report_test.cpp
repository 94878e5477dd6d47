#include <gtest/gtest.h>

#include <string>

#include "sandbox/host.h"
#include "tests/support/command.h"

namespace {

test::Outcome run(const std::string& arguments, const std::string& input = "") {
  return test::run_command("printf '%s' '" + input + "' | " + HOST_REPORT + " " + arguments);
}

// The part of a report from one text up to another.
std::string part(const std::string& report, const std::string& from, const std::string& to) {
  const std::size_t begin = report.find(from);
  return begin == std::string::npos ? report : report.substr(begin, report.find(to, begin) - begin);
}

TEST(HostReport, it_shows_the_host_that_is_there) {
  const sandbox::Host host(
      "host db-7\n"
      "system HXE { instance 00 { environment { HOSTNAME \"a\033b\" } }  replication { mode primary }\n"
      "  topology { master db-8:30001 worker \"db-7 db-8\" active_master db-8:30001 role \"\" } }\n"
      "system HDB { mode single landscape_id lid-1\n"
      "  instance 02 { running no version \"\" } }");

  const test::Outcome outcome = run("");

  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output,
            "SAP HANA on db-7: 2 systems, 2 instances\n"
            "\n"
            "HDB\n"
            "    mode          single-container\n"
            "    landscape id  lid-1\n"
            "    master        db-7:30201\n"
            "    worker        db-7\n"
            "    standby       -\n"
            "    cluster       no\n"
            "    active master this host\n"
            "    role          worker\n"
            "    replication   none\n"
            "    SQL           left out: no password was given (--password-file)\n"
            "\n"
            "  HDB02\n"
            "    number        02\n"
            "    host          db-7\n"
            "    version       unknown\n"
            "    user          hdbadm\n"
            "    directory     /usr/sap/HDB/HDB02\n"
            "    executables   /usr/sap/HDB/HDB02/exe\n"
            "    trace         /usr/sap/HDB/HDB02/db-7/trace\n"
            "    ports         30200  daemon                -\n"
            "                  30201  name server           -\n"
            "                  30202  preprocessor          -\n"
            "                  30210  compile server        -\n"
            "                  30217  statistics server     -\n"
            "                  30215  SQL                   -\n"
            "\n"
            "HXE\n"
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
            "    number        00\n"
            "    host          a?b\n"
            "    version       2.00.071.00.1687900751\n"
            "    user          hxeadm\n"
            "    directory     /usr/sap/HXE/HDB00\n"
            "    executables   /usr/sap/HXE/HDB00/exe\n"
            "    trace         /usr/sap/HXE/HDB00/db-7/trace\n"
            "    ports         30000  daemon                listening\n"
            "                  30001  name server           listening\n"
            "                  30002  preprocessor          listening\n"
            "                  30010  compile server        listening\n"
            "                  30017  statistics server     -\n"
            "                  30013  SQL, system database  listening\n");
}

TEST(HostReport, what_it_cannot_show_it_says) {
  {
    const sandbox::Host host("host db-7");
    const test::Outcome outcome = run("");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "host_report: no SAP HANA instance runs on db-7\n");
  }
  const sandbox::Host host("host db-7\nsystem HXE { instance 90 { unset HOSTNAME } }");
  const test::Outcome outcome = run("");
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.output.find("host_report: SAP HANA runs on db-7, but no instance could be read"), 0U);
  EXPECT_EQ(run("--json").output, outcome.output);
}

TEST(HostReport, as_json_it_tells_scripts_about_one_system) {
  const sandbox::Host host(
      "host db-7\n"
      "system HDB { instance 00 }\n"
      "system HXE { instance 90 { running no  version \"\"  environment { HOSTNAME \"a\\\"b\033\" } }\n"
      "  topology { role \"\" }  replication { mode primary } }");

  const test::Outcome outcome = run("--json --sid HXE | tr -d '\n '");
  EXPECT_EQ(
      outcome.output,
      R"({"host":"db-7","systems":[{"active_master":true,"cluster":false,"instances":[{)"
      R"("directory":"/usr/sap/HXE/HDB90","executables":"/usr/sap/HXE/HDB90/exe","host":"a\"b\u001b","name":"HDB90",)"
      R"("number":90,"ports":[{"listening":false,"port":39000,"server":"daemon"},)"
      R"({"listening":false,"port":39001,"server":"nameserver"},)"
      R"({"listening":false,"port":39002,"server":"preprocessor"},)"
      R"({"listening":false,"port":39010,"server":"compileserver"},)"
      R"({"listening":false,"port":39017,"server":"statisticsserver"},)"
      R"({"listening":false,"port":39013,"server":"SQL,systemdatabase"}],)"
      R"("trace_directories":["/usr/sap/HXE/HDB90/db-7/trace"],"user":"hxeadm","version":null}],)"
      R"("landscape_id":"5fb0d5a1-7c3e-4d2b-9a60-485845000000","master":["db-7:39001"],"multi_container":true,)"
      R"("operation_mode":null,"replication_mode":"primary","role":null,"sid":"HXE","standby":null,"worker":["db-7"]}]})");

  EXPECT_EQ(run("--sid HXE >/dev/full").status, 3);
  EXPECT_EQ(run("--sid HXE --json").status, 0);
  EXPECT_EQ(part(run("--sid HXE").output, "SAP HANA", "\n"), "SAP HANA on db-7: 1 system, 1 instance");
  const test::Outcome none = run("--json --sid S1P 2>/dev/null");
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.output, "{\n  \"host\": \"db-7\",\n  \"systems\": []\n}\n");
}

TEST(HostReport, with_a_password_it_shows_what_sql_tells) {
  const sandbox::Host host(
      "host db-7\n"
      "system HXE { instance 90\n"
      "  tenant TEN1 { description \"Sales, north\" }  tenant TEN2 { description \"\" active no }\n"
      "  schema SALES { owner S database TEN1 }  schema PRIVATE { database TEN1 privileges no }\n"
      "  ini global.ini { persistence { log_mode overwrite }  backup { log_backup_using_backint true } } }\n"
      "system S1P { mode single instance 02  user SYSTEM { password other } }");

  const test::Outcome outcome = run("--password-file -", "Manager1\n");

  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(part(outcome.output, "    log mode", "\n  HDB90"),
            "    log mode      overwrite\n"
            "    log backup    automatic: yes, through Backint: true\n"
            "    catalog       through Backint: false\n"
            "    databases     SYSTEMDB     started  SystemDB-HXE-90\n"
            "                  4 schemas: SYS, SYSTEM, _SYS_REPO (no privileges), _SYS_STATISTICS\n"
            "                  TEN1         started  Sales, north\n"
            "                  2 schemas: SALES, PRIVATE (no privileges)\n"
            "                  TEN2         stopped\n");
  EXPECT_EQ(part(outcome.output, "    SQL", "\n  HDB02"),
            "    SQL           not possible as SYSTEM: * 10: authentication failed SQLSTATE: 28000\n");

  const test::Outcome other = run("--password-file S1P=- --user SYSTEM", "other");
  EXPECT_EQ(part(other.output, "    databases", "\n  HDB02"),
            "    databases     S1P          started\n"
            "                  4 schemas: SYS, SYSTEM, _SYS_REPO (no privileges), _SYS_STATISTICS\n");
  EXPECT_NE(other.output.find("    SQL           left out"), std::string::npos);
}

TEST(HostReport, a_wrong_call_shows_the_usage) {
  EXPECT_EQ(run("--help").status, 0);
  EXPECT_EQ(run("everything").status, 2);
  EXPECT_EQ(run("--password-file").status, 2);
  EXPECT_EQ(run("--password-file -").output, "no password in standard input\n");
  EXPECT_EQ(run("--password-file HXE=/nowhere").output,
            "cannot read the password from /nowhere: No such file or directory\n");
  EXPECT_EQ(run("--json --user SYSTEM").status, 2);
  EXPECT_EQ(run("--sid ''").status, 2);
  EXPECT_EQ(run("everything").output.find("usage: host_report "), 0U);
}

}  // namespace
