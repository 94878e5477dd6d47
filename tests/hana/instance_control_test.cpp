#include "hana/common/instance_control.h"

#include <pwd.h>

#include "sandbox/host.h"
#include "tests/support/test.h"

namespace {

using sap_hana::Instance_Controller;

constexpr auto RUNNING = Instance_Controller::INSTANCE_STATE_RUNNING;
constexpr auto STOPPED = Instance_Controller::INSTANCE_STATE_STOPPED;

class InstanceControl : public testing::Test {
 protected:
  // The last reason told at LM_DEBUG.
  std::string reason() { return log_.take_debug().back(); }

  test::Log_Capture log_;
  const Instance_Controller controller_{"HXE"};
};

TEST_F(InstanceControl, every_action_is_the_scripts_as_the_administrator) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  sandbox::Host host("system HXE { instance 90 }");
  ::setenv("LD_LIBRARY_PATH", "/callers/own", 1);
  const std::string as_administrator =
      "uid=" + std::to_string(::getpwnam("hxeadm")->pw_uid) +
      " gid=79 groups=79 78 60000 LD_LIBRARY_PATH=/usr/sap/HXE/HDB90/exe HDB_START_TIMEOUT=86400 "
      "HDB_STOP_TIMEOUT=86400 arguments=";
  const std::pair<bool (Instance_Controller::*)(const std::string&) const, std::string> actions[] = {
      {&Instance_Controller::stop, "stop"},
      {&Instance_Controller::start, "start"},
      {&Instance_Controller::restart, "restart"}};
  for (const bool fails : {false, true}) {
    host.fail_hdb("HXE", "HDB90", fails ? "Timeout" : "");
    for (const auto& [act, word] : actions) {
      EXPECT_EQ((controller_.*act)("HDB90"), !fails);
      EXPECT_EQ(host.take_hdb_runs("HXE", "HDB90"), std::vector<std::string>{as_administrator + word});
      if (!fails) continue;
      log_.expect_error("Failed to " + word + " HXE instance HDB90\n");
      EXPECT_EQ(reason(), "'/usr/sap/HXE/HDB90/HDB' exited with status 1\n");
    }
  }
  ::unsetenv("LD_LIBRARY_PATH");
}

TEST_F(InstanceControl, without_a_start_service_or_a_user_no_script_runs) {
  const sandbox::Host host("system HXE { instance 90 { start_service no } }");
  EXPECT_FALSE(controller_.start("HDB90"));
  log_.expect_error("Failed to get HXE HDB90 instance env\n");
  log_.expect_error("Failed to start HXE instance HDB90\n");
  EXPECT_EQ(reason().find("'/HDB' cannot be started: "), 0U);

  const test::Child service("/usr/sap/QQQ/HDB90/exe/sapstartsrv", {}, {"TINSTANCE=90"});
  EXPECT_FALSE(Instance_Controller("QQQ").stop("HDB90"));
  log_.expect_error("Failed to stop QQQ instance HDB90\n");
  EXPECT_EQ(reason(), "child cannot be started: user 'qqqadm' cannot be looked up\n");
}

TEST_F(InstanceControl, the_state_is_that_of_the_index_server_and_no_instance_has_one) {
  sandbox::Host host("system HXE { mode single instance 90 { running no } }");
  auto state = RUNNING;
  host.start("HXE", "HDB90", "hdbnameserver");
  EXPECT_TRUE(controller_.get_state(std::string("HDB90"), state));
  EXPECT_EQ(state, STOPPED);
  host.start("HXE", "HDB90", "hdbindexserver");
  EXPECT_TRUE(controller_.get_state(std::string("HDB90"), state));
  EXPECT_EQ(state, RUNNING);

  EXPECT_FALSE(controller_.get_state(std::string("HDB0"), state));
  EXPECT_EQ(state, RUNNING);
  EXPECT_FALSE(controller_.get_state(std::uint16_t{91}, state));
  EXPECT_EQ(state, STOPPED);
  EXPECT_FALSE(controller_.get_state(std::uint16_t{100}, state));
  log_.expect_error("Failed to get HXE 100 service info: failed to generate instance name\n");
  EXPECT_FALSE(Instance_Controller("(").get_state(std::uint16_t{90}, state));
  log_.expect_error("Failed to get ( HDB90 service info\n");
}

TEST_F(InstanceControl, the_directory_is_the_first_services_own_or_the_usual_one) {
  // What is found without a default, empty for nothing, and with it.
  const std::tuple<const char*, std::string, const char*, uid_t> cases[] = {
      {"DIR_INSTANCE=/hana/HDB77", "/hana/HDB77", "/hana/HDB77", ::geteuid()},
      {"TINSTANCE=77", "", "/usr/sap/QQQ/HDB77", ::geteuid()},
      {"DIR_INSTANCE=/hana/none", "", "/usr/sap/QQQ/HDB77", ::geteuid()},
      {"DIR_INSTANCE=/tmp/HDB77", "/tmp/HDB77", "/tmp/HDB77", 65534}};
  for (const auto& [variable, live, with_default, user] : cases) {
    if (user != ::geteuid() && !sandbox::second_user_available()) continue;
    const test::Child service("/usr/sap/QQQ/HDB77/exe/sapstartsrv", {}, {variable}, user);
    std::string dir = "before";
    EXPECT_TRUE(Instance_Controller("QQQ").get_instance_dir("HDB77", dir, true)) << variable;
    EXPECT_EQ(dir, with_default) << variable;
    EXPECT_EQ(Instance_Controller("QQQ").get_instance_dir("HDB77", dir, false), !live.empty()) << variable;
    EXPECT_EQ(dir, live) << variable;
  }
  for (const char* lookup : {"instance number", "instance number", "QQQ HDB77 instance dir"})
    log_.expect_error(std::string("Failed to get ") + lookup + "\n");
}

TEST_F(InstanceControl, a_pretenders_script_is_not_run) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  const test::Child pretender("/usr/sap/HXE/HDB90/exe/sapstartsrv", {},
                              {"SAPSYSTEMNAME=HXE", "TINSTANCE=90", "DIR_INSTANCE=/tmp"}, 65534);
  sandbox::Host host("system HXE { instance 90 }");
  EXPECT_TRUE(controller_.stop("HDB90"));
  EXPECT_EQ(host.take_hdb_runs("HXE", "HDB90").size(), 1U);
  host.stop("HXE", "HDB90", "sapstartsrv");
  EXPECT_TRUE(controller_.stop("HDB90")) << "by the usual directory";
}

}  // namespace
