#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "platform/export.h"
#include "platform/instances/instance.h"

namespace platform {

// The instances that the host program has configured, by type and name. There is one registry per process, empty at
// first; threads may use it at the same time.
//
// A HANA instance has the type "hana", a name such as "HXE_HDB90" (SID and instance name) and the options "sid",
// "instance_number" (0 to 99), "instance_name", "localhost", "dir_executable" and "multi_container" (a flag).
class GUSTAIKRUM_EXPORT Instance_Manager {
 public:
  // The one registry; it is never null.
  static Instance_Manager* instance();

  // The instance, shared with the registry; empty if there is none.
  Instance_var find(const char* type, const char* name) const;

  // Enters an instance, in place of an earlier one of that type and name; whoever found that one keeps it.
  // An empty `instance` is not entered.
  void add(const std::string& type, const std::string& name, const Instance_var& instance);
  void add(const std::string& type, const std::string& name, const Instance& instance) {
    add(type, name, std::make_shared<Instance>(instance));
  }

  // False if there was none.
  bool remove(const std::string& type, const std::string& name);

  // Enters every instance of an INI file: a section "<type>/<name>" for each, a key for each of its options.
  //
  //   [hana/HXE_HDB90]
  //   sid = HXE
  //   instance_number = 90
  //
  // False, with a message that names the file and the fault and nothing entered, if the file cannot be read, is no
  // regular file or no INI file, repeats a section or a key, or holds a key outside of a section or a section of
  // another form. It is never waited for.
  bool load(const std::string& path);

 private:
  using Key = std::pair<std::string, std::string>;  // type and name
  using Table = std::map<Key, Instance_var>;

  Instance_Manager() = default;

  static Table read(const std::string& path);

  mutable std::mutex mutex_;
  Table instances_;
};

}  // namespace platform
