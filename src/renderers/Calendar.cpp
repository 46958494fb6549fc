#include "renderers/Calendar.h"

#include <vector>

namespace ordolo::renderers {

struct CalendarGrid::Impl {
  std::vector<model::ItemPtr> items;
};

CalendarGrid::CalendarGrid() : d(std::make_unique<Impl>()) {}
CalendarGrid::~CalendarGrid() = default;

void CalendarGrid::add(const model::Item& item) { d->items.push_back(std::const_pointer_cast<model::Item>(item.shared_from_this())); }

bool CalendarGrid::write(tpl::RunState&) { return false; }

void RenderCalendarGrid(RenderContext& ctx) {
  if (ctx.st.Grid) ctx.st.Grid->add(*ctx.item);
}

}  // namespace ordolo::renderers
