#include <gmock/gmock.h>

#include "sandbox/host.h"
#include "tests/support/test.h"

namespace {

using test::content_of;
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

// A host that is not as the sandbox would make it.
constexpr const char* UNUSUAL =
    "host db-7.example.com  host_agent no  sapservices { line \"# sapstartsrv pf=/x/QAS_HDB11_vhost # of db-7\" }\n"
    "system QAS { mode multi  defaults no  instance 11 { version 2.0 listening \"31101 31113\" trace vhost trace "
    "zother\n"
    "    environment { HOSTNAME vhost DIR_EXECUTABLE \"/a b\" } unset USER }\n"
    "  ini global.ini { multidb { mode multidb } system_replication { mode \"\" } }\n"
    "  ini nameserver.ini { roles_vhost \"a \\\"b\\\"\" landscape { standby \"\" active_master vhost:31101 } } }\n"
    "system OLD { mode single instance 05 { version 1.00.1.2 listening \"30517\" trace \"\" } }\n"
    "system OFF { instance 06 { running no systemd yes } }";

TEST(Report, a_recorded_host_started_in_the_sandbox_is_the_same) {
  const struct {
    std::string description;
    const char* hosts;  // a program that renames them as an anonymous record does
  } cases[] = {{sandbox::default_description(), "sed s/hxehost/host1/g"},
               {content_of("sandbox/hosts/scale_out.info"),
                "sed 's/hana-node-2/host1/g; s/hana-node-1/host2/g; s/hana-node-3/host3/g'"},
               {UNUSUAL, "sed 's/db-7.example.com/host1.example/g; s/vhost/host2/g; s/zother/host3/g'"}};
  const test::Temporary_Directory folder;
  for (const bool anonymous : {false, true}) {
    for (const auto& c : cases) {
      const std::string rename =
          anonymous ? std::string(" | ") + c.hosts + " | sed 's/5fb0d5a1-7c3e[^\"]*/ID/; s/00000000-0000[^\"]*/ID/'"
                    : "";
      const std::string record = folder / "record" + std::to_string(&c - cases) + (anonymous ? "a" : "");
      std::string shown;
      {
        const sandbox::Host host(c.description);
        shown = run("--json" + rename).output;
        ASSERT_EQ(run("2>/dev/null --record=" + record + (anonymous ? " --anonymous" : "")).status, 0);
      }
      const sandbox::Host host(content_of(record));
      EXPECT_EQ(run("--json" + rename).output, shown) << content_of(record);
      EXPECT_EQ(run("2>/dev/null --record=-").output, content_of(record));
      for (const char* name : {"hxehost", "node", "vhost", "zother", "db-7", "5fb0d5a1"})
        EXPECT_TRUE(!anonymous || content_of(record).find(name) == std::string::npos) << name << content_of(record);
      EXPECT_THAT(run("--record=" + record).output, HasSubstr("cannot write " + record + ": File exists\n"));
    }
  }
}

TEST(Report, what_it_cannot_show_it_says) {
  const sandbox::Host host("host db-7\nsystem HXE { instance 90 { unset HOSTNAME } }");
  const std::tuple<const char*, int, const char*> cases[] = {
      {"--json", 3, "gustaikrum-report: SAP HANA runs on "},
      {"everything", 2, "gustaikrum-report: unexpected 'everything'\nTry 'gustaikrum-report --help' for more "},
      {"--bogus", 2, "gustaikrum-report: unrecognized option '--bogus'\n"},
      {"--json --user=SYSTEM", 2, "gustaikrum-report: --json and --record hold "},
      {"--json --record=-", 2, "gustaikrum-report: --json and --record exclude"},
      {"-h", 0, "Usage: gustaikrum-report "},
      {"--version", 0, "gustaikrum-report 0."},
      {"--password-file -", 2, "no password in standard input\n"},
      {"--password-file HXE=/nowhere", 2, "cannot read the password from /nowhere: No such file or directory\n"},
  };
  for (const auto& [arguments, status, output] : cases) {
    const test::Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, status) << arguments;
    EXPECT_EQ(outcome.output.find(output), 0U) << outcome.output;
  }
}

TEST(Report, with_a_password_it_shows_what_sql_tells) {
  const std::string name(127, 'N');
  const std::string description = R"(host db-7
      system HXE { instance 90  tenant NAME { description "Sales, north" }  tenant TEN2 { active no }
        schema SALES { owner S database NAME }  schema PRIVATE { database NAME privileges no }
        ini global.ini { persistence { log_mode overwrite }  backup { log_backup_using_backint true } } }
      system S1P { mode single instance 02  user SYSTEM { password other } })";
  const sandbox::Host host(std::regex_replace(description, std::regex("NAME"), name));

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
