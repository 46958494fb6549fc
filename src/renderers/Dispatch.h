// Which renderer fills an item, by the item's class, and the call into it.
#pragma once

#include <QString>

#include "model/Model.h"
#include "template/RunState.h"

namespace ordolo::renderers {

enum class Renderer { Appointment, Contact, DistList, Journal, Note, Task, Mail, CalendarGrid };

// The dispatch order of the print run: a Word template named "Calendar"
// takes every item to the calendar grid; then tasks, distribution lists,
// notes, appointments, contacts and journal entries by class, and
// everything else (mail, reports, posts, ...) to the mail renderer.
Renderer RendererFor(int itemClass, bool calendarWordTemplate);

struct RenderContext {
  tpl::RunState& st;
  const model::ItemPtr& item;
  model::Namespace* session = nullptr;
};

void Render(Renderer renderer, RenderContext& ctx);

}  // namespace ordolo::renderers
