#include "renderers/Dispatch.h"

#include "renderers/Calendar.h"
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
  if (renderer == Renderer::Mail) {
    RenderMail(ctx);
    return;
  }
  if (renderer == Renderer::CalendarGrid) {
    RenderCalendarGrid(ctx);
    return;
  }
  tpl::RunState& st = ctx.st;
  const model::Item& item = *ctx.item;
  const QString prefix = renderer == Renderer::DistList ? QStringLiteral("DL") : QString();
  const QString importance = tpl::FillImportance(st, item, prefix);
  tpl::Put(st, prefix.isEmpty() ? QStringLiteral("#Importance") : QStringLiteral("#<DLImportance>"), importance,
          !prefix.isEmpty());
  tpl::FillSensitivity(st, item, prefix);
  switch (renderer) {
    case Renderer::Appointment:
    case Renderer::Task:
    case Renderer::Note:
    case Renderer::Journal: tpl::FillLinkedContacts(st, item); break;
    default: break;
  }
  tpl::FillAttachments(st, item, prefix, item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(st, item);
  tpl::FillBody(st, item, prefix);
}

}  // namespace ordolo::renderers
