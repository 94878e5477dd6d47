#include "hana/common/utils.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/log_capture.h"
#include "tests/support/temporary_directory.h"

namespace {

class Utils : public testing::Test {
 protected:
  test::Log_Capture log_;
};

TEST_F(Utils, instance_names_and_numbers_turn_into_one_another) {
  EXPECT_EQ(sap_hana::generate_instance_manager_name("ABC", std::string("HDB00")), "ABC_HDB00");
  EXPECT_EQ(sap_hana::generate_instance_manager_name("ABC", std::uint16_t{5}), "ABC_HDB05");
  EXPECT_EQ(sap_hana::generate_instance_manager_name("ABC", std::uint16_t{12345}), "ABC_HDB12345");

  std::string name;
  EXPECT_TRUE(sap_hana::instance_number_to_name(7, name));
  EXPECT_EQ(name, "HDB07");
  EXPECT_TRUE(sap_hana::instance_number_to_name(99, name));
  EXPECT_FALSE(sap_hana::instance_number_to_name(100, name));
  EXPECT_EQ(name, "HDB99");
}

TEST_F(Utils, an_instance_name_gives_the_number_that_its_end_begins_with) {
  constexpr std::uint16_t REFUSED = 777;
  const struct {
    const char* name;
    std::uint16_t number;
  } cases[] = {
      {"HDB00", 0},      {"HDB90", 90},      {"HDBxy", 0},       {"HDB7x", 7},        {"HDB+5", 5},  {"HDB-5", 0},
      {"HDB0", REFUSED}, {"hdb00", REFUSED}, {"XDB00", REFUSED}, {"HDB000", REFUSED}, {"", REFUSED},
  };
  for (const auto& c : cases) {
    std::uint16_t number = REFUSED;
    EXPECT_EQ(sap_hana::instance_name_to_number(c.name, number), c.number != REFUSED) << c.name;
    EXPECT_EQ(number, c.number) << c.name;
  }
}

TEST_F(Utils, a_version_has_five_pieces) {
  constexpr std::uint16_t REFUSED = 777;
  const struct {
    const char* text;
    std::uint16_t major;
    std::uint32_t support_pack;
    std::uint16_t patch_number;
  } cases[] = {
      {"2.00.059.00.1636536034", 2, 59, 0},
      {"2..00...071.03.1x", 2, 71, 3},
      {".00.059.07.1", 0, 59, 7},
      {"70000.x.-1.65537.x", 65535, 4294967295, 1},
      {"2.00.059.00", REFUSED, REFUSED, REFUSED},
      {"2.00.059.00.1.2", REFUSED, REFUSED, REFUSED},
      {"2.00.059.00.1.", REFUSED, REFUSED, REFUSED},
      {"", REFUSED, REFUSED, REFUSED},
  };
  for (const auto& c : cases) {
    std::uint16_t major = REFUSED;
    std::uint32_t support_pack = REFUSED;
    std::uint16_t patch_number = REFUSED;
    EXPECT_EQ(sap_hana::parse_version_string(c.text, major, support_pack, patch_number), c.major != REFUSED) << c.text;
    EXPECT_EQ(major, c.major) << c.text;
    EXPECT_EQ(support_pack, c.support_pack) << c.text;
    EXPECT_EQ(patch_number, c.patch_number) << c.text;
  }
}

TEST_F(Utils, configuration_files_stand_in_the_agents_directory) {
  const std::string directory = "/var/opt/kelvora/tarnvale/agent/hana/";
  const struct {
    const char* instance;
    const char* database;
    const char* file;
  } cases[] = {
      {"HDB00", "TEN1", "log_backup_ABC_HDB00_TEN1"},
      {"HDB00", "", "log_backup_ABC_HDB00"},
      {"", "TEN1", "ondemand_ABC"},
      {"HDB00", "$COMPONENT", "log_backup_ABC_HDB00_$COMPONENT"},
  };
  std::string path;
  for (const auto& c : cases) {
    EXPECT_TRUE(sap_hana::ondemand_conf_path("ABC", c.instance, c.database, path));
    EXPECT_EQ(path, directory + c.file);
  }

  EXPECT_TRUE(sap_hana::catalog_conf_file_name("ABC", "TEN1", "XYZ", "TEN2", path));
  EXPECT_EQ(path, directory + "catalog/ABC@TEN1-XYZ@TEN2");
  EXPECT_TRUE(sap_hana::restore_ext_conf_file("ABC", "TEN1", path));
  EXPECT_EQ(path, directory + "catalog/ABC@TEN1-restore-ext-conf");

  EXPECT_FALSE(sap_hana::ondemand_conf_path("", "HDB00", "TEN1", path));
  log_.expect_error("Failed to generate onadmend configuration file path: lack of necessary path\n");
  EXPECT_EQ(path, directory + "catalog/ABC@TEN1-restore-ext-conf");
}

TEST_F(Utils, pipes_of_tenants_have_a_prefix_in_a_multiple_container_system) {
  const struct {
    const char* database;
    bool mdc;
    const char* end;
  } cases[] = {
      {"SYSTEMDB", true, "SYSTEMDB"}, {"systemdb", true, "DB_systemdb"},
      {"TEN1", true, "DB_TEN1"},      {"SYSTEMDB", false, "SYSTEMDB"},
      {"ABC", false, "ABC"},
  };
  for (const auto& c : cases) {
    std::string path;
    EXPECT_TRUE(sap_hana::database_pipe_path("ABC", c.database, c.mdc, path));
    EXPECT_EQ(path, std::string("/usr/sap/ABC/SYS/global/hdb/backint/") + c.end);
  }
}

TEST_F(Utils, a_missing_text_is_refused_by_its_name) {
  std::string path = "before";
  for (const char* missing : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_FALSE(sap_hana::catalog_conf_file_name(missing, missing, missing, missing, path));
    log_.expect_precondition("origin_sid is NULL or \"\"");
    EXPECT_FALSE(sap_hana::catalog_conf_file_name("A", missing, missing, missing, path));
    log_.expect_precondition("origin_database is NULL or \"\"");
    EXPECT_FALSE(sap_hana::catalog_conf_file_name("A", "a", missing, missing, path));
    log_.expect_precondition("target_sid is NULL or \"\"");
    EXPECT_FALSE(sap_hana::catalog_conf_file_name("A", "a", "B", missing, path));
    log_.expect_precondition("target_database is NULL or \"\"");

    EXPECT_FALSE(sap_hana::restore_ext_conf_file(missing, missing, path));
    log_.expect_precondition("sid is NULL or \"\"");
    EXPECT_FALSE(sap_hana::restore_ext_conf_file("A", missing, path));
    log_.expect_precondition("database is NULL or \"\"");

    EXPECT_FALSE(sap_hana::database_pipe_path(missing, missing, true, path));
    log_.expect_precondition("sid is NULL or \"\"");
    EXPECT_FALSE(sap_hana::database_pipe_path("A", missing, true, path));
    log_.expect_precondition("database is NULL or \"\"");
  }
  EXPECT_EQ(path, "before");
}

TEST_F(Utils, a_hana_time_carries_its_offset) {
  std::time_t time = 0;

  EXPECT_TRUE(sap_hana::hana_time_to_posix_time("2024-01-31T12:00:00+0100", time));
  EXPECT_FALSE(sap_hana::hana_time_to_posix_time("2024-01-31T13:00:00", time));

  EXPECT_EQ(time, 1706698800);
}

TEST_F(Utils, a_group_that_cannot_be_given_is_told_without_the_path) {
  EXPECT_FALSE(sap_hana::change_file_group_to_sap("/missing/file", "no_such_user"));

  log_.expect_error("Failed to change file '%s' group\n");
}

mode_t mode_of(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

// In a child whose root directory is the test's own.
TEST_F(Utils, every_directory_on_the_way_gets_the_mode_also_the_root) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may change its root directory";
  const test::Temporary_Directory files;
  files.directory("a/b");
  files.directory("c");
  for (const char* name : {"", "a", "a/b", "c"})
    ASSERT_EQ(::chmod((files / name).c_str(), 0700), 0);

  const pid_t child = ::fork();
  if (child == 0) {
    const bool ok = ::chroot(files.path().c_str()) == 0 && sap_hana::change_directory_permission("", 0) &&
                    sap_hana::change_directory_permission("/missing/x", 0) &&
                    sap_hana::change_directory_permission("/a/b", 0751);
    ::_exit(ok ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);

  EXPECT_EQ(status, 0);
  for (const char* name : {"", "a", "a/b"})
    EXPECT_EQ(mode_of(files / name), 0751U) << name;
  EXPECT_EQ(mode_of(files / "c"), 0700U);
}

}  // namespace
