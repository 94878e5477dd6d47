#include "hana/common/environ_getter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "hana/common/host_info_getter.h"
#include "sandbox/host.h"
#include "tests/support/child.h"
#include "tests/support/log_capture.h"

namespace {

namespace fs = std::filesystem;
using sap_hana::Environ_Getter;
using sap_hana::HANA_Env_Value;
using sap_hana::Host_Info_Getter;

const std::string SAPSERVICES = "/usr/sap/sapservices";
const std::string NAMESERVER = "/usr/sap/HXE/SYS/global/hdb/custom/config/nameserver.ini";

class EnvironGetter : public testing::Test {
 protected:
  const Environ_Getter& getter_ = *Environ_Getter::instance();
  test::Log_Capture log_;
};

TEST_F(EnvironGetter, a_process_gives_its_environment_however_long_or_is_named) {
  const test::Child process("p", {}, {"USER=" + std::string(100000, 'x'), "HOSTNAME=h", "DIR_INSTANCE=/HDB11/HDB12/X"});
  const pid_t gone = test::Child("p").pid();
  Environ_Getter::close_instance();
  HANA_Env_Value val;

  EXPECT_TRUE(Environ_Getter::instance()->get(process.pid(), val));
  EXPECT_EQ(val.instance_number, 12);
  EXPECT_EQ(val.hostname, "h");
  EXPECT_FALSE(Environ_Getter::instance()->get(gone, val));
  log_.expect_error("Failed to open '/proc/" + std::to_string(gone) + "/environ'\n");
  EXPECT_FALSE(Environ_Getter::instance()->get(pid_t{0}, val));
  log_.expect_error("Failed to get HANA environment value: pid is 0\n");
}

TEST_F(EnvironGetter, a_running_system_gives_its_first_ones_environment_and_its_landscape_id) {
  const sandbox::Host host("system HXE { instance 90 instance 91 { running no } }");
  HANA_Env_Value val;

  EXPECT_TRUE(getter_.get("HXE", val));
  EXPECT_EQ(val.sid + " " + val.hostname + " " + val.user, "HXE hxehost hxeadm");
  EXPECT_EQ(val.dir_executable, "/usr/sap/HXE/HDB90/exe");
  EXPECT_EQ(val.instance_dir + val.trace_dir, "/usr/sap/HXE/HDB90");
  EXPECT_EQ(val.landscape_id, "5fb0d5a1-7c3e-4d2b-9a60-485845000000");

  for (const char* content : {"[landscape]\nmaster = h\n", "[landscape]\nid =\n"}) {
    std::ofstream(NAMESERVER) << content;
    EXPECT_FALSE(getter_.get("HXE", val)) << content;
  }
  log_.expect_error("Failed to get HXE landscape_id: No such node (landscape.id)\n");
  EXPECT_EQ(val.sid + val.landscape_id, "HXE");
  fs::remove(NAMESERVER);
  EXPECT_FALSE(getter_.get_landscape_id("HXE", val.landscape_id));
  log_.expect_error("Failed to get HXE landscape_id: " + NAMESERVER + " not exist\n");
}

TEST_F(EnvironGetter, a_system_that_cannot_be_found_or_read_fails_with_its_messages) {
  const sandbox::Host host("system HXE { instance 90 { unset TINSTANCE unset DIR_INSTANCE } }");
  HANA_Env_Value val;
  EXPECT_FALSE(getter_.get("HXE", val));
  log_.expect_error("Failed to get instance number\n");
  log_.expect_error("Failed to get HANA envirnoment value\n");

  std::list<std::string> dirs;
  for (const char* sid : {"ABC", "(", "hxe"}) {
    EXPECT_FALSE(getter_.get_trace_dirs(sid, dirs)) << sid;
    log_.expect_error("Failed to get HANA envirnoment value: failed to list services\n");
    log_.expect_error("Failed to get trace dirs\n");
  }
}

// Both the trace directory and the host name come from the first line that names the system.
TEST_F(EnvironGetter, sapservices_names_an_instance_and_its_host) {
  const sandbox::Host host("");
  const std::string start = "/usr/sap/HXE/HDB90/exe/sapstartsrv pf=/usr/sap/HXE/SYS/profile/HXE_HDB90_";
  const std::pair<std::string, std::string> cases[] = {
      {"#!/bin/sh\nlimit.descriptors=1048576\n" + start + "hxehost -D -u hxeadm\n", "hxehost"},
      {"pf=ABC_HDB90_other\n#" + start + "off -D\n" + start + "on -D\n", "off"},
      {"systemctl start SAPHXE_90 # sapstartsrv pf=/x/HXE_HDB90_ha-node-0-primary\r\n", "ha-node-0-primary"},
  };
  std::string dir;
  std::string name;
  for (const auto& [content, wanted] : cases) {
    std::ofstream(SAPSERVICES) << content;
    EXPECT_TRUE(getter_.get_trace_dir("HXE", dir)) << content;
    EXPECT_EQ(dir, "/usr/sap/HXE/HDB90/" + wanted + "/trace");
    EXPECT_TRUE(Host_Info_Getter("HXE").hostname(name)) << content;
    EXPECT_EQ(name, wanted);
  }

  std::ofstream(SAPSERVICES) << "pf=/usr/sap/HXE/SYS/profile/HXE_HDB90\npf=\nHXE_HDB90_hxehost";
  EXPECT_FALSE(getter_.get_trace_dir("HXE", dir));
  EXPECT_FALSE(Host_Info_Getter("HXE").hostname(name));
  log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");
  fs::remove(SAPSERVICES);
  EXPECT_FALSE(getter_.get_trace_dir("HXE", dir));
  log_.expect_error("Failed to get trace dir: failed to open '/usr/sap/sapservices'\n");
  EXPECT_FALSE(Host_Info_Getter("HXE").hostname(name));
  log_.expect_error("Failed to get hostname: /usr/sap/sapservices does not exist\n");
  EXPECT_EQ(name, "ha-node-0-primary");
  ASSERT_EQ(::mkfifo(SAPSERVICES.c_str(), 0600), 0);
  EXPECT_FALSE(getter_.get_trace_dir("HXE", dir));  // it has no lines
}

TEST_F(EnvironGetter, a_sid_is_part_of_the_pattern_and_a_search_that_fails_is_told) {
  const sandbox::Host host("system HXE { instance 90 }");
  std::string dir;
  EXPECT_TRUE(getter_.get_trace_dir("(H)XE", dir));
  EXPECT_EQ(dir, "/usr/sap/(H)XE/HDBH/90/trace");
  EXPECT_FALSE(getter_.get_trace_dir("(", dir));
  const auto records = log_.take();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].text.find("Failed to get trace dir: "), 0U) << records[0].text;
  EXPECT_FALSE(Host_Info_Getter("(").hostname(dir));
  log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");
}

TEST_F(EnvironGetter, trace_directories_are_those_that_exist_below_the_instance) {
  const sandbox::Host host("system HXE { instance 90 }");
  const std::string instance = "/usr/sap/HXE/HDB90/";
  fs::create_directory_symlink(instance + "hxehost", instance + "link");
  std::ofstream(instance + "exe/trace") << "a file";
  std::list<std::string> dirs{"z before"};

  EXPECT_TRUE(getter_.get_trace_dirs("HXE", dirs));
  dirs.sort();
  EXPECT_EQ(dirs, (std::list<std::string>{instance + "hxehost/trace", instance + "link/trace", "z before"}));

  fs::remove_all(instance + "hxehost");
  EXPECT_TRUE(getter_.get_trace_dirs("HXE", dirs));  // as the list still has some
  dirs.clear();
  EXPECT_FALSE(getter_.get_trace_dirs("HXE", dirs));
}

}  // namespace
