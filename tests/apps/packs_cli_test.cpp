// The pack, link, project and rule commands run as a user runs them: the JSON shapes
// scripts read, exit codes for missing objects and bad usage, and the folders on disk.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/program_runner.h"
#include "support/test_support.h"

namespace {

namespace stdfs = std::filesystem;

using Outcome = ravelin::test::ProgramOutcome;

class PacksCliTest : public ::testing::Test {
 protected:
  Outcome Run(std::vector<std::string> args) {
    std::vector<std::string> argv = {RAVELIN_CLI_PATH, "--home", home_.path().string()};
    argv.insert(argv.end(), args.begin(), args.end());
    ravelin::test::ProgramOptions o;
    o.env = {{"TZ", "UTC"}};
    return ravelin::test::RunProgram(argv, o);
  }
  // Imports three small letters (keys 1, 2, 3).
  void Seed() {
    const char* subjects[] = {"Invoice 1", "Lunch", "Invoice 2"};
    for (int i = 0; i < 3; ++i) {
      std::ofstream(tmp_.path() / ("m" + std::to_string(i) + ".eml"))
          << "From: Ann <ann@acme.com>\r\nTo: me@home.org\r\nSubject: " << subjects[i]
          << "\r\nDate: Mon, 5 Jan 2026 10:00:00 +0000\r\n\r\nbody\r\n";
      ASSERT_EQ(Run({"import", (tmp_.path() / ("m" + std::to_string(i) + ".eml")).string()}).code, 0);
    }
  }
  stdfs::path Live() { return home_.path() / "Projects"; }
  ravelin::test::TempDir home_, tmp_;
};

TEST_F(PacksCliTest, APacksLifeWithItsJsonShapes) {
  Seed();
  Outcome r = Run({"pack", "create", "Acme", "--project", "Clients/Acme", "--add", "1", "--add", "3", "--json"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "{\"N\": 1}\n");
  EXPECT_EQ(Run({"pack", "create", "  ", "--json"}).out, "{\"N\": 0}\n");

  r = Run({"pack", "list", "--json"});
  EXPECT_EQ(r.out, "[\n {\"N\": 1, \"Name\": \"Acme\", \"Comments\": null, \"Deleted\": false, \"Project\": "
                   "\"Projects\\\\Clients\\\\Acme\", \"InsArcPrj\": false}\n]\n");
  r = Run({"link", "list", "1", "--json"});
  EXPECT_EQ(r.out, "{\"projects\": [],\n \"packs\": [\n  {\"N\": 1, \"Name\": \"Acme\"}\n ]}\n");

  ASSERT_EQ(Run({"pack", "recycle", "1"}).code, 0);
  EXPECT_NE(Run({"list", "--folder", "Recycle"}).out.find("Invoice 2"), std::string::npos);
  ASSERT_EQ(Run({"pack", "restore", "1"}).code, 0);
  EXPECT_EQ(Run({"list", "--folder", "Recycle"}).out.find("Invoice"), std::string::npos);

  r = Run({"pack", "delete", "1", "--project", "Clients/Acme", "--json"});
  EXPECT_EQ(r.out, "{\"linksLeft\": 0}\n");
  EXPECT_NE(Run({"show", "1"}).code, 0);  // the letters went with the pack

  // A missing pack: the store's message, exit 1. Bad usage: exit 2.
  r = Run({"pack", "show", "7"});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("The pack \xE2\x84\x96" "7 was not found in database"), std::string::npos);
  EXPECT_EQ(Run({"pack", "show", "x"}).code, 2);
  EXPECT_EQ(Run({"pack", "add", "7", "2"}).code, 1);
  EXPECT_EQ(Run({"link", "add", "99", "--pack", "1"}).code, 1);
}

TEST_F(PacksCliTest, ProjectsMoveOnDiskAndInTheStore) {
  Seed();
  ASSERT_EQ(Run({"link", "add", "2", "--project", "Clients/Acme/Mail"}).code, 0);
  EXPECT_TRUE(stdfs::is_directory(Live() / "Clients" / "Acme" / "Mail"));
  // Hostile texts are bad usage and make nothing.
  for (const char* p : {"../x", "Clients//Acme", "a\"b"}) EXPECT_EQ(Run({"link", "add", "2", "--project", p}).code, 2);
  EXPECT_EQ(Run({"link", "move", "2", "--from-project", "Clients/Acme/Mail", "--to-project", "Clients/Acme/Mail"}).code,
            2);

  ASSERT_EQ(Run({"project", "move", "Clients", "Customers"}).code, 0);
  EXPECT_TRUE(stdfs::is_directory(Live() / "Customers" / "Acme" / "Mail"));
  EXPECT_FALSE(stdfs::exists(Live() / "Clients"));
  EXPECT_NE(Run({"link", "list", "2"}).out.find("Projects\\Customers\\Acme\\Mail"), std::string::npos);

  ASSERT_EQ(Run({"link", "archive", "2", "--project", "Customers/Acme/Mail"}).code, 0);
  EXPECT_TRUE(stdfs::is_directory(home_.path() / "Archive" / "Customers" / "Acme" / "Mail"));
  EXPECT_EQ(Run({"link", "list", "2", "--json"}).out,
            "{\"projects\": [\n  {\"Project\": \"Archive\\\\Customers\\\\Acme\\\\Mail\", \"InsArcPrj\": true}\n ],\n"
            " \"packs\": []}\n");

  // Deleting keeps everything without --purge, and never touches the disk.
  ASSERT_EQ(Run({"project", "delete", "Customers", "--archive", "--purge"}).code, 0);
  EXPECT_NE(Run({"show", "2"}).code, 0);
  EXPECT_TRUE(stdfs::is_directory(home_.path() / "Archive" / "Customers"));
}

TEST_F(PacksCliTest, RulesFileLettersAndTheirJson) {
  Seed();
  ASSERT_EQ(Run({"pack", "create", "Invoices"}).code, 0);
  ASSERT_EQ(Run({"rule", "add", "--pack", "1", "--subject", "invoice", "--org1", "acme"}).code, 0);
  Outcome r = Run({"rule", "list", "--pack", "1", "--json"});
  EXPECT_NE(r.out.find("\"Flags\": 34"), std::string::npos) << r.out;
  r = Run({"rule", "apply", "--dry-run", "--json"});
  EXPECT_EQ(r.out, "[\n {\"rule\": 1, \"key\": 1, \"action\": 1, \"pack\": 1},\n {\"rule\": 1, \"key\": 3, \"action\": 1, "
                   "\"pack\": 1}\n]\n");
  ASSERT_EQ(Run({"rule", "apply"}).code, 0);
  EXPECT_NE(Run({"pack", "show", "1"}).out.find("letters: 1 3"), std::string::npos);
  r = Run({"rule", "sql", "--action", "1", "--param", "5"});
  EXPECT_EQ(r.out, "Select * from Rules WHERE (((Rules.Action)=1) AND ((Rules.[Pack_N])=5));\n");
  EXPECT_EQ(Run({"rule", "sql", "--action", "3", "--param", "5"}).code, 2);
  EXPECT_EQ(Run({"rule", "delete", "9"}).code, 1);

  // Imported letters are filed as they arrive.
  ASSERT_EQ(Run({"rule", "add", "--folder", "Lunches", "--subject", "lunch"}).code, 0);
  std::ofstream(tmp_.path() / "new.eml") << "From: Bob <bob@x.org>\r\nTo: me@home.org\r\nSubject: Lunch again\r\n\r\nb\r\n";
  r = Run({"import", "--apply-rules", (tmp_.path() / "new.eml").string()});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.err.find("filed 1 letter by rules"), std::string::npos) << r.err;
  EXPECT_NE(Run({"link", "list", "4"}).out.find("Projects\\Lunches"), std::string::npos);
}

}  // namespace
