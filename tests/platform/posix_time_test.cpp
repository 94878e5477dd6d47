#include "platform/text/posix_time.h"

#include <gtest/gtest.h>

TEST(PosixTime, a_text_is_a_time_with_its_offset_or_is_refused) {
  constexpr std::time_t REFUSED = 7;
  const auto read = [](const char* text) {
    std::time_t time = REFUSED;
    const bool taken = platform::local_to_posix_time(text, time, "%Y-%m-%dT%H:%M:%S%z");
    EXPECT_EQ(time != REFUSED, taken);
    return time;
  };
  EXPECT_EQ(read("2024-01-31T12:00:00+0100"), 1706698800);
  EXPECT_EQ(read("2024-01-31T12:00:00-0530"), 1706722200);
  EXPECT_EQ(read("1969-12-31T23:59:59Z"), -1);
  EXPECT_EQ(read("2024-01-31T12:00:00"), REFUSED);
  EXPECT_EQ(read("2024-01-31T12:00:00+0100 "), REFUSED);
  EXPECT_EQ(read("2023-02-29T00:00:00+0000"), REFUSED);
  EXPECT_EQ(read(nullptr), REFUSED);
}
