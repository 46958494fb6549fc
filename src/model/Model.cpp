#include "model/Model.h"

#include "model/Filter.h"
#include "lang/Messages.h"
#include "util/VbFormat.h"

#include <QFile>
#include <QSaveFile>

#include <algorithm>

namespace ordolo::model {

QDateTime NoDate() { return QDateTime(QDate(4501, 1, 1), QTime(0, 0)); }

bool IsNoDate(const QDateTime& value) { return value.isValid() && value.date().year() > 3000; }

// ---------------------------------------------------------------- Attachment

Attachment::Attachment(QString fileName, QString mimeType, QString contentId, qint64 size,
                       std::function<QByteArray()> load)
    : fileName_(std::move(fileName)),
      mimeType_(std::move(mimeType)),
      contentId_(std::move(contentId)),
      size_(size),
      load_(std::move(load)) {}

QByteArray Attachment::Data() const { return load_ ? load_() : QByteArray(); }

bool Attachment::SaveAsFile(const QString& path, QString* error) const {
  QSaveFile f(path);
  if (!f.open(QIODevice::WriteOnly) || f.write(Data()) < 0 || !f.commit()) {
    if (error) *error = f.errorString();
    return false;
  }
  return true;
}

// ---------------------------------------------------------------------- Item

bool Item::Delete(QString* error) {
  if (error) *error = QStringLiteral("this item cannot be deleted");
  return false;
}

bool Item::Save(QString* error) {
  if (error) *error = QStringLiteral("this item cannot be saved");
  return false;
}

bool Item::Import(const QString&, int, QString* error) {
  if (error) *error = QStringLiteral("this item cannot import messages");
  return false;
}

QString Item::text(const QString& name) const {
  const QVariant v = get(name);
  return v.isValid() ? v.toString() : QString();
}

QDateTime Item::date(const QString& name) const {
  const QVariant v = get(name);
  return v.userType() == QMetaType::QDateTime ? v.toDateTime() : NoDate();
}

qint64 Item::number(const QString& name) const { return get(name).toLongLong(); }

bool Item::flag(const QString& name) const { return get(name).toBool(); }

FolderPtr Item::folder() const {
  ObjectPtr p = Parent();
  if (auto f = std::dynamic_pointer_cast<Folder>(p)) return f;
  if (auto i = std::dynamic_pointer_cast<Item>(p)) return i->folder();
  return nullptr;
}

ItemPtr Item::series() const { return std::dynamic_pointer_cast<Item>(Parent()); }

// --------------------------------------------------------------------- Items

Items::Items(FolderPtr folder, std::vector<ItemPtr> items) : folder_(std::move(folder)), items_(std::move(items)) {}

ItemPtr Items::Item(int index) const { return index >= 1 && index <= Count() ? items_[size_t(index - 1)] : nullptr; }

std::shared_ptr<Items> Items::Restrict(const QString& filterText, QString* error) const {
  const auto filter = Filter::parse(filterText, error);
  if (!filter) return nullptr;
  if (!items_.empty()) {
    const QString problem = filter->check(*items_.front());
    if (!problem.isEmpty()) {
      if (error) *error = problem;
      return nullptr;
    }
  }
  const Filter::Window window = filter->window();
  std::vector<ItemPtr> out;
  QStringList notices = notices_;
  for (const ItemPtr& item : items_) {
    if (IncludeRecurrences && item->Class() == olAppointment && item->flag(QStringLiteral("IsRecurring"))) {
      const auto pattern = item->GetRecurrencePattern();
      QDateTime from = window.from, to = window.to;
      if (!from.isValid() && pattern) from = pattern->PatternStartDate;
      if (!to.isValid() && pattern && !pattern->NoEndDate && !IsNoDate(pattern->PatternEndDate))
        to = pattern->PatternEndDate.addDays(1);
      // An endless series without an upper bound stays one item.
      if (from.isValid() && to.isValid()) {
        bool bounded = false;
        for (const ItemPtr& occurrence : item->occurrencesBetween(from, to, &bounded))
          if (filter->matches(*occurrence)) out.push_back(occurrence);
        if (bounded)
          notices << lang::text(lang::Msg::RecurrenceBounded)
                         .arg(item->text(QStringLiteral("Subject")))
                         .arg(kMaxOccurrences)
                         .arg(util::Format(from, QStringLiteral("Short Date")),
                              util::Format(to, QStringLiteral("Short Date")));
        continue;
      }
    }
    if (filter->matches(*item)) out.push_back(item);
  }
  auto result = std::make_shared<Items>(folder_, std::move(out));
  result->IncludeRecurrences = IncludeRecurrences;
  result->notices_ = notices;
  return result;
}

namespace {

int compareValues(const QVariant& a, const QVariant& b) {
  if (!a.isValid() || !b.isValid()) return int(a.isValid()) - int(b.isValid());
  const int ta = a.userType(), tb = b.userType();
  if (ta == QMetaType::QDateTime && tb == QMetaType::QDateTime) {
    const qint64 x = a.toDateTime().toMSecsSinceEpoch(), y = b.toDateTime().toMSecsSinceEpoch();
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  if (ta != QMetaType::QString && tb != QMetaType::QString && a.canConvert<double>() && b.canConvert<double>()) {
    const double x = a.toDouble(), y = b.toDouble();
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  return a.toString().compare(b.toString(), Qt::CaseInsensitive);
}

}  // namespace

void Items::Sort(const QString& property, bool descending) {
  QString name = property.trimmed();
  if (name.startsWith(QLatin1Char('[')) && name.endsWith(QLatin1Char(']'))) name = name.mid(1, name.size() - 2);
  std::vector<std::pair<QVariant, ItemPtr>> keyed;
  keyed.reserve(items_.size());
  for (const ItemPtr& item : items_) keyed.emplace_back(item->get(name), item);
  std::stable_sort(keyed.begin(), keyed.end(), [descending](const auto& x, const auto& y) {
    const int c = compareValues(x.first, y.first);
    return descending ? c > 0 : c < 0;
  });
  for (size_t i = 0; i < keyed.size(); ++i) items_[i] = keyed[i].second;
}

ItemPtr Items::Add(QString* error) {
  if (!folder_) {
    if (error) *error = QStringLiteral("this collection belongs to no folder");
    return nullptr;
  }
  return folder_->newItem(error);
}

void Items::setItemAddHandler(ItemAddHandler handler) {
  watch_.reset();
  if (folder_ && handler) watch_ = folder_->watch(std::move(handler));
}

// ----------------------------------------------------------------- Selection

ItemPtr Selection::Item(int index) const {
  return index >= 1 && index <= Count() ? items_[size_t(index - 1)] : nullptr;
}

QString Explorer::Caption() const {
  return folder_ ? folder_->Name() + QStringLiteral(" - Ordolo") : QStringLiteral("Ordolo");
}

}  // namespace ordolo::model
