#pragma once

#include <cstdint>

#include "hana/backint_catalog/backint_backup_file.h"
#include "hana/backint_catalog/backint_job.h"
#include "platform/export.h"
#include "platform/http/json_http_session.h"

namespace sap_hana {

// The client of the backup server's catalog, which keeps Backint jobs and the files that they produced: JSON over HTTP
// at "/vx/r/hana/backint/job" and "/vx/r/hana/backint/file".
//
// Every operation sends one request through the session and waits for the reply; it succeeds only on status 200. A
// failure is logged once and returned as false, and what the operation fills is unchanged then except as it says. A
// null or empty text is one, except where it is allowed. Texts may hold any bytes: they are encoded into the query.
// Nothing is cached. One object is for one thread at a time; objects may share a session.
class GUSTAIKRUM_EXPORT Backint_Catalog_helper {
 public:
  // Without a session, so every operation fails until init() has succeeded.
  Backint_Catalog_helper();
  ~Backint_Catalog_helper();

  // Uses a copy of `session`, which shares its connection, from now on. False, silently and with nothing changed, if
  // it has no HTTP session.
  bool init(platform::JSON_HTTP_Session& session);

  // Records a job. The catalog does not look whether it has that job already.
  bool add_job(const Backint_Backup_Job_Info& info);

  // The same for a job that the catalog may have already. `info` takes over, leniently, what the catalog then holds.
  bool check_and_add_job(Backint_Backup_Job_Info& info);

  // Finds a job by its uuid, or by the landscape and HANA's id of the backup. The reply is read leniently into `info`,
  // which is not reset before. False, before the session is looked at, for a null or empty text.
  bool get_job(const char* job_uuid, Backint_Backup_Job_Info& info);
  bool get_job(const char* landscape_id, std::uint64_t database_backup_id, Backint_Backup_Job_Info& info);

  // The same for a query text of the caller's, encoded already and without its question mark; it may be null or empty.
  bool get_job_req(const char* query_string, Backint_Backup_Job_Info& info);

  // Records HANA's id of the backup for the job. The request carries a whole job, of which every other field has its
  // default.
  bool update_job_database_backup_id(const char* job_uuid, std::uint64_t database_backup_id);

  // Sends the job's fields; its uuid names the job.
  bool update_job_req(const Backint_Backup_Job_Info& info);

  // Has the catalog remove the job with this uuid. Whether there was one, only its answer tells.
  bool remove_job(const char* job_uuid);

  // Record files of a job, all in one request, as new ones: what is added twice stands in the catalog twice. False for
  // an empty list.
  bool add_file(const char* job_uuid, const Backup_File_Info& file);
  bool add_files(const char* job_uuid, const Backup_Files_Info& files);

  // Appends one page to `files`, up to `limit` records from number `offset` (0 is the first) on, and sets `total` to
  // how many the catalog holds in all. Texts that are null or empty do not narrow the search. Limit and offset are
  // sent as given. Once `total` has been read, nothing fails any more.
  bool get_files(const char* landscape_id, const char* database, const char* filename, std::int64_t& total,
                 Backup_Files_Info& files, std::int64_t limit, std::int64_t offset);

  // Appends the job's files, as many as the catalog sends in one page; for others use
  // get_file_req("uuid=...&limit=...&offset=..."). False, silently, if `files` is empty after that.
  bool get_job_files(const char* job_uuid, Backup_Files_Info& files);

  // Replaces `file` with the last of the records under an external backup id. False, silently, if there is none.
  bool get_file_by_ebid(const char* ebid, Backup_File_Info& file);

  // get_files() for a query text of the caller's, encoded already and without its question mark.
  bool get_file_req(const char* query_string, std::int64_t& total, Backup_Files_Info& files);

  // Has the catalog remove what it holds under an external backup id. Whether there was anything, only its answer
  // tells.
  bool remove_file(const char* ebid);

 private:
  platform::JSON_HTTP_Session session_;
};

}  // namespace sap_hana
