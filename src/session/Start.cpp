#include "session/Start.h"

#include <algorithm>
#include <numeric>

#include "attachments/AttachmentQueue.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "renderers/Mail.h"
#include "template/Eigenschaften.h"
#include "ui/Port.h"
#include "util/Funktionen.h"
#include "util/VbFormat.h"

namespace ordolo::session {

namespace {

using lang::Msg;

QString ShortDate(const QDateTime& t) { return util::Format(t, QStringLiteral("Short Date")); }

// A date column's text: nothing for the "no date" value.
QString DayAndDate(const QDateTime& t) {
  if (model::IsNoDate(t) || !t.isValid()) return {};
  return util::Format(t, QStringLiteral("ddd")) + QLatin1Char(' ') + ShortDate(t);
}

QString Stamp(const QDateTime& t) { return model::IsNoDate(t) || !t.isValid() ? QString() : util::DateStamp14(t); }

bool IsDate(const QVariant& v) {
  return v.isValid() && (v.userType() == QMetaType::QDateTime || v.userType() == QMetaType::QDate) &&
         !model::IsNoDate(v.toDateTime());
}

// The kind of a run started on an item of this class: the kinds with lists
// of their own, and mail for every other class (reports, posts, ...).
int RunKind(int itemClass) {
  switch (itemClass) {
    case model::olAppointment:
    case model::olContact:
    case model::olDistributionList:
    case model::olTask:
    case model::olNote:
    case model::olJournal: return itemClass;
    default: return model::olMail;
  }
}

Column Visible(const QString& header, int sortBy = -1) { return {header, sortBy, false}; }
Column Hidden() { return {lang::text(Msg::ColSortKey), -1, true}; }

}  // namespace

QString RowLetter(int kind) {
  switch (kind) {
    case model::olAppointment: return QStringLiteral("A");
    case model::olContact: return QStringLiteral("C");
    case model::olDistributionList: return QStringLiteral("L");
    case model::olNote: return QStringLiteral("N");
    case model::olJournal: return QStringLiteral("J");
    case model::olTask: return QStringLiteral("T");
    default: return QStringLiteral("M");
  }
}

std::vector<Column> Columns(int kind) {
  using lang::GetLangText;
  std::vector<Column> c{Visible(lang::text(Msg::ColNumber))};
  switch (kind) {
    case model::olAppointment:
      c.insert(c.end(),
               {Visible(GetLangText("S25"), 2), Hidden(), Visible(GetLangText("S50"), 4), Hidden(),
                Visible(GetLangText("S28")), Visible(lang::text(Msg::ColLocation)), Visible(GetLangText("S55"))});
      break;
    case model::olContact: c.insert(c.end(), {Visible(GetLangText("S3")), Visible(GetLangText("S49"))}); break;
    case model::olDistributionList:
      c.insert(c.end(), {Visible(GetLangText("S3")), Visible(lang::text(Msg::ColMembers))});
      break;
    case model::olNote:
      c.insert(c.end(), {Visible(GetLangText("S46"), 2), Hidden(), Visible(lang::text(Msg::ColText)),
                         Visible(util::Field1(GetLangText("S40")))});
      break;
    case model::olJournal:
      c.insert(c.end(),
               {Visible(GetLangText("S25"), 2), Hidden(), Visible(GetLangText("S51")), Visible(GetLangText("S28"))});
      break;
    case model::olTask:
      c.insert(c.end(), {Visible(GetLangText("S36"), 2), Hidden(), Visible(GetLangText("S25"), 4), Hidden(),
                         Visible(lang::text(Msg::ColComplete)), Visible(GetLangText("S28"))});
      break;
    default:
      c.insert(c.end(),
               {Visible(lang::text(Msg::ColImportance)), Visible(lang::text(Msg::ColAttachments)),
                Visible(lang::text(Msg::ColFrom)), Visible(lang::text(Msg::ColTo)), Visible(GetLangText("S46"), 6),
                Hidden(), Visible(GetLangText("S28")), Visible(lang::text(Msg::ColState))});
      break;
  }
  return c;
}

bool Start::StartPrint(const model::Selection& selection, const model::FolderPtr& folder, const QString& user) {
  const int currentClass = selection.Count() > 0 && selection.Item(1) ? selection.Item(1)->Class() : 0;
  if (currentClass == 0) {
    port_.beep();
    port_.notice(lang::table().ReadLangKey(QStringLiteral("Lang"), QStringLiteral("S60"),
                                           QStringLiteral("Nichts markiert"), QString::fromUtf8("Aucune sélection"),
                                           QStringLiteral("Nothing selected")));
    return false;
  }
  Reset(currentClass, folder, user);
  for (const model::ItemPtr& item : selection.all()) {
    if (item) AddItem(kind_, item, true);
  }
  return kind_ != -1;
}

void Start::Reset(int itemClass, const model::FolderPtr& folder, const QString& user) {
  kind_ = RunKind(itemClass);
  if (attachments_) attachments_->reset();
  items_.clear();
  rows_.clear();
  skipped_.clear();
  folderName_ = folder ? folder->Name() : QString();
  caption_ = folderName_ + QLatin1String(" (") + user + QLatin1Char(')');
}

void Start::AddItem(int& kind, model::ItemPtr item, bool warnUnsaved) {
  // An item the store could not read is left out, and the user told why.
  if (!item->Readable()) {
    skipped_ << item->UnreadableReason();
    return;
  }
  if (!item->Saved() && warnUnsaved) {
    port_.beep();
    port_.notice(lang::table().ReadLangKey(QStringLiteral("Lang"), QStringLiteral("S81"),
                                           QStringLiteral("Item nicht gespeichert"),
                                           QString::fromUtf8("Élément non sauvegardées"),
                                           QStringLiteral("Item not saved")) +
                 QLatin1Char('!'));
  }
  switch (kind) {
    case model::olAppointment:
      if (item->Class() == kind) appointmentRow(item);
      break;
    case model::olContact:
      if (item->Class() == kind) contactRow(item);
      break;
    case model::olJournal:
      if (item->Class() == kind) journalRow(item);
      break;
    case model::olNote:
      if (item->Class() == kind) noteRow(item);
      break;
    case model::olTask:
      if (item->Class() == kind) taskRow(item);
      break;
    case model::olDistributionList:
      if (item->Class() == kind) distListRow(item);
      break;
    default: mailRow(item); break;
  }
}

void Start::addRow(const model::ItemPtr& item, QStringList subItems) {
  items_.push_back(item);
  const QString number = QString::number(rows_.size() + 1);
  rows_.push_back({number + RowLetter(kind_), number, std::move(subItems), true});
}

void Start::appointmentRow(model::ItemPtr& item) {
  // An occurrence that was moved or changed is listed as its exception item.
  if (item->flag(QStringLiteral("IsRecurring")) &&
      item->number(QStringLiteral("RecurrenceState")) == model::olApptOccurrence) {
    if (auto pattern = item->GetRecurrencePattern()) {
      const QDateTime start = item->date(QStringLiteral("Start"));
      for (const auto& ex : pattern->Exceptions) {
        if (ex.AppointmentItem && ex.AppointmentItem->date(QStringLiteral("Start")) == start) {
          item = ex.AppointmentItem;
          break;
        }
      }
    }
  }
  const QDateTime start = item->date(QStringLiteral("Start"));
  QString when = ShortDate(start);
  if (item->flag(QStringLiteral("AllDayEvent")))
    when += QLatin1String("    (") + util::Format(start, QStringLiteral("ddd")) + QLatin1Char(')');
  else when += QLatin1Char(' ') + util::Format(start, QStringLiteral("Short Time"));
  const int minutes = int(item->number(QStringLiteral("Duration")));
  addRow(item, {when, Stamp(start), tpl::DurationText(minutes), util::NumericSortKey(minutes),
                item->text(QStringLiteral("Subject")), item->text(QStringLiteral("Location")),
                item->text(QStringLiteral("Categories"))});
}

void Start::contactRow(const model::ItemPtr& item) {
  addRow(item, {item->text(QStringLiteral("FullName")), item->text(QStringLiteral("Email1Address"))});
}

void Start::distListRow(const model::ItemPtr& item) {
  addRow(item,
         {item->text(QStringLiteral("DLName")),
          QLatin1Char('(') + util::Format(double(item->MemberCount()), QStringLiteral("000")) + QLatin1Char(')')});
}

void Start::noteRow(const model::ItemPtr& item) {
  const QDateTime created = item->date(QStringLiteral("CreationTime"));
  QString body = item->text(QStringLiteral("Body"));
  body.replace(QLatin1String("\r\n"), QLatin1String(" ")).replace(QLatin1Char('\n'), QLatin1Char(' '));
  // Note colours blue 0, green 1, pink 2, yellow 3, white 4 against the
  // list "Color/Blue/Green/Pink/White/Yellow".
  static const int kField[] = {2, 3, 4, 6, 5};
  const qint64 color = item->number(QStringLiteral("Color"));
  const QString colorName = color >= 0 && color < 5 ? util::GetField(lang::GetLangText(QStringLiteral("S40")),
                                                                     QStringLiteral("/"), kField[color])
                                                    : QString();
  addRow(item, {model::IsNoDate(created) ? QString() : util::ShortDateTime(created), Stamp(created), body, colorName});
}

void Start::journalRow(const model::ItemPtr& item) {
  const QDateTime start = item->date(QStringLiteral("Start"));
  const QString when = model::IsNoDate(start)
                           ? QString()
                           : DayAndDate(start) + QLatin1Char(' ') + util::Format(start, QStringLiteral("Short Time"));
  addRow(item, {when, Stamp(start), item->text(QStringLiteral("Type")), item->text(QStringLiteral("Subject"))});
}

void Start::taskRow(const model::ItemPtr& item) {
  const QDateTime due = item->date(QStringLiteral("DueDate"));
  const QDateTime start = item->date(QStringLiteral("StartDate"));
  addRow(item, {DayAndDate(due), Stamp(due), DayAndDate(start), Stamp(start),
                QString::number(item->number(QStringLiteral("PercentComplete"))) + QLatin1Char('%'),
                item->text(QStringLiteral("Subject"))});
}

void Start::mailRow(const model::ItemPtr& item) {
  QString marker;
  switch (item->number(QStringLiteral("Importance"))) {
    case 2: marker = QStringLiteral("!"); break;
    case 0: marker = QStringLiteral("-"); break;
    default: break;
  }
  const QVariant submitted = item->get(QStringLiteral("Submitted"));
  if (submitted.isValid() && !submitted.toBool()) marker = QStringLiteral("?");

  const int attachments = int(item->Attachments().size());
  QString to;
  if (item->Class() == model::olReport) {
    to = QStringLiteral("-");
  } else {
    to = item->text(QStringLiteral("To"));
    if (to.isEmpty()) to = item->text(QStringLiteral("SenderName"));
    if (to.isEmpty()) {
      const model::RecipientList recipients = item->Recipients();
      if (!recipients.empty()) to = recipients.front().Name;
    }
  }

  // Sent mail is listed by when it went out, everything else by when it came.
  const bool sentFolder = folderName_.contains(QLatin1String("gesendete"), Qt::CaseInsensitive) ||
                          folderName_.contains(QLatin1String("sent item"), Qt::CaseInsensitive);
  QDateTime when;
  if (sentFolder) {
    when = item->date(QStringLiteral("SentOn"));
  } else {
    const QVariant received = item->get(QStringLiteral("ReceivedTime"));
    when = IsDate(received) ? received.toDateTime() : item->date(QStringLiteral("CreationTime"));
  }

  const QString state = renderers::RemoteStatusLetter(item->number(QStringLiteral("RemoteStatus")));
  addRow(item,
         {marker, attachments > 0 ? QString::number(attachments) : QString(), item->text(QStringLiteral("SenderName")),
          to, model::IsNoDate(when) || !when.isValid() ? QString() : util::ShortDateTime(when), Stamp(when),
          item->text(QStringLiteral("Subject")), state});
}

void Start::removeRow(int index) {
  if (index < 0 || index >= int(rows_.size())) return;
  rows_.erase(rows_.begin() + index);
  items_.erase(items_.begin() + index);
}

void Start::sortBy(int column, bool descending) {
  const std::vector<Column> columns = Columns(kind_);
  if (column <= 0 || column >= int(columns.size())) return;
  const int key = columns[column].sortBy > 0 ? columns[column].sortBy : column;
  std::vector<size_t> order(rows_.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    const int c = QString::compare(rows_[a].subItems.value(key - 1), rows_[b].subItems.value(key - 1),
                                   Qt::CaseInsensitive);
    return descending ? c > 0 : c < 0;
  });
  std::vector<model::ItemPtr> items;
  std::vector<ListRow> rows;
  for (size_t i : order) {
    items.push_back(items_[i]);
    rows.push_back(rows_[i]);
  }
  items_ = std::move(items);
  rows_ = std::move(rows);
}

}  // namespace ordolo::session
