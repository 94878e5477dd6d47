#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "hana/common/environ_getter.h"
#include "platform/process/process_options.h"

namespace sap_hana {

// The start services of this host's instances: how they are found, read and believed.
//
// Any local user can run a process that looks like one, with an environment of choice. What only tells of the host
// believes everyone. What runs something because a start service says so, asks first whether it can be believed.

// Takes the environment of a start service piece by piece, entries "name=value" each ended by a NUL: DIR_EXECUTABLE,
// HOSTNAME, DIR_INSTANCE, USER and SAPSYSTEMNAME as they are, the last of each, and the instance number from TINSTANCE
// or else from the last "HDB" and two digits in the instance directory. Keeps no other entry in memory.
class Environment_Reader {
 public:
  explicit Environment_Reader(HANA_Env_Value& val) : val_(val) {}

  void feed(std::string_view piece);
  // After the last piece. False if nothing tells the number; the texts are taken over all the same.
  bool finish();

 private:
  void begin_entry(std::string_view text);
  void take_entry(std::string_view entry);

  HANA_Env_Value& val_;
  bool numbered_ = false;
  bool passing_over_ = false;  // an entry that is of no interest
  std::string begun_;          // an entry that goes on in the next piece
};

// Reads the environment of a process. False, with a message, if it cannot be read or tells no instance number; what was
// read stays in `val`.
bool read_environment(pid_t pid, HANA_Env_Value& val);

// Whose word a start service's environment is. Every one but a stranger's is believed.
enum class Trust {
  MINE,            // the calling program's user's
  ROOTS,           // root's, where that is another
  ADMINISTRATORS,  // its system's administrator's
  STRANGERS        // anybody else's; a process that does not keep still; one for which paths mean something else
};

struct Start_Service {
  pid_t pid = 0;
  HANA_Env_Value environment{};
  Trust trust = Trust::STRANGERS;

  bool is_believed() const { return trust != Trust::STRANGERS; }
};

// Replaces `service` by what the process says of itself, and judges whose word that is. Its administrator is that of
// `system` where it is given, else of the system that it names. Why it is not believed is told at LM_DEBUG.
// False, after a message, if its environment cannot be read.
bool read_start_service(pid_t pid, const std::string* system, Start_Service& service);

// Lets a child run as the user whose word a believed service is.
void run_as_owner(const Start_Service& service, const std::string& system, platform::Process_Options& options);

// The operating system's user that a system belongs to: "hxeadm" for HXE.
std::string administrator_of(const std::string& sid);

}  // namespace sap_hana
