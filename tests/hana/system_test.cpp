// What is read from a system's own files and from the environments of its processes.

#include "hana/common/environ_getter.h"
#include "hana/common/host_info_getter.h"
#include "hana/common/nameserver_config_parser.h"
#include "hana/common/replication_state_getter.h"
#include "hana/common/system_control.h"
#include "sandbox/host.h"
#include "tests/support/test.h"

namespace {

namespace fs = std::filesystem;
using namespace sap_hana;
using Texts = std::list<std::string>;

const std::string SAPSERVICES = "/usr/sap/sapservices";
const std::string CONFIG = "/usr/sap/HXE/SYS/global/hdb/custom/config/";
const std::string NAMESERVER = CONFIG + "nameserver.ini";
const std::string GLOBAL = CONFIG + "global.ini";

void write(const std::string& path, const std::string& content) {
  std::ofstream(path) << content;
}

class EnvironGetter : public testing::Test {
 protected:
  const Environ_Getter& getter_ = *Environ_Getter::instance();
  HANA_Env_Value val_;
  test::Log_Capture log_;
};

TEST_F(EnvironGetter, a_process_gives_its_environment_however_long_or_is_named) {
  const test::Child process("p", {}, {"USER=" + std::string(100000, 'x'), "HOSTNAME=h", "DIR_INSTANCE=/HDB11/HDB12/X"});
  const pid_t gone = test::Child("p").pid();
  Environ_Getter::close_instance();
  const Environ_Getter& another = *Environ_Getter::instance();

  EXPECT_TRUE(another.get(process.pid(), val_));
  EXPECT_EQ(val_.hostname + std::to_string(val_.instance_number), "h12");
  EXPECT_FALSE(another.get(gone, val_));
  log_.expect_error("Failed to open '/proc/" + std::to_string(gone) + "/environ'\n");
  EXPECT_FALSE(another.get(pid_t{0}, val_));
  log_.expect_error("Failed to get HANA environment value: pid is 0\n");
}

TEST_F(EnvironGetter, a_running_system_gives_its_first_ones_environment_and_its_landscape_id) {
  const sandbox::Host host("system HXE { instance 90 instance 91 { running no } }");
  EXPECT_TRUE(getter_.get("HXE", val_));
  EXPECT_EQ(val_.sid + " " + val_.hostname + " " + val_.user, "HXE hxehost hxeadm");
  EXPECT_EQ(val_.dir_executable, "/usr/sap/HXE/HDB90/exe");
  EXPECT_EQ(val_.instance_dir + val_.trace_dir, "/usr/sap/HXE/HDB90");
  EXPECT_EQ(val_.landscape_id, "5fb0d5a1-7c3e-4d2b-9a60-485845000000");

  for (const char* content : {"[landscape]\nmaster = h\n", "[landscape]\nid =\n"}) {
    write(NAMESERVER, content);
    EXPECT_FALSE(getter_.get("HXE", val_)) << content;
  }
  log_.expect_error("Failed to get HXE landscape_id: No such node (landscape.id)\n");
  EXPECT_EQ(val_.sid + val_.landscape_id, "HXE");
  fs::remove(NAMESERVER);
  EXPECT_FALSE(getter_.get_landscape_id("HXE", val_.landscape_id));
  log_.expect_error("Failed to get HXE landscape_id: " + NAMESERVER + " not exist\n");
}

TEST_F(EnvironGetter, a_system_that_cannot_be_found_or_read_fails_with_its_messages) {
  const sandbox::Host host("system HXE { instance 90 { unset TINSTANCE unset DIR_INSTANCE } }");
  EXPECT_FALSE(getter_.get("HXE", val_));
  log_.expect_error("Failed to get instance number\n");
  log_.expect_error("Failed to get HANA envirnoment value\n");

  Texts dirs;
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
  std::string dir, name;
  for (const auto& [content, wanted] : cases) {
    write(SAPSERVICES, content);
    EXPECT_TRUE(getter_.get_trace_dir("HXE", dir)) << content;
    EXPECT_EQ(dir, "/usr/sap/HXE/HDB90/" + wanted + "/trace");
    EXPECT_TRUE(Host_Info_Getter("HXE").hostname(name)) << content;
    EXPECT_EQ(name, wanted);
  }
  EXPECT_TRUE(getter_.get_trace_dir("(H)XE", dir));  // a SID is part of the pattern
  EXPECT_EQ(dir, "/usr/sap/(H)XE/HDBH/90/trace");
  EXPECT_FALSE(getter_.get_trace_dir("(", dir));
  EXPECT_EQ(log_.take().at(0).text.find("Failed to get trace dir: "), 0U);
  EXPECT_FALSE(Host_Info_Getter("(").hostname(dir));
  log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");

  write(SAPSERVICES, "pf=/usr/sap/HXE/SYS/profile/HXE_HDB90\npf=\nHXE_HDB90_hxehost");
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

TEST_F(EnvironGetter, trace_directories_are_those_that_exist_below_the_instance) {
  const sandbox::Host host("system HXE { instance 90 }");
  const std::string instance = "/usr/sap/HXE/HDB90/";
  fs::create_directory_symlink(instance + "hxehost", instance + "link");
  write(instance + "exe/trace", "a file");
  Texts dirs{"z before"};
  EXPECT_TRUE(getter_.get_trace_dirs("HXE", dirs));
  dirs.sort();
  EXPECT_EQ(dirs, (Texts{instance + "hxehost/trace", instance + "link/trace", "z before"}));

  fs::remove_all(instance + "hxehost");
  EXPECT_TRUE(getter_.get_trace_dirs("HXE", dirs));  // as the list still has some
  dirs.clear();
  EXPECT_FALSE(getter_.get_trace_dirs("HXE", dirs));
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
  Texts hosts{"before"};
  EXPECT_TRUE(parser_.landscape_uuid(id));
  EXPECT_EQ(id, "");
  EXPECT_TRUE(parser_.get_master(hosts));
  EXPECT_EQ(hosts, (Texts{"h1", "h2"}));
  EXPECT_TRUE(parser_.get_worker(hosts));
  EXPECT_EQ(hosts, Texts{"h1\th2"});
  EXPECT_TRUE(parser_.get_standby(hosts));
  EXPECT_EQ(hosts, Texts{""});
}

TEST_F(Topology, a_cluster_has_two_workers_or_a_standby_host) {
  const std::pair<const char*, bool> cases[] = {{"worker = h1 h2\n", true},
                                                {"worker = h1\nstandby =\n", true},  // deliberate
                                                {"worker = h1\nmaster = h1 h2\n", false}};
  for (const auto& [content, wanted] : cases) {
    write(NAMESERVER, std::string("[landscape]\n") + content);
    bool cluster = !wanted;
    EXPECT_TRUE(parser_.is_cluster(cluster)) << content;
    EXPECT_EQ(cluster, wanted) << content;
  }
  Texts hosts{"before"};
  EXPECT_FALSE(parser_.get_standby(hosts));
  expect_no_value("landscape.standby");  // the silence has ended with the call
  EXPECT_EQ(hosts, Texts{"before"});
}

TEST_F(Topology, this_host_is_known_by_its_whole_name) {
  bool active = true;
  const std::pair<const char*, bool> cases[] = {
      {"hana1:39001", true}, {"hana11:39001", false}, {"hana1", false}, {"x hana1:39001", false}};
  for (const auto& [master, wanted] : cases) {
    write(NAMESERVER, std::string("[landscape]\nactive_master = ") + master + "\n");
    EXPECT_TRUE(parser_.is_active_master(active)) << master;
    EXPECT_EQ(active, wanted) << master;
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
  write(SAPSERVICES, "#!/bin/sh\n");
  const std::pair<bool, const char*> nameless[] = {
      {parser_.is_active_master(active), "check is active master nameserver"}, {parser_.get_role(role), "get role"}};
  for (const auto& [result, what] : nameless) {
    EXPECT_FALSE(result);
    log_.expect_error("Failed to get hostname from '/usr/sap/sapservices'\n");
    log_.expect_error(std::string("Failed to ") + what + ": failed to get host name\n");
  }
}

TEST_F(Topology, a_replicating_system_tells_its_modes) {
  const std::tuple<const char*, bool, const char*> cases[] = {
      {"mode = primary\nactual_mode = sync\noperation_mode = logreplay\n", true, "sync logreplay"},
      {"mode = primary\nactual_mode =\noperation_mode =\n", true, "primary "},
      {"mode = primary\noperation_mode = logreplay\n", false, "primary before"},
      {"actual_mode = sync\noperation_mode = logreplay\n", false, "before before"}};
  for (const auto& [content, result, modes] : cases) {
    write(GLOBAL, std::string("[system_replication]\n") + content);
    Replication_State_Getter::Replication_State state{"before", "before"};
    EXPECT_EQ(Replication_State_Getter("HXE").get_state(state), result) << content;
    EXPECT_EQ(state.mode + " " + state.operation_mode, modes) << content;
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
