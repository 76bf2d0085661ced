// Charsets: the code-page directory, conversion both ways, encoded words in header
// values, display names and HTML references.
#include "formats/charsets.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "formats/codecs.h"
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

TEST(CodePageDirectory, KnowsTheNamesMailCarriesInAnyCase) {
  struct Row {
    const char16_t* name;
    int32_t cp;
  } rows[] = {
      {u"utf-8", 65001},        {u"UTF-8", 65001},       {u" utf8 ", 65001},     {u"Windows-1251", 1251},
      {u"WINDOWS-1251", 1251},  {u"koi8-r", 20866},      {u"KOI8-r", 20866},     {u"koi8-u", 21866},
      {u"ISO-8859-5", 28595},   {u"dos-866", 866},       {u"cp866", 866},        {u"IBM866", 866},
      {u"DOS-866", 866},        {u"iso-8859-1", 28591},  {u"latin1", 28591},     {u"windows-1252", 1252},
      {u"iso-8859-2", 28592},   {u"windows-1250", 1250}, {u"iso-8859-7", 28597}, {u"windows-1257", 1257},
      {u"iso-8859-9", 28599},   {u"windows-1255", 1255}, {u"windows-1256", 1256}, {u"iso-8859-15", 28605},
      {u"Shift_JIS", 932},      {u"euc-jp", 51932},      {u"ISO-2022-JP", 50220}, {u"gb2312", 936},
      {u"GBK", 936},            {u"gb18030", 54936},     {u"Big5", 950},         {u"euc-kr", 51949},
      {u"ks_c_5601-1987", 949}, {u"us-ascii", 20127},    {u"x-unknown", 0},      {u"", 0},
      {u"utf-8\u0416", 0},
  };
  for (const auto& r : rows) EXPECT_EQ(GetCPfromStr(r.name), r.cp) << Show(r.name);
  EXPECT_EQ(GetCPCode(u"Koi8-R"), 20866);
}

TEST(ConvertCodePage, DecodesAKnownSampleOfEachCodePage) {
  struct Row {
    int32_t cp;
    std::string octets;
    std::u16string text;
  } rows[] = {
      {1251, "\xCF\xF0\xE8\xE2\xE5\xF2", u"Привет"},
      {20866, "\xF0\xD2\xC9\xD7\xC5\xD4", u"Привет"},
      {21866, "\xA4\xA6\xA7", u"єії"},
      {28595, "\xBF\xE0\xD8\xD2\xD5\xE2", u"Привет"},
      {866, "\x8F\xE0\xA8\xA2\xA5\xE2", u"Привет"},
      {65001, "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 \xF0\x9F\x98\x80", u"Привет 😀"},
      {1252, "\x80\xE9", u"€é"},
      {28591, "\xE9\xFF", u"éÿ"},
      {1250, "\x8A", u"Š"},
      {28592, "\xA9", u"Š"},
      {1253, "\xE1", u"α"},
      {28597, "\xE1", u"α"},
      {1257, "\xE0", u"ą"},
      {1254, "\xFD", u"ı"},
      {28599, "\xFD", u"ı"},
      {1255, "\xF9", u"ש"},
      {28598, "\xF9", u"ש"},
      {1256, "\xC7", u"ا"},
      {28596, "\xC7", u"ا"},
      {874, "\xA1", u"ก"},
      {28605, "\xA4", u"€"},
      {932, "\x82\xA0", u"あ"},
      {51932, "\xA4\xA2", u"あ"},
      {50220, "\x1B$B$\"\x1B(B", u"あ"},
      {936, "\xC4\xE3\xBA\xC3", u"你好"},
      {54936, "\xC4\xE3\xBA\xC3", u"你好"},
      {950, "\xA7\x41\xA6\x6E", u"你好"},
      {949, "\xC7\xD1", u"한"},
      {51949, "\xC7\xD1", u"한"},
      {20127, "abc", u"abc"},
      {0, "\xE9\x01", u"\u00E9\u0001"},      // the ANSI code page, UTF-8: an ill-formed octet kept
      {12345, "\xE9", u"\u00E9"},            // unknown numbers map the same way
  };
  for (const auto& r : rows) {
    EXPECT_EQ(ConvertCodePage(B(r.octets), r.cp, kCodePageUtf16), r.text) << "code page " << r.cp;
    // Writing goes back to the same octets where the code page holds the text.
    if (r.cp != 0 && r.cp != 12345 && r.cp != 50220) {
      EXPECT_EQ(ConvertCodePage(r.text, kCodePageUtf16, r.cp), B(r.octets)) << "code page " << r.cp;
    }
  }
  // A character the target can't hold becomes "?".
  EXPECT_EQ(ConvertCodePage(u"Я€あ", kCodePageUtf16, 1251), B("\xDF\x88?"));
  EXPECT_EQ(ConvertCodePage(u"\u0416", 0, kCodePageUtf16), u"?");
}

// The ANSI code page is the process's; each test that changes it puts it back.
class AnsiCodePageGuard {
 public:
  explicit AnsiCodePageGuard(int32_t cp) : saved_(AnsiCodePage()) { EXPECT_TRUE(SetAnsiCodePage(cp)) << cp; }
  ~AnsiCodePageGuard() { SetAnsiCodePage(saved_); }

 private:
  int32_t saved_;
};

TEST(AnsiCodePage, ReadsOctetsWithoutACharsetAndNarrowsTrueText) {
  ASSERT_EQ(AnsiCodePage(), kCodePageUtf8);  // until the user chooses another
  {
    // UTF-8: valid sequences are read, each ill-formed one keeps its octets.
    const struct {
      std::string octets;
      std::u16string text;
    } rows[] = {
        {"\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82", u"Привет"},
        {"caf\xE9 \xD0\x9F", u"café П"},              // Latin-1 beside UTF-8
        {"\xE2\x82z", u"\u00E2\u0082z"},               // a cut sequence keeps both octets
        {"\xCF\xF0\xE8\xE2\xE5\xF2", u"Ïðèâåò"},       // windows-1251 octets stay as they are
        {"\xF0\x9F\x98\x80\xFF", u"😀\u00FF"},
    };
    for (const auto& r : rows) {
      EXPECT_EQ(ConvertCodePage(B(r.octets), 0, kCodePageUtf16), r.text) << r.octets;
      // An unknown charset name is read the same way; an explicit utf-8 still marks the damage.
      EXPECT_EQ(ConvertCodePage(B(r.octets), GetCPCode(u"x-unknown"), kCodePageUtf16), r.text) << r.octets;
    }
    EXPECT_EQ(ConvertCodePage(B("caf\xE9"), kCodePageUtf8, kCodePageUtf16), u"caf\uFFFD");
    EXPECT_EQ(ConvertCodePage(u"Привет", kCodePageUtf16, 0), B("\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82"));
  }
  {
    AnsiCodePageGuard cp1251(1251);
    EXPECT_EQ(ConvertCodePage(B("\xCF\xF0\xE8\xE2\xE5\xF2"), 0, kCodePageUtf16), u"Привет");
    EXPECT_EQ(ConvertCodePage(u"Привет", kCodePageUtf16, 0), B("\xCF\xF0\xE8\xE2\xE5\xF2"));
  }
  EXPECT_EQ(AnsiCodePage(), kCodePageUtf8);
  // Only a code page that keeps ASCII can read mail; the others are refused and change nothing.
  for (int32_t bad : {1200, 1201, 12000, 65000, 50220, 20127, 12345, 0, -1}) EXPECT_FALSE(SetAnsiCodePage(bad)) << bad;
  EXPECT_EQ(AnsiCodePage(), kCodePageUtf8);
  for (int32_t good : {1251, 866, 20866, 28595, 28591, 1252, 932, kCodePageUtf8}) {
    EXPECT_TRUE(SetAnsiCodePage(good)) << good;
    EXPECT_EQ(AnsiCodePage(), good);
  }
}

TEST(AnsiCodePage, TextGetsOctetsThatItsLabelReadsBack) {
  const struct {
    std::u16string text;
    int32_t cp;
    const char16_t* label;
  } rows[] = {
      {u"Привет", 20866, u"koi8-r"},
      {u"Привет", 866, u"ibm866"},
      {u"Привет", 1251, u"windows-1251"},
      {u"Привет 😀", 1251, u"utf-8"},  // 1251 has no emoji: UTF-8 holds all
      {u"Привет", 28591, u"utf-8"},
      {u"plain", 0, u"utf-8"},          // the ANSI code page, UTF-8
  };
  for (const auto& r : rows) {
    std::u16string label;
    const std::u16string octets = EncodeTextForLabel(r.text, r.cp, label);
    EXPECT_EQ(label, r.label) << r.cp;
    EXPECT_EQ(ConvertCodePage(octets, GetCPCode(label), kCodePageUtf16), r.text) << r.cp;
  }
  AnsiCodePageGuard cp1251(1251);
  std::u16string label;
  EXPECT_EQ(EncodeTextForLabel(u"Привет", 0, label), B("\xCF\xF0\xE8\xE2\xE5\xF2"));
  EXPECT_EQ(label, u"windows-1251");
}

// Code page 866 as DOS and mail carry it: ASCII whole (controls included), then the
// Cyrillic letters, the box drawing of the PC and the last sixteen signs.
TEST(ConvertCodePage, Cp866AllOctetsBothWays) {
  std::u16string expected;
  for (char16_t c = 0; c < 0x80; ++c) expected += c;
  for (char16_t c = 0x0410; c <= 0x043F; ++c) expected += c;  // А..п
  expected += u"░▒▓│┤╡╢╖╕╣║╗╝╜╛┐└┴┬├─┼╞╟╚╔╩╦╠═╬╧╨╤╥╙╘╒╓╫╪┘┌█▄▌▐▀";
  for (char16_t c = 0x0440; c <= 0x044F; ++c) expected += c;  // р..я
  expected += u"ЁёЄєЇїЎў°∙·√№¤■\u00A0";
  ASSERT_EQ(expected.size(), 256u);
  std::string all;
  for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
  const std::u16string text = ConvertCodePage(B(all), 866, kCodePageUtf16);
  for (int b = 0; b < 256; ++b)
    EXPECT_EQ(static_cast<int>(text[b]), static_cast<int>(expected[b])) << "octet 0x" << std::hex << b;
  EXPECT_EQ(ConvertCodePage(expected, kCodePageUtf16, 866), B(all));
}

TEST(ConvertCodePage, ReadsTheCyrillicSamplesAlike) {
  const auto dir = test::SharedDir() / "corpus" / "charsets";
  auto read = [&](const char* name) {
    std::ifstream in(dir / name, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
  };
  const std::string utf8 = read("cyrillic.utf-8.txt");
  if (utf8.empty()) GTEST_SKIP() << "no shared corpus";
  const std::u16string expected = ConvertCodePage(B(utf8), GetCPCode(u"utf-8"), kCodePageUtf16);
  EXPECT_EQ(expected, FromUtf8(utf8));
  const std::pair<const char*, const char16_t*> samples[] = {
      {"cyrillic.cp1251.txt", u"windows-1251"}, {"cyrillic.koi8-r.txt", u"koi8-r"}, {"cyrillic.iso-8859-5.txt", u"iso-8859-5"}};
  for (const auto& [file, charset] : samples)
    EXPECT_EQ(ConvertCodePage(B(read(file)), GetCPCode(charset), kCodePageUtf16), expected) << file;
}

TEST(ConvertCodePage, Utf8BothWaysAndBrokenSequences) {
  const std::u16string text = u"Ascii, Кириллица, 中文, 😀 and \u00E9";
  EXPECT_EQ(ConvertCodePage(text, kCodePageUtf16, kCodePageUtf8), B(ToUtf8(text)));
  EXPECT_EQ(ConvertCodePage(ConvertCodePage(text, kCodePageUtf16, kCodePageUtf8), kCodePageUtf8, kCodePageUtf16), text);
  struct Row {
    std::string octets;
    std::u16string text;
  } broken[] = {
      {"a\xC3", u"a\uFFFD"},              // cut short at the end
      {"\xE2\x82z", u"\uFFFDz"},           // one replacement for the valid beginning
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},  // an encoded surrogate
      {"\xC0\xAF", u"\uFFFD\uFFFD"},       // overlong
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xFF", u"\uFFFD"},
  };
  for (const auto& r : broken) EXPECT_EQ(ConvertCodePage(B(r.octets), kCodePageUtf8, kCodePageUtf16), r.text) << r.octets;
  EXPECT_EQ(ConvertCodePage(u"\xD800x", kCodePageUtf16, kCodePageUtf8), B("\xEF\xBF\xBDx"));
}

// The header decoder as plainly written: one word per round, then the whole joined text
// again from its start while more than "?=" and one character stood behind the word.
std::u16string PlainDecodeHeaderValue(const std::u16string& s) {
  int32_t p1 = InStr(s, u"=?");
  if (p1 == 0) return s;
  std::u16string head = Left(s, p1 - 1);
  int32_t p2 = InStr(p1 + 2, s, u"?");
  std::u16string charset = Mid(s, p1 + 2, p2 - p1 - 2);  // raises 5 when p2 is 0
  int32_t p3 = InStr(p2 + 1, s, u"?");
  int32_t p4 = InStr(p3 + 1, s, u"?=");
  std::u16string method = p3 > 0 ? Mid(s, p2 + 1, p3 - p2 - 1) : u"";
  std::u16string tail = !method.empty() ? Mid(s, p3 + 1) : Mid(s, p2 + 1);
  if (p4 > p3 && p3 > 0) {
    std::u16string text = Mid(s, p3 + 1, p4 - p3 - 1);
    if (UCase(method) == u"B") {
      text = Base64ToAscii(text);
    } else if (UCase(method) == u"Q") {
      try {
        text = Decode_quoted_printable(text);
      } catch (const Error&) {
      }
    }
    tail = ConvertCodePage(text, GetCPCode(charset), kCodePageUtf16) + Mid(s, p4 + 2);
  }
  std::u16string r = p4 < Len(s) - 2 ? PlainDecodeHeaderValue(head + tail) : head + tail;
  return Replace(r, u"\0"s, u"");
}

TEST(DecodeHeaderValue, ReadsEncodedWordsTheWayTheSystemDoes) {
  struct Row {
    std::u16string in, out;
  } rows[] = {
      {u"=?utf-8?B?0J/RgNC40LLQtdGC?=", u"Привет"},
      {u"=?utf-8?b?0J/RgNC40LLQtdGC?=", u"Привет"},
      {u"=?UTF-8?B?0J/RgNC40LLQtdGC?=", u"Привет"},  // the name in any case
      {u"abc =?koi8-r?Q?=F0?= def", u"abc П def"},
      {u"=?utf-8?Q?a_b?=", u"a_b"},                  // no underscore rule
      {u"=?x?B?QUI=?==?x?B?QUI=?=", u"ABAB"},       // two words, nothing between
      {u"=?x?B?QUI=?= =?x?B?QUI=?=", u"AB AB"},     // blanks between words are kept
      {u"plain\0text"s, u"plain\0text"s},            // no "=?": untouched
      {u"=?x?B?QUI=?= a\0b"s, u"AB ab"},             // with words, character 0 goes
      {u"=?utf-8?Q?abc", u"abc"},                    // no closing mark: the opening goes
      {u"=?utf-8?abc", u"abc"},                      // no third "?": only "=?charset?" goes
      {u"=?x?Z?abc?= tail", u"abc tail"},            // unknown method: text as it is
      {u"=?x?Q?=3D=3Fx=3FB=3FQUI=3D=3F=3D?= !", u"AB !"},  // decoded "=?" is read again
      {u"=?x?Q?ab=4?=", u"ab=4"},                    // an unreadable Q text stays encoded
      {u"a=?x?B?QUI=?=b", u"aABb"},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(DecodeHeaderValue(r.in), r.out) << "input: " << Show(r.in);
    EXPECT_EQ(PlainDecodeHeaderValue(r.in), r.out) << "plain, input: " << Show(r.in);
  }
  for (const std::u16string bad : {u"Subject ends in =?", u"=?utf-8", u"ok =?x?B?QUI=?= then =?"})
    EXPECT_EQ(ErrorOf([&] { DecodeHeaderValue(bad); }), errnum::kInvalidProcedureCall) << Show(bad);
}

TEST(DecodeHeaderValue, AgreesWithThePlainDecoderOnNoisyValues) {
  const std::u16string pieces[] = {u"=?", u"?=", u"?", u"=", u"x", u"B", u"Q", u"QUI=", u"_", u" ", u"=3D", u"=3F",
                                   u"\0"s, u"utf-8"};
  uint32_t seed = 4242;
  for (int round = 0; round < 8000; ++round) {
    std::u16string s;
    const size_t want = round % 60;
    while (s.size() < want) {
      seed = seed * 1103515245u + 12345u;
      s += pieces[(seed >> 16) % 14];
    }
    std::u16string fast, plain;
    int fastError = ErrorOf([&] { fast = DecodeHeaderValue(s); });
    int plainError = ErrorOf([&] { plain = PlainDecodeHeaderValue(s); });
    ASSERT_EQ(fastError, plainError) << "input: " << Show(s);
    ASSERT_EQ(fast, plain) << "input: " << Show(s);
  }
}

TEST(DecodeHeaderValue, HostileValuesDecodeWhole) {
  std::u16string many;
  for (int i = 0; i < 10000; ++i) many += u"=?utf-8?B?0J8=?=";
  EXPECT_EQ(DecodeHeaderValue(many), std::u16string(10000, u'П'));

  // A megabyte of openings without a single closing mark, and one of "=?" alone.
  std::u16string open;
  while (open.size() < (1u << 20)) open += u"=?a?b?c";
  EXPECT_EQ(DecodeHeaderValue(open.substr(0, 7000)), PlainDecodeHeaderValue(open.substr(0, 7000)));
  EXPECT_FALSE(DecodeHeaderValue(open).empty());
  std::u16string marks;
  while (marks.size() < (1u << 20)) marks += u"=?";
  marks += u"x";
  EXPECT_EQ(DecodeHeaderValue(marks.substr(0, 4001)), PlainDecodeHeaderValue(marks.substr(0, 4001)));
  try {
    DecodeHeaderValue(marks);  // finishes; its last "=?x" may fail like any such value
  } catch (const Error&) {
  }
}

TEST(EncodedWords, WrittenFieldsReadBack) {
  EXPECT_EQ(CreateStrField(u"Subject", u"a"), u"Subject: =?utf-8?B?YQ==?=");
  for (const std::u16string value : {u"Привет, мир", u"中文邮件主题", u"😀 party 🎉", u"a@b.c, Иван <i@x.ru>", u""}) {
    std::u16string field = CreateStrField(u"To", value);
    EXPECT_EQ(field.find_first_of(u"\r\n"), std::u16string::npos);
    EXPECT_EQ(DecodeHeaderValue(field), u"To: " + value) << Show(value);
  }

  std::u16string cp, method, rest, start = u"untouched";
  GetCP_CM(u"pre =?koi8-r?B?abc?= post", cp, method, rest, &start);
  EXPECT_EQ(start, u"pre ");
  EXPECT_EQ(cp, u"koi8-r");
  EXPECT_EQ(method, u"B");
  EXPECT_EQ(rest, u"abc?= post");
  std::u16string cp2, method2, rest2;
  GetCP_CM(u"=?utf-8?Q?open", cp2, method2, rest2);
  EXPECT_EQ(cp2, u"utf-8");
  EXPECT_EQ(method2, u"");
  EXPECT_EQ(rest2, u"Q?open");
  GetCP_CM(u"no word", cp2, method2, rest2, &start);
  EXPECT_EQ(rest2, u"no word");
  EXPECT_EQ(start, u"pre ");
}

TEST(CodePageNames, SmallCodesDescriptionsAndFallback) {
  struct Row {
    int32_t cp;
    const char16_t* name;
  } rows[] = {
      {1, u"Windows-1251"}, {2, u"DOS-866"}, {3, u"KOI8-r"}, {4, u"ISO-8859-5"}, {5, u"UTF-8"},
      {1251, u"Cyrillic (Windows)"}, {20866, u"Cyrillic (KOI8-R)"}, {65001, u"Unicode (UTF-8)"},
      {12345, u"Codepage 12345"}, {0, u"Codepage 0"}, {-7, u"Codepage -7"},
  };
  for (const auto& r : rows) EXPECT_EQ(GetStrFromCPcode(r.cp), r.name) << r.cp;
  // Every code page the directory hands out has a name and a working converter.
  for (const char16_t* charset : {u"utf-7", u"utf-16be", u"utf-32", u"ibm437", u"ibm850", u"ibm852", u"x-mac-cyrillic",
                                  u"macintosh", u"iso-8859-3", u"iso-8859-4", u"iso-8859-10", u"iso-8859-13",
                                  u"iso-8859-14", u"iso-8859-8-i", u"hz-gb-2312", u"iso-2022-kr", u"asmo-708", u"windows-1258"}) {
    int32_t cp = GetCPCode(charset);
    ASSERT_NE(cp, 0) << Show(charset);
    EXPECT_FALSE(GetCodePageDescription(cp).empty()) << Show(charset);
    EXPECT_EQ(ConvertCodePage(ConvertCodePage(u"Hello", kCodePageUtf16, cp), cp, kCodePageUtf16), u"Hello") << Show(charset);
  }
}

TEST(HtmlAndBom, ReferencesEveryUnitAndDropsOneBom) {
  EXPECT_EQ(GetUnicodeHTMLString(u"A"), u"&#65;");
  EXPECT_EQ(GetUnicodeHTMLString(u""), u"");
  EXPECT_EQ(GetUnicodeHTMLString(u"a <Ж>"), u"&#97;&#32;&#60;&#1046;&#62;");
  EXPECT_EQ(GetUnicodeHTMLString(u"😀"), u"&#55357;&#56832;");
  EXPECT_EQ(StripBOM(u"\uFEFFtext"), u"text");
  EXPECT_EQ(StripBOM(u"\uFEFF\uFEFF"), u"\uFEFF");
  EXPECT_EQ(StripBOM(u""), u"");
  EXPECT_EQ(StripBOM(u"x\uFEFF"), u"x\uFEFF");
}

}  // namespace
}  // namespace ravelin
