// What a template's file name says about the run, read once: Word or Excel,
// the layout, and the switches of the calendar lists. Nothing else looks at
// the name for these words.
//
//   ".xl" in the last five characters   Excel: one workbook, a copy of the
//                                       template block per item
//   "Calendar" (Word)                   the month grid: one document
//   "Label" (Word)                      the "<% ... %>" block in the label
//                                       cells of table 1, from a start row
//   "Report" (Word)                     the "<% ... %>" block repeated per item
//   "Table" (Word)                      table 1's item rows repeated per item
//   none of these (Word)                one document per item
//
// The first that matches wins, in this order. "break" starts a new copy of
// the template per day (or sort group) in table templates, "pagebreak" does
// so on a new page, "allday" sets all-day rows plain; these compare in any
// case, the layout words exactly.
#pragma once

#include <QString>

namespace ordolo::tpl {

enum class Layout { PerItem, Table, Report, Label, CalendarGrid, Sheet };

struct TemplateKind {
  bool word = true;  // false: an Excel template
  Layout layout = Layout::PerItem;
  bool breakSwitch = false;
  bool pageBreak = false;
  bool allDay = false;

  // From a file name or path; only the file name counts.
  static TemplateKind fromFileName(const QString& path);
  // The ".xl" rule alone.
  static bool IsExcelName(const QString& fileName);

  bool table() const { return layout == Layout::Table; }
  // One "<% ... %>" block per item.
  bool block() const { return layout == Layout::Report || layout == Layout::Label; }
};

}  // namespace ordolo::tpl
