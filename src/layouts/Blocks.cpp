#include "layouts/Blocks.h"

#include "lang/Messages.h"
#include "layouts/WordDocument.h"
#include "office/word/Document.h"

namespace ordolo::layouts {

namespace word = office::word;
using lang::Msg;

namespace {

const QString kBlockFind = QStringLiteral("[^60]%*%[^62]");
const QString kBookmark = QStringLiteral("ORDOLO");

// Makes the document, fills its run header, finds the block and takes its
// markers out. Empty, and the document closed, when the template is no
// document or has no block (the host was told).
std::optional<word::Range> OpenBlock(WordDocument& d, Host& host, const QString& templateFile, bool report) {
  if (!d.open(host, templateFile)) return std::nullopt;
  d.fillRunHeader(host);
  word::Document& doc = d.doc();
  word::Range sel = doc.content();
  sel.end = sel.start;
  word::FindOptions find;
  find.text = kBlockFind;
  find.matchWildcards = true;
  const word::FindResult found = doc.execute(sel, find, word::ReplaceMode::None);
  // "<%%>" holds nothing to repeat; anything shorter is no block at all.
  if (!found.ok || found.found == 0 || sel.end - sel.start <= 4) {
    d.close();
    host.refused(lang::text(Msg::ErrReportLines));
    return std::nullopt;
  }
  word::Range& cursor = doc.selection();
  // A report block at the very end of the document gets an empty line after
  // it, where its copies go.
  if (report && sel.end + 1 >= doc.content().end) {
    cursor = word::Range{sel.story, sel.end, sel.end};
    doc.typeText(QStringLiteral("\r"));
  }
  cursor = word::Range{sel.story, sel.end - 2, sel.end};
  doc.typeBackspace();
  cursor = word::Range{sel.story, sel.start, sel.start + 2};
  doc.typeBackspace();
  word::Range block{sel.story, sel.start, sel.end - 4};
  // A marker alone on its line leaves that line empty, outside the block.
  if (doc.text(block).startsWith(QLatin1Char('\r'))) block.start += 1;
  const QString after = doc.text(word::Range{sel.story, block.end, block.end + 2});
  if (report && !doc.text(block).endsWith(QLatin1Char('\r')) && after.startsWith(QLatin1Char('\r')) &&
      !after.endsWith(QChar(7)))
    block.end += 1;
  return block;
}

class ReportLayout : public WordLayout {
 public:
  using WordLayout::WordLayout;

  bool open() override {
    const std::optional<word::Range> block = OpenBlock(doc_, host_, options_.templateFile, true);
    if (!block) return false;
    block_ = doc_.doc().copy(*block);
    doc_.doc().addBookmark(kBookmark, *block);
    doc_.target().fillFrom(block->start, block->end);
    return true;
  }

  bool item() override {
    if (doc_.items > 0) nextCopy();
    host_.render(doc_.target());
    doc_.target().clearLeftoversInPart();
    ++doc_.items;
    return true;
  }

 private:
  // A fresh copy of the block behind the last one.
  void nextCopy() {
    word::Document& doc = doc_.doc();
    auto mark = doc.bookmark(kBookmark);
    if (!mark) return;
    word::Range at{mark->story, mark->end, mark->end};
    const int start = at.start;
    doc.paste(at, block_);
    const word::Range copy{at.story, start, at.start};
    doc.addBookmark(kBookmark, copy);
    doc_.target().fillFrom(start, at.start);
  }

  word::Fragment block_;  // the unfilled block
};

class LabelLayout : public WordLayout {
 public:
  using WordLayout::WordLayout;

  bool open() override {
    const std::optional<word::Range> block = OpenBlock(doc_, host_, options_.templateFile, false);
    if (!block) return false;
    word::Document& doc = doc_.doc();
    const int rows = doc.tableCount() > 0 ? doc.rowCount(1) : 0;
    if (startRow_ < 1 || startRow_ > 9 || startRow_ > rows) {
      doc_.close();
      host_.refused(lang::text(Msg::ErrLabelRow));
      return false;
    }
    rows_ = rows;
    columns_ = doc.columnCount(1);
    cell_ = (startRow_ - 1) * columns_;
    // Every later sheet starts at its first row.
    startRow_ = 1;
    block_ = doc.copy(*block);
    // The labels are pasted cell by cell; the block's own place starts empty.
    doc.selection() = *block;
    doc.typeBackspace();
    return true;
  }

  bool item() override {
    int left = std::max(1, options_.copies);
    while (left > 0) {
      if (cell_ >= rows_ * columns_) {
        // The sheet is full: print it and go on with a fresh one.
        if (!doc_.finish(host_) || !open()) return false;
      }
      left -= placeLabels(left);
      host_.render(doc_.target());
      doc_.target().clearLeftoversInPart();
      ++doc_.items;
    }
    return true;
  }

 private:
  // Up to `count` copies of the block into the next free cells; the item
  // fills them all at once. The number placed (at least 1).
  int placeLabels(int count) {
    word::Document& doc = doc_.doc();
    int n = 0;
    int firstStart = -1;
    while (n < count && cell_ < rows_ * columns_) {
      const int row = cell_ / columns_ + 1;
      const int column = cell_ % columns_ + 1;
      ++cell_;
      auto cell = doc.cellRange(1, row, column);
      if (!cell) continue;
      word::Range at{cell->story, cell->start, cell->start};
      if (firstStart < 0) firstStart = at.start;
      doc.paste(at, block_);
      ++n;
    }
    doc_.target().fillFrom(std::max(firstStart, 0));
    return std::max(n, 1);
  }

  word::Fragment block_;
  int startRow_ = options_.startRow;
  int rows_ = 0, columns_ = 0;
  int cell_ = 0;  // the next free label cell, counted row by row from 0
};

}  // namespace

std::unique_ptr<Layout> MakeReportLayout(Host& host, const Options& options) {
  return std::make_unique<ReportLayout>(host, options);
}

std::unique_ptr<Layout> MakeLabelLayout(Host& host, const Options& options) {
  return std::make_unique<LabelLayout>(host, options);
}

}  // namespace ordolo::layouts
