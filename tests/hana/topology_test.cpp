// What is read from a system's own configuration files.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "hana/common/nameserver_config_parser.h"
#include "hana/common/replication_state_getter.h"
#include "hana/common/system_control.h"
#include "sandbox/host.h"
#include "tests/support/log_capture.h"

namespace {

namespace fs = std::filesystem;
using sap_hana::Replication_State_Getter;
using Hosts = std::list<std::string>;

const std::string CONFIG = "/usr/sap/HXE/SYS/global/hdb/custom/config/";
const std::string NAMESERVER = CONFIG + "nameserver.ini";
const std::string GLOBAL = CONFIG + "global.ini";

void write(const std::string& path, const std::string& content) {
  std::ofstream(path) << content;
}

class Topology : public testing::Test {
 protected:
  void expect_no_value(const std::string& key) {
    log_.expect_error("Failed to get " + key + " in " + NAMESERVER + ": No such node (" + key + ")\n");
  }

  const sandbox::Host host_{"host hana1\nsystem HXE { instance 90 { running no start_service no } }\n"};
  test::Log_Capture log_;
  sap_hana::Name_Server_Config_Parser parser_{"HXE"};
  const sap_hana::System_Controller system_{"HXE"};
};

TEST_F(Topology, values_are_replaced_and_hosts_stand_between_blanks) {
  write(NAMESERVER, "# by hdbnameserver\n[landscape]\nid =\nmaster =  h1  h2 \nworker = h1\th2\nstandby =\n");
  std::string id = "before";
  Hosts hosts{"before"};
  EXPECT_TRUE(parser_.landscape_uuid(id));
  EXPECT_EQ(id, "");
  EXPECT_TRUE(parser_.get_master(hosts));
  EXPECT_EQ(hosts, (Hosts{"h1", "h2"}));
  EXPECT_TRUE(parser_.get_worker(hosts));
  EXPECT_EQ(hosts, Hosts{"h1\th2"});
  EXPECT_TRUE(parser_.get_standby(hosts));
  EXPECT_EQ(hosts, Hosts{""});
}

TEST_F(Topology, a_cluster_has_two_workers_or_a_standby_host) {
  const struct {
    const char* content;
    bool cluster;
  } cases[] = {{"worker = h1 h2\n", true},
               {"worker = h1\nstandby =\n", true},  // deliberate
               {"worker = h1\nmaster = h1 h2\n", false}};
  for (const auto& c : cases) {
    write(NAMESERVER, std::string("[landscape]\n") + c.content);
    bool cluster = !c.cluster;
    EXPECT_TRUE(parser_.is_cluster(cluster)) << c.content;
    EXPECT_EQ(cluster, c.cluster) << c.content;
  }
  Hosts hosts{"before"};
  EXPECT_FALSE(parser_.get_standby(hosts));
  expect_no_value("landscape.standby");  // the silence has ended with the call
  EXPECT_EQ(hosts, Hosts{"before"});
}

TEST_F(Topology, this_host_is_known_by_its_whole_name) {
  bool active = false;
  write(NAMESERVER, "[landscape]\nactive_master = hana1:39001\n");
  EXPECT_TRUE(parser_.is_active_master(active));
  EXPECT_TRUE(active);
  for (const char* other : {"hana11:39001", "hana1", "x hana1:39001"}) {
    write(NAMESERVER, std::string("[landscape]\nactive_master = ") + other + "\n");
    EXPECT_TRUE(parser_.is_active_master(active)) << other;
    EXPECT_FALSE(active) << other;
  }
  std::string role;
  write(NAMESERVER, "roles_hana1 = standby\n[landscape]\nroles_hana1 = worker\n");
  EXPECT_TRUE(parser_.get_role(role));
  EXPECT_EQ(role, "standby");  // deliberate: what stands outside of every section

  active = true;
  EXPECT_FALSE(parser_.is_active_master(active));
  expect_no_value("landscape.active_master");
  log_.expect_error("Failed to check is active master nameserver\n");
  EXPECT_FALSE(active);
  write("/usr/sap/sapservices", "#!/bin/sh\n");
  EXPECT_FALSE(parser_.is_active_master(active));
  log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");
  log_.expect_error("Failed to check is active master nameserver: failed to get host name\n");
  EXPECT_FALSE(parser_.get_role(role));
  log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");
  log_.expect_error("Failed to get role: failed to get host name\n");
}

TEST_F(Topology, a_replicating_system_tells_its_modes) {
  const struct {
    const char* content;
    bool result;
    const char* modes;
  } cases[] = {{"mode = primary\nactual_mode = sync\noperation_mode = logreplay\n", true, "sync logreplay"},
               {"mode = primary\nactual_mode =\noperation_mode =\n", true, "primary "},
               {"mode = primary\noperation_mode = logreplay\n", false, "primary before"},
               {"actual_mode = sync\noperation_mode = logreplay\n", false, "before before"}};
  for (const auto& c : cases) {
    write(GLOBAL, std::string("[system_replication]\n") + c.content);
    Replication_State_Getter::Replication_State state{"before", "before"};
    EXPECT_EQ(Replication_State_Getter("HXE").get_state(state), c.result) << c.content;
    EXPECT_EQ(state.mode + " " + state.operation_mode, c.modes) << c.content;
  }
}

TEST_F(Topology, anything_but_the_exact_mode_is_a_single_container) {
  EXPECT_TRUE(system_.is_multi_container());
  EXPECT_TRUE(system_.is_system_database("SYSTEMDB"));
  EXPECT_FALSE(system_.is_system_database("systemdb"));
  write(GLOBAL, "[multidb]\nmode = MultiDB\n");
  EXPECT_FALSE(system_.is_multi_container());
  EXPECT_TRUE(system_.is_system_database("TEN1"));
}

TEST_F(Topology, files_that_are_none_give_their_result_at_once) {
  const auto expect_nothing = [this] {
    std::string id = "before";
    bool cluster = true;
    Replication_State_Getter::Replication_State state{"before", "before"};
    EXPECT_FALSE(parser_.landscape_uuid(id));
    EXPECT_FALSE(parser_.is_cluster(cluster));
    EXPECT_FALSE(Replication_State_Getter("HXE").get_state(state));
    EXPECT_FALSE(system_.is_multi_container());
    EXPECT_EQ(id + state.mode + state.operation_mode, "beforebeforebefore");
    EXPECT_FALSE(cluster);
  };
  for (const std::string& path : {NAMESERVER, GLOBAL})
    write(path, "[trace]\na=1\n[trace]\nb=2\n");
  expect_nothing();  // and says nothing
  for (const std::string& path : {NAMESERVER, GLOBAL}) {
    fs::remove(path);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  }
  expect_nothing();
  log_.expect_error("Failed to get value from " + NAMESERVER + ": file does not exist\n");
  log_.expect_error("Failed to get replication state: config file does not exist\n");
}

}  // namespace
