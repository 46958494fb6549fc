// Fills the template with one appointment, and lays out a calendar print
// across the items of a run: a day heading once per day (or sort group),
// week separators before Sundays and after them ("@Su", "@Mo"), paragraph
// and page breaks between days, and in "break" table templates a new copy
// of the template per day. Tasks share the day layout (Tasks.h) and the
// recurrence description.
#pragma once

#include <QDateTime>
#include <QString>

#include "renderers/Dispatch.h"

namespace ordolo::renderers {

void RenderAppointment(RenderContext& ctx);

// A response value as the text of "S30" (accepted, declined, none, ...);
// empty for values it does not know.
QString ResponseText(qint64 response);

// The colour label of the appointment as the text of "S37" (label 0 is the
// first part); empty outside 0..10.
QString ColorLabelText(const model::Item& item);

// "#RecurrenceType" ("Weekly") and "#RecurrencePattern" ("every 2. week on
// Monday, Wednesday until 12/31/2026") of a recurring appointment or task,
// both empty for a single one.
struct RecurrenceText {
  QString type;
  QString pattern;
};
RecurrenceText DescribeRecurrence(const model::Item& item, bool task);

// The stored recurrence kind of a regenerating task: 0 daily, 1 other, 99
// when the store does not say.
int TaskRecurrenceCheck(const model::Item& item);

// "#<prefix>Long" ("Monday, 2. March 2026  09:30"), "#<prefix>Short",
// "#<prefix>Day", "#<prefix>AmPm" and "#<<prefix>>" of a date and time.
void PutTimedForms(tpl::Target& out, const QString& prefix, const QDateTime& d);

// Part n (1-based) of a "/"-separated language text; empty beyond the last.
QString LangPart(const char* key, int n);

// Shared by the calendar list and the task list.
namespace daylayout {

// Whether an item starting at `start` goes on the current day (and group).
bool IsContinuation(const tpl::RunState& run, const QDateTime& start);
// A new day that is also a new group: a "break" table template starts a
// new copy of itself for the item.
void NewBlockIfNewGroup(RenderContext& ctx);
// "#CRLF" and "#PAGEBREAK" at a new day.
void NewDayBreaks(const tpl::RunState& run, tpl::Target& out);

}  // namespace daylayout

}  // namespace ordolo::renderers
