#include "util/VbFormat.h"

#include <QHash>
#include <algorithm>
#include <QRegularExpression>
#include <cmath>
#include <mutex>
#include <optional>
#include <vector>

namespace ordolo::util {

namespace {

std::optional<QLocale>& localeSlot() {
  static std::optional<QLocale> slot;
  return slot;
}

// Removes Qt's time-zone letters (unquoted 't') and the blanks they leave.
QString withoutZone(const QString& fmt) {
  QString out;
  bool quoted = false;
  for (const QChar c : fmt) {
    if (c == QLatin1Char('\'')) quoted = !quoted;
    if (!quoted && c == QLatin1Char('t')) continue;
    out.append(c);
  }
  return out.simplified();
}

// clang-format off
enum class Tok {
  Literal, Day, DayShort, DayLong, ShortDate, LongDate, Weekday, WeekOfYear, MonthOrMinute,
  MonthShort, MonthLong, Minute, Quarter, DayOfYear, Year2, Year4, Hour, Second, LongTime,
  GeneralDate, AmPmUpper, AmPmLower, APUpper, APLower, AmPmLocale
};
// clang-format on

struct Token {
  Tok type;
  int width = 1;  // 2 for zero-padded forms
  QString text;   // literal text
};

bool isAmPm(Tok t) {
  return t == Tok::AmPmUpper || t == Tok::AmPmLower || t == Tok::APUpper || t == Tok::APLower || t == Tok::AmPmLocale;
}

std::vector<Token> tokenize(const QString& p) {
  std::vector<Token> out;
  auto literal = [&out](const QString& s) {
    if (!out.empty() && out.back().type == Tok::Literal) out.back().text += s;
    else out.push_back({Tok::Literal, 1, s});
  };
  auto at = [&p](int i, const char* word) {
    return p.mid(i, static_cast<int>(strlen(word))).compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
  };
  int i = 0;
  const int n = p.size();
  while (i < n) {
    const QChar c = p[i];
    if (c == QLatin1Char('\\')) {
      if (i + 1 < n) literal(p.mid(i + 1, 1));
      i += 2;
      continue;
    }
    if (c == QLatin1Char('"')) {
      const int close = p.indexOf(QLatin1Char('"'), i + 1);
      literal(close < 0 ? p.mid(i + 1) : p.mid(i + 1, close - i - 1));
      i = close < 0 ? n : close + 1;
      continue;
    }
    if (at(i, "am/pm")) {
      out.push_back({c.isUpper() ? Tok::AmPmUpper : Tok::AmPmLower});
      i += 5;
      continue;
    }
    if (at(i, "ampm")) {
      out.push_back({Tok::AmPmLocale});
      i += 4;
      continue;
    }
    if (at(i, "a/p")) {
      out.push_back({c.isUpper() ? Tok::APUpper : Tok::APLower});
      i += 3;
      continue;
    }
    const QChar lc = c.toLower();
    int run = 1;
    while (i + run < n && p[i + run].toLower() == lc) ++run;
    const char l = lc.toLatin1();
    // Consumes `run` letters as tokens of at most `maxRun` letters each.
    auto emitRuns = [&](int maxRun, auto&& make) {
      int left = run;
      while (left > 0) {
        const int take = std::min(left, maxRun);
        out.push_back(make(take));
        left -= take;
      }
      i += run;
    };
    switch (l) {
      case 'c': emitRuns(1, [](int) { return Token{Tok::GeneralDate}; }); continue;
      case 'd':
        emitRuns(6, [](int k) {
          static constexpr Tok kinds[] = {Tok::Day,     Tok::Day,       Tok::DayShort,
                                          Tok::DayLong, Tok::ShortDate, Tok::LongDate};
          return Token{kinds[k - 1], k == 2 ? 2 : 1};
        });
        continue;
      case 'w': emitRuns(2, [](int k) { return Token{k == 1 ? Tok::Weekday : Tok::WeekOfYear}; }); continue;
      case 'm':
        emitRuns(4, [](int k) {
          if (k <= 2) return Token{Tok::MonthOrMinute, k};
          return Token{k == 3 ? Tok::MonthShort : Tok::MonthLong};
        });
        continue;
      case 'n': emitRuns(2, [](int k) { return Token{Tok::Minute, k}; }); continue;
      case 'q': emitRuns(1, [](int) { return Token{Tok::Quarter}; }); continue;
      case 'y':
        emitRuns(4, [](int k) {
          if (k == 1) return Token{Tok::DayOfYear};
          return Token{k == 4 ? Tok::Year4 : Tok::Year2};
        });
        continue;
      case 'h': emitRuns(2, [](int k) { return Token{Tok::Hour, k}; }); continue;
      case 's': emitRuns(2, [](int k) { return Token{Tok::Second, k}; }); continue;
      case 't':
        if (run == 5) {
          out.push_back({Tok::LongTime});
          i += 5;
          continue;
        }
        break;
      default: break;
    }
    literal(p.mid(i, run));
    i += run;
  }
  // An m/mm right after an hour or right before seconds means minutes.
  auto neighbour = [&out](size_t from, int step) -> const Token* {
    for (auto k = static_cast<long>(from) + step; k >= 0 && k < static_cast<long>(out.size()); k += step)
      if (out[k].type != Tok::Literal) return &out[k];
    return nullptr;
  };
  for (size_t k = 0; k < out.size(); ++k) {
    if (out[k].type != Tok::MonthOrMinute) continue;
    const Token* prev = neighbour(k, -1);
    const Token* next = neighbour(k, +1);
    const bool minute = (prev && prev->type == Tok::Hour) || (next && next->type == Tok::Second);
    out[k].type = minute ? Tok::Minute : Tok::MonthOrMinute;
  }
  return out;
}

// Patterns are few and used for every item: keep them tokenized.
std::vector<Token> tokensOf(const QString& pattern) {
  static std::mutex mutex;
  static QHash<QString, std::vector<Token>> cache;
  std::lock_guard lock(mutex);
  auto it = cache.constFind(pattern);
  if (it != cache.cend()) return *it;
  if (cache.size() > 256) cache.clear();
  return *cache.insert(pattern, tokenize(pattern));
}

QString pad(int v, int width) { return QStringLiteral("%1").arg(v, width, 10, QLatin1Char('0')); }

// Week of the year with the week starting on Sunday and week 1 holding 1 January.
int weekOfYear(const QDate& d) {
  const int jan1Weekday = QDate(d.year(), 1, 1).dayOfWeek() % 7;  // Sunday = 0
  return (d.dayOfYear() - 1 + jan1Weekday) / 7 + 1;
}

QString generalDate(const QDateTime& v, const QLocale& loc) {
  const bool noDate = v.date() == QDate(1899, 12, 30);
  const bool noTime = v.time() == QTime(0, 0);
  if (noDate && !noTime) return loc.toString(v.time(), longTimePattern(loc));
  QString s = loc.toString(v.date(), shortDatePattern(loc));
  if (!noTime) s += QLatin1Char(' ') + loc.toString(v.time(), longTimePattern(loc));
  return s;
}

std::optional<QString> namedDateFormat(const QDateTime& v, const QString& name, const QLocale& loc) {
  const QString n = name.trimmed().toLower();
  if (n == QLatin1String("general date")) return generalDate(v, loc);
  if (n == QLatin1String("long date")) return loc.toString(v.date(), QLocale::LongFormat);
  if (n == QLatin1String("medium date")) return Format(v, QStringLiteral("dd-mmm-yy"), loc);
  if (n == QLatin1String("short date")) return loc.toString(v.date(), shortDatePattern(loc));
  if (n == QLatin1String("long time")) return loc.toString(v.time(), longTimePattern(loc));
  if (n == QLatin1String("medium time")) return Format(v, QStringLiteral("hh:nn AMPM"), loc);
  if (n == QLatin1String("short time")) return loc.toString(v.time(), shortTimePattern(loc));
  return std::nullopt;
}

// Serial day number (days since 30 December 1899, time as fraction) to a date.
QDateTime fromSerial(double serial) {
  const double whole = std::floor(serial);
  const QDate day = QDate(1899, 12, 30).addDays(static_cast<qint64>(whole));
  const auto ms = static_cast<int>(std::llround((serial - whole) * 86400000.0));
  return QDateTime(day, QTime(0, 0)).addMSecs(ms);
}

QString fixed(double v, int decimals, bool group, const QLocale& loc) {
  QLocale l = loc;
  l.setNumberOptions(group ? QLocale::DefaultNumberOptions : QLocale::OmitGroupSeparator);
  return l.toString(v, 'f', decimals);
}

// Number patterns made of a prefix, digits (0 # , .) and a suffix, with % scaling.
std::optional<QString> numberPattern(double v, const QString& pattern, const QLocale& loc) {
  static const QRegularExpression re(QStringLiteral("^([^0#]*)([0#,]+)(?:\\.([0#]+))?([^0#]*)$"));
  const auto m = re.match(pattern);
  if (!m.hasMatch()) return std::nullopt;
  const QString intPart = m.captured(2);
  const QString fracPart = m.captured(3);
  if (pattern.contains(QLatin1Char('%'))) v *= 100;
  const bool group = intPart.contains(QLatin1Char(','));
  QString s = fixed(std::fabs(v), static_cast<int>(fracPart.size()), group, loc);
  // Optional fraction digits (#) drop trailing zeros.
  if (!fracPart.isEmpty()) {
    const int optional = static_cast<int>(fracPart.size() - fracPart.lastIndexOf(QLatin1Char('0')) - 1);
    for (int k = 0; k < optional && s.endsWith(QLatin1Char('0')); ++k) s.chop(1);
    if (s.endsWith(loc.decimalPoint())) s.chop(1);
  }
  const int minInt = static_cast<int>(intPart.count(QLatin1Char('0')));
  const int dot = s.indexOf(loc.decimalPoint());
  int intLen = dot < 0 ? s.size() : dot;
  if (minInt == 0 && s.startsWith(QLatin1Char('0')) && intLen == 1) s.remove(0, 1);
  else if (intLen < minInt) s.prepend(QString(minInt - intLen, QLatin1Char('0')));
  const bool negative = v < 0 &&
                        std::any_of(s.cbegin(), s.cend(), [](QChar c) { return c.isDigit() && c != QLatin1Char('0'); });
  return (negative ? QStringLiteral("-") : QString()) + m.captured(1) + s + m.captured(4);
}

}  // namespace

QLocale localeFromEnvironment() {
  for (const char* var : {"LC_ALL", "LC_TIME", "LANG"}) {
    QString name = QString::fromLocal8Bit(qgetenv(var));
    if (name.isEmpty()) continue;
    name = name.section(QLatin1Char('.'), 0, 0).section(QLatin1Char('@'), 0, 0);
    if (name == QLatin1String("C") || name == QLatin1String("POSIX")) break;
    const QLocale loc(name);
    if (loc.language() != QLocale::C) return loc;
    break;
  }
  return QLocale(QLocale::English, QLocale::UnitedStates);
}

QLocale userLocale() {
  auto& slot = localeSlot();
  if (!slot) slot = localeFromEnvironment();
  return *slot;
}

void setUserLocale(const QLocale& locale) { localeSlot() = locale; }

QString shortDatePattern(const QLocale& locale) {
  QString f = locale.dateFormat(QLocale::ShortFormat);
  if (!f.contains(QLatin1String("yyyy"))) f.replace(QLatin1String("yy"), QLatin1String("yyyy"));
  return f;
}

QString shortTimePattern(const QLocale& locale) { return withoutZone(locale.timeFormat(QLocale::ShortFormat)); }
QString longTimePattern(const QLocale& locale) { return withoutZone(locale.timeFormat(QLocale::LongFormat)); }

QString Format(const QDateTime& value, const QString& pattern, const QLocale& loc) {
  if (!value.isValid()) return {};
  if (pattern.isEmpty()) return generalDate(value, loc);
  if (auto named = namedDateFormat(value, pattern, loc)) return *named;

  const auto tokens = tokensOf(pattern);
  bool twelve = false;
  for (const auto& t : tokens) twelve = twelve || isAmPm(t.type);

  const QDate d = value.date();
  const QTime t = value.time();
  const bool am = t.hour() < 12;
  QString out;
  for (const auto& tok : tokens) {
    switch (tok.type) {
      case Tok::Literal: out += tok.text; break;
      case Tok::Day: out += pad(d.day(), tok.width); break;
      case Tok::DayShort: out += loc.dayName(d.dayOfWeek(), QLocale::ShortFormat); break;
      case Tok::DayLong: out += loc.dayName(d.dayOfWeek(), QLocale::LongFormat); break;
      case Tok::ShortDate: out += loc.toString(d, shortDatePattern(loc)); break;
      case Tok::LongDate: out += loc.toString(d, QLocale::LongFormat); break;
      case Tok::Weekday: out += QString::number(d.dayOfWeek() % 7 + 1); break;
      case Tok::WeekOfYear: out += QString::number(weekOfYear(d)); break;
      case Tok::MonthOrMinute: out += pad(d.month(), tok.width); break;
      case Tok::MonthShort: out += loc.monthName(d.month(), QLocale::ShortFormat); break;
      case Tok::MonthLong: out += loc.monthName(d.month(), QLocale::LongFormat); break;
      case Tok::Minute: out += pad(t.minute(), tok.width); break;
      case Tok::Quarter: out += QString::number((d.month() - 1) / 3 + 1); break;
      case Tok::DayOfYear: out += QString::number(d.dayOfYear()); break;
      case Tok::Year2: out += pad(d.year() % 100, 2); break;
      case Tok::Year4: out += pad(d.year(), 4); break;
      case Tok::Hour: {
        int h = t.hour();
        if (twelve) h = h % 12 == 0 ? 12 : h % 12;
        out += pad(h, tok.width);
        break;
      }
      case Tok::Second: out += pad(t.second(), tok.width); break;
      case Tok::LongTime: out += loc.toString(t, longTimePattern(loc)); break;
      case Tok::GeneralDate: out += generalDate(value, loc); break;
      case Tok::AmPmUpper: out += am ? QStringLiteral("AM") : QStringLiteral("PM"); break;
      case Tok::AmPmLower: out += am ? QStringLiteral("am") : QStringLiteral("pm"); break;
      case Tok::APUpper: out += am ? QStringLiteral("A") : QStringLiteral("P"); break;
      case Tok::APLower: out += am ? QStringLiteral("a") : QStringLiteral("p"); break;
      case Tok::AmPmLocale: out += am ? loc.amText() : loc.pmText(); break;
    }
  }
  return out;
}

QString Format(const QDate& value, const QString& pattern, const QLocale& locale) {
  return Format(QDateTime(value, QTime(0, 0)), pattern, locale);
}

QString NumberText(double value, const QLocale& loc) {
  if (std::isnan(value) || std::isinf(value)) return QString::number(value);
  QString s = QString::number(value, 'g', 15).toUpper();
  s.replace(QLatin1Char('.'), loc.decimalPoint());
  return s;
}

QString Format(double v, const QString& pattern, const QLocale& loc) {
  const QString n = pattern.trimmed().toLower();
  if (n.isEmpty() || n == QLatin1String("general number")) return NumberText(v, loc);
  if (n == QLatin1String("currency")) return loc.toCurrencyString(v, loc.currencySymbol(), 2);
  if (n == QLatin1String("fixed")) return fixed(v, 2, false, loc);
  if (n == QLatin1String("standard")) return fixed(v, 2, true, loc);
  if (n == QLatin1String("percent")) return fixed(v * 100, 2, false, loc) + QLatin1Char('%');
  if (n == QLatin1String("scientific")) {
    QString s = QString::number(v, 'e', 2).toUpper();
    s.replace(QLatin1Char('.'), loc.decimalPoint());
    return s;
  }
  if (n == QLatin1String("yes/no")) return v != 0 ? QStringLiteral("Yes") : QStringLiteral("No");
  if (n == QLatin1String("true/false")) return v != 0 ? QStringLiteral("True") : QStringLiteral("False");
  if (n == QLatin1String("on/off")) return v != 0 ? QStringLiteral("On") : QStringLiteral("Off");
  if (auto s = numberPattern(v, pattern, loc)) return *s;
  // Anything else is a date pattern applied to the number as a serial date.
  return Format(fromSerial(v), pattern, loc);
}

void PinLocalTimeZone() {
  if (!qEnvironmentVariableIsSet("TZ")) qputenv("TZ", ":/etc/localtime");
}

}  // namespace ordolo::util
