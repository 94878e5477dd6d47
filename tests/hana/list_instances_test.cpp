#include "hana/common/list_instances.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "sandbox/host.h"
#include "tests/support/child.h"
#include "tests/support/log_capture.h"

namespace {

namespace fs = std::filesystem;
using sap_hana::System_Instance_Info;
using sap_hana::System_Instance_Info_List;
using sap_hana::System_Instance_Lister;
using Records = std::multiset<std::string>;

const std::string VERSION = "2.00.071.00.1687900751";

class SystemInstanceLister : public testing::Test {
 protected:
  // "SID name version" of each record, in any order.
  Records list() const {
    System_Instance_Info_List infos;
    EXPECT_TRUE(System_Instance_Lister().list(infos));
    Records found;
    for (const System_Instance_Info& info : infos)
      found.insert(info.system_info.sid + " " + info.instance_name + " " + info.system_info.version);
    return found;
  }

  test::Log_Capture log_;
};

TEST_F(SystemInstanceLister, one_instance_is_found_by_its_exact_sid_and_name) {
  const sandbox::Host host;
  System_Instance_Info info{};
  EXPECT_TRUE(System_Instance_Lister().list(info, "HXE", "HDB90"));
  for (const auto& [sid, name] : {std::pair("HXE", "HDB02"), {"hxe", "HDB90"}, {"HX", "HDB90"}})
    EXPECT_FALSE(System_Instance_Lister().list(info, sid, name)) << sid << " " << name;

  EXPECT_EQ(info.system_info.sid + info.instance_name + info.system_info.version, "HXEHDB90" + VERSION);
  EXPECT_EQ(info.system_info.localhost + info.dir_executable, "hxehost/usr/sap/HXE/HDB90/exe");
  EXPECT_EQ(info.instance_number, 90);
}

TEST_F(SystemInstanceLister, hosts_of_every_kind_are_listed_right) {
  const struct {
    const char* host;
    Records records;
  } cases[] = {
      {"system HDB { instance 00 } application S4P { instance ASCS01 }", {"HDB HDB00 " + VERSION}},
      {"system HXE { instance 00 instance 01 { running no } }", {"HXE HDB00 " + VERSION, "HXE HDB01 " + VERSION}},
      {"system HXE { instance 90 { systemd yes version 1.00.122.05 old_version_format yes } }",
       {"HXE HDB90 1.00.122.05"}},
      {"system HXE { instance 00 { environment { TINSTANCE 100 } }  instance 01 { unset SAPSYSTEMNAME }"
       "  instance 02 { environment { HOSTNAME \"\" } }  instance 03 { unset TINSTANCE } }",
       {"HXE HDB03 " + VERSION}},
      {"system HXE { instance 90 } system ABC { instance 91 { environment { SAPSYSTEMNAME HXE TINSTANCE 90 } } }",
       {"HXE HDB90 " + VERSION}},
  };
  for (const auto& c : cases) {
    const sandbox::Host host(c.host);
    EXPECT_EQ(list(), c.records) << c.host;
  }

  const sandbox::Host host("system HXE { instance 00 { start_service no } } application S4P { instance ASCS01 }");
  System_Instance_Info_List infos(1);
  EXPECT_FALSE(System_Instance_Lister().list(infos));  // in silence
  EXPECT_EQ(infos.size(), 1U);
}

TEST_F(SystemInstanceLister, services_whose_environment_cannot_be_read_are_passed_over) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  const sandbox::Host host;

  const pid_t child = ::fork();
  if (child == 0) ::_exit(::setuid(1) == 0 && list().empty() && log_.take().size() == 2 ? 0 : 1);
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(SystemInstanceLister, services_that_come_and_go_meanwhile_harm_nothing) {
  const sandbox::Host host("system HXE { instance 90 }");
  std::atomic<bool> stop{false};
  std::thread churn([&stop] {
    while (!stop)
      test::Child("/usr/sap/ABC/HDB01/exe/sapstartsrv", {}, {"SAPSYSTEMNAME=ABC", "TINSTANCE=1"});
  });

  for (int round = 0; round < 30; ++round)
    EXPECT_EQ(list(), Records{"HXE HDB90 " + VERSION});
  stop = true;
  churn.join();
  log_.take();
}

TEST_F(SystemInstanceLister, the_version_is_that_of_the_last_line_that_has_one) {
  const sandbox::Host host("system HXE { instance 90 } system ABC { instance 00 { unset DIR_EXECUTABLE } }");
  const std::string tool = "/usr/sap/HXE/HDB90/exe/hdbsrvutil";
  const std::pair<std::string, std::string> cases[] = {
      {"version: 1\nx version:2.3-y\nbranch: z", "2.3"},
      {"version: 1\nversion: none", ""},
  };
  for (const auto& [output, version] : cases) {
    std::ofstream(tool) << "#!/bin/sh\ncat <<'E'\n" << output << "\nE\n";
    EXPECT_EQ(list(), (Records{"ABC HDB00 ", "HXE HDB90 " + version}));
    log_.expect_error("Failed to get HANA version: executable dir is empty\n");
  }
  fs::remove(tool);
  EXPECT_EQ(list(), (Records{"ABC HDB00 ", "HXE HDB90 "}));
  log_.expect_error("Failed to get HANA version\n");
  log_.take();
}

TEST_F(SystemInstanceLister, a_pretender_does_not_take_the_place_of_a_true_instance) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  const test::Child pretender("/usr/sap/HXE/HDB90/exe/sapstartsrv", {},
                              {"SAPSYSTEMNAME=HXE", "HOSTNAME=h", "TINSTANCE=90", "DIR_EXECUTABLE=/tmp"}, 65534);
  const sandbox::Host host("system HXE { instance 90 }");
  System_Instance_Info info{};
  EXPECT_TRUE(System_Instance_Lister().list(info, "HXE", "HDB90"));
  EXPECT_EQ(info.dir_executable, "/usr/sap/HXE/HDB90/exe");
}

TEST_F(SystemInstanceLister, a_version_tool_is_run_as_the_administrator_and_a_pretenders_is_not_run) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  const sandbox::Host host("system HXE { instance 90 }");
  const std::string directory = "/usr/sap/false/HDB66/exe";
  const std::string program = directory + "/sapstartsrv";
  const std::string dir_executable = "DIR_EXECUTABLE=" + directory;
  fs::create_directories(directory);
  fs::copy_file("/bin/bash", program);
  for (const std::string& tool : {directory + "/hdbsrvutil", std::string("/usr/sap/HXE/HDB90/exe/hdbsrvutil")}) {
    std::ofstream(tool) << "#!/bin/sh\n: >/tmp/has_begun\nsleep 0.3\necho version: $(id -u)\n";
    fs::permissions(tool, fs::perms(0755));
  }

  const struct {
    int mode;
    const char* script;
  } pretenders[] = {
      {0755, "sleep 60; :"},   // a stranger's
      {04755, "sleep 60; :"},  // root's by its file alone
      {04755, "until [ -e /tmp/has_begun ]; do sleep 0.01; done; exec setpriv --reuid=65534 sleep 60"},  // until then
  };
  for (const auto& c : pretenders) {
    fs::remove("/tmp/has_begun");
    fs::permissions(program, fs::perms(c.mode));
    const pid_t pretender = ::fork();
    if (pretender == 0) {
      ::execlp("setpriv", "setpriv", "--reuid=65534", "env", "-i", "SAPSYSTEMNAME=ABC", "HOSTNAME=h", "TINSTANCE=66",
               dir_executable.c_str(), program.c_str(), "-p", "-c", c.script, nullptr);
      ::_exit(127);
    }
    std::string seen;  // its environment, which is in place last
    while (seen.find(dir_executable) == std::string::npos && ::waitpid(pretender, nullptr, WNOHANG) == 0)
      std::ifstream("/proc/" + std::to_string(pretender) + "/environ") >> seen;
    EXPECT_EQ(list(), (Records{"ABC HDB66 ", "HXE HDB90 60001"})) << c.script;
    log_.expect_error("Failed to get HANA version\n");
    ::kill(pretender, SIGKILL);
    ::waitpid(pretender, nullptr, 0);
  }
}

}  // namespace
