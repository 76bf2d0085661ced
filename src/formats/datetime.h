// Mail dates: class DateTime reads the Date header of a letter into a GMT date, writes a
// date the way a mail header carries it, and moves dates between GMT and the machine's
// local zone with a daylight rule of its own (northern order of the year only).
//
// The zone record is taken from the operating system's time-zone database for the
// current zone (the TZ variable is honoured) as the two switches of the current year:
// month, week of the month (5 = the last) and hour. A zone without daylight time gets
// month 0 for both switches.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/value.h"

namespace ravelin {

// One switch of the zone record; only month, week of the month (in wDay) and hour are
// read by the daylight rule.
struct SystemTime {
  int16_t wYear = 0, wMonth = 0, wDayOfWeek = 0, wDay = 0;
  int16_t wHour = 0, wMinute = 0, wSecond = 0, wMilliseconds = 0;
};

// The zone record: GMT = local time + Bias (minutes); daylight time adds DaylightBias.
struct TimeZoneInformation {
  int32_t Bias = 0;
  SystemTime StandardDate;
  int32_t StandardBias = 0;
  SystemTime DaylightDate;
  int32_t DaylightBias = 0;
};

// The record of the current zone (TZ as it stands now) for the current year of the
// injectable clock. Cached per TZ value and year.
TimeZoneInformation GetTimeZoneInformation();

class DateTime {
 public:
  // GMTDate moved into local time by the bias that GetBiasByGMTDate finds for it.
  OleDate GMTtoLocalTZ(OleDate GMTDate) const;
  // Localdate plus Bias, moved once by DaylightBias when the way back does not match.
  OleDate LocalTZtoGMT(OleDate Localdate) const;
  // "jan".."dec" (any case, blanks around ignored) give 1..12, anything else 0.
  int16_t GetMonthNumber(std::u16string_view strMonth) const;
  // Minutes east of GMT of the fifth word of the date (zone names, military letters,
  // "+hhmm"/"-hhmm"); 0 when there are fewer than four blanks.
  int16_t GetHourOffset(std::u16string_view strDate) const;
  // The GMT date of a "Wed, 3 Jan 2017 10:11:12 +0300" text, by position, in the general
  // date format. FAILS (Error 5) when a date part is out of the date range.
  std::u16string CovertDateTime(std::u16string_view strDate) const;
  // The first three characters of the second word.
  std::u16string GetMonthName(std::u16string_view strDate) const;
  // The year behind the month; when the text ends right after it, the year of today and
  // the message "Wrong date format: %1" with the exclamation icon.
  int16_t GetYear(std::u16string_view strDate) const;
  // "Sun, 5 Mar 2017 9:5:3 +0300": plain numbers, and the zone of the moment of writing.
  std::u16string GetMailDateFormat(OleDate Value) const;
  std::u16string usMonthName(OleDate Value) const;
  std::u16string usWeekdayName(OleDate Value) const;
  // " +hhmm" / " -hhmm" for now, "" on GMT.
  std::u16string GetTimeDiffStr() const;
  // "GMT +h:mm:ss AM" style for the zone at GMTDate, "" on GMT.
  std::u16string GetTimeDiffStrSerial(OleDate GMTDate) const;
  // Bias in minutes at GMTDate: Bias, plus DaylightBias inside the daylight period.
  int16_t GetBiasByGMTDate(OleDate GMTDate) const;
  // The xWeek-th day of weekday xWeekDay (Sunday = 1) of the month; week 5 is the last.
  // Date 0 when no such weekday lies in days 1..7.
  OleDate DateByWeekDay(int16_t xWeekDay, int16_t xWeek, int16_t xMonth, int16_t xYear) const;
  // Number of days of the month.
  int16_t Days(int16_t xMonth, int16_t xYear) const;
  // GMT now, to the second.
  OleDate NowGMT() const;
  // Position of the spcNumber-th blank, 0 when there are fewer.
  int32_t FindSpace(std::u16string_view String1, int32_t spcNumber = 1) const;

 private:
  struct TimeDiff {
    int32_t sign = 0, hours = 0, minutes = 0;
  };
  TimeDiff GetTimeDiff(OleDate GMTDate) const;
};

}  // namespace ravelin
