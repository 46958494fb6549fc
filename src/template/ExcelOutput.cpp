#include "template/ExcelOutput.h"

#include "util/DebugLog.h"

#include <QRegularExpression>

namespace ordolo::tpl {

using office::excel::CellValue;
using office::excel::Workbook;
using office::excel::Worksheet;

namespace {

bool isAsciiLetter(QChar c) {
  return (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) || (c >= QLatin1Char('a') && c <= QLatin1Char('z'));
}
bool isWordChar(QChar c) { return isAsciiLetter(c) || (c >= QLatin1Char('0') && c <= QLatin1Char('9')); }

}  // namespace

ExcelOutput::ExcelOutput() = default;
ExcelOutput::~ExcelOutput() = default;

bool ExcelOutput::HoldsItemPlaceholder(const QString& text) {
  static const char* const kSheetWide[] = {"User", "Caption", "Folder", "SelStart", "SelEnd", "TextFromTo"};
  for (int i = text.indexOf(QLatin1Char('#')); i >= 0; i = text.indexOf(QLatin1Char('#'), i + 1)) {
    if (i + 1 >= text.size() || !isAsciiLetter(text[i + 1])) continue;
    int end = i + 1;
    while (end < text.size() && isWordChar(text[end])) ++end;
    const QStringView word = QStringView(text).mid(i + 1, end - i - 1);
    bool sheetWide = false;
    for (const char* s : kSheetWide)
      if (word == QLatin1String(s)) sheetWide = true;
    if (!sheetWide) return true;
  }
  return false;
}

bool ExcelOutput::Open(RunState& st, const QString& templatePath, QString* error) {
  book_ = Workbook::open(templatePath, error);
  if (!book_) return false;
  Worksheet* ws = book_->ActiveSheet();
  blockFirst_ = blockLast_ = 0;
  ws->forEachValue(1, ws->lastRow(), [&](int row, int, const CellValue& v) {
    if (v.kind != CellValue::Kind::Text || v.isFormula || !HoldsItemPlaceholder(v.text)) return;
    if (!blockFirst_) blockFirst_ = row;
    blockLast_ = row;
  });
  columns_ = ws->lastColumn();
  if (blockFirst_) {
    pristine_ = ws->CopyRows(blockFirst_, blockLast_);
    ws->KeepRangesFixed(blockFirst_, blockLast_);
  } else {
    // No item placeholder: the sheet is filled once, as it is.
    blockFirst_ = 1;
    blockLast_ = std::max(1, ws->lastRow());
  }
  items_ = 0;
  st.UseWord = false;
  st.excel = book_.get();
  st.BlockFirstRow = blockFirst_;
  st.BlockLastRow = blockLast_;
  st.OutputRow = blockFirst_;
  util::DebugLog::write(QStringLiteral("Excel block: rows %1:%2 of %3").arg(blockFirst_).arg(blockLast_).arg(ws->name()));
  return true;
}

QString ExcelOutput::textOfRows(int first, int last) const {
  QString out;
  if (first > last) return out;
  book_->ActiveSheet()->forEachValue(first, last, [&](int, int, const CellValue& v) {
    out += v.text;
    out += QLatin1Char('\r');
  });
  return out;
}

void ExcelOutput::BeginItem(RunState& st) {
  if (!book_) return;
  Worksheet* ws = book_->ActiveSheet();
  const int height = blockLast_ - blockFirst_ + 1;
  ++items_;
  if (items_ == 1 || pristine_.rowCount() == 0) {
    st.OutputRow = blockFirst_;
  } else {
    const int at = st.OutputRow + height;
    ws->InsertRows(at, pristine_);
    st.OutputRow = at;
  }
  const int copyLast = st.OutputRow + height - 1;
  // The rows outside all item rows: the header above the template block and
  // whatever lies below the current copy.
  st.DocumentText = textOfRows(st.OutputRow, copyLast) + textOfRows(1, blockFirst_ - 1) +
                    textOfRows(copyLast + 1, ws->lastRow());
}

void ExcelOutput::BreakBeforeItem(RunState& st) {
  if (!book_ || items_ < 2) return;
  Worksheet* ws = book_->ActiveSheet();
  const int height = blockLast_ - blockFirst_ + 1;
  auto copy = [&] { return ws->Rows(st.OutputRow, st.OutputRow + height - 1); };
  const bool crlf = bool(copy().Find(QStringLiteral("#CRLF"), office::excel::xlPart));
  const bool pageBreak = bool(copy().Find(QStringLiteral("#PAGEBREAK"), office::excel::xlPart));
  if (crlf) {
    copy().Replace(QStringLiteral("#CRLF"), QString(), office::excel::xlPart, office::excel::xlByRows, true);
    ws->InsertEmptyRows(st.OutputRow, 1);
    ++st.OutputRow;
  }
  if (pageBreak) {
    copy().Replace(QStringLiteral("#PAGEBREAK"), QString(), office::excel::xlPart, office::excel::xlByRows, true);
    ws->AddPageBreakBefore(st.OutputRow);
  }
}

bool ExcelOutput::PutPicture(RunState& st, const QString& placeholder, const QString& path, double widthPt,
                             double heightPt, QString* error) {
  if (!book_) return false;
  Worksheet* ws = book_->ActiveSheet();
  const int last = st.OutputRow + blockLast_ - blockFirst_;
  const std::optional<office::excel::CellRef> at =
      ws->Rows(st.OutputRow, last).Find(QStringLiteral("*") + placeholder + QStringLiteral("*"), office::excel::xlWhole);
  if (!at) return false;
  ws->SetText(at->row, at->column, ws->Text(at->row, at->column).remove(placeholder));
  return path.isEmpty() || ws->AddPicture(at->row, at->column, path, widthPt, heightPt, error);
}

QString ExcelOutput::ScanText(const RunState& st) const {
  QString out;
  if (!book_) return out;
  const int height = blockLast_ - blockFirst_ + 1;
  book_->ActiveSheet()->forEachValue(st.OutputRow, st.OutputRow + height - 1, [&](int, int col, const CellValue& v) {
    if (col <= columns_ && v.text.contains(QLatin1Char('#'))) {
      out += v.text;
      out += QLatin1Char('\r');
    }
  });
  return out;
}

void ExcelOutput::Finish(RunState& st) {
  if (!book_) return;
  Worksheet* ws = book_->ActiveSheet();
  static const QRegularExpression leftover(QStringLiteral("#[A-Z][A-Za-z0-9]*"));
  std::vector<std::pair<std::pair<int, int>, QString>> cleaned;
  ws->forEachValue(1, ws->lastRow(), [&](int row, int col, const CellValue& v) {
    if (v.kind != CellValue::Kind::Text || v.isFormula || !v.text.contains(leftover)) return;
    cleaned.push_back({{row, col}, QString(v.text).remove(leftover)});
  });
  for (const auto& [cell, text] : cleaned) ws->SetValue(cell.first, cell.second, text);
  if (!cleaned.empty())
    util::DebugLog::write(QStringLiteral("Excel: %1 cells with unfilled placeholders emptied").arg(cleaned.size()));
}

bool ExcelOutput::SaveAs(const QString& path, QString* error) { return book_ && book_->saveAs(path, error); }

}  // namespace ordolo::tpl
