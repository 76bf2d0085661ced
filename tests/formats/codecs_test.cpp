// Transfer codecs: Base64 and quoted-printable in both directions, sizes and splitters.
#include "formats/codecs.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "support/test_support.h"

namespace ravelin {
namespace {

using namespace std::string_literals;

std::u16string B(const std::string& octets) { return BytesToByteText(octets); }
std::string Show(const std::u16string& s) { return ToUtf8(s); }

using test::ErrorOf;

TEST(Base64, RoundTripsEveryLengthAndOctetThroughSplitLines) {
  for (size_t len = 0; len <= 300; ++len) {
    std::string octets(len, '\0');
    for (size_t i = 0; i < len; ++i) octets[i] = static_cast<char>((i * 131 + len * 7) & 0xFF);
    const std::u16string source = B(octets);
    const std::u16string encoded = AsciiToBase64(source);
    ASSERT_EQ(encoded.size(), static_cast<size_t>(CalcBase64strSize(static_cast<int32_t>(len)))) << len;
    ASSERT_EQ(encoded.find_first_of(u"\r\n"), std::u16string::npos) << len;
    ASSERT_EQ(Base64ToAscii(encoded), source) << "length " << len;
    // As bodies are sent: 72 wide with CR LF, and as some mailers write them: LF and blanks.
    ASSERT_EQ(Base64ToAscii(SplitMsg(encoded, u"\r\n", 72, 72) + u"\r\n"), source) << "CRLF lines, length " << len;
    ASSERT_EQ(Base64ToAscii(SplitMsg(encoded, u" \n\t", 19, 19)), source) << "blank lines, length " << len;
  }
  std::string all(256, '\0');
  for (int i = 0; i < 256; ++i) all[i] = static_cast<char>(i);
  EXPECT_EQ(Base64ToAscii(AsciiToBase64(B(all))), B(all));
}

TEST(Base64, DecodesTheWayTheSystemDoes) {
  struct Row {
    std::u16string in;
    std::u16string out;
  } rows[] = {
      {u"QUI=", B("AB")},
      {u"QQ==", B("A")},
      {u"QQ", u"QQ"},                 // under four characters: returned undecoded
      {u" Q\r\nQ\t", u"QQ"},          // ... after cleaning
      {u"QU JD\r\n", B("ABC")},       // blanks and line ends do not count
      {u"QUJD\nRA==", B("ABCD")},
      {u"QUJDRA", B("ABC")},          // a trailing partial group is dropped
      {u"QUJD=", B("AB")},            // "=" is counted at the end of the cleaned text
      {u"====", u""},                 // three pads counted, not two
      {u"QU*D", B("\x41\x3F\xC3")},   // a stranger counts -1 and borrows from the octets before it
      {u"QU\u0416D", B("\x41\x3F\xC3")},
      {u"Q\rQ==", B("\x3F")},         // a lone CR stays and is a stranger
      {u"", u""},
  };
  for (const auto& r : rows) EXPECT_EQ(Base64ToAscii(r.in), r.out) << "input: " << Show(r.in);
}

// The decoder as plainly written: the four removals one after the other, then groups
// of four with -1 for strangers, 0 beyond the end and octets past the length dropped.
std::u16string PlainBase64ToAscii(std::u16string s) {
  for (const char16_t* gone : {u"\r\n", u"\n", u"\t", u" "}) s = Replace(s, gone, u"");
  size_t outLen = s.size() / 4 * 3;
  if (outLen == 0) return s;
  for (size_t k = 1; k <= 3 && s[s.size() - k] == u'='; ++k) --outLen;
  std::u16string out(outLen, u'\0');
  for (size_t i = 0; i < s.size(); i += 4) {
    int32_t v = 0;
    for (size_t k = 0; k < 4; ++k) {
      int32_t c = i + k < s.size() ? static_cast<int32_t>(kBase64Alphabet.find(s[i + k])) : 0;
      v = v * 64 + (i + k < s.size() && c == -1 ? -1 : c);
    }
    for (size_t k = 0; k < 3; ++k)
      if (i / 4 * 3 + k < outLen) out[i / 4 * 3 + k] = static_cast<char16_t>((static_cast<uint32_t>(v) >> (16 - 8 * k)) & 0xFF);
  }
  return out;
}

TEST(Base64, AgreesWithThePlainDecoderOnNoisyText) {
  const std::u16string pieces[] = {u"QUJD", u"\r\n", u"\r", u"\n", u"\t", u" ", u"=", u"*", u"\u0416", u"\u9000",
                                   u"eHh4eHh4", u"/+09", u"\r\r\n"};
  uint32_t seed = 12345;
  for (int round = 0; round < 420; ++round) {
    std::u16string s;
    // The last rounds are long enough to cross the decoder's internal chunks.
    size_t want = round < 400 ? (round * 37) % 1500 : 20000 + round * 1013;
    while (s.size() < want) {
      seed = seed * 1103515245u + 12345u;
      uint32_t r = (seed >> 16) % 100;
      s += r < 80 ? pieces[r % 2 == 0 ? 0 : 10] : pieces[r % 13];
    }
    ASSERT_EQ(Base64ToAscii(s), PlainBase64ToAscii(s)) << "input: " << Show(s);
  }
}

// Large parts are decoded straight into octets; those must be the very octets the byte
// text decoder gives, noise, padding and chunk edges included.
TEST(Base64, OctetDecoderGivesTheSameOctets) {
  const std::u16string pieces[] = {u"QUJD", u"\r\n", u"\r", u"\n", u"\t", u" ", u"=", u"*", u"\u0416", u"\u9000",
                                   u"eHh4eHh4", u"/+09", u"\r\r\n"};
  uint32_t seed = 777;
  for (int round = 0; round < 220; ++round) {
    std::u16string s;
    const size_t want = round < 200 ? (round * 41) % 1200 + 4 : 40000 + round * 997;
    while (s.size() < want) {
      seed = seed * 1103515245u + 12345u;
      const uint32_t r = (seed >> 16) % 100;
      // Mostly clean text, so that the vector blocks are taken and left again.
      s += r < 90 ? pieces[r % 2 == 0 ? 0 : 10] : pieces[r % 13];
    }
    std::string octets;
    const std::u16string text = Base64ToAscii(s);
    if (Base64ToOctets(s, octets)) {
      ASSERT_EQ(B(octets), text) << "input: " << Show(s);
    }
    else ASSERT_LT(text.size(), 4u) << "input: " << Show(s);
  }
  // Every octet value, in lines as mail carries them.
  std::string all;
  for (int k = 0; k < 3000; ++k) all.push_back(static_cast<char>((k * 7) & 0xFF));
  std::string octets;
  ASSERT_TRUE(Base64ToOctets(SplitMsg(AsciiToBase64(B(all)), u"\r\n", 76, 76), octets));
  EXPECT_EQ(octets, all);
  // Fewer than four characters are not decoded: the caller keeps the text as it is.
  std::string untouched = "kept";
  EXPECT_FALSE(Base64ToOctets(u"QU\r\n=", untouched));
  EXPECT_EQ(untouched, "kept");
  EXPECT_FALSE(Base64ToOctets(u"", untouched));
}

TEST(Base64, EncodesAndSizes) {
  EXPECT_EQ(AsciiToBase64(u""), u"");
  EXPECT_EQ(AsciiToBase64(B("A")), u"QQ==");
  EXPECT_EQ(AsciiToBase64(B("AB")), u"QUI=");
  EXPECT_EQ(AsciiToBase64(B("ABC")), u"QUJD");
  EXPECT_EQ(AsciiToBase64(u"\u0416"), u"Pw==");  // beyond one octet: "?"
  // Long texts too: a unit beyond one octet anywhere encodes as "?" would.
  std::u16string wide = B(std::string(1000, 'k')), narrow = wide;
  for (size_t at : {0u, 31u, 500u, 998u}) {
    wide[at] = u'\u0416';
    narrow[at] = u'?';
  }
  EXPECT_EQ(AsciiToBase64(wide), AsciiToBase64(narrow));
  EXPECT_EQ(Base64ToAscii(AsciiToBase64(wide)), narrow);
  const int32_t sizes[][2] = {{0, 0}, {1, 4}, {2, 4}, {3, 4}, {4, 8}, {300, 400}};
  for (const auto& s : sizes) EXPECT_EQ(CalcBase64strSize(s[0]), s[1]) << s[0];
  EXPECT_EQ(ErrorOf([] { CalcBase64strSize(2147483647); }), errnum::kOverflow);
}

TEST(QuotedPrintable, EncodesEveryOctetOnOneLine) {
  struct Row {
    std::u16string in, out;
  } rows[] = {
      {u" ", u"=20"}, {u"=", u"=3D"}, {u"\n", u"=0A"}, {u"\r\n", u"=0D=0A"}, {B("\x7F"), B("\x7F")},
      {B("\x05"), u"=05"}, {B("\x10"), u"=10"}, {B("\xFF"), u"=FF"}, {u"a~!", u"a~!"}, {u"\u0416", u"?"},
  };
  for (const auto& r : rows) EXPECT_EQ(Code_quoted_printable(r.in), r.out) << "input: " << Show(r.in);
  std::string all(256, '\0');
  for (int i = 0; i < 256; ++i) all[i] = static_cast<char>(i);
  EXPECT_EQ(Decode_quoted_printable(Code_quoted_printable(B(all))), B(all));
}

TEST(QuotedPrintable, DecodesSoftBreaksAndLenientEscapes) {
  struct Row {
    std::u16string in, out;
  } rows[] = {
      {u"a=3Db", u"a=b"},
      {u"a=\r\nb", u"ab"},
      {u"a=\nb", u"ab"},
      {u"a=", u"a="},                   // a final "=" stays
      {u"=3D3D", u"=3D"},               // a decoded "=" is not read again
      {u"=ZZ", u"\0"s},                 // no digit: octet 0
      {u"=4Z", u"\x04"},                // reading stops at the first non-digit
      {u"=e9", B("\xE9")},              // lower-case digits
      {u"= 4x", u"\x04x"},              // blanks are passed over
      {u"==\r\n\r\nx", u"x"},           // removing a soft break joins "=" to a CR LF
      {u"==\n\nx", u"\0"s},             // the second removal does not read its own result
      {u"a =20\r\n", u"a  \r\n"},       // trailing blanks and hard breaks stay
      {u"=\r\n", u""},
  };
  for (const auto& r : rows) EXPECT_EQ(Decode_quoted_printable(r.in), r.out) << "input: " << Show(r.in);
  for (const std::u16string bad : {u"a=4", u"=\r", u"xyz=3"})
    EXPECT_EQ(ErrorOf([&] { Decode_quoted_printable(bad); }), errnum::kInvalidProcedureCall) << Show(bad);
}

// The decoder as plainly written with the string functions: both removals, then the
// search that cuts CR LF, reads "&h" and the two units through Val, and goes on behind.
std::u16string PlainDecodeQP(std::u16string s) {
  s = Replace(s, u"=\r\n", u"");
  s = Replace(s, u"=\n", u"");
  int32_t pos = 1;
  while (true) {
    int32_t p = InStr(pos, s, u"=");
    if (p == 0 || p == Len(s)) break;
    std::u16string two = Mid(s, p + 1, 2);
    if (two == u"\r\n") {
      s = Left(s, p - 1) + Mid(s, p + 3);
      pos = p;
      continue;
    }
    char16_t c = static_cast<char16_t>(Val(u"&h" + two));
    s = Left(s, p - 1) + std::u16string(1, c) + Right(s, Len(s) - p - 2);
    pos = p + 1;
  }
  return s;
}

TEST(QuotedPrintable, AgreesWithThePlainDecoderOnNoisyText) {
  const std::u16string pieces[] = {u"=", u"\r", u"\n", u"=\r\n", u"3D", u"A", u"z", u" ", u"=4", u"F", u"\u0416", u"=e9"};
  uint32_t seed = 777;
  for (int round = 0; round < 3000; ++round) {
    std::u16string s;
    const size_t want = round % 60;
    while (s.size() < want) {
      seed = seed * 1103515245u + 12345u;
      s += pieces[(seed >> 16) % 12];
    }
    std::u16string fast, plain;
    int fastError = ErrorOf([&] { fast = Decode_quoted_printable(s); });
    int plainError = ErrorOf([&] { plain = PlainDecodeQP(s); });
    ASSERT_EQ(fastError, plainError) << "input: " << Show(s);
    ASSERT_EQ(fast, plain) << "input: " << Show(s);
  }
}

// Large quoted-printable parts are decoded in slices cut at line breaks; the octets must
// be those of the whole text decoded at once, wherever the cuts fall.
TEST(QuotedPrintable, SlicedOctetDecoderGivesTheSameOctets) {
  const std::u16string pieces[] = {u"=", u"\r", u"\n", u"=\r\n", u"3D", u"A", u"\r\n", u" ", u"=4", u"F", u"=\n", u"=e9"};
  uint32_t seed = 4711;
  for (int round = 0; round < 3000; ++round) {
    std::u16string s;
    const size_t want = round % 80;
    while (s.size() < want) {
      seed = seed * 1103515245u + 12345u;
      s += pieces[(seed >> 16) % 12];
    }
    std::u16string whole;
    const int wholeError = ErrorOf([&] { whole = Decode_quoted_printable(s); });
    for (size_t slice : {1, 2, 5, 16}) {
      std::string octets = "untouched";
      const int error = ErrorOf([&] { ASSERT_TRUE(QuotedPrintableToOctets(s, octets, slice)); });
      ASSERT_EQ(error, wholeError) << "slice " << slice << ", input: " << Show(s);
      ASSERT_EQ(B(octets), wholeError ? u"untouched" : whole) << "slice " << slice << ", input: " << Show(s);
    }
  }
  std::string octets = "untouched";
  EXPECT_FALSE(QuotedPrintableToOctets(u"\u0416=3D", octets));
  EXPECT_EQ(octets, "untouched");
}

TEST(Splitters, SplitAndCut) {
  EXPECT_EQ(mSplit(u"aXbxc", u"x"), (std::vector<std::u16string>{u"a", u"b", u"c"}));
  EXPECT_EQ(mSplit(u"abc", u"x"), (std::vector<std::u16string>{u"abc"}));
  EXPECT_EQ(mSplit(u"a,b,", u","), (std::vector<std::u16string>{u"a", u"b", u""}));
  EXPECT_EQ(mSplit(u"", u","), (std::vector<std::u16string>{u""}));

  const std::u16string s145(145, u'x');
  std::u16string cut = SplitMsg(s145, u"|", 72, 72);
  EXPECT_EQ(cut, std::u16string(72, u'x') + u"|" + std::u16string(72, u'x') + u"|x");
  EXPECT_EQ(SplitMsg(std::u16string(144, u'x'), u"|", 72, 72), std::u16string(72, u'x') + u"|" + std::u16string(72, u'x'));
  EXPECT_EQ(SplitMsg(u"abc", u"|", 72, 0), u"abc");
  EXPECT_EQ(SplitMsg(u"", u"|", 72, 72), u"");
  EXPECT_EQ(ErrorOf([] { SplitMsg(u"abc", u"|", 0, 0); }), 11);
}

}  // namespace
}  // namespace ravelin
