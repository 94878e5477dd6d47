#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "sandbox/host_description.h"
#include "sandbox/way.h"

namespace sandbox {

// A running HANA host inside an entered sandbox: its tree below "/usr/sap", its users, its processes.
//
// One at a time in one sandbox; the next may follow when this one is gone. Programs are named as their files are:
// "sapstartsrv", "hdbindexserver" (and "hdbdaemon", "hdbnameserver", "hdbpreprocessor", "hdbcompileserver"). Every
// operation throws std::runtime_error where it cannot do what it says.
class Host {
 public:
  // Builds and starts the described host. Throws std::runtime_error outside a sandbox, which protects a real one.
  explicit Host(const std::string& description = default_description());
  // Stops all of the host's processes and removes its tree.
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  const Host_Description& description() const { return description_; }

  // The pid of one of an instance's programs; 0 if it does not run.
  pid_t pid(const std::string& sid, const std::string& instance, const std::string& program) const;
  // Starts one of an instance's programs, which must not run, and returns its pid. A server listens by then.
  pid_t start(const std::string& sid, const std::string& instance, const std::string& program);
  // Ends one of an instance's programs, if it runs, and waits until it is gone.
  void stop(const std::string& sid, const std::string& instance, const std::string& program);

  // The statements that the system's hdbsql has run since the last call, oldest first; a newline in one is "\n".
  std::vector<std::string> take_statements(const std::string& sid);
  // What the instance's HDB script saw at each run since the last call:
  // "uid=60001 gid=79 groups=79 78 60000 LD_LIBRARY_PATH=... HDB_START_TIMEOUT=... HDB_STOP_TIMEOUT=...
  // arguments=stop".
  std::vector<std::string> take_hdb_runs(const std::string& sid, const std::string& instance);
  // Lets the HDB script fail with "FAIL: " and the reason; no longer so with an empty one.
  void fail_hdb(const std::string& sid, const std::string& instance, const std::string& reason);

 private:
  void start_all();
  const Instance_Description& find(const std::string& sid, const std::string& instance) const;

  Host_Description description_;
};

}  // namespace sandbox
