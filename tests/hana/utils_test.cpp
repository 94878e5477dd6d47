#include "hana/common/utils.h"

#include <pwd.h>

#include "sandbox/way.h"
#include "tests/support/test.h"

namespace {

TEST(Utils, instance_names_and_numbers_turn_into_one_another) {
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

TEST(Utils, a_version_has_five_pieces) {
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

TEST(Utils, a_hana_time_carries_its_offset_or_is_refused) {
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

TEST(Utils, paths_follow_from_names_and_a_missing_one_is_refused) {
  test::Log_Capture log;
  const auto path_of = [](auto function, auto... names) {
    std::string path = "none";
    const bool given = function(names..., path);
    EXPECT_EQ(given, path != "none");
    return path;
  };
  const std::string agent = "/var/opt/kelvora/tarnvale/agent/hana/";
  EXPECT_EQ(path_of(sap_hana::ondemand_conf_path, "ABC", "HDB00", "$COMPONENT"),
            agent + "log_backup_ABC_HDB00_$COMPONENT");
  EXPECT_EQ(path_of(sap_hana::ondemand_conf_path, "ABC", "", "TEN1"), agent + "ondemand_ABC");
  EXPECT_EQ(path_of(sap_hana::catalog_conf_file_name, "ABC", "TEN1", "XYZ", "TEN2"),
            agent + "catalog/ABC@TEN1-XYZ@TEN2");
  EXPECT_EQ(path_of(sap_hana::restore_ext_conf_file, "ABC", "TEN1"), agent + "catalog/ABC@TEN1-restore-ext-conf");

  const std::string backint = "/usr/sap/ABC/SYS/global/hdb/backint/";
  EXPECT_EQ(path_of(sap_hana::database_pipe_path, "ABC", "SYSTEMDB", true), backint + "SYSTEMDB");
  EXPECT_EQ(path_of(sap_hana::database_pipe_path, "ABC", "systemdb", true), backint + "DB_systemdb");
  EXPECT_EQ(path_of(sap_hana::database_pipe_path, "ABC", "ABC", false), backint + "ABC");

  EXPECT_EQ(path_of(sap_hana::ondemand_conf_path, "", "HDB00", "TEN1"), "none");
  log.expect_error("Failed to generate onadmend configuration file path: lack of necessary path\n");
  const auto refused_for = [&](const std::string& name, auto function, auto... names) {
    EXPECT_EQ(path_of(function, names...), "none");
    log.expect_precondition(name + " is NULL or \"\"");
  };
  refused_for("origin_sid", sap_hana::catalog_conf_file_name, nullptr, "", "", "");
  refused_for("origin_database", sap_hana::catalog_conf_file_name, "A", nullptr, "", "");
  refused_for("target_sid", sap_hana::catalog_conf_file_name, "A", "a", "", nullptr);
  refused_for("target_database", sap_hana::catalog_conf_file_name, "A", "a", "B", "");
  refused_for("sid", sap_hana::restore_ext_conf_file, "", nullptr);
  refused_for("database", sap_hana::restore_ext_conf_file, "A", nullptr);
  refused_for("sid", sap_hana::database_pipe_path, nullptr, nullptr, true);
  refused_for("database", sap_hana::database_pipe_path, "A", "", true);
}

// In a child whose root directory is the test's own.
TEST(Utils, a_tree_is_given_to_saps_group_and_every_directory_on_a_way_gets_its_mode_also_the_root) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "only root may change its root directory";
  const test::Temporary_Directory files;
  files.directory("etc");
  files.file("etc/passwd", "sidadm:x:7:8::/:/bin/sh\n");
  files.file("etc/group", "sapsys:x:79:\n");
  files.directory("a/b");
  files.directory("c");
  static_cast<void>(::getpwuid(0));  // an older C library loads its reader of /etc/passwd with the first look
  EXPECT_TRUE(test::in_own_process([&] {
    test::Log_Capture log;
    if (::chroot(files.path().c_str()) != 0) return false;
    EXPECT_FALSE(sap_hana::change_file_group_to_sap("/a", "no_such_user"));
    log.expect_error("Failed to change file '%s' group\n");
    return sap_hana::change_file_group_to_sap("/a", "sidadm") && sap_hana::change_directory_permission("", 0) &&
           sap_hana::change_directory_permission("/missing/x", 0) &&
           sap_hana::change_directory_permission("/a/b", 0751);
  }));
  const auto state_of = [&](const char* name) {
    struct stat status {};
    EXPECT_EQ(::stat((files / name).c_str(), &status), 0);
    return std::to_string(status.st_uid) + " " + std::to_string(status.st_gid) + " " +
           std::to_string(status.st_mode & 0777U);
  };
  const std::string mode = std::to_string(0751);
  EXPECT_EQ(state_of(""), "0 0 " + mode);
  EXPECT_EQ(state_of("a"), "7 79 " + mode);
  EXPECT_EQ(state_of("a/b"), "7 79 " + mode);
  EXPECT_NE(state_of("c"), "0 0 " + mode);
}

}  // namespace
