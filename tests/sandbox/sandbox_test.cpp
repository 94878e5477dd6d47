// What the simulated host has in common with a true one and no other test looks at.

#include <gtest/gtest.h>
#include <pwd.h>

#include <filesystem>
#include <fstream>

#include "sandbox/host.h"
#include "tests/support/command.h"

namespace {

namespace fs = std::filesystem;
using sandbox::Host;
using test::run_command;

TEST(Sandbox, a_described_host_is_built_and_gone_with_its_object) {
  {
    const Host host(
        "host ha-node-1\nsystem HDB { instance 00 { systemd yes start_service no running no } }\n"
        "application S4P { instance ASCS01 }\nsapservices_line \"#off\"");
    EXPECT_EQ(host.pid("HDB", "HDB00", "sapstartsrv"), 0);
    EXPECT_EQ(run_command("cat /usr/sap/sapservices | grep -v /bin/sh").output,
              "limit.descriptors=1048576\n"
              "systemctl --no-ask-password start SAPHDB_00 # sapstartsrv "
              "pf=/usr/sap/HDB/SYS/profile/HDB_HDB00_ha-node-1\n"
              "LD_LIBRARY_PATH=/usr/sap/S4P/ASCS01/exe:$LD_LIBRARY_PATH;export LD_LIBRARY_PATH;"
              "/usr/sap/S4P/ASCS01/exe/sapstartsrv pf=/usr/sap/S4P/SYS/profile/S4P_ASCS01_ha-node-1 -D -u s4padm\n"
              "#off\n");
  }
  EXPECT_FALSE(fs::exists("/usr/sap/sapservices"));
  EXPECT_FALSE(fs::exists("/usr/sap/HDB"));
  EXPECT_EQ(::getpwnam("hdbadm"), nullptr);
}

TEST(Sandbox, a_description_that_cannot_be_used_is_refused_with_its_line) {
  const struct {
    const char* description;
    const char* complaint;
  } cases[] = {
      {"host a\nsystem HXE {\n instance 90\n tenent X\n}", "line 4: unknown key 'tenent'; possible here: ini, "},
      {"system HXE {\n instance 9\n}", "line 2: 'instance 9' is not a name of the form [0-9][0-9]"},
      {"host a\n\nsystem HXE {", "line 3: unmatched {"},
      {"system HXE {\n instance 00\n}\nsystem ABC {\n instance 00\n}", "line 2: instance number 00 is taken"},
  };
  for (const auto& c : cases) {
    try {
      sandbox::parse_description(c.description);
      ADD_FAILURE() << "accepted: " << c.description;
    } catch (const sandbox::Description_Error& error) {
      EXPECT_NE(std::string(error.what()).find(c.complaint), std::string::npos) << error.what();
    }
  }
}

TEST(Sandbox, hdb_leaves_servers_behind_that_keep_its_output) {
  const Host host("system HXE { instance 90 { running no } }");
  const std::string user =
      sandbox::second_user_available() ? "setpriv --reuid hxeadm --regid sapsys --init-groups " : "";
  const std::string out = "/usr/sap/.sandbox/HXE/out";
  EXPECT_EQ(run_command(user + "/usr/sap/HXE/HDB90/HDB start >" + out + " 2>&1").status, 0);
  const pid_t server = host.pid("HXE", "HDB90", "hdbindexserver");
  EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(server) + "/fd/1"), out);
  EXPECT_EQ(run_command("tail -n 2 " + out).output, "StartWait\nOK\n");
}

TEST(Sandbox, hdbsql_answers_and_fails_as_the_true_one) {
  const Host host;
  const struct {
    const char* arguments;
    int status;
    const char* output;  // its beginning
  } cases[] = {
      {"-p Manager1 -n hxehost:39013 \"select 1 as a, 1.5 as b, null as c, '' as d, 'x\\\"y,z' as e from dummy\"", 0,
       "A,B,C,D,E\n1,1.5,?,\"\",\"x\\\"y,z\"\n\n1 row selected (overall time "},
      {"-p Manager1 -n hxehost:39013 -d TEN1 \"SELECT SCHEMA_NAME FROM SCHEMAS WHERE HAS_PRIVILEGES = 'NO'\"", 0,
       "SCHEMA_NAME\n\n0 rows selected (overall time "},
      {"-p Manager1 -n hxehost:39099 x", 3,
       "* -10709: Connection failed (RTE:[89006] System call 'connect' failed, rc=111:Connection refused "
       "(127.0.0.1:39099))\n"},
      {"-p Manager1 -n hxehost:39013 -d TEN2 x", 3, "* -10709: Connection failed"},
  };
  const std::string hdbsql = "/usr/sap/HXE/HDB90/exe/hdbsql";
  for (const auto& c : cases) {
    const test::Outcome outcome = run_command(hdbsql + " -u SYSTEM -i 90 " + c.arguments);
    EXPECT_EQ(outcome.status, c.status) << c.arguments;
    EXPECT_EQ(outcome.output.find(c.output), 0U) << outcome.output;
  }

  const std::string wrapper = "#!/bin/sh\necho instead\nSANDBOX_NO_OVERRIDE=1 exec \"${0%.override}\" \"$@\"\n";
  for (const auto& [tool, output] : {std::pair("exe/hdbsql", "instead\nusage: hdbsql "),
                                     {"HDB", "instead\nUsage: HDB "},
                                     {"exe/hdbsrvutil", "instead\n"}}) {
    const std::string path = std::string("/usr/sap/HXE/HDB90/") + tool;
    std::ofstream(path + ".override") << wrapper;
    fs::permissions(path + ".override", fs::perms(0755));
    EXPECT_EQ(run_command("timeout 5 " + path + " x").output.find(output), 0U) << path;
  }
}

}  // namespace
