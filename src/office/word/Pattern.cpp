#include "office/word/Pattern.h"

#include <QChar>

namespace ordolo::office::word {

namespace {

// Enough for any sensible template pattern; a pathological one gives up
// with an error instead of hanging the print run.
constexpr long kBacktrackBudget = 20'000'000;

char16_t Fold(char16_t c) { return QChar(c).toCaseFolded().unicode(); }

// Reads "^nnn" at s[i] (the character after '^'): a code from 1 to 255, of
// up to three digits (four when the first is 0). Digits that would take the
// code past 255 are not part of it, so "^92" before "2026" is a backslash
// followed by 2026. Returns the code and advances i, or -1.
int ReadCode(const QString& s, int& i) {
  const int maxDigits = (i < s.size() && s[i] == u'0') ? 4 : 3;
  int j = i;
  int value = 0;
  while (j < s.size() && j - i < maxDigits && s[j].isDigit() && value * 10 + s[j].digitValue() <= 255) {
    value = value * 10 + s[j].digitValue();
    ++j;
  }
  if (j == i) return -1;
  i = j;
  return value;
}

// The character a "^x" code stands for in a find or replacement text, or -1.
int CaretChar(QChar c) {
  switch (c.unicode()) {
    case u'p': return u'\r';
    case u't': return u'\t';
    case u'l': return u'\v';
    case u'm': return u'\f';
    case u'^': return u'^';
    default: return -1;
  }
}

}  // namespace

int TextSource::indexOf(char16_t ch, int from, int to, bool caseSensitive) const {
  const char16_t want = caseSensitive ? ch : Fold(ch);
  for (int i = from; i < to; ++i) {
    const char16_t c = at(i);
    if ((caseSensitive ? c : Fold(c)) == want) return i;
  }
  return -1;
}

int StringSource::indexOf(char16_t ch, int from, int to, bool caseSensitive) const {
  if (from >= to) return -1;
  const int i = s_.indexOf(QChar(ch), from, caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive);
  return (i >= 0 && i < to) ? i : -1;
}

bool IsWordChar(char16_t c) { return QChar(c).isLetterOrNumber(); }

Pattern Pattern::compile(const QString& text, bool wildcards, bool matchCase, QString* error) {
  Pattern p;
  p.caseSensitive_ = wildcards || matchCase;
  auto fail = [&](const QString& why) {
    if (error) *error = why;
    p.nodes_.clear();
    p.valid_ = false;
    return p;
  };
  auto addChar = [&](char16_t c) { p.nodes_.push_back(Node{Op::Char, c}); };
  int groups = 0;
  std::vector<int> open;
  for (int i = 0; i < text.size();) {
    const QChar c = text[i++];
    if (c == u'^') {
      if (i >= text.size()) return fail(QStringLiteral("'^' at the end of \"%1\"").arg(text));
      const int code = ReadCode(text, i);
      if (code >= 0) {
        if (code == 0 || code > 0xFFFF) return fail(QStringLiteral("character code out of range in \"%1\"").arg(text));
        addChar(char16_t(code));
        continue;
      }
      const QChar k = text[i++];
      const int ch = CaretChar(k);
      if (ch >= 0) {
        addChar(char16_t(ch));
      } else if (!wildcards && k == u'?') {
        p.nodes_.push_back(Node{Op::Any});
      } else if (!wildcards && (k == u'#' || k == u'$')) {
        Node n{Op::Set};
        if (k == u'#') {
          n.ranges = {{u'0', u'9'}};
        } else {
          n.ranges = {{u'A', u'Z'}, {u'a', u'z'}, {0xC0, 0x24F}};
        }
        p.nodes_.push_back(n);
      } else {
        return fail(QStringLiteral("unsupported code \"^%1\" in \"%2\"").arg(k).arg(text));
      }
      continue;
    }
    if (!wildcards) {
      addChar(c.unicode());
      continue;
    }
    switch (c.unicode()) {
      case u'\\':
        if (i >= text.size()) return fail(QStringLiteral("'\\' at the end of \"%1\"").arg(text));
        addChar(text[i++].unicode());
        break;
      case u'?': p.nodes_.push_back(Node{Op::Any}); break;
      case u'*':
        if (p.nodes_.empty() || p.nodes_.back().op != Op::Star) p.nodes_.push_back(Node{Op::Star});
        break;
      case u'<': p.nodes_.push_back(Node{Op::WordStart}); break;
      case u'>': p.nodes_.push_back(Node{Op::WordEnd}); break;
      case u'(':
        if (++groups > 9) return fail(QStringLiteral("more than 9 groups in \"%1\"").arg(text));
        open.push_back(groups);
        p.nodes_.push_back(Node{Op::Open, 0, groups});
        break;
      case u')':
        if (open.empty()) return fail(QStringLiteral("unbalanced ')' in \"%1\"").arg(text));
        p.nodes_.push_back(Node{Op::Close, 0, open.back()});
        open.pop_back();
        break;
      case u'[': {
        Node n{Op::Set};
        if (i < text.size() && text[i] == u'!') {
          n.negate = true;
          ++i;
        }
        bool closed = false;
        auto readMember = [&](char16_t& out) -> bool {
          if (text[i] == u'^') {
            ++i;
            const int code = ReadCode(text, i);
            if (code > 0 && code <= 0xFFFF) {
              out = char16_t(code);
              return true;
            }
            if (i < text.size() && CaretChar(text[i]) >= 0) {
              out = char16_t(CaretChar(text[i++]));
              return true;
            }
            return false;
          }
          if (text[i] == u'\\' && i + 1 < text.size()) ++i;
          out = text[i++].unicode();
          return true;
        };
        while (i < text.size()) {
          if (text[i] == u']' && (!n.ranges.empty() || n.negate)) {
            ++i;
            closed = true;
            break;
          }
          char16_t lo = 0;
          if (!readMember(lo)) return fail(QStringLiteral("bad code in a set in \"%1\"").arg(text));
          char16_t hi = lo;
          if (i + 1 < text.size() && text[i] == u'-' && text[i + 1] != u']') {
            ++i;
            if (!readMember(hi)) return fail(QStringLiteral("bad code in a set in \"%1\"").arg(text));
            if (hi < lo) return fail(QStringLiteral("range out of order in \"%1\"").arg(text));
          }
          n.ranges.emplace_back(lo, hi);
        }
        if (!closed) return fail(QStringLiteral("unclosed '[' in \"%1\"").arg(text));
        if (!n.negate && n.ranges.size() == 1 && n.ranges[0].first == n.ranges[0].second) {
          addChar(n.ranges[0].first);
        } else {
          p.nodes_.push_back(std::move(n));
        }
        break;
      }
      case u'@':
      case u'{':
      case u'}':
      case u']': return fail(QStringLiteral("wildcard '%1' is not supported (\"%2\")").arg(c).arg(text));
      default: addChar(c.unicode());
    }
  }
  if (!open.empty()) return fail(QStringLiteral("unbalanced '(' in \"%1\"").arg(text));
  if (p.nodes_.empty()) return fail(QStringLiteral("empty find text"));
  if (!p.caseSensitive_) {
    for (Node& n : p.nodes_) {
      if (n.op == Op::Char) n.ch = Fold(n.ch);
    }
  }
  p.valid_ = true;
  return p;
}

bool Pattern::setHas(const Node& n, char16_t c) const {
  bool in = false;
  for (const auto& [lo, hi] : n.ranges) {
    if (c >= lo && c <= hi) {
      in = true;
      break;
    }
  }
  return in != n.negate;
}

bool Pattern::matchAt(size_t ni, int pos, int to, const TextSource& src, Match& m, long& budget) const {
  for (; ni < nodes_.size(); ++ni) {
    if (--budget <= 0) return false;
    const Node& n = nodes_[ni];
    switch (n.op) {
      case Op::Char: {
        if (pos >= to) return false;
        const char16_t c = src.at(pos);
        if ((caseSensitive_ ? c : Fold(c)) != n.ch) return false;
        ++pos;
        break;
      }
      case Op::Any:
        if (pos >= to) return false;
        ++pos;
        break;
      case Op::Set:
        if (pos >= to || !setHas(n, src.at(pos))) return false;
        ++pos;
        break;
      case Op::WordStart:
        if (pos >= src.size() || !IsWordChar(src.at(pos)) || (pos > 0 && IsWordChar(src.at(pos - 1)))) return false;
        break;
      case Op::WordEnd:
        if (pos == 0 || !IsWordChar(src.at(pos - 1)) || (pos < src.size() && IsWordChar(src.at(pos)))) return false;
        break;
      case Op::Open: {
        const auto saved = m.groups[n.group];
        m.groups[n.group] = {pos, -1};
        if (matchAt(ni + 1, pos, to, src, m, budget)) return true;
        m.groups[n.group] = saved;
        return false;
      }
      case Op::Close: {
        const auto saved = m.groups[n.group];
        m.groups[n.group].second = pos;
        if (matchAt(ni + 1, pos, to, src, m, budget)) return true;
        m.groups[n.group] = saved;
        return false;
      }
      case Op::Star:
        // Shortest first: the rest is tried after 0, 1, 2 ... characters.
        for (int k = pos; k <= to; ++k) {
          if (matchAt(ni + 1, k, to, src, m, budget)) return true;
          if (budget <= 0) return false;
        }
        return false;
    }
  }
  m.end = pos;
  return true;
}

std::optional<Match> Pattern::search(const TextSource& src, int from, int to, QString* error) const {
  if (!valid_) return std::nullopt;
  to = std::min(to, src.size());
  // A pattern that begins (after zero-width marks) with a plain character
  // only needs to be tried where that character occurs.
  int anchor = -1;
  for (const Node& n : nodes_) {
    if (n.op == Op::WordStart || n.op == Op::Open) continue;
    if (n.op == Op::Char) anchor = n.ch;
    break;
  }
  long budget = kBacktrackBudget;
  for (int p = from; p < to; ++p) {
    if (anchor >= 0) {
      p = src.indexOf(char16_t(anchor), p, to, caseSensitive_);
      if (p < 0) return std::nullopt;
    }
    Match m;
    for (auto& g : m.groups) g = {-1, -1};
    if (matchAt(0, p, to, src, m, budget)) {
      m.start = p;
      return m;
    }
    if (budget <= 0) {
      if (error) *error = QStringLiteral("the pattern needs too much backtracking");
      return std::nullopt;
    }
  }
  return std::nullopt;
}

QString ExpandReplacement(const QString& r, bool wildcards, const TextSource& src, const Match& m) {
  auto slice = [&](int a, int b) {
    QString s;
    if (a < 0 || b < a) return s;
    s.reserve(b - a);
    for (int i = a; i < b; ++i) s.append(QChar(src.at(i)));
    return s;
  };
  QString out;
  out.reserve(r.size());
  for (int i = 0; i < r.size();) {
    const QChar c = r[i++];
    if (c == u'^' && i < r.size()) {
      const int code = ReadCode(r, i);
      if (code > 0 && code <= 0xFFFF) {
        out.append(QChar(char16_t(code)));
        continue;
      }
      const QChar k = r[i];
      if (k == u'&') {
        out.append(slice(m.start, m.end));
        ++i;
        continue;
      }
      const int ch = CaretChar(k);
      if (ch >= 0) {
        out.append(QChar(char16_t(ch)));
        ++i;
        continue;
      }
      out.append(c);  // an unknown code stays as it is
      continue;
    }
    if (wildcards && c == u'\\') {
      if (i >= r.size()) continue;
      const QChar k = r[i++];
      if (k.isDigit() && k != u'0') {
        const auto& g = m.groups[k.digitValue()];
        if (g.first >= 0 && g.second >= g.first) out.append(slice(g.first, g.second));
      } else {
        out.append(k);
      }
      continue;
    }
    if (c == u'\n') {
      if (!(i >= 2 && r[i - 2] == u'\r')) out.append(u'\r');  // CR LF is one paragraph
      continue;
    }
    out.append(c);
  }
  return out;
}

}  // namespace ordolo::office::word
