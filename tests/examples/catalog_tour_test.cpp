#include "sandbox/catalog_service.h"
#include "sandbox/certificate.h"
#include "tests/support/test.h"

namespace {

TEST(CatalogTour, it_leaves_the_catalog_as_it_was_and_says_where_it_ends) {
  const test::Temporary_Directory folder;
  const std::string certificate = folder / "catalog.pem";
  ASSERT_TRUE(sandbox::write_certificate(certificate, folder / "catalog.key"));
  sandbox::Catalog_Service service(
      {0, folder / "catalog.db", "backint", "geheim", certificate, folder / "catalog.key"});
  const std::string call = std::string(CATALOG_TOUR) + " " + service.base_url() + " --user backint --password-file ";
  const std::string trusting = " --ca-file " + certificate;
  const struct {
    std::string command;
    int status;
    const char* output;
  } cases[] = {
      {"echo geheim | " + call + "-" + trusting, 0, "removed                      10 files and their job\n"},
      {"echo falsch | " + call + "-" + trusting, 1, "status 401\n"},
      {"echo geheim | " + call + "-", 1, "signed certificate"},
      {call + "/nonexistent", 2, ""},
      {std::string(CATALOG_TOUR) + " --help", 0, "usage: catalog_tour URL"},
  };
  for (const auto& c : cases) {
    const test::Outcome outcome = test::run_command(c.command);
    EXPECT_EQ(outcome.status, c.status) << c.command;
    EXPECT_NE(outcome.output.find(c.output), std::string::npos) << outcome.output;
  }
  sandbox::Catalog_Store store(folder / "catalog.db");
  EXPECT_EQ(store.list_files({}, 1, 0).at("total").get_int(), 0);
  EXPECT_FALSE(store.find_job({}));
}

}  // namespace
