// Mail dates: the positional Date reader, the zone record from the system's zone
// database and the daylight rule, under several TZ values and a fixed clock.
#include "formats/datetime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "runtime/dates.h"
#include "runtime/text.h"
#include "support/test_support.h"

namespace ravelin {
namespace {

std::string Show(const std::u16string& s) { return ToUtf8(s); }

class FixedClock : public Clock {
 public:
  explicit FixedClock(int64_t t) : t_(t) {}
  int64_t UnixNow() const override { return t_; }

 private:
  int64_t t_;
};

OleDate At(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) { return JoinDate(DateParts{y, mo, d, h, mi, s}); }

// Runs under one zone and a clock fixed at `when` (GMT), restoring both afterwards.
class ZoneFixture : public test::HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    const char* tz = std::getenv("TZ");
    hadTz_ = tz != nullptr;
    if (hadTz_) oldTz_ = tz;
  }
  void TearDown() override {
    SetClockForTesting(nullptr);
    if (hadTz_) setenv("TZ", oldTz_.c_str(), 1);
    else unsetenv("TZ");
    tzset();
    HomeFixture::TearDown();
  }
  void Use(const char* tz, OleDate when) {
    setenv("TZ", tz, 1);
    tzset();
    clock_ = std::make_unique<FixedClock>(ToUnixSeconds(when));
    SetClockForTesting(clock_.get());
  }
  DateTime dt;

 private:
  bool hadTz_ = false;
  std::string oldTz_;
  std::unique_ptr<FixedClock> clock_;
};

TEST_F(ZoneFixture, CovertDateTimeReadsByPosition) {
  Use("UTC", At(2024, 6, 1));
  struct Row {
    const char16_t* in;
    OleDate gmt;
  } rows[] = {
      {u"Wed, 3 Jan 2017 10:11:12 +0300", At(2017, 1, 3, 7, 11, 12)},
      {u"3 Jan 2017 10:11:12 GMT", At(2017, 1, 3, 10, 11, 12)},
      {u"Wed, 03 Jan 2017 10:11:12 EST", At(2017, 1, 3, 15, 11, 12)},
      {u"  Wed, 3 Jan 2017 10:11:12 -0500  ", At(2017, 1, 3, 15, 11, 12)},
      {u"Wed, 3 Jan 2017 10:11:12", At(2017, 1, 3, 10, 11, 12)},       // no zone: offset 0
      {u"Wed, 3 Jan 2017 10:11:12 +0530", At(2017, 1, 3, 4, 41, 12)},
      {u"Sun, 31 Dec 2017 23:30:00 -0100", At(2018, 1, 1, 0, 30, 0)},  // rolls into the next year
      {u"Wed, 3 Jan 2017 10:11 Z", At(2017, 1, 3, 10, 11, 0)},          // no seconds
      {u"Wed, 3 Jan 2017 10:11:12 A", At(2017, 1, 3, 11, 11, 12)},
      {u"Wed, 3 Jan 2017 10:11:12 J", At(2017, 1, 3, 10, 11, 12)},
      // Two names real mail carries, in the table ahead of the military letters.
      {u"Wed, 3 Jan 2017 10:11:12 UTC", At(2017, 1, 3, 10, 11, 12)},
      {u"Wed, 3 Jan 2017 10:11:12 MSK", At(2017, 1, 3, 7, 11, 12)},
      {u"Wed, 3 Jan 2017 10:11:12 utc", At(2017, 1, 3, 10, 11, 12)},
      {u"Wed, 3 Foo 2017 10:11:12 +0000", At(2016, 12, 3, 10, 11, 12)},  // month 0 rolls back
      // A double blank after the comma shifts every later word by one: the time is
      // read from the year; the zone is read after trimming and stays right.
      {u"Wed,  3 Jan 2017 10:11:12 +0300", At(2017, 1, 3, 17, 7, 0)},
      // A long day name leaves its tail: day 0, month 0, year 3, time from "2017".
      {u"Wednesday, 3 Jan 2017 10:11:12 +0300", At(2002, 11, 30, 21, 19, 0)},
  };
  for (const auto& r : rows) EXPECT_EQ(dt.CovertDateTime(r.in), FormatGeneralDate(r.gmt)) << Show(r.in);
  EXPECT_TRUE(user().shown.empty());
}

TEST_F(ZoneFixture, DateEndingAtItsYearWarnsAndUsesThisYear) {
  Use("UTC", At(2024, 6, 1, 12));
  EXPECT_EQ(dt.CovertDateTime(u"Wed, 3 Jan 2017"), FormatGeneralDate(At(2024, 1, 3, 3, 0, 0)));
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_EQ(user().shown[0].text, u"Wrong date format: 3 Jan 2017");
  EXPECT_EQ(user().shown[0].style, 48);
  EXPECT_EQ(dt.GetYear(u"3 Jan 17 10:00"), 17);
}

TEST_F(ZoneFixture, ZoneWordsAndPlainHelpers) {
  Use("UTC", At(2024, 6, 1));
  struct Row {
    const char16_t* zone;
    int16_t minutes;
  } rows[] = {
      {u"+0300", 180}, {u"-0500", -300}, {u"0300", -180}, {u"GMT", 0},   {u"ut", 0},      {u"EST", -300},
      {u"est", -300},  {u"PDT", -420},   {u"NOME", -660}, {u"CET", 60},  {u"NZST", 720},  {u"Z", 0},
      {u"A", -60},     {u"I", -540},     {u"K", -600},    {u"M", -720},  {u"N", 60},      {u"Y", 720},
      {u"J", 0},       {u"ABC", -180},   {u"abc", 0},     {u"(MSK)", 0}, {u"+01:00", 60},
      {u"UTC", 0},     {u"MSK", 180},    {u"msk", 180},   {u"C", -180},
  };
  for (const auto& r : rows)
    EXPECT_EQ(dt.GetHourOffset(u"3 Jan 2017 10:11:12 " + std::u16string(r.zone)), r.minutes) << Show(r.zone);
  EXPECT_EQ(dt.GetHourOffset(u"3 Jan 2017 10:11:12"), 0);

  EXPECT_EQ(dt.GetMonthNumber(u" DEC "), 12);
  EXPECT_EQ(dt.GetMonthNumber(u"January"), 0);
  EXPECT_EQ(dt.GetMonthName(u"3 September 2017"), u"Sep");
  EXPECT_EQ(dt.FindSpace(u"a b c"), 2);
  EXPECT_EQ(dt.FindSpace(u"a b c", 2), 4);
  EXPECT_EQ(dt.FindSpace(u"a b c", 3), 0);
  EXPECT_EQ(dt.FindSpace(u"a b ", 2), 4);

  const int16_t days[][3] = {{2, 2016, 29}, {2, 2017, 28}, {12, 2016, 31}, {4, 2024, 30}, {2, 2000, 29}, {2, 1900, 28}};
  for (const auto& d : days) EXPECT_EQ(dt.Days(d[0], d[1]), d[2]) << d[0] << "/" << d[1];
  struct Week {
    int16_t wd, week, month, year;
    OleDate date;
  } weeks[] = {
      {1, 5, 3, 2017, At(2017, 3, 26)}, {1, 2, 3, 2024, At(2024, 3, 10)}, {1, 1, 11, 2024, At(2024, 11, 3)},
      {1, 5, 10, 2024, At(2024, 10, 27)}, {7, 5, 2, 2024, At(2024, 2, 24)}, {8, 1, 1, 2024, OleDate{0}},
  };
  for (const auto& w : weeks)
    EXPECT_EQ(FormatGeneralDate(dt.DateByWeekDay(w.wd, w.week, w.month, w.year)), FormatGeneralDate(w.date)) << w.wd << " " << w.week << " " << w.month;

  EXPECT_EQ(dt.GetMailDateFormat(At(2017, 3, 5, 9, 5, 3)), u"Sun, 5 Mar 2017 9:5:3");  // GMT writes no zone
  EXPECT_EQ(dt.usMonthName(At(2017, 12, 1)), u"Dec");
  EXPECT_EQ(dt.usWeekdayName(At(2024, 6, 3)), u"Mon");
  EXPECT_EQ(dt.NowGMT(), At(2024, 6, 1));
}

// The zone record and the daylight rule in four zones. Times are GMT.
TEST_F(ZoneFixture, ZoneRecordsAndTheNorthernDaylightRule) {
  struct Zone {
    const char* tz;
    int32_t bias, daylightBias;
    int16_t dMonth, dWeek, dHour, sMonth, sWeek, sHour;
    int16_t winterBias, summerBias;
    const char16_t* summerDiff;  // GetTimeDiffStr with the clock in July
  } zones[] = {
      {"Europe/Berlin", -60, -60, 3, 5, 2, 10, 5, 3, -60, -120, u" +0200"},
      {"America/New_York", 300, -60, 3, 2, 2, 11, 1, 2, 300, 240, u" -0400"},
      {"Europe/Moscow", -180, 0, 0, 0, 0, 0, 0, 0, -180, -180, u" +0300"},
      // Daylight time from October to April: the northern rule finds none.
      {"Australia/Sydney", -600, -60, 10, 1, 2, 4, 1, 3, -600, -600, u" +1000"},
  };
  for (const auto& z : zones) {
    SCOPED_TRACE(z.tz);
    Use(z.tz, At(2024, 7, 15, 12));
    TimeZoneInformation tz = GetTimeZoneInformation();
    EXPECT_EQ(tz.Bias, z.bias);
    EXPECT_EQ(tz.DaylightBias, z.daylightBias);
    EXPECT_EQ(tz.DaylightDate.wMonth, z.dMonth);
    EXPECT_EQ(tz.DaylightDate.wDay, z.dWeek);
    EXPECT_EQ(tz.DaylightDate.wHour, z.dHour);
    EXPECT_EQ(tz.StandardDate.wMonth, z.sMonth);
    EXPECT_EQ(tz.StandardDate.wDay, z.sWeek);
    EXPECT_EQ(tz.StandardDate.wHour, z.sHour);

    EXPECT_EQ(dt.GetBiasByGMTDate(At(2024, 1, 15, 12)), z.winterBias);
    EXPECT_EQ(dt.GetBiasByGMTDate(At(2024, 7, 15, 12)), z.summerBias);
    EXPECT_EQ(dt.GetTimeDiffStr(), z.summerDiff);
    EXPECT_EQ(dt.GetMailDateFormat(At(2017, 3, 5, 9, 5, 3)), u"Sun, 5 Mar 2017 9:5:3" + std::u16string(z.summerDiff));
    for (OleDate g : {At(2024, 1, 15, 12), At(2024, 7, 15, 12), At(2023, 12, 31, 23, 59, 59)}) {
      OleDate local = dt.GMTtoLocalTZ(g);
      EXPECT_EQ(FormatGeneralDate(local), FormatGeneralDate(OleDate{g.serial - dt.GetBiasByGMTDate(g) / 1440.0}));
      EXPECT_EQ(dt.LocalTZtoGMT(local), g) << Show(FormatGeneralDate(g));
    }
  }
}

TEST_F(ZoneFixture, DaylightSwitchesOnTheRulesOwnBoundaries) {
  Use("Europe/Berlin", At(2024, 7, 15, 12));
  // Start: last Sunday of March at 02:00 local standard time = 01:00 GMT.
  EXPECT_EQ(dt.GetBiasByGMTDate(At(2024, 3, 31, 0, 59, 59)), -60);
  EXPECT_EQ(dt.GetBiasByGMTDate(At(2024, 3, 31, 1, 0, 0)), -120);
  // End: 03:00 of the last Sunday of October less the same standard bias, 02:00 GMT.
  EXPECT_EQ(dt.GetBiasByGMTDate(At(2024, 10, 27, 1, 59, 59)), -120);
  EXPECT_EQ(dt.GetBiasByGMTDate(At(2024, 10, 27, 2, 0, 0)), -60);
  // Other years use the record's weeks in their own calendar.
  EXPECT_EQ(dt.GetBiasByGMTDate(At(2017, 3, 26, 1, 0, 0)), -120);
  EXPECT_EQ(dt.GetTimeDiffStrSerial(At(2024, 7, 1)), u"GMT +" + FormatGeneralDate(TimeSerial(2, 0, 0)));
  EXPECT_EQ(dt.GetTimeDiffStrSerial(At(2024, 1, 1)), u"GMT +" + FormatGeneralDate(TimeSerial(1, 0, 0)));

  Use("America/New_York", At(2024, 1, 15, 12));
  EXPECT_EQ(dt.GetTimeDiffStr(), u" -0500");
  EXPECT_EQ(dt.GetTimeDiffStrSerial(At(2024, 1, 1)), u"GMT -" + FormatGeneralDate(TimeSerial(5, 0, 0)));
  // Second Sunday of March 02:00 EST = 07:00 GMT.
  EXPECT_EQ(dt.GetBiasByGMTDate(At(2024, 3, 10, 6, 59, 59)), 300);
  EXPECT_EQ(dt.GetBiasByGMTDate(At(2024, 3, 10, 7, 0, 0)), 240);

  Use("UTC", At(2024, 1, 15, 12));
  EXPECT_EQ(dt.GetTimeDiffStr(), u"");
  EXPECT_EQ(dt.GetTimeDiffStrSerial(At(2024, 1, 1)), u"");
}

}  // namespace
}  // namespace ravelin
