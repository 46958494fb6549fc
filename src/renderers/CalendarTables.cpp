#include "renderers/CalendarTables.h"

#include "office/word/Document.h"
#include "template/Eigenschaften.h"
#include "util/DebugLog.h"

namespace ordolo::renderers {

namespace word = office::word;

namespace {

const QString kLeftovers = QStringLiteral("#<([A-Z])*([A-Z,1-9,a-z])>");

bool RowHoldsPlaceholder(word::Document& doc, int table, int row) {
  const auto r = doc.rowRange(table, row);
  return r && doc.text(*r).contains(QLatin1Char('#'));
}

QString RowsText(word::Document& doc, int table, int first, int last) {
  const auto a = doc.rowRange(table, first);
  const auto b = doc.rowRange(table, last);
  if (!a || !b) return {};
  return doc.text(word::Range{a->story, a->start, b->end});
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

}  // namespace

bool AnalyseTable(tpl::RunState& st, int table, int searchFrom) {
  word::Document* doc = st.word;
  if (!doc) return false;
  const int rows = doc->rowCount(table);
  if (rows < 1) return false;
  int last = rows;
  while (last > 1 && !RowHoldsPlaceholder(*doc, table, last)) --last;
  if (!RowHoldsPlaceholder(*doc, table, last)) last = rows;  // no placeholder at all: its last row repeats
  int first = last;
  while (first > 1 && RowHoldsPlaceholder(*doc, table, first - 1)) --first;

  tpl::TableRows& t = st.Rows;
  t.head = first - 1;
  t.itemRows = last - first + 1;
  t.foot = rows - last;
  t.current = first;
  t.unfilled = 0;
  t.block = std::make_shared<const word::RowBlock>(doc->copyRows(table, first, last));
  st.TableIndex = table;
  st.BlockStart = first;
  st.TableSearchFrom = searchFrom;
  const auto end = doc->rowRange(table, rows);
  const word::Range all = doc->content();
  st.DocumentText = doc->text(word::Range{all.story, std::clamp(searchFrom, 0, all.end), end ? end->end : all.end});
  return true;
}

void AddTableRows(tpl::RunState& st) {
  word::Document* doc = st.word;
  tpl::TableRows& t = st.Rows;
  if (!doc || !t.block) return;
  const int after = doc->rowCount(st.TableIndex) - t.foot;
  if (!doc->insertRows(st.TableIndex, after, *t.block)) return;
  t.current = after + 1;
  t.unfilled = t.itemRows;
  st.BlockStart = t.current;
  st.TableSearchFrom = -1;
  st.DocumentText = RowsText(*doc, st.TableIndex, t.current, t.current + t.itemRows - 1);
}

void FinishTable(tpl::RunState& st, int table) {
  word::Document* doc = st.word;
  if (!doc) return;
  tpl::TableRows& t = st.Rows;
  for (; t.unfilled > 0; --t.unfilled) doc->deleteRow(table, t.current);
  const int rows = doc->rowCount(table);
  const auto a = doc->rowRange(table, 1);
  const auto b = doc->rowRange(table, rows);
  if (!a || !b) return;
  word::Range r{a->story, a->start, b->end};
  word::FindOptions find;
  find.text = kLeftovers;
  find.matchWildcards = true;
  doc->execute(r, find, word::ReplaceMode::All);
}

void KeepTemplateBody(tpl::RunState& st) {
  if (!st.word) return;
  const word::Range all = st.word->content();
  st.TemplateBody = std::make_shared<const word::Fragment>(
      st.word->copy(word::Range{all.story, all.start, LastParagraphStart(*st.word)}));
}

void NewTableBlock(tpl::RunState& st, bool pageBreak) {
  word::Document* doc = st.word;
  if (!doc || !st.TemplateBody) return;
  FinishTable(st, st.TableIndex);

  word::Range& at = doc->selection();
  const word::Range all = doc->content();
  at = word::Range{all.story, LastParagraphStart(*doc), LastParagraphStart(*doc)};
  if (pageBreak) doc->typeText(QStringLiteral("\r\f"));
  word::Range paste = doc->selection();
  const int from = paste.start;
  const int tables = doc->tableCount();
  if (!doc->paste(paste, *st.TemplateBody) || doc->tableCount() <= tables ||
      !AnalyseTable(st, tables + 1, from)) {
    if (util::DebugLog::isOn()) util::DebugLog::write(QStringLiteral("break: the template copy holds no table"));
    return;
  }
  tpl::FillRunHeader(st);
}

void PlainItemRows(tpl::RunState& st) {
  if (!st.word) return;
  word::RowFormat plain;
  plain.fontSizeChange = -1;
  plain.bold = false;
  plain.clearShading = true;
  plain.removeTopBorder = true;
  for (int i = 0; i < st.Rows.itemRows; ++i) st.word->formatRow(st.TableIndex, st.Rows.current + i, plain);
}

}  // namespace ordolo::renderers
