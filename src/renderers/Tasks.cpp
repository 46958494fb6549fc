#include "renderers/Tasks.h"

#include "lang/LanguageTable.h"
#include "model/Model.h"
#include "renderers/Appointment.h"
#include "template/AttachmentsAndBody.h"
#include "template/Eigenschaften.h"
#include "template/ReplacePlaceholder.h"
#include "util/Funktionen.h"
#include "util/VbFormat.h"

namespace ordolo::renderers {

using tpl::Put;

namespace {

// A value's part of a language text; values the table does not list leave
// the placeholder as it is.
void PutPart(tpl::RunState& st, const QString& placeholder, const char* key, qint64 value,
             std::initializer_list<std::pair<int, int>> parts) {
  for (const auto& [v, part] : parts)
    if (v == value) {
      Put(st, placeholder, LangPart(key, part), placeholder.startsWith(QLatin1String("#<")));
      return;
    }
}

}  // namespace

QString WorkText(qint64 minutes) { return tpl::DurationText(int(minutes >= 240 ? minutes * 3 : minutes)); }

void RenderTask(RenderContext& ctx) {
  tpl::RunState& st = ctx.st;
  const model::Item& item = *ctx.item;
  const QDateTime start = item.date(QStringLiteral("StartDate"));

  if (daylayout::IsContinuation(st, start)) {
    Put(st, QStringLiteral("#StartDateDate"), QString(), false);
    Put(st, QStringLiteral("#StartDateLong"), QString(), false);
    Put(st, QStringLiteral("#CRLF"), QString());
    Put(st, QStringLiteral("#PAGEBREAK"), QString());
  } else {
    daylayout::NewBlockIfBreak(st);
    Put(st, QStringLiteral("#<Categories>"), tpl::LiteralText(st, item.text(QStringLiteral("Categories"))));
    st.LastStartDate = start;
    const bool none = start.date().year() > 3000;  // no start date
    Put(st, QStringLiteral("#StartDateDate"), none ? QString() : util::Format(start, QStringLiteral("Short Date")), false);
    Put(st, QStringLiteral("#StartDateLong"), none ? QString() : util::Format(start, QStringLiteral("dddd, d. MMMM yyyy")),
        false);
    daylayout::NewDayBreaks(st);
  }
  Put(st, QStringLiteral("#StartDateTime"),
      start.time() == QTime(0, 0) ? QString() : util::Format(start, QStringLiteral("Short Time")), false);

  for (const char* name : {"StartDate", "DueDate", "DateCompleted"})
    tpl::FormatPropertyValue(st, item.get(QString::fromLatin1(name)), QString::fromLatin1(name), false);
  Put(st, QStringLiteral("#<PercentComplete>"), QString::number(item.number(QStringLiteral("PercentComplete"))) + QLatin1Char('%'));

  PutPart(st, QStringLiteral("#DelegationState"), "S42", item.number(QStringLiteral("DelegationState")),
          {{2, 1}, {3, 2}, {1, 3}, {0, 4}});
  PutPart(st, QStringLiteral("#Ownership"), "S43", item.number(QStringLiteral("Ownership")), {{1, 1}, {0, 2}, {2, 3}});
  PutPart(st, QStringLiteral("#ResponseState"), "S44", item.number(QStringLiteral("ResponseState")),
          {{2, 1}, {1, 2}, {3, 3}, {0, 4}});

  QString reminder;
  if (item.flag(QStringLiteral("ReminderSet"))) {
    const QDateTime r = item.date(QStringLiteral("ReminderTime"));
    if (r.time().hour() != 0 || r.time().minute() != 0)
      reminder = util::Format(r, QStringLiteral("Short Date")) + QLatin1Char(' ') + util::Format(r, QStringLiteral("Short Time"));
    else
      reminder = util::Format(r, QStringLiteral("ddd")) + QLatin1Char(' ') + util::Format(r, QStringLiteral("Short Date"));
  }
  Put(st, QStringLiteral("#<ReminderTime>"), reminder);

  PutPart(st, QStringLiteral("#<Status>"), "S41", item.number(QStringLiteral("Status")),
          {{2, 1}, {4, 2}, {1, 3}, {0, 4}, {3, 5}});
  Put(st, QStringLiteral("#<TeamTask>"), item.flag(QStringLiteral("TeamTask")) ? lang::GetLangText(QStringLiteral("S34")) : QString());

  Put(st, QStringLiteral("#TotalText"), WorkText(item.number(QStringLiteral("TotalWork"))), false);
  Put(st, QStringLiteral("#ActualText"), WorkText(item.number(QStringLiteral("ActualWork"))), false);

  const RecurrenceText recurrence = DescribeRecurrence(item, true);
  Put(st, QStringLiteral("#RecurrenceType"), recurrence.type, false);
  Put(st, QStringLiteral("#RecurrencePattern"), recurrence.pattern, false);

  Put(st, QStringLiteral("#Importance"), tpl::FillImportance(st, item, QString()), false);
  tpl::FillSensitivity(st, item, QString());
  tpl::FillLinkedContacts(st, item);
  tpl::FillRecipients(st, item);
  tpl::FillAttachments(st, item, QString(), item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(st, item);
  tpl::FillBody(st, item, QString());
}

}  // namespace ordolo::renderers
