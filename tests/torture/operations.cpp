#include "tests/torture/operations.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>

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
#include "platform/files/chown_r.h"
#include "platform/files/directory.h"
#include "platform/instances/instance_manager.h"
#include "platform/json/object.h"
#include "platform/json/text.h"
#include "platform/process/subprocess.h"
#include "platform/text/format.h"
#include "tests/support/faults.h"

namespace torture {
namespace {

using namespace sap_hana;

// What the operations are called with; made beforehand, since making it is not theirs.
const std::string SID = "HXE", INSTANCE = "HDB90", USER = "SYSTEM", TOOL = "/usr/sap/HXE/HDB90/exe/hdbsql",
                  SELECT = "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES", TENANT = "TEN1", NONE,
                  START = "ALTER SYSTEM START DATABASE TEN1", LOG_BACKUP = "log_backup_2_0_1000_2000.1415905765532",
                  VERSION = "2.00.059.00.1636536034", FULL_BACKUP = "MONTHLY_databackup_3_1",
                  DELTA_BACKUP = "a_prefix_that_is_long_databackup_incremental_100_200_3_1", MANAGER_NAME = "HXE_HDB90",
                  INI = "/tmp/instances.ini", TREE = "/tmp/tree", LONG_TEXT(100, 'x'), EBID = "ebid of the job 2",
                  REPLICATED = "S1P", JSON = "{\"a\":[1,2.5,\"text\"]}";
const platform::secure_string PASSWORD = "Manager1";
pid_t start_service;
platform::HTTP_Session_Options http_options;
Database_Info database;
Backint_Backup_Job_Info job, another_job;
Backup_File_Info file;
Backup_Files_Info files;
platform::json::Object job_object, file_object;

template <class T>
void show(std::ostream& out, const T& value) {
  out << value;
}
void show(std::ostream& out, const platform::Service_Info& service) {
  // Not the user: it may be told by its number.
  out << service.pid << service.cmd;
}
void show(std::ostream& out, const System_Instance_Info& info) {
  out << info.system_info.sid << info.system_info.localhost << '<' << info.system_info.version << '>'
      << info.instance_name << info.instance_number << info.dir_executable;
}
// A service whose environment cannot be read is passed over.
struct Each_May_Be_Missing : System_Instance_Info_List {};
void show(std::ostream& out, const Each_May_Be_Missing& infos) {
  for (const System_Instance_Info& info : infos)
    out << '<' << info.system_info.sid << info.instance_name << '>';
}
void show(std::ostream& out, const Database_Info& info) {
  out << info.name << info.description << info.active;
}
void show(std::ostream& out, const Database_Scheme_Base_Info& info) {
  out << info.name << info.owner << info.has_privileges;
}
void show(std::ostream& out, const HANA_Env_Value& value) {
  out << value.dir_executable << value.hostname << value.instance_dir << value.user << value.instance_number
      << value.sid << value.landscape_id;
}
void show(std::ostream& out, const Replication_State_Getter::Replication_State& state) {
  out << state.mode << state.operation_mode;
}
void show(std::ostream& out, const Filename_Parser::Log_File_Entry& entry) {
  out << entry.volume_id << entry.first_position << entry.backup_id;
}
void show(std::ostream& out, const Filename_Parser::Full_Backup_Entry& entry) {
  out << entry.prefix << entry.volume_id;
}
void show(std::ostream& out, const Filename_Parser::Delta_Backup_Entry& entry) {
  out << entry.prefix << entry.backup_id;
}
void show(std::ostream& out, const platform::json::Value& value) {
  out << platform::json::JSON_Dump(value, false).str();
}
void show(std::ostream& out, const Backup_File_Info& info) {
  platform::json::Object object;
  info >> object;
  show(out, platform::json::Value(object));
}
void show(std::ostream& out, const Backint_Backup_Job_Info& info) {
  platform::json::Object object;
  info >> object;
  show(out, platform::json::Value(object));
}
template <class T>
void show(std::ostream& out, const std::vector<T>& values) {
  for (const T& value : values) {
    show(out, value);
    out << ", ";
  }
}
template <class T>
void show(std::ostream& out, const std::list<T>& values) {
  show(out, std::vector<T>(values.begin(), values.end()));
}
void show(std::ostream& out, const HDBSQL_General_Text_Handler& handler) {
  out << handler.get_key().size() << ": ";
  show(out, handler.get_values());
}

template <class... Values>
bool tell(std::string& told, bool ok, const Values&... values) {
  const test::Fault_Pause pause;
  std::ostringstream out;
  ((show(out, values), out << " | "), ...);
  told.assign(out.str(), 0, told.capacity());
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

// Lets `act` have an executor, with nothing failing.
template <void (*act)(HDBSQL_Executor&)>
void prepare_system() {
  HDBSQL_Executor executor(TOOL);
  executor.init(database, USER, PASSWORD);
  act(executor);
}

void start_tenant(HDBSQL_Executor& executor) {
  Tenant_Database_Controller(executor).start(TENANT);
}
void stop_tenant(HDBSQL_Executor& executor) {
  Tenant_Database_Controller(executor).stop(TENANT);
}
void overwrite_logs(HDBSQL_Executor& executor) {
  System_Config_Manager(executor).alter_log_mode(System_Config_Manager::LOG_MODE_OVERWRITE);
}
void stop_log_backup(HDBSQL_Executor& executor) {
  System_Config_Manager(executor).alter_auto_log_backup(false);
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

int count_entries(const char* path) {
  int count = 0;
  platform::Directory_Entry entry;
  platform::Directory_Reader reader;
  for (reader.open(path, false, 0); reader.read(entry); ++count) {
  }
  return reader.last_error() == 0 ? count : -1;
}

}  // namespace

World* world;

using Strings = std::list<std::string>;
using Services = std::list<platform::Service_Info>;
using Parser = Name_Server_Config_Parser;
using Names = Filename_Parser;
using State = Instance_Controller::Instance_State;
using Job = Backint_Backup_Job_Info;
using File = Backup_File_Info;

const std::vector<Operation> OPERATIONS = {
    // discovery
    {"environment of a process", 0, nullptr,
     filling<HANA_Env_Value>([](auto& value) { return environment().get(start_service, value); })},
    {"environment of a system", 0, nullptr,
     filling<HANA_Env_Value>([](auto& value) { return environment().get(SID, value); })},
    {"trace directory", SILENT, nullptr,
     filling<std::string>([](auto& dir) { return environment().get_trace_dir(SID, dir); })},
    {"trace directories", 0, nullptr,
     filling<Strings>([](auto& dirs) { return environment().get_trace_dirs(SID, dirs); })},
    {"landscape id", 0, nullptr,
     filling<std::string>([](auto& id) { return environment().get_landscape_id("HXE", id); })},
    {"host name", 0, nullptr, filling<std::string>([](auto& name) { return Host_Info_Getter(SID).hostname(name); })},
    {"instances", 0, nullptr,
     filling<Each_May_Be_Missing>([](auto& infos) { return System_Instance_Lister().list(infos); })},
    {"one instance", 0, nullptr,
     filling<System_Instance_Info>([](auto& info) { return System_Instance_Lister().list(info, SID, INSTANCE); })},
    {"landscape uuid", SILENT, nullptr, filling<std::string>([](auto& id) { return Parser(SID).landscape_uuid(id); })},
    {"cluster", SILENT, nullptr, filling<bool>([](bool& cluster) { return Parser(SID).is_cluster(cluster); })},
    {"active master", 0, nullptr, filling<bool>([](bool& active) { return Parser(SID).is_active_master(active); })},
    {"masters", 0, nullptr, filling<Strings>([](auto& hosts) { return Parser(SID).get_master(hosts); })},
    {"workers", 0, nullptr, filling<Strings>([](auto& hosts) { return Parser(SID).get_worker(hosts); })},
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
    {"instance services", 0, nullptr,
     filling<Services>([](auto& services) { return Instance_Controller(SID).get_instance_services(90, services); })},
    {"start", ALONE, nullptr, doing([] { return Instance_Controller(SID).start(INSTANCE); })},
    {"stop", ALONE, nullptr, doing([] { return Instance_Controller(SID).stop(INSTANCE); })},
    {"listening", QUIET, nullptr,
     doing([] { return Server_Port_Manager(INSTANCE).is_listening(Server_Port_Manager::TYPE_MDC_INDEXSERVER); })},

    // SQL
    {"connection", 0, nullptr, doing([] { return HDBSQL_Executor(NONE).init(SID, INSTANCE, NONE, USER, PASSWORD); })},
    {"statement", ALONE, nullptr, altering([](auto& executor) { return executor.execute(START, nullptr); })},
    {"rows", 0, nullptr, asking<HDBSQL_General_Text_Handler>([](auto& executor, auto& handler) {
       return executor.execute(SELECT, &handler, nullptr);
     })},
    {"databases", 0, prepare_system<start_tenant>, filling<Database_Info_List>([](auto& infos) {
       return Database_Lister(SID, INSTANCE, USER, PASSWORD).list(infos, NONE);
     })},
    {"one database", 0, prepare_system<start_tenant>,
     asking<Database_Info>([](auto& executor, auto& info) { return Database_Lister(executor).list(info, TENANT); })},
    {"schemas", 0, nullptr, filling<Database_Scheme_Base_Info_List>([](auto& infos) {
       return Schema_Lister(SID, INSTANCE, USER, PASSWORD).list_schema(NONE, infos);
     })},
    {"stop of a tenant", ALONE, prepare_system<start_tenant>,
     altering([](auto& executor) { return Tenant_Database_Controller(executor).stop(TENANT); })},
    {"start of a tenant", ALONE, prepare_system<stop_tenant>,
     altering([](auto& executor) { return Tenant_Database_Controller(executor).start(TENANT); })},
    {"log mode", ALONE, prepare_system<overwrite_logs>, altering([](auto& executor) {
       return System_Config_Manager(executor).alter_log_mode(System_Config_Manager::LOG_MODE_NORMAL);
     })},
    {"log backup", ALONE, prepare_system<stop_log_backup>,
     altering([](auto& executor) { return System_Config_Manager(executor).alter_auto_log_backup(true); })},

    // naming
    {"log backup's name", 0, nullptr,
     filling<Names::Log_File_Entry>([](auto& entry) { return Names().parse_log_file(LOG_BACKUP, entry); })},
    {"full backup's name", 0, nullptr,
     filling<Names::Full_Backup_Entry>([](auto& entry) { return Names().parse_full_backup_file(FULL_BACKUP, entry); })},
    {"delta backup's name", 0, nullptr, filling<Names::Delta_Backup_Entry>([](auto& entry) {
       return Names().parse_delta_backup_file(DELTA_BACKUP, entry);
     })},
    {"manager name", 0, nullptr, filling<std::string>([](auto& name) {
       name = generate_instance_manager_name(LONG_TEXT, INSTANCE);
       return !name.empty() && !generate_instance_manager_name(LONG_TEXT, 90).empty();
     })},
    {"version", 0, nullptr, filling<std::uint32_t>([](auto& pack) {
       std::uint16_t major = 0, patch = 0;
       return parse_version_string(VERSION, major, pack, patch);
     })},
    {"configuration path", 0, nullptr,
     filling<std::string>([](auto& path) { return ondemand_conf_path(SID, INSTANCE, TENANT, path); })},
    {"catalog path", 0, nullptr,
     filling<std::string>([](auto& path) { return catalog_conf_file_name("HXE", "TEN1", "S1P", "S1P", path); })},
    {"restore path", 0, nullptr,
     filling<std::string>([](auto& path) { return restore_ext_conf_file("HXE", "TEN1", path); })},
    {"pipe path", 0, nullptr,
     filling<std::string>([](auto& path) { return database_pipe_path("HXE", "TEN1", true, path); })},
    {"group", 0, nullptr, doing([] { return change_file_group_to_sap(TREE.c_str(), "root"); })},
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
    {"a job by landscape", 0, restore_catalog, filling<Job>([](auto& info) {
       return Catalog().get_job(job.landscape_id.c_str(), job.database_backup_id, info);
     })},
    {"updating a job", ALONE, restore_catalog,
     doing([] { return Catalog().update_job_database_backup_id(job.uuid.c_str(), job.database_backup_id); })},
    {"removing a job", ALONE, restore_catalog, doing([] { return Catalog().remove_job(job.uuid.c_str()); })},
    {"adding files", ALONE, restore_catalog, doing([] { return Catalog().add_files(job.uuid.c_str(), files); })},
    {"adding a file", ALONE, restore_catalog, doing([] { return Catalog().add_file(job.uuid.c_str(), file); })},
    {"files", 0, restore_catalog, filling<Backup_Files_Info>([](auto& found) {
       std::int64_t total = 0;
       return Catalog().get_files("landscape 1", nullptr, nullptr, total, found, 2, 0);
     })},
    {"files of a job", SILENT, restore_catalog,
     filling<Backup_Files_Info>([](auto& found) { return Catalog().get_job_files(job.uuid.c_str(), found); })},
    {"a file", SILENT, restore_catalog,
     filling<File>([](auto& found) { return Catalog().get_file_by_ebid(EBID.c_str(), found); })},
    {"removing a file", ALONE, restore_catalog, doing([] { return Catalog().remove_file(EBID.c_str()); })},
    {"reading a job", 0, nullptr, filling<Job>([](auto& info) { return info.parse(job_object); })},
    {"reading a file", 0, nullptr, filling<File>([](auto& info) { return info.parse(file_object); })},

    // platform
    {"services", QUIET, nullptr, filling<Services>([](auto& services) {
       return platform::Service_Lister().list_service("sapstartsrv", services, false, "C") == 0;
     })},
    {"directory", SILENT, nullptr, filling<int>([](int& count) {
       count = count_entries(TREE.c_str());
       return count >= 0;
     })},
    {"owner", QUIET, nullptr, doing([] { return platform::chown_r(TREE.c_str(), "root", "root", true); })},
    {"program", QUIET, nullptr, doing([] {
       platform::Process_Options options;
       options.setenv("NAME", "%s", LONG_TEXT.c_str());
       options.command_line("%s", "/bin/true");
       return platform::subprocess::call(options, nullptr) == 0;
     })},
    {"loading instances", 0, nullptr, doing([] { return platform::Instance_Manager::instance()->load(INI); })},
    {"text", 0, nullptr,
     filling<std::string>([](auto& text) { return platform::string_sprintf(text, "%s", LONG_TEXT.c_str()); })},
    {"JSON", QUIET, nullptr, filling<platform::json::Value>([](auto& value) {
       return platform::json::loads_json(JSON.data(), JSON.size(), value, 1);
     })},
};

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

  start_service = host.pid("HXE", "HDB90", "sapstartsrv");
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
