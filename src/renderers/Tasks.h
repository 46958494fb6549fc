// Fills the template with one task. A task list is laid out by start date
// like the calendar list: a day heading once per start day, breaks between
// days, a new template copy per day in "break" table templates.
#pragma once

#include "renderers/Dispatch.h"

namespace ordolo::renderers {

void RenderTask(RenderContext& ctx);

// Planned or actual work in minutes as text: from 240 minutes on, a working
// day of 8 hours counts as a day, so the minutes are taken three times.
QString WorkText(qint64 minutes);

}  // namespace ordolo::renderers
