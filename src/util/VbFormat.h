// Format(value, pattern) with the rules of the classic Basic Format function,
// evaluated in a locale (by default the user's: LC_ALL, LC_TIME, then LANG).
//
// Date patterns: d dd ddd dddd, ddddd (short date), dddddd (long date), w ww,
// m mm (month; minutes right after an hour or before seconds), mmm mmmm, n nn,
// q, y yy yyyy, h hh, s ss, ttttt (long time), c (general date), AM/PM am/pm
// A/P a/p AMPM (an AM/PM marker makes the hours 12-hour), \x and "..." literals.
// Letters are case-insensitive, so "HH", "MMMM" and "hh", "mmmm" are the same.
// ':' and '/' are written as they stand. Named date formats: General Date,
// Long Date, Medium Date, Short Date, Long Time, Medium Time, Short Time.
// Named number formats: General Number, Currency, Fixed, Standard, Percent,
// Scientific, Yes/No, True/False, On/Off.
#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

namespace ordolo::util {

// The locale that dates and numbers are written in.
QLocale userLocale();
// Overrides the user's locale for the rest of the process (tests, --locale).
void setUserLocale(const QLocale& locale);
// The locale named by the environment, as userLocale() first computes it;
// C/POSIX or nothing gives English (United States).
QLocale localeFromEnvironment();

QString Format(const QDateTime& value, const QString& pattern, const QLocale& locale = userLocale());
QString Format(const QDate& value, const QString& pattern, const QLocale& locale = userLocale());
QString Format(double value, const QString& pattern, const QLocale& locale = userLocale());

// The locale's date and time patterns as Qt formats, with the year widened to
// four digits and the time zone left out.
QString shortDatePattern(const QLocale& locale);
QString shortTimePattern(const QLocale& locale);
QString longTimePattern(const QLocale& locale);

// The default text of a number (as Basic's CStr): up to 15 significant digits,
// the locale's decimal separator, no grouping.
QString NumberText(double value, const QLocale& locale = userLocale());

// Names the system's local time zone in TZ when nothing does (":/etc/localtime").
// Without it the C library reads /etc/localtime again at every local-time
// conversion, thousands per folder; the times stay the same. Call before any
// thread starts.
void PinLocalTimeZone();

}  // namespace ordolo::util
