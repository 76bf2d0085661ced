// A file read straight into byte text: every octet one unit, across the read blocks, and
// the same text as widening the file's octets.
#include <gtest/gtest.h>

#include "platform/filesystem.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "support/test_support.h"

namespace ravelin::test {
namespace {

TEST(ByteTextFile, EveryOctetAcrossBlocks) {
  TempDir dir;
  std::string octets;
  for (size_t i = 0; i < 200000; ++i) octets.push_back(static_cast<char>((i * 7 + i / 256) & 0xFF));
  const std::u16string path = dir.File("big.eml");
  fs::WriteAll(path, octets);
  const std::u16string text = fs::ReadAllByteText(path);
  ASSERT_EQ(text.size(), octets.size());
  EXPECT_EQ(text, BytesToByteText(octets));
  EXPECT_EQ(ByteTextToBytes(text), octets);

  fs::WriteAll(dir.File("empty.eml"), "");
  EXPECT_EQ(fs::ReadAllByteText(dir.File("empty.eml")), u"");
  try {
    fs::ReadAllByteText(dir.File("missing.eml"));
    ADD_FAILURE() << "no error for a missing file";
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), errnum::kFileNotFound);
  }
}

TEST(ByteTextFile, AppendingKeepsWhatIsThere) {
  std::u16string text = u"ab";
  AppendByteText(text, std::string("\xE9\x00\xFF", 3));
  EXPECT_EQ(text, std::u16string(u"ab\u00E9") + u'\0' + u"\u00FF");
  AppendByteText(text, "");
  EXPECT_EQ(text.size(), 5u);
}

}  // namespace
}  // namespace ravelin::test
