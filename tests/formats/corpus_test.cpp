// Reads every message of the shared corpus of real mail (when it is present beside the
// repository) and compares what the reader finds with the independent reference output
// in reference.jsonl: the decoded subject, the number of leaf parts and the octets of
// each attachment. Prints one table row per corpus folder; the details of every
// difference go to corpus_mismatches.txt in the working folder.
#include <openssl/evp.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "formats/mime_parser.h"
#include "runtime/text.h"
#include "support/test_support.h"

namespace ravelin {
namespace {

namespace stdfs = std::filesystem;

struct Reference {
  bool present = false;
  bool subjectNull = true;
  std::string subject;
  size_t leaves = 0;
  std::multiset<std::string> hashes;
};

// The value of a JSON string that starts at `at` (on its opening quote); `at` moves behind it.
std::string JsonString(const std::string& s, size_t& at) {
  std::u16string out;
  for (++at; at < s.size() && s[at] != '"'; ++at) {
    if (s[at] != '\\') {
      size_t end = at;
      while (end < s.size() && s[end] != '"' && s[end] != '\\') ++end;
      out += FromUtf8(s.substr(at, end - at));
      at = end - 1;
      continue;
    }
    const char e = s[++at];
    switch (e) {
      case 'n': out += u'\n'; break;
      case 'r': out += u'\r'; break;
      case 't': out += u'\t'; break;
      case 'b': out += u'\b'; break;
      case 'f': out += u'\f'; break;
      case 'u':
        out += static_cast<char16_t>(std::stoi(s.substr(at + 1, 4), nullptr, 16));
        at += 4;
        break;
      default: out += static_cast<char16_t>(e);
    }
  }
  ++at;
  return ToUtf8(out);
}

std::map<std::string, Reference> LoadReference(const stdfs::path& file) {
  std::map<std::string, Reference> refs;
  std::ifstream in(file);
  std::string line;
  while (std::getline(in, line)) {
    size_t at = line.find("\"file\": ");
    if (at == std::string::npos) continue;
    at += 8;
    const std::string name = JsonString(line, at);
    Reference r;
    r.present = true;
    size_t s = line.find("\"subject\": ");
    if (s != std::string::npos && line.compare(s + 11, 1, "\"") == 0) {
      s += 11;
      r.subjectNull = false;
      r.subject = JsonString(line, s);
    }
    for (size_t p = line.find("\"path\": "); p != std::string::npos; p = line.find("\"path\": ", p + 1)) ++r.leaves;
    for (size_t h = line.find("\"sha256\": \""); h != std::string::npos; h = line.find("\"sha256\": \"", h + 1))
      r.hashes.insert(line.substr(h + 11, 64));
    refs[name] = r;
  }
  return refs;
}

std::string Sha256Hex(const std::string& octets) {
  unsigned char d[EVP_MAX_MD_SIZE];
  unsigned int n = 0;
  EVP_Digest(octets.data(), octets.size(), d, &n, EVP_sha256(), nullptr);
  std::string hex;
  for (unsigned int i = 0; i < n; ++i) {
    static const char* digits = "0123456789abcdef";
    hex += digits[d[i] >> 4];
    hex += digits[d[i] & 15];
  }
  return hex;
}

bool IsMbox(const std::string& name) {
  return name.ends_with(".mbox") || name.ends_with(".mbox.txt") || name.starts_with("mbox_");
}

// Messages of an mbox file: each starts at a line that begins with "From " and runs to
// the next one (the blank line before it excluded); the "From " line itself is dropped.
std::vector<std::string> SplitMbox(const std::string& box) {
  std::vector<size_t> starts;
  for (size_t at = 0; at < box.size();) {
    if (box.compare(at, 5, "From ") == 0) starts.push_back(at);
    const size_t lf = box.find('\n', at);
    if (lf == std::string::npos) break;
    at = lf + 1;
  }
  std::vector<std::string> out;
  for (size_t i = 0; i < starts.size(); ++i) {
    const size_t body = box.find('\n', starts[i]);
    size_t end = i + 1 < starts.size() ? starts[i + 1] : box.size();
    if (i + 1 < starts.size()) {
      if (end >= 2 && box.compare(end - 2, 2, "\n\n") == 0) end -= 1;
      else if (end >= 4 && box.compare(end - 4, 4, "\r\n\r\n") == 0) end -= 2;
    }
    out.push_back(body == std::string::npos || body + 1 > end ? "" : box.substr(body + 1, end - body - 1));
  }
  return out;
}

struct Row {
  int messages = 0, parsed = 0, attachments = 0, subjectDiff = 0, countDiff = 0, bytesDiff = 0;
};

TEST(Corpus, RealMessagesParse) {
  const stdfs::path corpus = test::SharedDir() / "corpus";
  if (!stdfs::exists(corpus / "reference.jsonl")) GTEST_SKIP() << "no corpus beside the repository";
  const auto refs = LoadReference(corpus / "reference.jsonl");
  std::map<std::string, Row> table;
  std::ofstream details("corpus_mismatches.txt");

  std::vector<stdfs::path> files;
  for (const auto& e : stdfs::recursive_directory_iterator(corpus))
    if (e.is_regular_file()) files.push_back(e.path());
  std::sort(files.begin(), files.end());
  for (const auto& path : files) {
    const std::string rel = stdfs::relative(path, corpus).generic_string();
    const std::string folder = rel.substr(0, rel.find('/'));
    if (folder == rel || folder == "charsets" || path.filename().string().starts_with(".")) continue;
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    std::vector<std::pair<std::string, std::string>> batch;
    if (IsMbox(path.filename().string())) {
      const auto msgs = SplitMbox(ss.str());
      for (size_t i = 0; i < msgs.size(); ++i) batch.emplace_back(rel + "#" + std::to_string(i), msgs[i]);
    } else {
      batch.emplace_back(rel, ss.str());
    }
    for (const auto& [label, octets] : batch) {
      Row& row = table[folder];
      ++row.messages;
      mailHeader h;
      const std::u16string text = BytesToByteText(octets);
      ASSERT_NO_THROW(GetSubItems(text, h)) << label;
      ++row.parsed;
      // A text handed over (its buffer reused for the body) reads the same as a borrowed one.
      mailHeader owned;
      GetSubItems(std::u16string(text), owned);
      EXPECT_EQ(owned.msgBody, h.msgBody) << label;
      EXPECT_EQ(owned.Message, h.Message) << label;
      EXPECT_EQ(owned.Subject, h.Subject) << label;
      EXPECT_EQ(owned.attFiles.size(), h.attFiles.size()) << label;
      row.attachments += static_cast<int>(h.attFiles.size());
      const auto it = refs.find(label);
      if (it == refs.end()) continue;
      const Reference& r = it->second;
      const std::string subject = ToUtf8(h.Subject);
      if ((r.subjectNull && !subject.empty()) || (!r.subjectNull && subject != r.subject)) {
        ++row.subjectDiff;
        details << label << "\tsubject\tours=" << subject.substr(0, 160) << "\treference=" << r.subject.substr(0, 160)
                << "\n";
      }
      const size_t leaves = h.attFiles.size() + (h.Message.empty() ? 0 : 1);
      if (leaves != r.leaves) {
        ++row.countDiff;
        details << label << "\tleaves\tours=" << leaves << "\treference=" << r.leaves << "\n";
      }
      for (const AttachFile& f : h.attFiles) {
        if (r.hashes.count(Sha256Hex(ByteTextToBytes(f.fData))) == 0) {
          ++row.bytesDiff;
          details << label << "\tbytes\t" << ToUtf8(f.ftype + u"/" + f.fsubtype) << " \"" << ToUtf8(f.fname)
                  << "\" not among the reference parts\n";
        }
      }
    }
  }

  std::printf("%-24s %8s %7s %11s %12s %12s %11s\n", "folder", "messages", "parsed", "attachments", "subject diff",
              "leaves diff", "bytes diff");
  Row total;
  for (const auto& [folder, r] : table) {
    std::printf("%-24s %8d %7d %11d %12d %12d %11d\n", folder.c_str(), r.messages, r.parsed, r.attachments,
                r.subjectDiff, r.countDiff, r.bytesDiff);
    total.messages += r.messages;
    total.parsed += r.parsed;
    total.subjectDiff += r.subjectDiff;
  }
  EXPECT_EQ(total.parsed, total.messages);
  // Most subjects are plain or carry well-formed encoded words: these must agree.
  EXPECT_GT(total.messages - total.subjectDiff, total.messages * 7 / 10);
}

}  // namespace
}  // namespace ravelin
