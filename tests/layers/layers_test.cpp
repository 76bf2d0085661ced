// The layer rule: a file may include headers of its own layer and of the layers it is
// allowed to use, never of a layer above. The table is the one ARCHITECTURE.md shows;
// planned layers are in it so that their first file already lands in the right place.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace stdfs = std::filesystem;

struct Layer {
  std::string name;
  std::string folder;  // the include prefix of its headers, relative to src/ (apps: apps/)
  std::vector<std::string> uses;
};

// Bottom to top. Every layer uses all below it, except that the formats do not use the
// database engine: the reader and the codecs build, test and fuzz without it.
const std::vector<Layer>& Layers() {
  static const std::vector<Layer> layers = [] {
    std::vector<Layer> l = {
        {"runtime", "runtime/", {}},
        {"platform", "platform/", {"runtime"}},
        {"db", "platform/db/", {"runtime", "platform"}},
        {"formats", "formats/", {"runtime", "platform"}},
        {"store", "store/", {}},
        {"transport", "transport/", {}},
        {"packs", "packs/", {}},
        {"presentation", "presentation/", {}},
        {"windows", "windows/", {}},
        {"desktop", "desktop/", {}},
        {"facade", "facade/", {}},
        {"apps", "apps/", {}},
    };
    // From the store up, a layer uses everything below it.
    for (size_t i = 4; i < l.size(); ++i)
      for (size_t j = 0; j < i; ++j) l[i].uses.push_back(l[j].name);
    return l;
  }();
  return layers;
}

// The layer a path (relative to the repository) or an include text belongs to; the
// longest folder wins, so platform/db/ is the engine and not the platform. "" for none.
std::string LayerOf(const std::string& path) {
  std::string best;
  size_t bestLen = 0;
  for (const Layer& l : Layers()) {
    for (const std::string& prefix : {"src/" + l.folder, l.folder}) {
      if (path.rfind(prefix, 0) == 0 && prefix.size() > bestLen && (l.name != "apps" || prefix == "apps/")) {
        best = l.name;
        bestLen = prefix.size();
      }
    }
  }
  return best;
}

bool MayUse(const std::string& from, const std::string& to) {
  if (from == to) return true;
  for (const Layer& l : Layers())
    if (l.name == from) return std::find(l.uses.begin(), l.uses.end(), to) != l.uses.end();
  return false;
}

// Every include of a layer above (or beside) the including file's, as
// "file:line includes "x" (layer a may not use layer b)".
std::vector<std::string> UpwardEdges(const stdfs::path& root) {
  std::vector<std::string> edges;
  static const std::regex include(R"re(^\s*#\s*include\s*"([^"]+)")re");
  for (const char* top : {"src", "apps"}) {
    if (!stdfs::exists(root / top)) continue;
    for (const auto& entry : stdfs::recursive_directory_iterator(root / top)) {
      const std::string ext = entry.path().extension().string();
      if (!entry.is_regular_file() || (ext != ".h" && ext != ".cpp")) continue;
      const std::string rel = stdfs::relative(entry.path(), root).generic_string();
      const std::string from = LayerOf(rel);
      std::ifstream in(entry.path());
      std::string line;
      for (int n = 1; std::getline(in, line); ++n) {
        std::smatch m;
        if (!std::regex_search(line, m, include)) continue;
        const std::string to = LayerOf(m[1].str());
        if (to.empty() || from.empty() || MayUse(from, to)) continue;
        edges.push_back(rel + ":" + std::to_string(n) + " includes \"" + m[1].str() + "\" (layer " + from +
                        " may not use layer " + to + ")");
      }
    }
  }
  std::sort(edges.begin(), edges.end());
  return edges;
}

TEST(Layers, NoIncludeGoesUpward) {
  const std::vector<std::string> edges = UpwardEdges(RAVELIN_SOURCE_DIR);
  std::string all;
  for (const auto& e : edges) all += "\n  " + e;
  EXPECT_TRUE(edges.empty()) << "upward includes:" << all;
}

// The check itself finds an upward edge, names the file and the edge, and lets the
// allowed ones pass.
TEST(Layers, CheckNamesTheFileAndTheEdge) {
  const stdfs::path root = stdfs::temp_directory_path() / ("ravelin-layers-" + std::to_string(::getpid()));
  stdfs::remove_all(root);
  auto write = [&](const std::string& rel, const std::string& text) {
    stdfs::create_directories((root / rel).parent_path());
    std::ofstream(root / rel) << text;
  };
  write("src/store/maintenance.cpp", "#include \"store/schema.h\"\n#include \"windows/frm_compress.h\"\n");
  write("src/formats/eml_export.cpp", "#include <vector>\n#include \"platform/db/dao.h\"\n#include \"platform/uniini.h\"\n");
  write("src/platform/module1.cpp", "#include \"runtime/text.h\"\n  #  include \"facade/ravelin.h\"\n");
  write("apps/ravelin/main.cpp", "#include \"commands.h\"\n#include \"facade/ravelin.h\"\n");
  const std::vector<std::string> expected = {
      "src/formats/eml_export.cpp:2 includes \"platform/db/dao.h\" (layer formats may not use layer db)",
      "src/platform/module1.cpp:2 includes \"facade/ravelin.h\" (layer platform may not use layer facade)",
      "src/store/maintenance.cpp:2 includes \"windows/frm_compress.h\" (layer store may not use layer windows)",
  };
  EXPECT_EQ(UpwardEdges(root), expected);
  stdfs::remove_all(root);
}

}  // namespace
