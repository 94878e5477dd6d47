#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/json/value.h"

struct sqlite3;

namespace sandbox {

// The jobs and files of the catalog service, in SQLite. Records go in and out in their JSON form. Integers are 64 bits
// unsigned and keep every digit. Threads may share one. Throws std::runtime_error where SQLite fails.
class Catalog_Store {
 public:
  using Filter = std::vector<std::pair<std::string, std::string>>;  // name and value, all of which have to hold

  // In a file, or in memory for ":memory:".
  explicit Catalog_Store(const std::string& path);
  ~Catalog_Store();

  // False if there is a job of that uuid.
  bool add_job(const platform::json::Object& job);
  // By "job_uuid" or by "landscape_id" and "database_backup_id".
  std::optional<platform::json::Object> find_job(const Filter& filter);
  // Takes over what the object says beyond empty texts, empty objects and 0; a compression level counts only beside
  // its method. False if there is no job of that uuid.
  bool update_job(const platform::json::Object& job);
  // With its files. False if there is none.
  bool remove_job(const std::string& uuid);

  // All of them or none. False if there is no such job.
  bool add_files(const std::string& job_uuid, const platform::json::Array& files);
  // {"rows": [...], "total": n}, oldest first. By any of "extern_backup_id", "uuid" (of the job), "landscape_id",
  // "database" and "filename". A negative limit is none.
  platform::json::Object list_files(const Filter& filter, std::int64_t limit, std::int64_t offset);
  bool remove_file(const std::string& extern_backup_id);

 private:
  class Statement;

  std::optional<platform::json::Object> read_job(const Filter& filter);

  struct Closer {
    void operator()(sqlite3* database) const;
  };
  std::mutex mutex_;
  std::unique_ptr<sqlite3, Closer> database_;
};

}  // namespace sandbox
