#include "renderers/Appointment.h"

#include <QLocale>

#include <cmath>

#include "lang/LanguageTable.h"
#include "model/Model.h"
#include "template/AttachmentsAndBody.h"
#include "template/Eigenschaften.h"
#include "template/ReplacePlaceholder.h"
#include "util/Funktionen.h"
#include "util/VbFormat.h"

namespace ordolo::renderers {

using tpl::Put;

namespace {

QString F(const QDateTime& d, const char* pattern) { return util::Format(d, QString::fromLatin1(pattern)); }
QString Day(const QDateTime& d) { return F(d, "yyyyMMdd"); }

// Replacement without the presence test (the categories of a new day).
void PutUntested(tpl::Target& out, const QString& cAlt, const QString& cNeu) {
  bool test = false, retry = true;
  tpl::ReplacePlaceholder(out, cAlt, cNeu, cAlt.startsWith(QLatin1String("#<")), test, retry);
}

// Placeholders that start with "#<" are whole-word searches, the others literal.
void Set(tpl::Target& out, const QString& cAlt, const QString& cNeu, bool retry = true) {
  Put(out, cAlt, cNeu, cAlt.startsWith(QLatin1String("#<")), retry);
}

// The day of the week with Monday as 1 and Sunday as 7.
int Weekday(const QDateTime& d) { return d.date().dayOfWeek(); }

// A date from year, month and day as the client's date arithmetic builds
// it: 29 February of a year without one is 1 March.
QDate DateSerial(int year, int month, int day) { return QDate(year, month, 1).addDays(day - 1); }

QString Birthdays(model::Namespace* session, const QDate& day) {
  if (!session) return {};
  const model::FolderPtr contacts = session->GetDefaultFolder(model::olFolderContacts);
  if (!contacts) return {};
  const model::ItemsPtr items = contacts->GetItems();
  if (!items) return {};
  QStringList names;
  for (const model::ItemPtr& contact : *items) {
    if (!contact) continue;
    const QVariant b = contact->get(QStringLiteral("Birthday"));
    if (b.userType() != QMetaType::QDateTime && b.userType() != QMetaType::QDate) continue;
    const QDate birthday = b.userType() == QMetaType::QDate ? b.toDate() : b.toDateTime().date();
    if (!birthday.isValid() || birthday.year() > 3000) continue;
    if (DateSerial(day.year(), birthday.month(), birthday.day()) == day)
      names << contact->text(QStringLiteral("FullName"));
  }
  return names.join(QLatin1String(", "));
}

// The timed forms of a date: long with time, short, weekday, AM/PM, default.
struct Forms {
  QString Long, Short, Day, AmPm, Default;
};

Forms TimedForms(const QDateTime& d) {
  const QString shortDate = F(d, "Short Date"), shortTime = F(d, "Short Time"), day = F(d, "ddd");
  return {F(d, "dddd, d. MMMM yyyy  hh:nn"), shortDate + QLatin1Char(' ') + shortTime, day,
          day + QLatin1Char(' ') + shortDate + QLatin1Char(' ') + util::AmPmTime(d),
          day + QLatin1Char(' ') + shortDate + QLatin1Char(' ') + shortTime};
}

Forms DateForms(const QDateTime& d) {
  const QString shortDate = F(d, "Short Date"), day = F(d, "ddd");
  return {F(d, "dddd, d. MMMM yyyy"), shortDate, day, day + QLatin1Char(' ') + shortDate,
          day + QLatin1Char(' ') + shortDate};
}

void PutForms(tpl::Target& out, const QString& prefix, const Forms& f) {
  Set(out, QLatin1Char('#') + prefix + QLatin1String("Long"), f.Long);
  Set(out, QLatin1Char('#') + prefix + QLatin1String("Short"), f.Short);
  Set(out, QLatin1Char('#') + prefix + QLatin1String("Day"), f.Day);
  Set(out, QLatin1Char('#') + prefix + QLatin1String("AmPm"), f.AmPm);
  Set(out, QLatin1String("#<") + prefix + QLatin1Char('>'), f.Default);
}

void PutEndTimes(tpl::Target& out, const QString& Long, const QString& Short, const QString& AmPm,
                 const QString& Default) {
  Set(out, QStringLiteral("#EndTimeLong"), Long);
  Set(out, QStringLiteral("#EndTimeShort"), Short);
  Set(out, QStringLiteral("#EndTimeAmPm"), AmPm);
  Set(out, QStringLiteral("#<EndTime>"), Default);
}

// One attendee list: "Name <address> response" per line.
struct AttendeeLists {
  QString required, optional, resources;
};

AttendeeLists AttendeeDetails(const tpl::Target& out, const model::Item& item) {
  AttendeeLists lists;
  const model::ItemPtr series = item.series();
  const model::RecipientList recipients = series ? series->Recipients() : item.Recipients();
  for (const model::Recipient& r : recipients) {
    const QString line = tpl::LiteralText(out, r.Name + QStringLiteral(" <") + r.Address + QStringLiteral("> ") +
                                                   ResponseText(r.MeetingResponseStatus)) +
                         QLatin1Char('\r');
    switch (r.Type) {
      case 0:
      case 1: lists.required += line; break;
      case 2: lists.optional += line; break;
      case 3: lists.resources += line; break;
      default: break;
    }
  }
  for (QString* list : {&lists.required, &lists.optional, &lists.resources}) list->chop(1);
  return lists;
}

QString AttendeesText(const model::Item& item) {
  QString all = item.text(QStringLiteral("Organizer")) + QStringLiteral("; ") +
                item.text(QStringLiteral("RequiredAttendees")) + QStringLiteral("; ") +
                item.text(QStringLiteral("OptionalAttendees")) + QStringLiteral("; ") +
                item.text(QStringLiteral("Resources"));
  for (int i = 0; i < 2; ++i) all.replace(QLatin1String("; ; "), QLatin1String("; "));
  if (all.endsWith(QLatin1String("; "))) all.chop(2);
  if (all.startsWith(QLatin1String("; "))) all.remove(0, 2);
  return all;
}

// Day names of a weekday mask (1 Sunday ... 64 Saturday), in the order of
// the user's week.
QString DayNames(int mask) {
  const QString names = lang::GetLangText(QStringLiteral("S2"));
  const int first = int(util::userLocale().firstDayOfWeek());  // 1 Monday .. 7 Sunday
  QStringList out;
  for (int i = 0; i < 7; ++i) {
    const int isoDay = (first - 1 + i) % 7 + 1;  // 1 Monday .. 7 Sunday
    const int sundayBased = isoDay % 7;          // 0 Sunday .. 6 Saturday
    if (mask & (1 << sundayBased)) out << util::GetField(names, QStringLiteral("/"), sundayBased + 1);
  }
  return out.join(QLatin1String(", "));
}

QString Ordinal(int instance) {
  static const char* kKeys[] = {"S14", "S15", "S16", "S17", "S18"};
  if (instance < 1 || instance > 5) return {};
  return lang::GetLangText(QString::fromLatin1(kKeys[instance - 1]));
}

}  // namespace

QString LangPart(const char* key, int n) {
  return util::GetField(lang::GetLangText(QString::fromLatin1(key)), QStringLiteral("/"), n);
}

void PutTimedForms(tpl::Target& out, const QString& prefix, const QDateTime& d) {
  PutForms(out, prefix, TimedForms(d));
}

QString ResponseText(qint64 response) {
  switch (response) {
    case 3: return LangPart("S30", 1);
    case 4: return LangPart("S30", 2);
    case 0: return LangPart("S30", 3);
    case 5: return LangPart("S30", 4);
    case 1: return LangPart("S30", 5);
    case 2: return LangPart("S30", 6);
    default: return {};
  }
}

QString ColorLabelText(const model::Item& item) {
  static const QString kSet = QStringLiteral("0220060000000000C000000000000046");
  static const QString kId = QStringLiteral("0x8214");
  QVariant v = item.namedProperty(kSet, kId);
  if (!v.isValid())
    if (const model::ItemPtr series = item.series()) v = series->namedProperty(kSet, kId);
  const int label = v.isValid() ? v.toInt() : 0;
  if (label < 0 || label > 10) return {};
  return LangPart("S37", label + 1);
}

int TaskRecurrenceCheck(const model::Item& item) {
  const QVariant v = item.namedProperty(QStringLiteral("0320060000000000C000000000000046"), QStringLiteral("0x8116"));
  if (!v.isValid()) return 99;
  return v.toString().mid(9) == QLatin1String("A") ? 0 : 1;
}

RecurrenceText DescribeRecurrence(const model::Item& item, bool task) {
  RecurrenceText out;
  const auto pattern = item.GetRecurrencePattern();
  if (!pattern) return out;
  const model::RecurrencePattern& p = *pattern;
  int type = p.RecurrenceType;
  const bool regenerate = task && p.Regenerate;
  if (regenerate && type == model::olRecursDaily) type = TaskRecurrenceCheck(item);

  const char *every = nullptr, *unit = nullptr;
  switch (type) {
    case model::olRecursDaily:
      every = "S5";
      unit = "S6";
      break;
    case model::olRecursWeekly:
      every = "S7";
      unit = "S8";
      break;
    case model::olRecursMonthly:
    case model::olRecursMonthNth:
      every = "S9";
      unit = "S10";
      break;
    case model::olRecursYearly:
    case model::olRecursYearNth:
      every = "S11";
      unit = "S12";
      break;
    default: return out;
  }
  const QString on = QLatin1Char(' ') + lang::GetLangText(QStringLiteral("S1")) + QLatin1Char(' ');
  const QString month = util::GetField(lang::GetLangText(QStringLiteral("S13")), QStringLiteral("/"), p.MonthOfYear);

  QString text = lang::GetLangText(QString::fromLatin1(every));
  if (p.Interval > 1) text += QLatin1Char(' ') + QString::number(p.Interval) + QLatin1Char('.');
  text += QLatin1Char(' ') + LangPart(unit, 1);
  if (regenerate) text += QLatin1Char(' ') + lang::GetLangText(QStringLiteral("S45"));
  switch (type) {
    case model::olRecursWeekly:
      if (p.DayOfWeekMask) text += on + DayNames(p.DayOfWeekMask);
      break;
    case model::olRecursMonthly: text += on + QString::number(p.DayOfMonth) + QLatin1Char('.'); break;
    case model::olRecursMonthNth:
      text += on + Ordinal(p.Instance) + QLatin1Char(' ') + DayNames(p.DayOfWeekMask);
      break;
    case model::olRecursYearly: text += on + QString::number(p.DayOfMonth) + QStringLiteral(". ") + month; break;
    case model::olRecursYearNth:
      text += on + Ordinal(p.Instance) + QLatin1Char(' ') + DayNames(p.DayOfWeekMask) + QLatin1Char(' ') +
              lang::GetLangText(QStringLiteral("S19")) + QLatin1Char(' ') + month;
      break;
    default: break;
  }
  if (!p.NoEndDate && p.PatternEndDate.isValid() && !model::IsNoDate(p.PatternEndDate))
    text += QLatin1Char(' ') + lang::GetLangText(QStringLiteral("S4")) + QLatin1Char(' ') +
            F(p.PatternEndDate, "Short Date");
  out.type = LangPart(unit, 2);
  out.pattern = text;
  return out;
}

namespace daylayout {

bool IsContinuation(const tpl::RunState& run, const QDateTime& start) {
  return Day(start) == Day(run.LastStartDate) && (run.GroupKey == run.PrevGroupKey || !run.Grouped);
}

void NewBlockIfNewGroup(RenderContext& ctx) {
  if (!(ctx.run.Grouped && ctx.run.GroupKey == ctx.run.PrevGroupKey)) ctx.report.groupStarted();
}

void NewDayBreaks(const tpl::RunState& run, tpl::Target& out) {
  const QString crlf = QStringLiteral("#CRLF"), pagebreak = QStringLiteral("#PAGEBREAK");
  if (run.Grouped && run.GroupKey == run.PrevGroupKey) {
    Put(out, crlf, QString());
    Put(out, pagebreak, out.pageBreak());
  } else if (run.ItemCounter < 3) {
    Put(out, crlf, QString());
    Put(out, pagebreak, QString());
  } else {
    out.breakBeforeItem();
  }
}

}  // namespace daylayout

void RenderAppointment(RenderContext& ctx) {
  const tpl::RunState& run = ctx.run;
  tpl::Target& out = ctx.target;
  const model::Item& item = *ctx.item;
  const QDateTime start = item.date(QStringLiteral("Start"));
  const QDateTime end = item.date(QStringLiteral("End"));
  const QString categories = tpl::LiteralText(out, item.text(QStringLiteral("Categories")));

  if (daylayout::IsContinuation(run, start)) {
    // The day's heading was written by its first appointment.
    for (const char* p : {"#StartDateLong", "#StartDateShort", "#StartDateDay", "#StartDateAmPm", "#<StartDate>"})
      Set(out, QString::fromLatin1(p), QString());
    Put(out, QStringLiteral("#CRLF"), QString());
    Put(out, QStringLiteral("#PAGEBREAK"), QString());
    Set(out, QStringLiteral("@Su"), QString(), false);
    Set(out, QStringLiteral("@Mo"), QString(), false);
    if (out.text().contains(QLatin1String("#Birthdays"))) Set(out, QStringLiteral("#Birthdays"), QString());
  } else {
    daylayout::NewBlockIfNewGroup(ctx);
    PutUntested(out, QStringLiteral("#<Categories>"), categories);
    // Week separators: before a Sunday, and before the first day after one.
    const QString paragraph = QStringLiteral("\r");
    if (Weekday(start) == 7) {
      Set(out, QStringLiteral("@Su"), paragraph, false);
      Set(out, QStringLiteral("@Mo"), QString(), false);
    } else if (Weekday(run.LastStartDate) == 7) {
      Set(out, QStringLiteral("@Su"), QString(), false);
      Set(out, QStringLiteral("@Mo"), paragraph, false);
    } else {
      Set(out, QStringLiteral("@Su"), QString(), false);
      Set(out, QStringLiteral("@Mo"), QString(), false);
    }
    ctx.report.dayStarted(start);
    const QString heading = F(start, "ddd") + QLatin1Char(' ') + F(start, "Short Date");
    Set(out, QStringLiteral("#StartDateLong"), F(start, "dddd, d. MMMM yyyy"));
    Set(out, QStringLiteral("#StartDateShort"), F(start, "Short Date"));
    Set(out, QStringLiteral("#StartDateDay"), F(start, "ddd"));
    Set(out, QStringLiteral("#StartDateAmPm"), heading);
    Set(out, QStringLiteral("#<StartDate>"), heading);
    daylayout::NewDayBreaks(run, out);
    if (out.text().contains(QLatin1String("#Birthdays")))
      Set(out, QStringLiteral("#Birthdays"), tpl::LiteralText(out, Birthdays(ctx.session, start.date())));
  }

  // Calendar and place.
  const model::FolderPtr folder = item.folder();
  Set(out, QStringLiteral("#<Calendar>"), tpl::LiteralText(out, folder ? folder->Name() : QString()));
  Set(out, QStringLiteral("#<Location>"), tpl::LiteralText(out, item.text(QStringLiteral("Location"))));
  const qint64 duration = item.number(QStringLiteral("Duration"));
  Set(out, QStringLiteral("#DurationMin"), QString::number(duration));

  if (!item.flag(QStringLiteral("AllDayEvent"))) {
    Set(out, QStringLiteral("#StartTimeLong"), F(start, "hh:nn"));
    Set(out, QStringLiteral("#StartTimeShort"), F(start, "Short Time"));
    Set(out, QStringLiteral("#StartTimeAmPm"), util::AmPmTime(start));
    Set(out, QStringLiteral("#<StartTime>"), F(start, "Short Time"));
    PutTimedForms(out, QStringLiteral("Start"), start);
    const Forms endForms = TimedForms(end);
    if (Day(end) == Day(start))
      PutEndTimes(out, F(end, "hh:nn"), F(end, "Short Time"), util::AmPmTime(end), F(end, "Short Time"));
    else PutEndTimes(out, endForms.Long, endForms.Short, endForms.AmPm, endForms.Default);
    PutForms(out, QStringLiteral("End"), endForms);
    const QString text = tpl::DurationText(int(duration));
    Set(out, QStringLiteral("#DurationText"), text);
    Set(out, QStringLiteral("#Duration"), text);
  } else {
    if (run.Kind.allDay) out.plainItemRows();
    for (const char* p : {"#StartTimeLong", "#StartTimeShort", "#StartTimeAmPm", "#<StartTime>"})
      Set(out, QString::fromLatin1(p), QString());
    PutForms(out, QStringLiteral("Start"), DateForms(start));
    const QDateTime lastDay = end.addDays(-1);
    const Forms last = DateForms(lastDay);
    if (Day(lastDay) == Day(start)) PutEndTimes(out, {}, {}, {}, {});
    else PutEndTimes(out, last.Long, last.Short, last.AmPm, last.Default);
    PutForms(out, QStringLiteral("End"), last);
    const qint64 days = std::llround(double(duration) / 1440.0);
    const QString text = QString::number(days) + QLatin1Char(' ') + LangPart("S38", days == 1 ? 5 : 6);
    Set(out, QStringLiteral("#DurationText"), text);
    Set(out, QStringLiteral("#Duration"), text);
  }

  // Status fields.
  tpl::FormatPropertyValue(out, item.get(QStringLiteral("ReplyTime")), QStringLiteral("ReplyTime"), false);
  const RecurrenceText recurrence = DescribeRecurrence(item, false);
  Set(out, QStringLiteral("#RecurrenceType"), recurrence.type);
  Set(out, QStringLiteral("#RecurrencePattern"), recurrence.pattern);

  const qint64 reminder = item.number(QStringLiteral("ReminderMinutesBeforeStart"));
  const QString reminderText = item.flag(QStringLiteral("ReminderSet")) && reminder > 0 ? QString::number(reminder)
                                                                                        : QString();
  Set(out, QStringLiteral("#ReminderMinutesBeforeStart"), reminderText);
  Set(out, QStringLiteral("#<Reminder>"), reminderText);

  int busyPart = 0;
  switch (item.number(QStringLiteral("BusyStatus"))) {
    case 2: busyPart = 1; break;
    case 0: busyPart = 2; break;
    case 3: busyPart = 3; break;
    case 1: busyPart = 4; break;
    default: break;  // not a state the text knows: the placeholder stays
  }
  if (busyPart) Set(out, QStringLiteral("#BusyStatus"), LangPart("S33", busyPart));

  int meetingPart = 0;
  switch (item.number(QStringLiteral("MeetingStatus"))) {
    case 1: meetingPart = 1; break;
    case 5: meetingPart = 2; break;
    case 3: meetingPart = 3; break;
    default: break;
  }
  const QString meeting = meetingPart ? LangPart("S20", meetingPart) : QString();
  Set(out, QStringLiteral("#MeetingStatus"),
      meetingPart ? meeting + QStringLiteral(" (") + tpl::LiteralText(out, item.text(QStringLiteral("Organizer"))) +
                        QLatin1Char(')')
                  : QString());
  Set(out, QStringLiteral("#<Meeting>"), meeting);

  // The response fields read the "response requested" flag, not the
  // response: true gives "Yes" and no status, false the regenerate text and
  // "None".
  const bool requested = item.flag(QStringLiteral("ResponseRequested"));
  Set(out, QStringLiteral("#ResponseRequested"), lang::GetLangText(QString::fromLatin1(requested ? "S34" : "S45")));
  Set(out, QStringLiteral("#ResponseStatus"), ResponseText(requested ? -1 : 0));

  const AttendeeLists lists = AttendeeDetails(out, item);
  Set(out, QStringLiteral("#RequiredDetail"), lists.required);
  Set(out, QStringLiteral("#OptionalDetail"), lists.optional);
  Set(out, QStringLiteral("#ResourceDetail"), lists.resources);
  Set(out, QStringLiteral("#<Required>"), tpl::LiteralText(out, item.text(QStringLiteral("RequiredAttendees"))));
  Set(out, QStringLiteral("#<Optional>"), tpl::LiteralText(out, item.text(QStringLiteral("OptionalAttendees"))));
  Set(out, QStringLiteral("#Attendees"), tpl::LiteralText(out, AttendeesText(item)));

  Set(out, QStringLiteral("#Importance"), tpl::FillImportance(out, item, QString()));
  const QString label = ColorLabelText(item);
  Set(out, QStringLiteral("#ColorLabel"), label);
  Set(out, QStringLiteral("#LabelColor"), label);

  // What every kind shares.
  tpl::FillSensitivity(out, item, QString());
  tpl::FillLinkedContacts(out, item);
  Set(out, QStringLiteral("#<Categories>"), categories);
  tpl::FillAttachments(out, ctx.attachments, item, QString(), item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(out, item);
  tpl::FillBody(out, item, QString());
}

}  // namespace ordolo::renderers
