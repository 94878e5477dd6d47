#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "sandbox/host.h"

namespace {

using sandbox::Host;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string owner_of(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return {};
  const passwd* user = ::getpwuid(status.st_uid);
  return user == nullptr ? std::string() : user->pw_name;
}

struct Result {
  int status;
  std::string output;  // both streams
};

Result run(const std::string& command) {
  FILE* pipe = ::popen(("{ " + command + "; } 2>&1").c_str(), "re");
  std::string output;
  std::array<char, 4096> block{};
  for (std::size_t n = 0; (n = std::fread(block.data(), 1, block.size(), pipe)) > 0;)
    output.append(block.data(), n);
  const int status = ::pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

Result sql(const std::string& statement, const std::string& options = "-p Manager1 -n hxehost:39013") {
  return run("/usr/sap/HXE/HDB90/exe/hdbsql -u SYSTEM -i 90 " + options + " \"" + statement + "\"");
}

// Everything but the closing line, whose times differ.
std::string rows(const Result& result) {
  const std::size_t end = result.output.rfind(" (overall time");
  return result.output.substr(0, end);
}

Result hdb(const std::string& action) {
  const std::string script = "HDB_STOP_TIMEOUT=7 LD_LIBRARY_PATH=/x /usr/sap/HXE/HDB90/HDB " + action;
  return run(sandbox::second_user_available() ? "setpriv --reuid hxeadm --regid sapsys --init-groups env " + script
                                              : "env " + script);
}

bool listens(int port) {
  return run("bash -c '</dev/tcp/127.0.0.1/" + std::to_string(port) + "'").status == 0;
}

TEST(Sandbox, start_services_run_as_their_users_with_their_command_lines_and_environments) {
  const Host host;

  const struct {
    const char* sid;
    const char* instance;
    const char* user;
    const char* number;
  } cases[] = {{"HXE", "HDB90", "hxeadm", "90"}, {"S1P", "HDB02", "s1padm", "02"}, {"S4P", "ASCS01", "s4padm", "01"}};
  for (const auto& c : cases) {
    const std::string proc = "/proc/" + std::to_string(host.pid(c.sid, c.instance, "sapstartsrv"));
    const std::string sid = c.sid;
    const std::string dir = "/usr/sap/" + sid + "/" + c.instance;
    const std::string pf = "pf=/usr/sap/" + sid + "/SYS/profile/" + sid + "_" + c.instance + "_hxehost";
    const std::string nul(1, '\0');
    EXPECT_EQ(read_file(proc + "/cmdline"),
              dir + "/exe/sapstartsrv" + nul + pf + nul + "-D" + nul + "-u" + nul + c.user + nul);
    const std::string environment = nul + read_file(proc + "/environ");
    for (const std::string& entry : {"SAPSYSTEMNAME=" + sid, "DIR_INSTANCE=" + dir, "DIR_EXECUTABLE=" + dir + "/exe",
                                     std::string("TINSTANCE=") + c.number, std::string("HOSTNAME=hxehost")})
      EXPECT_THAT(environment, HasSubstr(nul + entry + nul));
    EXPECT_EQ(owner_of(proc), sandbox::second_user_available() ? c.user : "root");
  }
}

TEST(Sandbox, a_described_host_is_built_and_gone_with_its_object) {
  {
    const Host host(R"(host ha-node-1
system HDB { instance 00 { systemd yes  start_service no  running no  version 1.00.122.05  old_version_format yes
                           environment { USER "" }  unset TINSTANCE } }
sapservices_line "#off /usr/sap/ABC/HDB11/exe/sapstartsrv pf=/usr/sap/ABC/SYS/profile/ABC_HDB11"
)");
    EXPECT_EQ(host.pid("HDB", "HDB00", "sapstartsrv"), 0);
    EXPECT_FALSE(listens(30013));
    EXPECT_EQ(read_file("/usr/sap/sapservices"),
              "#!/bin/sh\nlimit.descriptors=1048576\nsystemctl --no-ask-password start SAPHDB_00 # sapstartsrv "
              "pf=/usr/sap/HDB/SYS/profile/HDB_HDB00_ha-node-1\n"
              "#off /usr/sap/ABC/HDB11/exe/sapstartsrv pf=/usr/sap/ABC/SYS/profile/ABC_HDB11\n");
    EXPECT_THAT(run("/usr/sap/HDB/HDB00/exe/hdbsrvutil -v").output,
                StartsWith("HDB version info:\nversion:             1.00.122.05\n"));
  }
  EXPECT_FALSE(std::filesystem::exists("/usr/sap/sapservices"));
  EXPECT_FALSE(std::filesystem::exists("/usr/sap/HDB"));
  EXPECT_EQ(::getpwnam("hdbadm"), nullptr);
}

TEST(Sandbox, changes_to_the_environment_reach_the_start_service) {
  Host host("system HXE { instance 90 { systemd yes  environment { TINSTANCE 07 }  unset USER } }");

  const pid_t service = host.pid("HXE", "HDB90", "sapstartsrv");
  const std::string environment = read_file("/proc/" + std::to_string(service) + "/environ");
  EXPECT_THAT(environment, HasSubstr("TINSTANCE=07"));
  EXPECT_THAT(environment, Not(HasSubstr("USER=")));

  host.stop("HXE", "HDB90", "sapstartsrv");
  EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(service)));
  EXPECT_NE(host.start("HXE", "HDB90", "sapstartsrv"), service);
}

TEST(Sandbox, a_description_that_cannot_be_used_is_refused_with_its_line) {
  const struct {
    const char* description;
    const char* complaint;
  } cases[] = {
      {"host a\nsystem HXE {\n instance 90\n tenent X\n}", "line 4: unknown key 'tenent'; possible here: ini, "},
      {"system HXE {\n instance 90 { running maybe }\n}", "line 2: 'running' has to be yes or no"},
      {"system HXE {\n instance 9\n}", "line 2: 'instance 9' is not a name of the form [0-9][0-9]"},
      {"host a\nsystem HXE { }", "line 2: system HXE has no instance"},
      {"host a\n\nsystem HXE {", "line 3: unmatched {"},
      {"system HXE { mode many instance 00 }", "line 1: 'mode' has to be multi or single"},
      {"system HXE {\n instance 00\n}\nsystem ABC {\n instance 00\n}", "line 2: instance number 00 is taken"},
  };
  for (const auto& c : cases) {
    try {
      sandbox::parse_description(c.description);
      ADD_FAILURE() << "accepted: " << c.description;
    } catch (const sandbox::Description_Error& error) {
      EXPECT_THAT(error.what(), HasSubstr(c.complaint));
    }
  }
}

TEST(Sandbox, hdb_stops_and_starts_the_servers_and_leaves_the_start_service) {
  Host host;
  const pid_t service = host.pid("HXE", "HDB90", "sapstartsrv");

  const Result stopped = hdb("stop");
  EXPECT_EQ(stopped.status, 0);
  EXPECT_THAT(stopped.output, StartsWith("hdbdaemon will wait maximal 300 seconds for NewDB services finishing.\n"));
  EXPECT_FALSE(listens(39013));
  EXPECT_EQ(host.pid("HXE", "HDB90", "hdbindexserver"), 0);
  EXPECT_EQ(host.pid("HXE", "HDB90", "sapstartsrv"), service);

  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(hdb("start >/usr/sap/.sandbox/HXE/out 2>&1").status, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  EXPECT_TRUE(listens(39013));
  const std::string proc = "/proc/" + std::to_string(host.pid("HXE", "HDB90", "hdbindexserver"));
  EXPECT_EQ(owner_of(proc), sandbox::second_user_available() ? "hxeadm" : "root");
  EXPECT_EQ(std::filesystem::read_symlink(proc + "/fd/1"), "/usr/sap/.sandbox/HXE/out");
  EXPECT_THAT(read_file("/usr/sap/.sandbox/HXE/out"), HasSubstr("\nStartWait\nOK\n"));

  const std::string who = sandbox::second_user_available() ? "uid=60001 gid=79 groups=79 60000 " : "uid=0 gid=0 ";
  EXPECT_THAT(host.take_hdb_runs("HXE", "HDB90"),
              ElementsAre(AllOf(StartsWith(who), HasSubstr("LD_LIBRARY_PATH=/x HDB_START_TIMEOUT= HDB_STOP_TIMEOUT=7 "
                                                           "arguments=stop")),
                          HasSubstr("arguments=start")));
}

TEST(Sandbox, hdb_fails_when_told_to) {
  Host host;

  host.fail_hdb("HXE", "HDB90", "Timeout");
  const Result failed = hdb("stop");
  EXPECT_NE(failed.status, 0);
  EXPECT_THAT(failed.output, HasSubstr("\nWaitforStopped\nFAIL: Timeout\n"));
  EXPECT_TRUE(listens(39013));

  host.fail_hdb("HXE", "HDB90", "");
  EXPECT_EQ(hdb("stop").status, 0);
}

TEST(Sandbox, hdbsql_prints_in_the_true_shape) {
  const Host host;

  const struct {
    const char* statement;
    const char* output;
  } cases[] = {
      {"select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES where ACTIVE_STATUS = 'NO'",
       "DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS\n\"TEN2\",\"Archive\",\"NO\"\n\n1 row selected"},
      {"select 1 as a, 1.5 as b, null as c, '' as d, 'x\\\"y,z' as e from dummy",
       "A,B,C,D,E\n1,1.5,?,\"\",\"x\\\"y,z\"\n\n1 row selected"},
      {"SELECT SCHEMA_NAME FROM SCHEMAS WHERE SCHEMA_NAME = 'SALES'", "SCHEMA_NAME\n\n0 rows selected"},
  };
  for (const auto& c : cases) {
    const Result result = sql(c.statement);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(rows(result), c.output);
  }
  EXPECT_EQ(rows(sql("SELECT SCHEMA_NAME FROM SCHEMAS", "-p Manager1 -d TEN1 -n hxehost:39013")),
            "SCHEMA_NAME\n\"SALES\"\n\n1 row selected");
}

TEST(Sandbox, hdbsql_keeps_the_effect_of_what_it_runs_and_counts_it) {
  Host host;
  const std::string stop = "ALTER SYSTEM STOP DATABASE TEN1";
  const std::string alter =
      "ALTER SYSTEM ALTER CONFIGURATION ('global.ini', 'SYSTEM') SET ('persistence', 'log_mode') = 'overwrite' "
      "WITH RECONFIGURE";
  const std::string tenant = "select ACTIVE_STATUS from M_DATABASES where DATABASE_NAME = 'TEN1'";
  const std::string mode = "SELECT VALUE from M_INIFILE_CONTENTS where key = 'log_mode' and LAYER_NAME = 'SYSTEM'";

  EXPECT_EQ(rows(sql(stop)), "0 rows affected");
  EXPECT_EQ(rows(sql(tenant)), "ACTIVE_STATUS\n\"NO\"\n\n1 row selected");
  EXPECT_EQ(sql("select 1 from dummy", "-p Manager1 -d TEN1 -n hxehost:39013").status, 3);
  EXPECT_EQ(rows(sql(alter)), "0 rows affected");
  EXPECT_EQ(rows(sql(mode)), "VALUE\n\"overwrite\"\n\n1 row selected");

  EXPECT_THAT(host.take_statements("HXE"), ElementsAre(stop, tenant, alter, mode));
  EXPECT_THAT(host.take_statements("HXE"), ElementsAre());
}

TEST(Sandbox, hdbsql_fails_as_the_true_one) {
  Host host;

  const struct {
    const char* options;
    const char* statement;
    const char* error;
  } cases[] = {
      {"-p wrong -n hxehost:39013", "x", "* 10: authentication failed SQLSTATE: 28000\n"},
      {"-p Manager1 -n hxehost:39099", "x",
       "* -10709: Connection failed (RTE:[89006] System call 'connect' failed, rc=111:Connection refused "
       "(127.0.0.1:39099))\n"},
      {"-p Manager1 -n hxehost:39013", "select * from nope", "* 259: invalid table name: "},
      {"-p Manager1 -n hxehost:39013 -d NOPE", "x", "* -10709: Connection failed"},
  };
  for (const auto& c : cases) {
    const Result result = sql(c.statement, c.options);
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, StartsWith(c.error));
  }

  host.stop("HXE", "HDB90", "hdbindexserver");
  EXPECT_THAT(sql("select 1 from dummy").output, HasSubstr("Connection refused"));
}

TEST(Sandbox, a_program_can_be_overridden) {
  const Host host;
  const std::string path = "/usr/sap/HXE/HDB90/exe/hdbsql.override";
  std::ofstream(path) << "#!/bin/sh\necho before\nSANDBOX_NO_OVERRIDE=1 exec ${0%.override} \"$@\"\n";
  ASSERT_EQ(::chmod(path.c_str(), 0755), 0);

  EXPECT_THAT(sql("select 1 as one from dummy").output, StartsWith("before\nONE\n1\n"));
}

}  // namespace
