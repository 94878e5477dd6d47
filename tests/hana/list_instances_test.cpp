#include "hana/common/list_instances.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
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

class SystemInstanceLister : public testing::Test {
 protected:
  // "SID name version" of each record, in any order.
  std::multiset<std::string> list() const {
    System_Instance_Info_List infos;
    EXPECT_TRUE(System_Instance_Lister().list(infos));
    std::multiset<std::string> found;
    for (const System_Instance_Info& info : infos)
      found.insert(info.system_info.sid + " " + info.instance_name + " " + info.system_info.version);
    return found;
  }

  test::Log_Capture log_;
};

using Records = std::multiset<std::string>;
const std::string VERSION = " 2.00.071.00.1687900751";

TEST_F(SystemInstanceLister, the_default_host_has_two_systems_beside_what_is_not_hana) {
  const sandbox::Host host;
  System_Instance_Info_List infos(1);

  EXPECT_TRUE(System_Instance_Lister().list(infos));

  ASSERT_EQ(infos.size(), 3U);
  infos.sort([](const auto& a, const auto& b) { return a.system_info.sid < b.system_info.sid; });
  const System_Instance_Info& hxe = *std::next(infos.begin());
  EXPECT_EQ(hxe.system_info.sid, "HXE");
  EXPECT_EQ(hxe.system_info.localhost, "hxehost");
  EXPECT_EQ(hxe.system_info.version, "2.00.071.00.1687900751");
  EXPECT_FALSE(hxe.system_info.multi_container);
  EXPECT_EQ(hxe.instance_number, 90);
  EXPECT_EQ(hxe.instance_name, "HDB90");
  EXPECT_EQ(hxe.version, "");
  EXPECT_EQ(hxe.dir_executable, "/usr/sap/HXE/HDB90/exe");
  EXPECT_EQ(infos.back().system_info.sid, "S1P");
  EXPECT_EQ(infos.back().system_info.version, "1.00.122.05");
}

TEST_F(SystemInstanceLister, hosts_of_every_kind_are_listed_right) {
  const struct {
    const char* what;
    const char* host;
    Records records;
  } cases[] = {
      {"a system named HDB",
       "system HDB { instance 00 } system HXE { instance 90 }",
       {"HDB HDB00" + VERSION, "HXE HDB90" + VERSION}},
      {"two instances of one system",
       "system HXE { instance 00 instance 01 { running no } }",
       {"HXE HDB00" + VERSION, "HXE HDB01" + VERSION}},
      {"systemd's service", "system HXE { instance 90 { systemd yes } }", {"HXE HDB90" + VERSION}},
      {"a stopped service", "system HXE { instance 00 instance 01 { start_service no } }", {"HXE HDB00" + VERSION}},
      {"the number from the directory", "system HXE { instance 90 { unset TINSTANCE } }", {"HXE HDB90" + VERSION}},
      {"a number above 99", "system HXE { instance 90 { environment { TINSTANCE 100 } } }", {}},
      {"no SID", "system HXE { instance 90 { unset SAPSYSTEMNAME } }", {}},
      {"no host name", "system HXE { instance 90 { environment { HOSTNAME \"\" } } }", {}},
      {"two systems that say the same",
       "system HXE { instance 90 } system ABC { instance 91 { environment { SAPSYSTEMNAME HXE TINSTANCE 90 } } }",
       {"HXE HDB90" + VERSION}},
  };
  for (const auto& c : cases) {
    const sandbox::Host host(c.host);
    EXPECT_EQ(list(), c.records) << c.what;
  }
}

TEST_F(SystemInstanceLister, a_host_without_start_service_is_silently_false) {
  const sandbox::Host host("application S4P { instance ASCS01 }");
  System_Instance_Info_List infos;
  System_Instance_Info info;

  EXPECT_FALSE(System_Instance_Lister().list(infos));
  EXPECT_FALSE(System_Instance_Lister().list(info, "HXE", "HDB90"));

  EXPECT_TRUE(infos.empty());
}

TEST_F(SystemInstanceLister, one_instance_is_found_by_its_exact_sid_and_name) {
  const sandbox::Host host("system HXE { instance 90 instance 91 }");
  System_Instance_Info info;

  EXPECT_TRUE(System_Instance_Lister().list(info, "HXE", "HDB91"));
  EXPECT_EQ(info.instance_number, 91);

  for (const auto& [sid, name] : std::multimap<std::string, std::string>{
           {"HXE", "HDB92"}, {"hxe", "HDB90"}, {"HX", "HDB90"}, {"HXE", "hdb90"}, {"HXE", ""}, {"", "HDB90"}}) {
    EXPECT_FALSE(System_Instance_Lister().list(info, sid, name)) << sid << " " << name;
  }
  EXPECT_EQ(info.instance_number, 91);
}

// Lets `work` run in a child of another user; true if it was true there.
bool as_other_user(const std::function<bool()>& work) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(::setgid(1) == 0 && ::setuid(1) == 0 && work() ? 0 : 1);
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status == 0;
}

TEST_F(SystemInstanceLister, services_whose_environment_cannot_be_read_are_passed_over) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  const sandbox::Host host;

  EXPECT_TRUE(as_other_user([this] {
    System_Instance_Info_List infos;
    const bool ok = System_Instance_Lister().list(infos);
    return ok && infos.empty() && log_.take().size() == 2;
  }));
}

TEST_F(SystemInstanceLister, services_that_come_and_go_meanwhile_harm_nothing) {
  const sandbox::Host host("system HXE { instance 90 }");
  std::atomic<bool> stop{false};
  std::thread churn([&stop] {
    while (!stop)
      test::Child("/usr/sap/ABC/HDB01/exe/sapstartsrv", {}, {"SAPSYSTEMNAME=ABC", "TINSTANCE=1"});
  });

  for (int round = 0; round < 30; ++round)
    EXPECT_EQ(list(), (Records{"HXE HDB90" + VERSION}));
  stop = true;
  churn.join();

  for (const test::Logged& record : log_.take()) {
    EXPECT_TRUE(record.text.find("Failed to open '/proc/") == 0 || record.text == "Failed to get instance number\n")
        << record.text;
  }
}

TEST_F(SystemInstanceLister, the_version_is_that_of_the_last_line_that_has_one) {
  const sandbox::Host host("system HXE { instance 90 }");
  const std::string tool = "/usr/sap/HXE/HDB90/exe/hdbsrvutil";
  std::string complex;
  while (complex.size() < 40000)
    complex += "version";
  const struct {
    std::string output;
    const char* version;
  } cases[] = {
      {"HDB version info:\n  version:             2.00.071.00.1687900751\n  branch: x\n", "2.00.071.00.1687900751"},
      {"version: 1.00.122.05\n", "1.00.122.05"},
      {"version: 1\nx version:2.3-y", "2.3"},
      {"version: 1\nversion: none\n", ""},
      {complex + "\nversion: 4\n\n", "4"},
      {"", ""},
  };
  for (const auto& c : cases) {
    std::ofstream(tool, std::ios::trunc) << "#!/bin/sh\ncat <<'E'\n" << c.output << "\nE\n";
    EXPECT_EQ(list(), (Records{std::string("HXE HDB90 ") + c.version})) << c.output.substr(0, 80);
  }
}

std::string directory_of_a_tool_that_tells_its_user() {
  const std::string directory = "/usr/sap/false/HDB66/exe";
  fs::create_directories(directory);
  std::ofstream(directory + "/hdbsrvutil") << "#!/bin/sh\necho version: $(id -u)\n";
  fs::permissions(directory + "/hdbsrvutil", fs::perms(0755));
  return directory;
}

TEST_F(SystemInstanceLister, a_program_that_a_process_names_runs_with_no_more_rights_than_its_owner) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  const sandbox::Host host("system HXE { instance 90 }");
  const std::string directory = directory_of_a_tool_that_tells_its_user();
  const test::Child pretender(directory + "/sapstartsrv", {},
                              {"SAPSYSTEMNAME=ABC", "HOSTNAME=h", "TINSTANCE=66", "DIR_EXECUTABLE=" + directory},
                              65534);

  EXPECT_EQ(list(), (Records{"ABC HDB66 65534", "HXE HDB90" + VERSION}));
}

TEST_F(SystemInstanceLister, a_set_user_id_program_lends_its_rights_to_no_version_tool) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  const sandbox::Host host("system HXE { instance 90 }");
  const std::string directory = directory_of_a_tool_that_tells_its_user();
  const std::string program = directory + "/sapstartsrv";
  fs::copy_file("/bin/sleep", program);
  ASSERT_EQ(::chmod(program.c_str(), 04755), 0);
  const std::string dir_executable = "DIR_EXECUTABLE=" + directory;
  const char* const environment[] = {"SAPSYSTEMNAME=ABC", "HOSTNAME=h", "TINSTANCE=66", dir_executable.c_str(),
                                     nullptr};
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(1);
    ::execle(program.c_str(), program.c_str(), "60", nullptr, environment);
    ::_exit(1);
  }
  // The environment is in place last.
  std::string seen;
  while (seen.find(dir_executable) == std::string::npos) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/environ");
    seen.assign(std::istreambuf_iterator<char>(file), {});
  }

  EXPECT_EQ(list(), (Records{"ABC HDB66 ", "HXE HDB90" + VERSION}));

  log_.expect_error("Failed to get HANA version\n");
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

TEST_F(SystemInstanceLister, an_instance_without_version_is_listed_and_the_failure_told) {
  const sandbox::Host host("system HXE { instance 90 } system ABC { instance 00 { unset DIR_EXECUTABLE } }");
  fs::remove("/usr/sap/HXE/HDB90/exe/hdbsrvutil");

  EXPECT_EQ(list(), (Records{"ABC HDB00 ", "HXE HDB90 "}));

  std::multiset<std::string> texts;
  for (const test::Logged& record : log_.take())
    texts.insert(record.text);
  EXPECT_EQ(texts, (std::multiset<std::string>{"Failed to get HANA version\n",
                                               "Failed to get HANA version: executable dir is empty\n"}));
}

}  // namespace
