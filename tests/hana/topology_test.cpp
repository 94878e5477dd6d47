#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "hana/common/nameserver_config_parser.h"
#include "hana/common/replication_state_getter.h"
#include "sandbox/host.h"
#include "tests/support/log_capture.h"

namespace {

namespace fs = std::filesystem;
using sap_hana::Name_Server_Config_Parser;
using sap_hana::Replication_State_Getter;
using Hosts = std::list<std::string>;

const std::string CONFIG = "/usr/sap/HXE/SYS/global/hdb/custom/config/";
const std::string NAMESERVER = CONFIG + "nameserver.ini";
const std::string GLOBAL = CONFIG + "global.ini";
const std::string NO_FILE = "Failed to get value from " + NAMESERVER + ": file does not exist\n";

void write(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

// What stands where a configuration file should be, and whether that is a regular file.
struct Obstacle {
  const char* name;
  void (*place)(const std::string& path);
  bool regular;
};
const Obstacle OBSTACLES[] = {
    {"nothing", [](const std::string&) {}, false},
    {"a directory", [](const std::string& path) { fs::create_directory(path); }, false},
    {"a FIFO", [](const std::string& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }, false},
    {"a device", [](const std::string& path) { fs::create_symlink("/dev/zero", path); }, false},
    {"what cannot be read", [](const std::string& path) { fs::create_symlink("/proc/self/mem", path); }, true},
    {"no INI file", [](const std::string& path) { write(path, "[landscape]\nid\n"); }, true},
    {"a repeated section", [](const std::string& path) { write(path, "[trace]\na=1\n[trace]\nb=2\n"); }, true},
    {"an empty file", [](const std::string& path) { write(path, ""); }, true},
};

class Topology : public testing::Test {
 protected:
  void expect_hosts(bool (Name_Server_Config_Parser::*get)(Hosts&), const std::string& key) {
    const struct {
      std::string value;
      Hosts hosts;
    } cases[] = {{"h1", {"h1"}}, {"  h1  h2   h3 ", {"h1", "h2", "h3"}}, {"h1\th2", {"h1\th2"}}, {"", {""}}};
    for (const auto& c : cases) {
      write(NAMESERVER,
            "# nameserver.ini last modified 2026-01-31 by hdbnameserver\n[landscape]\n" + key + " =" + c.value + "\n");
      Hosts hosts{"before"};
      EXPECT_TRUE((parser_.*get)(hosts)) << c.value;
      EXPECT_EQ(hosts, c.hosts) << c.value;
    }
    Hosts hosts{"before"};
    write(NAMESERVER, "[landscape]\nother = h1\n[other]\n" + key + " = h1\n");
    EXPECT_FALSE((parser_.*get)(hosts));
    EXPECT_EQ(hosts, Hosts{"before"});
    log_.expect_error("Failed to get landscape." + key + " in " + NAMESERVER + ": No such node (landscape." + key +
                      ")\n");
  }

  const sandbox::Host host_{"host hana1\nsystem HXE { instance 90 { running no start_service no } }\n"};
  test::Log_Capture log_;
  Name_Server_Config_Parser parser_{"HXE"};
};

TEST_F(Topology, host_lists_are_replaced_by_what_stands_between_blanks) {
  expect_hosts(&Name_Server_Config_Parser::get_master, "master");
  expect_hosts(&Name_Server_Config_Parser::get_worker, "worker");
  expect_hosts(&Name_Server_Config_Parser::get_standby, "standby");
}

TEST_F(Topology, a_cluster_has_two_workers_or_a_standby_host) {
  const struct {
    const char* content;
    bool result;
    bool cluster;
  } cases[] = {
      {"worker = h1 h2\n", true, true},
      {"worker = h1  h2\nstandby = h3\n", true, true},
      {"worker = h1\nstandby = h3\n", true, true},
      {"worker = h1\nstandby =\n", true, true},  // deliberate
      {"worker = h1\n", true, false},
      {"worker =\nmaster = h1 h2\n", true, false},
      {"standby = h3\n", false, false},
  };
  for (const auto& c : cases) {
    write(NAMESERVER, std::string("[landscape]\n") + c.content);
    bool cluster = !c.cluster;
    EXPECT_EQ(parser_.is_cluster(cluster), c.result) << c.content;
    EXPECT_EQ(cluster, c.cluster) << c.content;
  }

  // The silence ends with the call.
  Hosts hosts;
  EXPECT_FALSE(parser_.get_worker(hosts));
  EXPECT_EQ(log_.take().size(), 1u);
}

TEST_F(Topology, the_active_master_is_this_host_only_where_its_whole_name_stands_before_the_port) {
  const struct {
    const char* value;
    bool active;
  } cases[] = {{"hana1:39001", true}, {"hana1:", true},        {"hana11:39001", false},
               {"hana:39001", false}, {"hana1", false},        {"HANA1:39001", false},
               {"", false},           {"x hana1:39001", false}};
  for (const auto& c : cases) {
    write(NAMESERVER, std::string("[landscape]\nactive_master = ") + c.value + "\n");
    bool active = !c.active;
    EXPECT_TRUE(parser_.is_active_master(active)) << c.value;
    EXPECT_EQ(active, c.active) << c.value;
  }
  const std::string no_key = "No such node (landscape.active_master)";
  write(NAMESERVER, "active_master = hana1:39001\n");
  bool active = true;
  EXPECT_FALSE(parser_.is_active_master(active));
  EXPECT_FALSE(active);
  log_.expect_error("Failed to get landscape.active_master in " + NAMESERVER + ": " + no_key + "\n");
  log_.expect_error("Failed to check is active master nameserver\n");
}

TEST_F(Topology, the_role_is_looked_for_outside_of_every_section) {
  std::string role = "before";
  write(NAMESERVER, "[landscape]\nroles_hana1 = worker\n");
  EXPECT_FALSE(parser_.get_role(role));
  EXPECT_EQ(role, "before");
  log_.expect_error("Failed to get roles_hana1 in " + NAMESERVER + ": No such node (roles_hana1)\n");

  write(NAMESERVER, "roles_hana1 = standby\n[landscape]\nroles_hana1 = worker\n");
  EXPECT_TRUE(parser_.get_role(role));
  EXPECT_EQ(role, "standby");
}

TEST_F(Topology, a_host_without_a_name_has_no_role) {
  write("/usr/sap/sapservices", "#!/bin/sh\n");
  bool active = true;
  std::string role = "before";

  EXPECT_FALSE(parser_.is_active_master(active));
  log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");
  log_.expect_error("Failed to check is active master nameserver: failed to get host name\n");
  EXPECT_FALSE(active);
  EXPECT_FALSE(parser_.get_role(role));
  log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");
  log_.expect_error("Failed to get role: failed to get host name\n");
  EXPECT_EQ(role, "before");
}

TEST_F(Topology, a_landscape_id_is_read_in_silence) {
  std::string id = "before";
  write(NAMESERVER, "[landscape]\nmaster = h1\n");
  EXPECT_FALSE(parser_.landscape_uuid(id));
  EXPECT_EQ(id, "before");
  write(NAMESERVER, "[landscape]\nid = 4f1b-77\n");
  EXPECT_TRUE(parser_.landscape_uuid(id));
  EXPECT_EQ(id, "4f1b-77");
  write(NAMESERVER, "[landscape]\nid =\n");
  EXPECT_TRUE(parser_.landscape_uuid(id));
  EXPECT_EQ(id, "");
}

TEST_F(Topology, a_replicating_system_tells_its_modes) {
  const struct {
    const char* content;
    bool result;
    const char* mode;
    const char* operation_mode;
  } cases[] = {
      {"mode = primary\nactual_mode = sync\noperation_mode = logreplay\n", true, "sync", "logreplay"},
      {"mode = primary\nactual_mode =\noperation_mode =\n", true, "primary", ""},
      {"mode = primary\nactual_mode = primary\n", false, "primary", "before"},
      {"mode = primary\noperation_mode = logreplay\n", false, "primary", "before"},
      {"actual_mode = sync\noperation_mode = logreplay\n", false, "before", "before"},
  };
  for (const auto& c : cases) {
    write(GLOBAL, std::string("# global.ini last modified by hdbnameserver\n[system_replication]\n") + c.content);
    Replication_State_Getter::Replication_State state{"before", "before"};
    EXPECT_EQ(Replication_State_Getter("HXE").get_state(state), c.result) << c.content;
    EXPECT_EQ(state.mode, c.mode) << c.content;
    EXPECT_EQ(state.operation_mode, c.operation_mode) << c.content;
  }
}

TEST_F(Topology, files_that_are_none_give_their_result_at_once) {
  for (const Obstacle& obstacle : OBSTACLES) {
    for (const std::string& path : {NAMESERVER, GLOBAL}) {
      fs::remove_all(path);
      obstacle.place(path);
    }
    const auto expect_nothing = [&](const char* key) {
      if (!obstacle.regular) {
        log_.expect_error(NO_FILE);
        return;
      }
      const auto records = log_.take();
      const std::string start = std::string("Failed to get ") + key + " in " + NAMESERVER + ": ";
      ASSERT_EQ(records.size(), 1u) << obstacle.name;
      EXPECT_EQ(records[0].text.substr(0, start.size()), start) << obstacle.name;
    };
    std::string text = "before";
    Hosts hosts{"before"};
    bool cluster = true;
    Replication_State_Getter::Replication_State state{"before", "before"};

    EXPECT_FALSE(parser_.landscape_uuid(text)) << obstacle.name;
    EXPECT_FALSE(parser_.get_worker(hosts)) << obstacle.name;
    expect_nothing("landscape.worker");
    EXPECT_FALSE(parser_.get_role(text)) << obstacle.name;
    expect_nothing("roles_hana1");
    EXPECT_FALSE(parser_.is_cluster(cluster)) << obstacle.name;
    if (!obstacle.regular) log_.expect_error(NO_FILE);
    EXPECT_FALSE(Replication_State_Getter("HXE").get_state(state)) << obstacle.name;
    if (!obstacle.regular) log_.expect_error("Failed to get replication state: config file does not exist\n");

    EXPECT_FALSE(cluster);
    EXPECT_EQ(text + hosts.front() + state.mode + state.operation_mode, "beforebeforebeforebefore") << obstacle.name;
  }
}

}  // namespace
