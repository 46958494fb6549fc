// The calendar grid of a Word template whose name contains "Calendar": the
// run's items are collected on the days they cover, and when the document
// is finished every month of the range becomes one page made from the
// template, a table with a row per week and a column per day.
//
// The template (docs/calendar-grid.md): the first table with a "#Day" or
// "#Entries" cell is the grid. The rows from the first to the last one that
// holds either are the week; the n-th "#Day" cell of the week (row by row,
// left to right) is the n-th day of the week as the locale starts it, and
// the same for "#Entries". "#Week" in the week gives the week number. On
// the page, "#MonthName", "#Month", "#Year", the run header, and
// "#DayName" (the n-th one is the n-th day of the week).
#pragma once

#include <QDate>

#include <memory>
#include <vector>

#include "layouts/Layout.h"
#include "template/WordTarget.h"

namespace ordolo::layouts {

class CalendarGrid {
 public:
  CalendarGrid();
  ~CalendarGrid();

  // Records one item on every day it covers; items without a usable date
  // are left out.
  void add(const model::Item& item);
  // The first day of every month to print: those of the run header's range
  // when it has one, else from the earliest to the latest month the items
  // cover. Empty without either.
  std::vector<QDate> months(const tpl::RunHeader& header) const;
  // Writes the month pages into the target's document, the template's body
  // as it was opened turned into one page per month. False when the template holds
  // no grid table or there is no month to print (the reason in the debug
  // log); the document is then left as it is.
  bool write(tpl::WordTarget& target, const tpl::RunHeader& header);

 private:
  struct Impl;
  std::unique_ptr<Impl> d;
};

// The layout of "Calendar" templates: one document for the run.
std::unique_ptr<Layout> MakeGridLayout(Host& host, const Options& options);

}  // namespace ordolo::layouts
