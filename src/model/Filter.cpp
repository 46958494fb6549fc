#include "model/Filter.h"

#include "util/VbFormat.h"

#include <QRegularExpression>

namespace ordolo::model {
namespace {

enum class Op { Eq, Ne, Lt, Le, Gt, Ge };

struct Literal {
  QString text;
  QDateTime date;  // valid when the text reads as a date
  std::optional<double> number;
  std::optional<bool> boolean;
};

Literal makeLiteral(const QString& text, bool quoted) {
  Literal l;
  l.text = text;
  l.date = ParseFilterDate(text);
  bool ok = false;
  const double d = text.toDouble(&ok);
  if (ok) l.number = d;
  if (!quoted) {
    if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0) l.boolean = true;
    if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0) l.boolean = false;
  }
  return l;
}

bool compareWith(int c, Op op) {
  switch (op) {
    case Op::Eq: return c == 0;
    case Op::Ne: return c != 0;
    case Op::Lt: return c < 0;
    case Op::Le: return c <= 0;
    case Op::Gt: return c > 0;
    case Op::Ge: return c >= 0;
  }
  return false;
}

template <typename T>
int threeWay(const T& a, const T& b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

class Condition : public Filter {
 public:
  Condition(QString property, Op op, Literal literal)
      : property_(std::move(property)), op_(op), literal_(std::move(literal)) {}

  bool matches(const Item& item) const override {
    const QVariant v = item.get(property_);
    if (!v.isValid()) return false;
    switch (v.userType()) {
      case QMetaType::QDateTime:
      case QMetaType::QDate: {
        if (!literal_.date.isValid()) return false;
        // A task's dates are days (the client keeps no time with them).
        if (dateOnly()) return compareWith(threeWay(v.toDateTime().date(), literal_.date.date()), op_);
        const QDateTime d = v.toDateTime();
        return compareWith(threeWay(d.toMSecsSinceEpoch(), literal_.date.toMSecsSinceEpoch()), op_);
      }
      case QMetaType::Bool: {
        std::optional<bool> b = literal_.boolean;
        if (!b && literal_.number) b = *literal_.number != 0;
        if (!b) return false;
        return compareWith(threeWay(int(v.toBool()), int(*b)), op_);
      }
      case QMetaType::Int:
      case QMetaType::LongLong:
      case QMetaType::UInt:
      case QMetaType::ULongLong:
      case QMetaType::Double:
        if (!literal_.number) return false;
        return compareWith(threeWay(v.toDouble(), *literal_.number), op_);
      default: {
        const int c = v.toString().compare(literal_.text, Qt::CaseInsensitive);
        return compareWith(c < 0 ? -1 : (c > 0 ? 1 : 0), op_);
      }
    }
  }

  bool dateOnly() const {
    for (const char* day : {"DueDate", "StartDate", "DateCompleted"})
      if (property_.compare(QLatin1String(day), Qt::CaseInsensitive) == 0) return true;
    return false;
  }

  Window window() const override {
    Window w;
    if (!literal_.date.isValid()) return w;
    const bool upper = op_ == Op::Lt || op_ == Op::Le;
    const bool lower = op_ == Op::Gt || op_ == Op::Ge;
    const bool isStart = property_.compare(QLatin1String("Start"), Qt::CaseInsensitive) == 0;
    const bool isEnd = property_.compare(QLatin1String("End"), Qt::CaseInsensitive) == 0;
    // An occurrence's end is never before its start, so a bound on either
    // property bounds the window on that side.
    if ((isStart || isEnd) && upper) w.to = literal_.date;
    if ((isStart || isEnd) && lower) w.from = literal_.date;
    if ((isStart || isEnd) && op_ == Op::Eq) w.from = w.to = literal_.date;
    return w;
  }

  QString check(const Item& sample) const override {
    const QVariant v = sample.get(property_);
    if (v.userType() == QMetaType::QDateTime && !literal_.date.isValid())
      return QStringLiteral("\"%1\" is not a date (for [%2])").arg(literal_.text, property_);
    return {};
  }

 private:
  QString property_;
  Op op_;
  Literal literal_;
};

QDateTime earlier(const QDateTime& a, const QDateTime& b) { return a <= b ? a : b; }
QDateTime later(const QDateTime& a, const QDateTime& b) { return a >= b ? a : b; }

class Junction : public Filter {
 public:
  Junction(bool isAnd, std::shared_ptr<Filter> a, std::shared_ptr<Filter> b)
      : and_(isAnd), a_(std::move(a)), b_(std::move(b)) {}
  bool matches(const Item& item) const override {
    return and_ ? (a_->matches(item) && b_->matches(item)) : (a_->matches(item) || b_->matches(item));
  }
  Window window() const override {
    const Window x = a_->window(), y = b_->window();
    Window w;
    if (and_) {
      w.from = !x.from.isValid() ? y.from : (!y.from.isValid() ? x.from : later(x.from, y.from));
      w.to = !x.to.isValid() ? y.to : (!y.to.isValid() ? x.to : earlier(x.to, y.to));
    } else {
      if (x.from.isValid() && y.from.isValid()) w.from = earlier(x.from, y.from);
      if (x.to.isValid() && y.to.isValid()) w.to = later(x.to, y.to);
    }
    return w;
  }
  QString check(const Item& sample) const override {
    const QString e = a_->check(sample);
    return e.isEmpty() ? b_->check(sample) : e;
  }

 private:
  bool and_;
  std::shared_ptr<Filter> a_, b_;
};

class Negation : public Filter {
 public:
  explicit Negation(std::shared_ptr<Filter> inner) : inner_(std::move(inner)) {}
  bool matches(const Item& item) const override { return !inner_->matches(item); }
  Window window() const override { return {}; }
  QString check(const Item& sample) const override { return inner_->check(sample); }

 private:
  std::shared_ptr<Filter> inner_;
};

// Recursive descent over the filter text.
class Parser {
 public:
  explicit Parser(const QString& text) : s_(text) {}

  std::shared_ptr<Filter> run(QString* error) {
    // Bounds that keep a hostile filter from exhausting the stack: the
    // parser and the filter it builds recurse once per nesting level and
    // per joined condition.
    std::shared_ptr<Filter> f;
    if (s_.size() > kMaxLength) fail(QStringLiteral("the filter is longer than %1 characters").arg(kMaxLength));
    else f = parseOr();
    skipBlanks();
    if (f && pos_ < s_.size()) fail(QStringLiteral("unexpected \"%1\"").arg(s_.mid(pos_, 20)));
    if (!error_.isEmpty()) {
      if (error) *error = error_;
      return nullptr;
    }
    return f;
  }

 private:
  static constexpr int kMaxLength = 10000;
  static constexpr int kMaxDepth = 100;
  int depth_ = 0;

  void fail(const QString& why) {
    if (error_.isEmpty()) error_ = QStringLiteral("%1 at position %2").arg(why).arg(pos_ + 1);
  }
  void skipBlanks() {
    while (pos_ < s_.size() && s_[pos_].isSpace()) ++pos_;
  }
  bool keyword(const char* word) {
    skipBlanks();
    const QString w = QString::fromLatin1(word);
    if (s_.mid(pos_, w.size()).compare(w, Qt::CaseInsensitive) != 0) return false;
    const int after = pos_ + w.size();
    if (after < s_.size() && (s_[after].isLetterOrNumber() || s_[after] == QLatin1Char('_'))) return false;
    pos_ = after;
    return true;
  }

  // operand { word operand }, left to right.
  std::shared_ptr<Filter> parseChain(const char* word, std::shared_ptr<Filter> (Parser::*operand)()) {
    auto left = (this->*operand)();
    while (left && keyword(word)) {
      auto right = (this->*operand)();
      if (!right) return nullptr;
      left = std::make_shared<Junction>(qstrcmp(word, "and") == 0, left, right);
    }
    return left;
  }
  std::shared_ptr<Filter> parseOr() { return parseChain("or", &Parser::parseAnd); }
  std::shared_ptr<Filter> parseAnd() { return parseChain("and", &Parser::parseUnary); }
  std::shared_ptr<Filter> parseUnary() {
    if (depth_ >= kMaxDepth) {
      fail(QStringLiteral("more than %1 levels of \"not\" and parentheses").arg(kMaxDepth));
      return nullptr;
    }
    if (keyword("not")) {
      ++depth_;
      auto inner = parseUnary();
      --depth_;
      return inner ? std::make_shared<Negation>(inner) : nullptr;
    }
    skipBlanks();
    if (pos_ < s_.size() && s_[pos_] == QLatin1Char('(')) {
      ++pos_;
      ++depth_;
      auto inner = parseOr();
      --depth_;
      skipBlanks();
      if (!inner) return nullptr;
      if (pos_ >= s_.size() || s_[pos_] != QLatin1Char(')')) {
        fail(QStringLiteral("missing \")\""));
        return nullptr;
      }
      ++pos_;
      return inner;
    }
    return parseCondition();
  }
  std::shared_ptr<Filter> parseCondition() {
    skipBlanks();
    if (pos_ >= s_.size() || s_[pos_] != QLatin1Char('[')) {
      fail(pos_ >= s_.size() ? QStringLiteral("a condition is missing") : QStringLiteral("expected \"[Property]\""));
      return nullptr;
    }
    const int close = s_.indexOf(QLatin1Char(']'), pos_);
    if (close < 0) {
      fail(QStringLiteral("missing \"]\""));
      return nullptr;
    }
    const QString property = s_.mid(pos_ + 1, close - pos_ - 1).trimmed();
    if (property.isEmpty()) {
      fail(QStringLiteral("empty property name"));
      return nullptr;
    }
    pos_ = close + 1;
    skipBlanks();
    Op op;
    const QString rest = s_.mid(pos_, 2);
    if (rest.startsWith(QLatin1String("<="))) op = Op::Le, pos_ += 2;
    else if (rest.startsWith(QLatin1String(">="))) op = Op::Ge, pos_ += 2;
    else if (rest.startsWith(QLatin1String("<>"))) op = Op::Ne, pos_ += 2;
    else if (rest.startsWith(QLatin1Char('<'))) op = Op::Lt, pos_ += 1;
    else if (rest.startsWith(QLatin1Char('>'))) op = Op::Gt, pos_ += 1;
    else if (rest.startsWith(QLatin1Char('='))) op = Op::Eq, pos_ += 1;
    else {
      fail(QStringLiteral("expected a comparison after [%1]").arg(property));
      return nullptr;
    }
    skipBlanks();
    if (pos_ >= s_.size()) {
      fail(QStringLiteral("a value is missing after [%1]").arg(property));
      return nullptr;
    }
    const QChar q = s_[pos_];
    if (q == QLatin1Char('\'') || q == QLatin1Char('"')) {
      const int end = s_.indexOf(q, pos_ + 1);
      if (end < 0) {
        fail(QStringLiteral("unterminated quote"));
        return nullptr;
      }
      const QString value = s_.mid(pos_ + 1, end - pos_ - 1);
      pos_ = end + 1;
      return std::make_shared<Condition>(property, op, makeLiteral(value, true));
    }
    const int start = pos_;
    while (pos_ < s_.size() && !s_[pos_].isSpace() && s_[pos_] != QLatin1Char(')')) ++pos_;
    return std::make_shared<Condition>(property, op, makeLiteral(s_.mid(start, pos_ - start), false));
  }

  QString s_;
  int pos_ = 0;
  QString error_;
};

int yearFrom(int y, int digits) {
  if (digits > 2) return y;
  return y < 30 ? 2000 + y : 1900 + y;  // the classic two-digit window
}

}  // namespace

std::shared_ptr<Filter> Filter::parse(const QString& text, QString* error) {
  if (text.trimmed().isEmpty()) {
    if (error) *error = QStringLiteral("empty filter");
    return nullptr;
  }
  return Parser(text).run(error);
}

QDateTime ParseFilterDate(const QString& input) {
  const QString text = input.trimmed();
  static const QRegularExpression iso(
      QStringLiteral("^(\\d{4})-(\\d{1,2})-(\\d{1,2})(?:[ T](\\d{1,2}):(\\d{2})(?::(\\d{2}))?)?$"));
  QRegularExpressionMatch m = iso.match(text);
  if (m.hasMatch()) {
    const QDate d(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt());
    const QTime t(m.captured(4).toInt(), m.captured(5).toInt(), m.captured(6).toInt());
    return d.isValid() && t.isValid() ? QDateTime(d, t) : QDateTime();
  }
  // Locale form: three numbers in the order of the short date pattern, then
  // an optional time with an optional AM/PM marker (attached or not).
  static const QRegularExpression local(QStringLiteral(
      "^(\\d{1,4})\\D(\\d{1,2})\\D(\\d{1,4})\\.?(?:\\s+(\\d{1,2}):(\\d{2})(?::(\\d{2}))?\\s*([AaPp][Mm])?)?$"));
  m = local.match(text);
  if (!m.hasMatch()) return {};
  const QString pattern = util::shortDatePattern(util::userLocale()).toLower();
  const int pd = pattern.indexOf(QLatin1Char('d')), pm = pattern.indexOf(QLatin1Char('m')),
            py = pattern.indexOf(QLatin1Char('y'));
  struct Part {
    int at;
    char what;
  };
  Part parts[3] = {{pd, 'd'}, {pm, 'm'}, {py, 'y'}};
  std::sort(std::begin(parts), std::end(parts), [](const Part& a, const Part& b) { return a.at < b.at; });
  int day = 0, month = 0, year = 0;
  for (int i = 0; i < 3; ++i) {
    const QString piece = m.captured(i + 1);
    const int v = piece.toInt();
    if (parts[i].what == 'd') day = v;
    if (parts[i].what == 'm') month = v;
    if (parts[i].what == 'y') year = yearFrom(v, piece.size());
  }
  const QDate d(year, month, day);
  int hour = m.captured(4).toInt();
  const QString marker = m.captured(7).toLower();
  if (!marker.isEmpty()) {
    if (hour < 1 || hour > 12) return {};
    if (marker == QLatin1String("pm") && hour != 12) hour += 12;
    if (marker == QLatin1String("am") && hour == 12) hour = 0;
  }
  const QTime t(hour, m.captured(5).toInt(), m.captured(6).toInt());
  return d.isValid() && t.isValid() ? QDateTime(d, t) : QDateTime();
}

}  // namespace ordolo::model
