#include "hana/common/instance_control.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include "sandbox/host.h"
#include "tests/support/child.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_directory.h"

namespace {

using sap_hana::Instance_Controller;

constexpr auto UNKNOWN = Instance_Controller::INSTANCE_STATE_UNKNOWN;
constexpr auto RUNNING = Instance_Controller::INSTANCE_STATE_RUNNING;
constexpr auto STOPPED = Instance_Controller::INSTANCE_STATE_STOPPED;

const std::string SERVERS[] = {"hdbdaemon", "hdbnameserver", "hdbpreprocessor", "hdbcompileserver", "hdbindexserver"};

std::string all_of(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts)
    all += text;
  return all;
}

// What the HDB script of HXE saw, whoever called it.
std::string expected_run(const std::string& word) {
  return "uid=" + std::to_string(::getpwnam("hxeadm")->pw_uid) +
         " gid=79 groups=79 60000 LD_LIBRARY_PATH=/usr/sap/HXE/HDB90/exe HDB_START_TIMEOUT=86400 "
         "HDB_STOP_TIMEOUT=86400 arguments=" +
         word;
}

class InstanceControl : public testing::Test {
 protected:
  Instance_Controller::Instance_State state() const {
    Instance_Controller::Instance_State by_name = UNKNOWN;
    Instance_Controller::Instance_State by_number = UNKNOWN;
    EXPECT_TRUE(controller_.get_state(std::string("HDB90"), by_name));
    EXPECT_TRUE(controller_.get_state(std::uint16_t{90}, by_number));
    EXPECT_EQ(by_name, by_number);
    return by_name;
  }

  test::Log_Capture log_;
  const Instance_Controller controller_{"HXE"};
};

// Runs the HDB script, which takes a user that a sandbox entered without root does not have.
class InstanceAction : public InstanceControl {
 protected:
  void SetUp() override {
    if (!sandbox::second_user_available()) GTEST_SKIP() << "needs a second user";
  }
};

TEST_F(InstanceAction, an_instance_goes_from_running_to_stopped_and_back) {
  sandbox::Host host("system HXE { instance 90 }");
  ::setenv("LD_LIBRARY_PATH", "/callers/own", 1);
  EXPECT_EQ(state(), RUNNING);
  const pid_t service = host.pid("HXE", "HDB90", "sapstartsrv");

  EXPECT_TRUE(controller_.stop("HDB90"));
  EXPECT_EQ(state(), STOPPED);
  for (const std::string& server : SERVERS)
    EXPECT_EQ(host.pid("HXE", "HDB90", server), 0) << server;

  EXPECT_TRUE(controller_.start("HDB90"));
  EXPECT_EQ(state(), RUNNING);
  const pid_t first = host.pid("HXE", "HDB90", "hdbindexserver");

  EXPECT_TRUE(controller_.restart("HDB90"));
  EXPECT_EQ(state(), RUNNING);
  EXPECT_NE(host.pid("HXE", "HDB90", "hdbindexserver"), first);

  EXPECT_EQ(host.pid("HXE", "HDB90", "sapstartsrv"), service);
  EXPECT_EQ(host.take_hdb_runs("HXE", "HDB90"),
            (std::vector<std::string>{expected_run("stop"), expected_run("start"), expected_run("restart")}));
  ::unsetenv("LD_LIBRARY_PATH");
}

// A start leaves daemons that hold what the script had open. The caller comes back at once, and they outlive it.
TEST_F(InstanceAction, daemons_neither_hold_the_caller_up_nor_end_with_it) {
  const sandbox::Host host("system HXE { instance 90 { running no } }");
  const auto begin = std::chrono::steady_clock::now();
  const pid_t caller = ::fork();
  if (caller == 0) ::_exit(controller_.start("HDB90") ? 0 : 1);
  int status = -1;
  ASSERT_EQ(::waitpid(caller, &status, 0), caller);

  EXPECT_EQ(status, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
  EXPECT_EQ(state(), RUNNING);
  for (const std::string& server : SERVERS)
    EXPECT_NE(host.pid("HXE", "HDB90", server), 0) << server;
}

TEST_F(InstanceAction, a_script_that_fails_fails_the_call_and_is_named) {
  sandbox::Host host("system HXE { instance 90 }");
  host.fail_hdb("HXE", "HDB90", "Timeout");
  const struct {
    bool (Instance_Controller::*action)(const std::string&) const;
    const char* word;
  } cases[] = {{&Instance_Controller::stop, "stop"},
               {&Instance_Controller::start, "start"},
               {&Instance_Controller::restart, "restart"}};
  for (const auto& c : cases) {
    EXPECT_FALSE((controller_.*c.action)("HDB90"));
    log_.expect_error(std::string("Failed to ") + c.word + " HXE instance HDB90\n");
    EXPECT_EQ(all_of(log_.take_debug()), "'/usr/sap/HXE/HDB90/HDB' exited with status 1\n");
  }
  EXPECT_EQ(state(), RUNNING);
}

TEST_F(InstanceControl, a_user_that_does_not_exist_runs_no_script) {
  sandbox::Host host("system HXE { instance 90 }");
  // Its command line is that of an instance of a system without a user.
  const test::Child service("/usr/sap/QQQ/HDB90/exe/sapstartsrv", {},
                            {"TINSTANCE=90", "DIR_INSTANCE=/usr/sap/HXE/HDB90"});

  EXPECT_FALSE(Instance_Controller("QQQ").stop("HDB90"));

  log_.expect_error("Failed to stop QQQ instance HDB90\n");
  EXPECT_EQ(all_of(log_.take_debug()), "child cannot be started: user 'qqqadm' cannot be looked up\n");
  EXPECT_TRUE(host.take_hdb_runs("HXE", "HDB90").empty());
}

TEST_F(InstanceAction, a_caller_without_the_right_to_switch_runs_no_script) {
  sandbox::Host host("system HXE { instance 90 }");
  const test::Temporary_Directory files;
  const std::string result = files / "result";
  const pid_t caller = ::fork();
  if (caller == 0) {
    std::ofstream out(result);
    if (::setregid(60999, 60999) != 0 || ::setreuid(60999, 60999) != 0) ::_exit(1);
    out << (controller_.stop("HDB90") ? "true\n" : "false\n");
    for (const test::Logged& record : log_.take())
      out << record.text;
    out << all_of(log_.take_debug()) << std::flush;
    ::_exit(0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(caller, &status, 0), caller);
  ASSERT_EQ(status, 0);

  std::ifstream in(result);
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  // The start service is another user's, so the default directory serves.
  EXPECT_NE(text.find("false\nFailed to open '/proc/"), std::string::npos) << text;
  EXPECT_NE(text.find("Failed to stop HXE instance HDB90\n"), std::string::npos) << text;
  EXPECT_NE(text.find("'/usr/sap/HXE/HDB90/HDB' cannot be started: Operation not permitted\n"), std::string::npos)
      << text;
  EXPECT_TRUE(host.take_hdb_runs("HXE", "HDB90").empty());
  EXPECT_EQ(state(), RUNNING);
}

TEST_F(InstanceControl, without_a_start_service_an_instance_is_stopped_and_cannot_be_found) {
  sandbox::Host host("system HXE { instance 90 { start_service no } }");
  Instance_Controller::Instance_State found = RUNNING;
  EXPECT_FALSE(controller_.get_state(std::uint16_t{90}, found));
  EXPECT_EQ(found, STOPPED);

  for (const bool use_default : {false, true}) {
    std::string dir = "before";
    EXPECT_FALSE(controller_.get_instance_dir("HDB90", dir, use_default));
    EXPECT_EQ(dir, "");
    log_.expect_error("Failed to get HXE HDB90 instance env\n");
  }
  EXPECT_FALSE(controller_.start("HDB90"));
  log_.expect_error("Failed to get HXE HDB90 instance env\n");
  log_.expect_error("Failed to start HXE instance HDB90\n");
  EXPECT_EQ(all_of(log_.take_debug()), "'/HDB' cannot be started: No such file or directory\n");
  EXPECT_TRUE(host.take_hdb_runs("HXE", "HDB90").empty());
}

TEST_F(InstanceControl, the_state_is_that_of_the_index_server_of_the_systems_kind) {
  const struct {
    const char* description;
    const char* server;  // the one program that is started
    Instance_Controller::Instance_State state;
  } cases[] = {
      {"system HXE { instance 90 { running no } }", "hdbindexserver", RUNNING},
      {"system HXE { instance 90 { running no } }", "hdbnameserver", STOPPED},
      {"system HXE { mode single instance 90 { running no } }", "hdbindexserver", RUNNING},
      {"system HXE { instance 90 { running no } ini global.ini { multidb { mode x } } }", "hdbindexserver", STOPPED},
  };
  for (const auto& c : cases) {
    sandbox::Host host(c.description);
    host.start("HXE", "HDB90", c.server);
    EXPECT_EQ(state(), c.state) << c.description << c.server;
  }
}

TEST_F(InstanceControl, what_is_no_instance_has_no_state) {
  const struct {
    const char* name;
    Instance_Controller::Instance_State state;  // afterwards
  } cases[] = {{"HDB0", RUNNING}, {"XYZ00", RUNNING}, {"", RUNNING}, {"HDB90 ", RUNNING}, {"HDBxx", STOPPED}};
  for (const auto& c : cases) {
    auto found = RUNNING;
    EXPECT_FALSE(controller_.get_state(std::string(c.name), found)) << c.name;
    EXPECT_EQ(found, c.state) << c.name;
  }
  auto found = RUNNING;
  EXPECT_FALSE(controller_.get_state(std::uint16_t{100}, found));
  EXPECT_EQ(found, STOPPED);
  log_.expect_error("Failed to get HXE 100 service info: failed to generate instance name\n");

  const Instance_Controller broken("(");
  std::list<platform::Service_Info> services(1);
  EXPECT_FALSE(broken.get_instance_services("HDB90", services));
  EXPECT_EQ(services.size(), 1u);
  log_.expect_error("Failed to get ( HDB90 service info\n");
  EXPECT_FALSE(broken.stop("HDB90"));
  log_.expect_error("Failed to get ( HDB90 service info\n");
  log_.expect_error("Failed to get ( HDB90 instance env\n");
  log_.expect_error("Failed to stop ( instance HDB90\n");
}

TEST_F(InstanceControl, the_directory_is_the_environments_or_the_usual_one) {
  const struct {
    const char* environment;
    const char* live;      // without the default; empty for none
    const char* fallback;  // with it
    const char* message;
  } cases[] = {
      {"DIR_INSTANCE=/hana/HDB77", "/hana/HDB77", "/hana/HDB77", ""},
      {"TINSTANCE=77", "", "/usr/sap/QQQ/HDB77", ""},
      {"DIR_INSTANCE=/hana/none", "", "/usr/sap/QQQ/HDB77", "Failed to get instance number\n"},
  };
  const Instance_Controller controller("QQQ");
  for (const auto& c : cases) {
    const test::Child service("/usr/sap/QQQ/HDB77/exe/sapstartsrv", {"-D"}, {c.environment});
    std::string dir = "before";
    EXPECT_EQ(controller.get_instance_dir("HDB77", dir, false), *c.live != '\0') << c.environment;
    EXPECT_EQ(dir, c.live) << c.environment;
    if (*c.message != '\0') {
      log_.expect_error(c.message);
      log_.expect_error("Failed to get QQQ HDB77 instance dir\n");
    }
    EXPECT_TRUE(controller.get_instance_dir("HDB77", dir, true)) << c.environment;
    EXPECT_EQ(dir, c.fallback) << c.environment;
    if (*c.message != '\0') log_.expect_error(c.message);

    std::list<platform::Service_Info> services(1);
    EXPECT_TRUE(controller.get_instance_services(std::uint16_t{77}, services));
    EXPECT_EQ(services.size(), 2u);
    EXPECT_EQ(services.back().pid, service.pid());
    EXPECT_FALSE(Instance_Controller("qqq").get_instance_dir("HDB77", dir, true));
    log_.expect_error("Failed to get qqq HDB77 instance env\n");
  }
}

}  // namespace
