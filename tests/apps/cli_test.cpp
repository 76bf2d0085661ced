// The `ravelin` program run as a user runs it: on a fresh home, on the shipped samples,
// with its output compared to the golden files in tests/apps/golden/. Set
// RAVELIN_UPDATE_GOLDEN=1 to rewrite those files from the program's output.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
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

const stdfs::path kSource = RAVELIN_SOURCE_DIR;
const stdfs::path kGolden = kSource / "tests/apps/golden";

using Outcome = ravelin::test::ProgramOutcome;

std::string ReadFile(const stdfs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Runs the program from the source folder (so sample paths print relative) with a fixed
// time zone, no terminal, and the given extra environment.
Outcome Ravelin(const stdfs::path& home, std::vector<std::string> args, const std::string& script = {}) {
  std::vector<std::string> argv;
  if (script.empty()) {
    argv = {RAVELIN_CLI_PATH, "--home", home.string()};
    argv.insert(argv.end(), args.begin(), args.end());
  } else {
    argv = {"/bin/bash", "-c", script, "bash", RAVELIN_CLI_PATH};
  }
  ravelin::test::ProgramOptions o;
  o.env = {{"TZ", "America/New_York"}, {"LC_ALL", "C.UTF-8"},
           {"RAVELIN_HOME", home.string()}};  // for the scripts, which don't pass --home
  o.cwd = kSource.string();
  return ravelin::test::RunProgram(argv, o);
}

void ExpectGolden(const std::string& name, const std::string& actual) {
  const stdfs::path file = kGolden / name;
  if (std::getenv("RAVELIN_UPDATE_GOLDEN")) {
    std::ofstream(file, std::ios::binary) << actual;
    return;
  }
  ASSERT_TRUE(stdfs::exists(file)) << file << " is missing";
  EXPECT_EQ(ReadFile(file), actual) << "differs from " << file;
}

class Cli : public ::testing::Test {
 protected:
  ravelin::test::TempDir home;
  Outcome Do(std::vector<std::string> args) { return Ravelin(home.path(), std::move(args)); }
  void ImportSamples() {
    const Outcome r = Do({"import", "--json", "samples"});
    ASSERT_EQ(r.code, 0) << r.err;
    ExpectGolden("import.json", r.out);
    EXPECT_EQ(r.err, "imported 4, failed 0 (Inbox 4)\n");
  }
};

TEST_F(Cli, ImportedSamplesListAndShowAsDocumented) {
  ImportSamples();
  const Outcome list = Do({"list", "--json"});
  EXPECT_EQ(list.code, 0) << list.err;
  ExpectGolden("list.json", list.out);
  for (int key = 1; key <= 4; ++key) {
    const Outcome show = Do({"show", std::to_string(key), "--json"});
    EXPECT_EQ(show.code, 0) << show.err;
    ExpectGolden("show-" + std::to_string(key) + ".json", show.out);
  }
  // The human forms, which people read and diff.
  ExpectGolden("list.txt", Do({"list"}).out);
  ExpectGolden("show-1.txt", Do({"show", "1"}).out);
}

// Keys of a `list --json` output, in the order shown.
std::vector<int> KeysOf(const std::string& json) {
  std::vector<int> keys;
  for (size_t p = json.find("\"key\": "); p != std::string::npos; p = json.find("\"key\": ", p + 1))
    keys.push_back(std::atoi(json.c_str() + p + 7));
  return keys;
}

TEST_F(Cli, ListsNewestFirstWithTiesInKeyOrderAndUndatedLettersLast) {
  // Letters 1..20 written on four days, five a day; 21..25 without a date, and in Sent
  // they get no arrival date either.
  std::string box;
  for (int k = 1; k <= 25; ++k) {
    box += "From a@b.c Mon Jan  1 00:00:00 2024\nFrom: a@b.c\nTo: d@e.f\nSubject: n" + std::to_string(k) + "\n";
    if (k <= 20) box += "Date: 0" + std::to_string(k % 4 + 1) + " Mar 2024 10:00:00 +0000\n";
    box += "\nbody\n\n";
  }
  const stdfs::path file = home.path() / "box.mbox";
  std::ofstream(file, std::ios::binary) << box;
  ASSERT_EQ(Do({"import", "--folder", "Sent", file.string()}).code, 0);

  const std::vector<int> expected = {3,  7,  11, 15, 19, 2,  6,  10, 14, 18, 1,  5,  9,
                                     13, 17, 4,  8,  12, 16, 20, 21, 22, 23, 24, 25};
  EXPECT_EQ(KeysOf(Do({"list", "--folder", "Sent", "--json", "--all"}).out), expected);
  std::vector<int> paged;
  for (const char* page : {"1", "2", "3", "4"}) {
    const std::vector<int> keys = KeysOf(Do({"list", "--folder", "Sent", "--json", "--page", page}).out);
    paged.insert(paged.end(), keys.begin(), keys.end());
  }
  EXPECT_EQ(paged, expected);
  const Outcome second = Do({"list", "--folder", "Sent", "--page", "2"});
  EXPECT_NE(second.out.find("(more: --page 3, or --all)"), std::string::npos) << second.out;
  EXPECT_EQ(Do({"list", "--folder", "Sent", "--page", "4"}).out, "no letters on page 4 of Sent\n");
}

// The rows of a JSON list, one text each.
std::vector<std::string> RowsOf(const std::string& json) {
  std::vector<std::string> rows;
  std::istringstream in(json);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(" {", 0) != 0) continue;
    if (line.back() == ',') line.pop_back();
    rows.push_back(line);
  }
  return rows;
}

TEST_F(Cli, PagesByTheDateShownAreTheWholeListCutInPages) {
  // Three days at two hours each (many equal dates), every fifth letter undated; the same
  // letters in Sent (keys 1..34) and in the Inbox (35..68).
  std::string box;
  for (int k = 1; k <= 34; ++k) {
    box += "From a@b.c Mon Jan  1 00:00:00 2024\nFrom: a@b.c\nTo: d@e.f\nSubject: n" + std::to_string(k) + "\n";
    if (k % 5 != 0)
      box += "Date: 0" + std::to_string(k % 3 + 1) + " Mar 2024 1" + std::to_string(k % 2) + ":00:00 +0000\n";
    box += "\nbody\n\n";
  }
  const stdfs::path file = home.path() / "box.mbox";
  std::ofstream(file, std::ios::binary) << box;
  ASSERT_EQ(Do({"import", "--folder", "Sent", file.string()}).code, 0);
  ASSERT_EQ(Do({"import", file.string()}).code, 0);
  // Letters listed more than once: in two packs, with two projects, or both.
  ASSERT_EQ(Do({"pack", "create", "A", "--add", "3", "--add", "6", "--add", "12", "--add", "21", "--add", "40"}).code, 0);
  ASSERT_EQ(Do({"pack", "create", "B", "--add", "6", "--add", "12", "--add", "24", "--add", "40"}).code, 0);
  for (const char* key : {"4", "12", "17", "32", "40", "44"})
    for (const char* project : {"Work", "Home"})
      ASSERT_EQ(Do({"link", "add", key, "--project", project}).code, 0) << key;
  for (const char* key : {"9", "12", "35", "50"}) ASSERT_EQ(Do({"delete", key}).code, 0) << key;

  size_t cut = 0;  // pages that start with the letter the page before ended with
  for (const std::vector<std::string>& which :
       {std::vector<std::string>{"--folder", "Sent"}, {"--folder", "Inbox"}, {"--deleted"}, {"--folder", "Outbox"}}) {
    const auto list = [&](std::vector<std::string> extra) {
      std::vector<std::string> args = {"list"};
      args.insert(args.end(), which.begin(), which.end());
      args.insert(args.end(), extra.begin(), extra.end());
      const Outcome r = Do(args);
      EXPECT_EQ(r.code, 0) << r.err;
      return r.out;
    };
    const std::vector<std::string> all = RowsOf(list({"--json", "--all"}));
    std::vector<std::string> paged;
    for (int page = 1;; ++page) {
      const std::vector<std::string> rows = RowsOf(list({"--json", "--page", std::to_string(page)}));
      const std::string table = list({"--page", std::to_string(page)});
      if (rows.empty()) {
        EXPECT_EQ(table.find("(more"), std::string::npos) << table;
        break;
      }
      if (!paged.empty() && paged.back().substr(0, 12) == rows.front().substr(0, 12)) ++cut;
      paged.insert(paged.end(), rows.begin(), rows.end());
      // The hint shows exactly when rows follow.
      EXPECT_EQ(table.find("(more: --page " + std::to_string(page + 1)) != std::string::npos, paged.size() < all.size())
          << which[0] << " page " << page << "\n" << table;
      ASSERT_LT(page, 20);
    }
    EXPECT_EQ(paged, all) << which.back();
  }
  EXPECT_GT(cut, 0u);  // a letter of several rows was cut by the end of a page
}

TEST_F(Cli, ParsesEverySampleAsBefore) {
  for (const auto& entry : stdfs::directory_iterator(kSource / "samples")) {
    const std::string name = entry.path().filename().string();
    const Outcome r = Do({"parse", "samples/" + name, "--json"});
    EXPECT_EQ(r.code, 0) << name << ": " << r.err;
    ExpectGolden("parse-" + entry.path().stem().string() + ".json", r.out);
  }
}

TEST_F(Cli, RefusesBadUsageWithExitTwo) {
  struct Case {
    std::vector<std::string> args;
    std::string err;
  } cases[] = {
      {{"frob"}, "ravelin: unknown command 'frob' (see ravelin --help)\n"},
      {{"list", "--frob"}, "ravelin: unknown option --frob\n"},
      {{"--frob", "list"}, "ravelin: unknown option --frob (see ravelin --help)\n"},
      {{"show"}, "ravelin: show needs one KEY\n"},
      {{"show", "x1"}, "ravelin: KEY must be a letter's number\n"},
      {{"list", "--page"}, "ravelin: --page needs a value\n"},
      {{"list", "--json=yes"}, "ravelin: --json takes no value\n"},
      {{"list", "--folder", "Attic"}, "ravelin: unknown folder 'Attic' (Inbox, Outbox, Sent, Rough copies, Recycle)\n"},
      {{"import"}, "ravelin: import needs at least one PATH (an .eml or mbox file, a Maildir or a folder)\n"},
      {{"import", "--project", "say \"hi\"", "samples"}, "ravelin: a project name can't hold a double quote (\")\n"},
      {{"delete", "1", "--purge", "--project", "P", "--pack", "2"},
       "ravelin: --purge removes one link at a time: give --project or --pack, not both\n"},
      {{"help", "frob"}, "ravelin: unknown command 'frob' (see ravelin --help)\n"},
  };
  for (const auto& c : cases) {
    const Outcome r = Do(c.args);
    EXPECT_EQ(r.code, 2) << c.args[0];
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.out, "");
  }
  EXPECT_EQ(Do({}).code, 2);  // no command: the help, on stderr
}

TEST_F(Cli, FailsWithExitOneOnWhatIsNotThere) {
  ImportSamples();
  struct Case {
    std::vector<std::string> args;
    std::string err;
  } cases[] = {
      {{"show", "999"}, "ravelin: no letter with key 999\n"},
      {{"delete", "999"}, "ravelin: no letter with key 999\n"},
      {{"restore", "999"}, "ravelin: no letter with key 999\n"},
      {{"restore", "1"}, "ravelin: letter 1 is not in Recycle (it is in Inbox)\n"},
      {{"export", "999"}, "ravelin: no letter 999\n"},
      {{"parse", "samples/none.eml"}, "ravelin: cannot read samples/none.eml\n"},
  };
  for (const auto& c : cases) {
    const Outcome r = Do(c.args);
    EXPECT_EQ(r.code, 1) << c.args[0];
    EXPECT_EQ(r.err, c.err);
  }
  // A pack that isn't there takes nothing in.
  Outcome noPack = Do({"import", "--pack", "42", "samples"});
  EXPECT_EQ(noPack.code, 1);
  EXPECT_EQ(noPack.err, "ravelin: there is no pack 42; nothing imported\n");
  // What is clearly no mail (binary, empty) is named and skipped; the others still go in,
  // the reader deciding what a message is: a blank first line, an mbox "From " line.
  ravelin::test::TempDir files;
  std::ofstream(files.path() / "a-picture.eml", std::ios::binary) << std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
  std::ofstream(files.path() / "b-empty.eml");
  std::ofstream(files.path() / "c-blank-first.eml", std::ios::binary) << "\r\nSubject: blank first\r\n\r\nx\r\n";
  std::ofstream(files.path() / "d-envelope.eml", std::ios::binary)
      << "From bob@example.org Mon Nov  2 08:15:00 2026\nSubject: with its envelope\n\nx\n";
  const Outcome r = Do({"import", "--json", files.path().string()});
  EXPECT_EQ(r.code, 1);
  const std::string picture = (files.path() / "a-picture.eml").string(), empty = (files.path() / "b-empty.eml").string();
  EXPECT_EQ(r.out, "[\n {\"path\": \"" + picture + "\", \"error\": \"binary data, not a mail message (the file)\"},\n"
                   " {\"path\": \"" + empty + "\", \"error\": \"empty file\"},\n"
                   " {\"path\": \"" + (files.path() / "c-blank-first.eml").string() +
                   "\", \"key\": 5, \"MailFolder\": \"Inbox\"},\n"
                   " {\"path\": \"" + (files.path() / "d-envelope.eml").string() +
                   "\", \"letter\": 1, \"line\": 1, \"key\": 6, \"MailFolder\": \"Inbox\"}\n]\n");
  EXPECT_EQ(r.err, "ravelin: " + picture + ": binary data, not a mail message (the file)\nravelin: " + empty +
                       ": empty file\nimported 2, failed 2 (Inbox 2)\n");
  EXPECT_NE(Do({"show", "5"}).out.find("Subject:  blank first"), std::string::npos);
  EXPECT_NE(Do({"show", "6"}).out.find("Subject:  with its envelope"), std::string::npos);
}

TEST_F(Cli, ImportsMailboxesLetterByLetter) {
  ravelin::test::TempDir files;
  const stdfs::path mbox = files.path() / "Travel.mbox";
  std::ofstream(mbox, std::ios::binary)
      << "From a@example.org Mon Nov  2 08:15:00 2026\nSubject: tickets\nDate: Mon, 2 Nov 2026 08:15:00 +0000\n\n"
         ">From the station.\n\n"
         "From a@example.org Mon Nov  2 08:16:00 2026\n"
      << std::string("Subject: bro\0ken\n\nx\n\n", 21)  // a character 0 in the head: no mail
      << "From a@example.org Mon Nov  2 08:16:30 2026\nSubject: raw part\nContent-Transfer-Encoding: binary\n\n"
      << std::string("a\0b\n\n", 5)  // behind the head, a binary part may hold any octet
      << "From a@example.org Mon Nov  2 08:17:00 2026\nSubject: hotel\nDate: Tue, 3 Nov 2026 08:15:00 +0000\n\nok\n";
  const stdfs::path box = files.path() / ".Work";
  stdfs::create_directories(box / "cur");
  stdfs::create_directories(box / "new");
  std::ofstream(box / "cur" / "1.x:2,S") << "Subject: read one\nDate: Sun, 1 Nov 2026 08:15:00 +0000\n\nr\n";
  std::ofstream(box / "new" / "2.x") << "Subject: new one\nDate: Wed, 4 Nov 2026 08:15:00 +0000\n\nn\n";
  const Outcome r = Do({"import", mbox.string(), box.string(), "--project-from-folder", "--project", "Mail"});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "ravelin: " + mbox.string() + ": letter 2 (line 7): binary data, not a mail message\n");
  EXPECT_EQ(r.out, "imported 5, failed 1 (Inbox 5)\n");
  // Each mailbox under a project of its name; newest first by the date shown; the seen
  // flag kept.
  const Outcome travel = Do({"list", "--project", "Mail\\Travel"});
  EXPECT_EQ(travel.code, 0) << travel.err;
  EXPECT_LT(travel.out.find("hotel"), travel.out.find("tickets"));
  const Outcome work = Do({"list", "--project", "Mail\\Work", "--json"});
  EXPECT_LT(work.out.find("\"new one\""), work.out.find("\"read one\""));
  EXPECT_NE(work.out.find("\"Subject\": \"read one\", \"From\": null, \"To\": \"?\", \"DateReceived\": null, "
                          "\"DateWrote\": \"2026-11-01T08:15:00Z\", \"MailFolder\": \"Inbox\", \"OldMailFolder\": null, "
                          "\"Read\": true"),
            std::string::npos)
      << work.out;
  EXPECT_NE(Do({"show", "1"}).out.find("\nFrom the station.\n"), std::string::npos);
  // The shared corpus's mbox files: every letter, none refused.
  const stdfs::path corpus = ravelin::test::SharedDir() / "corpus";
  if (!stdfs::is_directory(corpus)) return;
  const Outcome c = Do({"import", (corpus / "mimekit/mbox/simple.mbox.txt").string(),
                        (corpus / "thunderbird/mailnews-test-data/mbox_unquoted").string(),
                        (corpus / "thunderbird/mailnews-test-data/mbox_mboxrd").string(),
                        (corpus / "thunderbird/mailnews-test-data/mbox_modern").string()});
  EXPECT_EQ(c.code, 0) << c.err;
  EXPECT_EQ(c.out, "imported 9, failed 0 (Inbox 9)\n");
}

TEST_F(Cli, SaysOnceWhyTheStoreCantBeUsed) {
  ImportSamples();
  // Another program holds the mail database: one line with the reason, exit code 1.
  const stdfs::path db = home.path() / "EmailW.mdb";
  ASSERT_TRUE(stdfs::exists(db));
  const int fd = open(db.c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(flock(fd, LOCK_EX), 0);
  const Outcome held = Do({"list"});
  close(fd);
  EXPECT_EQ(held.code, 1);
  EXPECT_EQ(held.out, "");
  EXPECT_EQ(held.err.rfind("ravelin: the mail database is in use by another program (waited ", 0), 0u) << held.err;
  EXPECT_NE(held.err.find(" s); try again when it is closed\n"), std::string::npos) << held.err;
}

TEST_F(Cli, ProjectListsKeepTheirSide) {
  ravelin::test::TempDir files;
  std::ofstream(files.path() / "live.eml") << "Subject: live\n\nx\n";
  ASSERT_EQ(Do({"import", (files.path() / "live.eml").string(), "--project", "Root\\Work"}).code, 0);
  std::ofstream(files.path() / "kept.eml") << "Subject: kept\n\nx\n";
  ASSERT_EQ(Do({"import", (files.path() / "kept.eml").string(), "--project", "Root\\Work\\Old", "--archive"}).code, 0);
  const auto subjects = [&](std::vector<std::string> args) {
    args.insert(args.begin(), {"list", "--project", "Root\\Work", "--below"});
    const Outcome r = Do(args);
    EXPECT_EQ(r.code, 0) << r.err;
    return std::make_pair(r.out.find("live") != std::string::npos, r.out.find("kept") != std::string::npos);
  };
  EXPECT_EQ(subjects({}), std::make_pair(true, false));
  EXPECT_EQ(subjects({"--archive"}), std::make_pair(false, true));
}

// A letter with a part large enough to be held as octets: parse reports its size and
// digest, and export writes the same octets to a file as to standard output, which read
// back give the same part.
TEST_F(Cli, LargePartParsesImportsAndExportsWhole) {
  static const char abc[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string base64;
  uint32_t x = 7;
  for (int line = 0; line < 30000; ++line) {  // 30000 lines of 57 octets
    for (int k = 0; k < 76; ++k) {
      x ^= x << 13, x ^= x >> 17, x ^= x << 5;
      base64 += abc[x & 63];
    }
    base64 += "\r\n";
  }
  const std::string letter =
      "Subject: large\r\nFrom: a@x.org\r\nContent-Type: multipart/mixed; boundary=zz\r\n\r\n"
      "--zz\r\nContent-Type: text/plain\r\n\r\nsee the file\r\n"
      "--zz\r\nContent-Type: application/octet-stream; name=big.bin\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
      base64 + "--zz--\r\n";
  const stdfs::path in = home.path() / "large.eml";
  std::ofstream(in, std::ios::binary) << letter;

  const auto digest = [](const std::string& json) {
    const size_t at = json.find("\"length\": 1710000, \"sha256\": \"");
    return at == std::string::npos ? std::string("(no part of 1710000 octets)") : json.substr(at, 95);
  };
  const Outcome parsed = Do({"parse", in.string(), "--json"});
  ASSERT_EQ(parsed.code, 0) << parsed.err;
  const std::string want = digest(parsed.out);
  EXPECT_EQ(want.size(), 95u) << parsed.out.substr(0, 400);
  EXPECT_NE(Do({"parse", in.string()}).out.find("\"big.bin\", 1710000 octets"), std::string::npos);

  ASSERT_EQ(Do({"import", in.string()}).code, 0);
  const stdfs::path out = home.path() / "out.eml";
  const Outcome exported = Do({"export", "1", "-o", out.string()});
  ASSERT_EQ(exported.code, 0) << exported.err;
  const Outcome toStdout = Do({"export", "1"});
  EXPECT_TRUE(toStdout.out == ReadFile(out)) << "export to a file and to standard output differ";
  EXPECT_EQ(digest(Do({"parse", out.string(), "--json"}).out), want);
}

TEST_F(Cli, DeleteAndRestoreRoundTrip) {
  ImportSamples();
  Outcome r = Do({"delete", "2"});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "letter 2 moved to Recycle (from Inbox)\n");
  EXPECT_EQ(Do({"list", "--deleted", "--json"}).out.find("\"key\": 2,"), 4u);
  r = Do({"restore", "2"});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "letter 2 restored to Inbox\n");
  EXPECT_EQ(Do({"list", "--deleted", "--json"}).out, "[]\n");
}

}  // namespace

namespace {

TEST_F(Cli, DescribesEachCommandFromItsTable) {
  const Outcome flag = Do({"list", "--help"});
  EXPECT_EQ(flag.code, 0);
  EXPECT_EQ(flag.out.rfind("Usage: ravelin list [--folder NAME | --deleted]", 0), 0u) << flag.out;
  EXPECT_NE(flag.out.find("\n  --order FIELD   "), std::string::npos) << flag.out;
  EXPECT_EQ(Do({"help", "list"}).out, flag.out);
  EXPECT_EQ(Do({"show", "1", "--help"}).out.rfind("Usage: ravelin show KEY [--json]\n", 0), 0u);
  // After "--" it is an argument, not a request for help.
  EXPECT_EQ(Do({"show", "--", "--help"}).code, 2);
  const Outcome all = Do({"--help"});
  EXPECT_EQ(Do({"help"}).out, all.out);
  EXPECT_NE(all.out.find("\n  import PATH... [--project P] [--project-from-folder] [--archive] [--pack N] [--folder NAME] "
                         "[--apply-rules] [--json]\n"),
            std::string::npos);
}

TEST_F(Cli, CompletesCommandsAndTheirOptionsInBash) {
  const auto complete = [&](const std::string& words) {
    const std::string script = "source <(\"$1\" completion bash) && COMP_WORDS=(" + words +
                               ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && _ravelin && echo \"${COMPREPLY[*]}\"";
    const Outcome r = Ravelin(home.path(), {}, script);
    EXPECT_EQ(r.code, 0) << r.err;
    return r.out;
  };
  EXPECT_EQ(complete("ravelin li"), "link list\n");
  EXPECT_EQ(complete("ravelin --home /tmp/x d"), "date decode-header delete\n");
  EXPECT_EQ(complete("ravelin list --fo"), "--folder\n");
  EXPECT_EQ(complete("ravelin show 3 --"), "--help --json\n");
  EXPECT_EQ(complete("ravelin help im"), "import\n");
  EXPECT_EQ(complete("ravelin list --order ''"), "\n");  // a value is typed, not offered
}

}  // namespace

namespace {

TEST_F(Cli, JsonEscapesControlCharactersAndKeepsTextBeyondTheBasicPlane) {
  ravelin::test::TempDir files;
  const stdfs::path eml = files.path() / "odd.eml";
  std::ofstream(eml, std::ios::binary) << "From: =?UTF-8?Q?Zo=C3=AB=20=F0=9F=98=80?= <zoe@example.org>\r\n"
                                          "Subject: =?UTF-8?Q?tab=09bell=07quote=22back=5C?=\r\n"
                                          "Date: Mon, 2 Nov 2026 08:15:00 +0000\r\n\r\nbody\r\n";
  const Outcome parsed = Do({"parse", eml.string(), "--json"});
  ASSERT_EQ(parsed.code, 0) << parsed.err;
  EXPECT_NE(parsed.out.find("\"From\": \"Zo\xC3\xAB \xF0\x9F\x98\x80 <zoe@example.org>\""), std::string::npos)
      << parsed.out;
  EXPECT_NE(parsed.out.find(R"("Subject": "tab\tbell\u0007quote\"back\\")"), std::string::npos) << parsed.out;

  ASSERT_EQ(Do({"import", eml.string()}).code, 0);
  const Outcome shown = Do({"show", "1", "--json"});
  EXPECT_NE(shown.out.find(R"("Subject": "tab\tbell\u0007quote\"back\\",)"), std::string::npos) << shown.out;
  EXPECT_NE(shown.out.find("\xF0\x9F\x98\x80"), std::string::npos);
}

}  // namespace

namespace {

// What the user reads when the input or the store is not what it should be.
TEST_F(Cli, TellsWhatIsWrongWithTheInputAndTheStore) {
  ravelin::test::TempDir files;
  // No message in an empty or binary file, for parse as for import.
  std::ofstream(files.path() / "empty.eml");
  std::ofstream(files.path() / "binary.eml", std::ios::binary) << std::string("\x89PNG\r\n\x1a\n\0\0", 10);
  for (const char* name : {"empty.eml", "binary.eml"}) {
    const Outcome parsed = Do({"parse", (files.path() / name).string()});
    EXPECT_EQ(parsed.code, 1) << name;
    EXPECT_NE(parsed.err.find(std::string(name) + ": "), std::string::npos) << parsed.err;
  }
  // A name that isn't UTF-8 is the system's octets, and the file is found.
  const stdfs::path odd = files.path() / "caf\xE9.eml";
  std::ofstream(odd, std::ios::binary) << "From: a@example.org\r\nSubject: odd name\r\n\r\nbody\r\n";
  const Outcome oddImport = Do({"import", odd.string()});
  EXPECT_EQ(oddImport.code, 0) << oddImport.err;
  EXPECT_NE(oddImport.out.find("imported 1, failed 0"), std::string::npos) << oddImport.out;

  // An absurd page length is kept in range, and `where` says so.
  std::ofstream(home.path() / "Ravelin.ini", std::ios::binary) << "[Letter]\r\nMsgCount=1e20\r\n";
  const Outcome where = Do({"where"});
  EXPECT_NE(where.out.find("list page:     1000 letters (the setting"), std::string::npos) << where.out;

  // Damage in the middle of the store: check says it in words and exits 1; compress puts
  // the file aside and goes back to the sound backup.
  ASSERT_EQ(Do({"compress"}).code, 0);
  const stdfs::path db = home.path() / "EmailW.mdb";
  ASSERT_EQ(Do({"check"}).code, 0);
  {
    std::fstream f(db, std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(0, std::ios::end);
    const auto size = static_cast<std::streamoff>(f.tellp());
    f.seekp(size / 2);
    f << std::string(static_cast<size_t>(size / 2), '\x5A');
  }
  const Outcome check = Do({"check"});
  EXPECT_EQ(check.code, 1);
  EXPECT_NE(check.out.find("is damaged:"), std::string::npos) << check.out << check.err;
  const Outcome compress = Do({"compress"});
  EXPECT_EQ(compress.code, 1);
  EXPECT_NE(compress.err.find("EmailW.damaged-"), std::string::npos) << compress.out << compress.err;
  EXPECT_EQ(Do({"check"}).code, 0);
  const Outcome listed = Do({"list"});
  EXPECT_NE(listed.out.find("odd name"), std::string::npos) << listed.out << listed.err;
}

}  // namespace
