#include "template/WordTarget.h"

#include "lang/Messages.h"
#include "office/word/Document.h"
#include "template/ReplacePlaceholder.h"
#include "util/DebugLog.h"

#include <algorithm>

namespace ordolo::tpl {

namespace word = office::word;

const QString kLeftoverPattern = QStringLiteral("#<([A-Z])*([A-Z,1-9,a-z])>");

namespace {

void Debug(const QString& line) {
  if (util::DebugLog::isOn()) util::DebugLog::write(line);
}

QString Bare(const QString& cAlt) {
  QString s = cAlt;
  s.remove(QLatin1Char('<'));
  s.remove(QLatin1Char('>'));
  return s;
}

// The stories Word's replace-all visits on its own, except notes and comments.
bool Searched(word::StoryType t) {
  const int n = int(t);
  return n == 1 || (n >= 5 && n <= 11);
}

word::FindOptions FindFor(const QString& cAlt, const QString& cNeu, bool wildcards, word::Wrap wrap) {
  word::FindOptions find;
  find.text = cAlt;
  find.replacement = cNeu;
  find.forward = true;
  find.wrap = wrap;
  find.matchCase = false;
  find.matchWildcards = wildcards;
  return find;
}

word::FindOptions Leftovers() {
  word::FindOptions find;
  find.text = kLeftoverPattern;
  find.matchWildcards = true;
  return find;
}

}  // namespace

WordTarget::WordTarget(word::Document& doc) : doc_(doc) { fillWhole(); }

WordTarget::~WordTarget() = default;

void WordTarget::fillWhole() {
  part_ = Part::Whole;
  text_ = doc_.searchedText();
}

void WordTarget::fillFrom(int position, int end) {
  part_ = Part::From;
  from_ = position;
  const word::Range all = doc_.content();
  const int last = end < 0 ? all.end : std::clamp(end, 0, all.end);
  text_ = doc_.text(word::Range{all.story, std::clamp(position, 0, all.end), last});
}

void WordTarget::fillRows(int table, int firstRow, int rows, int searchFrom) {
  part_ = Part::Rows;
  table_ = table;
  row_ = firstRow;
  rows_ = rows;
  from_ = searchFrom;
  const word::Range all = doc_.content();
  if (searchFrom >= 0) {
    // The text above the table as well, down to the table's end.
    const auto end = doc_.rowRange(table, doc_.rowCount(table));
    text_ = doc_.text(word::Range{all.story, std::clamp(searchFrom, 0, all.end), end ? end->end : all.end});
    return;
  }
  const auto a = doc_.rowRange(table, firstRow);
  const auto b = doc_.rowRange(table, firstRow + rows - 1);
  text_ = a && b ? doc_.text(word::Range{a->story, a->start, b->end}) : QString();
}

int WordTarget::partStart() const {
  switch (part_) {
    case Part::Whole: return 0;
    case Part::From: return from_;
    case Part::Rows:
      if (from_ >= 0) return from_;
      if (auto row = doc_.rowRange(table_, row_)) return row->start;
      return 0;
  }
  return 0;
}

QString WordTarget::scanText() const { return part_ == Part::Whole ? doc_.searchedText() : text_; }

QString WordTarget::literal(QString text) const {
  text.replace(QLatin1Char('^'), QLatin1String("^^"));
  return text;
}

void WordTarget::replace(const QString& cAlt, const QString& cNeuIn, bool lWildcards, bool& lTest, bool& lRetry) {
  QString cNeu = cNeuIn;
  // Presence test against the cached text (case-sensitive), and the
  // backslash that a wildcard replacement would read as a group reference.
  if (cAlt.contains(QLatin1Char('<'))) {
    cNeu.replace(QLatin1Char('\\'), QLatin1String("^92"));
    if (lTest && !text_.contains(Bare(cAlt))) {
      Debug(QStringLiteral("cAlt not found"));
      return;
    }
  } else if (lTest && !text_.contains(cAlt)) {
    Debug(QStringLiteral("cAlt not found"));
    return;
  }
  Debug(QStringLiteral("lTest: ") + (lTest ? QStringLiteral("True") : QStringLiteral("False")));

  QString failure;
  if (lTest && part_ != Part::Whole) {
    // Positioned: from the current row or block to the end of the document.
    word::Range& sel = doc_.selection();
    const word::Range all = doc_.content();
    bool placed = true;
    if (part_ == Part::Rows && from_ < 0) {
      if (auto row = doc_.rowRange(table_, row_)) {
        sel = *row;
      } else {
        placed = false;
        failure = QStringLiteral("table %1 has no row %2").arg(table_).arg(row_);
      }
    } else {
      sel.story = all.story;
      sel.start = std::clamp(from_, 0, all.end);
    }
    if (placed) {
      sel.end = sel.start;
      word::Range r = sel;
      const word::FindResult res = doc_.execute(r, FindFor(cAlt, cNeu, lWildcards, word::Wrap::Stop),
                                                word::ReplaceMode::All);
      if (!res.ok) failure = res.error;
    }
  } else {
    for (word::Story* s : doc_.storyRanges()) {
      if (!Searched(word::Document::typeOf(s))) continue;
      word::Range r = doc_.storyRange(s);
      const word::FindResult res = doc_.execute(r, FindFor(cAlt, cNeu, lWildcards, word::Wrap::Continue),
                                                word::ReplaceMode::All);
      if (!res.ok && failure.isEmpty()) failure = res.error;
    }
  }

  if (!failure.isEmpty()) {
    Debug(QStringLiteral("error: ") + failure);
    if (lRetry) {
      bool test = lTest;
      bool retry = false;
      ReplacePlaceholder(*this, Bare(cAlt), cNeu, false, test, retry);
    }
  }
}

void WordTarget::breakBeforeItem() {
  Put(*this, QStringLiteral("#CRLF"), paragraphMark());
  Put(*this, QStringLiteral("#PAGEBREAK"), pageBreak());
}

void WordTarget::clearLeftoversInPart() {
  word::Range r = doc_.content();
  r.start = std::clamp(partStart(), 0, r.end);
  r.end = r.start;
  doc_.execute(r, Leftovers(), word::ReplaceMode::All);
}

void WordTarget::clearLeftovers() {
  // Without the presence test the replacement visits every searched story.
  bool test = false, retry = false;
  ReplacePlaceholder(*this, kLeftoverPattern, QString(), true, test, retry);
}

bool WordTarget::putPicture(const QString& placeholder, const QString& path, double widthPt, double heightPt,
                            QString* error) {
  const word::Range all = doc_.content();
  const int start = std::clamp(partStart(), 0, all.end);
  word::Range at{all.story, start, start};
  word::FindOptions find;
  find.text = placeholder;
  find.wrap = word::Wrap::Continue;
  const word::FindResult found = doc_.execute(at, find, word::ReplaceMode::None);
  if (!found.ok || found.found == 0 || doc_.text(at) != placeholder) return false;
  office::Error why;
  if (path.isEmpty() || !doc_.addPicture(path, at, widthPt, heightPt, &why)) {
    if (error && why) *error = lang::Describe(why);
    // A blank keeps the layout where the picture would be.
    doc_.selection() = at;
    doc_.typeText(QStringLiteral(" "));
  }
  return true;
}

bool WordTarget::insertFileAt(const QString& placeholder, const QString& path, QString* error) {
  // Where the placeholder may be: the current rows or block on, else the text.
  word::Range r = doc_.content();
  if (part_ == Part::Rows) {
    const auto a = doc_.rowRange(table_, row_);
    const auto b = doc_.rowRange(table_, row_ + std::max(rows_, 1) - 1);
    if (a && b) r = word::Range{a->story, a->start, b->end};
  } else if (part_ == Part::From) {
    r.start = std::clamp(from_, 0, r.end);
  }
  word::FindOptions find;
  find.text = placeholder;
  find.matchCase = true;
  find.wrap = word::Wrap::Stop;
  const word::FindResult found = doc_.execute(r, find, word::ReplaceMode::None);
  if (!found.ok || found.found == 0) return false;
  office::Error why;
  if (!doc_.insertFile(path, r, &why)) {
    if (error) *error = lang::Describe(why);
    return false;
  }
  // The insertion ends in a paragraph mark of its own; the placeholder's
  // paragraph goes on behind it.
  doc_.selection() = r;
  doc_.typeBackspace();
  return true;
}

void WordTarget::plainItemRows() {
  if (part_ != Part::Rows) return;
  word::RowFormat plain;
  plain.fontSizeChange = -1;
  plain.bold = false;
  plain.clearShading = true;
  plain.removeTopBorder = true;
  for (int i = 0; i < rows_; ++i) doc_.formatRow(table_, row_ + i, plain);
}

bool WordTarget::fillMemberRows(int members, const std::function<void(int member)>& fill) {
  // The member table: the first table that starts in the current part.
  const int from = part_ == Part::From ? from_ : 0;
  int table = 0;
  for (int t = 1; t <= doc_.tableCount() && !table; ++t)
    if (auto first = doc_.rowRange(t, 1); first && first->start >= from) table = t;
  const int rows = table ? doc_.rowCount(table) : 0;
  if (rows < 2) return false;
  const word::RowBlock block = doc_.copyRows(table, 2, rows);
  const int perMember = rows - 1;

  const Part part = part_;
  const int savedFrom = from_;
  const QString savedText = text_;
  for (int i = 1; i <= members; ++i) {
    if (i > 1) doc_.appendRows(table, block);
    const int firstRow = doc_.rowCount(table) - perMember + 1;
    const auto first = doc_.rowRange(table, firstRow);
    const auto last = doc_.rowRange(table, doc_.rowCount(table));
    if (!first || !last) break;
    part_ = Part::From;
    from_ = first->start;
    text_ = doc_.text(word::Range{first->story, first->start, last->end});
    fill(i);
    // What this member left unfilled goes; the next member's rows bring
    // fresh placeholders.
    const auto done = doc_.rowRange(table, doc_.rowCount(table));
    word::Range r{first->story, from_, done ? done->end : from_};
    doc_.execute(r, Leftovers(), word::ReplaceMode::All);
  }
  part_ = part;
  from_ = savedFrom;
  text_ = savedText;
  return true;
}

}  // namespace ordolo::tpl
