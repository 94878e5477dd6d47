#include "platform/instances/instance_manager.h"
#include "tests/support/foreign_locale.h"
#include "tests/support/test.h"

namespace {

using platform::Instance;

template <class T = std::string>
std::optional<T> option(const Instance& instance, const std::string& key) {
  T value{};
  return instance.get_option(key, value) ? std::optional(value) : std::nullopt;
}

Instance instance_of(const char* sid) {
  Instance instance;
  instance.set_option("sid", sid);
  return instance;
}

TEST(Instance, a_text_is_a_number_or_a_flag_only_where_all_of_it_is) {
  const test::Foreign_Locale locale;
  const std::tuple<const char*, std::optional<std::uint64_t>, std::optional<bool>> cases[] = {
      {"0", 0, false},   {"1", 1, true},     {"18446744073709551615", UINT64_MAX, {}},
      {"", {}, {}},      {"+5", {}, {}},     {"18446744073709551616", {}, {}},
      {"5x", {}, {}},    {"YES", {}, true},  {"On", {}, true},
      {"no", {}, false}, {"OFF", {}, false}, {"truee", {}, {}},
  };
  for (const auto& [text, number, flag] : cases) {
    EXPECT_EQ(option<std::uint64_t>(instance_of(text), "sid"), number) << text;
    EXPECT_EQ(option<bool>(instance_of(text), "sid"), flag) << text;
    EXPECT_EQ(option(instance_of(text), "sid"), text);
  }

  Instance instance;
  instance.set_option("flag", false);
  instance.set_option("wide", UINT64_MAX);
  Instance copy;
  copy = instance;
  EXPECT_EQ(option(copy, "flag"), "false");
  EXPECT_EQ(option(copy, "wide"), "18446744073709551615");
}

class InstanceManager : public ::testing::Test {
 protected:
  void SetUp() override { manager_.add("hana", "A", instance_of("OLD")); }

  std::optional<std::string> sid(const char* name) const {
    const platform::Instance_var found = manager_.find("hana", name);
    return found ? option(*found, "sid") : std::nullopt;
  }

  platform::Instance_Manager& manager_ = *platform::Instance_Manager::instance();
  const test::Temporary_Directory files_;
  test::Log_Capture log_;
};

TEST_F(InstanceManager, an_instance_is_found_by_type_and_name_until_it_is_replaced_or_removed) {
  const platform::Instance_var found = manager_.find("hana", "A");
  manager_.add("hana", "A", instance_of("NEW"));
  manager_.add("hana", "A", platform::Instance_var());

  EXPECT_EQ(option(*found, "sid"), "OLD");
  EXPECT_EQ(sid("A"), "NEW");
  EXPECT_EQ(manager_.find("oracle", "A"), nullptr);
  EXPECT_EQ(manager_.find(nullptr, "A"), nullptr);
  EXPECT_TRUE(manager_.remove("hana", "A"));
  EXPECT_FALSE(manager_.remove("hana", "A"));
  EXPECT_EQ(sid("A"), std::nullopt);
}

TEST_F(InstanceManager, a_file_adds_and_replaces_its_instances_and_leaves_the_others) {
  manager_.find("hana", "A")->set_option("localhost", "gone");
  manager_.add("hana", "B", instance_of("OLD"));

  ASSERT_TRUE(manager_.load(files_.file("instances.ini",
                                        "# written by hand\n[hana/HXE_HDB90]\nsid = HXE\ninstance_number = 90\n"
                                        "[hana/A]\nsid=NEW\n[hana/a/b]\nsid =\n")));

  EXPECT_EQ(option<std::uint64_t>(*manager_.find("hana", "HXE_HDB90"), "instance_number"), 90u);
  EXPECT_EQ(sid("A"), "NEW");
  EXPECT_EQ(option(*manager_.find("hana", "A"), "localhost"), std::nullopt);
  EXPECT_EQ(sid("B"), "OLD");
  EXPECT_EQ(sid("a/b"), "");
}

TEST_F(InstanceManager, a_bad_file_is_told_with_its_place_and_changes_nothing) {
  const std::string good = "[hana/A]\nsid=NEW\n";
  const std::pair<std::string, std::string> cases[] = {
      {files_ / "missing", ": cannot read file"},
      {files_.fifo("fifo"), ": not a regular file"},
      {files_.file("line", good + "no sign\n"), "(3): '=' character not found in line"},
      {files_.file("section", good + "[hana/A]\nsid=TWO\n"), "(3): duplicate section name"},
      {files_.file("key", good + "sid=TWO\n"), "(3): duplicate key name"},
      {files_.file("outside", "sid=HXE\n" + good), ": 'sid' stands outside of a section"},
      {files_.file("plain", good + "[hana]\nsid=HXE\n"), ": 'hana' is not of the form 'type/name'"},
      {files_.file("no_type", good + "[/B]\nsid=HXE\n"), ": '/B' is not of the form 'type/name'"},
      {files_.file("no_name", good + "[hana/]\nsid=HXE\n"), ": 'hana/' is not of the form 'type/name'"},
  };
  for (const auto& [path, fault] : cases) {
    EXPECT_FALSE(manager_.load(path)) << path;
    log_.expect_error("Failed to load instances: " + path + fault + "\n");
    EXPECT_EQ(sid("A"), "OLD") << path;
  }
}

}  // namespace
