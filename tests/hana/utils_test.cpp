#include "hana/common/utils.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>

#include "sandbox/way.h"
#include "tests/support/log_capture.h"
#include "tests/support/own_process.h"
#include "tests/support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;

class Utils : public testing::Test {
 protected:
  test::Log_Capture log_;
};

TEST_F(Utils, instance_names_and_numbers_turn_into_one_another) {
  EXPECT_EQ(sap_hana::generate_instance_manager_name("ABC", std::string("HDB00")), "ABC_HDB00");
  EXPECT_EQ(sap_hana::generate_instance_manager_name("ABC", std::uint16_t{5}), "ABC_HDB05");

  std::string name;
  EXPECT_TRUE(sap_hana::instance_number_to_name(99, name));
  EXPECT_FALSE(sap_hana::instance_number_to_name(100, name));
  EXPECT_EQ(name, "HDB99");

  std::uint16_t number = 0;
  EXPECT_TRUE(sap_hana::instance_name_to_number("HDB7x", number));
  for (const char* refused : {"HDB0", "HDB000", "hdb00"})
    EXPECT_FALSE(sap_hana::instance_name_to_number(refused, number)) << refused;
  EXPECT_EQ(number, 7);
}

TEST_F(Utils, a_version_has_five_pieces) {
  const auto read = [](const char* text) {
    std::uint16_t major = 0, patch_number = 0;
    std::uint32_t support_pack = 0;
    if (!sap_hana::parse_version_string(text, major, support_pack, patch_number)) return std::string("refused");
    return std::to_string(major) + " " + std::to_string(support_pack) + " " + std::to_string(patch_number);
  };
  EXPECT_EQ(read("2.00.059.04.1636536034"), "2 59 4");
  EXPECT_EQ(read("2..00...071.03.1x"), "2 71 3");
  EXPECT_EQ(read("70000.x.-1.65537.x"), "65535 4294967295 1");
  EXPECT_EQ(read("2.00.059.04"), "refused");
  EXPECT_EQ(read(""), "refused");
}

TEST_F(Utils, configuration_files_stand_in_the_agents_directory) {
  const std::string directory = "/var/opt/kelvora/tarnvale/agent/hana/";
  std::string path;
  EXPECT_TRUE(sap_hana::ondemand_conf_path("ABC", "HDB00", "$COMPONENT", path));
  EXPECT_EQ(path, directory + "log_backup_ABC_HDB00_$COMPONENT");
  EXPECT_TRUE(sap_hana::ondemand_conf_path("ABC", "", "TEN1", path));
  EXPECT_EQ(path, directory + "ondemand_ABC");
  EXPECT_TRUE(sap_hana::catalog_conf_file_name("ABC", "TEN1", "XYZ", "TEN2", path));
  EXPECT_EQ(path, directory + "catalog/ABC@TEN1-XYZ@TEN2");
  EXPECT_TRUE(sap_hana::restore_ext_conf_file("ABC", "TEN1", path));
  EXPECT_EQ(path, directory + "catalog/ABC@TEN1-restore-ext-conf");

  EXPECT_FALSE(sap_hana::ondemand_conf_path("", "HDB00", "TEN1", path));
  log_.expect_error("Failed to generate onadmend configuration file path: lack of necessary path\n");
  EXPECT_EQ(path, directory + "catalog/ABC@TEN1-restore-ext-conf");
}

TEST_F(Utils, pipes_of_tenants_have_a_prefix_in_a_multiple_container_system) {
  const auto pipe_of = [](const char* database, bool multi_container) {
    std::string path;
    EXPECT_TRUE(sap_hana::database_pipe_path("ABC", database, multi_container, path));
    return path;
  };
  EXPECT_EQ(pipe_of("SYSTEMDB", true), "/usr/sap/ABC/SYS/global/hdb/backint/SYSTEMDB");
  EXPECT_EQ(pipe_of("systemdb", true), "/usr/sap/ABC/SYS/global/hdb/backint/DB_systemdb");
  EXPECT_EQ(pipe_of("ABC", false), "/usr/sap/ABC/SYS/global/hdb/backint/ABC");
}

TEST_F(Utils, a_missing_text_is_refused_by_its_name) {
  std::string path = "before";
  const std::pair<bool, std::string> cases[] = {
      {sap_hana::catalog_conf_file_name(nullptr, "", "", "", path), "origin_sid"},
      {sap_hana::catalog_conf_file_name("A", nullptr, "", "", path), "origin_database"},
      {sap_hana::catalog_conf_file_name("A", "a", "", nullptr, path), "target_sid"},
      {sap_hana::catalog_conf_file_name("A", "a", "B", "", path), "target_database"},
      {sap_hana::restore_ext_conf_file("", nullptr, path), "sid"},
      {sap_hana::restore_ext_conf_file("A", nullptr, path), "database"},
      {sap_hana::database_pipe_path(nullptr, nullptr, true, path), "sid"},
      {sap_hana::database_pipe_path("A", "", true, path), "database"},
  };
  for (const auto& [given, name] : cases) {
    EXPECT_FALSE(given) << name;
    log_.expect_precondition(name + " is NULL or \"\"");
  }
  EXPECT_EQ(path, "before");
}

TEST_F(Utils, a_hana_time_carries_its_offset_or_is_refused) {
  constexpr std::time_t REFUSED = 7;
  const auto read = [](const char* text) {
    std::time_t time = REFUSED;
    const bool taken = sap_hana::hana_time_to_posix_time(text, time);
    EXPECT_EQ(time != REFUSED, taken);
    return time;
  };
  EXPECT_EQ(read("2024-01-31T12:00:00+0100"), 1706698800);
  EXPECT_EQ(read("2024-01-31T12:00:00-0530"), 1706722200);
  EXPECT_EQ(read("1969-12-31T23:59:59Z"), -1);
  for (const char* refused : {"2024-01-31T12:00:00", "2024-01-31T12:00:00+0100 ", "2023-02-29T00:00:00+0000"})
    EXPECT_EQ(read(refused), REFUSED) << refused;
}

// Both in a child whose root directory is the test's own.
class Modes : public Utils {
 protected:
  void SetUp() override {
    if (!sandbox::second_user_available()) GTEST_SKIP() << "only root may change its root directory";
  }

  template <class Body>
  bool in_own_root(Body body) const {
    static_cast<void>(::getpwuid(0));  // an older C library loads its reader of /etc/passwd with the first look
    return test::in_own_process([&] { return ::chroot(files_.path().c_str()) == 0 && body(); });
  }

  const test::Temporary_Directory files_;
};

TEST_F(Modes, a_tree_is_given_to_the_user_and_saps_group_or_the_failure_told_without_the_path) {
  files_.directory("etc");
  files_.file("etc/passwd", "sidadm:x:7:8::/:/bin/sh\n");
  files_.file("etc/group", "sapsys:x:79:\n");
  files_.directory("tree/a");
  EXPECT_TRUE(in_own_root([&] {
    const bool refused = !sap_hana::change_file_group_to_sap("/tree", "no_such_user");
    log_.expect_error("Failed to change file '%s' group\n");
    return refused && sap_hana::change_file_group_to_sap("/tree", "sidadm");
  }));
  for (const char* name : {"tree", "tree/a"}) {
    struct stat status {};
    EXPECT_EQ(::stat((files_ / name).c_str(), &status), 0);
    EXPECT_EQ(std::pair(status.st_uid, status.st_gid), std::pair(7U, 79U)) << name;
  }
}

TEST_F(Modes, every_directory_on_the_way_gets_the_mode_also_the_root) {
  files_.directory("a/b");
  files_.directory("c");
  EXPECT_TRUE(in_own_root([] {
    return sap_hana::change_directory_permission("", 0) && sap_hana::change_directory_permission("/missing/x", 0) &&
           sap_hana::change_directory_permission("/a/b", 0751);
  }));
  const auto mode = [&](const char* name) { return static_cast<int>(fs::status(files_ / name).permissions()); };
  for (const char* name : {"", "a", "a/b"})
    EXPECT_EQ(mode(name), 0751) << name;
  EXPECT_NE(mode("c"), 0751);
}

}  // namespace
