#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <stdexcept>

#include "platform/json/object.h"
#include "platform/json/text.h"
#include "tests/support/log_capture.h"

namespace {

using platform::json::Array;
using platform::json::JSON_Dump;
using platform::json::loads_json;
using platform::json::Object;
using platform::json::Value;

static_assert(std::is_nothrow_move_constructible_v<Value> && std::is_nothrow_move_assignable_v<Value>);

bool load(const std::string& text, Value& value) {
  return loads_json(text.data(), text.size(), value, 0);
}

std::string dump(const Value& value) {
  return JSON_Dump(value, false).str();
}

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

TEST(Json, text_that_is_read_is_written_again) {
  const struct {
    std::string text, written;
  } cases[] = {
      {" null ", "null"},
      {"[true,false,\t{}\r\n,[] ]", "[true,false,{},[]]"},
      {"[0,-0,-9223372036854775808,9223372036854775808,18446744073709551615]",
       "[0,0,-9223372036854775808,9223372036854775808,18446744073709551615]"},
      {"[5.0,1.5,1e2,18446744073709551616,-9223372036854775809]",
       "[5E0,1.5E0,1E2,1.8446744073709552E19,-9.223372036854776E18]"},
      {R"({"b":{"c":[1,{"d":"e"}]},"a":1,"b ":2,"a":3})", R"({"a":3,"b":{"c":[1,{"d":"e"}]},"b ":2})"},
      {R"("\"\\\/\b\f\n\r\t\u0000\u00e4\ud83d\ude00 <")", R"("\"\\/\b\f\n\r\t\u0000ä😀 <")"},
      {nested(64), nested(64)},
  };
  for (const auto& c : cases) {
    Value value("old");
    ASSERT_TRUE(load(c.text, value)) << c.text;
    EXPECT_EQ(dump(value), c.written);
  }
}

TEST(Json, text_that_is_not_one_json_value_in_utf8_changes_nothing) {
  const std::string cases[] = {"",
                               " ",
                               "nul",
                               "{",
                               "[1,]",
                               "{\"a\":1,}",
                               "{a:1}",
                               "[1]x",
                               "1 2",
                               "{} {}",
                               "// no\n1",
                               "01",
                               "+1",
                               ".5",
                               "NaN",
                               "1e400",
                               "[-1e999999999999]",
                               "'a'",
                               "\"a",
                               "\"\n\"",
                               "\"\\x41\"",
                               "\"\\ud83d\"",
                               "\"\xC3\x28\"",
                               "\"\xED\xA0\x80\"",
                               "\"\xC0\x80\"",
                               "\"\xF4\x90\x80\x80\"",
                               std::string("1\0", 2),
                               "\xEF\xBB\xBF"
                               "1",
                               nested(65),
                               std::string(1000000, '[')};
  for (const std::string& text : cases) {
    Value value("old");
    EXPECT_FALSE(load(text, value)) << text.substr(0, 40);
    EXPECT_EQ(value.get_str(), "old");
  }
}

TEST(Json, a_text_of_more_values_than_any_catalog_holds_is_refused) {
  std::string text = "[0";
  for (int i = 1; i < (16 << 20); ++i)
    text += ",0";
  Value value;
  EXPECT_FALSE(load(text + "]", value));
}

TEST(Json, a_refused_text_is_explained_only_on_request) {
  test::Log_Capture log;
  Value value;

  EXPECT_FALSE(loads_json("[1,x]", 5, value, 0));
  EXPECT_TRUE(log.take_debug().empty());

  EXPECT_FALSE(loads_json("[1,x]", 5, value, 1));
  EXPECT_EQ(log.take_debug(), std::vector<std::string>{"Failed to read JSON text: byte 3: syntax error\n"});
}

TEST(Json, what_is_written_is_always_valid) {
  const double infinite = std::numeric_limits<double>::infinity();
  const struct {
    Value value;
    const char* written;
  } cases[] = {
      {"a\xFF\xC3z\xE4\xBD", "\"a\xEF\xBF\xBD\xEF\xBF\xBDz\xEF\xBF\xBD\xEF\xBF\xBD\""},
      {"\xED\xA0\x80\xC0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},
      {"\xF0\x9F\x98\x80\xE2\x82\xAC", "\"\xF0\x9F\x98\x80\xE2\x82\xAC\""},
      {std::string("a\0\x1f\x7f", 4), "\"a\\u0000\\u001f\x7f\""},
      {Object{{"\xFF", 1}}, "{\"\xEF\xBF\xBD\":1}"},
      {Array{infinite, -infinite, infinite - infinite, 0.1}, "[null,null,null,1E-1]"},
      {Array{INT64_MIN, -1, true, nullptr == nullptr, UINT64_MAX, 'a'},
       "[-9223372036854775808,-1,true,true,18446744073709551615,97]"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(dump(c.value), c.written);
    Value again;
    ASSERT_TRUE(load(dump(c.value), again)) << c.written;
    EXPECT_EQ(dump(again), c.written);
  }
}

TEST(Json, a_pretty_text_has_one_element_a_line) {
  const Value value = Object{{"a", Array{1, Object{}}}, {"b", Array{}}};
  EXPECT_STREQ(JSON_Dump(value, true).c_str(), "{\n  \"a\": [\n    1,\n    {}\n  ],\n  \"b\": []\n}");
}

TEST(Json, real_numbers_keep_every_bit) {
  for (const double number : {0.1, 1e23, 9007199254740993.0, 5e-324, 1.7976931348623157e308, 123456789.123456789}) {
    Value value;
    ASSERT_TRUE(load(dump(number), value));
    EXPECT_EQ(value.get_real(), number);
  }
}

TEST(Json, copies_are_deep_and_a_moved_value_is_null) {
  Value value = Object{{"list", Array{1, 2}}};

  Value copy = value;
  copy.get_obj()["list"].get_array().push_back(3);
  EXPECT_EQ(dump(value), R"({"list":[1,2]})");
  EXPECT_EQ(dump(copy), R"({"list":[1,2,3]})");

  const Value moved = std::move(copy);
  EXPECT_TRUE(copy.is_null());
  EXPECT_EQ(dump(moved), R"({"list":[1,2,3]})");

  value = std::move(value.get_obj()["list"]);
  EXPECT_EQ(dump(value), "[1,2]");
  value = value.get_array()[1];
  EXPECT_EQ(dump(value), "2");
}

// The message with which a getter fails; empty if it does not.
std::string failure(const std::function<void()>& get) {
  try {
    get();
    return "";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

// One value of every kind, and for each what the getters of integers make of it.
TEST(Json, a_getter_takes_its_own_type_and_range_only) {
  const struct {
    const char* text;
    bool is_int, is_int64, is_uint64;
  } cases[] = {
      {"0", true, true, true},
      {"2147483647", true, true, true},
      {"2147483648", false, true, true},
      {"-2147483648", true, true, false},
      {"-2147483649", false, true, false},
      {"-1", true, true, false},
      {"9223372036854775807", false, true, true},
      {"9223372036854775808", false, false, true},
      {"-9223372036854775808", false, true, false},
      {"18446744073709551615", false, false, true},
      {"18446744073709551616", false, false, false},
      {"5.0", false, false, false},
      {"1e2", false, false, false},
      {"null", false, false, false},
      {"true", false, false, false},
      {"\"5\"", false, false, false},
      {"[5]", false, false, false},
      {"{\"k\":5}", false, false, false},
  };
  for (const auto& c : cases) {
    Object object;
    ASSERT_TRUE(load(c.text, object["k"]));
    int number = 77;
    std::int64_t signed_number = 77;
    std::uint64_t unsigned_number = 77;

    EXPECT_EQ(object_get(object, "k", number), c.is_int) << c.text;
    EXPECT_EQ(object_get(object, "k", signed_number), c.is_int64) << c.text;
    EXPECT_EQ(object_get(object, "k", unsigned_number), c.is_uint64) << c.text;

    EXPECT_EQ(std::to_string(number), c.is_int ? c.text : "77");
    EXPECT_EQ(std::to_string(signed_number), c.is_int64 ? c.text : "77");
    EXPECT_EQ(std::to_string(unsigned_number), c.is_uint64 ? c.text : "77");
    EXPECT_EQ(failure([&] { object_get_int64_or_throw(object, "k"); }).empty(), c.is_int64) << c.text;
    EXPECT_EQ(failure([&] { object_get_uint64_or_throw(object, "k"); }).empty(), c.is_uint64) << c.text;
  }
}

TEST(Json, a_strict_getter_names_the_key_that_fails) {
  const Object object{{"text", "t"}, {"list", Array{1}}};
  EXPECT_EQ(failure([&] { object_get_str_or_throw(object, "text"); }), "");
  EXPECT_EQ(failure([&] { object_get_array_or_throw(object, "list"); }), "");
  EXPECT_EQ(failure([&] { object_get_str_or_throw(object, "no"); }), "key 'no' is missing");
  EXPECT_EQ(failure([&] { object_get_str_or_throw(object, "list"); }), "key 'list': value is not a string");
  EXPECT_EQ(failure([&] { object_get_array_or_throw(object, "text"); }), "key 'text': value is not an array");
  EXPECT_EQ(failure([&] { Value(5).get_obj(); }), "value is not an object");
  EXPECT_EQ(failure([&] { Value("true").get_bool(); }), "value is not a boolean");
}

TEST(Json, keys_are_chained_for_writing_and_for_reading) {
  Object object{{"kept", 1}, {"text", "old"}};
  insert(object)("text", "new")("number", UINT64_MAX)("object", Object{{"a", "b"}});
  EXPECT_EQ(dump(object), R"({"kept":1,"number":18446744073709551615,"object":{"a":"b"},"text":"new"})");

  std::string text;
  std::uint64_t number = 0;
  Object inner{{"old", 1}};
  extract(object)("text", text)("missing", number)("number", number)("text", number)("object", inner);
  EXPECT_EQ(text, "new");
  EXPECT_EQ(number, UINT64_MAX);
  EXPECT_EQ(dump(inner), R"({"a":"b"})");

  std::int64_t left_alone = 7;
  text.clear();
  EXPECT_THROW(extract_or_throw(object)("missing", number, false)("text", text, true)("number", left_alone, true),
               std::runtime_error);
  EXPECT_EQ(text, "new");
  EXPECT_EQ(left_alone, 7);
}

}  // namespace
