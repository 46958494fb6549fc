#include "office/excel/Workbook.h"
#include "template/ReplacePlaceholder.h"
#include "util/DebugLog.h"

namespace ordolo::tpl {

namespace {

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

void ReplacePlaceholderExcel(RunState& st, const QString& cAlt, const QString& cNeu, bool lWildcards, bool& lTest,
                             bool& lRetry) {
  namespace xl = office::excel;
  using util::DebugLog::write;
  if (!st.excel || !st.excel->ActiveSheet()) return;
  xl::Worksheet* sheet = st.excel->ActiveSheet();
  QString bare = cAlt;
  bare.remove(QLatin1Char('<')).remove(QLatin1Char('>'));
  int lookAt = cAlt.contains(QLatin1Char('<')) ? xl::xlWhole : xl::xlPart;

  if (lTest && !st.DocumentText.contains(bare, Qt::CaseSensitive)) {
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
    const QString rows = QStringLiteral("%1:%2").arg(st.OutputRow).arg(st.OutputRow + st.BlockLastRow - st.BlockFirstRow);
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

}  // namespace ordolo::tpl
