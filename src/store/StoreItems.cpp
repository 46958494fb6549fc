#include "store/StoreItems.h"

#include "store/FileStore.h"
#include "store/Mbox.h"
#include "store/Parsers.h"
#include "store/PropertyMap.h"
#include "util/DebugLog.h"
#include "util/TextFile.h"

#include <KCalendarCore/Attendee>
#include <KCalendarCore/Event>
#include <KCalendarCore/ICalFormat>
#include <KCalendarCore/Journal>
#include <KCalendarCore/MemoryCalendar>
#include <KCalendarCore/Recurrence>
#include <KCalendarCore/Todo>
#include <KContacts/Picture>
#include <KContacts/VCardConverter>
#include <KMime/Message>

#include <QBitArray>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QTimeZone>
#include <QUrl>

#include <algorithm>
#include <optional>

namespace ordolo::store {

using model::ItemPtr;

QDateTime LocalTime(const QDateTime& value, bool allDay) {
  if (!value.isValid()) return {};
  if (allDay) return QDateTime(value.date(), QTime(0, 0));
  return value.toLocalTime();
}

// ------------------------------------------------------------------ StoreItem

StoreItem::StoreItem(Kind kind, std::weak_ptr<StoreFolder> folder, QString path, Locator locator)
    : kind_(kind), folder_(std::move(folder)), path_(std::move(path)), locator_(std::move(locator)) {}

int StoreItem::Class() const {
  switch (kind_) {
    case Kind::Appointment: return model::olAppointment;
    case Kind::Task: return model::olTask;
    case Kind::Note: return model::olNote;
    case Kind::Journal: return model::olJournal;
    case Kind::Contact: return model::olContact;
    case Kind::DistList: return model::olDistributionList;
    case Kind::Mail: return model::olMail;
    case Kind::Report: return model::olReport;
  }
  return model::olMail;
}

QVariant StoreItem::get(const QString& name) const { return PropertyValue(*this, name); }

QList<model::ItemProperty> StoreItem::ItemProperties() const { return PropertyList(*this); }

model::ObjectPtr StoreItem::Parent() const { return folder_.lock(); }

QString StoreItem::EntryID() const {
  return MakeItemEntryId(locator_.folderPath, locator_.fileName, locator_.uid, locator_.recurrence);
}

bool StoreItem::inSentFolder() const {
  auto f = folder_.lock();
  return f && f->defaultId() == model::olFolderSentMail;
}

bool StoreItem::inDraftsFolder() const {
  auto f = folder_.lock();
  return f && f->defaultId() == model::olFolderDrafts;
}

bool StoreItem::Delete(QString* error) {
  auto folder = folder_.lock();
  auto store = folder ? folder->store() : nullptr;
  auto trash = store ? std::dynamic_pointer_cast<StoreFolder>(store->GetDefaultFolder(model::olFolderDeletedItems))
                     : nullptr;
  if (!trash) {
    if (error) *error = QStringLiteral("the store has no Deleted Items folder");
    return false;
  }
  if (trash.get() == folder.get()) {
    if (error) *error = QStringLiteral("the item is already in Deleted Items");
    return false;
  }
  return trash->receive(*this, error, &deletedTo_);
}

// --------------------------------------------------------------- CalendarItem

CalendarItem::CalendarItem(Kind kind, std::weak_ptr<StoreFolder> folder, QString path, Locator locator,
                           KCalendarCore::Incidence::Ptr incidence)
    : StoreItem(kind, std::move(folder), std::move(path), std::move(locator)), incidence_(std::move(incidence)) {}

bool CalendarItem::isAllDay() const { return incidence_->allDay(); }

namespace {

// The client's start and end of one calendar component, in local time.
QDateTime componentStart(const KCalendarCore::Incidence::Ptr& inc) {
  const QDateTime s = inc->dtStart();
  return s.isValid() ? LocalTime(s, inc->allDay()) : model::NoDate();
}

QDateTime componentEnd(const KCalendarCore::Incidence::Ptr& inc) {
  const QDateTime s = componentStart(inc);
  if (model::IsNoDate(s)) return model::NoDate();
  if (auto event = inc.dynamicCast<KCalendarCore::Event>()) {
    if (!event->hasEndDate()) return inc->allDay() ? s.addDays(1) : s;
    // An all-day event's stored end is its last day; the client's end is the
    // midnight after it.
    if (inc->allDay()) return QDateTime(event->dtEnd().date().addDays(1), QTime(0, 0));
    return LocalTime(event->dtEnd());
  }
  if (inc->type() == KCalendarCore::IncidenceBase::TypeJournal) {
    const QString d = inc->nonKDECustomProperty("X-ORDOLO-DURATION").trimmed();
    if (!d.isEmpty()) return s.addSecs(KCalendarCore::ICalFormat().durationFromString(d).asSeconds());
    return s;
  }
  if (auto todo = inc.dynamicCast<KCalendarCore::Todo>()) {
    if (todo->hasDueDate()) return LocalTime(todo->dtDue(), inc->allDay());
  }
  return s;
}

}  // namespace

QDateTime CalendarItem::start() const { return series_ ? occurrenceStart_ : componentStart(incidence_); }

QDateTime CalendarItem::end() const { return series_ ? occurrenceEnd_ : componentEnd(incidence_); }

int CalendarItem::durationMinutes() const {
  const QDateTime s = start(), e = end();
  if (model::IsNoDate(s) || model::IsNoDate(e)) return 0;
  return int(s.secsTo(e) / 60);
}

int CalendarItem::recurrenceState() const {
  if (series_) return isException_ ? model::olApptException : model::olApptOccurrence;
  if (incidence_->recurs()) return model::olApptMaster;
  return model::olApptNotRecurring;
}

bool CalendarItem::isRecurring() const { return series_ != nullptr || incidence_->recurs(); }

QByteArray CalendarItem::toICalendar() const {
  auto calendar = KCalendarCore::MemoryCalendar::Ptr::create(QTimeZone::systemTimeZone());
  calendar->addIncidence(KCalendarCore::Incidence::Ptr(incidence_->clone()));
  for (const auto& ex : exceptions_) calendar->addIncidence(KCalendarCore::Incidence::Ptr(ex->clone()));
  KCalendarCore::ICalFormat format;
  return format.toString(calendar).toUtf8();
}

QString CalendarItem::ownerAddress() const {
  auto f = folder_.lock();
  auto s = f ? f->store() : nullptr;
  return s ? s->userAddress() : QString();
}

model::ObjectPtr CalendarItem::Parent() const {
  if (series_) return std::const_pointer_cast<CalendarItem>(series_);
  return StoreItem::Parent();
}

model::RecipientList CalendarItem::Recipients() const {
  model::RecipientList out;
  const KCalendarCore::Person organizer = incidence_->organizer();
  const auto attendees = incidence_->attendees();
  if (!organizer.isEmpty() && !attendees.isEmpty()) {
    model::Recipient r;
    r.Name = organizer.name().isEmpty() ? organizer.email() : organizer.name();
    r.Address = organizer.email();
    r.Type = model::olOrganizer;
    r.MeetingResponseStatus = model::olResponseOrganized;
    out.push_back(r);
  }
  for (const KCalendarCore::Attendee& a : attendees) {
    if (!organizer.email().isEmpty() && a.email().compare(organizer.email(), Qt::CaseInsensitive) == 0) continue;
    model::Recipient r;
    r.Name = a.name().isEmpty() ? a.email() : a.name();
    r.Address = a.email();
    if (a.cuType() == KCalendarCore::Attendee::Resource || a.cuType() == KCalendarCore::Attendee::Room)
      r.Type = model::olResource;
    else if (a.role() == KCalendarCore::Attendee::OptParticipant || a.role() == KCalendarCore::Attendee::NonParticipant)
      r.Type = model::olOptional;
    else r.Type = model::olRequired;
    r.MeetingResponseStatus = ResponseOf(a.status());
    out.push_back(r);
  }
  return out;
}

model::LinkList CalendarItem::Links() const {
  model::LinkList out;
  auto f = folder_.lock();
  auto s = f ? f->store() : nullptr;
  for (const QString& name : incidence_->contacts()) {
    model::Link link;
    link.Name = name;
    if (s) link.Item = s->findContact(name);
    out.push_back(link);
  }
  return out;
}

model::AttachmentList CalendarItem::Attachments() const {
  model::AttachmentList out;
  for (const KCalendarCore::Attachment& a : incidence_->attachments()) {
    if (!a.isBinary()) continue;
    const QByteArray data = a.decodedData();
    const QString name = a.label().isEmpty() ? QStringLiteral("attachment%1").arg(out.size() + 1) : a.label();
    out.emplace_back(name, a.mimeType(), QString(), data.size(), [data] { return data; });
  }
  return out;
}

namespace {

// Sunday 1, Monday 2, Tuesday 4, ... Saturday 64, from a Monday-first bit array.
int dayMask(const QBitArray& days) {
  int mask = 0;
  for (int i = 0; i < days.size() && i < 7; ++i)
    if (days.testBit(i)) mask |= (i == 6) ? 1 : (2 << i);
  return mask;
}

int dayMaskOf(const QList<KCalendarCore::RecurrenceRule::WDayPos>& positions) {
  int mask = 0;
  for (const auto& p : positions) {
    const int d = p.day();  // 1 Monday .. 7 Sunday
    mask |= (d == 7) ? 1 : (1 << d);
  }
  return mask;
}

int instanceOf(const QList<KCalendarCore::RecurrenceRule::WDayPos>& positions) {
  if (positions.isEmpty()) return 0;
  const int pos = positions.first().pos();
  return pos < 0 ? 5 : std::min(pos, 5);
}

}  // namespace

std::vector<std::pair<QDateTime, ItemPtr>> CalendarItem::exceptionItems() const {
  std::vector<std::pair<QDateTime, ItemPtr>> out;
  auto self = std::static_pointer_cast<const CalendarItem>(shared_from_this());
  for (const auto& ex : exceptions_) {
    auto item = std::make_shared<CalendarItem>(kind_, folder_, path_, locator_, ex);
    item->series_ = self;
    item->isException_ = true;
    item->occurrenceStart_ = componentStart(ex);
    item->occurrenceEnd_ = componentEnd(ex);
    item->locator_.recurrence = ex->recurrenceId().toUTC().toString(QStringLiteral("yyyyMMddTHHmmss"));
    out.emplace_back(LocalTime(ex->recurrenceId(), incidence_->allDay()), std::move(item));
  }
  return out;
}

std::optional<model::RecurrencePattern> CalendarItem::GetRecurrencePattern() const {
  const CalendarItem& master = series_ ? *series_ : *this;
  const KCalendarCore::Incidence::Ptr& inc = master.incidence_;
  if (!inc->recurs()) return std::nullopt;
  const KCalendarCore::Recurrence* rec = inc->recurrence();
  model::RecurrencePattern p;
  switch (rec->recurrenceType()) {
    case KCalendarCore::Recurrence::rDaily: p.RecurrenceType = model::olRecursDaily; break;
    case KCalendarCore::Recurrence::rWeekly: p.RecurrenceType = model::olRecursWeekly; break;
    case KCalendarCore::Recurrence::rMonthlyDay: p.RecurrenceType = model::olRecursMonthly; break;
    case KCalendarCore::Recurrence::rMonthlyPos: p.RecurrenceType = model::olRecursMonthNth; break;
    case KCalendarCore::Recurrence::rYearlyPos: p.RecurrenceType = model::olRecursYearNth; break;
    default: p.RecurrenceType = model::olRecursYearly; break;
  }
  // "Daily on these weekdays" (every working day) is a weekly series with
  // those days.
  const KCalendarCore::RecurrenceRule* rule = rec->defaultRRuleConst();
  const bool dailyOnDays = rec->recurrenceType() == KCalendarCore::Recurrence::rOther && rule &&
                           rule->recurrenceType() == KCalendarCore::RecurrenceRule::rDaily && !rule->byDays().isEmpty();
  if (dailyOnDays) p.RecurrenceType = model::olRecursWeekly;
  p.Interval = std::max(1, rec->frequency());
  const QDateTime start = master.start(), end = master.end();
  switch (p.RecurrenceType) {
    case model::olRecursWeekly: p.DayOfWeekMask = dailyOnDays ? dayMaskOf(rule->byDays()) : dayMask(rec->days()); break;
    case model::olRecursMonthly:
      p.DayOfMonth = rec->monthDays().isEmpty() ? start.date().day() : rec->monthDays().first();
      break;
    case model::olRecursMonthNth:
      p.DayOfWeekMask = dayMaskOf(rec->monthPositions());
      p.Instance = instanceOf(rec->monthPositions());
      break;
    case model::olRecursYearNth:
      p.DayOfWeekMask = dayMaskOf(rec->yearPositions());
      p.Instance = instanceOf(rec->yearPositions());
      p.MonthOfYear = rec->yearMonths().isEmpty() ? start.date().month() : rec->yearMonths().first();
      break;
    case model::olRecursYearly:
      p.MonthOfYear = rec->yearMonths().isEmpty() ? start.date().month() : rec->yearMonths().first();
      p.DayOfMonth = rec->yearDates().isEmpty() ? start.date().day() : rec->yearDates().first();
      break;
    default: break;
  }
  p.PatternStartDate = QDateTime(start.date(), QTime(0, 0));
  p.NoEndDate = rec->duration() == -1;
  p.Occurrences = rec->duration() > 0 ? rec->duration() : 0;
  const QDateTime last = rec->endDateTime();
  p.PatternEndDate = p.NoEndDate || !last.isValid() ? model::NoDate()
                                                    : QDateTime(LocalTime(last, inc->allDay()).date(), QTime(0, 0));
  p.StartTime = start;
  p.EndTime = end;
  p.Duration = master.durationMinutes();
  for (const QDateTime& ex : rec->exDateTimes()) {
    model::RecurrenceException e;
    e.OriginalDate = LocalTime(ex, inc->allDay());
    e.Deleted = true;
    p.Exceptions.push_back(e);
  }
  for (const QDate& ex : rec->exDates()) {
    model::RecurrenceException e;
    e.OriginalDate = QDateTime(ex, start.time());
    e.Deleted = true;
    p.Exceptions.push_back(e);
  }
  for (auto& [original, item] : master.exceptionItems()) {
    model::RecurrenceException e;
    e.OriginalDate = original;
    e.AppointmentItem = std::move(item);
    p.Exceptions.push_back(e);
  }
  std::sort(p.Exceptions.begin(), p.Exceptions.end(),
            [](const auto& a, const auto& b) { return a.OriginalDate < b.OriginalDate; });
  return p;
}

namespace {

// The start times of a sub-daily rule without BY parts (FREQ=SECONDLY,
// MINUTELY or HOURLY, with INTERVAL, COUNT, UNTIL and EXDATE times) in
// [from, to], at most `limit` (*bounded set when there were more): the
// series start plus whole steps of exact time. KCalendarCore begins such
// rules at midnight of the first day, before the series' own start, and
// stops after 10,000. nullopt for any other recurrence.
std::optional<QList<QDateTime>> SubDailyTimes(const KCalendarCore::Recurrence& rec, const QDateTime& from,
                                              const QDateTime& to, int limit, bool* bounded) {
  const auto rules = rec.rRules();
  if (rules.size() != 1 || !rec.exRules().isEmpty() || !rec.rDateTimes().isEmpty() || !rec.rDates().isEmpty() ||
      !rec.exDates().isEmpty())
    return std::nullopt;
  const KCalendarCore::RecurrenceRule* rule = rules.first();
  qint64 unit = 0;
  switch (rule->recurrenceType()) {
    case KCalendarCore::RecurrenceRule::rSecondly: unit = 1; break;
    case KCalendarCore::RecurrenceRule::rMinutely: unit = 60; break;
    case KCalendarCore::RecurrenceRule::rHourly: unit = 3600; break;
    default: return std::nullopt;
  }
  if (!rule->bySeconds().isEmpty() || !rule->byMinutes().isEmpty() || !rule->byHours().isEmpty() ||
      !rule->byDays().isEmpty() || !rule->byMonthDays().isEmpty() || !rule->byYearDays().isEmpty() ||
      !rule->byWeekNumbers().isEmpty() || !rule->byMonths().isEmpty() || !rule->bySetPos().isEmpty())
    return std::nullopt;
  const qint64 step = unit * std::max<qint64>(1, rule->frequency());
  const QDateTime start = rec.startDateTime().toUTC();
  const int count = rule->duration();  // -1: no end; 0: until endDt(); n: n times
  const QDateTime until = count == 0 ? rule->endDt().toUTC() : QDateTime();
  QSet<qint64> excluded;
  for (const QDateTime& t : rec.exDateTimes()) excluded.insert(t.toMSecsSinceEpoch());
  qint64 k = from > start ? (start.secsTo(from) + step - 1) / step : 0;
  QList<QDateTime> out;
  for (;; ++k) {
    if (count > 0 && k >= count) break;
    const QDateTime t = start.addSecs(k * step);
    if (t > to || (until.isValid() && t > until)) break;
    if (excluded.contains(t.toMSecsSinceEpoch())) continue;
    if (out.size() >= limit) {
      if (bounded) *bounded = true;
      break;
    }
    out << t;
  }
  return out;
}

}  // namespace

std::vector<ItemPtr> CalendarItem::occurrencesBetween(const QDateTime& from, const QDateTime& to, bool* bounded) const {
  std::vector<ItemPtr> out;
  if (series_ || !incidence_->recurs() || !from.isValid() || !to.isValid()) return out;
  const bool allDay = isAllDay();
  const qint64 length = start().secsTo(end());
  auto self = std::static_pointer_cast<const CalendarItem>(shared_from_this());

  // Occurrences replaced by an exception, by the start they replace.
  QSet<qint64> replaced;
  for (const auto& ex : exceptions_) replaced.insert(LocalTime(ex->recurrenceId(), allDay).toMSecsSinceEpoch());

  const KCalendarCore::Recurrence& rec = *incidence_->recurrence();
  const QDateTime first = from.addSecs(-length - 1), last = to.addSecs(1);
  QList<QDateTime> times;
  if (auto simple = SubDailyTimes(rec, first, last, model::kMaxOccurrences, bounded)) {
    times = std::move(*simple);
  } else {
    times = rec.timesInInterval(first, last);
    if (times.size() > model::kMaxOccurrences) {
      times.erase(times.begin() + model::kMaxOccurrences, times.end());
      if (bounded) *bounded = true;
    }
  }
  const QDateTime seriesStart = rec.startDateTime();
  for (const QDateTime& t : times) {
    if (t < seriesStart) continue;  // never before the series begins
    const QDateTime s = LocalTime(t, allDay);
    if (replaced.contains(s.toMSecsSinceEpoch())) continue;
    const QDateTime e = s.addSecs(length);
    if (!(s <= to && e >= from)) continue;
    Locator loc = locator_;
    loc.recurrence = t.toUTC().toString(QStringLiteral("yyyyMMddTHHmmss"));
    auto item = std::make_shared<CalendarItem>(kind_, folder_, path_, loc, incidence_);
    item->series_ = self;
    item->occurrenceStart_ = s;
    item->occurrenceEnd_ = e;
    out.push_back(item);
  }
  // The changed occurrences, in the order the recurrence pattern lists them
  // (without building the whole pattern: its end date is costly to find).
  auto changed = exceptionItems();
  std::sort(changed.begin(), changed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (const auto& [original, exception] : changed) {
    const auto* item = static_cast<const CalendarItem*>(exception.get());
    if (item->start() <= to && item->end() >= from) out.push_back(exception);
  }
  std::stable_sort(out.begin(), out.end(), [](const ItemPtr& a, const ItemPtr& b) {
    return static_cast<const CalendarItem*>(a.get())->start() < static_cast<const CalendarItem*>(b.get())->start();
  });
  return out;
}

QVariant CalendarItem::namedProperty(const QString& guid, const QString& id) const {
  // The appointment colour label of the client's calendar property set.
  if (guid.compare(QLatin1String("0220060000000000C000000000000046"), Qt::CaseInsensitive) == 0 &&
      id.compare(QLatin1String("0x8214"), Qt::CaseInsensitive) == 0) {
    const QString v = incidence_->nonKDECustomProperty("X-ORDOLO-LABEL");
    bool ok = false;
    const int label = v.trimmed().toInt(&ok);
    return ok ? QVariant(label) : QVariant();
  }
  return {};
}

// ---------------------------------------------------------------- ContactItem

ContactItem::ContactItem(Kind kind, std::weak_ptr<StoreFolder> folder, QString path, Locator locator,
                         KContacts::Addressee addressee, QDateTime fileTime)
    : StoreItem(kind, std::move(folder), std::move(path), std::move(locator)),
      addressee_(std::move(addressee)),
      fileTime_(std::move(fileTime)) {}

model::AttachmentList ContactItem::Attachments() const {
  model::AttachmentList out;
  const KContacts::Picture photo = addressee_.photo();
  if (!photo.isEmpty() && photo.isIntern()) {
    const QByteArray data = photo.rawData();
    if (!data.isEmpty()) {
      QString mime = photo.type().toLower();
      if (!mime.contains(QLatin1Char('/')))
        mime = QStringLiteral("image/") + (mime.isEmpty() ? QStringLiteral("jpeg") : mime);
      out.emplace_back(QStringLiteral("ContactPicture.jpg"), mime, QString(), data.size(), [data] { return data; });
    }
  }
  return out;
}

namespace {

// "Name <address>" or a bare address.
model::Recipient recipientFromText(const QString& text) {
  model::Recipient r;
  static const QRegularExpression named(QStringLiteral("^\\s*\"?([^\"<]*?)\"?\\s*<([^>]+)>\\s*$"));
  const auto m = named.match(text);
  if (m.hasMatch()) {
    r.Name = m.captured(1).trimmed();
    r.Address = m.captured(2).trimmed();
  } else {
    r.Address = text.trimmed();
  }
  if (r.Name.isEmpty()) r.Name = r.Address;
  return r;
}

}  // namespace

std::vector<model::Recipient> ContactItem::members() const {
  std::vector<model::Recipient> out;
  auto f = folder_.lock();
  auto s = f ? f->store() : nullptr;
  auto resolve = [&](model::Recipient& r, const QString& key) {
    ItemPtr contact = s ? s->findContact(key) : nullptr;
    if (!contact) return false;
    r.Name = contact->text(QStringLiteral("FullName"));
    r.Address = contact->text(QStringLiteral("Email1Address"));
    r.EntryID = contact->EntryID();
    return true;
  };
  for (const QString& member : addressee_.members()) {
    model::Recipient r;
    if (member.startsWith(QLatin1String("mailto:"), Qt::CaseInsensitive)) {
      r = recipientFromText(QUrl::fromPercentEncoding(member.mid(7).toUtf8()));
      resolve(r, r.Address);
    } else {
      QString uid = member;
      if (uid.startsWith(QLatin1String("urn:uuid:"), Qt::CaseInsensitive)) uid = uid.mid(9);
      if (!resolve(r, uid) && !resolve(r, member)) r.Name = r.Address = member;
    }
    out.push_back(r);
  }
  // Lists written as one card with one EMAIL line per member.
  if (out.empty() && addressee_.custom(QStringLiteral("EVOLUTION"), QStringLiteral("LIST"))
                             .compare(QLatin1String("TRUE"), Qt::CaseInsensitive) == 0) {
    for (const QString& e : addressee_.emails()) {
      model::Recipient r = recipientFromText(e);
      resolve(r, r.Address);
      out.push_back(r);
    }
  }
  return out;
}

QByteArray ContactItem::toVCard() const {
  return KContacts::VCardConverter().createVCard(addressee_, KContacts::VCardConverter::v3_0);
}

int ContactItem::MemberCount() const { return kind_ == Kind::DistList ? int(members().size()) : 0; }

std::optional<model::Recipient> ContactItem::GetMember(int index) const {
  if (kind_ != Kind::DistList) return std::nullopt;
  const auto all = members();
  if (index < 1 || index > int(all.size())) return std::nullopt;
  return all[size_t(index - 1)];
}

// ------------------------------------------------------------------- MailItem

namespace {

// Read from the raw header: a header block parsed without its body loses a
// multipart type (the parser finds no parts and falls back to text/plain).
bool isReport(const QByteArray& head) {
  static const QRegularExpression type(QStringLiteral("^content-type:\\s*multipart/report"),
                                       QRegularExpression::CaseInsensitiveOption | QRegularExpression::MultilineOption);
  return type.match(QString::fromLatin1(head)).hasMatch();
}

}  // namespace

MailItem::MailItem(std::weak_ptr<StoreFolder> folder, QString path, Locator locator, QByteArray head, qint64 size,
                   QDateTime fileTime, QDateTime deliveryTime, QString maildirFlags)
    : StoreItem(Kind::Mail, std::move(folder), std::move(path), std::move(locator)),
      rawHead_(std::move(head)),
      size_(size),
      fileTime_(std::move(fileTime)),
      deliveryTime_(std::move(deliveryTime)),
      flags_(std::move(maildirFlags)) {
  if (isReport(rawHead_)) kind_ = Kind::Report;
}

MailItem::MailItem(std::weak_ptr<StoreFolder> folder)
    : StoreItem(Kind::Mail, std::move(folder), QString(), Locator()), saved_(false) {
  setContent(QByteArrayLiteral("MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n"));
  fileTime_ = QDateTime::currentDateTime();
  flags_ = QStringLiteral("D");
}

MailItem::~MailItem() = default;

KMime::Message* MailItem::head() const {
  if (!head_) {
    QString why;
    head_ = ParseMessageHead(WithQuotedAddressNames(rawHead_), &why);
    if (!why.isEmpty()) unreadable(why);
  }
  return head_.get();
}

QByteArray MailItem::rawBytes(QString* error) const {
  if (!rawMessage_.isEmpty() || path_.isEmpty()) return rawMessage_;
  if (inMbox()) return ReadMboxMessage(path_, mboxStart_, size_, rawHead_, error);
  QFile f(path_);
  if (f.size() > kMaxMailFileSize) {
    if (error) *error = QStringLiteral("larger than %1 MB").arg(kMaxMailFileSize / (1024 * 1024));
    return {};
  }
  if (!f.open(QIODevice::ReadOnly)) {
    if (error) *error = f.errorString();
    return {};
  }
  return f.readAll();
}

KMime::Message* MailItem::message() const {
  if (!message_) {
    QString why;
    QByteArray bytes = rawBytes(&why);
    // Moved or deleted since it was listed: its header alone would print as
    // a mail without body or attachments.
    if (!why.isEmpty()) unreadable(why);
    if (bytes.isEmpty()) bytes = rawHead_;
    why.clear();
    message_ = ParseMessage(bytes, &why);
    if (!message_) {
      // The parser gave up on the message (or the file lost its header
      // since it was listed): the item is unreadable; its header block
      // stands in, so that nothing that reads it fails.
      unreadable(why);
      why.clear();
      message_ = ParseMessageHead(rawHead_, &why);
    }
  }
  return message_.get();
}

bool MailItem::Readable() const {
  message();
  return readError_.isEmpty();
}

QString MailItem::UnreadableReason() const {
  return readError_.isEmpty() ? QString() : SkippedNotice(path_.isEmpty() ? EntryID() : path_, readError_);
}

void MailItem::unreadable(const QString& why) const {
  if (!readError_.isEmpty()) return;
  readError_ = why.isEmpty() ? QStringLiteral("?") : why;
  LogSkipped(path_.isEmpty() ? EntryID() : path_, readError_);
}

QDateTime MailItem::receivedTime() const {
  if (!submitted()) return {};
  if (inSentFolder()) return sentOn();
  // The newest Received line is on top; its date follows the last ";".
  if (auto* received = head()->headerByType("Received")) {
    const QString text = QString::fromLatin1(received->asUnicodeString().toLatin1());
    const int semi = text.lastIndexOf(QLatin1Char(';'));
    if (semi >= 0) {
      KMime::Headers::Date date;
      date.from7BitString(text.mid(semi + 1).trimmed().toLatin1());
      if (date.dateTime().isValid()) return date.dateTime().toLocalTime();
    }
  }
  if (deliveryTime_.isValid()) return deliveryTime_;
  const QDateTime sent = sentOn();
  if (!model::IsNoDate(sent)) return sent;
  return fileTime_;
}

QDateTime MailItem::sentOn() const {
  auto* date = head()->date(false);
  if (date && date->dateTime().isValid()) return date->dateTime().toLocalTime();
  return model::NoDate();
}

bool MailItem::submitted() const {
  if (inDraftsFolder()) return false;
  // Maildir flags after ":2,": D marks a draft.
  return !flags_.contains(QLatin1Char('D'));
}

model::RecipientList MailItem::Recipients() const {
  model::RecipientList out;
  auto add = [&](const auto* header, int type) {
    if (!header) return;
    for (const KMime::Types::Mailbox& m : header->mailboxes()) {
      model::Recipient r;
      r.Address = QString::fromUtf8(m.address());
      r.Name = m.hasName() ? m.name() : r.Address;
      r.Type = type;
      out.push_back(r);
    }
  };
  add(head()->to(false), model::olTo);
  add(head()->cc(false), model::olCC);
  add(head()->bcc(false), model::olBCC);
  return out;
}

namespace {

QString extensionFor(const QByteArray& mime) {
  if (mime == "image/jpeg") return QStringLiteral(".jpg");
  if (mime == "image/png") return QStringLiteral(".png");
  if (mime == "image/gif") return QStringLiteral(".gif");
  if (mime == "application/pdf") return QStringLiteral(".pdf");
  if (mime == "text/html") return QStringLiteral(".html");
  if (mime == "message/rfc822") return QStringLiteral(".eml");
  // Reports' machine-readable parts are text as well.
  if (mime.startsWith("text/") || mime == "message/delivery-status" || mime == "message/disposition-notification")
    return QStringLiteral(".txt");
  return QStringLiteral(".dat");
}

void collectParts(KMime::Content* content, const KMime::Content* textBody, const KMime::Content* htmlBody,
                  model::AttachmentList& out) {
  if (!content) return;
  const auto* type = content->contentType(false);
  const QByteArray mime = type ? type->mimeType().toLower() : QByteArray("text/plain");
  // A forwarded message counts as one attachment, not as its parts.
  if (mime.startsWith("multipart/")) {
    for (KMime::Content* child : content->contents()) collectParts(child, textBody, htmlBody, out);
    return;
  }
  if (content == textBody || content == htmlBody) return;
  const auto* cid = content->contentID(false);
  const QString contentId = cid ? QString::fromLatin1(cid->identifier()) : QString();
  if (!KMime::isAttachment(content) && contentId.isEmpty()) {
    // Reports carry their machine-readable parts as text; list them too.
    if (!mime.startsWith("message/") && !mime.startsWith("text/rfc822")) return;
  }
  QString name;
  if (const auto* disposition = content->contentDisposition(false)) name = disposition->filename();
  if (name.isEmpty() && type) name = type->name();
  if (name.isEmpty()) name = QStringLiteral("attachment%1%2").arg(out.size() + 1).arg(extensionFor(mime));
  const QByteArray data = content->decodedContent();
  out.emplace_back(name, QString::fromLatin1(mime), contentId, data.size(), [data] { return data; });
}

}  // namespace

model::AttachmentList MailItem::Attachments() const {
  model::AttachmentList out;
  KMime::Message* m = message();
  KMime::Content* text = m->mainBodyPart("text/plain");
  KMime::Content* html = m->mainBodyPart("text/html");
  if (!m->contentType(false) || !m->contentType()->isMultipart()) return out;
  try {
    collectParts(m, text, html, out);
  } catch (...) {
    unreadable(QStringLiteral("the MIME parser gave up: ") + CurrentExceptionText());
    out.clear();
  }
  return out;
}

void MailItem::releaseContent() const {
  // An unsaved draft has nothing on disk to read it back from.
  if (rawMessage_.isEmpty() && !path_.isEmpty()) message_.reset();
}

void MailItem::setContent(const QByteArray& bytes) {
  rawMessage_ = bytes;
  rawHead_ = MessageHead(bytes);
  size_ = bytes.size();
  head_.reset();
  message_.reset();
  kind_ = isReport(rawHead_) ? Kind::Report : Kind::Mail;
}

bool MailItem::Import(const QString& path, int format, QString* error) {
  if (format != 1024) {
    if (error) *error = QStringLiteral("unknown message format %1").arg(format);
    return false;
  }
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) {
    if (error) *error = QStringLiteral("%1: %2").arg(path, f.errorString());
    return false;
  }
  const QByteArray bytes = f.readAll();
  QString why;
  if (!ParseMessage(bytes, &why)) {
    if (error) *error = QStringLiteral("%1: %2").arg(path, why);
    return false;
  }
  setContent(bytes);
  saved_ = false;
  return true;
}

bool MailItem::Save(QString* error) {
  auto folder = folder_.lock();
  if (!folder) {
    if (error) *error = QStringLiteral("the folder is gone");
    return false;
  }
  if (saved_ && !path_.isEmpty()) return true;
  QString written;
  if (!folder->writeMessage(rawMessage_, &written, error)) return false;
  path_ = written;
  locator_.folderPath = folder->FolderPath();
  locator_.fileName = QFileInfo(written).fileName().section(QLatin1Char(':'), 0, 0);
  locator_.uid.clear();
  fileTime_ = QFileInfo(written).lastModified();
  saved_ = true;
  return true;
}

}  // namespace ordolo::store
