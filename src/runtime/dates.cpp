// OLE dates, date serials and the general date format.
#include "runtime/dates.h"

#include <atomic>
#include <cctype>
#include <chrono>
#include <cmath>
#include <ctime>
#include <string>
#include <vector>

#include "runtime/errors.h"
#include "runtime/text.h"

namespace ravelin {
namespace {

// Days from 1970-01-01 of a proleptic Gregorian date (H. Hinnant's algorithm).
int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int32_t& y, int32_t& m, int32_t& d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  d = static_cast<int32_t>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int32_t>(mp < 10 ? mp + 3 : mp - 9);
  y = static_cast<int32_t>(yoe + era * 400 + (m <= 2));
}

const int64_t kOleEpoch = DaysFromCivil(1899, 12, 30);  // day 0 of OLE dates
const int64_t kMinDay = DaysFromCivil(100, 1, 1) - kOleEpoch;
const int64_t kMaxDay = DaysFromCivil(9999, 12, 31) - kOleEpoch;

// Linear time (days, monotonic) <-> OLE serial (negative days keep a positive time part).
double ToLinear(double serial) {
  if (serial >= 0) return serial;
  double day = std::trunc(serial);
  double frac = day - serial;  // the time part, positive
  return day + frac;
}

double FromLinear(double linear) {
  if (linear >= 0) return linear;
  double day = std::floor(linear);
  double frac = linear - day;
  return frac == 0 ? day : day - frac;
}

// Splits into day number and seconds of the day, rounded to the nearest second.
void DaySeconds(OleDate d, int64_t& day, int64_t& secs) {
  double lin = ToLinear(d.serial);
  double fl = std::floor(lin);
  day = static_cast<int64_t>(fl);
  secs = static_cast<int64_t>(std::llround((lin - fl) * 86400.0));
  if (secs >= 86400) {
    ++day;
    secs -= 86400;
  }
}

OleDate FromDaySeconds(int64_t day, int64_t secs) {
  return OleDate{FromLinear(static_cast<double>(day) + static_cast<double>(secs) / 86400.0)};
}

class SystemClockImpl : public Clock {
 public:
  int64_t UnixNow() const override {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
  }
};

std::atomic<const Clock*> g_clock{nullptr};

}  // namespace

OleDate DateSerial(int64_t year, int64_t month, int64_t day) {
  if (year >= 0 && year <= 29) year += 2000;
  else if (year >= 30 && year <= 99) year += 1900;
  // Month roll-over: month 0 is December of the year before, 13 January of the next.
  int64_t m0 = month - 1;
  int64_t yAdj = m0 >= 0 ? m0 / 12 : -((-m0 + 11) / 12);
  year += yAdj;
  m0 -= yAdj * 12;
  if (year < -100000 || year > 100000 || day < -100000000 || day > 100000000) RaiseError(errnum::kInvalidProcedureCall);
  int64_t days = DaysFromCivil(year, m0 + 1, 1) + (day - 1) - kOleEpoch;
  if (days < kMinDay || days > kMaxDay) RaiseError(errnum::kInvalidProcedureCall);
  return OleDate{static_cast<double>(days)};
}

OleDate TimeSerial(int64_t hour, int64_t minute, int64_t second) {
  if (std::llabs(hour) > 100000000 || std::llabs(minute) > 100000000 || std::llabs(second) > 100000000)
    RaiseError(errnum::kOverflow);
  int64_t total = hour * 3600 + minute * 60 + second;
  int64_t day = total >= 0 ? total / 86400 : -((-total + 86399) / 86400);
  int64_t secs = total - day * 86400;
  return FromDaySeconds(day, secs);
}

DateParts SplitDate(OleDate d) {
  int64_t day, secs;
  DaySeconds(d, day, secs);
  DateParts p;
  CivilFromDays(day + kOleEpoch, p.year, p.month, p.day);
  p.hour = static_cast<int32_t>(secs / 3600);
  p.minute = static_cast<int32_t>(secs / 60 % 60);
  p.second = static_cast<int32_t>(secs % 60);
  return p;
}

OleDate JoinDate(const DateParts& p) {
  OleDate date = DateSerial(p.year, p.month, p.day);
  int64_t day = static_cast<int64_t>(date.serial);
  int64_t secs = static_cast<int64_t>(p.hour) * 3600 + p.minute * 60 + p.second;
  day += secs >= 0 ? secs / 86400 : -((-secs + 86399) / 86400);
  secs = ((secs % 86400) + 86400) % 86400;
  return FromDaySeconds(day, secs);
}

int32_t Year(OleDate d) { return SplitDate(d).year; }
int32_t Month(OleDate d) { return SplitDate(d).month; }
int32_t Day(OleDate d) { return SplitDate(d).day; }
int32_t Hour(OleDate d) { return SplitDate(d).hour; }
int32_t Minute(OleDate d) { return SplitDate(d).minute; }
int32_t Second(OleDate d) { return SplitDate(d).second; }

int32_t Weekday(OleDate d) {
  int64_t day, secs;
  DaySeconds(d, day, secs);
  // Day 0 (1899-12-30) was a Saturday.
  int64_t w = ((day % 7) + 7) % 7;  // 0 = Saturday
  return static_cast<int32_t>((w + 6) % 7 + 1);
}

OleDate AddDays(OleDate d, double days) { return OleDate{FromLinear(ToLinear(d.serial) + days)}; }

OleDate DateValue(OleDate d) {
  int64_t day, secs;
  DaySeconds(d, day, secs);
  return OleDate{static_cast<double>(day)};
}

OleDate TimeValue(OleDate d) {
  int64_t day, secs;
  DaySeconds(d, day, secs);
  return OleDate{static_cast<double>(secs) / 86400.0};
}

std::u16string FormatGeneralDate(OleDate d) {
  int64_t day, secs;
  DaySeconds(d, day, secs);
  DateParts p = SplitDate(d);
  char buf[64];
  std::string out;
  if (day != 0) {
    std::snprintf(buf, sizeof buf, "%d/%d/%04d", p.month, p.day, p.year);
    out = buf;
  }
  if (secs != 0 || day == 0) {
    int h12 = p.hour % 12 == 0 ? 12 : p.hour % 12;
    std::snprintf(buf, sizeof buf, "%d:%02d:%02d %s", h12, p.minute, p.second, p.hour < 12 ? "AM" : "PM");
    if (!out.empty()) out += ' ';
    out += buf;
  }
  return Widen(out);
}

namespace {

const char* const kMonths[12] = {"january", "february", "march",     "april",   "may",      "june",
                                 "july",    "august",   "september", "october", "november", "december"};
const char* const kWeekdays[7] = {"sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"};

// A month name or its first three letters (or more), 1..12; 0 when not a month.
int MonthFromWord(const std::string& w) {
  if (w.size() < 3) return 0;
  for (int i = 0; i < 12; ++i) {
    std::string m = kMonths[i];
    if (w.size() <= m.size() && m.compare(0, w.size(), w) == 0) return i + 1;
  }
  if (w == "sept") return 9;
  return 0;
}

bool IsWeekdayWord(const std::string& w) {
  if (w.size() < 3) return false;
  for (auto* d : kWeekdays) {
    std::string s = d;
    if (w.size() <= s.size() && s.compare(0, w.size(), w) == 0) return true;
  }
  return false;
}

struct Token {
  enum Kind { Num, Word, Sep } kind;
  std::string text;
  int64_t value = 0;
  int digits = 0;
};

// Numbers (up to nine digits), words (lower-cased letters) and the separators / - . :;
// blanks, tabs and commas only part tokens. Nothing for any other character.
std::optional<std::vector<Token>> Tokenize(std::u16string_view text) {
  std::vector<Token> toks;
  for (size_t i = 0; i < text.size();) {
    char16_t c = text[i];
    if (c >= u'0' && c <= u'9') {
      Token t{Token::Num, {}, 0, 0};
      while (i < text.size() && text[i] >= u'0' && text[i] <= u'9') {
        if (t.digits < 9) t.value = t.value * 10 + (text[i] - u'0');
        ++t.digits;
        ++i;
      }
      if (t.digits > 9) return std::nullopt;
      toks.push_back(t);
    } else if ((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z')) {
      Token t{Token::Word, {}, 0, 0};
      while (i < text.size() && ((text[i] >= u'a' && text[i] <= u'z') || (text[i] >= u'A' && text[i] <= u'Z'))) {
        t.text.push_back(static_cast<char>(std::tolower(static_cast<int>(text[i]))));
        ++i;
      }
      toks.push_back(t);
    } else if (c == u' ' || c == u'\t' || c == u',') {
      ++i;
    } else if (c == u'/' || c == u'-' || c == u'.' || c == u':') {
      toks.push_back(Token{Token::Sep, std::string(1, static_cast<char>(c)), 0, 0});
      ++i;
    } else {
      return std::nullopt;
    }
  }
  return toks;
}

struct TimeOfDay {
  int hour = -1;  // -1: the text names no time
  int minute = 0, second = 0;
};

// Takes the time out of the tokens: number ':' number [':' number] [am|pm], or number
// am|pm; the first one counts. What is left comes back in `rest`. False for a time that
// can't be (13 pm, 24:00, 10:60).
bool TakeTime(const std::vector<Token>& toks, TimeOfDay& time, std::vector<Token>& rest) {
  for (size_t i = 0; i < toks.size(); ++i) {
    const Token& t = toks[i];
    bool timeHere = t.kind == Token::Num && i + 2 < toks.size() && toks[i + 1].kind == Token::Sep &&
                    toks[i + 1].text == ":" && toks[i + 2].kind == Token::Num;
    bool hourAmPm = t.kind == Token::Num && i + 1 < toks.size() && toks[i + 1].kind == Token::Word &&
                    (toks[i + 1].text == "am" || toks[i + 1].text == "pm") &&
                    !(i > 0 && toks[i - 1].kind == Token::Sep);
    if ((timeHere || hourAmPm) && time.hour < 0) {
      int hour = static_cast<int>(t.value);
      size_t j = i + 1;
      if (timeHere) {
        time.minute = static_cast<int>(toks[i + 2].value);
        j = i + 3;
        if (j + 1 < toks.size() && toks[j].kind == Token::Sep && toks[j].text == ":" && toks[j + 1].kind == Token::Num) {
          time.second = static_cast<int>(toks[j + 1].value);
          j += 2;
        }
      }
      if (j < toks.size() && toks[j].kind == Token::Word && (toks[j].text == "am" || toks[j].text == "pm")) {
        if (hour < 1 || hour > 12) return false;
        if (toks[j].text == "am") hour = hour == 12 ? 0 : hour;
        else hour = hour == 12 ? 12 : hour + 12;
        ++j;
      }
      if (hour > 23 || time.minute > 59 || time.second > 59) return false;
      time.hour = hour;
      i = j - 1;
      continue;
    }
    rest.push_back(t);
  }
  return true;
}

// The calendar day of what is left once the time is out: the numbers and at most one
// month word (weekday words are ignored). Two-digit years are 1930..2029; a missing year
// is the current one. Nothing for a day that doesn't exist; `timeOnly` is set when the
// text held a time and no date.
std::optional<DateParts> TakeDay(const std::vector<Token>& rest, bool hasTime, bool& timeOnly) {
  std::vector<int64_t> nums;
  std::vector<int> numDigits;
  int monthWord = 0, monthWordPos = -1;
  for (auto& t : rest) {
    if (t.kind == Token::Num) {
      nums.push_back(t.value);
      numDigits.push_back(t.digits);
    } else if (t.kind == Token::Word) {
      int m = MonthFromWord(t.text);
      if (m && !monthWord) {
        monthWord = m;
        monthWordPos = static_cast<int>(nums.size());
      } else if (!IsWeekdayWord(t.text)) {
        return std::nullopt;
      }
    }
  }
  int64_t y = -1, m = -1, d = -1;
  if (monthWord) {
    if (nums.size() != 2) return std::nullopt;
    m = monthWord;
    // "25 Dec 2026" or "Dec 25 2026" or "2026 Dec 25"
    if (numDigits[0] >= 3) {
      y = nums[0];
      d = nums[1];
    } else {
      d = nums[0];
      y = nums[1];
      if (monthWordPos == 0 && numDigits[1] <= 2 && numDigits[0] <= 2 && nums[0] > 31) std::swap(d, y);
    }
  } else if (nums.size() == 3) {
    if (numDigits[0] >= 3) {  // year first
      y = nums[0];
      m = nums[1];
      d = nums[2];
    } else {
      m = nums[0];
      d = nums[1];
      y = nums[2];
      if (m > 12 && d <= 12) std::swap(m, d);  // day written first
    }
  } else if (nums.size() == 2) {
    // Month and day of the current year.
    m = nums[0];
    d = nums[1];
    if (m > 12 && d <= 12) std::swap(m, d);
    y = Year(NowLocal());
  } else if (nums.empty() && hasTime) {
    timeOnly = true;
    return std::nullopt;
  } else {
    return std::nullopt;
  }
  if (y >= 0 && y <= 99) y += y < 30 ? 2000 : 1900;
  if (m < 1 || m > 12 || d < 1 || y < 100 || y > 9999) return std::nullopt;
  static const int kDays[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  if (d > kDays[m - 1] || (m == 2 && d == 29 && !leap)) return std::nullopt;
  return DateParts{static_cast<int32_t>(y), static_cast<int32_t>(m), static_cast<int32_t>(d), 0, 0, 0};
}

}  // namespace

std::optional<OleDate> ParseDate(std::u16string_view text) {
  if (text.size() > 256) return std::nullopt;
  const auto toks = Tokenize(text);
  if (!toks) return std::nullopt;
  TimeOfDay time;
  std::vector<Token> rest;
  if (!TakeTime(*toks, time, rest)) return std::nullopt;
  bool timeOnly = false;
  std::optional<DateParts> day = TakeDay(rest, time.hour >= 0, timeOnly);
  if (timeOnly) return TimeSerial(time.hour, time.minute, time.second);
  if (!day) return std::nullopt;
  day->hour = time.hour < 0 ? 0 : time.hour;
  day->minute = time.minute;
  day->second = time.second;
  return JoinDate(*day);
}

OleDate CDate(std::u16string_view text) {
  auto d = ParseDate(text);
  if (!d) RaiseError(errnum::kTypeMismatch);
  return *d;
}

OleDate FromUnixSeconds(int64_t seconds) {
  int64_t day = seconds >= 0 ? seconds / 86400 : -((-seconds + 86399) / 86400);
  int64_t secs = seconds - day * 86400;
  return FromDaySeconds(day + DaysFromCivil(1970, 1, 1) - kOleEpoch, secs);
}

int64_t ToUnixSeconds(OleDate d) {
  int64_t day, secs;
  DaySeconds(d, day, secs);
  return (day + kOleEpoch - DaysFromCivil(1970, 1, 1)) * 86400 + secs;
}

const Clock& SystemClock() {
  static const SystemClockImpl clock;
  return clock;
}

void SetClockForTesting(const Clock* clock) { g_clock.store(clock); }

const Clock& CurrentClock() {
  const Clock* c = g_clock.load();
  return c ? *c : SystemClock();
}

OleDate NowUtc() { return FromUnixSeconds(CurrentClock().UnixNow()); }

OleDate NowLocal() {
  std::time_t t = static_cast<std::time_t>(CurrentClock().UnixNow());
  tzset();
  std::tm tm{};
  localtime_r(&t, &tm);
  return FromUnixSeconds(static_cast<int64_t>(t) + tm.tm_gmtoff);
}

}  // namespace ravelin
