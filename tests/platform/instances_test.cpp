#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include "platform/instances/instance_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_directory.h"

namespace {

using platform::Instance;
using platform::Instance_Manager;

template <class T>
std::optional<T> option(const Instance& instance, const std::string& key) {
  T value{};
  return instance.get_option(key, value) ? std::optional(value) : std::nullopt;
}

TEST(Instance, a_text_is_a_number_or_a_flag_only_where_all_of_it_is) {
  const struct {
    std::string text;
    std::optional<std::uint64_t> number;
    std::optional<bool> flag;
  } cases[] = {
      {"0", 0, false},
      {"1", 1, true},
      {"0090", 90, std::nullopt},
      {"18446744073709551615", UINT64_MAX, std::nullopt},
      {"18446744073709551616", std::nullopt, std::nullopt},
      {"", std::nullopt, std::nullopt},
      {"+5", std::nullopt, std::nullopt},
      {"-5", std::nullopt, std::nullopt},
      {" 5", std::nullopt, std::nullopt},
      {"5x", std::nullopt, std::nullopt},
      {std::string("5\0", 2), std::nullopt, std::nullopt},
      {"true", std::nullopt, true},
      {"YES", std::nullopt, true},
      {"On", std::nullopt, true},
      {"False", std::nullopt, false},
      {"no", std::nullopt, false},
      {"OFF", std::nullopt, false},
      {"truee", std::nullopt, std::nullopt},
      {"t", std::nullopt, std::nullopt},
  };
  for (const auto& c : cases) {
    Instance instance;
    instance.set_option("key", c.text);
    EXPECT_EQ(option<std::string>(instance, "key"), c.text);
    EXPECT_EQ(option<std::uint64_t>(instance, "key"), c.number) << c.text;
    EXPECT_EQ(option<bool>(instance, "key"), c.flag) << c.text;
    EXPECT_EQ(option<std::string>(instance, "other"), std::nullopt);
  }
}

TEST(Instance, what_was_set_as_one_type_reads_as_that_type) {
  Instance instance;
  instance.set_option("literal", "false");  // a text, though a pointer would also make a flag
  instance.set_option("flag", true);
  instance.set_option("plain", 90);
  instance.set_option("negative", -1);
  instance.set_option("wide", std::uint64_t{UINT64_MAX});
  instance.set_option("wide", UINT64_MAX - 1);

  EXPECT_EQ(option<std::string>(instance, "literal"), "false");
  EXPECT_EQ(option<bool>(instance, "flag"), true);
  EXPECT_EQ(option<std::uint64_t>(instance, "plain"), 90u);
  EXPECT_EQ(option<std::uint64_t>(instance, "negative"), std::nullopt);
  EXPECT_EQ(option<std::uint64_t>(instance, "wide"), UINT64_MAX - 1);

  Instance copy(instance);
  instance.set_option("plain", 91);
  EXPECT_EQ(option<std::uint64_t>(copy, "plain"), 90u);
  copy = instance;
  EXPECT_EQ(option<std::uint64_t>(copy, "plain"), 91u);
}

// Leaves the process's registry as it was found: empty.
class InstanceManager : public ::testing::Test {
 protected:
  void TearDown() override {
    for (const char* name : {"A", "B", "C", "HXE_HDB90"})
      manager_.remove("hana", name);
  }

  std::optional<std::string> sid(const char* name) const {
    const platform::Instance_var found = manager_.find("hana", name);
    return found ? option<std::string>(*found, "sid") : std::nullopt;
  }

  Instance_Manager& manager_ = *Instance_Manager::instance();
  const test::Temporary_Directory files_;
  test::Log_Capture log_;
};

TEST_F(InstanceManager, an_instance_is_found_by_type_and_name_until_it_is_replaced_or_removed) {
  Instance first;
  first.set_option("sid", "ONE");
  manager_.add("hana", "A", first);
  const platform::Instance_var found = manager_.find("hana", "A");
  const auto second = std::make_shared<Instance>();
  second->set_option("sid", "TWO");
  manager_.add("hana", "A", second);
  manager_.add("hana", "B", platform::Instance_var());

  EXPECT_EQ(option<std::string>(*found, "sid"), "ONE");
  EXPECT_EQ(manager_.find("hana", "A"), second);
  EXPECT_EQ(manager_.find("hana", "B"), nullptr);
  EXPECT_EQ(manager_.find("oracle", "A"), nullptr);
  EXPECT_EQ(manager_.find(nullptr, "A"), nullptr);
  EXPECT_EQ(manager_.find("hana", nullptr), nullptr);
  EXPECT_TRUE(manager_.remove("hana", "A"));
  EXPECT_FALSE(manager_.remove("hana", "A"));
  EXPECT_EQ(manager_.find("hana", "A"), nullptr);
}

TEST_F(InstanceManager, a_file_adds_and_replaces_its_instances_and_leaves_the_others) {
  Instance old;
  old.set_option("sid", "OLD");
  old.set_option("localhost", "gone");
  manager_.add("hana", "A", old);
  manager_.add("hana", "B", old);

  ASSERT_TRUE(manager_.load(
      files_.file("instances.ini",
                  "# written by hand\n[hana/HXE_HDB90]\nsid = HXE\ninstance_number = 90\ninstance_name=HDB90\n"
                  "localhost = hana.example.com\ndir_executable = /usr/sap/HXE/HDB90/exe\nmulti_container = yes\n"
                  "[hana/A]\nsid=NEW\n[other/a/b]\nkey =\n")));

  const auto instance = manager_.find("hana", "HXE_HDB90");
  ASSERT_TRUE(instance);
  EXPECT_EQ(option<std::uint64_t>(*instance, "instance_number"), 90u);
  EXPECT_EQ(option<std::string>(*instance, "localhost"), "hana.example.com");
  EXPECT_EQ(option<std::string>(*instance, "dir_executable"), "/usr/sap/HXE/HDB90/exe");
  EXPECT_EQ(option<bool>(*instance, "multi_container"), true);
  EXPECT_EQ(sid("A"), "NEW");
  EXPECT_EQ(option<std::string>(*manager_.find("hana", "A"), "localhost"), std::nullopt);
  EXPECT_EQ(sid("B"), "OLD");
  EXPECT_EQ(option<std::string>(*manager_.find("other", "a/b"), "key"), "");
  EXPECT_TRUE(manager_.remove("other", "a/b"));
}

TEST_F(InstanceManager, a_bad_file_is_told_and_changes_nothing) {
  const std::string good = "[hana/A]\nsid=NEW\n";
  const struct {
    std::string path;
    std::string fault;
  } cases[] = {
      {files_ / "missing", ": cannot read file"},
      {files_.directory("directory"), ": not a regular file"},
      {files_.fifo("fifo"), ": not a regular file"},
      {"/proc/self/mem", ": cannot read file"},
      {files_.file("line", good + "no sign\n"), "(3): '=' character not found in line"},
      {files_.file("section", good + "[hana/A]\nsid=TWO\n"), "(3): duplicate section name"},
      {files_.file("key", good + "sid=TWO\n"), "(3): duplicate key name"},
      {files_.file("outside", "sid=HXE\n" + good), ": 'sid' stands outside of a section"},
      {files_.file("plain", good + "[hana]\nsid=HXE\n"), ": 'hana' is not of the form 'type/name'"},
      {files_.file("no_type", good + "[/B]\nsid=HXE\n"), ": '/B' is not of the form 'type/name'"},
      {files_.file("no_name", good + "[hana/]\nsid=HXE\n"), ": 'hana/' is not of the form 'type/name'"},
  };
  Instance old;
  old.set_option("sid", "OLD");
  manager_.add("hana", "A", old);
  for (const auto& c : cases) {
    EXPECT_FALSE(manager_.load(c.path)) << c.path;
    log_.expect_error("Failed to load instances: " + c.path + c.fault + "\n");
    EXPECT_EQ(sid("A"), "OLD") << c.path;
  }
}

// Says little by itself, and much under the thread sanitizer.
TEST_F(InstanceManager, threads_may_use_it_at_the_same_time) {
  const std::string path = files_.file("instances.ini", "[hana/C]\nsid=HXE\n");
  ASSERT_TRUE(manager_.load(path));
  std::atomic<bool> ended{false};
  std::thread reader([&] {
    while (!ended)
      EXPECT_EQ(sid("C"), "HXE");
  });
  for (int i = 0; i < 200; ++i) {
    EXPECT_TRUE(manager_.load(path));
    manager_.find("hana", "C")->set_option("sid", "HXE");
  }
  ended = true;
  reader.join();
}

}  // namespace
