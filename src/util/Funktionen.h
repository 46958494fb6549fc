// Small date, text and number helpers shared by the item list, the renderers
// and the print run.
#pragma once

#include <QDateTime>
#include <QString>

namespace ordolo::util {

// Short date, a blank, hour without leading zero, ":", minutes, AM or PM
// ("ddddd H:nnAM/PM").
QString FormatDateShortTime12(const QDateTime& value);

// 12-hour time for columns: " 9:05 AM", " 2:30:15 PM", "12:00 PM". A leading
// blank stands for a missing tens digit; zero seconds are dropped.
QString FormatTime12(const QDateTime& value);
inline QString AmPmTime(const QDateTime& value) { return FormatTime12(value); }

// The calendar day of `datePart` with the time of day of `timePart`.
QDateTime CombineDateTime(const QDateTime& datePart, const QDateTime& timePart);

// The short date, a blank and the short time, in the user's locale.
QString ShortDateTime(const QDateTime& value);

// "yyyyMMddhhnnss": fourteen digits that sort like the date (24-hour clock).
QString DateStamp14(const QDateTime& value);

// Days since 30 December 1899 with the time of day as fraction, as a date
// is counted where it is used as a number.
double DateSerial(const QDateTime& value);

// A text that sorts like the number (for numbers from 0 up to 16 digits): the
// whole part zero-padded to 16 characters, then the fraction's default text
// ("0" for whole numbers).
QString NumericSortKey(double value);

// The n-th (1-based) piece of `text` between delimiters; beyond the last
// piece, or for n < 1, the empty text. Delimiters compare case-insensitively.
QString GetField(const QString& text, const QString& delimiter, int n);
inline QString Field1(const QString& t) { return GetField(t, QStringLiteral("/"), 1); }
inline QString Field2(const QString& t) { return GetField(t, QStringLiteral("/"), 2); }
inline QString Field3(const QString& t) { return GetField(t, QStringLiteral("/"), 3); }
inline QString Field4(const QString& t) { return GetField(t, QStringLiteral("/"), 4); }
inline QString Field5(const QString& t) { return GetField(t, QStringLiteral("/"), 5); }
inline QString Field6(const QString& t) { return GetField(t, QStringLiteral("/"), 6); }

}  // namespace ordolo::util
