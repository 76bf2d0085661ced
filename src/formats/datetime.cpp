// Mail dates: the positional reader of Date headers, the header writer, and the move
// between GMT and local time with the zone record of the current year.
#include "formats/datetime.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>
#include <utility>

#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/dates.h"
#include "runtime/errors.h"
#include "runtime/vbstring.h"

namespace ravelin {
namespace {

// A number read from text into a 16-bit variable: rounds half to even, Overflow (6)
// outside the range.
int16_t ToInt16(double v) {
  double r = std::nearbyint(v);
  if (!(r >= -32768.0 && r <= 32767.0)) RaiseError(errnum::kOverflow);
  return static_cast<int16_t>(r);
}

// Whole seconds of a date, and back. Minute arithmetic goes through seconds so that
// adding and taking away the same minutes gives the very same date back.
int64_t ToSeconds(OleDate d) { return std::llround(d.serial * 86400.0); }
OleDate FromSeconds(int64_t s) {
  int64_t days = s >= 0 ? s / 86400 : -((-s + 86399) / 86400);
  int64_t rest = s - days * 86400;
  return OleDate{static_cast<double>(days) + static_cast<double>(rest) / 86400.0};
}
OleDate AddMinutes(OleDate d, int64_t minutes) { return FromSeconds(ToSeconds(d) + minutes * 60); }

// ---- The zone record from the system's zone database ----

struct Probe {
  long offset;  // seconds east of GMT
  bool dst;
};

Probe ProbeAt(time_t t) {
  struct tm tm {};
  localtime_r(&t, &tm);
  return {tm.tm_gmtoff, tm.tm_isdst > 0};
}

// The first second in (lo, hi] whose daylight flag differs from the one at lo.
time_t FindSwitch(time_t lo, time_t hi) {
  const bool before = ProbeAt(lo).dst;
  while (hi - lo > 1) {
    time_t mid = lo + (hi - lo) / 2;
    if (ProbeAt(mid).dst == before) lo = mid;
    else hi = mid;
  }
  return hi;
}

int DaysIn(int year, int month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// A switch as the record holds it: month, week of the month (5 = the last such
// weekday), weekday and the hour of the wall clock that is left at that moment.
SystemTime SwitchRecord(time_t at, long wallOffset) {
  time_t wall = at + wallOffset;
  struct tm tm {};
  gmtime_r(&wall, &tm);
  SystemTime st;
  st.wMonth = static_cast<int16_t>(tm.tm_mon + 1);
  st.wDayOfWeek = static_cast<int16_t>(tm.tm_wday);
  int day = tm.tm_mday;
  st.wDay = static_cast<int16_t>(day + 7 > DaysIn(tm.tm_year + 1900, tm.tm_mon + 1) ? 5 : (day - 1) / 7 + 1);
  st.wHour = static_cast<int16_t>(tm.tm_hour);
  st.wMinute = static_cast<int16_t>(tm.tm_min);
  return st;
}

TimeZoneInformation ComputeRecord(int32_t year) {
  tzset();
  struct tm start {};
  start.tm_year = year - 1900;
  start.tm_mon = 0;
  start.tm_mday = 1;
  const time_t t0 = timegm(&start);
  const int days = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0 ? 366 : 365;

  TimeZoneInformation tz;
  Probe first = ProbeAt(t0);
  long stdOffset = first.offset, dstOffset = first.offset;
  bool haveStd = !first.dst;
  time_t toDst = 0, toStd = 0;
  Probe prev = first;
  for (int d = 1; d <= days; ++d) {
    time_t t = t0 + static_cast<time_t>(d) * 86400;
    Probe p = ProbeAt(t);
    if (!p.dst && !haveStd) {
      stdOffset = p.offset;
      haveStd = true;
    }
    if (p.dst) dstOffset = p.offset;
    if (p.dst != prev.dst) {
      time_t at = FindSwitch(t - 86400, t);
      if (p.dst && toDst == 0) toDst = at;
      if (!p.dst && toStd == 0) toStd = at;
    }
    prev = p;
  }
  if (!haveStd) stdOffset = first.offset;
  tz.Bias = static_cast<int32_t>(-stdOffset / 60);
  if (toDst != 0 && toStd != 0) {
    tz.DaylightBias = static_cast<int32_t>(-(dstOffset - stdOffset) / 60);
    tz.DaylightDate = SwitchRecord(toDst, stdOffset);
    tz.StandardDate = SwitchRecord(toStd, dstOffset);
  }
  return tz;
}

const char16_t* const kMonthNames[] = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                                       u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};

struct ZoneName {
  const char16_t* name;
  int16_t minutes;
};
// The classic names of mail zones, and two that real mail carries often and that would
// otherwise be read by their last letter as military zones ("UTC" as "C", three hours
// west; "MSK" as "K", ten hours west): "UTC" and Moscow's "MSK", at the end of the table.
constexpr ZoneName kZones[] = {
    {u"GMT", 0},    {u"UT", 0},     {u"ADT", -180}, {u"EDT", -240},  {u"AST", -240}, {u"EST", -300},
    {u"CDT", -300}, {u"CST", -360}, {u"MDT", -360}, {u"MST", -420},  {u"PDT", -420}, {u"PST", -480},
    {u"ALA", -540}, {u"HAW", -600}, {u"NOME", -660}, {u"CET", 60},   {u"FWT", 60},   {u"MET", 60},
    {u"MEWT", 60},  {u"SWT", 60},   {u"EET", 120},  {u"BT", 180},    {u"ZP4", 240},  {u"ZP5", 300},
    {u"ZP6", 360},  {u"WAST", 420}, {u"CCT", 480},  {u"JST", 540},   {u"EAST", 600}, {u"IDLE", 720},
    {u"NZST", 720}, {u"NZT", 720},  {u"UTC", 0},    {u"MSK", 180},
};

// The word that starts behind position p (1-based; 0 = the start) and runs to the next
// blank or the end.
std::u16string WordAfter(const std::u16string& text, int32_t p) {
  int32_t next = InStr(p + 1, text, u" ");
  return next == 0 ? Mid(text, p + 1) : Mid(text, p + 1, next - p - 1);
}

std::u16string TwoDigits(int32_t v) {
  std::u16string s = NumToText(v);
  return s.size() < 2 ? u"0" + s : s;
}

}  // namespace

TimeZoneInformation GetTimeZoneInformation() {
  static std::mutex mu;
  static std::map<std::pair<std::string, int32_t>, TimeZoneInformation> cache;
  const char* tzEnv = std::getenv("TZ");
  std::pair<std::string, int32_t> key{tzEnv != nullptr ? std::string("=") + tzEnv : std::string(),
                                      Year(FromUnixSeconds(CurrentClock().UnixNow()))};
  std::lock_guard<std::mutex> lock(mu);
  auto it = cache.find(key);
  if (it != cache.end()) return it->second;
  TimeZoneInformation tz = ComputeRecord(key.second);
  cache.emplace(key, tz);
  return tz;
}

OleDate DateTime::GMTtoLocalTZ(OleDate GMTDate) const { return AddMinutes(GMTDate, -GetBiasByGMTDate(GMTDate)); }

OleDate DateTime::LocalTZtoGMT(OleDate Localdate) const {
  TimeZoneInformation tz = GetTimeZoneInformation();
  OleDate g = AddMinutes(Localdate, tz.Bias);
  if (!(GMTtoLocalTZ(g) == Localdate)) g = AddMinutes(g, tz.DaylightBias);
  return g;
}

int16_t DateTime::GetMonthNumber(std::u16string_view strMonth) const {
  std::u16string m = Trim(LCase(strMonth));
  for (int i = 0; i < 12; ++i)
    if (m == LCase(kMonthNames[i])) return static_cast<int16_t>(i + 1);
  return 0;
}

int16_t DateTime::GetHourOffset(std::u16string_view strDate) const {
  std::u16string text = Trim(strDate);
  int32_t p = FindSpace(text, 4);
  if (p == 0) return 0;
  std::u16string token = WordAfter(text, p);
  std::u16string upper = UCase(token);
  for (const auto& z : kZones)
    if (upper == z.name) return z.minutes;
  char16_t first = token.empty() ? u'\0' : token.front();
  if (first != u'+' && first != u'-' && !token.empty()) {
    char16_t c = token.back();  // as written: only capitals are military letters
    if (c >= u'A' && c <= u'I') return static_cast<int16_t>(-60 * (c - u'A' + 1));
    if (c >= u'K' && c <= u'M') return static_cast<int16_t>(-60 * (c - u'K' + 10));
    if (c >= u'N' && c <= u'Y') return static_cast<int16_t>(60 * (c - u'N' + 1));
    if (c == u'Z') return 0;
  }
  std::u16string hhmm = Right(token, 4);
  int32_t minutes = ToInt16(Val(Mid(hhmm, 1, 2))) * 60 + ToInt16(Val(Mid(hhmm, 3, 2)));
  return ToInt16(first == u'+' ? minutes : -minutes);
}

std::u16string DateTime::CovertDateTime(std::u16string_view strDate) const {
  std::u16string text = Trim(strDate);
  // The day name is cut by the length of a three-letter one and its comma.
  if (InStr(text, u",") > 0) text = Mid(text, 6);
  int16_t month = GetMonthNumber(GetMonthName(text));
  int16_t year = GetYear(text);
  int16_t day = ToInt16(Val(Left(text, 2)));
  int32_t p = FindSpace(text, 3);
  std::u16string time = WordAfter(text, p);
  int16_t hour = ToInt16(Val(Mid(time, 1, 2)));
  int16_t minute = ToInt16(Val(Mid(time, 4, 2)));
  int16_t second = ToInt16(Val(Mid(time, 7, 2)));
  int16_t offset = GetHourOffset(text);
  OleDate d{DateSerial(year, month, day).serial + TimeSerial(hour, minute, second).serial};
  return FormatGeneralDate(AddMinutes(d, -offset));
}

std::u16string DateTime::GetMonthName(std::u16string_view strDate) const {
  std::u16string text = Trim(strDate);
  int32_t q = InStr(text, u" ");
  return Left(Trim(Mid(text, q + 1)), 3);
}

int16_t DateTime::GetYear(std::u16string_view strDate) const {
  int16_t year = 0;
  try {
    std::u16string text = Trim(strDate);
    // Position 6 is the blank behind the month of a one-digit day.
    int32_t q = Len(text) >= 6 ? InStr(6, text, u" ") : 0;
    std::u16string rest = Trim(Mid(text, q + 1));
    int32_t b = InStr(rest, u" ");
    if (b > 0) {
      year = ToInt16(Val(Left(rest, b - 1)));
    } else {
      year = static_cast<int16_t>(Year(NowLocal()));
      std::u16string msg = module1::GetMUIString(u"DateTime.GetYear", u"msg", u"Wrong date format: %1");
      WideMsgBox(Replace(msg, u"%1", text, 1, -1, Compare::Text), mb::kExclamation);
    }
  } catch (...) {
    // Ends with whatever year has been read.
  }
  return year;
}

std::u16string DateTime::GetMailDateFormat(OleDate Value) const {
  DateParts p = SplitDate(Value);
  std::u16string s = usWeekdayName(Value);
  s += u", ";
  s += NumToText(p.day) + u" " + usMonthName(Value) + u" " + NumToText(p.year) + u" ";
  s += NumToText(p.hour) + u":" + NumToText(p.minute) + u":" + NumToText(p.second);
  s += GetTimeDiffStr();
  return s;
}

std::u16string DateTime::usMonthName(OleDate Value) const { return kMonthNames[Month(Value) - 1]; }

std::u16string DateTime::usWeekdayName(OleDate Value) const {
  static const char16_t* const kDays[] = {u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};
  return kDays[Weekday(Value) - 1];
}

DateTime::TimeDiff DateTime::GetTimeDiff(OleDate GMTDate) const {
  int32_t bias = GetBiasByGMTDate(GMTDate);
  TimeDiff d;
  d.hours = std::abs(bias) / 60;
  d.minutes = std::abs(bias) % 60;
  d.sign = bias < 0 ? 1 : (bias > 0 ? -1 : 0);
  return d;
}

std::u16string DateTime::GetTimeDiffStr() const {
  TimeDiff d = GetTimeDiff(NowGMT());
  if (d.sign == 0) return {};
  return (d.sign > 0 ? u" +" : u" -") + TwoDigits(d.hours) + TwoDigits(d.minutes);
}

std::u16string DateTime::GetTimeDiffStrSerial(OleDate GMTDate) const {
  TimeDiff d = GetTimeDiff(GMTDate);
  if (d.sign == 0) return {};
  return (d.sign > 0 ? u"GMT +" : u"GMT -") + FormatGeneralDate(TimeSerial(d.hours, d.minutes, 0));
}

int16_t DateTime::GetBiasByGMTDate(OleDate GMTDate) const {
  TimeZoneInformation tz = GetTimeZoneInformation();
  int32_t result = tz.Bias;
  int16_t year = static_cast<int16_t>(Year(GMTDate));
  OleDate start = AddMinutes(DateByWeekDay(1, tz.DaylightDate.wDay, tz.DaylightDate.wMonth, year),
                             tz.DaylightDate.wHour * 60 + tz.Bias);
  OleDate end = AddMinutes(DateByWeekDay(1, tz.StandardDate.wDay, tz.StandardDate.wMonth, year),
                           tz.StandardDate.wHour * 60 + tz.Bias);
  if (GMTDate.serial >= start.serial && GMTDate.serial < end.serial) result += tz.DaylightBias;
  return static_cast<int16_t>(result);
}

OleDate DateTime::DateByWeekDay(int16_t xWeekDay, int16_t xWeek, int16_t xMonth, int16_t xYear) const {
  int32_t day = 0;
  for (int32_t d = 1; d <= 7; ++d) {
    if (Weekday(DateSerial(xYear, xMonth, d)) == xWeekDay) {
      day = d;
      break;
    }
  }
  if (day == 0) return OleDate{0.0};
  day += (xWeek - 1) * 7;
  const int32_t last = Days(xMonth, xYear);
  if (day > last) day -= ((day - last + 6) / 7) * 7;  // back by weeks until inside the month
  return DateSerial(xYear, xMonth, day);
}

int16_t DateTime::Days(int16_t xMonth, int16_t xYear) const {
  return static_cast<int16_t>(Day(OleDate{DateSerial(xYear, xMonth + 1, 1).serial - 1.0}));
}

OleDate DateTime::NowGMT() const { return FromUnixSeconds(CurrentClock().UnixNow()); }

int32_t DateTime::FindSpace(std::u16string_view String1, int32_t spcNumber) const {
  int32_t p = 0;
  for (int32_t i = 1; i <= spcNumber; ++i) {
    if (p + 1 > Len(String1)) return 0;
    p = InStr(p + 1, String1, u" ");
    if (p == 0) return 0;
  }
  return p;
}

}  // namespace ravelin
