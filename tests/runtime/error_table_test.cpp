// Every error number the code raises has words: the named numbers of both catalogues are
// in the table, and no raise in the sources uses a bare number the table could miss.
#include "runtime/error_table.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/errors.h"

namespace ravelin {
namespace {

namespace stdfs = std::filesystem;

std::string ReadAll(const stdfs::path& p) {
  std::ifstream in(p);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

// "name = number" of every constant in a namespace block of a header.
std::vector<std::pair<std::string, int>> Constants(const stdfs::path& header, const std::string& ns) {
  const std::string text = ReadAll(header);
  const size_t begin = text.find("namespace " + ns + " {");
  const size_t end = text.find("}  // namespace " + ns, begin);
  std::vector<std::pair<std::string, int>> out;
  if (begin == std::string::npos || end == std::string::npos) return out;
  static const std::regex constant(R"re(constexpr int32_t (k\w+) = (\d+);)re");
  const std::string block = text.substr(begin, end - begin);
  for (std::sregex_iterator it(block.begin(), block.end(), constant), last; it != last; ++it)
    out.emplace_back((*it)[1].str(), std::stoi((*it)[2].str()));
  return out;
}

TEST(ErrorTable, AscendingWithWordsForEveryEntry) {
  int previous = 0;
  for (const ErrorInfo& e : ErrorTable()) {
    EXPECT_GT(e.number, previous) << "table out of order at " << e.number;
    EXPECT_FALSE(e.description.empty()) << e.number;
    previous = e.number;
  }
  EXPECT_EQ(DefaultErrorText(3021), u"No current record.");
  EXPECT_EQ(Error(errnum::kOverflow, {}).Description(), u"Overflow");
}

TEST(ErrorTable, EveryNamedNumberIsInTheTable) {
  const stdfs::path src = stdfs::path(RAVELIN_SOURCE_DIR) / "src";
  auto named = Constants(src / "runtime/errors.h", "errnum");
  const auto engine = Constants(src / "platform/db/dao.h", "dberr");
  ASSERT_GT(named.size(), 10u);
  ASSERT_GT(engine.size(), 20u);
  named.insert(named.end(), engine.begin(), engine.end());
  const auto socket = Constants(src / "transport/socket.h", "sockerr");
  ASSERT_GT(socket.size(), 5u);
  named.insert(named.end(), socket.begin(), socket.end());
  for (const auto& [name, number] : named) EXPECT_NE(FindError(number), nullptr) << name << " = " << number;
}

TEST(ErrorTable, NoBareNumbersRaisedInTheSources) {
  static const std::regex bare(R"re(\b(?:ThrowDb|RaiseError|Error|Syntax)\((?:text, )?(\d{2,4})\b)re");
  std::vector<std::string> found;
  for (const auto& entry : stdfs::recursive_directory_iterator(stdfs::path(RAVELIN_SOURCE_DIR) / "src")) {
    if (!entry.is_regular_file() || entry.path().extension() != ".cpp") continue;
    std::ifstream in(entry.path());
    std::string line;
    for (int n = 1; std::getline(in, line); ++n) {
      if (line.find("//") != std::string::npos && line.find("//") < line.find('(')) continue;
      std::smatch m;
      if (std::regex_search(line, m, bare))
        found.push_back(entry.path().filename().string() + ":" + std::to_string(n) + " raises " + m[1].str());
    }
  }
  std::string all;
  for (const auto& f : found) all += "\n  " + f;
  EXPECT_TRUE(found.empty()) << "raise a named number instead:" << all;
}

}  // namespace
}  // namespace ravelin
