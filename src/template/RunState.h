// The print run's shared state that placeholder replacement reads: which
// target is being filled, the cached text of the part being filled, and where
// the current table row, block or Excel block copy is.
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

namespace ordolo::office::word {
class Document;
}
namespace ordolo::office::excel {
class Workbook;
}

namespace ordolo::attachments {
class AttachmentQueue;
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

  // Where the renderers queue attachment files for printing; null when the
  // run prints no attachments.
  attachments::AttachmentQueue* Attachments = nullptr;
  // Items whose attachments are queued already in this run (a label
  // template fills one item several times).
  QStringList AttachmentsQueuedFor;
};

}  // namespace ordolo::tpl
