// The string helpers at their boundaries, in binary and text comparison.
#include "runtime/vbstring.h"

#include <gtest/gtest.h>

#include "runtime/errors.h"
#include "runtime/text.h"
#include "support/test_support.h"

namespace ravelin {
namespace {

using test::ErrorOf;

TEST(VbString, TrimRemovesBlanksOnly) {
  EXPECT_EQ(Trim(u"  a b  "), u"a b");
  EXPECT_EQ(Trim(u"\ta\t"), u"\ta\t");  // tabs stay
  EXPECT_EQ(LTrim(u"  x "), u"x ");
  EXPECT_EQ(RTrim(u" x  "), u" x");
  EXPECT_EQ(Trim(u"   "), u"");
  EXPECT_EQ(Trim(u"\u00A0x"), u"\u00A0x");  // no-break space is not a blank
}

TEST(VbString, LeftRightMidBounds) {
  EXPECT_EQ(Left(u"abc", 0), u"");
  EXPECT_EQ(Left(u"abc", 10), u"abc");
  EXPECT_EQ(Right(u"abc", 2), u"bc");
  EXPECT_EQ(Right(u"abc", 5), u"abc");
  EXPECT_EQ(Mid(u"abcdef", 3), u"cdef");
  EXPECT_EQ(Mid(u"abcdef", 3, 2), u"cd");
  EXPECT_EQ(Mid(u"abcdef", 6, 5), u"f");
  EXPECT_EQ(Mid(u"abc", 4), u"");
  EXPECT_EQ(Mid(u"abc", 100, 1), u"");
  EXPECT_EQ(Mid(u"", 1), u"");
  EXPECT_EQ(ErrorOf([] { Mid(u"abc", 0); }), 5);
  EXPECT_EQ(ErrorOf([] { Mid(u"abc", 1, -1); }), 5);
  EXPECT_EQ(ErrorOf([] { Left(u"abc", -1); }), 5);
}

TEST(VbString, InStrPositionsAndComparison) {
  struct Row {
    int64_t start;
    std::u16string s1, s2;
    Compare cmp;
    int32_t want;
  } rows[] = {
      {1, u"abcabc", u"bc", Compare::Binary, 2},
      {3, u"abcabc", u"bc", Compare::Binary, 5},
      {6, u"abcabc", u"bc", Compare::Binary, 0},
      {7, u"abcabc", u"bc", Compare::Binary, 0},  // start beyond the end
      {1, u"abc", u"", Compare::Binary, 1},        // empty search gives start
      {3, u"abc", u"", Compare::Binary, 3},
      {1, u"", u"a", Compare::Binary, 0},
      {1, u"", u"", Compare::Binary, 0},
      {1, u"ABC", u"b", Compare::Binary, 0},
      {1, u"ABC", u"b", Compare::Text, 2},
      {1, u"Привет МИР", u"мир", Compare::Text, 8},  // Cyrillic ignores case in text comparison
      {1, u"Привет МИР", u"мир", Compare::Binary, 0},
      {1, u"ЁЖИК", u"ёж", Compare::Text, 1},
      {1, u"STRASSE", u"straße", Compare::Text, 0},  // per-unit folding keeps positions
  };
  for (const auto& r : rows) {
    EXPECT_EQ(InStr(r.start, r.s1, r.s2, r.cmp), r.want) << ToUtf8(r.s1) << " / " << ToUtf8(r.s2) << " from " << r.start;
  }
  EXPECT_EQ(ErrorOf([] { InStr(0, u"abc", u"a"); }), 5);
}

TEST(VbString, InStrRevPositions) {
  EXPECT_EQ(InStrRev(u"abcabc", u"bc"), 5);
  EXPECT_EQ(InStrRev(u"abcabc", u"bc", 5), 2);  // an occurrence must end at or before start
  EXPECT_EQ(InStrRev(u"abcabc", u"bc", 6), 5);
  EXPECT_EQ(InStrRev(u"abcabc", u"bc", 1), 0);
  EXPECT_EQ(InStrRev(u"abc", u"", -1), 3);
  EXPECT_EQ(InStrRev(u"abc", u"a", 4), 0);  // start beyond the end
  EXPECT_EQ(InStrRev(u"a\\b\\c", u"\\"), 4);
  EXPECT_EQ(InStrRev(u"ABCabc", u"A", -1, Compare::Text), 4);
  EXPECT_EQ(InStrRev(u"", u"a"), 0);
  EXPECT_EQ(ErrorOf([] { InStrRev(u"abc", u"a", 0); }), 5);
}

TEST(VbString, ReplaceStartCountAndComparison) {
  EXPECT_EQ(Replace(u"aXbXc", u"X", u"--"), u"a--b--c");
  EXPECT_EQ(Replace(u"aXbXc", u"X", u"-", 3), u"b-c");  // text before start is dropped
  EXPECT_EQ(Replace(u"aXbXc", u"X", u"-", 1, 1), u"a-bXc");
  EXPECT_EQ(Replace(u"aXbXc", u"x", u"-"), u"aXbXc");
  EXPECT_EQ(Replace(u"aXbxc", u"x", u"-", 1, -1, Compare::Text), u"a-b-c");
  EXPECT_EQ(Replace(u"abc", u"", u"-"), u"abc");
  EXPECT_EQ(Replace(u"abc", u"b", u"-", 4), u"");
  EXPECT_EQ(Replace(u"abc", u"b", u"-", 1, 0), u"abc");
  EXPECT_EQ(Replace(u"aaa", u"aa", u"a"), u"aa");  // no rescan of the replacement
  EXPECT_EQ(Replace(u"Line vbCrLf next VBCRLF end", u" vbCrLf ", u"\r\n", 1, -1, Compare::Text),
            u"Line\r\nnext\r\nend");
  EXPECT_EQ(ErrorOf([] { Replace(u"abc", u"a", u"b", 0); }), 5);
}

TEST(VbString, CaseAndCompare) {
  EXPECT_EQ(LCase(u"ÀБCd"), u"àбcd");
  EXPECT_EQ(UCase(u"àбcd"), u"ÀБCD");
  EXPECT_EQ(StrComp(u"abc", u"ABC", Compare::Text), 0);
  EXPECT_EQ(StrComp(u"abc", u"ABC", Compare::Binary), 1);
  EXPECT_EQ(StrComp(u"ab", u"abc"), -1);
  EXPECT_TRUE(TextEquals(u"Recycle", u"recycle"));
  EXPECT_FALSE(TextEquals(u"Recycle ", u"Recycle"));  // trailing blanks count
}

TEST(VbString, ValReadsWhatItCan) {
  struct Row {
    std::u16string in;
    double want;
  } rows[] = {
      {u"", 0},          {u"  12", 12},       {u"1 2 3", 123},      {u"12abc", 12},       {u"-5", -5},
      {u"+7", 7},        {u"3.25", 3.25},     {u"1.2.3", 1.2},      {u".5", 0.5},         {u"1e3", 1000},
      {u"1e", 1},        {u"2D2", 200},       {u"&H41", 65},        {u"&h0a", 10},        {u"&HFF", 255},
      {u"&HFFFF", -1},   {u"&H10000", 65536}, {u"&HFFFFFFFF", -1},  {u"&O17", 15},        {u"&H", 0},
      {u"&HZZ", 0},      {u"&X1", 0},         {u"abc", 0},          {u"\t1\n0", 10},      {u"1,000", 1},
      {u"  -  3", -3},   {u"$5", 0},          {u"&H 4 1", 65},      {u"١٢", 0},
  };
  for (const auto& r : rows) EXPECT_EQ(Val(r.in), r.want) << "Val(\"" << ToUtf8(r.in) << "\")";
  EXPECT_EQ(ErrorOf([] { Val(u"&H123456789"); }), 6);
}

TEST(VbString, SplitKeepsEmptyElements) {
  EXPECT_EQ(Split(u"a,b,,c", u","), (std::vector<std::u16string>{u"a", u"b", u"", u"c"}));
  EXPECT_EQ(Split(u"a,", u","), (std::vector<std::u16string>{u"a", u""}));
  EXPECT_TRUE(Split(u"", u",").empty());
  EXPECT_EQ(Split(u"abc", u""), (std::vector<std::u16string>{u"abc"}));
  EXPECT_EQ(Split(u"a,b,c", u",", 2), (std::vector<std::u16string>{u"a", u"b,c"}));
  EXPECT_EQ(Split(u"aXbxc", u"x", -1, Compare::Text), (std::vector<std::u16string>{u"a", u"b", u"c"}));
}

TEST(VbString, NumbersAsText) {
  EXPECT_EQ(NumToText(42), u"42");
  EXPECT_EQ(NumToText(-3), u"-3");
  EXPECT_EQ(NumToText(0.5), u"0.5");
  EXPECT_EQ(NumToText(1.0 / 3), u"0.333333333333333");
  EXPECT_EQ(NumToText(1e20), u"1E+20");
  EXPECT_EQ(Str(5), u" 5");
  EXPECT_EQ(Str(-5), u"-5");
  EXPECT_EQ(Str(0.5), u" .5");
}

TEST(Text, ByteTextAndUtf8) {
  std::string all;
  for (int i = 0; i < 256; ++i) all.push_back(static_cast<char>(i));
  std::u16string bt = BytesToByteText(all);
  ASSERT_EQ(bt.size(), 256u);
  EXPECT_EQ(bt[0xE9], u'\u00E9');
  EXPECT_EQ(ByteTextToBytes(bt), all);
  EXPECT_EQ(ByteTextToBytes(u"aЖb"), "a?b");  // above U+00FF narrows to '?'
  std::u16string mixed = u"Ж中😀e\u0301";
  EXPECT_EQ(FromUtf8(ToUtf8(mixed)), mixed);
  EXPECT_EQ(FromUtf8("a\xFF" "b"), u"a\uFFFDb");
  EXPECT_EQ(FromUtf8("\xE2\x82"), u"\uFFFD\uFFFD");  // truncated sequence
}

}  // namespace
}  // namespace ravelin
