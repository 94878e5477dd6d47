#include <gtest/gtest.h>

#include <string>

#include "sandbox/catalog_service.h"
#include "sandbox/certificate.h"
#include "tests/support/command.h"
#include "tests/support/temporary_directory.h"

namespace {

using sandbox::Catalog_Service;

using test::Outcome;

Outcome run(const std::string& arguments) {
  return test::run_command(std::string(CATALOG_TOUR) + " " + arguments);
}

bool says(const Outcome& outcome, const std::string& text) {
  return outcome.output.find(text) != std::string::npos;
}

TEST(CatalogTour, it_leaves_the_catalog_as_it_was_with_and_without_tls) {
  const test::Temporary_Directory folder;
  const std::string password = folder.file("password", "geheim\n");
  const std::string certificate = folder / "catalog.pem";
  const std::string key = folder / "catalog.key";
  ASSERT_TRUE(sandbox::write_certificate(certificate, key));

  for (const bool tls : {false, true}) {
    Catalog_Service service({0, folder / "catalog.db", "backint", "geheim", tls ? certificate : "", tls ? key : ""});

    const Outcome outcome =
        run(service.base_url() + " --user backint --password-file - --ca-file " + certificate + " < " + password);

    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(says(outcome, "files listed                 9 to 10 of 10\n")) << outcome.output;
    EXPECT_TRUE(says(outcome, "size in all                  55 GiB\n")) << outcome.output;
    EXPECT_TRUE(says(outcome, "removed                      10 files and their job\n")) << outcome.output;
  }
  sandbox::Catalog_Store store(folder / "catalog.db");
  EXPECT_EQ(store.list_files({}, 1, 0).at("total").get_int(), 0);
  EXPECT_FALSE(store.find_job({}));
}

TEST(CatalogTour, it_says_where_it_ends_and_why) {
  const test::Temporary_Directory folder;
  const std::string certificate = folder / "catalog.pem";
  ASSERT_TRUE(sandbox::write_certificate(certificate, folder / "catalog.key"));
  Catalog_Service service({0, ":memory:", "backint", "geheim", certificate, folder / "catalog.key"});
  const std::string arguments =
      service.base_url() + " --user backint --password-file " + folder.file("password", "falsch\n");

  const Outcome wrong_password = run(arguments + " --ca-file " + certificate);
  EXPECT_EQ(wrong_password.status, 1);
  EXPECT_TRUE(says(wrong_password, "status 401\n")) << wrong_password.output;

  const Outcome wrong_ca = run(arguments);
  EXPECT_EQ(wrong_ca.status, 1);
  EXPECT_TRUE(says(wrong_ca, "self-signed certificate")) << wrong_ca.output;

  EXPECT_EQ(run("").status, 2);
  EXPECT_EQ(run("http://127.0.0.1 --password-file /nonexistent").status, 2);
}

}  // namespace
