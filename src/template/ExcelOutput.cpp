#include "template/ExcelOutput.h"

#include "lang/Messages.h"
#include "util/DebugLog.h"

#include <optional>

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

// Word's line-break notations, as the renderers write them for Word, become
// line breaks inside the cell.
QString cellText(const QString& value) {
  if (!value.contains(QLatin1Char('\r')) && !value.contains(QLatin1String("^l"))) return value;
  QString out = value;
  out.replace(QLatin1String("\r\n"), QLatin1String("\n"));
  out.replace(QLatin1Char('\r'), QLatin1Char('\n'));
  out.replace(QLatin1String("^l"), QLatin1String("\n"));
  return out;
}

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

bool ExcelOutput::Open(const QString& templatePath, QString* error) {
  office::Error why;
  book_ = Workbook::open(templatePath, &why);
  if (!book_) {
    if (error) *error = lang::Describe(why);
    return false;
  }
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
  outputRow_ = blockFirst_;
  text_ = textOfRows(1, ws->lastRow());
  util::DebugLog::write(
      QStringLiteral("Excel block: rows %1:%2 of %3").arg(blockFirst_).arg(blockLast_).arg(ws->name()));
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

void ExcelOutput::BeginItem() {
  if (!book_) return;
  Worksheet* ws = book_->ActiveSheet();
  const int height = blockLast_ - blockFirst_ + 1;
  ++items_;
  if (items_ == 1 || pristine_.rowCount() == 0) {
    outputRow_ = blockFirst_;
  } else {
    const int at = outputRow_ + height;
    ws->InsertRows(at, pristine_);
    outputRow_ = at;
  }
  const int copyLast = outputRow_ + height - 1;
  // The rows outside all item rows: the header above the template block and
  // whatever lies below the current copy.
  text_ = textOfRows(outputRow_, copyLast) + textOfRows(1, blockFirst_ - 1) + textOfRows(copyLast + 1, ws->lastRow());
}

void ExcelOutput::breakBeforeItem() {
  if (!book_ || items_ < 2) return;
  Worksheet* ws = book_->ActiveSheet();
  const int height = blockLast_ - blockFirst_ + 1;
  auto copy = [&] { return ws->Rows(outputRow_, outputRow_ + height - 1); };
  const bool crlf = bool(copy().Find(QStringLiteral("#CRLF"), office::excel::xlPart));
  const bool pageBreak = bool(copy().Find(QStringLiteral("#PAGEBREAK"), office::excel::xlPart));
  if (crlf) {
    copy().Replace(QStringLiteral("#CRLF"), QString(), office::excel::xlPart, office::excel::xlByRows, true);
    ws->InsertEmptyRows(outputRow_, 1);
    ++outputRow_;
  }
  if (pageBreak) {
    copy().Replace(QStringLiteral("#PAGEBREAK"), QString(), office::excel::xlPart, office::excel::xlByRows, true);
    ws->AddPageBreakBefore(outputRow_);
  }
}

bool ExcelOutput::putPicture(const QString& placeholder, const QString& path, double widthPt, double heightPt,
                             QString* error) {
  if (!book_) return false;
  Worksheet* ws = book_->ActiveSheet();
  const int last = outputRow_ + blockLast_ - blockFirst_;
  const std::optional<office::excel::CellRef> at =
      ws->Rows(outputRow_, last).Find(QStringLiteral("*") + placeholder + QStringLiteral("*"), office::excel::xlWhole);
  if (!at) return false;
  ws->SetText(at->row, at->column, ws->Text(at->row, at->column).remove(placeholder));
  if (path.isEmpty()) return true;
  office::Error why;
  if (ws->AddPicture(at->row, at->column, path, widthPt, heightPt, &why)) return true;
  if (error) *error = lang::Describe(why);
  return false;
}

QString ExcelOutput::scanText() const {
  QString out;
  if (!book_) return out;
  const int height = blockLast_ - blockFirst_ + 1;
  book_->ActiveSheet()->forEachValue(outputRow_, outputRow_ + height - 1, [&](int, int col, const CellValue& v) {
    if (col <= columns_ && v.text.contains(QLatin1Char('#'))) {
      out += v.text;
      out += QLatin1Char('\r');
    }
  });
  return out;
}

void ExcelOutput::Finish() {
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

void ExcelOutput::replace(const QString& cAlt, const QString& cNeu, bool lWildcards, bool& lTest, bool& lRetry) {
  namespace xl = office::excel;
  using util::DebugLog::write;
  if (!book_ || !book_->ActiveSheet()) return;
  xl::Worksheet* sheet = book_->ActiveSheet();
  QString bare = cAlt;
  bare.remove(QLatin1Char('<')).remove(QLatin1Char('>'));
  int lookAt = cAlt.contains(QLatin1Char('<')) ? xl::xlWhole : xl::xlPart;

  if (lTest && !text_.contains(bare, Qt::CaseSensitive)) {
    write(QStringLiteral("cAlt not found"));
    return;
  }
  write(QStringLiteral("lTest: ") + (lTest ? QStringLiteral("True") : QStringLiteral("False")));

  const QString value = cellText(cNeu);
  static const QString kSheetWide = QStringLiteral("#<User>#<Caption>#<Folder>#<SelStart>#<SelEnd>#TextFromTo@Su@Mo");
  std::optional<xl::CellRef> found;
  if (kSheetWide.contains(cAlt, Qt::CaseSensitive)) {
    lookAt = QStringLiteral("@Su@Mo").contains(cAlt, Qt::CaseSensitive) ? xl::xlWhole : xl::xlPart;
    xl::Range cells = sheet->Cells();
    found = cells.Find(bare, lookAt, xl::xlValues);
    if (!found) return;
    // Excel's second, shorter Replace call only served Excel versions without
    // the format arguments; here one call is all there is.
    cells.Replace(bare, value, lookAt, xl::xlByRows, true);
  } else {
    const QString rows = QStringLiteral("%1:%2").arg(outputRow_).arg(outputRow_ + blockLast_ - blockFirst_);
    xl::Range block = sheet->Rows(rows);
    found = block.Find(bare, lookAt, xl::xlValues);
    if (!found) return;
    // A replacement the cell cannot take (beyond Excel's cell limit) puts the
    // value into the found cell alone, cut to that limit.
    if (!block.Replace(bare, value, lookAt, xl::xlByRows, true)) {
      write(QStringLiteral("Replace failed, value set in ") + xl::address(found->row, found->column));
      sheet->SetValue(found->row, found->column, value);
    }
  }
  if (value.contains(QLatin1Char('\n'))) sheet->SetWrapText(found->row, found->column);
}

bool ExcelOutput::SaveAs(const QString& path, QString* error) {
  office::Error why;
  if (book_ && book_->saveAs(path, &why)) return true;
  if (error && why) *error = lang::Describe(why);
  return false;
}

}  // namespace ordolo::tpl
