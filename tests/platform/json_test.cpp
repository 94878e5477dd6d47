#include "platform/json/object.h"
#include "platform/json/text.h"
#include "tests/support/test.h"

namespace {

using namespace platform::json;

static_assert(std::is_nothrow_move_constructible_v<Value> && std::is_nothrow_move_assignable_v<Value>);

bool load(const std::string& text, Value& value, int explain = 0) {
  return platform::json::loads_json(text.data(), text.size(), value, explain);
}

std::string dump(const Value& value, bool pretty = false) {
  return platform::json::JSON_Dump(value, pretty).str();
}

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

TEST(Json, text_that_is_read_is_written_again) {
  const std::pair<std::string, std::string> cases[] = {
      {"[true,null,\t{}\r\n,[] ] ", "[true,null,{},[]]"},
      {"[-0,-9223372036854775808,18446744073709551615]", "[0,-9223372036854775808,18446744073709551615]"},
      {"[5.0,18446744073709551616,-9223372036854775809]", "[5E0,1.8446744073709552E19,-9.223372036854776E18]"},
      {"[1e23,5e-324,123456789.12345679,1e-999]", "[1E23,5E-324,1.2345678912345679E8,0E0]"},
      {R"({"b":{"c":[1,{"d":"e"}]},"a":1,"b ":2,"a":3})", R"({"a":3,"b":{"c":[1,{"d":"e"}]},"b ":2})"},
      {R"("\"\\\/\b\f\n\r\t\u0000\u00e4\ud83d\ude00 <")", R"("\"\\/\b\f\n\r\t\u0000ä😀 <")"},
      {nested(64), nested(64)},
  };
  for (const auto& [text, written] : cases) {
    Value value("old");
    ASSERT_TRUE(load(text, value)) << text;
    EXPECT_EQ(dump(value), written);
  }
}

TEST(Json, text_that_is_not_one_json_value_in_utf8_changes_nothing) {
  const auto expect_refused = [](const std::string& text) {
    Value value("old");
    EXPECT_FALSE(load(text, value)) << text.substr(0, 40);
    EXPECT_EQ(value.get_str(), "old");
  };
  for (const char* text : {"", "{", "[1,]", "[1]x", "// no\n1", "NaN", "1e400", "-1e999", "\"\xC3\x28\""})
    expect_refused(text);
  expect_refused(nested(65));
  expect_refused(std::string("1\0", 2));
  std::string values_without_end = "[0";
  for (int i = 1; i < (16 << 20); ++i)
    values_without_end += ",0";
  expect_refused(values_without_end + "]");

  test::Log_Capture log;
  Value value;
  EXPECT_FALSE(load("[1,x]", value, 0));
  EXPECT_FALSE(load("[1,x]", value, 1));
  EXPECT_EQ(log.take_debug(), std::vector<std::string>{"Failed to read JSON text: byte 3: syntax error\n"});
}

TEST(Json, what_is_written_is_always_valid) {
  const double infinite = std::numeric_limits<double>::infinity();
  EXPECT_EQ(dump("a\xFF\xC3z\xE4\xBD"), "\"a\xEF\xBF\xBD\xEF\xBF\xBDz\xEF\xBF\xBD\xEF\xBF\xBD\"");
  for (const char c : std::string("\x01\x1f\"\\\x80\xff")) {
    for (std::size_t length = 1; length < 18; ++length) {
      const std::string special = std::string(length - 1, '!') + c;
      EXPECT_NE(dump(special + "#[]~ "), '"' + special + "#[]~ \"") << int{c} << " " << length;
    }
  }
  for (const std::string bad : {"\xED\xA0\x80", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xC1\xBF"}) {
    std::string replaced;
    for (std::size_t i = 0; i < bad.size(); ++i)
      replaced += "\xEF\xBF\xBD";
    EXPECT_EQ(dump(bad), "\"" + replaced + "\"");
  }
  EXPECT_EQ(dump(Object{{"\xFF", 1}}), "{\"\xEF\xBF\xBD\":1}");
  EXPECT_EQ(dump(Array{infinite, -infinite, infinite - infinite}), "[null,null,null]");
  EXPECT_EQ(dump(Array{INT64_MIN, -1, true, UINT64_MAX, 'a'}),
            "[-9223372036854775808,-1,true,18446744073709551615,97]");
  EXPECT_EQ(dump(Object{{"a", Array{1, Object{}}}, {"b", Array{}}}, true),
            "{\n  \"a\": [\n    1,\n    {}\n  ],\n  \"b\": []\n}");
}

TEST(Json, copies_are_deep_and_a_moved_value_is_null) {
  Value value = Array{1, Object{{"k", 2}}};

  Value copy = value;
  copy.get_array().push_back(3);
  EXPECT_EQ(dump(value), R"([1,{"k":2}])");

  const Value moved = std::move(copy);
  EXPECT_TRUE(copy.is_null());
  EXPECT_EQ(dump(moved), R"([1,{"k":2},3])");

  Object nested{{"k", Object{{"k", 1}, {"l", 2}}}};
  EXPECT_FALSE(platform::json::object_get(nested, "l", nested));
  EXPECT_TRUE(platform::json::object_get(nested, "k", nested));
  EXPECT_EQ(dump(nested), R"({"k":1,"l":2})");

  value = std::move(value.get_array()[1]);
  value = value.get_obj()["k"];
  EXPECT_EQ(dump(value), "2");
}

TEST(Json, a_number_is_taken_into_its_own_type_and_range_only) {
  const std::tuple<const char*, bool, bool, bool> cases[] = {
      {"2147483647", true, true, true},
      {"2147483648", false, true, true},
      {"-2147483648", true, true, false},
      {"-2147483649", false, true, false},
      {"9223372036854775807", false, true, true},
      {"9223372036854775808", false, false, true},
      {"5.0", false, false, false},
      {"\"5\"", false, false, false},
  };
  for (const auto& [text, is_int, is_int64, is_uint64] : cases) {
    Object object;
    ASSERT_TRUE(load(text, object["k"]));
    int number = 77;
    std::int64_t signed_number = 77;
    std::uint64_t unsigned_number = 77;
    extract(object)("k", number)("k", signed_number)("k", unsigned_number)("missing", number);
    EXPECT_EQ(std::to_string(number), is_int ? text : "77");
    EXPECT_EQ(std::to_string(signed_number), is_int64 ? text : "77");
    EXPECT_EQ(std::to_string(unsigned_number), is_uint64 ? text : "77");
  }
}

TEST(Json, a_strict_reader_stops_at_the_key_that_fails_and_names_it) {
  Object object{{"kept", 1}, {"text", "old"}};
  insert(object)("text", "new")("list", Array{1});
  EXPECT_EQ(dump(object), R"({"kept":1,"list":[1],"text":"new"})");

  std::string text = "old";
  std::int64_t number = 7;
  std::uint64_t kept = 0;
  Array list;
  std::string failure;
  for (const char* key : {"no", "list"}) {
    try {
      extract_or_throw(object)("no", number, false)("text", text, true)("list", list, true)("kept", kept, false)(
          key, number, true);
    } catch (const std::runtime_error& error) {
      failure += std::string(error.what()) + "\n";
    }
  }
  EXPECT_EQ(failure, "key 'no' is missing\nkey 'list': value is not a 64-bit signed integer\n");
  EXPECT_EQ(text + dump(list) + std::to_string(kept), "new[1]1");
  EXPECT_EQ(number, 7);
}

}  // namespace
