#pragma once

#include <sys/stat.h>

#include <fstream>
#include <string>
#include <vector>

#include "hana/common/hdbsql_executor.h"
#include "platform/instances/instance.h"
#include "tests/support/temporary_directory.h"

namespace test {

// A directory of executables whose hdbsql writes down how it was run and gives the answers that it was told to.
class Scripted_Hdbsql {
 public:
  Scripted_Hdbsql() {
    files_.file("hdbsql",
                "#!/bin/sh\n"
                "here=${0%/*}\n"
                "for sql; do :; done\n"
                "word=${sql%% *}\n"
                "printf '%s\\n' \"$LD_LIBRARY_PATH\" \"$@\" >\"$here/run\"\n"
                "printf '%s\\n' \"$sql\" >>\"$here/statements\"\n"
                "[ ! -e \"$here/$word.out\" ] || cat \"$here/$word.out\"\n"
                "[ ! -e \"$here/$word.err\" ] || cat \"$here/$word.err\" >&2\n"
                "read status <\"$here/$word.status\" && exit \"$status\"\n"
                "exit 0\n");
    ::chmod(tool().c_str(), 0755);
    for (const char* word : {"select", "SELECT", "ALTER"})
      answer(word, "");
  }

  std::string directory() const { return files_.path(); }
  std::string tool() const { return files_ / "hdbsql"; }

  // What a statement with this first word prints and ends with from now on.
  void answer(const std::string& word, const std::string& output, const std::string& error = "", int status = 0) {
    files_.file(word + ".out", output);
    files_.file(word + ".err", error);
    files_.file(word + ".status", std::to_string(status) + "\n");
  }

  // An instance whose executables lie here.
  sap_hana::Database_Info database() const {
    sap_hana::Database_Info info{};
    info.instance_info.system_info.sid = "HXE";
    info.instance_info.system_info.localhost = "hxehost";
    info.instance_info.instance_number = 90;
    info.instance_info.system_info.multi_container = true;
    info.instance_info.dir_executable = directory();
    return info;
  }

  // The same instance as a host program configures it.
  platform::Instance configured() const {
    platform::Instance instance;
    instance.set_option("sid", "HXE");
    instance.set_option("instance_number", 90);
    instance.set_option("instance_name", "HDB90");
    instance.set_option("localhost", "hxehost");
    instance.set_option("dir_executable", directory());
    instance.set_option("multi_container", true);
    return instance;
  }

  // Connected to that instance.
  sap_hana::HDBSQL_Executor executor() const {
    sap_hana::HDBSQL_Executor made("");
    EXPECT_TRUE(made.init(database(), "SYSTEM", "Secret1"));
    return made;
  }

  // The last run: its LD_LIBRARY_PATH, then its arguments.
  std::vector<std::string> last_run() const { return lines("run"); }

  // The statements since the last call, oldest first.
  std::vector<std::string> take_statements() const {
    const auto taken = lines("statements");
    files_.file("statements", "");
    return taken;
  }

 private:
  std::vector<std::string> lines(const std::string& name) const {
    std::ifstream file(files_ / name);
    std::vector<std::string> found;
    for (std::string line; std::getline(file, line);)
      found.push_back(line);
    return found;
  }

  Temporary_Directory files_;
};

}  // namespace test
