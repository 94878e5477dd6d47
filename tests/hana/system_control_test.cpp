#include "hana/common/system_control.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "sandbox/host.h"
#include "tests/support/log_capture.h"

namespace {

using sap_hana::System_Controller;

TEST(SystemController, systems_of_a_host_are_told_apart) {
  test::Log_Capture log;
  const sandbox::Host host;
  const System_Controller multiple("HXE");
  const System_Controller single("S1P");

  EXPECT_TRUE(multiple.is_multi_container());
  EXPECT_TRUE(multiple.is_system_database("SYSTEMDB"));
  EXPECT_FALSE(multiple.is_system_database("systemdb"));
  EXPECT_FALSE(multiple.is_system_database("TEN1"));
  EXPECT_FALSE(single.is_multi_container());
  EXPECT_TRUE(single.is_system_database("TEN1"));
  EXPECT_TRUE(single.start() && single.stop());
}

TEST(SystemController, anything_but_the_exact_mode_is_a_single_container) {
  test::Log_Capture log;
  const sandbox::Host host("system HXE { instance 90 }");
  const std::string path = "/usr/sap/HXE/SYS/global/hdb/custom/config/global.ini";
  const struct {
    const char* content;
    bool multiple;
  } cases[] = {
      {"[multidb]\nmode = multidb\n", true},
      {"[multidb]\nmode = MultiDB\n", false},
      {"[multidb]\nmode = singledb\n", false},
      {"[persistence]\nmode = multidb\n", false},
      {"[multidb]\nmode = multidb\n[multidb]\n", false},
      {"[multidb\nmode = multidb\n", false},
      {"", false},
  };
  for (const auto& c : cases) {
    std::ofstream(path, std::ios::trunc) << c.content;
    EXPECT_EQ(System_Controller("HXE").is_multi_container(), c.multiple) << c.content;
    EXPECT_EQ(System_Controller("HXE").is_system_database("TEN1"), !c.multiple) << c.content;
  }

  std::filesystem::remove(path);
  EXPECT_FALSE(System_Controller("HXE").is_multi_container());
  std::filesystem::create_directory(path);
  EXPECT_FALSE(System_Controller("HXE").is_multi_container());
}

}  // namespace
