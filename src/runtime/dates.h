// Dates as OLE dates (days since 1899-12-30, time as the fraction), DateSerial and
// TimeSerial with the platform's roll-over, date parts, and the one general date format
// of this system ("M/D/YYYY h:mm:ss AM"), used wherever a date becomes text and back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/value.h"

namespace ravelin {

struct DateParts {
  int32_t year = 1899, month = 12, day = 30;
  int32_t hour = 0, minute = 0, second = 0;
};

// DateSerial(year, month, day): month and day roll over in both directions (month 0 is
// December of the year before, day 0 the last day of the month before); years 0..29 mean
// 2000..2029 and 30..99 mean 1930..1999. A result outside 100-01-01..9999-12-31 raises error 5.
OleDate DateSerial(int64_t year, int64_t month, int64_t day);
// TimeSerial(hour, minute, second) as a fraction of a day; rolls over into whole days.
OleDate TimeSerial(int64_t hour, int64_t minute, int64_t second);

// Date parts of an OLE date, to the nearest second (negative serials keep their time
// part as an absolute fraction, as OLE dates do).
DateParts SplitDate(OleDate d);
OleDate JoinDate(const DateParts& p);  // DateSerial + TimeSerial
int32_t Year(OleDate d);
int32_t Month(OleDate d);
int32_t Day(OleDate d);
int32_t Hour(OleDate d);
int32_t Minute(OleDate d);
int32_t Second(OleDate d);
// Weekday with Sunday = 1 .. Saturday = 7.
int32_t Weekday(OleDate d);
// Adds a number of days (with fraction) the way date arithmetic on OLE dates does.
OleDate AddDays(OleDate d, double days);
// The date part only, and the time part only.
OleDate DateValue(OleDate d);
OleDate TimeValue(OleDate d);

// The general date format: "M/D/YYYY h:mm:ss AM" with the date alone when the time is
// midnight and the time alone when the date is 1899-12-30.
std::u16string FormatGeneralDate(OleDate d);
// Reads the general date format back, and the other unambiguous forms people and mail
// write ("YYYY-MM-DD[ hh:mm[:ss]]", "D Mon YYYY", "Mon D, YYYY", 24-hour times).
// Returns nothing when the text is not a date.
std::optional<OleDate> ParseDate(std::u16string_view text);
// As ParseDate, but raises "Type mismatch" (13) when the text is not a date (CDate).
OleDate CDate(std::u16string_view text);

// Unix seconds <-> OLE dates (both in the same zone, no conversion).
OleDate FromUnixSeconds(int64_t seconds);
int64_t ToUnixSeconds(OleDate d);

// The clock, injectable so tests control time.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual int64_t UnixNow() const = 0;  // seconds since 1970 in UTC
};
const Clock& SystemClock();
void SetClockForTesting(const Clock* clock);  // nullptr restores the system clock
const Clock& CurrentClock();

OleDate NowUtc();    // Greenwich time
OleDate NowLocal();  // local time of the TZ zone

}  // namespace ravelin
