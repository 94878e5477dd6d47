#include <string.h>

#include "hana/common/hdbsql_executor.h"
#include "platform/files/unique_fd.h"
#include "tests/support/test.h"

namespace {

using platform::secure_string;

// The password is known by this text alone, of which each letter stands 13 places further on in the alphabet.
const std::string ENCODED = "QngnonfrCnffjbeqBsGurGrfg";

char rotate(char c) {
  if (c >= 'a' && c <= 'z') return static_cast<char>('a' + (c - 'a' + 13) % 26);
  if (c >= 'A' && c <= 'Z') return static_cast<char>('A' + (c - 'A' + 13) % 26);
  return c;
}

secure_string make_password() {
  secure_string password;
  for (const char c : ENCODED)
    password.push_back(rotate(c));
  return password;
}

bool holds_password(const char* begin, const char* end) {
  const auto same = [](char seen, char encoded) { return rotate(seen) == encoded; };
  return std::search(begin, end, ENCODED.begin(), ENCODED.end(), same) != end;
}

// How many pieces of this process's writable memory hold the password.
int pieces_with_password() {
  // They overlap, and are wiped so as not to be found themselves.
  std::array<char, 64 * 1024> piece;
  const platform::Unique_Fd memory(::open("/proc/self/mem", O_RDONLY | O_CLOEXEC));
  std::ifstream maps("/proc/self/maps");
  int pieces = 0;
  std::string line;
  while (std::getline(maps, line)) {
    unsigned long begin = 0, end = 0;
    char access[5] = {};
    if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, access) != 3 || access[1] != 'w') continue;
    for (unsigned long at = begin; at < end; at += piece.size() - ENCODED.size()) {
      const std::size_t size = std::min<std::size_t>(piece.size(), end - at);
      const ssize_t length = ::pread(memory.get(), piece.data(), size, static_cast<off_t>(at));
      if (length > 0 && holds_password(piece.data(), piece.data() + length)) ++pieces;
      ::explicit_bzero(piece.data(), piece.size());
    }
  }
  return pieces;
}

// An hdbsql that writes down its arguments and its environment, encoded, and ends with the status that the statement
// names.
constexpr char TOOL[] =
    "#!/bin/sh\n"
    "encode() { tr '\\000a-zA-Z' '\\nn-za-mN-ZA-M' <$1; }\n"
    "{ encode /proc/$$/cmdline; echo environment; encode /proc/$$/environ; } >${0%/*}/seen\n"
    "encode /proc/$$/environ >&2\n"
    "for last; do :; done\n"
    "exit $last\n";

TEST(Secrets, the_password_is_in_the_childs_one_argument_and_nowhere_else) {
  const test::Temporary_Directory directory;
  ASSERT_EQ(::chmod(directory.file("hdbsql", TOOL).c_str(), 0755), 0);
  test::Log_Capture log;
  {
    sap_hana::Database_Info info{};
    info.instance_info.dir_executable = directory.path();
    sap_hana::HDBSQL_Executor executor("");
    ASSERT_TRUE(executor.init(info, "SYSTEM", make_password()));
    sap_hana::HDBSQL_Executor copy(executor);

    EXPECT_TRUE(executor.execute("0", nullptr));
    EXPECT_FALSE(copy.execute("3", nullptr));
    EXPECT_FALSE(copy.execute(std::string(2000, 'x'), nullptr));
    sap_hana::HDBSQL_Executor missing("/no/such/hdbsql");
    ASSERT_TRUE(missing.init(info, "SYSTEM", make_password()));
    EXPECT_FALSE(missing.execute("0", nullptr));
    EXPECT_GE(pieces_with_password(), 1) << "what the executors hold is not found, so neither would a leak be";
  }

  EXPECT_EQ(pieces_with_password(), 0);
  EXPECT_EQ(log.take().size(), 3U);
  EXPECT_GE(log.take_debug().size(), 3U);
  const std::string seen = test::content_of(directory / "seen");
  const std::size_t at = seen.find("\n-c\n" + ENCODED + "\n");  // "-p", encoded
  EXPECT_LT(at, seen.find("\nenvironment\n"));
  EXPECT_EQ(seen.find(ENCODED), at + 4);
  EXPECT_EQ(seen.rfind(ENCODED), at + 4);
}

}  // namespace
