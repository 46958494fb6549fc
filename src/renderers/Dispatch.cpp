#include "renderers/Dispatch.h"

#include "renderers/Appointment.h"
#include "renderers/Calendar.h"
#include "renderers/Journal.h"
#include "renderers/Note.h"
#include "renderers/Tasks.h"
#include "renderers/Mail.h"
#include "template/AttachmentsAndBody.h"
#include "template/Eigenschaften.h"
#include "template/ReplacePlaceholder.h"

namespace ordolo::renderers {

Renderer RendererFor(int itemClass, bool calendarWordTemplate) {
  const int c = calendarWordTemplate ? 999 : itemClass;
  if (c > model::olNote) {
    if (c == model::olTask) return Renderer::Task;
    if (c == model::olDistributionList) return Renderer::DistList;
    if (c == 999) return Renderer::CalendarGrid;
    return Renderer::Mail;
  }
  if (c == model::olNote) return Renderer::Note;
  if (c == model::olAppointment) return Renderer::Appointment;
  if (c == model::olContact) return Renderer::Contact;
  if (c == model::olJournal) return Renderer::Journal;
  return Renderer::Mail;
}

void Render(Renderer renderer, RenderContext& ctx) {
  switch (renderer) {
    case Renderer::Mail: RenderMail(ctx); return;
    case Renderer::CalendarGrid: RenderCalendarGrid(ctx); return;
    case Renderer::Appointment: RenderAppointment(ctx); return;
    case Renderer::Task: RenderTask(ctx); return;
    case Renderer::Note: RenderNote(ctx); return;
    case Renderer::Journal: RenderJournal(ctx); return;
    default: break;
  }
  tpl::RunState& st = ctx.st;
  const model::Item& item = *ctx.item;
  const QString prefix = renderer == Renderer::DistList ? QStringLiteral("DL") : QString();
  const QString importance = tpl::FillImportance(st, item, prefix);
  tpl::Put(st, prefix.isEmpty() ? QStringLiteral("#Importance") : QStringLiteral("#<DLImportance>"), importance,
          !prefix.isEmpty());
  tpl::FillSensitivity(st, item, prefix);
  tpl::FillAttachments(st, item, prefix, item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(st, item);
  tpl::FillBody(st, item, prefix);
}

}  // namespace ordolo::renderers
