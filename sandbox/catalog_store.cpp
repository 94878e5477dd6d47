#include "sandbox/catalog_store.h"

#include <sqlite3.h>

#include <stdexcept>

#include "platform/json/object.h"
#include "platform/json/text.h"
#include "platform/text/natoi.h"

namespace sandbox {
namespace {

using platform::json::Array;
using platform::json::Object;
using platform::json::Value;

// The columns of a table after its row number. Unsigned integers are stored by their bits.
struct Column {
  const char* name;
  platform::json::Value_type type;
};

constexpr Column JOB_COLUMNS[] = {
    {"uuid", platform::json::str_type},
    {"host_uuid", platform::json::str_type},
    {"job_act_id", platform::json::str_type},
    {"type", platform::json::str_type},
    {"location", platform::json::str_type},
    {"database", platform::json::str_type},
    {"compression", platform::json::str_type},
    {"sid", platform::json::str_type},
    {"pool_uuid", platform::json::str_type},
    {"landscape_id", platform::json::str_type},
    {"database_backup_id", platform::json::int_type},
    {"compression_level", platform::json::int_type},
    {"extended_attrs", platform::json::obj_type},
};

constexpr Column FILE_COLUMNS[] = {
    {"info_uuid", platform::json::str_type},    {"filename", platform::json::str_type},
    {"origin_path", platform::json::str_type},  {"extern_backup_id", platform::json::str_type},
    {"source_type", platform::json::str_type},  {"pool_uuid", platform::json::str_type},
    {"storage_path", platform::json::str_type}, {"location", platform::json::str_type},
    {"size", platform::json::int_type},         {"storage_size", platform::json::int_type},
};

template <std::size_t N>
std::string name_list(const Column (&columns)[N], const std::string& table = "") {
  std::string list;
  for (const Column& column : columns)
    list += (list.empty() ? "" : ",") + table + '"' + column.name + '"';
  return list;
}

template <std::size_t N>
std::string question_marks(const Column (&)[N]) {
  std::string list = "?";
  for (std::size_t i = 1; i < N; ++i)
    list += ",?";
  return list;
}

Value value_of(const Object& object, const char* key) {
  const auto member = object.find(key);
  return member == object.end() ? Value() : member->second;
}

bool says_something(const Value& value) {
  switch (value.type()) {
    case platform::json::str_type:
      return !value.get_str().empty();
    case platform::json::obj_type:
      return !value.get_obj().empty();
    case platform::json::int_type:
      return value.get_real() != 0;
    default:
      return false;
  }
}

}  // namespace

class Catalog_Store::Statement {
 public:
  Statement(sqlite3* database, const std::string& sql) : database_(database) {
    check(sqlite3_prepare_v2(database, sql.c_str(), static_cast<int>(sql.size()), &statement_, nullptr));
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(const std::string& text) {
    check(sqlite3_bind_text64(statement_, ++bound_, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
  }
  Statement& bind(std::int64_t integer) {
    check(sqlite3_bind_int64(statement_, ++bound_, integer));
    return *this;
  }

  template <std::size_t N>
  Statement& bind_row(const Column (&columns)[N], const Object& row) {
    for (const Column& column : columns)
      bind(column, value_of(row, column.name));
    return *this;
  }

  // A value that is not of the column's type is stored as the type's empty one.
  Statement& bind(const Column& column, const Value& value) {
    const bool fits = value.type() == column.type;
    if (column.type == platform::json::int_type)
      return bind(fits && value.get_real() >= 0 ? static_cast<std::int64_t>(value.get_uint64()) : 0);
    if (column.type == platform::json::obj_type)
      return bind(platform::json::JSON_Dump(fits ? value : Value(Object()), false).str());
    return bind(fits ? value.get_str() : std::string());
  }

  bool step() {
    const int code = sqlite3_step(statement_);
    if (code != SQLITE_ROW && code != SQLITE_DONE) check(code);
    return code == SQLITE_ROW;
  }
  bool change() {
    step();
    return sqlite3_changes(database_) > 0;
  }

  Value value(int index, const Column& column) {
    if (column.type == platform::json::int_type)
      return Value(static_cast<std::uint64_t>(sqlite3_column_int64(statement_, index)));
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, index));
    const auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement_, index));
    if (column.type == platform::json::str_type) return Value(std::string(text, length));
    Value object = Object();
    platform::json::loads_json(text, length, object, 0);
    return object;
  }
  std::int64_t integer(int index) { return sqlite3_column_int64(statement_, index); }

  // The row as an object: the row number, then the columns.
  template <std::size_t N>
  Object row(const Column (&columns)[N]) {
    Object object{{"id", integer(0)}};
    int index = 0;
    for (const Column& column : columns)
      object[column.name] = value(++index, column);
    return object;
  }

 private:
  void check(int code) {
    if (code == SQLITE_OK) return;
    const std::string cause = sqlite3_errmsg(database_);
    throw std::runtime_error("SQLite: " + cause);
  }

  sqlite3* database_;
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
};

void Catalog_Store::Closer::operator()(sqlite3* database) const {
  sqlite3_close(database);
}

Catalog_Store::Catalog_Store(const std::string& path) {
  sqlite3* database = nullptr;
  const int code = sqlite3_open(path.c_str(), &database);
  database_.reset(database);
  if (code != SQLITE_OK) throw std::runtime_error("SQLite: failed to open " + path);

  for (const std::string& sql :
       {"CREATE TABLE IF NOT EXISTS job (id INTEGER PRIMARY KEY," + name_list(JOB_COLUMNS) + ",UNIQUE(uuid))",
        "CREATE TABLE IF NOT EXISTS file (id INTEGER PRIMARY KEY," + name_list(FILE_COLUMNS) + ",job_uuid)",
        std::string("CREATE INDEX IF NOT EXISTS file_ebid ON file (extern_backup_id)"),
        std::string("CREATE INDEX IF NOT EXISTS file_job ON file (job_uuid)")}) {
    Statement(database, sql).step();
  }
}

Catalog_Store::~Catalog_Store() = default;

std::optional<Object> Catalog_Store::read_job(const Filter& filter) {
  std::string sql = "SELECT id," + name_list(JOB_COLUMNS) + " FROM job WHERE 1";
  for (const auto& [name, value] : filter)
    sql += name == "job_uuid" ? " AND uuid=?" : " AND \"" + name + "\"=?";
  Statement select(database_.get(), sql + " ORDER BY id DESC LIMIT 1");
  for (const auto& [name, value] : filter) {
    if (name == "database_backup_id") {
      select.bind(static_cast<std::int64_t>(platform::natoi<std::uint64_t>(value.c_str())));
    } else {
      select.bind(value);
    }
  }
  if (!select.step()) return std::nullopt;
  return select.row(JOB_COLUMNS);
}

bool Catalog_Store::add_job(const Object& job) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (read_job({{"job_uuid", platform::json::object_get_str_or_throw(job, "uuid")}})) return false;
  Statement(database_.get(),
            "INSERT INTO job (" + name_list(JOB_COLUMNS) + ") VALUES (" + question_marks(JOB_COLUMNS) + ")")
      .bind_row(JOB_COLUMNS, job)
      .step();
  return true;
}

std::optional<Object> Catalog_Store::find_job(const Filter& filter) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return read_job(filter);
}

bool Catalog_Store::update_job(const Object& job) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::string uuid = platform::json::object_get_str_or_throw(job, "uuid");
  std::optional<Object> stored = read_job({{"job_uuid", uuid}});
  if (!stored) return false;

  const bool has_method = says_something(value_of(job, "compression"));
  for (const Column& column : JOB_COLUMNS) {
    const Value value = value_of(job, column.name);
    const bool level = std::string(column.name) == "compression_level";
    if (says_something(value) && (has_method || !level)) (*stored)[column.name] = value;
  }
  Statement(database_.get(),
            "UPDATE job SET (" + name_list(JOB_COLUMNS) + ")=(" + question_marks(JOB_COLUMNS) + ") WHERE uuid=?")
      .bind_row(JOB_COLUMNS, *stored)
      .bind(uuid)
      .step();
  return true;
}

bool Catalog_Store::remove_job(const std::string& uuid) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Statement(database_.get(), "DELETE FROM file WHERE job_uuid=?").bind(uuid).step();
  return Statement(database_.get(), "DELETE FROM job WHERE uuid=?").bind(uuid).change();
}

bool Catalog_Store::add_files(const std::string& job_uuid, const Array& files) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!read_job({{"job_uuid", job_uuid}})) return false;

  for (const Value& file : files)
    file.get_obj();
  Statement(database_.get(), "BEGIN").step();
  for (const Value& file : files) {
    Statement insert(database_.get(), "INSERT INTO file (" + name_list(FILE_COLUMNS) + ",job_uuid) VALUES (" +
                                          question_marks(FILE_COLUMNS) + ",?)");
    insert.bind_row(FILE_COLUMNS, file.get_obj()).bind(job_uuid).step();
  }
  Statement(database_.get(), "COMMIT").step();
  return true;
}

Object Catalog_Store::list_files(const Filter& filter, std::int64_t limit, std::int64_t offset) {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::string from = " FROM file JOIN job ON job.uuid=file.job_uuid WHERE 1";
  for (const auto& [name, value] : filter) {
    const bool of_the_job = name == "uuid" || name == "landscape_id" || name == "database";
    from += std::string(" AND ") + (of_the_job ? "job" : "file") + ".\"" + name + "\"=?";
  }
  Statement count(database_.get(), "SELECT COUNT(*)" + from);
  Statement select(database_.get(), "SELECT file.id," + name_list(FILE_COLUMNS, "file.") + ",job.database_backup_id" +
                                        from + " ORDER BY file.id LIMIT ? OFFSET ?");
  for (const auto& [name, value] : filter) {
    count.bind(value);
    select.bind(value);
  }
  count.step();
  select.bind(limit).bind(offset);

  Array rows;
  while (select.step()) {
    Object row = select.row(FILE_COLUMNS);
    row["database_backup_id"] =
        select.value(static_cast<int>(std::size(FILE_COLUMNS)) + 1, {"", platform::json::int_type});
    rows.emplace_back(std::move(row));
  }
  return {{"rows", std::move(rows)}, {"total", count.integer(0)}};
}

bool Catalog_Store::remove_file(const std::string& extern_backup_id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return Statement(database_.get(), "DELETE FROM file WHERE extern_backup_id=?").bind(extern_backup_id).change();
}

}  // namespace sandbox
