// The calendar grid of a Word template whose name contains "Calendar": the
// run's items are collected on the days they cover, and when the document
// is finished every month of the range becomes one page made from the
// template, a table with a row per week and a column per day.
#pragma once

#include <memory>

#include "renderers/Dispatch.h"

namespace ordolo::renderers {

class CalendarGrid {
 public:
  CalendarGrid();
  ~CalendarGrid();

  // Records one item on every day it covers.
  void add(const model::Item& item);
  // Writes the month pages into st.word, the template's body as it was
  // opened turned into one page per month. False when the template holds
  // no grid table (the reason in the debug log).
  bool write(tpl::RunState& st);

 private:
  struct Impl;
  std::unique_ptr<Impl> d;
};

// The renderer of "Calendar" templates: records the item in st.Grid.
void RenderCalendarGrid(RenderContext& ctx);

}  // namespace ordolo::renderers
