// The presentation commands of the `ravelin` program, run as a user runs them on the
// shipped samples: pages of letters, extraction, replies, pack reports and clearing.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include "platform/db/dao.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "support/program_runner.h"
#include "support/test_support.h"

namespace ravelin::test {
namespace {

namespace stdfs = std::filesystem;

using Outcome = ProgramOutcome;

std::string Slurp(const stdfs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

class PresentationCli : public HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    ASSERT_EQ(Run({"import", "samples"}).code, 0);
  }

  Outcome Run(std::vector<std::string> args) {
    std::vector<std::string> argv = {RAVELIN_CLI_PATH, "--home", ToUtf8(home())};
    argv.insert(argv.end(), args.begin(), args.end());
    ProgramOptions o;
    o.env = {{"TZ", "UTC"}};
    o.cwd = RAVELIN_SOURCE_DIR;
    return RunProgram(argv, o);
  }

  // The key of the sample letter with this subject.
  std::string KeyOf(const std::string& subject) {
    const auto list = boost::json::parse(Run({"list", "--all", "--json"}).out).as_array();
    for (const auto& row : list)
      if (row.at("Subject").as_string() == subject) return std::to_string(row.at("key").as_int64());
    ADD_FAILURE() << "no sample " << subject;
    return "0";
  }

  std::string NewPackWith(const std::vector<std::string>& keys) {
    auto db = dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access");
    auto packs = db->OpenRecordset(u"Packs", dao::dbOpenDynaset);
    packs->AddNew();
    packs->SetField(u"Name", Value(u"Samples"));
    const int32_t n = packs->GetField(u"N").AsLong();
    packs->Update();
    auto items = db->OpenRecordset(u"PackItems", dao::dbOpenDynaset);
    for (const auto& k : keys) {
      items->AddNew();
      items->SetField(u"Pack_N", Value(n));
      items->SetField(u"Msg_N", Value(std::stoi(k)));
      items->Update();
    }
    db->Close();
    return std::to_string(n);
  }
};

TEST_F(PresentationCli, HtmlOfALetterWithAndWithoutAnHtmlBody) {
  const std::string html = KeyOf("Monthly news, in two forms");
  const std::string plain = KeyOf("Welcome to Ravelin");

  Outcome r = Run({"html", html});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("<"), std::string::npos);

  r = Run({"html", plain});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("has no HTML body"), std::string::npos);
  r = Run({"html", plain, "--force", "-o", ToUtf8(HomeFile("plain.html"))});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_TRUE(Slurp(ToUtf8(HomeFile("plain.html"))).starts_with("<!DOCTYPE"));

  EXPECT_EQ(Run({"html", "999"}).code, 1);
  EXPECT_EQ(Run({"html"}).code, 2);
}

TEST_F(PresentationCli, SavedLetterPageKeepsItsFilesBesideIt) {
  const std::string key = KeyOf("Figures and a dot");
  const Outcome r = Run({"html", key, "--save", ToUtf8(HomeFile("letter.htm"))});
  ASSERT_EQ(r.code, 0) << r.err;
  const std::string page = Slurp(ToUtf8(HomeFile("letter.htm")));
  EXPECT_EQ(page.find("mFiles"), std::string::npos);
  EXPECT_FALSE(stdfs::is_empty(ToUtf8(HomeFile("letter.files"))));
}

TEST_F(PresentationCli, ExtractListsEveryFileWithItsKind) {
  const std::string key = KeyOf("Figures and a dot");
  const Outcome r = Run({"extract", key, "--to", ToUtf8(HomeFile("out")), "--json"});
  ASSERT_EQ(r.code, 0) << r.err;
  const auto rows = boost::json::parse(r.out).as_array();
  ASSERT_FALSE(rows.empty());
  for (const auto& row : rows) {
    const auto& o = row.as_object();
    for (const char* k : {"file", "path", "attachment", "body", "AVPchecked"}) EXPECT_TRUE(o.contains(k)) << k;
    EXPECT_TRUE(stdfs::exists(std::string(o.at("path").as_string())));
  }
}

TEST_F(PresentationCli, ReplyAsTheComposeWindowReceivesIt) {
  const std::string key = KeyOf("Welcome to Ravelin");
  const Outcome r = Run({"reply", key, "--json"});
  ASSERT_EQ(r.code, 0) << r.err;
  const auto o = boost::json::parse(r.out).as_object();
  EXPECT_EQ(o.at("To").as_string(), "\"Ada Ravel\"<ada@example.org>");
  EXPECT_EQ(o.at("Subject").as_string(), "Re: Welcome to Ravelin");
  EXPECT_EQ(o.at("format").as_string(), "plain");
  const std::string body(o.at("body").as_string());
  EXPECT_TRUE(body.starts_with("Hello, Ada Ravel!\r\nYou wrote ")) << body;
  EXPECT_NE(body.find("\r\nA R>"), std::string::npos) << body;
  for (const char* k : {"From", "Project", "InsArcPrj", "Pack_N"}) EXPECT_TRUE(o.contains(k)) << k;
}

TEST_F(PresentationCli, PackReportToAFileAndSavedWithItsFiles) {
  const std::string pack = NewPackWith({KeyOf("Welcome to Ravelin"), KeyOf("Figures and a dot")});
  Outcome r = Run({"pack-report", pack, "-o", ToUtf8(HomeFile("p.html"))});
  ASSERT_EQ(r.code, 0) << r.err;
  const std::string page = Slurp(ToUtf8(HomeFile("p.html")));
  EXPECT_TRUE(page.ends_with("</table> </body></html>"));

  const std::string saved = ToUtf8(HomeFile("p.htm"));
  std::ofstream(saved) << "old";
  r = Run({"pack-report", pack, "--save", saved});
  EXPECT_EQ(r.code, 1);  // exists, and nobody at the terminal says yes
  EXPECT_EQ(Slurp(saved), "old");
  r = Run({"pack-report", pack, "--save", saved, "--yes"});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_NE(Slurp(saved), "old");
  EXPECT_TRUE(stdfs::exists(ToUtf8(HomeFile("p.files"))));

  EXPECT_EQ(Run({"clear-files"}).code, 0);
  EXPECT_TRUE(stdfs::is_empty(ToUtf8(HomeFile("mFiles"))));
}

TEST_F(PresentationCli, MhtFromTheCorpus) {
  const auto file = SharedDir() / "corpus" / "webkit-mhtml" / "page_with_css_and_js_ie.mht";
  if (!stdfs::exists(file)) GTEST_SKIP() << "no corpus";
  const Outcome r = Run({"mht", file.string(), "--json", "-o", ToUtf8(HomeFile("page.html"))});
  ASSERT_EQ(r.code, 0) << r.err;
  const auto o = boost::json::parse(r.out).as_object();
  EXPECT_EQ(o.at("root").as_string(), "page_with_css_and_js.html");
  EXPECT_EQ(o.at("files").as_array().size(), 4u);
  EXPECT_TRUE(stdfs::exists(ToUtf8(HomeFile("page.html"))));
  EXPECT_EQ(Run({"mht", ToUtf8(HomeFile("none.mht"))}).code, 1);
}

}  // namespace
}  // namespace ravelin::test
