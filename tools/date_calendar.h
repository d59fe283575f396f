// Capture dates as calendar fields: reading the 20-byte Exif text, adding to it with the C
// library's carry rules, and printing it again.
//
// The arithmetic runs on a day count (days from the civil date, as timegm does) in a zone
// without daylight saving, so a shift never moves by an hour at a summer-time change and the
// result is the same on every machine.
#pragma once

#include <string>

// A broken-down calendar time: year less 1900 and month 0 to 11, as the C library keeps them.
struct DateFields {
  int second = 0;
  int minute = 0;
  int hour = 0;
  int day = 0;
  int month = 0;
  int year = 0;
};

// Reads "YYYY:MM:DD HH:MM:SS": digits at 0-3, 5-6, 8-9, 11-12, 14-15 and 17-18; the separators
// are skipped unread and any other non-digit counts as 0. A shorter text reads as zeros.
DateFields DateParse(const char* text, std::size_t size);

// Brings the fields into range: months carry into the year floor-wise, then the day counts from
// the first of that month, then hours, minutes and seconds carry, either way. 1 on success. The
// result must lie in the years 1969 to 3001; otherwise 0, and the fields stay as given.
int DateNormalise(DateFields& date);

// "%04d:%02d:%02d %02d:%02d:%02d": 19 characters for an in-range date.
std::string DateFormat(const DateFields& date);

// Days from 1970-01-01 of a proleptic Gregorian date (month 1 to 12), and back.
long long DateDaysFromCivil(long long year, int month, int day);
void DateCivilFromDays(long long days, long long& year, int& month, int& day);
