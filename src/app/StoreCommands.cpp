#include "app/StoreCommands.h"

#include "app/TerminalPort.h"

#include "lang/Messages.h"
#include "model/Filter.h"
#include "session/Start.h"
#include "store/FileStore.h"
#include "util/Funktionen.h"

#include <cstdio>

namespace ordolo::app {
namespace {

using lang::Msg;
using lang::text;

void listFolders(const std::vector<model::FolderPtr>& folders) {
  for (const auto& f : folders) {
    out(QStringLiteral("%1\t%2\t%3").arg(f->FolderPath()).arg(f->DefaultItemClass()).arg(f->GetItems()->Count()));
    listFolders(f->Folders());
  }
}

// The time shown for an item: when it happens or arrived.
QDateTime timeOf(const model::Item& item) {
  switch (item.Class()) {
    case model::olAppointment:
    case model::olJournal: return item.date(QStringLiteral("Start"));
    case model::olTask: return item.date(QStringLiteral("StartDate"));
    case model::olNote: return item.date(QStringLiteral("CreationTime"));
    case model::olContact:
    case model::olDistributionList: return {};  // cards have no time of their own
    default: {
      const QVariant received = item.get(QStringLiteral("ReceivedTime"));
      return received.isValid() ? received.toDateTime() : item.date(QStringLiteral("CreationTime"));
    }
  }
}

// The date-range filter and sort key of a folder's kind of item.
struct Range {
  QString filter, sortKey;
  bool recurrences = false;
};
Range rangeFor(int itemClass, const QDate& from, const QDate& to) {
  const QString start = util::FormatDateShortTime12(QDateTime(from, QTime(0, 0)));
  const QString end = util::FormatDateShortTime12(QDateTime(to, QTime(23, 59)));
  auto between = [&](const char* property) {
    return QStringLiteral("[%1]<='%3' and [%1]>='%2'").arg(QLatin1String(property), start, end);
  };
  switch (itemClass) {
    case model::olAppointment:
    case model::olJournal:
      return {QStringLiteral("[Start]<='%2' and [End]>'%1'").arg(start, end), QStringLiteral("[Start]"), true};
    case model::olTask: return {between("DueDate"), QStringLiteral("[DueDate]")};
    case model::olNote: return {between("CreationTime"), QStringLiteral("[CreationTime]")};
    case model::olContact:
    case model::olDistributionList: return {QString(), QStringLiteral("[FullName]")};
    default: return {between("ReceivedTime"), QStringLiteral("[ReceivedTime]")};
  }
}

QString oneLine(QString s) {
  s.replace(QLatin1Char('\t'), QLatin1Char(' '))
      .replace(QLatin1Char('\r'), QLatin1Char(' '))
      .replace(QLatin1Char('\n'), QLatin1Char(' '));
  return s;
}

}  // namespace

void out(const QString& s) { std::fputs((s + QLatin1Char('\n')).toUtf8().constData(), stdout); }
void err(const QString& s) { std::fputs(("ordolo: " + s + QLatin1Char('\n')).toUtf8().constData(), stderr); }

std::shared_ptr<store::FileStore> openStore(const StoreOptions& o) {
  const QString root = o.store.isEmpty() ? qEnvironmentVariable("ORDOLO_STORE") : o.store;
  if (root.isEmpty()) {
    err(text(Msg::ErrNoStore));
    return nullptr;
  }
  auto s = store::FileStore::open(root);
  if (!s) err(text(Msg::ErrStore).arg(root));
  return s;
}

// A --from/--to text as a day; invalid when it is not a date.
static QDate parseDay(const QString& text) {
  const QDateTime d = model::ParseFilterDate(text);
  return d.isValid() ? d.date() : QDate();
}

bool dayRange(const StoreOptions& o, QDate* from, QDate* to) {
  // One of the two alone stands for that single day.
  const QString first = o.from.isEmpty() ? o.to : o.from;
  const QString last = o.to.isEmpty() ? o.from : o.to;
  *from = parseDay(first);
  *to = parseDay(last);
  if (from->isValid() && to->isValid()) return true;
  err(text(Msg::ErrBadDate).arg(!from->isValid() ? first : last));
  return false;
}

model::ItemsPtr folderItems(store::FileStore& s, const StoreOptions& o, model::FolderPtr* folderOut, int* exitCode) {
  if (o.folder.isEmpty()) {
    err(text(Msg::ErrMissingArgument).arg(QStringLiteral("--folder")));
    *exitCode = 2;
    return nullptr;
  }
  auto folder = s.folderByPath(o.folder);
  if (!folder) {
    err(text(Msg::ErrNoFolder).arg(o.folder));
    *exitCode = 1;
    return nullptr;
  }
  *folderOut = folder;
  model::ItemsPtr items = folder->GetItems();
  if (o.from.isEmpty() && o.to.isEmpty()) return items;
  QDate from, to;
  if (!dayRange(o, &from, &to)) {
    *exitCode = 2;
    return nullptr;
  }
  const Range range = rangeFor(folder->DefaultItemClass(), from, to);
  items->IncludeRecurrences = range.recurrences;
  if (!range.filter.isEmpty()) {
    QString why;
    items = items->Restrict(range.filter, &why);
    if (!items) {
      err(text(Msg::ErrFilter).arg(why));
      *exitCode = 1;
      return nullptr;
    }
  }
  items->Sort(range.sortKey);
  return items;
}

int foldersCommand(const StoreOptions& o) {
  auto s = openStore(o);
  if (!s) return 1;
  listFolders(s->Folders());
  return 0;
}

int listCommand(const StoreOptions& o) {
  auto s = openStore(o);
  if (!s) return 1;
  model::FolderPtr folder;
  int code = 0;
  model::ItemsPtr items = folderItems(*s, o, &folder, &code);
  if (!items) return code;
  if (o.columns) {
    // The item list as the print dialog shows it: headers, then one row per
    // item (key, number, sub-items).
    TerminalPort port(false);
    session::Start start(port);
    if (!start.StartPrint(model::Selection(items->all()), folder, s->CurrentUser())) return 1;
    QStringList headers{QStringLiteral("Key")};
    for (const session::Column& c : session::Columns(start.kind())) headers << c.header;
    out(headers.join(QLatin1Char('\t')));
    for (const session::ListRow& row : start.rows()) {
      QStringList cells{row.key, row.text};
      for (const QString& sub : row.subItems) cells << oneLine(sub);
      out(cells.join(QLatin1Char('\t')));
    }
    return 0;
  }
  for (const model::ItemPtr& item : *items) {
    const QDateTime t = timeOf(*item);
    const QString subject = item->Class() == model::olContact ? item->text(QStringLiteral("FullName"))
                                                              : item->text(QStringLiteral("Subject"));
    out(QStringLiteral("%1\t%2\t%3\t%4")
            .arg(item->EntryID())
            .arg(item->Class())
            .arg(oneLine(subject),
                 model::IsNoDate(t) || !t.isValid() ? QString() : t.toString(QStringLiteral("yyyy-MM-dd HH:mm"))));
  }
  return 0;
}

}  // namespace ordolo::app
