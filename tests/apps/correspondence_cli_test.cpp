// Contacts in from a vCard file and the correspondence with a person, run as a user runs
// them: the JSON shapes scripts read, the duplicate kept, delete and restore, exit codes
// for bad usage and for an address book that is missing or damaged, and Ctrl-C.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/program_runner.h"
#include "support/test_support.h"

namespace {

namespace stdfs = std::filesystem;
using Outcome = ravelin::test::ProgramOutcome;

// Two exporters' shapes and a broken card between them.
const char kContacts[] =
    "BEGIN:VCARD\r\nVERSION:3.0\r\nPRODID:-//Apple Inc.//macOS 14.0//EN\r\nN:Smith;Ann;;;\r\nFN:Ann Smith\r\n"
    "ORG:Acme Corp;\r\nTITLE:Engineer\r\nEMAIL;type=INTERNET;type=WORK;type=pref:ann@acme.com\r\n"
    "EMAIL;type=INTERNET;type=HOME:ann@home.org\r\nEND:VCARD\r\n"
    "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Half a card\r\nEMAIL ann@nowhere\r\nEND:VCARD\r\n"
    "BEGIN:VCARD\nVERSION:4.0\nFN:Bob Jones\nEMAIL;TYPE=work:bob@example.org\nEND:VCARD\n";

class CorrespondenceCliTest : public ::testing::Test {
 protected:
  Outcome Run(std::vector<std::string> args, std::chrono::milliseconds interrupt = {}) {
    std::vector<std::string> argv = {RAVELIN_CLI_PATH, "--home", home_.path().string()};
    argv.insert(argv.end(), args.begin(), args.end());
    ravelin::test::ProgramOptions o;
    o.env = {{"TZ", "UTC"}};
    o.interruptAfter = interrupt;
    return ravelin::test::RunProgram(argv, o);
  }
  std::string File(const std::string& name, const std::string& text) {
    const stdfs::path p = tmp_.path() / name;
    std::ofstream(p, std::ios::binary) << text;
    return p.string();
  }
  static std::string Mail(const std::string& from, const std::string& to, const std::string& subject) {
    return "From: " + from + "\r\nTo: " + to + "\r\nSubject: " + subject +
           "\r\nDate: Mon, 5 Jan 2026 10:00:00 +0000\r\n\r\nbody of " + subject + "\r\n";
  }
  // Keys 1..5: from Ann at work, to Ann at home, between her addresses, to Ann and Bob
  // together, from Bob.
  void Seed() {
    ASSERT_EQ(Run({"addressbook", "import", File("contacts.vcf", kContacts)}).code, 1);  // its broken card is skipped
    const std::vector<std::string> mails = {
        Mail("Ann <ann@acme.com>", "me@home.org", "plan"),
        Mail("me@home.org", "Ann <ann@home.org>", "re plan"),
        Mail("Ann <ann@acme.com>", "ann@home.org", "note to self"),
        Mail("me@home.org", "Ann <ann@acme.com>, Bob <bob@example.org>", "to both"),
        Mail("Bob <bob@example.org>", "me@home.org", "from bob"),
    };
    for (size_t i = 0; i < mails.size(); ++i)
      ASSERT_EQ(Run({"import", File("m" + std::to_string(i) + ".eml", mails[i])}).code, 0);
  }
  ravelin::test::TempDir home_, tmp_;
};

TEST_F(CorrespondenceCliTest, ImportThenListShowAndReportTheCorrespondence) {
  // The broken card is told and fails the run; the good ones are in all the same.
  Outcome r = Run({"addressbook", "import", File("contacts.vcf", kContacts), "--json"});
  ASSERT_EQ(r.code, 1) << r.err;
  EXPECT_NE(r.err.find("contacts.vcf: card 2 skipped"), std::string::npos) << r.err;
  EXPECT_NE(r.out.find("\"Persons\": 2"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\"Skipped\": 1"), std::string::npos) << r.out;
  r = Run({"addressbook", "list", "--json"});
  EXPECT_EQ(r.out,
            "[\n {\"ObjectID\": 1, \"ObjectType\": 0, \"Name\": \"Ann Smith\", \"Addresses\": [\"ann@acme.com\", "
            "\"ann@home.org\"], \"Photo\": false},\n {\"ObjectID\": 2, \"ObjectType\": 0, \"Name\": \"Bob Jones\", "
            "\"Addresses\": [\"bob@example.org\"], \"Photo\": false},\n {\"ObjectID\": 1, \"ObjectType\": 1, "
            "\"Name\": \"Acme Corp\", \"Addresses\": [], \"Photo\": false}\n]\n");

  const std::vector<std::string> mails = {Mail("Ann <ann@acme.com>", "me@home.org", "plan"),
                                          Mail("me@home.org", "Ann <ann@home.org>", "re plan"),
                                          Mail("Ann <ann@acme.com>", "ann@home.org", "note to self"),
                                          Mail("me@home.org", "Ann <ann@acme.com>, Bob <bob@example.org>", "to both"),
                                          Mail("Bob <bob@example.org>", "me@home.org", "from bob")};
  for (size_t i = 0; i < mails.size(); ++i)
    ASSERT_EQ(Run({"import", File("m" + std::to_string(i) + ".eml", mails[i])}).code, 0);

  r = Run({"correspondence", "list", "--json"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out,
            "[\n {\"ObjectID\": 1, \"ObjectType\": 0, \"Title\": \"Correspondence with the person Ann Smith\"},\n"
            " {\"ObjectID\": 2, \"ObjectType\": 0, \"Title\": \"Correspondence with the person Bob Jones\"}\n]\n");
  // Ann's work address first, then her home one; the note to herself twice; the letter to
  // both of them not at all.
  r = Run({"correspondence", "show", "1", "--type", "0", "--json"});
  EXPECT_EQ(r.out, "[\n 1,\n 3,\n 2,\n 3\n]\n");
  EXPECT_EQ(Run({"correspondence", "show", "2", "--type", "0", "--json"}).out, "[\n 5\n]\n");

  const std::string page = (tmp_.path() / "ann.html").string();
  r = Run({"correspondence", "report", "1", "--type", "0", "-o", page});
  ASSERT_EQ(r.code, 0) << r.err;
  std::ifstream in(page, std::ios::binary);
  const std::string html((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  size_t rows = 0;
  for (size_t at = html.find("mailto:"); at != std::string::npos; at = html.find("mailto:", at + 1)) ++rows;
  EXPECT_EQ(rows, 4u);
  EXPECT_NE(html.find("body of note to self"), std::string::npos);
  EXPECT_EQ(html.find("to both"), std::string::npos);
}

TEST_F(CorrespondenceCliTest, DeleteAndRestoreWithTheFolderForTheDuplicate) {
  Seed();
  Outcome r = Run({"correspondence", "delete", "1", "--type", "0"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "moved 3 letter(s) to Recycle\n");
  EXPECT_EQ(Run({"correspondence", "show", "1", "--type", "0", "--json"}).out, "[]\n");
  EXPECT_EQ(Run({"correspondence", "show", "1", "--type", "0", "--deleted", "--json"}).out,
            "[\n 1,\n 3,\n 2,\n 3\n]\n");
  // The letter listed twice went to the bin twice and forgot its folder.
  r = Run({"correspondence", "restore", "1", "--type", "0"});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("1 letter(s) stay in Recycle"), std::string::npos) << r.err;
  r = Run({"correspondence", "restore", "1", "--type", "0", "--folder", "sent"});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_NE(Run({"list", "--folder", "Sent"}).out.find("note to self"), std::string::npos);
  EXPECT_EQ(Run({"correspondence", "show", "1", "--type", "0", "--deleted", "--json"}).out, "[]\n");

  r = Run({"correspondence", "delete", "2", "--type", "0", "--purge"});
  EXPECT_EQ(r.out, "deleted 1 letter(s) for good\n");
  EXPECT_NE(Run({"show", "5"}).code, 0);
}

TEST_F(CorrespondenceCliTest, BadUsageAndABadAddressBookAreToldInWords) {
  Seed();
  EXPECT_EQ(Run({"correspondence", "show", "1"}).code, 2);
  EXPECT_EQ(Run({"correspondence", "show", "1", "--type", "3"}).code, 2);
  EXPECT_EQ(Run({"correspondence", "show", "x", "--type", "0"}).code, 2);
  EXPECT_EQ(Run({"correspondence", "show", "1", "--type", "0", "--deleted", "--all"}).code, 2);
  EXPECT_EQ(Run({"correspondence", "restore", "1", "--type", "0", "--folder", "Attic"}).code, 2);
  Outcome r = Run({"correspondence", "show", "9", "--type", "0"});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("has no e-mail address"), std::string::npos) << r.err;

  const std::string damaged = File("damaged.db", std::string(3000, 'x'));
  r = Run({"--addressbook", damaged, "correspondence", "list"});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("can't be read"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("mail database"), std::string::npos) << r.err;
  r = Run({"--addressbook", damaged, "addressbook", "import", File("c.vcf", kContacts)});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("nothing was imported"), std::string::npos) << r.err;
  r = Run({"--addressbook", (tmp_.path() / "none.db").string(), "correspondence", "list", "--json"});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.out, "[]\n");
  EXPECT_EQ(Run({"--addressbook", (tmp_.path() / "none.db").string(), "addressbook", "list"}).code, 1);
  EXPECT_EQ(Run({"addressbook", "import", (tmp_.path() / "missing.vcf").string()}).code, 1);
  EXPECT_EQ(Run({"addressbook", "import", File("mail.vcf", Mail("a@b", "c@d", "not a card"))}).code, 1);
  // The mail store is untouched by all of it.
  EXPECT_EQ(Run({"show", "5"}).code, 0);
}

TEST_F(CorrespondenceCliTest, CtrlCStopsTheReportAndClosesThePage) {
  // Every letter is the person's, so the report has a long way to go.
  std::string card = "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Many\r\n";
  for (int i = 0; i < 60; ++i) card += "EMAIL:many" + std::to_string(i) + "@example.org\r\n";
  card += "END:VCARD\r\n";
  ASSERT_EQ(Run({"addressbook", "import", File("many.vcf", card)}).code, 0);
  std::string mbox;
  for (int i = 0; i < 1200; ++i)
    mbox += "From many@example.org Mon Jan  5 10:00:00 2026\n" +
            Mail("many" + std::to_string(i % 60) + "@example.org", "me@home.org", "n" + std::to_string(i)) + "\n";
  ASSERT_EQ(Run({"import", File("many.mbox", mbox)}).code, 0);
  const std::string page = (tmp_.path() / "many.html").string();
  Outcome r = Run({"correspondence", "report", "1", "--type", "0", "-o", page}, std::chrono::milliseconds(1000));
  if (r.err.find("stopped:") == std::string::npos) GTEST_SKIP() << "the report was done before the interrupt";
  EXPECT_EQ(r.code, 0) << r.err;
  std::ifstream in(page, std::ios::binary);
  const std::string html((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_TRUE(html.ends_with("</table> </body></html>"));
  EXPECT_NE(html.find("body of n0"), std::string::npos);
  EXPECT_EQ(html.find("body of n1199"), std::string::npos);
}

}  // namespace
