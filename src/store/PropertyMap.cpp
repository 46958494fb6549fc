#include "store/PropertyMap.h"

#include "store/FileStore.h"
#include "store/StoreItems.h"

#include <KCalendarCore/Alarm>
#include <KCalendarCore/Event>
#include <KCalendarCore/Todo>
#include <KContacts/Address>
#include <KContacts/PhoneNumber>
#include <KMime/Message>

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>

namespace ordolo::store {
namespace {

using model::NoDate;
using KCalendarCore::Incidence;

// ------------------------------------------------------------------ helpers

// Bodies and addresses use CR LF between lines, as the client's do.
QString crlf(QString text) {
  text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
  text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
  text.replace(QLatin1Char('\n'), QLatin1String("\r\n"));
  return text;
}

QVariant dateOrNone(const QDateTime& d) { return d.isValid() ? QVariant(d) : QVariant(NoDate()); }

// iCalendar PRIORITY 1-4 is high, 5 or none normal, 6-9 low.
int importanceOfPriority(int p) {
  if (p >= 1 && p <= 4) return 2;
  if (p >= 6) return 0;
  return 1;
}

int sensitivityOfSecrecy(Incidence::Secrecy s) {
  if (s == Incidence::SecrecyPrivate) return 2;
  if (s == Incidence::SecrecyConfidential) return 3;
  return 0;
}

QString storeUser(const StoreItem& item) {
  auto f = item.storeFolder();
  auto s = f ? f->store() : nullptr;
  return s ? s->CurrentUser() : QString();
}

// --------------------------------------------------------------- calendar

QDateTime createdOf(const CalendarItem& x) {
  const auto& inc = x.incidence();
  if (inc->created().isValid()) return inc->created().toLocalTime();
  if (inc->lastModified().isValid()) return inc->lastModified().toLocalTime();
  return NoDate();
}

bool organizedByOwner(const CalendarItem& x) {
  const KCalendarCore::Person organizer = x.incidence()->organizer();
  const QString own = x.ownerAddress();
  if (organizer.isEmpty()) return true;
  if (own.isEmpty()) return organizer.name() == storeUser(x) || storeUser(x).isEmpty();
  return organizer.email().compare(own, Qt::CaseInsensitive) == 0;
}

bool isMeeting(const CalendarItem& x) { return !x.incidence()->attendees().isEmpty(); }

// The user's own attendee entry of a meeting somebody else organised.
std::optional<KCalendarCore::Attendee> ownAttendee(const CalendarItem& x) {
  const QString own = x.ownerAddress();
  for (const auto& a : x.incidence()->attendees()) {
    if (!own.isEmpty() ? a.email().compare(own, Qt::CaseInsensitive) == 0 : a.name() == storeUser(x)) return a;
  }
  return std::nullopt;
}

QString attendeeNames(const CalendarItem& x, int type) {
  QStringList names;
  for (const model::Recipient& r : x.Recipients())
    if (r.Type == type) names << r.Name;
  return names.join(QLatin1String("; "));
}

int busyStatusOf(const CalendarItem& x) {
  const QString cdo = x.incidence()->nonKDECustomProperty("X-MICROSOFT-CDO-BUSYSTATUS").trimmed().toUpper();
  if (cdo == QLatin1String("FREE")) return 0;
  if (cdo == QLatin1String("TENTATIVE")) return 1;
  if (cdo == QLatin1String("BUSY")) return 2;
  if (cdo == QLatin1String("OOF")) return 3;
  if (auto e = x.incidence().dynamicCast<KCalendarCore::Event>())
    if (e->transparency() == KCalendarCore::Event::Transparent) return 0;
  if (x.incidence()->status() == Incidence::StatusTentative) return 1;
  return 2;
}

int meetingStatusOf(const CalendarItem& x) {
  if (!isMeeting(x)) return 0;
  if (x.incidence()->status() == Incidence::StatusCanceled) return 5;
  return organizedByOwner(x) ? 1 : 3;
}

int responseStatusOf(const CalendarItem& x) {
  if (!isMeeting(x)) return model::olResponseNone;
  if (organizedByOwner(x)) return model::olResponseOrganized;
  const auto own = ownAttendee(x);
  return own ? ResponseOf(own->status()) : model::olResponseNone;
}

KCalendarCore::Alarm::Ptr firstAlarm(const CalendarItem& x) {
  for (const auto& a : x.incidence()->alarms())
    if (a->enabled()) return a;
  return nullptr;
}

// When the reminder goes off, in local time; invalid when there is none.
QDateTime alarmTime(const CalendarItem& x) {
  const auto alarm = firstAlarm(x);
  if (!alarm) return {};
  if (alarm->hasTime()) return alarm->time().toLocalTime();
  QDateTime base = x.start();
  if (alarm->hasEndOffset()) base = x.end();
  if (auto todo = x.incidence().dynamicCast<KCalendarCore::Todo>()) {
    // A to-do's reminder is relative to its due date when it has no start.
    if (alarm->hasEndOffset() || model::IsNoDate(base)) base = LocalTime(todo->dtDue(), todo->allDay());
  }
  if (!base.isValid() || model::IsNoDate(base)) return {};
  const auto offset = alarm->hasEndOffset() ? alarm->endOffset() : alarm->startOffset();
  return base.addSecs(offset.asSeconds());
}

int reminderMinutesOf(const CalendarItem& x) {
  const QDateTime t = alarmTime(x);
  if (!t.isValid()) return 0;
  return int(t.secsTo(x.start()) / 60);
}

QVariant intProperty(const CalendarItem& x, const char* name) {
  bool ok = false;
  const int v = x.incidence()->nonKDECustomProperty(name).trimmed().toInt(&ok);
  return ok ? v : 0;
}

int taskStatusOf(const CalendarItem& x) {
  switch (x.incidence()->status()) {
    case Incidence::StatusInProcess: return 1;
    case Incidence::StatusCompleted: return 2;
    case Incidence::StatusCanceled: return 4;
    case Incidence::StatusX:
      if (x.incidence()->customStatus().compare(QLatin1String("WAITING"), Qt::CaseInsensitive) == 0) return 3;
      return 0;
    default: break;
  }
  if (auto todo = x.incidence().dynamicCast<KCalendarCore::Todo>()) {
    if (todo->isCompleted()) return 2;
    if (todo->percentComplete() > 0) return 1;
  }
  return 0;
}

// A task is delegated when the user organised it with attendees.
int ownershipOf(const CalendarItem& x) {
  if (!isMeeting(x)) return 0;
  return organizedByOwner(x) ? 1 : 2;
}

int delegationStateOf(const CalendarItem& x) {
  if (ownershipOf(x) != 1) return 0;
  switch (x.incidence()->attendees().first().status()) {
    case KCalendarCore::Attendee::Accepted: return 2;
    case KCalendarCore::Attendee::Declined: return 3;
    default: return 1;
  }
}

// RFC 7986 colour names of the note colours 0..4.
int noteColorOf(const CalendarItem& x) {
  static const QStringList names = {QStringLiteral("blue"), QStringLiteral("green"), QStringLiteral("pink"),
                                    QStringLiteral("yellow"), QStringLiteral("white")};
  const int i = names.indexOf(x.incidence()->color().trimmed().toLower());
  return i >= 0 ? i : 3;  // the client's default note is yellow
}

// ---------------------------------------------------------------- contacts

bool hasAll(KContacts::PhoneNumber::Type t, KContacts::PhoneNumber::Type need) { return (t & need) == need; }

QString phone(const ContactItem& x, KContacts::PhoneNumber::Type need, KContacts::PhoneNumber::Type exclude) {
  for (const auto& p : x.addressee().phoneNumbers())
    if (hasAll(p.type(), need) && !(p.type() & exclude)) return p.number();
  return {};
}

QString otherPhone(const ContactItem& x) {
  using T = KContacts::PhoneNumber;
  const auto typed = T::Home | T::Work | T::Cell | T::Fax | T::Pager | T::Car;
  for (const auto& p : x.addressee().phoneNumbers())
    if (!(p.type() & typed)) return p.number();
  return {};
}

KContacts::Address addressOf(const ContactItem& x, KContacts::Address::Type type) {
  for (const auto& a : x.addressee().addresses())
    if (a.type() & type) return a;
  return {};
}

KContacts::Address otherAddressOf(const ContactItem& x) {
  for (const auto& a : x.addressee().addresses())
    if (!(a.type() & (KContacts::Address::Home | KContacts::Address::Work))) return a;
  return {};
}

// The preferred address, else home, else work, else the first one.
KContacts::Address mailingAddressOf(const ContactItem& x) {
  const auto all = x.addressee().addresses();
  for (const auto& a : all)
    if (a.type() & KContacts::Address::Pref) return a;
  for (auto t : {KContacts::Address::Home, KContacts::Address::Work})
    for (const auto& a : all)
      if (a.type() & t) return a;
  return all.isEmpty() ? KContacts::Address() : all.first();
}

// Street lines, then "postal code city" (or "city, region postal code"),
// then the country; CR LF between lines.
QString addressText(const KContacts::Address& a) {
  if (a.isEmpty()) return {};
  QStringList lines;
  if (!a.postOfficeBox().isEmpty()) lines << a.postOfficeBox();
  if (!a.extended().isEmpty()) lines << a.extended();
  if (!a.street().isEmpty()) lines << crlf(a.street());
  QString place;
  if (a.region().isEmpty()) place = (a.postalCode() + QLatin1Char(' ') + a.locality()).trimmed();
  else place = (a.locality() + QStringLiteral(", ") + a.region() + QLatin1Char(' ') + a.postalCode()).trimmed();
  if (!place.isEmpty()) lines << place;
  if (!a.country().isEmpty()) lines << a.country();
  return lines.join(QLatin1String("\r\n"));
}

QString email(const ContactItem& x, int n) {
  const QStringList all = x.addressee().emails();
  if (n == 1) return x.addressee().preferredEmail();
  QStringList rest = all;
  rest.removeOne(x.addressee().preferredEmail());
  return n - 2 < rest.size() ? rest[n - 2] : QString();
}

QDateTime contactModified(const ContactItem& x) {
  const QDateTime rev = x.addressee().revision();
  return rev.isValid() ? rev.toLocalTime() : x.fileTime();
}

int contactSensitivity(const ContactItem& x) {
  switch (x.addressee().secrecy().type()) {
    case KContacts::Secrecy::Private: return 2;
    case KContacts::Secrecy::Confidential: return 3;
    default: return 0;
  }
}

// ------------------------------------------------------------------- mail

QString headerText(const MailItem& x, const char* name) {
  auto* h = x.head()->headerByType(name);
  return h ? h->asUnicodeString().trimmed() : QString();
}

QString mailboxNames(const KMime::Headers::Generics::AddressList* header) {
  if (!header) return {};
  QStringList names;
  for (const auto& m : header->mailboxes()) names << (m.hasName() ? m.name() : QString::fromUtf8(m.address()));
  return names.join(QLatin1String("; "));
}

int mailImportance(const MailItem& x) {
  const QString importance = headerText(x, "Importance").toLower();
  if (importance == QLatin1String("high")) return 2;
  if (importance == QLatin1String("low")) return 0;
  const QString priority = headerText(x, "X-Priority");
  if (!priority.isEmpty()) {
    const int p = priority.left(1).toInt();
    if (p == 1 || p == 2) return 2;
    if (p == 4 || p == 5) return 0;
  }
  const QString ms = headerText(x, "X-MSMail-Priority").toLower();
  if (ms == QLatin1String("high")) return 2;
  if (ms == QLatin1String("low")) return 0;
  return 1;
}

int mailSensitivity(const MailItem& x) {
  const QString s = headerText(x, "Sensitivity").toLower();
  if (s == QLatin1String("personal")) return 1;
  if (s == QLatin1String("private")) return 2;
  if (s == QLatin1String("company-confidential")) return 3;
  return 0;
}

QString plainBody(const MailItem& x) {
  KMime::Message* m = x.message();
  if (KMime::Content* text = m->mainBodyPart("text/plain")) return crlf(text->decodedText());
  if (KMime::Content* html = m->mainBodyPart("text/html")) {
    // No plain part: the HTML without its tags is the best text there is.
    QString t = html->decodedText();
    t.remove(QRegularExpression(QStringLiteral("<(head|style|script)[^>]*>.*</\\1>"),
                                QRegularExpression::CaseInsensitiveOption |
                                    QRegularExpression::DotMatchesEverythingOption));
    t.replace(QRegularExpression(QStringLiteral("<br\\s*/?>|</p>"), QRegularExpression::CaseInsensitiveOption),
              QStringLiteral("\n"));
    t.remove(QRegularExpression(QStringLiteral("<[^>]*>")));
    return crlf(t.trimmed());
  }
  return {};
}

QString htmlBody(const MailItem& x) {
  KMime::Content* html = x.message()->mainBodyPart("text/html");
  return html ? html->decodedText() : QString();
}

QString messageClass(const MailItem& x) {
  if (x.Class() != model::olReport) return QStringLiteral("IPM.Note");
  const QString report = x.message()->contentType()->parameter(QStringLiteral("report-type")).toLower();
  return report == QLatin1String("delivery-status") ? QStringLiteral("REPORT.IPM.Note.DR")
                                                    : QStringLiteral("REPORT.IPM.Note");
}

QString transportHeaders(const MailItem& x) {
  QString head = QString::fromUtf8(x.rawHead());
  return crlf(head.trimmed()) + QStringLiteral("\r\n");
}

// ------------------------------------------------------------- the tables

template <typename T>
struct Def {
  const char* name;
  int type;
  const char* source;
  QVariant (*get)(const T&);
};

using model::olDateTime;
using model::olKeywords;
using model::olNumber;
using model::olOutlookInternal;
using model::olText;
using model::olYesNo;

using CalDef = Def<CalendarItem>;
using ContactDef = Def<ContactItem>;
using MailDef = Def<MailItem>;

// clang-format off
const std::vector<CalDef> kCalendarCommon = {
    {"Class", olOutlookInternal, "component kind (and the folder, for notes)", [](const CalendarItem& x) -> QVariant { return x.Class(); }},
    {"EntryID", olOutlookInternal, "folder, file, UID and occurrence start", [](const CalendarItem& x) -> QVariant { return x.EntryID(); }},
    {"Subject", olText, "SUMMARY", [](const CalendarItem& x) -> QVariant { return x.incidence()->summary(); }},
    {"Body", olText, "DESCRIPTION (CR LF line ends)", [](const CalendarItem& x) -> QVariant { return crlf(x.incidence()->description()); }},
    {"Categories", olKeywords, "CATEGORIES, joined by \", \"", [](const CalendarItem& x) -> QVariant { return x.incidence()->categories().join(QLatin1String(", ")); }},
    {"CreationTime", olDateTime, "CREATED, else LAST-MODIFIED; notes: DTSTART first", [](const CalendarItem& x) -> QVariant {
       if (x.kind() == StoreItem::Kind::Note && !model::IsNoDate(x.start())) return x.start();
       return createdOf(x); }},
    {"LastModificationTime", olDateTime, "LAST-MODIFIED, else CreationTime", [](const CalendarItem& x) -> QVariant {
       const QDateTime m = x.incidence()->lastModified();
       return m.isValid() ? m.toLocalTime() : createdOf(x); }},
    {"Importance", olNumber, "PRIORITY: 1-4 high (2), 5 or none normal (1), 6-9 low (0)", [](const CalendarItem& x) -> QVariant { return importanceOfPriority(x.incidence()->priority()); }},
    {"Sensitivity", olNumber, "CLASS: PUBLIC 0, PRIVATE 2, CONFIDENTIAL 3", [](const CalendarItem& x) -> QVariant { return sensitivityOfSecrecy(x.incidence()->secrecy()); }},
};

const std::vector<CalDef> kAppointment = {
    {"Start", olDateTime, "DTSTART in local time; all-day: midnight of the first day", [](const CalendarItem& x) -> QVariant { return x.start(); }},
    {"End", olDateTime, "DTEND (or DTSTART+DURATION) in local time; all-day: midnight after the last day", [](const CalendarItem& x) -> QVariant { return x.end(); }},
    {"Duration", olNumber, "End - Start in minutes", [](const CalendarItem& x) -> QVariant { return x.durationMinutes(); }},
    {"AllDayEvent", olYesNo, "DTSTART is a DATE value", [](const CalendarItem& x) -> QVariant { return x.isAllDay(); }},
    {"Location", olText, "LOCATION", [](const CalendarItem& x) -> QVariant { return x.incidence()->location(); }},
    {"IsRecurring", olYesNo, "RRULE/RDATE present (also on occurrences)", [](const CalendarItem& x) -> QVariant { return x.isRecurring(); }},
    {"RecurrenceState", olNumber, "0 single, 1 occurrence, 2 series, 3 exception (RECURRENCE-ID)", [](const CalendarItem& x) -> QVariant { return x.recurrenceState(); }},
    {"ReminderSet", olYesNo, "an enabled VALARM", [](const CalendarItem& x) -> QVariant { return bool(firstAlarm(x)); }},
    {"ReminderMinutesBeforeStart", olNumber, "VALARM TRIGGER before DTSTART, in minutes", [](const CalendarItem& x) -> QVariant { return reminderMinutesOf(x); }},
    {"BusyStatus", olNumber, "X-MICROSOFT-CDO-BUSYSTATUS (FREE 0, TENTATIVE 1, BUSY 2, OOF 3), else TRANSP:TRANSPARENT 0, STATUS:TENTATIVE 1, else 2", [](const CalendarItem& x) -> QVariant { return busyStatusOf(x); }},
    {"MeetingStatus", olNumber, "no ATTENDEE 0; STATUS:CANCELLED 5; ORGANIZER is the user 1; else 3", [](const CalendarItem& x) -> QVariant { return meetingStatusOf(x); }},
    {"Organizer", olText, "ORGANIZER CN (else its address)", [](const CalendarItem& x) -> QVariant {
       const auto o = x.incidence()->organizer();
       return o.name().isEmpty() ? o.email() : o.name(); }},
    {"RequiredAttendees", olText, "ATTENDEE ROLE=REQ-PARTICIPANT/CHAIR names, joined by \"; \"", [](const CalendarItem& x) -> QVariant { return attendeeNames(x, model::olRequired); }},
    {"OptionalAttendees", olText, "ATTENDEE ROLE=OPT-/NON-PARTICIPANT names", [](const CalendarItem& x) -> QVariant { return attendeeNames(x, model::olOptional); }},
    {"Resources", olText, "ATTENDEE CUTYPE=RESOURCE or ROOM names", [](const CalendarItem& x) -> QVariant { return attendeeNames(x, model::olResource); }},
    {"ResponseRequested", olYesNo, "RSVP=TRUE on any ATTENDEE", [](const CalendarItem& x) -> QVariant {
       for (const auto& a : x.incidence()->attendees())
         if (a.RSVP()) return true;
       return false; }},
    {"ResponseStatus", olNumber, "organizer 1; else the user's ATTENDEE PARTSTAT (ACCEPTED 3, DECLINED 4, TENTATIVE 2, NEEDS-ACTION 5)", [](const CalendarItem& x) -> QVariant { return responseStatusOf(x); }},
    {"ReplyTime", olDateTime, "(none: 4501-01-01)", [](const CalendarItem&) -> QVariant { return NoDate(); }},
    {"GlobalAppointmentID", olText, "UID", [](const CalendarItem& x) -> QVariant { return x.incidence()->uid(); }},
    {"ColorLabel", olNumber, "X-ORDOLO-LABEL (0-10)", [](const CalendarItem& x) -> QVariant { return intProperty(x, "X-ORDOLO-LABEL"); }},
};

const std::vector<CalDef> kTask = {
    {"StartDate", olDateTime, "DTSTART in local time (none: 4501-01-01)", [](const CalendarItem& x) -> QVariant { return x.start(); }},
    {"DueDate", olDateTime, "DUE in local time (none: 4501-01-01)", [](const CalendarItem& x) -> QVariant {
       auto t = x.incidence().staticCast<KCalendarCore::Todo>();
       return t->hasDueDate() ? LocalTime(t->dtDue(true), t->allDay()) : NoDate(); }},
    {"DateCompleted", olDateTime, "COMPLETED in local time (none: 4501-01-01)", [](const CalendarItem& x) -> QVariant {
       auto t = x.incidence().staticCast<KCalendarCore::Todo>();
       return t->hasCompletedDate() ? t->completed().toLocalTime() : NoDate(); }},
    {"Complete", olYesNo, "STATUS:COMPLETED or PERCENT-COMPLETE:100", [](const CalendarItem& x) -> QVariant { return x.incidence().staticCast<KCalendarCore::Todo>()->isCompleted(); }},
    {"PercentComplete", olNumber, "PERCENT-COMPLETE", [](const CalendarItem& x) -> QVariant { return x.incidence().staticCast<KCalendarCore::Todo>()->percentComplete(); }},
    {"Status", olNumber, "STATUS: NEEDS-ACTION 0, IN-PROCESS 1, COMPLETED 2, X-WAITING 3, CANCELLED 4", [](const CalendarItem& x) -> QVariant { return taskStatusOf(x); }},
    {"TotalWork", olNumber, "X-ORDOLO-TOTAL-WORK (minutes)", [](const CalendarItem& x) -> QVariant { return intProperty(x, "X-ORDOLO-TOTAL-WORK"); }},
    {"ActualWork", olNumber, "X-ORDOLO-ACTUAL-WORK (minutes)", [](const CalendarItem& x) -> QVariant { return intProperty(x, "X-ORDOLO-ACTUAL-WORK"); }},
    {"Owner", olText, "ORGANIZER CN, else the store's user", [](const CalendarItem& x) -> QVariant {
       const auto o = x.incidence()->organizer();
       if (!o.isEmpty()) return o.name().isEmpty() ? o.email() : o.name();
       return storeUser(x); }},
    {"Ownership", olNumber, "no ATTENDEE 0 (new); the user organised it 1 (delegated); else 2 (own)", [](const CalendarItem& x) -> QVariant { return ownershipOf(x); }},
    {"DelegationState", olNumber, "delegated: first ATTENDEE PARTSTAT (ACCEPTED 2, DECLINED 3, else 1); else 0", [](const CalendarItem& x) -> QVariant { return delegationStateOf(x); }},
    {"ResponseState", olNumber, "delegated 1 (assign), else 0 (simple)", [](const CalendarItem& x) -> QVariant { return ownershipOf(x) == 1 ? 1 : 0; }},
    {"TeamTask", olYesNo, "(none: false)", [](const CalendarItem&) -> QVariant { return false; }},
    {"ReminderSet", olYesNo, "an enabled VALARM", [](const CalendarItem& x) -> QVariant { return bool(firstAlarm(x)); }},
    {"ReminderTime", olDateTime, "VALARM TRIGGER as a local time (none: 4501-01-01)", [](const CalendarItem& x) -> QVariant { return dateOrNone(alarmTime(x)); }},
    {"IsRecurring", olYesNo, "RRULE present", [](const CalendarItem& x) -> QVariant { return x.isRecurring(); }},
};

const std::vector<CalDef> kNote = {
    {"Color", olNumber, "COLOR: blue 0, green 1, pink 2, yellow 3 (also when missing), white 4", [](const CalendarItem& x) -> QVariant { return noteColorOf(x); }},
    {"Start", olDateTime, "DTSTART in local time", [](const CalendarItem& x) -> QVariant { return x.start(); }},
};

const std::vector<CalDef> kJournal = {
    {"Type", olText, "X-ORDOLO-JOURNAL-TYPE (\"Phone Call\", \"Meeting\", ...)", [](const CalendarItem& x) -> QVariant { return x.incidence()->nonKDECustomProperty("X-ORDOLO-JOURNAL-TYPE").trimmed(); }},
    {"Start", olDateTime, "DTSTART in local time", [](const CalendarItem& x) -> QVariant { return x.start(); }},
    {"End", olDateTime, "Start + X-ORDOLO-DURATION", [](const CalendarItem& x) -> QVariant { return x.end(); }},
    {"Duration", olNumber, "X-ORDOLO-DURATION in minutes", [](const CalendarItem& x) -> QVariant { return x.durationMinutes(); }},
    {"ContactNames", olText, "CONTACT values, joined by \", \"", [](const CalendarItem& x) -> QVariant { return x.incidence()->contacts().join(QLatin1String(", ")); }},
};

const std::vector<ContactDef> kContactCommon = {
    {"Class", olOutlookInternal, "40, or 69 for a group card (KIND:group)", [](const ContactItem& x) -> QVariant { return x.Class(); }},
    {"EntryID", olOutlookInternal, "folder, file and UID", [](const ContactItem& x) -> QVariant { return x.EntryID(); }},
    {"Subject", olText, "FN", [](const ContactItem& x) -> QVariant { return x.addressee().formattedName(); }},
    {"Body", olText, "NOTE (CR LF line ends)", [](const ContactItem& x) -> QVariant { return crlf(x.addressee().note()); }},
    {"Categories", olKeywords, "CATEGORIES, joined by \", \"", [](const ContactItem& x) -> QVariant { return x.addressee().categories().join(QLatin1String(", ")); }},
    {"CreationTime", olDateTime, "the file's modification time", [](const ContactItem& x) -> QVariant { return x.fileTime(); }},
    {"LastModificationTime", olDateTime, "REV, else the file's modification time", [](const ContactItem& x) -> QVariant { return contactModified(x); }},
    {"Importance", olNumber, "(none: 1, normal)", [](const ContactItem&) -> QVariant { return 1; }},
    {"Sensitivity", olNumber, "CLASS: PRIVATE 2, CONFIDENTIAL 3, else 0", [](const ContactItem& x) -> QVariant { return contactSensitivity(x); }},
};

using PT = KContacts::PhoneNumber;
using AT = KContacts::Address;

const std::vector<ContactDef> kContact = {
    {"FullName", olText, "FN", [](const ContactItem& x) -> QVariant { return x.addressee().formattedName(); }},
    {"FirstName", olText, "N: given name", [](const ContactItem& x) -> QVariant { return x.addressee().givenName(); }},
    {"MiddleName", olText, "N: additional names", [](const ContactItem& x) -> QVariant { return x.addressee().additionalName(); }},
    {"LastName", olText, "N: family name", [](const ContactItem& x) -> QVariant { return x.addressee().familyName(); }},
    {"Title", olText, "N: honorific prefix", [](const ContactItem& x) -> QVariant { return x.addressee().prefix(); }},
    {"Suffix", olText, "N: honorific suffix", [](const ContactItem& x) -> QVariant { return x.addressee().suffix(); }},
    {"NickName", olText, "NICKNAME", [](const ContactItem& x) -> QVariant { return x.addressee().nickName(); }},
    {"JobTitle", olText, "TITLE", [](const ContactItem& x) -> QVariant { return x.addressee().title(); }},
    {"Profession", olText, "X-PROFESSION, else ROLE", [](const ContactItem& x) -> QVariant {
       const QString p = x.addressee().profession();
       return p.isEmpty() ? x.addressee().role() : p; }},
    {"CompanyName", olText, "ORG (first part)", [](const ContactItem& x) -> QVariant { return x.addressee().organization(); }},
    {"Department", olText, "ORG (second part)", [](const ContactItem& x) -> QVariant { return x.addressee().department(); }},
    {"Email1Address", olText, "the preferred EMAIL (else the first)", [](const ContactItem& x) -> QVariant { return email(x, 1); }},
    {"Email2Address", olText, "the next EMAIL", [](const ContactItem& x) -> QVariant { return email(x, 2); }},
    {"Email3Address", olText, "the EMAIL after that", [](const ContactItem& x) -> QVariant { return email(x, 3); }},
    {"PrimaryTelephoneNumber", olText, "TEL TYPE=PREF", [](const ContactItem& x) -> QVariant { return phone(x, PT::Pref, PT::Type()); }},
    {"HomeTelephoneNumber", olText, "TEL TYPE=HOME (not FAX, CELL, PAGER)", [](const ContactItem& x) -> QVariant { return phone(x, PT::Home, PT::Fax | PT::Cell | PT::Pager); }},
    {"BusinessTelephoneNumber", olText, "TEL TYPE=WORK (not FAX, CELL, PAGER)", [](const ContactItem& x) -> QVariant { return phone(x, PT::Work, PT::Fax | PT::Cell | PT::Pager); }},
    {"MobileTelephoneNumber", olText, "TEL TYPE=CELL", [](const ContactItem& x) -> QVariant { return phone(x, PT::Cell, PT::Type()); }},
    {"HomeFaxNumber", olText, "TEL TYPE=HOME,FAX", [](const ContactItem& x) -> QVariant { return phone(x, PT::Home | PT::Fax, PT::Type()); }},
    {"BusinessFaxNumber", olText, "TEL TYPE=WORK,FAX", [](const ContactItem& x) -> QVariant { return phone(x, PT::Work | PT::Fax, PT::Type()); }},
    {"PagerNumber", olText, "TEL TYPE=PAGER", [](const ContactItem& x) -> QVariant { return phone(x, PT::Pager, PT::Type()); }},
    {"CarTelephoneNumber", olText, "TEL TYPE=CAR", [](const ContactItem& x) -> QVariant { return phone(x, PT::Car, PT::Type()); }},
    {"OtherTelephoneNumber", olText, "TEL without HOME, WORK, CELL, FAX, PAGER, CAR", [](const ContactItem& x) -> QVariant { return otherPhone(x); }},
    {"HomeAddress", olText, "ADR TYPE=HOME as text (CR LF between lines)", [](const ContactItem& x) -> QVariant { return addressText(addressOf(x, AT::Home)); }},
    {"HomeAddressStreet", olText, "ADR TYPE=HOME: street", [](const ContactItem& x) -> QVariant { return crlf(addressOf(x, AT::Home).street()); }},
    {"HomeAddressCity", olText, "ADR TYPE=HOME: locality", [](const ContactItem& x) -> QVariant { return addressOf(x, AT::Home).locality(); }},
    {"HomeAddressState", olText, "ADR TYPE=HOME: region", [](const ContactItem& x) -> QVariant { return addressOf(x, AT::Home).region(); }},
    {"HomeAddressPostalCode", olText, "ADR TYPE=HOME: postal code", [](const ContactItem& x) -> QVariant { return addressOf(x, AT::Home).postalCode(); }},
    {"HomeAddressCountry", olText, "ADR TYPE=HOME: country", [](const ContactItem& x) -> QVariant { return addressOf(x, AT::Home).country(); }},
    {"BusinessAddress", olText, "ADR TYPE=WORK as text", [](const ContactItem& x) -> QVariant { return addressText(addressOf(x, AT::Work)); }},
    {"BusinessAddressStreet", olText, "ADR TYPE=WORK: street", [](const ContactItem& x) -> QVariant { return crlf(addressOf(x, AT::Work).street()); }},
    {"BusinessAddressCity", olText, "ADR TYPE=WORK: locality", [](const ContactItem& x) -> QVariant { return addressOf(x, AT::Work).locality(); }},
    {"BusinessAddressState", olText, "ADR TYPE=WORK: region", [](const ContactItem& x) -> QVariant { return addressOf(x, AT::Work).region(); }},
    {"BusinessAddressPostalCode", olText, "ADR TYPE=WORK: postal code", [](const ContactItem& x) -> QVariant { return addressOf(x, AT::Work).postalCode(); }},
    {"BusinessAddressCountry", olText, "ADR TYPE=WORK: country", [](const ContactItem& x) -> QVariant { return addressOf(x, AT::Work).country(); }},
    {"OtherAddress", olText, "ADR of another type, as text", [](const ContactItem& x) -> QVariant { return addressText(otherAddressOf(x)); }},
    {"MailingAddress", olText, "ADR TYPE=PREF, else HOME, else WORK, else the first; as text", [](const ContactItem& x) -> QVariant { return addressText(mailingAddressOf(x)); }},
    {"MailingAddressStreet", olText, "mailing ADR: street", [](const ContactItem& x) -> QVariant { return crlf(mailingAddressOf(x).street()); }},
    {"MailingAddressCity", olText, "mailing ADR: locality", [](const ContactItem& x) -> QVariant { return mailingAddressOf(x).locality(); }},
    {"MailingAddressState", olText, "mailing ADR: region", [](const ContactItem& x) -> QVariant { return mailingAddressOf(x).region(); }},
    {"MailingAddressPostalCode", olText, "mailing ADR: postal code", [](const ContactItem& x) -> QVariant { return mailingAddressOf(x).postalCode(); }},
    {"MailingAddressCountry", olText, "mailing ADR: country", [](const ContactItem& x) -> QVariant { return mailingAddressOf(x).country(); }},
    {"WebPage", olText, "URL", [](const ContactItem& x) -> QVariant { return x.addressee().url().url().toString(); }},
    {"Birthday", olDateTime, "BDAY (none: 4501-01-01)", [](const ContactItem& x) -> QVariant {
       const QDateTime b = x.addressee().birthday();
       return b.isValid() ? QDateTime(b.date(), QTime(0, 0)) : NoDate(); }},
    {"Anniversary", olDateTime, "ANNIVERSARY (none: 4501-01-01)", [](const ContactItem& x) -> QVariant {
       const QDate d = x.addressee().anniversary();
       return d.isValid() ? QDateTime(d, QTime(0, 0)) : NoDate(); }},
    {"HasPicture", olYesNo, "PHOTO present (the attachment \"ContactPicture.jpg\")", [](const ContactItem& x) -> QVariant { return !x.addressee().photo().isEmpty(); }},
};

const std::vector<ContactDef> kDistList = {
    {"DLName", olText, "FN of the group card", [](const ContactItem& x) -> QVariant { return x.addressee().formattedName(); }},
    {"MemberCount", olNumber, "MEMBER lines (or EMAIL lines of a list card)", [](const ContactItem& x) -> QVariant { return x.MemberCount(); }},
};

const std::vector<MailDef> kMail = {
    {"Class", olOutlookInternal, "43, or 46 for multipart/report", [](const MailItem& x) -> QVariant { return x.Class(); }},
    {"EntryID", olOutlookInternal, "folder and file name (Maildir: the unique part)", [](const MailItem& x) -> QVariant { return x.EntryID(); }},
    {"MessageClass", olOutlookInternal, "IPM.Note; reports REPORT.IPM.Note(.DR)", [](const MailItem& x) -> QVariant { return messageClass(x); }},
    {"Subject", olText, "Subject (RFC 2047 decoded)", [](const MailItem& x) -> QVariant {
       auto* s = x.head()->subject(false);
       return s ? s->asUnicodeString() : QString(); }},
    {"SenderName", olText, "From: display name, else address", [](const MailItem& x) -> QVariant {
       auto* from = x.head()->from(false);
       if (!from || from->mailboxes().isEmpty()) return QString();
       const auto m = from->mailboxes().first();
       return m.hasName() ? m.name() : QString::fromUtf8(m.address()); }},
    {"SenderEmailAddress", olText, "From: address", [](const MailItem& x) -> QVariant {
       auto* from = x.head()->from(false);
       return from && !from->mailboxes().isEmpty() ? QString::fromUtf8(from->mailboxes().first().address()) : QString(); }},
    {"To", olText, "To: display names, joined by \"; \"", [](const MailItem& x) -> QVariant { return mailboxNames(x.head()->to(false)); }},
    {"CC", olText, "Cc: display names", [](const MailItem& x) -> QVariant { return mailboxNames(x.head()->cc(false)); }},
    {"BCC", olText, "Bcc: display names", [](const MailItem& x) -> QVariant { return mailboxNames(x.head()->bcc(false)); }},
    {"ReplyRecipientNames", olText, "Reply-To: display names", [](const MailItem& x) -> QVariant { return mailboxNames(x.head()->replyTo(false)); }},
    {"ReceivedTime", olDateTime, "date of the top Received line, else the Maildir delivery time, else Date, else the file time; Sent Items: SentOn; drafts: none (not a date)", [](const MailItem& x) -> QVariant {
       const QDateTime r = x.receivedTime();
       return r.isValid() ? QVariant(r) : QVariant(); }},
    {"SentOn", olDateTime, "Date (none: 4501-01-01)", [](const MailItem& x) -> QVariant { return x.sentOn(); }},
    {"CreationTime", olDateTime, "the Maildir delivery time, else the file time", [](const MailItem& x) -> QVariant { return x.deliveryTime().isValid() ? x.deliveryTime() : x.fileTime(); }},
    {"LastModificationTime", olDateTime, "the file's modification time", [](const MailItem& x) -> QVariant { return x.fileTime(); }},
    {"Submitted", olYesNo, "false in Drafts or with the Maildir flag D", [](const MailItem& x) -> QVariant { return x.submitted(); }},
    {"Sent", olYesNo, "same as Submitted", [](const MailItem& x) -> QVariant { return x.submitted(); }},
    {"UnRead", olYesNo, "Maildir: no S flag (other mail folders: false)", [](const MailItem& x) -> QVariant {
       const QString dir = QFileInfo(x.path()).dir().dirName();
       return (dir == QLatin1String("new") || dir == QLatin1String("cur")) && !x.maildirFlags().contains(QLatin1Char('S')); }},
    {"Size", olNumber, "the file's size in bytes", [](const MailItem& x) -> QVariant { return x.size(); }},
    {"Importance", olNumber, "Importance, X-Priority (1-2 high, 4-5 low), X-MSMail-Priority: high 2, low 0, else 1", [](const MailItem& x) -> QVariant { return mailImportance(x); }},
    {"Sensitivity", olNumber, "Sensitivity: Personal 1, Private 2, Company-Confidential 3, else 0", [](const MailItem& x) -> QVariant { return mailSensitivity(x); }},
    {"Categories", olKeywords, "Keywords", [](const MailItem& x) -> QVariant { return headerText(x, "Keywords"); }},
    {"RemoteStatus", olNumber, "(none: 0)", [](const MailItem&) -> QVariant { return 0; }},
    {"BodyFormat", olNumber, "1 plain text, 2 when there is a text/html body", [](const MailItem& x) -> QVariant { return x.message()->mainBodyPart("text/html") ? 2 : 1; }},
    {"Body", olText, "the text/plain body (else the HTML body's text), CR LF line ends", [](const MailItem& x) -> QVariant { return plainBody(x); }},
    {"HTMLBody", olText, "the text/html body", [](const MailItem& x) -> QVariant { return htmlBody(x); }},
    {"InternetMessageID", olText, "Message-ID", [](const MailItem& x) -> QVariant { return headerText(x, "Message-ID"); }},
    {"TransportMessageHeaders", olOutlookInternal, "the raw header block, CR LF line ends (MAPI 0x007D001E)", [](const MailItem& x) -> QVariant { return transportHeaders(x); }},
};
// clang-format on

template <typename T>
struct Table {
  std::vector<Def<T>> defs;
  QHash<QString, int> index;
  Table(std::initializer_list<const std::vector<Def<T>>*> parts) {
    for (const auto* part : parts)
      for (const auto& d : *part) {
        index.insert(QString::fromLatin1(d.name).toLower(), int(defs.size()));
        defs.push_back(d);
      }
  }
  const Def<T>* find(const QString& name) const {
    auto it = index.constFind(name.toLower());
    return it == index.constEnd() ? nullptr : &defs[size_t(*it)];
  }
};

const Table<CalendarItem>& calendarTable(StoreItem::Kind kind) {
  static const Table<CalendarItem> appointment{&kCalendarCommon, &kAppointment};
  static const Table<CalendarItem> task{&kCalendarCommon, &kTask};
  static const Table<CalendarItem> note{&kCalendarCommon, &kNote};
  static const Table<CalendarItem> journal{&kCalendarCommon, &kJournal};
  switch (kind) {
    case StoreItem::Kind::Task: return task;
    case StoreItem::Kind::Note: return note;
    case StoreItem::Kind::Journal: return journal;
    default: return appointment;
  }
}

const Table<ContactItem>& contactTable(StoreItem::Kind kind) {
  static const Table<ContactItem> contact{&kContactCommon, &kContact};
  static const Table<ContactItem> list{&kContactCommon, &kDistList};
  return kind == StoreItem::Kind::DistList ? list : contact;
}

const Table<MailItem>& mailTable() {
  static const Table<MailItem> mail{&kMail};
  return mail;
}

// Other names the same value is asked for by.
QString canonicalName(const QString& name) {
  if (name.compare(QLatin1String("0x007D001E"), Qt::CaseInsensitive) == 0 ||
      name.compare(QLatin1String("PR_TRANSPORT_MESSAGE_HEADERS"), Qt::CaseInsensitive) == 0)
    return QStringLiteral("TransportMessageHeaders");
  return name;
}

// X- properties that the table above already maps are not user fields.
bool isMappedExtension(const QByteArray& name) {
  return name.startsWith("X-ORDOLO-") || name == "X-MICROSOFT-CDO-BUSYSTATUS";
}

template <typename T>
QList<model::ItemProperty> listOf(const Table<T>& table, const T& item) {
  QList<model::ItemProperty> out;
  for (const auto& d : table.defs) out.push_back({QString::fromLatin1(d.name), d.type, d.get(item)});
  return out;
}

}  // namespace

int ResponseOf(KCalendarCore::Attendee::PartStat status) {
  switch (status) {
    case KCalendarCore::Attendee::Accepted: return model::olResponseAccepted;
    case KCalendarCore::Attendee::Declined: return model::olResponseDeclined;
    case KCalendarCore::Attendee::Tentative: return model::olResponseTentative;
    case KCalendarCore::Attendee::NeedsAction: return model::olResponseNotResponded;
    default: return model::olResponseNone;
  }
}

QVariant PropertyValue(const StoreItem& item, const QString& rawName) {
  const QString name = canonicalName(rawName);
  if (const auto* cal = dynamic_cast<const CalendarItem*>(&item)) {
    if (const auto* d = calendarTable(item.kind()).find(name)) return d->get(*cal);
    // User fields: the component's own X- properties, by their full name.
    const QString v = cal->incidence()->nonKDECustomProperty(name.toUpper().toLatin1());
    if (name.startsWith(QLatin1String("X-"), Qt::CaseInsensitive) && !v.isNull()) return v;
    return {};
  }
  if (const auto* contact = dynamic_cast<const ContactItem*>(&item)) {
    if (const auto* d = contactTable(item.kind()).find(name)) return d->get(*contact);
    return {};
  }
  if (const auto* mail = dynamic_cast<const MailItem*>(&item)) {
    if (const auto* d = mailTable().find(name)) return d->get(*mail);
    return {};
  }
  return {};
}

QList<model::ItemProperty> PropertyList(const StoreItem& item) {
  if (const auto* cal = dynamic_cast<const CalendarItem*>(&item)) {
    QList<model::ItemProperty> out = listOf(calendarTable(item.kind()), *cal);
    const auto custom = cal->incidence()->customProperties();
    for (auto it = custom.cbegin(); it != custom.cend(); ++it)
      if (it.key().startsWith("X-") && !isMappedExtension(it.key()))
        out.push_back({QString::fromLatin1(it.key()), model::olText, it.value()});
    return out;
  }
  if (const auto* contact = dynamic_cast<const ContactItem*>(&item)) return listOf(contactTable(item.kind()), *contact);
  if (const auto* mail = dynamic_cast<const MailItem*>(&item)) return listOf(mailTable(), *mail);
  return {};
}

std::vector<PropertyDoc> MappingTable() {
  std::vector<PropertyDoc> out;
  auto add = [&out](const QString& kinds, const auto& defs) {
    for (const auto& d : defs) out.push_back({kinds, QString::fromLatin1(d.name), d.type, QString::fromUtf8(d.source)});
  };
  add(QStringLiteral("appointment, task, note, journal"), kCalendarCommon);
  add(QStringLiteral("appointment"), kAppointment);
  add(QStringLiteral("task"), kTask);
  add(QStringLiteral("note"), kNote);
  add(QStringLiteral("journal"), kJournal);
  add(QStringLiteral("contact, distribution list"), kContactCommon);
  add(QStringLiteral("contact"), kContact);
  add(QStringLiteral("distribution list"), kDistList);
  add(QStringLiteral("mail, report"), kMail);
  return out;
}

QString MappingTableMarkdown() {
  QString md = QStringLiteral(
      "# Property mapping\n\n"
      "What each property of an item reads from the store's files. Written from\n"
      "the table in `src/store/PropertyMap.cpp`; a test fails when the two differ\n"
      "(regenerate with `ORDOLO_UPDATE_DOCS=1 build/bin/store_tests`).\n\n"
      "Dates are local times; a date that is not there reads as 4501-01-01.\n"
      "A property an item kind does not have reads as empty, never as an error.\n"
      "Calendar components' own `X-` properties (other than the ones below) are\n"
      "user-defined fields under their full name.\n\n"
      "Beyond properties: `Recipients` of an appointment are the ORGANIZER (type 0)\n"
      "and the ATTENDEEs (1 required, 2 optional, 3 resource) with their PARTSTAT as\n"
      "`MeetingResponseStatus`; of a mail, the To (1), Cc (2) and Bcc (3) mailboxes.\n"
      "`Links` are the CONTACT values, resolved against the contacts folder by\n"
      "full name, UID or address. `Attachments` of a contact hold its PHOTO as\n"
      "\"ContactPicture.jpg\"; of a mail, every attachment and every inline part\n"
      "with a Content-ID. Distribution-list members come from MEMBER lines\n"
      "(`urn:uuid:` resolves to a contact, `mailto:` is a plain address).\n\n"
      "| Kinds | Property | Type | Source |\n|---|---|---|---|\n");
  for (const PropertyDoc& d : MappingTable()) {
    QString source = d.source;
    source.replace(QLatin1Char('|'), QLatin1String("\\|"));
    md += QStringLiteral("| %1 | %2 | %3 | %4 |\n").arg(d.kinds, d.name).arg(d.type).arg(source);
  }
  return md;
}

}  // namespace ordolo::store
