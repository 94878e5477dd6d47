#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

#include "sandbox/host.h"

namespace {

struct Outcome {
  int status;
  std::string output;  // both streams
};

Outcome run(const std::string& arguments) {
  Outcome outcome{-1, ""};
  FILE* const pipe = ::popen((std::string(HOST_REPORT) + " " + arguments + " 2>&1").c_str(), "re");
  if (pipe == nullptr) return outcome;
  std::array<char, 4096> buffer;
  while (const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    outcome.output.append(buffer.data(), got);
  }
  outcome.status = WEXITSTATUS(::pclose(pipe));
  return outcome;
}

TEST(HostReport, it_shows_the_host_that_is_there) {
  const sandbox::Host host(
      "host db-7\n"
      "system HXE { instance 00 { environment { HOSTNAME \"a\033b\" } } }\n"
      "system HDB { mode single landscape_id lid-1\n"
      "  instance 02 { running no version \"\" } }");

  const Outcome outcome = run("");

  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output,
            "SAP HANA on db-7: 2 systems, 2 instances\n"
            "\n"
            "HDB\n"
            "    mode          single-container\n"
            "    landscape id  lid-1\n"
            "\n"
            "  HDB02\n"
            "    number        02\n"
            "    host          db-7\n"
            "    version       unknown\n"
            "    user          hdbadm\n"
            "    directory     /usr/sap/HDB/HDB02\n"
            "    executables   /usr/sap/HDB/HDB02/exe\n"
            "    trace         /usr/sap/HDB/HDB02/db-7/trace\n"
            "    ports         30200  daemon                -\n"
            "                  30201  name server           -\n"
            "                  30202  preprocessor          -\n"
            "                  30210  compile server        -\n"
            "                  30217  statistics server     -\n"
            "                  30215  SQL                   -\n"
            "\n"
            "HXE\n"
            "    mode          multiple-container\n"
            "    landscape id  5fb0d5a1-7c3e-4d2b-9a60-485845000000\n"
            "\n"
            "  HDB00\n"
            "    number        00\n"
            "    host          a?b\n"
            "    version       2.00.071.00.1687900751\n"
            "    user          hxeadm\n"
            "    directory     /usr/sap/HXE/HDB00\n"
            "    executables   /usr/sap/HXE/HDB00/exe\n"
            "    trace         /usr/sap/HXE/HDB00/db-7/trace\n"
            "    ports         30000  daemon                listening\n"
            "                  30001  name server           listening\n"
            "                  30002  preprocessor          listening\n"
            "                  30010  compile server        listening\n"
            "                  30017  statistics server     -\n"
            "                  30013  SQL, system database  listening\n");
}

TEST(HostReport, what_it_cannot_show_it_says) {
  {
    const sandbox::Host host("host db-7");
    const Outcome outcome = run("");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "host_report: no SAP HANA instance runs on db-7\n");
  }
  const sandbox::Host host("host db-7\nsystem HXE { instance 90 { unset HOSTNAME } }");
  const Outcome outcome = run("");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output.find("host_report: SAP HANA runs on db-7, but no instance could be read"), 0U);
}

TEST(HostReport, a_wrong_call_shows_the_usage) {
  EXPECT_EQ(run("--help").status, 0);
  EXPECT_EQ(run("everything").status, 2);
  EXPECT_EQ(run("everything").output.find("usage: host_report\n"), 0U);
}

}  // namespace
