#include "hana/common/list_instances.h"

#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include "sandbox/host.h"
#include "tests/support/test.h"

namespace {

namespace fs = std::filesystem;
using namespace sap_hana;
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
  const std::pair<const char*, Records> cases[] = {
      {"system HXE { instance 00 instance 01 { running no } } application S4P { instance ASCS01 }",
       {"HXE HDB00 " + VERSION, "HXE HDB01 " + VERSION}},
      {"system HXE { instance 90 { systemd yes version 1.00.122.05 old_version_format yes } }",
       {"HXE HDB90 1.00.122.05"}},
      {"system HXE { instance 00 { environment { TINSTANCE 100 } }  instance 01 { unset SAPSYSTEMNAME }"
       "  instance 02 { environment { HOSTNAME \"\" } }  instance 03 { unset TINSTANCE } }",
       {"HXE HDB03 " + VERSION}},
  };
  for (const auto& [description, records] : cases) {
    const sandbox::Host host(description);
    EXPECT_EQ(list(), records) << description;
  }

  const sandbox::Host host("system HXE { instance 00 { start_service no } } application S4P { instance ASCS01 }");
  System_Instance_Info_List infos(1);
  EXPECT_FALSE(System_Instance_Lister().list(infos));  // in silence
  EXPECT_FALSE(System_Instance_Lister().list(infos.front(), "HXE", "HDB00"));
  EXPECT_EQ(infos.size(), 1U);
}

TEST_F(SystemInstanceLister, services_whose_environment_cannot_be_read_are_passed_over) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  const sandbox::Host host;

  EXPECT_TRUE(test::in_own_process([&] { return ::setuid(1) == 0 && list().empty() && log_.take().size() == 2; }));
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
      {"version: ${#LD_LIBRARY_PATH}", "22"},  // the executables' directory
      {"version: 1\nversion: none", ""},
  };
  for (const auto& [output, version] : cases) {
    std::ofstream(tool) << "#!/bin/sh\ncat <<E\n" << output << "\nE\n";
    EXPECT_EQ(list(), (Records{"ABC HDB00 ", "HXE HDB90 " + version}));
    log_.expect_error("Failed to get HANA version: executable dir is empty\n");
  }
  fs::remove(tool);
  EXPECT_EQ(list(), (Records{"ABC HDB00 ", "HXE HDB90 "}));
  EXPECT_EQ(log_.take().size(), 2U);
}

TEST_F(SystemInstanceLister, a_believed_service_takes_the_place_of_another_and_the_order_stays) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  const std::vector<std::string> of_abc{"SAPSYSTEMNAME=ABC", "HOSTNAME=h", "TINSTANCE=1"};
  const std::vector<std::string> of_qqq{"SAPSYSTEMNAME=QQQ", "HOSTNAME=h", "TINSTANCE=2"};
  const test::Child zeroth("/usr/sap/QQQ/HDB02/exe/sapstartsrv", {}, of_qqq, 65534);
  const test::Child first("/usr/sap/HXE/HDB90/exe/sapstartsrv", {},
                          {"SAPSYSTEMNAME=HXE", "HOSTNAME=h", "TINSTANCE=90", "DIR_EXECUTABLE=/tmp"}, 65534);
  const test::Child second("/usr/sap/ABC/HDB01/exe/sapstartsrv", {}, of_abc, 65534);
  const sandbox::Host host("system HXE { instance 90 }");
  System_Instance_Info_List infos;
  EXPECT_TRUE(System_Instance_Lister().list(infos));
  ASSERT_EQ(infos.size(), 3U);
  EXPECT_EQ(infos.front().system_info.sid, "QQQ");
  EXPECT_EQ(std::next(infos.begin())->dir_executable, "/usr/sap/HXE/HDB90/exe");
  EXPECT_EQ(infos.back().system_info.sid, "ABC");
  log_.take();
}

// What a start service is to be: run by the host's root, the administrator or a stranger, in one way or another.
struct Service {
  const char* what;
  const char* sid;
  bool (*become)();     // in its process, before its program runs
  const char* script;   // what it does then
  const char* version;  // as whom its version tool is run; empty for not at all
};

constexpr const char* STILL = "kill -STOP $$; kill -STOP $$";

const Service services[] = {
    {"root's", "HXE", [] { return true; }, STILL, "0"},
    {"the administrator's", "HXE", [] { return ::setuid(60001) == 0; }, STILL, "60001"},
    {"root's with the administrator's rights", "HXE", [] { return ::setreuid(0, 60001) == 0; }, STILL, "60001"},
    {"a stranger's", "HXE", [] { return ::setuid(65534) == 0; }, STILL, ""},
    {"a stranger's with root's rights", "HXE", [] { return ::setreuid(65534, 0) == 0; }, STILL, ""},
    {"an unknown administrator's", "QQQ", [] { return ::setuid(60777) == 0; }, STILL, ""},
    {"one with a private /tmp", "HXE",
     [] { return test::in_own_mounts() && ::mount("tmpfs", "/tmp", "tmpfs", 0, nullptr) == 0; }, STILL, "0"},
    {"a container's with another /usr/sap", "HXE",
     [] { return test::in_own_mounts() && ::mount("/usr/sap/other", "/usr/sap/HXE", nullptr, MS_BIND, nullptr) == 0; },
     STILL, ""},
    {"a container's whose link leads here if it is followed from here", "HXE",
     [] {
       return test::in_own_mounts() && ::mount("tmpfs", "/usr/sap", "tmpfs", 0, nullptr) == 0 &&
              ::symlink("/usr/sap/HXE", "/usr/sap/HXE") == 0;
     },
     STILL, ""},
    {"a busy one", "HXE", [] { return ::setuid(60001) == 0; },
     "trap : CONT; kill -STOP $$; while :; do printf -v x %20000000s; x=; read -rt 0.05 <>/tmp/pause; done", "60001"},
};

std::unique_ptr<test::Child> run(const Service& service) {
  auto process = std::make_unique<test::Child>([&service] {
    const std::string sid = std::string("SAPSYSTEMNAME=") + service.sid;
    const char* const environment[] = {"HOSTNAME=h", "TINSTANCE=90", sid.c_str(),
                                       "DIR_EXECUTABLE=/usr/sap/HXE/HDB90/exe", nullptr};
    if (!service.become()) return;
    ::execle("/bin/bash", "/usr/sap/HXE/HDB90/exe/sapstartsrv", "-pc", service.script, nullptr, environment);
  });
  process->go_on();
  return process;
}

class StartServices : public SystemInstanceLister {
 protected:
  void SetUp() override {
    if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
    std::ofstream(TOOL) << "#!/bin/sh\nid -u >>/tmp/runs\necho version: $(id -u)\n";
    std::ofstream("/tmp/runs");
    fs::permissions("/tmp/runs", fs::perms(0666));
    fs::create_directories("/usr/sap/other/HDB90/exe");
    ::mkfifo("/tmp/pause", 0666);
    fs::permissions("/tmp/pause", fs::perms(0666));
  }

  // Expects just this version, whose tool has run if there is one.
  void expect_version(const Service& service) {
    std::ofstream("/tmp/runs");
    EXPECT_EQ(list(), Records{std::string(service.sid) + " HDB90 " + service.version}) << service.what;
    EXPECT_EQ(fs::file_size("/tmp/runs") == 0, *service.version == '\0') << service.what;
    if (*service.version == '\0') log_.expect_error("Failed to get HANA version\n");
  }

  static constexpr const char* TOOL = "/usr/sap/HXE/HDB90/exe/hdbsrvutil";
  const sandbox::Host host_{"system HXE { instance 90 { start_service no running no } }"};
};

TEST_F(StartServices, what_one_names_is_run_for_a_believed_one_as_its_user) {
  for (const Service& service : services) {
    const auto process = run(service);
    for (int round = 0; round < (service.script == STILL ? 1 : 30); ++round)
      expect_version(service);
  }
}

TEST_F(StartServices, what_runs_for_a_caller_that_is_not_root) {
  const auto as_stranger = [] { return ::setuid(65534) == 0; };
  const auto with_capabilities = [] {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[2];
    if (::prctl(PR_SET_KEEPCAPS, 1) != 0 || ::setuid(60777) != 0) return false;
    if (::syscall(SYS_capget, &header, sets) != 0) return false;
    for (auto& set : sets)
      set.effective = set.permitted;
    return ::syscall(SYS_capset, &header, sets) == 0;
  };
  const auto expect_for = [this](const Service& caller) {
    EXPECT_TRUE(test::in_own_process([&] {
      if (!caller.become()) return false;
      expect_version(caller);
      return true;
    })) << caller.what;
  };
  const Service his_own{"his own", "HXE", as_stranger, STILL, "65534"};
  const auto strangers = run(his_own);
  expect_for(his_own);
  expect_for({"a stranger's", "HXE", with_capabilities, "", ""});
  const auto roots = run(services[0]);
  expect_for({"root's", "HXE", with_capabilities, "", "0"});
}

}  // namespace
