// The command table as the commands to come will use it: names of a group and a verb,
// options that repeat, the help and the completion made from it.
#include <cstdio>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "commands.h"
#include "support/test_support.h"

namespace ravelin::cli {
namespace {

int Nothing(Context&, const Args&) { return 0; }

const CommandRegistrar accountAdd({"account add",
                                   {"NAME"},
                                   {{"--server", "HOST", "the server to send through"},
                                    {"--to", "ADDR", "a recipient", true},
                                    {"--tls", "", "talk TLS from the start"}},
                                   "add a mail account",
                                   false,
                                   Nothing});
const CommandRegistrar accountList({"account list", {}, {}, "list the accounts", false, Nothing});
const CommandRegistrar accounting({"accounting", {}, {}, "a word that starts like a group", false, Nothing});

std::string NameOf(std::vector<std::string> words, size_t expectTaken) {
  size_t taken = 99;
  const Command* c = FindCommand(words, taken);
  if (!c) return "(none)";
  EXPECT_EQ(taken, expectTaken);
  return c->name;
}

TEST(CommandTable, FindsGroupAndVerbNames) {
  EXPECT_EQ(NameOf({"account", "add", "bob"}, 2), "account add");
  EXPECT_EQ(NameOf({"account", "list"}, 2), "account list");
  EXPECT_EQ(NameOf({"accounting"}, 1), "accounting");
  EXPECT_EQ(NameOf({"account"}, 0), "(none)");
  EXPECT_EQ(NameOf({"account", "remove"}, 0), "(none)");
  EXPECT_EQ(NameOf({"add"}, 0), "(none)");
}

TEST(CommandTable, ParsesTheDeclaredOptions) {
  size_t taken = 0;
  const Command& add = *FindCommand({"account", "add"}, taken);
  Args ok({"--to", "a@x", "bob", "--to=b@x", "--tls", "--server", "mx", "--", "--tls"});
  ok.Declare(add.options);
  ASSERT_EQ(ok.Parse(), "");
  EXPECT_EQ(ok.GetAll("--to"), (std::vector<std::string>{"a@x", "b@x"}));
  EXPECT_EQ(ok.Get("--server"), "mx");
  EXPECT_TRUE(ok.Has("--tls"));
  EXPECT_EQ(ok.Positional(), (std::vector<std::string>{"bob", "--tls"}));

  const std::pair<std::vector<std::string>, std::string> bad[] = {
      {{"--tls=yes"}, "--tls takes no value"},
      {{"bob", "--server"}, "--server needs a value"},
      {{"--port", "25"}, "unknown option --port"},
  };
  for (const auto& [raw, error] : bad) {
    Args a(raw);
    a.Declare(add.options);
    EXPECT_EQ(a.Parse(), error);
  }
}

TEST(CommandTable, HelpShowsUsageAndEachOption) {
  size_t taken = 0;
  std::ostringstream out;
  PrintCommandHelp(out, *FindCommand({"account", "add"}, taken));
  EXPECT_EQ(out.str(),
            "Usage: ravelin account add NAME [--server HOST] [--to ADDR] [--tls]\n\n"
            "add a mail account\n\n"
            "Options:\n"
            "  --server HOST   the server to send through\n"
            "  --to ADDR       a recipient (may be repeated)\n"
            "  --tls           talk TLS from the start\n");
}

TEST(CommandTable, BashCompletesGroupsThenVerbsThenOptions) {
  test::TempDir dir;
  const auto script = dir.path() / "ravelin.bash";
  {
    std::ofstream f(script);
    PrintBashCompletion(f);
  }
  const auto complete = [&](const std::string& words) {
    const std::string command = "bash -c 'source " + script.string() + " && COMP_WORDS=(" + words +
                                ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && _ravelin && echo \"${COMPREPLY[*]}\"'";
    std::string out;
    if (FILE* p = popen(command.c_str(), "r")) {
      char buf[256];
      while (fgets(buf, sizeof buf, p)) out += buf;
      pclose(p);
    }
    return out;
  };
  EXPECT_EQ(complete("ravelin acc"), "account accounting\n");
  EXPECT_EQ(complete("ravelin account \"\""), "add list\n");
  EXPECT_EQ(complete("ravelin account add bob --t"), "--to --tls\n");
  EXPECT_EQ(complete("ravelin --home /tmp/h account add --server \"\""), "\n");
}

}  // namespace
}  // namespace ravelin::cli
