#include "sandbox/host.h"
#include "tests/support/test.h"

namespace {

namespace fs = std::filesystem;
using sandbox::Host;
using test::run_command;

TEST(Sandbox, a_description_that_cannot_be_used_is_refused_with_its_line) {
  const struct {
    const char* description;
    const char* complaint;
  } cases[] = {
      {"host a\nsystem HXE {\n instance 90\n tenent X\n}",
       "line 4: unknown key 'tenent'; possible here: defaults, ini, "},
      {"system HXE {\n instance 9\n}", "line 2: 'instance 9' is not a name of the form [0-9][0-9]"},
      {"host a\n\nsystem HXE {", "line 3: unmatched {"},
      {"system HXE {\n instance 00\n}\nsystem ABC {\n instance 00\n}", "line 2: instance number 00 is taken"},
  };
  for (const auto& c : cases) {
    try {
      sandbox::parse_description(c.description);
      ADD_FAILURE() << "accepted: " << c.description;
    } catch (const sandbox::Description_Error& error) {
      EXPECT_NE(std::string(error.what()).find(c.complaint), std::string::npos) << error.what();
    }
  }
}

TEST(Sandbox, a_stand_in_is_run_and_reaches_what_it_stands_for) {
  const Host host("system HXE { instance 90 { running no } }");
  const std::string wrapper = "#!/bin/sh\necho instead\nSANDBOX_NO_OVERRIDE=1 exec \"${0%.override}\" \"$@\"\n";
  for (const auto& [tool, output] : {std::pair("exe/hdbsql", "instead\nusage: hdbsql "),
                                     {"HDB", "instead\nUsage: HDB "},
                                     {"exe/hdbsrvutil", "instead\n"}}) {
    const std::string path = std::string("/usr/sap/HXE/HDB90/") + tool;
    std::ofstream(path + ".override") << wrapper;
    fs::permissions(path + ".override", fs::perms(0755));
    EXPECT_EQ(run_command("timeout 5 " + path + " x").output.find(output), 0U) << path;
  }
}

}  // namespace
