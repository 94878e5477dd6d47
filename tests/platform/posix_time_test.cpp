#include "platform/text/posix_time.h"

#include <gtest/gtest.h>

namespace {

TEST(PosixTime, a_text_is_a_time_with_its_offset_or_is_refused) {
  constexpr std::time_t REFUSED = 7;
  const struct {
    const char* text;
    std::time_t time;
  } cases[] = {
      {"2024-01-31T12:00:00+0100", 1706698800},
      {"2024-01-31T12:00:00-0530", 1706722200},
      {"2024-01-31T11:00:00Z", 1706698800},
      {"2024-02-29T00:00:00+0000", 1709164800},
      {"1969-12-31T23:59:59+0000", -1},
      {"2024-01-31T12:00:00", REFUSED},
      {"2024-01-31T12:00:00+0100 ", REFUSED},
      {"2023-02-29T00:00:00+0000", REFUSED},
      {"2024-13-01T00:00:00+0000", REFUSED},
      {"2024-01-31 12:00:00+0100", REFUSED},
      {"", REFUSED},
      {nullptr, REFUSED},
  };
  for (const auto& c : cases) {
    std::time_t time = REFUSED;
    EXPECT_EQ(platform::local_to_posix_time(c.text, time, "%Y-%m-%dT%H:%M:%S%z"), c.time != REFUSED) << c.text;
    EXPECT_EQ(time, c.time) << c.text;
  }
}

TEST(PosixTime, a_format_without_offset_is_refused) {
  std::time_t time = 7;

  EXPECT_FALSE(platform::local_to_posix_time("2024", time, "%Y"));

  EXPECT_EQ(time, 7);
}

}  // namespace
