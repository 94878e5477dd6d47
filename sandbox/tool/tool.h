#pragma once

#include <string>
#include <vector>

namespace sandbox {

using Arguments = std::vector<std::string>;  // the program's path first

// "sapstartsrv pf=PROFILE [-D -u USER]": becomes the user and stays behind with the profile's environment.
int run_start_service(const Arguments& arguments, char** argv);

// "hdbindexserver -port 39013", and the other servers alike: stays behind once it listens, and tells every client the
// SID of its system.
int run_server(const Arguments& arguments);

// "hdbsql -u USER -p PASSWORD -i NUMBER [-d DATABASE] -n HOST:PORT STATEMENT".
int run_hdbsql(const Arguments& arguments);

// Leaves the caller alone with `report_pid` called in it, and goes on in a child of its own session, which nobody here
// has to wait for. True in that child. The child keeps the descriptors that it inherited, as these programs do.
bool stay_behind(const std::string& pid_file);

// The instance that a program's path belongs to: SID "HXE" and instance "HDB90" for "/usr/sap/HXE/HDB90/exe/hdbsql",
// "hostctrl" and "" for the host agent's.
struct Place {
  std::string sid;
  std::string instance;
  std::string program;
};
Place place_of(const std::string& program_path);

}  // namespace sandbox
