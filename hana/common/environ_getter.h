#pragma once

#include <ace/Null_Mutex.h>
#include <ace/Singleton.h>
#include <sys/types.h>

#include <cstdint>
#include <list>
#include <string>

#include "platform/export.h"

namespace sap_hana {

// The environment of one instance, as its start service "sapstartsrv" runs with it.
struct HANA_Env_Value {
  std::string dir_executable;     // DIR_EXECUTABLE
  std::string hostname;           // HOSTNAME, this host's name as the instance knows it
  std::string instance_dir;       // DIR_INSTANCE, such as "/usr/sap/HXE/HDB90"
  std::string user;               // USER
  std::uint16_t instance_number;  // TINSTANCE, else the digits of the last "HDB<nn>" in instance_dir
  std::string sid;                // SAPSYSTEMNAME
  std::string trace_dir;          // never set here
  std::string landscape_id;       // set by get() for a SID only
};

// Reads the environment of running instances from "/proc/<pid>/environ", and what follows from it.
//
// There is one object in a process; it holds no state. Its first instance() must not race another, nor
// close_instance() any use of it; everything else may be called from several threads at once.
// Nothing is thrown: a failure is logged and returned as false, and what was written to the out-parameters stays.
class GUSTAIKRUM_EXPORT Environ_Getter {
 public:
  // The one object, made on the first call; the library keeps it. Null only where there is no memory to make it.
  static Environ_Getter* instance();

  // Ends that object, which also goes when the library is unloaded. The next instance() makes another one.
  static void close_instance();

  // Reads the environment of a process. True as soon as it yields an instance number; any text may be empty. A field
  // whose variable is absent keeps what `val` held, one that is set twice gets the later value, and the number is 0
  // where TINSTANCE does not begin with one.
  bool get(pid_t pid, HANA_Env_Value& val) const;

  // Reads the environment of a system, and its landscape id. The environment is that of the first process, by pid,
  // whose command line matches "<SID>.*exe/sapstartsrv" as a regular expression; for a system named "HDB" that can be
  // another system's. False also where only the landscape id is missing.
  bool get(const std::string& sid, HANA_Env_Value& val) const;

  // Replaces `dir` with the trace directory of the system's first instance in "/usr/sap/sapservices",
  // "/usr/sap/<SID>/HDB<nn>/<host>/trace"; whether it exists is not looked at. The SID is part of a regular expression.
  // False if the file cannot be read or the search fails, and, without a message, if no line names the system.
  bool get_trace_dir(const std::string& sid, std::string& dir) const;

  // Appends every existing directory "<instance_dir>/<entry>/trace" of the running system, in the file system's order.
  // True if `dirs` is not empty afterwards, deliberately also through what it held before.
  bool get_trace_dirs(const std::string& sid, std::list<std::string>& dirs) const;

  // Replaces `id` with the key "id" of the section [landscape] of the system's "nameserver.ini".
  // False if that cannot be read, and, without a message, if it is empty.
  bool get_landscape_id(const char* sid, std::string& id) const;

 private:
  friend class ACE_Singleton<Environ_Getter, ACE_Null_Mutex>;

  Environ_Getter() = default;
  ~Environ_Getter() = default;

  bool get_env_value(const pid_t& pid, HANA_Env_Value& val) const;
};

}  // namespace sap_hana
