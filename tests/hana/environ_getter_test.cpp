#include "hana/common/environ_getter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "hana/common/host_info_getter.h"
#include "sandbox/host.h"
#include "tests/support/child.h"
#include "tests/support/log_capture.h"

namespace {

namespace fs = std::filesystem;
using sap_hana::Environ_Getter;
using sap_hana::HANA_Env_Value;

const std::string SAPSERVICES = "/usr/sap/sapservices";
const std::string CONFIG = "/usr/sap/HXE/SYS/global/hdb/custom/config/";

void write(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

class EnvironGetter : public testing::Test {
 protected:
  Environ_Getter& getter() const { return *Environ_Getter::instance(); }

  test::Log_Capture log_;
};

HANA_Env_Value value_before() {
  HANA_Env_Value val;
  val.dir_executable = val.hostname = val.instance_dir = val.user = val.sid = "before";
  val.instance_number = 777;
  return val;
}

TEST_F(EnvironGetter, the_texts_of_an_environment_are_taken_as_they_are) {
  const std::string long_text(100000, 'x');
  const test::Child process("p", {},
                            {"USERNAME=no", "DIR_EXECUTABLE=" + long_text, "HOSTNAME=first", "HOSTNAME= a\nb=c ",
                             "DIR_INSTANCE=/usr/sap/HXE/HDB90", "USER=", "xSAPSYSTEMNAME=no", "TINSTANCE=07"});
  HANA_Env_Value val = value_before();

  EXPECT_TRUE(getter().get(process.pid(), val));

  EXPECT_EQ(val.dir_executable, long_text);
  EXPECT_EQ(val.hostname, " a\nb=c ");
  EXPECT_EQ(val.instance_dir, "/usr/sap/HXE/HDB90");
  EXPECT_EQ(val.user, "");
  EXPECT_EQ(val.sid, "before");
  EXPECT_EQ(val.instance_number, 7);
}

TEST_F(EnvironGetter, the_instance_number_has_its_variable_or_the_last_digits_of_the_directory) {
  constexpr std::uint16_t MISSING = 777;
  const struct {
    std::vector<std::string> environment;
    std::uint16_t number;
  } cases[] = {
      {{"TINSTANCE=07"}, 7},
      {{"TINSTANCE="}, 0},
      {{"TINSTANCE=12x"}, 12},
      {{"TINSTANCE=-1", "DIR_INSTANCE=/HDB12"}, 0},
      {{"TINSTANCE=70000"}, 65535},
      {{"TINSTANCE=1", "TINSTANCE=2"}, 2},
      {{"DIR_INSTANCE=/usr/sap/HDB/HDB12"}, 12},
      {{"DIR_INSTANCE=/HDB11/HDB12/HDBX3\nx"}, 12},
      {{"DIR_INSTANCE=/usr/sap/ABC/HDBX1"}, MISSING},
      {{"TINSTANC=1"}, MISSING},
      {{}, MISSING},
  };
  for (const auto& c : cases) {
    const test::Child process("p", {}, c.environment);
    HANA_Env_Value val = value_before();
    EXPECT_EQ(getter().get(process.pid(), val), c.number != MISSING) << testing::PrintToString(c.environment);
    EXPECT_EQ(val.instance_number, c.number) << testing::PrintToString(c.environment);
    if (c.number == MISSING) log_.expect_error("Failed to get instance number\n");
  }
}

TEST_F(EnvironGetter, a_process_that_is_not_there_is_named) {
  HANA_Env_Value val;
  pid_t gone = 0;
  {
    const test::Child process("p");
    gone = process.pid();
  }

  EXPECT_FALSE(getter().get(pid_t{0}, val));
  log_.expect_error("Failed to get HANA environment value: pid is 0\n");
  EXPECT_FALSE(getter().get(gone, val));
  log_.expect_error("Failed to open '/proc/" + std::to_string(gone) + "/environ'\n");
  EXPECT_FALSE(getter().get(pid_t{-1}, val));
  log_.expect_error("Failed to open '/proc/-1/environ'\n");
}

TEST_F(EnvironGetter, a_closed_instance_is_made_anew) {
  Environ_Getter::close_instance();
  Environ_Getter::close_instance();

  EXPECT_NE(Environ_Getter::instance(), nullptr);
  EXPECT_EQ(Environ_Getter::instance(), Environ_Getter::instance());
}

TEST_F(EnvironGetter, a_running_system_gives_its_environment_and_landscape_id) {
  const sandbox::Host host;
  HANA_Env_Value val;

  EXPECT_TRUE(getter().get("HXE", val));

  EXPECT_EQ(val.sid, "HXE");
  EXPECT_EQ(val.instance_number, 90);
  EXPECT_EQ(val.dir_executable, "/usr/sap/HXE/HDB90/exe");
  EXPECT_EQ(val.instance_dir, "/usr/sap/HXE/HDB90");
  EXPECT_EQ(val.hostname, "hxehost");
  EXPECT_EQ(val.user, "hxeadm");
  EXPECT_EQ(val.trace_dir, "");
  std::string id;
  EXPECT_TRUE(getter().get_landscape_id("HXE", id));
  EXPECT_EQ(val.landscape_id, id);
  EXPECT_EQ(id.size(), 36U);
}

TEST_F(EnvironGetter, a_missing_landscape_id_fails_a_system_whose_environment_was_read) {
  const sandbox::Host host;
  fs::remove(CONFIG + "nameserver.ini");
  HANA_Env_Value val;

  EXPECT_FALSE(getter().get("HXE", val));

  log_.expect_error("Failed to get HXE landscape_id: " + CONFIG + "nameserver.ini not exist\n");
  EXPECT_EQ(val.sid, "HXE");
}

TEST_F(EnvironGetter, a_system_that_cannot_be_found_or_read_fails_with_its_messages) {
  const std::string NOT_LISTED = "Failed to get HANA envirnoment value: failed to list services\n";
  const sandbox::Host host("system HXE { instance 90 { unset TINSTANCE unset DIR_INSTANCE } }");
  HANA_Env_Value val;

  for (const char* sid : {"ABC", "(", "[", "*", "hxe"}) {
    EXPECT_FALSE(getter().get(sid, val)) << sid;
    log_.expect_error(NOT_LISTED);
  }

  EXPECT_FALSE(getter().get("HXE", val));
  log_.expect_error("Failed to get instance number\n");
  log_.expect_error("Failed to get HANA envirnoment value\n");

  std::list<std::string> dirs{"before"};
  EXPECT_FALSE(getter().get_trace_dirs("ABC", dirs));
  log_.expect_error(NOT_LISTED);
  log_.expect_error("Failed to get trace dirs\n");
}

// Both the trace directory and the host name come from the first line that names the system.
TEST_F(EnvironGetter, sapservices_names_an_instance_and_its_host) {
  const sandbox::Host host("");
  const std::string profile = "pf=/usr/sap/HXE/SYS/profile/HXE_HDB90_";
  const std::string classic =
      "LD_LIBRARY_PATH=/usr/sap/HXE/HDB90/exe:$LD_LIBRARY_PATH;export LD_LIBRARY_PATH;"
      "/usr/sap/HXE/HDB90/exe/sapstartsrv ";
  const std::string header = "#!/bin/sh\nlimit.descriptors=1048576\n";
  const struct {
    std::string content;
    const char* dir;  // below /usr/sap
    const char* host;
  } cases[] = {
      {header + classic + profile + "hxehost -D -u hxeadm\n", "HXE/HDB90/hxehost/trace", "hxehost"},
      {"#" + classic + profile + "hxehost -D -u hxeadm", "HXE/HDB90/hxehost/trace", "hxehost"},
      {classic + profile + "ha-node-0-u1670561406-primary -D\n", "HXE/HDB90/ha-node-0-u1670561406-primary/trace",
       "ha-node-0-u1670561406-primary"},
      {"systemctl --no-ask-password start SAPHXE_90 # sapstartsrv " + profile + "hxehost\r\n",
       "HXE/HDB90/hxehost/trace", "hxehost"},
      {"x pf=/hana/shared/HXE/profile/HXE_HDB00_one -D\n" + classic + profile + "two\n", "HXE/HDB00/one/trace", "one"},
      {header + "x pf=/usr/sap/HXE/SYS/profile/HXE_HDB90\n", nullptr, nullptr},
      {"systemctl --no-ask-password start SAPHXE_90\n", nullptr, nullptr},
      {"x pf=/usr/sap/ABC/SYS/profile/ABC_HDB90_hxehost\n", nullptr, nullptr},
      {"pf=\nHXE_HDB90_hxehost\n", nullptr, nullptr},
      {"", nullptr, nullptr},
  };
  for (const auto& c : cases) {
    write(SAPSERVICES, c.content);
    std::string dir = "before";
    EXPECT_EQ(getter().get_trace_dir("HXE", dir), c.dir != nullptr) << c.content;
    EXPECT_EQ(dir, c.dir == nullptr ? "before" : std::string("/usr/sap/") + c.dir) << c.content;

    std::string name = "before";
    EXPECT_EQ(sap_hana::Host_Info_Getter("HXE").hostname(name), c.host != nullptr) << c.content;
    EXPECT_EQ(name, c.host == nullptr ? "before" : c.host) << c.content;
    if (c.host == nullptr) log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");
  }
}

TEST_F(EnvironGetter, what_is_no_file_has_no_lines_and_is_not_waited_for) {
  const sandbox::Host host("");
  const struct {
    const char* what;
    void (*make)();
    const char* trace_error;  // null for none
    const char* host_error;
  } cases[] = {
      {"missing", [] {}, "Failed to get trace dir: failed to open '/usr/sap/sapservices'\n",
       "Failed to get hostname: /usr/sap/sapservices does not exist\n"},
      {"directory", [] { fs::create_directory(SAPSERVICES); }, nullptr,
       "Failed to get hostname: /usr/sap/sapservices does not exist\n"},
      {"FIFO", [] { ::mkfifo(SAPSERVICES.c_str(), 0600); }, nullptr,
       "Failed to get hostname: /usr/sap/sapservices does not exist\n"},
      {"device", [] { fs::create_symlink("/dev/zero", SAPSERVICES); }, nullptr,
       "Failed to get hostname: /usr/sap/sapservices does not exist\n"},
      {"too large", [] { write(SAPSERVICES, std::string(16 * 1024 * 1024 + 1, '\n')); },
       "Failed to get trace dir: failed to open '/usr/sap/sapservices'\n",
       "Failed to get hostname from '/usr/sap/sapservices'\n"},
  };
  for (const auto& c : cases) {
    fs::remove(SAPSERVICES);
    c.make();
    std::string text;
    EXPECT_FALSE(getter().get_trace_dir("HXE", text)) << c.what;
    if (c.trace_error != nullptr) log_.expect_error(c.trace_error);
    EXPECT_FALSE(sap_hana::Host_Info_Getter("HXE").hostname(text)) << c.what;
    log_.expect_error(c.host_error);
  }
}

TEST_F(EnvironGetter, a_sid_is_part_of_the_pattern_and_a_search_that_fails_is_told) {
  const sandbox::Host host("system HXE { instance 90 }");
  std::string dir;
  EXPECT_TRUE(getter().get_trace_dir("(H)XE", dir));
  EXPECT_EQ(dir, "/usr/sap/(H)XE/HDBH/90/trace");

  std::string complex;
  while (complex.size() < 24 * 1024)
    complex += "pf=";
  write(SAPSERVICES, complex);
  for (const char* sid : {"(", "[", "*", "HXE", "(a*)*"}) {
    EXPECT_FALSE(getter().get_trace_dir(sid, dir)) << sid;
    const auto records = log_.take();
    ASSERT_EQ(records.size(), 1U) << sid;
    EXPECT_EQ(records[0].text.find("Failed to get trace dir: "), 0U) << records[0].text;
    EXPECT_EQ(records[0].priority, LM_ERROR);

    EXPECT_FALSE(sap_hana::Host_Info_Getter(sid).hostname(dir)) << sid;
    log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");
  }
}

TEST_F(EnvironGetter, trace_directories_are_those_that_exist_below_the_instance) {
  const sandbox::Host host("system HXE { instance 90 }");
  const std::string instance = "/usr/sap/HXE/HDB90/";
  fs::create_directories(instance + "other/trace");
  fs::create_directories(instance + "third");
  write(instance + "third/trace", "a file");
  fs::create_directory_symlink(instance + "other", instance + "link");
  std::list<std::string> dirs{"z before"};

  EXPECT_TRUE(getter().get_trace_dirs("HXE", dirs));

  EXPECT_EQ(dirs.front(), "z before");
  dirs.sort();
  EXPECT_EQ(dirs, (std::list<std::string>{instance + "hxehost/trace", instance + "link/trace", instance + "other/trace",
                                          "z before"}));

  for (const char* host_dir : {"other", "hxehost"})
    fs::remove_all(instance + host_dir);
  EXPECT_TRUE(getter().get_trace_dirs("HXE", dirs));
  dirs.clear();
  EXPECT_FALSE(getter().get_trace_dirs("HXE", dirs));
}

TEST_F(EnvironGetter, a_landscape_id_is_read_or_its_absence_told) {
  const sandbox::Host host("system HXE { instance 90 }");
  const std::string path = CONFIG + "nameserver.ini";
  const std::string failed = "Failed to get HXE landscape_id: ";
  const struct {
    const char* content;
    const char* id;
    std::string error;
  } cases[] = {
      {"# nameserver.ini last modified\n[landscape]\nid = 5fb0 d5\n", "5fb0 d5", ""},
      {"[landscape]\nid =\n", "", ""},
      {"id = 1\n", "before", failed + "No such node (landscape.id)\n"},
      {"[trace]\na = 1\n[trace]\nb = 2\n[landscape]\nid = 1\n", "before",
       failed + path + "(3): duplicate section name\n"},
  };
  for (const auto& c : cases) {
    write(path, c.content);
    std::string id = "before";
    EXPECT_EQ(getter().get_landscape_id("HXE", id), c.error.empty() && *c.id != '\0') << c.content;
    EXPECT_EQ(id, c.id) << c.content;
    if (!c.error.empty()) log_.expect_error(c.error);
  }

  std::string id;
  fs::remove(path);
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_FALSE(getter().get_landscape_id("HXE", id));
  log_.expect_error(failed + path + " not exist\n");
  EXPECT_FALSE(getter().get_landscape_id(nullptr, id));
  log_.take();
}

}  // namespace
