#include "sandbox/database.h"

#include <sqlite3.h>

#include <memory>
#include <stdexcept>
#include <vector>

namespace sandbox {

namespace {

constexpr const char* tables = R"sql(
CREATE TABLE SYSTEM_INFO(SID TEXT, MULTI_CONTAINER INTEGER);
CREATE TABLE USERS(NAME TEXT, PASSWORD TEXT);
CREATE TABLE DATABASES(DATABASE_NAME TEXT, DESCRIPTION TEXT, ACTIVE_STATUS TEXT);
CREATE TABLE ALL_SCHEMAS(DATABASE_NAME TEXT, SCHEMA_NAME TEXT, SCHEMA_OWNER TEXT, HAS_PRIVILEGES TEXT);
CREATE TABLE M_INIFILE_CONTENTS(FILE_NAME TEXT, LAYER_NAME TEXT, TENANT_NAME TEXT, HOST TEXT, SECTION TEXT, KEY TEXT,
                                VALUE TEXT);
CREATE TABLE DUMMY(DUMMY TEXT);
INSERT INTO DUMMY VALUES('X');
INSERT INTO M_INIFILE_CONTENTS VALUES
  ('global.ini', 'DEFAULT', '', '', 'persistence', 'log_mode', 'normal'),
  ('global.ini', 'DEFAULT', '', '', 'persistence', 'enable_auto_log_backup', 'yes'),
  ('global.ini', 'DEFAULT', '', '', 'backup', 'log_backup_using_backint', 'false'),
  ('global.ini', 'DEFAULT', '', '', 'backup', 'catalog_backup_using_backint', 'false');
)sql";

class Database {
 public:
  explicit Database(const std::string& path) : handle_(nullptr, &::sqlite3_close) {
    sqlite3* handle = nullptr;
    const int result = ::sqlite3_open(path.c_str(), &handle);
    handle_.reset(handle);
    check(result);
    check(::sqlite3_exec(handle_.get(), "PRAGMA synchronous = OFF; PRAGMA journal_mode = MEMORY; BEGIN", nullptr,
                         nullptr, nullptr));
  }

  void commit() { check(::sqlite3_exec(handle_.get(), "COMMIT", nullptr, nullptr, nullptr)); }

  void create_tables() { check(::sqlite3_exec(handle_.get(), tables, nullptr, nullptr, nullptr)); }

  void insert(const std::string& table, const std::vector<std::string>& row) {
    std::string sql = "INSERT INTO " + table + " VALUES(";
    for (std::size_t i = 0; i < row.size(); ++i)
      sql += i == 0 ? "?" : ",?";
    sqlite3_stmt* prepared = nullptr;
    check(::sqlite3_prepare_v2(handle_.get(), (sql + ")").c_str(), -1, &prepared, nullptr));
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(prepared, &::sqlite3_finalize);
    for (std::size_t i = 0; i < row.size(); ++i)
      check(::sqlite3_bind_text(prepared, static_cast<int>(i) + 1, row[i].data(), static_cast<int>(row[i].size()),
                                SQLITE_TRANSIENT));
    if (::sqlite3_step(prepared) != SQLITE_DONE) check(SQLITE_ERROR);
  }

 private:
  void check(int result) const {
    if (result != SQLITE_OK)
      throw std::runtime_error(std::string("sandbox: database: ") + ::sqlite3_errmsg(handle_.get()));
  }

  std::unique_ptr<sqlite3, int (*)(sqlite3*)> handle_;
};

std::string number_of(const System_Description& system) {
  return system.instances.front().name.substr(3);
}

void insert_databases(Database& database, const System_Description& system) {
  // A single-container system lists none.
  if (!system.multi_container) return;
  database.insert("DATABASES", {"SYSTEMDB", "SystemDB-" + system.sid + "-" + number_of(system), "YES"});
  for (const Tenant& tenant : system.tenants)
    database.insert("DATABASES", {tenant.name, tenant.description, tenant.active ? "YES" : "NO"});
}

void insert_schemas(Database& database, const System_Description& system) {
  const std::string system_database = system.multi_container ? "SYSTEMDB" : system.sid;
  for (const char* owner : {"SYS", "SYSTEM", "_SYS_REPO", "_SYS_STATISTICS"})
    database.insert("ALL_SCHEMAS",
                    {system_database, owner, owner, std::string(owner) == "_SYS_REPO" ? "FALSE" : "TRUE"});
  for (const Schema& schema : system.schemas)
    database.insert("ALL_SCHEMAS", {schema.database.empty() ? system_database : schema.database, schema.name,
                                    schema.owner, schema.privileges ? "TRUE" : "FALSE"});
}

}  // namespace

void create_database(const std::string& path, const System_Description& system) {
  Database database(path);
  database.create_tables();
  database.insert("SYSTEM_INFO", {system.sid, system.multi_container ? "1" : "0"});
  for (const Database_User& user : system.users)
    database.insert("USERS", {user.name, user.password});
  insert_databases(database, system);
  insert_schemas(database, system);
  for (const Ini_Setting& setting : system.ini)
    database.insert("M_INIFILE_CONTENTS",
                    {setting.file, "SYSTEM", "", "", setting.section, setting.key, setting.value});
  database.commit();
}

}  // namespace sandbox
