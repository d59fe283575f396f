#include "tools/date_calendar.h"

#include <cstdio>

namespace {

// The positions of the six fields in the Exif text, with their widths.
struct FieldPlace {
  std::size_t offset;
  int width;
};
constexpr FieldPlace kPlaces[6] = {{0, 4}, {5, 2}, {8, 2}, {11, 2}, {14, 2}, {17, 2}};

int ReadField(const char* text, std::size_t size, FieldPlace place) {
  int value = 0;
  for (int i = 0; i < place.width; ++i) {
    const std::size_t at = place.offset + std::size_t(i);
    const char c = at < size ? text[at] : '\0';
    value = value * 10 + ((c >= '0' && c <= '9') ? c - '0' : 0);
  }
  return value;
}

long long FloorDiv(long long a, long long b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0); }

// The C library's time range for the year field (year less 1900).
constexpr long long kYearFieldMin = 69;
constexpr long long kYearFieldMax = 1101;

}  // namespace

long long DateDaysFromCivil(long long year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const long long era = FloorDiv(year, 400);
  const long long yearOfEra = year - era * 400;
  const long long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

void DateCivilFromDays(long long days, long long& year, int& month, int& day) {
  days += 719468;
  const long long era = FloorDiv(days, 146097);
  const long long dayOfEra = days - era * 146097;
  const long long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const long long monthPart = (5 * dayOfYear + 2) / 153;
  day = int(dayOfYear - (153 * monthPart + 2) / 5 + 1);
  month = int(monthPart < 10 ? monthPart + 3 : monthPart - 9);
  year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
}

DateFields DateParse(const char* text, std::size_t size) {
  DateFields date;
  date.year = ReadField(text, size, kPlaces[0]) - 1900;
  date.month = ReadField(text, size, kPlaces[1]) - 1;
  date.day = ReadField(text, size, kPlaces[2]);
  date.hour = ReadField(text, size, kPlaces[3]);
  date.minute = ReadField(text, size, kPlaces[4]);
  date.second = ReadField(text, size, kPlaces[5]);
  return date;
}

int DateNormalise(DateFields& date) {
  // Months first, floor-wise into the year; then the day from the first of that month; the
  // clock last, as one count of seconds from that day's midnight.
  const long long month = date.month;
  const long long year = (long long)date.year + 1900 + FloorDiv(month, 12);
  const int monthInYear = int(month - FloorDiv(month, 12) * 12);
  const long long days = DateDaysFromCivil(year, monthInYear + 1, 1) + ((long long)date.day - 1);
  const long long seconds = days * 86400 + date.hour * 3600ll + date.minute * 60ll + date.second;
  const long long dayCount = FloorDiv(seconds, 86400);
  const long long clock = seconds - dayCount * 86400;
  long long civilYear = 0;
  int civilMonth = 0;
  int civilDay = 0;
  DateCivilFromDays(dayCount, civilYear, civilMonth, civilDay);
  if (civilYear - 1900 < kYearFieldMin || civilYear - 1900 > kYearFieldMax) return 0;
  date.year = int(civilYear - 1900);
  date.month = civilMonth - 1;
  date.day = civilDay;
  date.hour = int(clock / 3600);
  date.minute = int(clock / 60 % 60);
  date.second = int(clock % 60);
  return 1;
}

std::string DateFormat(const DateFields& date) {
  char text[96];
  std::snprintf(text, sizeof text, "%04d:%02d:%02d %02d:%02d:%02d", date.year + 1900, date.month + 1, date.day,
                date.hour, date.minute, date.second);
  return text;
}
