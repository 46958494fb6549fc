// An Excel workbook (.xlsx, .xltx, .xlsm) edited in place: the members the
// print run uses, named and behaving as Excel's own (ActiveSheet, Cells,
// Rows, Find, Replace, Value), plus the row operations of the Excel output.
//
// Only the active sheet is loaded for editing. Saving writes every part that
// was not changed byte for byte as it was.
//
// Find and Replace match as Excel's do: "*" stands for any run of characters,
// "?" for any one character, and "~" makes the next character literal ("~*",
// "~?", "~~"). The replacement text is literal.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <pugixml.hpp>

#include "office/Error.h"
#include "office/excel/References.h"

namespace ordolo::office {
class Package;
}

namespace ordolo::office::excel {

// Excel's limit on the characters of one cell.
constexpr int kMaxCellChars = 32767;
// LookAt
constexpr int xlWhole = 1;
constexpr int xlPart = 2;
// LookIn: cell values (a formula's cached result, not its text)
constexpr int xlValues = -4163;
// SearchOrder
constexpr int xlByRows = 1;

struct CellValue {
  enum class Kind { Empty, Text, Number, Boolean, Error };
  Kind kind = Kind::Empty;
  // The value as text: the text itself, a number in general form ("42",
  // "3.5"), TRUE/FALSE, or the error ("#N/A").
  QString text;
  double number = 0;
  bool isDate = false;     // a number shown with a date or time format
  bool isFormula = false;  // the cached result of a formula
};

struct CellRef {
  int row = 0;
  int column = 0;
};

class Worksheet;
class Workbook;

// Rows taken out of a sheet (values, styles, heights, merged cells, formulas),
// to be inserted anywhere, any number of times.
class RowBlock {
 public:
  int rowCount() const { return rowCount_; }

 private:
  friend class Worksheet;
  std::shared_ptr<pugi::xml_document> rows_;  // a <rows> element holding copies of <row>
  int firstRow_ = 0;
  int rowCount_ = 0;
  struct Merge {
    int row1, col1, row2, col2;  // relative to the block's first row (0-based rows)
  };
  std::vector<Merge> merges_;
};

// A rectangle of rows of one sheet: Cells (all rows) or Rows("a:b").
class Range {
 public:
  // The first cell, by rows, whose value matches; none when nothing does.
  std::optional<CellRef> Find(const QString& What, int LookAt, int LookIn = xlValues) const;
  // Replaces What by Replacement in every text, number and boolean cell of
  // the range (formula cells are left alone). A cell whose whole new text is
  // a plain number becomes a number (see Worksheet::SetValue). False, and
  // nothing changed, when a result would exceed kMaxCellChars or the range
  // is empty or invalid.
  bool Replace(const QString& What, const QString& Replacement, int LookAt, int SearchOrder = xlByRows,
               bool MatchCase = false);
  bool valid() const { return sheet_ && first_ >= 1 && last_ >= first_; }
  int firstRow() const { return first_; }
  int lastRow() const { return last_; }

 private:
  friend class Worksheet;
  Range(Worksheet* sheet, int first, int last) : sheet_(sheet), first_(first), last_(last) {}
  Worksheet* sheet_ = nullptr;
  int first_ = 0, last_ = 0;
};

class Worksheet {
 public:
  ~Worksheet();
  const QString& name() const { return name_; }

  Range Cells();
  // "12:14", "12" or "$12:$14"; an invalid text gives an invalid range
  // (whose Find finds nothing and whose Replace fails).
  Range Rows(const QString& rows);
  Range Rows(int first, int last);

  CellValue Value(int row, int column) const;
  QString Text(int row, int column) const { return Value(row, column).text; }
  // The formula of a cell (without "="), empty when it has none.
  QString Formula(int row, int column) const;
  // Sets a text, keeping the cell's style. As in Excel, a text that is a
  // plain decimal number ("42", "-3.5"; not "007", "+49", "1e5" or more than
  // 15 digits, which would not come back as written) becomes a number.
  // Texts beyond kMaxCellChars are cut there.
  void SetValue(int row, int column, const QString& value);
  void SetNumber(int row, int column, double value);
  // Sets a text as text, never as a number.
  void SetText(int row, int column, const QString& value);

  // The used rows and columns (0 when the sheet is empty).
  int firstRow() const;
  int lastRow() const;
  int lastColumn() const;
  // Calls f(row, column, value) for every cell with a value in rows
  // first..last, by rows.
  template <class F>
  void forEachValue(int first, int last, F f) const;

  // Row operations. Everything that refers to rows (formulas on the sheet,
  // the sheet's defined names such as the print area, merged cells,
  // conditional formats, validations, hyperlinks, page breaks) follows;
  // formulas on other sheets are not changed.
  RowBlock CopyRows(int first, int last) const;
  // Inserts the block before row `at`; the rows from `at` on move down.
  // Relative row references in the block's formulas move with it, and ranges
  // that end on row at-1 grow over the new rows.
  void InsertRows(int at, const RowBlock& block);
  void InsertEmptyRows(int at, int count);
  // References into deleted rows become #REF!, ranges shrink.
  void DeleteRows(int first, int count);
  // Formulas in these rows (a template block) refer to their own rows: their
  // ranges never grow over rows inserted below them. Copies made by
  // InsertRows are treated so from the start.
  void KeepRangesFixed(int first, int last);
  // A manual page break above `row`.
  void AddPageBreakBefore(int row);
  std::vector<int> pageBreaksBefore() const;
  // Wraps the cell's text (line breaks inside the text show as such).
  void SetWrapText(int row, int column);
  // A picture file placed with its top left corner on the cell, at the given
  // size; it moves with its row and goes when its row is deleted. False and
  // *error set (naming the file) when the file is not a readable picture.
  bool AddPicture(int row, int column, const QString& path, double widthPt, double heightPt, Error* error);

 private:
  friend class Workbook;
  friend class Range;
  Worksheet() = default;

  pugi::xml_node rowNode(int row) const;
  pugi::xml_node cellNode(int row, int column, bool create);
  CellValue readCell(pugi::xml_node c) const;
  void writeText(pugi::xml_node c, const QString& text);
  void writeNumber(pugi::xml_node c, double value);
  void clearValue(pugi::xml_node c);
  void shiftRows(const RowShift& s);
  void noteFormula(pugi::xml_node f);
  void forgetRow(pugi::xml_node row);
  void flush();  // replays the pending row shifts on everything that refers to rows
  QByteArray serialise();

  Workbook* book_ = nullptr;
  QString name_;
  QString part_;
  int index_ = 0;  // 0-based position among the workbook's sheets
  pugi::xml_document doc_;
  // Row heights before a multi-line value made the row taller.
  std::unordered_map<const void*, double> rowBase_;
  pugi::xml_node sheetData_;
  std::map<int, pugi::xml_node> rows_;  // row number -> <row>
  bool changed_ = false;
  bool rowsChanged_ = false;

  // Row shifts not yet replayed on formulas, merged cells and the rest: each
  // of those remembers how many shifts it has seen, so that a workbook with
  // thousands of inserted blocks replays each shift once per reference at
  // saving instead of touching every formula on every insertion.
  std::vector<RowShift> shifts_;
  std::unordered_map<pugi::xml_node_struct*, size_t> formulas_;  // <f> -> shifts seen
  std::unordered_set<pugi::xml_node_struct*> fixedRanges_;
  struct Merge {
    int row1, col1, row2, col2;
    size_t seen;
  };
  std::vector<Merge> merges_;
  struct Break {
    int row;  // the break lies above this row
    size_t seen;
  };
  std::vector<Break> breaks_;
  std::vector<std::pair<pugi::xml_attribute, size_t>> sqrefs_;  // cf, validations, hyperlinks, autofilter
  struct Picture {
    int row, column;
    QByteArray data;
    QString ext, type;
    qint64 cx, cy;  // EMU
    size_t seen;
  };
  std::vector<Picture> pictures_;  // added since the last save
};

class Workbook {
 public:
  // Null and *error set (a text naming the file) when the file is not a
  // readable workbook.
  static std::unique_ptr<Workbook> open(const QString& path, Error* error);
  ~Workbook();

  const QString& path() const;
  Worksheet* ActiveSheet() { return sheet_.get(); }
  QStringList sheetNames() const;

  // Writes the workbook as path (.xlsx, or .xlsm for a macro workbook),
  // replacing it atomically.
  bool saveAs(const QString& path, Error* error);

  // The shared string table, for reading cells.
  const QString& sharedString(int index) const;
  bool isDateStyle(int style) const;
  // The style like `style` but with wrapped text (added on first use).
  int wrapStyle(int style);
  // Defined names of the active sheet follow its row shifts.
  void shiftDefinedNames(const RowShift& s);

 private:
  Workbook();
  bool load(Error* error);
  bool parsePart(const QString& part, pugi::xml_document* doc, Error* error) const;
  // Puts the sheet's new pictures into its drawing part.
  bool writePictures(Error* error);

  std::unique_ptr<Package> package_;
  QString workbookPart_;
  pugi::xml_document workbook_;
  bool workbookChanged_ = false;
  QStringList sheetNames_;
  std::unique_ptr<Worksheet> sheet_;

  QString sharedStringsPart_;
  std::vector<QString> sharedStrings_;
  qint64 sharedRefDelta_ = 0;  // string references added (+) or dropped (-)
  QString stylesPart_;
  pugi::xml_document styles_;
  bool stylesChanged_ = false;
  std::vector<bool> dateStyles_;
  std::map<int, int> wrapStyles_;
  QString calcChainRelId_;
  QString relsPart_;

  friend class Worksheet;
};

template <class F>
void Worksheet::forEachValue(int first, int last, F f) const {
  for (auto it = rows_.lower_bound(first); it != rows_.end() && it->first <= last; ++it) {
    for (pugi::xml_node c = it->second.child("c"); c; c = c.next_sibling("c")) {
      int r = 0, col = 0;
      if (!parseAddress(c.attribute("r").value(), &r, &col)) continue;
      const CellValue v = readCell(c);
      if (v.kind != CellValue::Kind::Empty) f(it->first, col, v);
    }
  }
}

}  // namespace ordolo::office::excel
