#include "hosted/dos/date_text.h"

#include <chrono>
#include <cstdio>

#include "platform/constants.h"

namespace quorle {
namespace {

constexpr std::int32_t kMinutesPerDay = 24 * 60;
constexpr std::int32_t kTicksPerMinute = 60 * TICKS_PER_SECOND;
constexpr int kLastYear = 9999;

// The platform's date formats.
enum : std::uint8_t { kFormatInt = 1, kFormatUsa = 2, kFormatCdn = 3, kFormatDef = 4 };

constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr const char* kDays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                 "Thursday", "Friday", "Saturday"};

/// A date of the calendar, its parts as plain numbers.
struct Date {
  int year;
  unsigned month;
  unsigned day;
};

void WriteDate(std::uint8_t format, const Date& date, char* buffer) {
  const int year = date.year % 100;
  switch (format) {
    case kFormatInt:
      std::snprintf(buffer, LEN_DATSTRING, "%02d-%02u-%02u", year, date.month, date.day);
      return;
    case kFormatUsa:
      std::snprintf(buffer, LEN_DATSTRING, "%02u-%02u-%02d", date.month, date.day, year);
      return;
    case kFormatCdn:
      std::snprintf(buffer, LEN_DATSTRING, "%02u-%02u-%02d", date.day, date.month, year);
      return;
    case FORMAT_ISO:
      std::snprintf(buffer, LEN_DATSTRING, "%04d-%02u-%02u", date.year, date.month, date.day);
      return;
    case kFormatDef:  // without locale data: that of dos
    default:
      std::snprintf(buffer, LEN_DATSTRING, "%02u-%s-%02d", date.day, kMonths[date.month - 1], year);
      return;
  }
}

}  // namespace

bool DateToText(const DateTime& date) {
  namespace calendar = std::chrono;
  const DateStamp& stamp = date.dat_Stamp;
  if (stamp.ds_Days < 0 || stamp.ds_Minute < 0 || stamp.ds_Minute >= kMinutesPerDay ||
      stamp.ds_Tick < 0 || stamp.ds_Tick >= kTicksPerMinute) {
    return false;
  }
  constexpr calendar::sys_days kLast{calendar::year{kLastYear} / 12 / 31};
  constexpr calendar::sys_days kFirst{calendar::year{1978} / 1 / 1};
  if (stamp.ds_Days > (kLast - kFirst).count()) return false;
  const calendar::sys_days day = kFirst + calendar::days{stamp.ds_Days};
  const calendar::year_month_day found{day};
  const Date parts{static_cast<int>(found.year()), static_cast<unsigned>(found.month()),
                   static_cast<unsigned>(found.day())};

  if (date.dat_StrDay != nullptr) {
    std::snprintf(date.dat_StrDay, LEN_DATSTRING, "%s", kDays[calendar::weekday{day}.c_encoding()]);
  }
  if (date.dat_StrDate != nullptr) WriteDate(date.dat_Format, parts, date.dat_StrDate);
  if (date.dat_StrTime != nullptr) {
    // Checked above; the remainders say so to the compiler.
    const auto minute = static_cast<unsigned>(stamp.ds_Minute);
    const unsigned second = static_cast<unsigned>(stamp.ds_Tick) / TICKS_PER_SECOND;
    std::snprintf(date.dat_StrTime, LEN_DATSTRING, "%02u:%02u:%02u", minute / 60 % 24, minute % 60,
                  second % 60);
  }
  return true;
}

}  // namespace quorle
