#include "tests/torture/operations.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <utility>

#include "hana/common/backint_catalog_helper.h"
#include "hana/common/environ_getter.h"
#include "hana/common/filename_parser.h"
#include "hana/common/hdbsql_general_text_handler.h"
#include "hana/common/host_info_getter.h"
#include "hana/common/instance_control.h"
#include "hana/common/list_databases.h"
#include "hana/common/list_instances.h"
#include "hana/common/list_schema.h"
#include "hana/common/nameserver_config_parser.h"
#include "hana/common/replication_state_getter.h"
#include "hana/common/server_port_manager.h"
#include "hana/common/system_config_manager.h"
#include "hana/common/system_control.h"
#include "hana/common/tenant_database_control.h"
#include "hana/common/utils.h"
#include "platform/instances/instance_manager.h"
#include "platform/json/object.h"
#include "platform/json/text.h"
#include "tests/support/faults.h"

namespace torture {
namespace {

using namespace sap_hana;

// What the operations are called with; made beforehand, since making it is not theirs.
const std::string SID = "HXE", INSTANCE = "HDB90", USER = "SYSTEM", TOOL = "/usr/sap/HXE/HDB90/exe/hdbsql",
                  SELECT = "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES", TENANT = "TEN1", NONE,
                  LOG_BACKUP = "log_backup_2_0_1000_2000.1415905765532", VERSION = "2.00.059.00.1636536034",
                  FULL_BACKUP = "MONTHLY_databackup_3_1", INI = "/tmp/instances.ini", TREE = "/tmp/tree",
                  DELTA_BACKUP = "a_prefix_that_is_long_databackup_incremental_100_200_3_1", EBID = "ebid of the job 2",
                  REPLICATED = "S1P", NOWHERE = "TEN9";
const platform::secure_string PASSWORD = "Manager1";
platform::HTTP_Session_Options http_options;
Database_Info database;
Backint_Backup_Job_Info job, another_job;
Backup_File_Info file;
Backup_Files_Info files;
platform::json::Object job_object, file_object;

// Writes what an operation has found.
struct Shower {
  template <class T>
  auto show(const T& value) -> decltype(std::declval<std::ostream&>() << value, void()) {
    out << value;
  }
  template <class Record>
  auto show(const Record& record) -> decltype(record >> std::declval<platform::json::Object&>(), void()) {
    platform::json::Object object;
    record >> object;
    show(object);
  }
  void show(const platform::json::Object& object) { out << platform::json::JSON_Dump(object, false).str(); }
  void show(const std::string& text) { out << text; }
  void show(const Database_Info& info) { out << info.name << info.description << info.active; }
  void show(const Database_Scheme_Base_Info& info) { out << info.name << info.owner << info.has_privileges; }
  void show(const Replication_State_Getter::Replication_State& state) { out << state.mode << state.operation_mode; }
  void show(const System_Instance_Info& info) {
    out << info.system_info.sid << info.system_info.localhost << '<' << info.system_info.version << '>'
        << info.instance_name << info.instance_number << info.dir_executable;
  }
  void show(const HANA_Env_Value& value) {
    out << value.dir_executable << value.hostname << value.instance_dir << value.user << value.instance_number
        << value.sid << value.landscape_id;
  }
  template <template <class, class> class Many, class T, class Allocator>
  void show(const Many<T, Allocator>& values) {
    for (const T& value : values) {
      show(value);
      out << ", ";
    }
  }
  void show(const HDBSQL_General_Text_Handler& handler) {
    show(handler.get_key().size());
    show(handler.get_values());
  }

  std::ostringstream out;
};

template <class... Values>
bool tell(std::string& told, bool ok, const Values&... values) {
  const test::Fault_Pause pause;
  Shower shower;
  ((shower.show(values), shower.show(" | ")), ...);
  told.assign(shower.out.str(), 0, told.capacity());
  return ok;
}

struct Catalog : Backint_Catalog_helper {
  Catalog() {
    platform::JSON_HTTP_Session session(world->session ? world->session : platform::make_http_session(http_options), 1,
                                        5);
    init(session);
  }
};

// Its library is the one under test, too, but the making of its objects and its failures are not.
void restore_catalog() {
  Catalog helper;
  helper.remove_job(another_job.uuid.c_str());
  helper.remove_job(job.uuid.c_str());
  helper.add_job(job);
  helper.add_files(job.uuid.c_str(), files);
}

HDBSQL_Executor connected() {
  HDBSQL_Executor executor(TOOL);
  executor.init(database, USER, PASSWORD);
  return executor;
}

// Each makes the system ready, with nothing failing.
void start_tenant() {
  HDBSQL_Executor executor = connected();
  Tenant_Database_Controller(executor).start(TENANT);
}
void stop_tenant() {
  HDBSQL_Executor executor = connected();
  Tenant_Database_Controller(executor).stop(TENANT);
}
void overwrite_logs() {
  System_Config_Manager(connected()).alter_log_mode(System_Config_Manager::LOG_MODE_OVERWRITE);
}

using Run = std::function<bool(std::string&)>;

// Runs what fills one value.
template <class Value, class Fill>
Run filling(Fill fill) {
  return [fill](std::string& told) {
    Value value{};
    const bool ok = fill(value);
    return tell(told, ok, value);
  };
}

// False for what a change looks up first, and for the stop of a tenant: where that look-up fails, the tenant counts as
// stopped, and any other change is made all the same.
bool is_certain(const std::string& statement) {
  return statement.rfind("ALTER", 0) == 0 && statement.find(" STOP ") == std::string::npos;
}

// Writes a record, which says by the log alone that it cannot.
template <class Record>
Run writing(const Record& record) {
  return filling<platform::json::Object>([&record](auto& object) {
    record >> object;
    return !object.empty();
  });
}

// Runs what fills nothing; what it has run on the host is told.
template <class Act>
Run doing(Act act) {
  return [act](std::string& told) {
    const bool ok = act();
    const test::Fault_Pause pause;
    std::vector<std::string> statements = world->host.take_statements("HXE");
    const auto others = std::stable_partition(statements.begin(), statements.end(), is_certain);
    const std::vector<std::string> uncertain(others, statements.end());
    statements.erase(others, statements.end());
    return tell(told, ok, world->host.take_hdb_runs("HXE", "HDB90"), statements, '<', uncertain, '>');
  };
}

// Runs what fills one value through an executor of its own.
template <class Value, class Fill>
Run asking(Fill fill) {
  return filling<Value>([fill](Value& value) {
    HDBSQL_Executor executor(TOOL);
    return executor.init(database, USER, PASSWORD) && fill(executor, value);
  });
}

template <class Act>
Run altering(Act act) {
  return doing([act] {
    HDBSQL_Executor executor(TOOL);
    return executor.init(database, USER, PASSWORD) && act(executor);
  });
}

const Environ_Getter& environment() {
  return *Environ_Getter::instance();
}

std::size_t count_entries(const char* directory) {
  const std::filesystem::directory_iterator all(directory);
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

}  // namespace

World* world;

using Strings = std::list<std::string>;
using Parser = Name_Server_Config_Parser;
using State = Instance_Controller::Instance_State;
using Job = Backint_Backup_Job_Info;
using File = Backup_File_Info;

const std::vector<Operation> OPERATIONS = {
    // discovery
    {"environment of a system", 0, nullptr,
     filling<HANA_Env_Value>([](auto& value) { return environment().get(SID, value); })},
    {"trace directory", SILENT, nullptr,
     filling<std::string>([](auto& dir) { return environment().get_trace_dir(SID, dir); })},
    {"trace directories", 0, nullptr,
     filling<Strings>([](auto& dirs) { return environment().get_trace_dirs(SID, dirs); })},
    {"host name", 0, nullptr, filling<std::string>([](auto& name) { return Host_Info_Getter(SID).hostname(name); })},
    {"one instance", 0, nullptr,
     filling<System_Instance_Info>([](auto& info) { return System_Instance_Lister().list(info, SID, INSTANCE); })},
    {"landscape uuid", SILENT, nullptr, filling<std::string>([](auto& id) { return Parser(SID).landscape_uuid(id); })},
    {"cluster", SILENT, nullptr, filling<bool>([](bool& cluster) { return Parser(SID).is_cluster(cluster); })},
    {"active master", 0, nullptr, filling<bool>([](bool& active) { return Parser(SID).is_active_master(active); })},
    {"masters", 0, nullptr, filling<Strings>([](auto& hosts) { return Parser(SID).get_master(hosts); })},
    {"role", 0, nullptr, filling<std::string>([](auto& role) { return Parser(SID).get_role(role); })},
    {"replication", SILENT, nullptr, filling<Replication_State_Getter::Replication_State>([](auto& state) {
       return Replication_State_Getter(REPLICATED).get_state(state);
     })},
    {"multiple containers", QUIET, nullptr, doing([] { return System_Controller(SID).is_multi_container(); })},

    // control
    {"state", 0, nullptr,
     filling<State>([](State& state) { return Instance_Controller(SID).get_state(INSTANCE, state); })},
    {"instance directory", 0, nullptr,
     filling<std::string>([](auto& dir) { return Instance_Controller(SID).get_instance_dir(INSTANCE, dir, false); })},
    {"start", ALONE | OTHER_USER, nullptr, doing([] { return Instance_Controller(SID).start(INSTANCE); })},
    {"listening", QUIET, nullptr,
     doing([] { return Server_Port_Manager(INSTANCE).is_listening(Server_Port_Manager::TYPE_MDC_INDEXSERVER); })},

    // SQL
    {"rows", 0, nullptr, asking<HDBSQL_General_Text_Handler>([](auto& executor, auto& handler) {
       return executor.execute(SELECT, &handler, nullptr);
     })},
    {"databases", 0, start_tenant, filling<Database_Info_List>([](auto& infos) {
       return Database_Lister(SID, INSTANCE, USER, PASSWORD).list(infos, NONE);
     })},
    {"no database", 0, nullptr, filling<Database_Info_List>([](auto& infos) {
       return Database_Lister(SID, INSTANCE, USER, PASSWORD).list(infos, NOWHERE);
     })},
    {"one database", 0, start_tenant,
     asking<Database_Info>([](auto& executor, auto& info) { return Database_Lister(executor).list(info, TENANT); })},
    {"schemas", 0, nullptr, filling<Database_Scheme_Base_Info_List>([](auto& infos) {
       return Schema_Lister(SID, INSTANCE, USER, PASSWORD).list_schema(NONE, infos);
     })},
    {"stop of a tenant", ALONE, start_tenant,
     altering([](auto& executor) { return Tenant_Database_Controller(executor).stop(TENANT); })},
    {"start of a tenant", ALONE, stop_tenant,
     altering([](auto& executor) { return Tenant_Database_Controller(executor).start(TENANT); })},
    {"log mode", ALONE, overwrite_logs, altering([](auto& executor) {
       return System_Config_Manager(executor).alter_log_mode(System_Config_Manager::LOG_MODE_NORMAL);
     })},

    // naming
    {"backups' names", 0, nullptr,
     [](std::string& told) {
       Filename_Parser::Log_File_Entry log{};
       Filename_Parser::Full_Backup_Entry full{};
       Filename_Parser::Delta_Backup_Entry delta{};
       const Filename_Parser parser;
       const bool ok = parser.parse_log_file(LOG_BACKUP, log) && parser.parse_full_backup_file(FULL_BACKUP, full) &&
                       parser.parse_delta_backup_file(DELTA_BACKUP, delta);
       return tell(told, ok, log.first_position, log.backup_id, full.prefix, delta.prefix, delta.backup_id);
     }},
    {"version", 0, nullptr, filling<std::uint32_t>([](auto& pack) {
       std::uint16_t major = 0, patch = 0;
       return parse_version_string(VERSION, major, pack, patch);
     })},
    {"paths", 0, nullptr,
     [](std::string& told) {
       std::string log_backup, catalog, restore, pipe;
       const bool ok = ondemand_conf_path(SID, INSTANCE, TENANT, log_backup) &&
                       catalog_conf_file_name("HXE", "TEN1", "S1P", "S1P", catalog) &&
                       restore_ext_conf_file("HXE", "TEN1", restore) && database_pipe_path("HXE", "TEN1", true, pipe);
       return tell(told, ok, log_backup, catalog, restore, pipe);
     }},
    {"group", OTHER_USER, nullptr, doing([] { return change_file_group_to_sap(TREE.c_str(), "root"); })},
    {"permission", 0, nullptr, doing([] { return change_directory_permission(TREE, 0755); })},

    // catalog
    {"adding a job", ALONE, restore_catalog, doing([] { return Catalog().add_job(another_job); })},
    {"looking and adding a job", ALONE, restore_catalog, filling<Job>([](auto& info) {
       {
         const test::Fault_Pause pause;
         info = another_job;
       }
       return Catalog().check_and_add_job(info);
     })},
    {"a job", 0, restore_catalog, filling<Job>([](auto& info) { return Catalog().get_job(job.uuid.c_str(), info); })},
    {"updating a job", ALONE, restore_catalog,
     doing([] { return Catalog().update_job_database_backup_id(job.uuid.c_str(), job.database_backup_id); })},
    {"removing a job", ALONE, restore_catalog, doing([] { return Catalog().remove_job(job.uuid.c_str()); })},
    {"adding files", ALONE, restore_catalog, doing([] { return Catalog().add_files(job.uuid.c_str(), files); })},
    {"files", 0, restore_catalog, filling<Backup_Files_Info>([](auto& found) {
       std::int64_t total = 0;
       return Catalog().get_files("landscape 1", nullptr, nullptr, total, found, 2, 0);
     })},
    {"a file", SILENT, restore_catalog,
     filling<File>([](auto& found) { return Catalog().get_file_by_ebid(EBID.c_str(), found); })},
    {"removing a file", ALONE, restore_catalog, doing([] { return Catalog().remove_file(EBID.c_str()); })},
    {"writing a job", 0, nullptr, writing(job)},
    {"writing a file", 0, nullptr, writing(file)},
    {"reading a job", 0, nullptr, filling<Job>([](auto& info) { return info.parse(job_object); })},
    {"reading a file", 0, nullptr, filling<File>([](auto& info) { return info.parse(file_object); })},
    {"loading instances", 0, nullptr, doing([] { return platform::Instance_Manager::instance()->load(INI); })},
};

Holdings::Holdings() : descriptors(count_entries("/proc/self/fd")), threads(count_entries("/proc/self/task")) {}

bool is_given_back(const Holdings& before) {
  for (int wait = 0; wait < 500; ++wait) {
    const Holdings now;
    if (now.descriptors <= before.descriptors && now.threads <= before.threads) return true;
    ::usleep(10'000);
  }
  return false;
}

std::string without_extras(std::string told) {
  std::size_t begin, end;
  while ((begin = told.find('<')) != std::string::npos && (end = told.find('>', begin)) != std::string::npos)
    told.erase(begin, end - begin + 1);
  return told;
}

World::World() {
  world = this;
  std::ofstream(INI) << "[hana/HXE_HDB90]\nsid = HXE\ninstance_number = 90\ninstance_name = HDB90\n"
                        "localhost = hxehost\ndir_executable = /usr/sap/HXE/HDB90/exe\nmulti_container = true\n";
  platform::Instance_Manager::instance()->load(INI);
  ::mkdir(TREE.c_str(), 0755);
  for (const char* name : {"/one", "/another with a name that is long"})
    std::ofstream(TREE + name) << name;
  // In the place of SAP's own, which takes its time.
  const std::string script = "/usr/sap/HXE/HDB90/HDB.override";
  std::ofstream(script) << "#!/bin/sh\nexit 0\n";
  ::chmod(script.c_str(), 0755);

  http_options.base_url = catalog.base_url();
  System_Instance_Lister().list(::torture::database.instance_info, SID, INSTANCE);
  database.instance_info.system_info.multi_container = true;
  job.uuid = "job 1";
  job.landscape_id = "landscape 1";
  job.sid = "HXE";
  job.database_backup_id = 1415905765532;
  another_job = job;
  another_job.uuid = "job 2";
  another_job.landscape_id = "landscape 2";
  file.filename = "log_backup_2_0_1000_2000";
  file.extern_backup_id = "ebid 1";
  for (int i = 0; i < 3; ++i) {
    files.push_back(file);
    files.back().extern_backup_id = "ebid of the job " + std::to_string(i);
  }
  file >> file_object;
  platform::json::insert(file_object)("id", std::uint64_t{1});
  job >> job_object;
  platform::json::insert(job_object)("id", std::uint64_t{1})("extended_attrs", "{\"compression_level\":3}");
}

}  // namespace torture
