// A1-style cell references: addresses ("B12"), and the row references inside
// formulas and defined names, so that rows can be inserted, deleted and
// copied without leaving formulas pointing at the wrong rows.
#pragma once

#include <QString>

#include <vector>

namespace ordolo::office::excel {

// "AB12" -> row 12, column 28. False for anything else.
bool parseAddress(const char* text, int* row, int* column);
QString columnName(int column);
QString address(int row, int column);

// One structural change of a sheet's rows, replayed on everything that
// refers to rows. delta > 0: delta rows inserted before row `at`;
// delta < 0: -delta rows deleted from row `at` on.
struct RowShift {
  int at = 0;
  int delta = 0;
  // An inserted run of rows also grows the ranges that end on the row just
  // above it (a print area or a SUM over the item rows grows with the items).
  bool growRangesAbove = false;
};

// Row of a single reference after the shift; 0 when the row was deleted.
int shiftRow(int row, const RowShift& s);
// A range's rows after the shift; false when all its rows were deleted.
bool shiftRange(int* first, int* last, const RowShift& s);

// The row references found in a formula (or a defined name's formula): a
// cell ("B3", "$B$3"), a cell range ("A1:B7") or a row range ("3:5").
// References qualified with another sheet's name are skipped; unqualified
// ones count when `unqualifiedIsOurs` (a formula on the sheet itself).
class FormulaRefs {
 public:
  FormulaRefs(const QString& formula, const QString& sheetName, bool unqualifiedIsOurs);
  bool empty() const { return refs_.empty(); }
  // Replays a row shift (absolute and relative references alike, as an
  // insertion or deletion of rows does).
  void apply(const RowShift& s);
  // Moves the relative row references by `offset` rows, as copying a formula
  // does; absolute ($) rows stay.
  void offsetRelative(int offset);
  QString text() const;

 private:
  struct Ref {
    int begin = 0, end = 0;  // span in the formula
    QString col1, col2;      // with their "$" if any; empty for row ranges
    int row1 = 0, row2 = 0;
    bool abs1 = false, abs2 = false;
    bool range = false;
    bool invalid = false;  // pointed into deleted rows: written as #REF!
  };
  QString formula_;
  std::vector<Ref> refs_;
};

// Applies a shift to a list of ranges such as a "sqref" attribute
// ("A1:B2 D4"); ranges that lost all their rows are dropped.
QString shiftSqref(const QString& sqref, const RowShift& s);

}  // namespace ordolo::office::excel
