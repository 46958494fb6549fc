#include "layouts/Table.h"

#include "layouts/WordDocument.h"
#include "office/word/Document.h"
#include "template/Eigenschaften.h"
#include "util/DebugLog.h"

namespace ordolo::layouts {

namespace word = office::word;

namespace {

void Debug(const QString& line) {
  if (util::DebugLog::isOn()) util::DebugLog::write(line);
}

bool RowHoldsPlaceholder(word::Document& doc, int table, int row) {
  const auto r = doc.rowRange(table, row);
  return r && doc.text(*r).contains(QLatin1Char('#'));
}

// Where the main story's last paragraph starts (after a table, right after
// the end of its last row).
int LastParagraphStart(word::Document& doc) {
  const word::Range all = doc.content();
  const QString text = doc.text(all);
  int i = text.size() - 2;
  while (i >= 0 && text[i] != QLatin1Char('\r') && text[i] != QChar(7)) --i;
  return all.start + i + 1;
}

// How a table's rows divide (see Table.h).
struct Rows {
  int head = 0;
  int itemRows = 0;
  int foot = 0;
};

class TableLayout : public WordLayout {
 public:
  using WordLayout::WordLayout;

  bool open() override {
    if (!doc_.open(host_, options_.templateFile)) return false;
    doc_.fillRunHeader(host_);
    if (doc_.doc().tableCount() < 1) {
      Debug(QStringLiteral("Table template without a table: filled as a document"));
      plain_ = true;
      return true;
    }
    if (host_.run().Kind.breakSwitch) keepTemplate();
    if (!analyse(1, 0)) plain_ = true;
    templateSplit_ = rows_;
    return true;
  }

  bool item() override {
    if (plain_) {
      if (!doc_.isOpen() && !doc_.open(host_, options_.templateFile)) return false;
      doc_.target().fillWhole();
      host_.render(doc_.target());
      ++doc_.items;
      return doc_.finish(host_);
    }
    if (doc_.items > 0) addRows();
    host_.render(doc_.target());
    doc_.target().clearLeftoversInPart();
    ++doc_.items;
    return true;
  }

  void groupStarted() override {
    const tpl::RunState& run = host_.run();
    if (plain_ || !run.Kind.breakSwitch || run.ItemCounter < 3) return;
    newBlock(run.Kind.pageBreak);
  }

 private:
  word::Document& doc() { return doc_.doc(); }

  // Reads table `table` as it was just placed, before any item filled it;
  // the next item's replacements start at `searchFrom`.
  bool analyse(int table, int searchFrom) {
    const int rows = doc().rowCount(table);
    if (rows < 1) return false;
    int last = rows;
    while (last > 1 && !RowHoldsPlaceholder(doc(), table, last)) --last;
    if (!RowHoldsPlaceholder(doc(), table, last)) last = rows;  // no placeholder at all: its last row repeats
    int first = last;
    while (first > 1 && RowHoldsPlaceholder(doc(), table, first - 1)) --first;
    rows_ = Rows{first - 1, last - first + 1, rows - last};
    block_ = doc().copyRows(table, first, last);
    table_ = table;
    current_ = first;
    unfilled_ = 0;
    doc_.target().fillRows(table, current_, rows_.itemRows, searchFrom);
    return true;
  }

  // A copy of the unfilled item rows above the foot, for the next item.
  void addRows() {
    if (block_.empty()) return;
    const int after = doc().rowCount(table_) - rows_.foot;
    if (!doc().insertRows(table_, after, block_)) return;
    current_ = after + 1;
    unfilled_ = rows_.itemRows;
    doc_.target().fillRows(table_, current_, rows_.itemRows);
  }

  // Ends the current table: the rows added for the item that goes on in a
  // new block go, and so do placeholders no item filled.
  void finishTable() {
    for (; unfilled_ > 0; --unfilled_) doc().deleteRow(table_, current_);
    const auto a = doc().rowRange(table_, 1);
    const auto b = doc().rowRange(table_, doc().rowCount(table_));
    if (!a || !b) return;
    word::Range r{a->story, a->start, b->end};
    word::FindOptions find;
    find.text = tpl::kLeftoverPattern;
    find.matchWildcards = true;
    doc().execute(r, find, word::ReplaceMode::All);
  }

  // What a "break" template repeats, taken before anything is filled.
  void keepTemplate() {
    const word::Range all = doc().content();
    const auto firstRow = doc().rowRange(1, 1);
    startsWithTable_ = firstRow && firstRow->start == all.start;
    if (startsWithTable_) templateRows_ = doc().copyRows(1, 1, doc().rowCount(1));
    else body_ = doc().copy(word::Range{all.story, all.start, LastParagraphStart(doc())});
  }

  void newBlock(bool pageBreak) {
    if (startsWithTable_ && !pageBreak) {
      joinTable();
      return;
    }
    if (body_.empty()) {
      Debug(QStringLiteral("break: the template body starts with a table; no new page for it"));
      return;
    }
    finishTable();
    word::Range& at = doc().selection();
    const word::Range all = doc().content();
    at = word::Range{all.story, LastParagraphStart(doc()), LastParagraphStart(doc())};
    if (pageBreak) doc().typeText(QStringLiteral("\r\f"));
    word::Range paste = doc().selection();
    const int from = paste.start;
    const int tables = doc().tableCount();
    if (!doc().paste(paste, body_) || doc().tableCount() <= tables || !analyse(tables + 1, from)) {
      Debug(QStringLiteral("break: the template copy holds no table"));
      return;
    }
    tpl::FillRunHeader(doc_.target(), host_.run().Header);
  }

  // The template's table rows appended to the current table: its head
  // (the day heading) and item rows take the item, its foot ends the day.
  void joinTable() {
    if (templateRows_.empty()) return;
    finishTable();
    const int base = doc().rowCount(table_);
    if (!doc().appendRows(table_, templateRows_)) return;
    const auto top = doc().rowRange(table_, base + 1);
    if (!top) return;
    rows_ = templateSplit_;
    current_ = base + rows_.head + 1;
    unfilled_ = 0;
    doc_.target().fillRows(table_, current_, rows_.itemRows, top->start);
    tpl::FillRunHeader(doc_.target(), host_.run().Header);
  }

  bool plain_ = false;
  int table_ = 1;         // the table being filled
  Rows rows_;             // its layout
  int current_ = 0;       // first row of the current item
  int unfilled_ = 0;      // rows added for the current item and not filled yet
  word::RowBlock block_;  // the item rows as the template has them
  bool startsWithTable_ = false;
  word::RowBlock templateRows_;  // "break": the template's table, when the body starts with it
  Rows templateSplit_;           // how that table divides
  word::Fragment body_;          // "break": the template body, when text comes before its table
};

}  // namespace

std::unique_ptr<Layout> MakeTableLayout(Host& host, const Options& options) {
  return std::make_unique<TableLayout>(host, options);
}

}  // namespace ordolo::layouts
