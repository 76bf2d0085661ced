// Value conversions, Null helpers, date serials and the general date format.
#include <gtest/gtest.h>

#include "runtime/dates.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/value.h"
#include "support/test_support.h"

namespace ravelin {
namespace {

using test::ErrorOf;

TEST(Value, NullHelpers) {
  EXPECT_TRUE(strConvNull(u"").IsNull());
  EXPECT_EQ(strConvNull(u" ").AsText(), u" ");
  EXPECT_TRUE(lngConvNull(Value(0)).IsNull());
  EXPECT_EQ(lngConvNull(Value(7)).AsLong(), 7);
  EXPECT_EQ(NullConvLng(Value()), 0);
  EXPECT_EQ(NullConvLng(Value(u"12")), 12);
  EXPECT_FALSE(NullConvBool(Value()));
  EXPECT_TRUE(NullConvBool(Value(-1)));
  EXPECT_TRUE(NullConvBool(Value(1)));
  EXPECT_EQ(NullConvStr(Value()), u"");
  EXPECT_EQ(NullConvStr(Value(true)), u"True");
  EXPECT_EQ(NullConvStr(Value(12)), u"12");
  EXPECT_EQ(strBoolean(-1), u"True");
  EXPECT_EQ(strBoolean(0), u"False");
  EXPECT_EQ(strBoolean(1), u"");
}

TEST(Value, ConversionsFollowThePlatform) {
  EXPECT_EQ(Value(2.5).AsLong(), 2);  // half to even
  EXPECT_EQ(Value(3.5).AsLong(), 4);
  EXPECT_EQ(Value(-2.5).AsLong(), -2);
  EXPECT_EQ(Value(true).AsLong(), -1);
  EXPECT_EQ(Value(u" 42 ").AsLong(), 42);
  EXPECT_EQ(ErrorOf([] { Value(u"4x").AsLong(); }), 13);
  EXPECT_EQ(ErrorOf([] { Value().AsLong(); }), 94);
  EXPECT_EQ(ErrorOf([] { Value(3e9).AsLong(); }), 6);
  EXPECT_EQ(ErrorOf([] { Value(int64_t{1} << 40); }), 6);
  EXPECT_EQ(Value(OleDate{2.5}).AsText(), u"1/1/1900 12:00:00 PM");
  EXPECT_EQ(Value::Binary("\x01\xFF").AsText(), u"\u0001\u00FF");
  EXPECT_EQ(Value(u"Ж").AsBinary(), "?");
}

TEST(Dates, SerialsRollOver) {
  struct Row {
    int64_t y, m, d;
    std::u16string want;
  } rows[] = {
      {2026, 11, 23, u"11/23/2026"},
      {2026, 0, 1, u"12/1/2025"},     // month 0 is December of the year before
      {2026, 13, 1, u"1/1/2027"},
      {2026, -1, 1, u"11/1/2025"},
      {2026, 3, 0, u"2/28/2026"},     // day 0 is the last day of the month before
      {2024, 3, 0, u"2/29/2024"},
      {2026, 1, 32, u"2/1/2026"},
      {2026, 1, -30, u"12/1/2025"},
      {26, 1, 1, u"1/1/2026"},        // two-digit years
      {30, 1, 1, u"1/1/1930"},
      {1899, 12, 30, u"12:00:00 AM"},  // day 0 shows as a time
  };
  for (const auto& r : rows)
    EXPECT_EQ(FormatGeneralDate(DateSerial(r.y, r.m, r.d)), r.want) << r.y << "-" << r.m << "-" << r.d;
  EXPECT_EQ(DateSerial(1900, 1, 1).serial, 2.0);
  EXPECT_EQ(DateSerial(1899, 12, 29).serial, -1.0);
  EXPECT_EQ(ErrorOf([] { DateSerial(10000, 1, 1); }), 5);
  EXPECT_NEAR(TimeSerial(12, 0, 0).serial, 0.5, 1e-12);
  EXPECT_NEAR(TimeSerial(25, 0, 0).serial, 1 + 1.0 / 24, 1e-12);
  EXPECT_NEAR(TimeSerial(0, -30, 0).serial, -1.0 - (23.5 / 24), 1e-12);  // 12/29/1899 23:30
  EXPECT_EQ(FormatGeneralDate(TimeSerial(0, -30, 0)), u"12/29/1899 11:30:00 PM");
}

TEST(Dates, PartsWeekdayAndArithmetic) {
  OleDate d = JoinDate({2026, 11, 23, 9, 5, 7});
  DateParts p = SplitDate(d);
  EXPECT_EQ(p.year, 2026);
  EXPECT_EQ(p.month, 11);
  EXPECT_EQ(p.day, 23);
  EXPECT_EQ(p.hour, 9);
  EXPECT_EQ(p.minute, 5);
  EXPECT_EQ(p.second, 7);
  EXPECT_EQ(Weekday(d), 2);  // a Monday
  EXPECT_EQ(Weekday(OleDate{0}), 7);
  EXPECT_EQ(FormatGeneralDate(AddDays(d, -1.0 / 24 * 10)), u"11/22/2026 11:05:07 PM");
  EXPECT_EQ(FormatGeneralDate(AddDays(OleDate{0.25}, -1)), u"12/29/1899 6:00:00 AM");
  EXPECT_EQ(ToUnixSeconds(FromUnixSeconds(1795420800)), 1795420800);
  EXPECT_EQ(FormatGeneralDate(FromUnixSeconds(0)), u"1/1/1970");
}

TEST(Dates, GeneralFormatRoundTripsAndParses) {
  for (double s : {0.0, 0.5, 2.0, 45000.25, 46349.999988425926, -1.5, 2958465.0, -657434.0}) {
    OleDate d{s};
    auto back = ParseDate(FormatGeneralDate(d));
    ASSERT_TRUE(back) << ToUtf8(FormatGeneralDate(d));
    EXPECT_EQ(FormatGeneralDate(*back), FormatGeneralDate(d));
  }
  struct Row {
    std::u16string in, want;
  } rows[] = {
      {u"11/23/2026 9:05:07 AM", u"11/23/2026 9:05:07 AM"},
      {u"11/23/2026 12:00:00 AM", u"11/23/2026"},
      {u"11/23/2026 12:30 PM", u"11/23/2026 12:30:00 PM"},
      {u"2026-11-23 21:05", u"11/23/2026 9:05:00 PM"},
      {u"23 Nov 2026 10:00:00", u"11/23/2026 10:00:00 AM"},
      {u"Mon, 23 November 2026", u"11/23/2026"},
      {u"Nov 23, 2026", u"11/23/2026"},
      {u"25/12/2026", u"12/25/2026"},  // a first number above 12 is the day
      {u"01/01/1980", u"1/1/1980"},
      {u"2/29/2024", u"2/29/2024"},
  };
  for (const auto& r : rows) {
    auto d = ParseDate(r.in);
    ASSERT_TRUE(d) << ToUtf8(r.in);
    EXPECT_EQ(FormatGeneralDate(*d), r.want) << ToUtf8(r.in);
  }
  for (auto bad : {u"", u"hello", u"2/30/2026", u"13/13/2026", u"11/23/2026 25:00", u"1/2/3/4/5x"})
    EXPECT_FALSE(ParseDate(bad)) << ToUtf8(bad);
  EXPECT_EQ(ErrorOf([] { CDate(u"not a date"); }), 13);
}

}  // namespace
}  // namespace ravelin
