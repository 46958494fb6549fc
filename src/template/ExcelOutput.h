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
// Use: Open, then for each item BeginItem (and BreakBeforeItem where the
// renderer asks for the Excel line breaks), the replacements, and at the end
// Finish and SaveAs.
#pragma once

#include "office/excel/Workbook.h"
#include "template/RunState.h"

#include <QString>

#include <memory>

namespace ordolo::tpl {

class ExcelOutput {
 public:
  ExcelOutput();
  ~ExcelOutput();

  // Opens the template (.xltx/.xlsx/.xlsm) and finds its block. Sets
  // st.UseWord false, st.excel, st.BlockFirstRow and st.BlockLastRow.
  // False and *error (naming the file) when it is not a usable workbook.
  bool Open(RunState& st, const QString& templatePath, QString* error);

  // Starts the next item: st.OutputRow becomes the first row of its copy of
  // the block (a new copy for every item after the first) and
  // st.DocumentText the values of that copy and of the rows outside the
  // item rows (so that the presence test lets the sheet-wide placeholders of
  // a header or footer through until they are filled).
  void BeginItem(RunState& st);

  // The Excel meaning of "#CRLF" and "#PAGEBREAK" for an item after the
  // first: a "#CRLF" in the item's copy puts an empty row above the copy, a
  // "#PAGEBREAK" a manual page break; both placeholders are emptied.
  void BreakBeforeItem(RunState& st);

  // A picture in place of the placeholder in the current copy: the first
  // cell holding it loses the placeholder text and gets the picture on its
  // top left corner (no picture when `path` is empty). False when the copy
  // does not hold the placeholder; *error set when the picture is unusable.
  bool PutPicture(RunState& st, const QString& placeholder, const QString& path, double widthPt, double heightPt,
                  QString* error);

  // The values holding "#" of the current copy, each followed by a carriage
  // return, for the property scan of the common placeholders.
  QString ScanText(const RunState& st) const;

  // Ends the sheet: placeholders no item filled ("#" and a capital letter,
  // and what follows up to the end of the word) are removed from every cell.
  void Finish(RunState& st);

  bool SaveAs(const QString& path, QString* error);

  office::excel::Workbook* workbook() { return book_.get(); }
  int itemCount() const { return items_; }

  // True for a cell text that holds an item placeholder (see above).
  static bool HoldsItemPlaceholder(const QString& text);

 private:
  QString textOfRows(int first, int last) const;

  std::unique_ptr<office::excel::Workbook> book_;
  office::excel::RowBlock pristine_;  // the unfilled block, copied for every item
  int blockFirst_ = 0, blockLast_ = 0;
  int columns_ = 0;  // the template's column count
  int items_ = 0;
};

}  // namespace ordolo::tpl
