#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "sandbox/host.h"

namespace {

using sandbox::Host;

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string owner_of(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return {};
  const passwd* user = ::getpwuid(status.st_uid);
  return user == nullptr ? std::string() : user->pw_name;
}

TEST(Sandbox, start_services_run_as_their_users_with_their_command_lines_and_environments) {
  const Host host;

  const struct {
    const char* sid;
    const char* instance;
    const char* user;
    const char* number;
  } cases[] = {{"HXE", "HDB90", "hxeadm", "90"}, {"S1P", "HDB02", "s1padm", "02"}, {"S4P", "ASCS01", "s4padm", "01"}};
  for (const auto& c : cases) {
    const std::string proc = "/proc/" + std::to_string(host.pid(c.sid, c.instance, "sapstartsrv"));
    const std::string sid = c.sid;
    const std::string dir = "/usr/sap/" + sid + "/" + c.instance;
    const std::string pf = "pf=/usr/sap/" + sid + "/SYS/profile/" + sid + "_" + c.instance + "_hxehost";
    const std::string nul(1, '\0');
    EXPECT_EQ(read_file(proc + "/cmdline"),
              dir + "/exe/sapstartsrv" + nul + pf + nul + "-D" + nul + "-u" + nul + c.user + nul);
    const std::string environment = nul + read_file(proc + "/environ");
    for (const std::string& entry : {"SAPSYSTEMNAME=" + sid, "DIR_INSTANCE=" + dir, "DIR_EXECUTABLE=" + dir + "/exe",
                                     std::string("TINSTANCE=") + c.number, std::string("HOSTNAME=hxehost")})
      EXPECT_NE(environment.find(nul + entry + nul), std::string::npos) << entry;
    EXPECT_EQ(owner_of(proc), sandbox::second_user_available() ? c.user : "root");
  }
}

}  // namespace
