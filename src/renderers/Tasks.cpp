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
void PutPart(tpl::Target& out, const QString& placeholder, const char* key, qint64 value,
             std::initializer_list<std::pair<int, int>> parts) {
  for (const auto& [v, part] : parts)
    if (v == value) {
      Put(out, placeholder, LangPart(key, part), placeholder.startsWith(QLatin1String("#<")));
      return;
    }
}

}  // namespace

QString WorkText(qint64 minutes) { return tpl::DurationText(int(minutes >= 240 ? minutes * 3 : minutes)); }

void RenderTask(RenderContext& ctx) {
  const tpl::RunState& run = ctx.run;
  tpl::Target& out = ctx.target;
  const model::Item& item = *ctx.item;
  const QDateTime start = item.date(QStringLiteral("StartDate"));

  if (daylayout::IsContinuation(run, start)) {
    Put(out, QStringLiteral("#StartDateDate"), QString(), false);
    Put(out, QStringLiteral("#StartDateLong"), QString(), false);
    Put(out, QStringLiteral("#CRLF"), QString());
    Put(out, QStringLiteral("#PAGEBREAK"), QString());
  } else {
    daylayout::NewBlockIfNewGroup(ctx);
    Put(out, QStringLiteral("#<Categories>"), tpl::LiteralText(out, item.text(QStringLiteral("Categories"))));
    ctx.report.dayStarted(start);
    const bool none = start.date().year() > 3000;  // no start date
    Put(out, QStringLiteral("#StartDateDate"), none ? QString() : util::Format(start, QStringLiteral("Short Date")),
        false);
    Put(out, QStringLiteral("#StartDateLong"),
        none ? QString() : util::Format(start, QStringLiteral("dddd, d. MMMM yyyy")), false);
    daylayout::NewDayBreaks(run, out);
  }
  Put(out, QStringLiteral("#StartDateTime"),
      start.time() == QTime(0, 0) ? QString() : util::Format(start, QStringLiteral("Short Time")), false);

  for (const char* name : {"StartDate", "DueDate", "DateCompleted"})
    tpl::FormatPropertyValue(out, item.get(QString::fromLatin1(name)), QString::fromLatin1(name), false);
  Put(out, QStringLiteral("#<PercentComplete>"),
      QString::number(item.number(QStringLiteral("PercentComplete"))) + QLatin1Char('%'));

  PutPart(out, QStringLiteral("#DelegationState"), "S42", item.number(QStringLiteral("DelegationState")),
          {{2, 1}, {3, 2}, {1, 3}, {0, 4}});
  PutPart(out, QStringLiteral("#Ownership"), "S43", item.number(QStringLiteral("Ownership")), {{1, 1}, {0, 2}, {2, 3}});
  PutPart(out, QStringLiteral("#ResponseState"), "S44", item.number(QStringLiteral("ResponseState")),
          {{2, 1}, {1, 2}, {3, 3}, {0, 4}});

  QString reminder;
  if (item.flag(QStringLiteral("ReminderSet"))) {
    const QDateTime r = item.date(QStringLiteral("ReminderTime"));
    if (r.time().hour() != 0 || r.time().minute() != 0)
      reminder = util::Format(r, QStringLiteral("Short Date")) + QLatin1Char(' ') +
                 util::Format(r, QStringLiteral("Short Time"));
    else
      reminder = util::Format(r, QStringLiteral("ddd")) + QLatin1Char(' ') +
                 util::Format(r, QStringLiteral("Short Date"));
  }
  Put(out, QStringLiteral("#<ReminderTime>"), reminder);

  PutPart(out, QStringLiteral("#<Status>"), "S41", item.number(QStringLiteral("Status")),
          {{2, 1}, {4, 2}, {1, 3}, {0, 4}, {3, 5}});
  Put(out, QStringLiteral("#<TeamTask>"),
      item.flag(QStringLiteral("TeamTask")) ? lang::GetLangText(QStringLiteral("S34")) : QString());

  Put(out, QStringLiteral("#TotalText"), WorkText(item.number(QStringLiteral("TotalWork"))), false);
  Put(out, QStringLiteral("#ActualText"), WorkText(item.number(QStringLiteral("ActualWork"))), false);

  const RecurrenceText recurrence = DescribeRecurrence(item, true);
  Put(out, QStringLiteral("#RecurrenceType"), recurrence.type, false);
  Put(out, QStringLiteral("#RecurrencePattern"), recurrence.pattern, false);

  Put(out, QStringLiteral("#Importance"), tpl::FillImportance(out, item, QString()), false);
  tpl::FillSensitivity(out, item, QString());
  tpl::FillLinkedContacts(out, item);
  tpl::FillRecipients(out, item);
  tpl::FillAttachments(out, ctx.attachments, item, QString(), item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(out, item);
  tpl::FillBody(out, item, QString());
}

}  // namespace ordolo::renderers
