#include "tools/Find.h"

#include "lang/Messages.h"
#include "util/Folders.h"
#include "util/Ini.h"
#include "util/VbFormat.h"

namespace ordolo::tools {

namespace {

QString TwoDigits(qint64 n) { return QStringLiteral("%1").arg(n, 2, 10, QLatin1Char('0')); }

QString HoursAndMinutes(qint64 minutes) { return QString::number(minutes / 60) + ':' + TwoDigits(minutes % 60); }

}  // namespace

FindRange RangeFor(int itemClass, const QDate& from, const QDate& to) {
  // "@2" is the last moment of the last day: an appointment that starts in
  // its last minute is found.
  const QString start = util::Format(QDateTime(from, QTime(0, 0)), QStringLiteral("ddddd H:nn:ssAM/PM"));
  const QString end = util::Format(QDateTime(to, QTime(23, 59, 59)), QStringLiteral("ddddd H:nn:ssAM/PM"));
  const QString firstDay = util::Format(from, QStringLiteral("ddddd"));
  const QString lastDay = util::Format(to, QStringLiteral("ddddd"));
  auto between = [](const char* property, const QString& low, const QString& high) {
    return QStringLiteral("[%1]<='%3' and [%1]>='%2'").arg(QLatin1String(property), low, high);
  };
  switch (itemClass) {
    case model::olAppointment:
    case model::olJournal:
      return {QStringLiteral("[Start]<='%2' and [End]>'%1'").arg(start, end), QStringLiteral("[Start]"), true};
    case model::olTask: return {between("DueDate", firstDay, lastDay), QStringLiteral("[DueDate]")};
    case model::olNote: return {between("CreationTime", start, end), QStringLiteral("[CreationTime]")};
    case model::olContact:
    case model::olDistributionList: return {QString(), QStringLiteral("[FullName]")};
    default: return {between("ReceivedTime", start, end), QStringLiteral("[ReceivedTime]")};
  }
}

bool FieldCondition::matches(const model::Item& item) const {
  if (!active()) return true;
  const model::Item* owner = &item;
  const model::ObjectPtr parent = item.Parent();
  const auto series = std::dynamic_pointer_cast<model::Item>(parent);
  if (series) owner = series.get();
  const QVariant value = owner->get(field);
  if (!value.isValid()) return false;
  const QString text = value.toString().toLower();
  if (!starts.isEmpty() && !text.startsWith(starts.toLower())) return false;
  if (!contains.isEmpty() && !text.contains(contains.toLower())) return false;
  return true;
}

QStringList FieldList(const model::FolderPtr& folder) {
  QStringList names;
  if (folder) {
    const model::ItemsPtr items = folder->GetItems();
    // The first item of the folder's own kind that can be read.
    const int kind = folder->DefaultItemClass();
    for (const model::ItemPtr& item : *items) {
      if (item->Class() != kind || !item->Readable()) continue;
      for (const model::ItemProperty& p : item->ItemProperties()) names << p.Name;
      break;
    }
  }
  if (!names.contains(QStringLiteral("Body"))) names << QStringLiteral("Body");
  return names;
}

QString FieldNamed(const QStringList& fields, const QString& name) {
  for (const QString& f : fields)
    if (f.compare(name, Qt::CaseInsensitive) == 0) return f;
  return {};
}

FindValues FindValues::load(const QString& kindLetter) {
  const QString file = util::UserConfigFile(), section = QStringLiteral("Find");
  FindValues v;
  v.field = util::ReadIni(section, kindLetter + QStringLiteral("Field"), QStringLiteral("0"), file).toInt();
  v.start = util::ReadIni(section, kindLetter + QStringLiteral("Start"), QString(), file);
  v.contain = util::ReadIni(section, kindLetter + QStringLiteral("Contain"), QString(), file);
  return v;
}

void FindValues::save(const QString& kindLetter) const {
  const QString file = util::UserConfigFile(), section = QStringLiteral("Find");
  util::WriteIni(section, kindLetter + QStringLiteral("Field"), QString::number(field), file);
  util::WriteIni(section, kindLetter + QStringLiteral("Start"), start, file);
  util::WriteIni(section, kindLetter + QStringLiteral("Contain"), contain, file);
}

void HourTotals::add(const model::Item& appointment) {
  if (appointment.flag(QStringLiteral("AllDayEvent"))) ++allDay;
  else minutes += appointment.number(QStringLiteral("Duration"));
}

QString HourTotals::text() const {
  using lang::Msg;
  const QString crlf = QStringLiteral("\r\n");
  return lang::text(Msg::FindSumHours) + crlf + lang::text(Msg::FindWithoutAllDay) + HoursAndMinutes(minutes) + crlf +
         QString::number(allDay) + lang::text(Msg::FindAllDay) + QStringLiteral("*8:00 => ") +
         QString::number(allDay * 8) + QStringLiteral(":00") + crlf + lang::text(Msg::FindTotal) +
         HoursAndMinutes(minutes + qint64(allDay) * 8 * 60);
}

FindResult Find(const model::FolderPtr& folder, const FindRequest& request) {
  FindResult result;
  if (!folder) return result;
  const int itemClass = folder->DefaultItemClass();
  model::ItemsPtr items = folder->GetItems();
  result.notices = items->notices();
  if (request.from.isValid() && request.to.isValid()) {
    const FindRange range = RangeFor(itemClass, request.from, request.to);
    items->IncludeRecurrences = range.recurrences;
    if (!range.filter.isEmpty()) {
      items = items->Restrict(range.filter, &result.error);
      if (!items) return result;
      result.notices = items->notices();
    }
    items->Sort(range.sortKey);
  }
  const int total = items->Count();
  int done = 0;
  for (const model::ItemPtr& item : *items) {
    if (request.stopRequested && request.stopRequested()) {
      result.stopped = true;
      break;
    }
    if (request.progress) request.progress(++done, total);
    if (!request.condition.matches(*item)) continue;
    result.items.push_back(item);
    if (itemClass == model::olAppointment && item->Class() == model::olAppointment) result.totals.add(*item);
  }
  return result;
}

}  // namespace ordolo::tools
