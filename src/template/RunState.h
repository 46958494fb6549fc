// The print run's shared state that placeholder replacement reads: which
// target is being filled, the cached text of the part being filled, and where
// the current table row, block or Excel block copy is.
#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <memory>

namespace ordolo::office::word {
class Document;
struct Fragment;
struct RowBlock;
}
namespace ordolo::office::excel {
class Workbook;
}

namespace ordolo::attachments {
class AttachmentQueue;
}
namespace ordolo::renderers {
class CalendarGrid;
}

namespace ordolo::tpl {

class ExcelOutput;

// The values of the run header placeholders "#<User>", "#<Caption>",
// "#<Folder>", "#<SelStart>" and "#<SelEnd>", worked out once per run.
struct RunHeader {
  QString User;
  QString Caption;
  QString Folder;    // the folder's name
  QString SelStart;  // short dates of the searched range; empty without one
  QString SelEnd;
  // The same range as days (null without one): the calendar grid prints
  // its months.
  QDate First;
  QDate Last;
};

// Table mode: how the table being filled is laid out (see CalendarTables.h).
// The item rows are the last run of rows holding a "#"; rows above them are
// the table's head, rows below its foot.
struct TableRows {
  int head = 0;       // rows above the item rows
  int itemRows = 0;   // rows each item fills
  int foot = 0;       // rows below the item rows; they stay at the table's end
  int current = 0;    // first row of the current item
  int unfilled = 0;   // rows added for the current item and not filled yet
  // The item rows as the template has them, copied for every further item.
  std::shared_ptr<const office::word::RowBlock> block;
};

struct RunState {
  // true: the target is a Word document; false: an Excel workbook.
  bool UseWord = true;
  office::word::Document* word = nullptr;
  office::excel::Workbook* excel = nullptr;
  ExcelOutput* excelOutput = nullptr;  // the block copies of an Excel target

  // Plain text of what is being filled, for the presence test: the text of
  // every searched story (ordinary template), the current table row (table
  // template), or the concatenated cell values of the Excel template block.
  QString DocumentText;

  bool TableMode = false;  // each item fills one row of a Word table
  bool BlockMode = false;  // each item fills one "<% ... %>" block
  int TableIndex = 1;      // 1-based table being filled in table mode
  TableRows Rows;          // the layout of table TableIndex
  // Table mode: a character position of the main story from which the
  // current item's replacements start instead of its row (-1: its row). The
  // first item of a table fills the text above it too.
  int TableSearchFrom = -1;
  // The template's whole body as it was before filling: a "break" table
  // template starts every new group with a copy of it.
  std::shared_ptr<const office::word::Fragment> TemplateBody;
  // Table mode: the 1-based row of the current item; block mode: the
  // character position where the current block starts.
  int BlockStart = 0;

  // Excel: first row of the current copy of the template block, and the
  // template block's own first and last row (1-based).
  int OutputRow = 0;
  int BlockFirstRow = 0;
  int BlockLastRow = 0;

  // Renderers' shared state across the items of one run.
  QDateTime LastStartDate;  // start of the previous item; 1 January 3000 at run start
  QString GroupKey;         // first 8 characters of the sort column; "z#@" at run start
  QString PrevGroupKey;
  bool Grouped = false;     // the list is sorted by a column, so groups apply
  // 0 in report and label mode; otherwise 1 at run start and raised before
  // each item, so the first item sees 2.
  int ItemCounter = 0;
  RunHeader Header;
  QString TemplatePath;     // the template file being filled

  // A Word template named "Calendar": the month grid the items go into.
  renderers::CalendarGrid* Grid = nullptr;

  // Where the renderers queue attachment files for printing; null when the
  // run prints no attachments.
  attachments::AttachmentQueue* Attachments = nullptr;
  // Items whose attachments are queued already in this run (a label
  // template fills one item several times).
  QStringList AttachmentsQueuedFor;
};

}  // namespace ordolo::tpl
