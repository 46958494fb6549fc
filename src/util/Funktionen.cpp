#include "util/Funktionen.h"

#include <cmath>

#include "util/VbFormat.h"

namespace ordolo::util {

QString FormatDateShortTime12(const QDateTime& value) { return Format(value, QStringLiteral("ddddd H:nnAM/PM")); }

QString FormatTime12(const QDateTime& value) {
  QString s = Format(value, QStringLiteral("HH:nn:ssAM/PM"));
  if (s.startsWith(QLatin1Char('0'))) s[0] = QLatin1Char(' ');
  s.replace(QLatin1String(":00AM"), QLatin1String("AM"));
  s.replace(QLatin1String(":00PM"), QLatin1String("PM"));
  s.replace(QLatin1String("AM"), QLatin1String(" AM"));
  s.replace(QLatin1String("PM"), QLatin1String(" PM"));
  return s;
}

QDateTime CombineDateTime(const QDateTime& datePart, const QDateTime& timePart) {
  const QTime t = timePart.time();
  return QDateTime(datePart.date(), QTime(t.hour(), t.minute(), t.second()), datePart.timeSpec());
}

QString ShortDateTime(const QDateTime& value) {
  return Format(value, QStringLiteral("Short Date")) + QLatin1Char(' ') + Format(value, QStringLiteral("Short Time"));
}

QString DateStamp14(const QDateTime& value) { return Format(value, QStringLiteral("yyyyMMddhhnnss")); }

double DateSerial(const QDateTime& value) {
  const qint64 days = QDate(1899, 12, 30).daysTo(value.date());
  return static_cast<double>(days) + value.time().msecsSinceStartOfDay() / 86400000.0;
}

QString NumericSortKey(double value) {
  const double whole = std::floor(value);
  // Sixteen characters for the whole part: padding only to fourteen would let
  // one-digit numbers sort after two-digit ones.
  const QString padded = QString(16, QLatin1Char('0')) + QString::number(static_cast<qint64>(whole));
  return padded.right(16) + NumberText(value - whole);
}

QString GetField(const QString& text, const QString& delimiter, int n) {
  QString rest = text;
  QString field;
  for (int i = 0; i < n; ++i) {
    const int at = rest.indexOf(delimiter, 0, Qt::CaseInsensitive);
    if (at >= 0) {
      field = rest.left(at);
      rest = rest.mid(at + delimiter.size());
    } else {
      field = rest;
      rest.clear();
    }
  }
  return n < 1 ? QString() : field;
}

}  // namespace ordolo::util
