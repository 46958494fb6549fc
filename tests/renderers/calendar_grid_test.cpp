// The calendar grid of "Calendar" Word templates.
#include <gtest/gtest.h>

#include "renderers/Dispatch.h"

using namespace ordolo;

TEST(CalendarGrid, WordCalendarTemplatesTakeEveryKind) {
  for (int cls : {model::olAppointment, model::olTask, model::olMail, model::olContact})
    EXPECT_EQ(renderers::RendererFor(cls, true), renderers::Renderer::CalendarGrid) << cls;
  EXPECT_EQ(renderers::RendererFor(model::olAppointment, false), renderers::Renderer::Appointment);
}
