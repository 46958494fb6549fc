#include "renderers/Dispatch.h"

#include "renderers/Appointment.h"
#include "renderers/Contacts.h"
#include "renderers/Journal.h"
#include "renderers/Note.h"
#include "renderers/Tasks.h"
#include "renderers/Mail.h"

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
    case Renderer::CalendarGrid: return;
    case Renderer::Appointment: RenderAppointment(ctx); return;
    case Renderer::Task: RenderTask(ctx); return;
    case Renderer::Note: RenderNote(ctx); return;
    case Renderer::Journal: RenderJournal(ctx); return;
    case Renderer::Contact: RenderContact(ctx); return;
    case Renderer::DistList: RenderDistList(ctx); return;
  }
}

}  // namespace ordolo::renderers
