#include "office/excel/References.h"

#include <QStringList>

namespace ordolo::office::excel {

namespace {

constexpr int kMaxRow = 1048576;
constexpr int kMaxColumn = 16384;

bool isLetter(QChar c) {
  return (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) || (c >= QLatin1Char('a') && c <= QLatin1Char('z'));
}
bool isDigit(QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); }
bool isTokenChar(QChar c) {
  return isLetter(c) || isDigit(c) || c == QLatin1Char('_') || c == QLatin1Char('$') || c == QLatin1Char('.') ||
         c == QLatin1Char('\\') || c.unicode() > 127;
}

// "$AB$12" -> column text "$AB", row 12, row absolute. False unless the whole
// token is a cell reference within the sheet's limits.
bool parseCellToken(const QString& t, QString* col, int* row, bool* rowAbs) {
  int i = 0;
  const int n = t.size();
  if (i < n && t[i] == QLatin1Char('$')) ++i;
  const int letters = i;
  int colValue = 0;
  // At most one letter more than a column has: a longer name (a defined
  // name, a function) is no reference, and its value would overflow.
  while (i < n && isLetter(t[i]) && i - letters < 4) colValue = colValue * 26 + (t[i++].toUpper().unicode() - 'A' + 1);
  if (i == letters || i - letters > 3 || colValue > kMaxColumn) return false;
  *col = t.left(i);
  *rowAbs = i < n && t[i] == QLatin1Char('$');
  if (*rowAbs) ++i;
  const int digits = i;
  qint64 r = 0;
  while (i < n && isDigit(t[i]) && r <= kMaxRow) r = r * 10 + (t[i++].unicode() - '0');
  if (i == digits || i != n || r < 1 || r > kMaxRow) return false;
  *row = int(r);
  return true;
}

// "$12" or "12" as one end of a row range.
bool parseRowToken(const QString& t, int* row, bool* rowAbs) {
  int i = 0;
  *rowAbs = !t.isEmpty() && t[0] == QLatin1Char('$');
  if (*rowAbs) ++i;
  if (i >= t.size()) return false;
  qint64 r = 0;
  for (; i < t.size(); ++i) {
    if (!isDigit(t[i]) || r > kMaxRow) return false;
    r = r * 10 + (t[i].unicode() - '0');
  }
  if (r < 1 || r > kMaxRow) return false;
  *row = int(r);
  return true;
}

QString readToken(const QString& f, int* i) {
  const int start = *i;
  while (*i < f.size() && isTokenChar(f[*i])) ++*i;
  return f.mid(start, *i - start);
}

}  // namespace

bool parseAddress(const char* text, int* row, int* column) {
  if (!text) return false;
  int c = 0, letters = 0;
  const char* p = text;
  while ((*p >= 'A' && *p <= 'Z') || (*p >= 'a' && *p <= 'z')) {
    c = c * 26 + ((*p & ~0x20) - 'A' + 1);
    if (++letters > 3) return false;
    ++p;
  }
  qint64 r = 0;
  int digits = 0;
  while (*p >= '0' && *p <= '9') {
    r = r * 10 + (*p - '0');
    if (++digits > 7) return false;
    ++p;
  }
  if (*p || !letters || !digits || r < 1 || r > kMaxRow || c > kMaxColumn) return false;
  *row = int(r);
  *column = c;
  return true;
}

QString columnName(int column) {
  QString out;
  while (column > 0) {
    const int rem = (column - 1) % 26;
    out.prepend(QChar(char16_t('A' + rem)));
    column = (column - 1) / 26;
  }
  return out;
}

QString address(int row, int column) { return columnName(column) + QString::number(row); }

int shiftRow(int row, const RowShift& s) {
  if (s.delta >= 0) return row >= s.at ? row + s.delta : row;
  const int n = -s.delta;
  if (row < s.at) return row;
  if (row < s.at + n) return 0;
  return row - n;
}

bool shiftRange(int* first, int* last, const RowShift& s) {
  if (s.delta >= 0) {
    const bool grow = s.growRangesAbove && *last == s.at - 1;
    if (*first >= s.at) *first += s.delta;
    if (*last >= s.at || grow) *last += s.delta;
    return true;
  }
  const int n = -s.delta;
  if (*last < s.at) return true;
  const int f = *first < s.at ? *first : (*first >= s.at + n ? *first - n : s.at);
  const int l = *last >= s.at + n ? *last - n : s.at - 1;
  if (l < f) return false;
  *first = f;
  *last = l;
  return true;
}

FormulaRefs::FormulaRefs(const QString& formula, const QString& sheetName, bool unqualifiedIsOurs) : formula_(formula) {
  const QString& f = formula_;
  const int n = f.size();
  int i = 0;
  bool qualified = false;
  bool ours = unqualifiedIsOurs;
  int refStart = -1;  // where the qualifier of the next reference began
  auto resetQualifier = [&] {
    qualified = false;
    ours = unqualifiedIsOurs;
    refStart = -1;
  };
  while (i < n) {
    const QChar ch = f[i];
    if (ch == QLatin1Char('"')) {  // a text literal
      ++i;
      while (i < n) {
        if (f[i] == QLatin1Char('"')) {
          if (i + 1 < n && f[i + 1] == QLatin1Char('"')) {
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        ++i;
      }
      resetQualifier();
      continue;
    }
    if (ch == QLatin1Char('[')) {  // another workbook or a table column: never ours
      int depth = 0;
      while (i < n) {
        if (f[i] == QLatin1Char('[')) ++depth;
        if (f[i] == QLatin1Char(']') && --depth == 0) {
          ++i;
          break;
        }
        ++i;
      }
      qualified = true;
      ours = false;
      continue;
    }
    if (ch == QLatin1Char('\'')) {  // a quoted sheet name
      const int start = i++;
      QString name;
      while (i < n) {
        if (f[i] == QLatin1Char('\'')) {
          if (i + 1 < n && f[i + 1] == QLatin1Char('\'')) {
            name += QLatin1Char('\'');
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        name += f[i++];
      }
      if (i < n && f[i] == QLatin1Char('!')) {
        ++i;
        const bool foreign = qualified && !ours;  // [1]'Sheet'!A1
        qualified = true;
        ours = !foreign && name.compare(sheetName, Qt::CaseInsensitive) == 0;
        if (refStart < 0) refStart = start;
      } else {
        resetQualifier();
      }
      continue;
    }
    if (!isTokenChar(ch)) {
      ++i;
      resetQualifier();
      continue;
    }
    const int start = i;
    const QString token = readToken(f, &i);
    if (i < n && f[i] == QLatin1Char('!')) {  // an unquoted sheet name
      ++i;
      const bool foreign = qualified && !ours;
      qualified = true;
      ours = !foreign && token.compare(sheetName, Qt::CaseInsensitive) == 0;
      continue;
    }
    if (i < n && f[i] == QLatin1Char('(')) {  // a function name
      resetQualifier();
      continue;
    }
    Ref r;
    r.begin = start;
    bool found = false;
    if (parseCellToken(token, &r.col1, &r.row1, &r.abs1)) {
      found = true;
      r.end = i;
      if (i + 1 < n && f[i] == QLatin1Char(':')) {
        int j = i + 1;
        const QString second = readToken(f, &j);
        if (parseCellToken(second, &r.col2, &r.row2, &r.abs2)) {
          r.range = true;
          r.end = i = j;
        }
      }
    } else if (i + 1 < n && f[i] == QLatin1Char(':') && parseRowToken(token, &r.row1, &r.abs1)) {
      int j = i + 1;
      const QString second = readToken(f, &j);
      if (parseRowToken(second, &r.row2, &r.abs2)) {
        found = true;
        r.range = true;
        r.end = i = j;
      }
    }
    if (found && ours) refs_.push_back(r);
    resetQualifier();
  }
}

void FormulaRefs::apply(const RowShift& s) {
  for (Ref& r : refs_) {
    if (r.invalid) continue;
    if (r.range) {
      r.invalid = !shiftRange(&r.row1, &r.row2, s);
    } else {
      r.row1 = shiftRow(r.row1, s);
      r.invalid = r.row1 == 0;
    }
  }
}

void FormulaRefs::offsetRelative(int offset) {
  for (Ref& r : refs_) {
    if (r.invalid) continue;
    if (!r.abs1) r.row1 += offset;
    if (r.range && !r.abs2) r.row2 += offset;
    if (r.row1 < 1 || r.row1 > kMaxRow || (r.range && (r.row2 < 1 || r.row2 > kMaxRow))) r.invalid = true;
  }
}

QString FormulaRefs::text() const {
  if (refs_.empty()) return formula_;
  QString out;
  int pos = 0;
  for (const Ref& r : refs_) {
    out += QStringView(formula_).mid(pos, r.begin - pos);
    if (r.invalid) {
      out += QLatin1String("#REF!");
    } else {
      out += r.col1 + (r.abs1 ? QLatin1String("$") : QLatin1String("")) + QString::number(r.row1);
      if (r.range)
        out += QLatin1Char(':') + r.col2 + (r.abs2 ? QLatin1String("$") : QLatin1String("")) + QString::number(r.row2);
    }
    pos = r.end;
  }
  out += QStringView(formula_).mid(pos);
  return out;
}

QString shiftSqref(const QString& sqref, const RowShift& s) {
  QStringList kept;
  for (const QString& piece : sqref.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
    FormulaRefs refs(piece, QString(), true);
    refs.apply(s);
    const QString t = refs.text();
    if (!t.contains(QLatin1String("#REF!"))) kept << t;
  }
  return kept.join(QLatin1Char(' '));
}

}  // namespace ordolo::office::excel
