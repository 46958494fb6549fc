// The Excel output of a print run: one workbook per run, made from the
// template, in which every item fills its own copy of the template block.
//
// The template block is the run of rows from the first to the last row of
// the active sheet that holds an item placeholder: a "#" followed by a
// letter, other than the sheet-wide "#User", "#Caption", "#Folder",
// "#SelStart", "#SelEnd" and "#TextFromTo". The first item fills the block
// itself; every later item gets a fresh copy of the unfilled block inserted
// right below the previous item's copy, and the rows under it move down.
// Rows above the block and below the last copy hold the sheet-wide
// placeholders, which are filled once.
//
// Use: Open, then for each item BeginItem (and breakBeforeItem where the
// renderer asks for the line breaks), the replacements, and at the end
// Finish and SaveAs.
#pragma once

#include "office/excel/Workbook.h"
#include "template/Target.h"

#include <QString>

#include <memory>

namespace ordolo::tpl {

class ExcelOutput : public Target {
 public:
  ExcelOutput();
  ~ExcelOutput() override;

  // Opens the template (.xltx/.xlsx/.xlsm) and finds its block. False and
  // *error (naming the file) when it is not a usable workbook.
  bool Open(const QString& templatePath, QString* error);

  // Starts the next item: outputRow() becomes the first row of its copy of
  // the block (a new copy for every item after the first) and text() the
  // values of that copy and of the rows outside the item rows (so that the
  // presence test lets the sheet-wide placeholders of a header or footer
  // through until they are filled).
  void BeginItem();

  // Ends the sheet: placeholders no item filled ("#" and a capital letter,
  // and what follows up to the end of the word) are removed from every cell.
  void Finish();

  bool SaveAs(const QString& path, QString* error);

  office::excel::Workbook* workbook() { return book_.get(); }
  int itemCount() const { return items_; }
  // The first row of the current item's copy, and the template block's own
  // first and last row (1-based).
  int outputRow() const { return outputRow_; }
  int blockFirstRow() const { return blockFirst_; }
  int blockLastRow() const { return blockLast_; }
  void setText(const QString& text) { text_ = text; }

  // True for a cell text that holds an item placeholder (see above).
  static bool HoldsItemPlaceholder(const QString& text);

  // The Excel side of the replacement: a placeholder written with "<" ">"
  // must fill a whole cell, one without them may be part of a cell's text;
  // the case must match. The sheet-wide placeholders are searched on the
  // whole sheet, the others in the rows of the current item's copy of the
  // template block only. lWildcards and lRetry are not used.
  void replace(const QString& cAlt, const QString& cNeu, bool lWildcards, bool& lTest, bool& lRetry) override;
  const QString& text() const override { return text_; }
  // The values holding "#" of the current copy, each followed by a carriage
  // return.
  QString scanText() const override;
  // A "#CRLF" in the item's copy puts an empty row above the copy, a
  // "#PAGEBREAK" a manual page break; both placeholders are emptied.
  void breakBeforeItem() override;
  // The first cell of the current copy holding the placeholder loses it and
  // gets the picture on its top left corner.
  bool putPicture(const QString& placeholder, const QString& path, double widthPt, double heightPt,
                  QString* error) override;

 private:
  QString textOfRows(int first, int last) const;

  std::unique_ptr<office::excel::Workbook> book_;
  office::excel::RowBlock pristine_;  // the unfilled block, copied for every item
  int blockFirst_ = 0, blockLast_ = 0;
  int outputRow_ = 0;
  int columns_ = 0;  // the template's column count
  int items_ = 0;
  QString text_;
};

}  // namespace ordolo::tpl
