// The `ravelin` program run as a user runs it: on a fresh home, on the shipped samples,
// with its output compared to the golden files in tests/apps/golden/. Set
// RAVELIN_UPDATE_GOLDEN=1 to rewrite those files from the program's output.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace {

namespace stdfs = std::filesystem;

const stdfs::path kSource = RAVELIN_SOURCE_DIR;
const stdfs::path kGolden = kSource / "tests/apps/golden";

struct Outcome {
  int code = -1;
  std::string out, err;
};

std::string ReadFile(const stdfs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Runs the program from the source folder (so sample paths print relative) with a fixed
// time zone, no terminal, and the given extra environment.
Outcome Ravelin(const stdfs::path& home, std::vector<std::string> args, const std::string& script = {}) {
  ravelin::test::TempDir tmp;
  const stdfs::path out = tmp.path() / "out", err = tmp.path() / "err";
  std::vector<std::string> argv;
  if (script.empty()) {
    argv = {RAVELIN_CLI_PATH, "--home", home.string()};
    argv.insert(argv.end(), args.begin(), args.end());
  } else {
    argv = {"/bin/bash", "-c", script, "bash", RAVELIN_CLI_PATH};
  }
  const pid_t pid = fork();
  if (pid == 0) {
    setenv("TZ", "America/New_York", 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("RAVELIN_HOME", home.c_str(), 1);  // for the scripts, which don't pass --home
    if (chdir(kSource.c_str()) != 0) _exit(127);
    const int in = open("/dev/null", O_RDONLY);
    const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(in, 0), dup2(o, 1), dup2(e, 2);
    std::vector<char*> raw;
    for (auto& a : argv) raw.push_back(a.data());
    raw.push_back(nullptr);
    execv(raw[0], raw.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  Outcome r;
  r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  r.out = ReadFile(out);
  r.err = ReadFile(err);
  return r;
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
      {{"import"}, "ravelin: import needs at least one PATH (an .eml file or a folder)\n"},
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
  // A file that isn't a message is named and skipped; the others still go in.
  ravelin::test::TempDir files;
  std::ofstream(files.path() / "notes.eml") << "just some words\n";
  stdfs::copy_file(kSource / "samples/plain.eml", files.path() / "plain.eml");
  const Outcome r = Do({"import", "--json", files.path().string()});
  EXPECT_EQ(r.code, 1);
  const std::string notes = (files.path() / "notes.eml").string();
  EXPECT_EQ(r.out, "[\n {\"path\": \"" + notes +
                       "\", \"error\": \"not a mail message (no header field at the start)\"},\n {\"path\": \"" +
                       (files.path() / "plain.eml").string() + "\", \"key\": 5, \"MailFolder\": \"Inbox\"}\n]\n");
  EXPECT_EQ(r.err, "ravelin: " + notes + ": not a mail message (no header field at the start)\n"
                   "imported 1, failed 1 (Inbox 1)\n");
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
  EXPECT_NE(all.out.find("\n  import PATH... [--project P [--archive]] [--pack N] [--json]\n"), std::string::npos);
}

TEST_F(Cli, CompletesCommandsAndTheirOptionsInBash) {
  const auto complete = [&](const std::string& words) {
    const std::string script = "source <(\"$1\" completion bash) && COMP_WORDS=(" + words +
                               ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && _ravelin && echo \"${COMPREPLY[*]}\"";
    const Outcome r = Ravelin(home.path(), {}, script);
    EXPECT_EQ(r.code, 0) << r.err;
    return r.out;
  };
  EXPECT_EQ(complete("ravelin li"), "list\n");
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
