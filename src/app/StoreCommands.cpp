#include "app/StoreCommands.h"

#include "app/TerminalPort.h"

#include "lang/Messages.h"
#include "model/Filter.h"
#include "session/Start.h"
#include "store/FileStore.h"
#include "store/Profiles.h"
#include "tools/Find.h"
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
  QString root = o.store.isEmpty() ? qEnvironmentVariable("ORDOLO_STORE") : o.store;
  if (root.isEmpty()) {
    // None named: the first store a mail program keeps here.
    const store::FoundStores found = store::FindStores();
    if (found.stores.empty()) {
      err(text(Msg::ErrNoStore));
      return nullptr;
    }
    const store::StoreLayout& first = found.stores.front();
    root = first.kind + QLatin1Char(':') + first.name;
    err(text(Msg::StoreFound).arg(root, first.root));
  }
  QString why;
  auto s = store::OpenStore(root, &why);
  if (!s) err(why);
  return s;
}

int storesCommand() {
  const store::FoundStores found = store::FindStores();
  for (const QString& notice : found.notices) err(notice);
  if (found.stores.empty()) err(text(Msg::StoresNone));
  for (const store::StoreLayout& s : found.stores) out(QStringLiteral("%1\t%2\t%3").arg(s.kind, s.name, s.root));
  return 0;
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

model::ItemsPtr folderItems(store::FileStore& s, const StoreOptions& o, model::FolderPtr* folderOut, int* exitCode,
                            QString* totals) {
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
  const bool ranged = !o.from.isEmpty() || !o.to.isEmpty();
  const bool conditioned = !o.field.isEmpty() || !o.starts.isEmpty() || !o.contains.isEmpty();
  if (!ranged && !conditioned) {
    model::ItemsPtr all = folder->GetItems();
    for (const QString& notice : all->notices()) err(notice);
    return all;
  }
  tools::FindRequest request;
  if (ranged) {
    if (!dayRange(o, &request.from, &request.to)) {
      *exitCode = 2;
      return nullptr;
    }
    if (request.to < request.from) {
      err(text(Msg::ErrRangeReversed).arg(o.to, o.from));
      *exitCode = 2;
      return nullptr;
    }
  }
  if (conditioned) {
    const QStringList fields = tools::FieldList(folder);
    if (o.field.isEmpty()) {
      err(text(Msg::ErrMissingArgument).arg(QStringLiteral("--field")));
      *exitCode = 2;
      return nullptr;
    }
    request.condition.field = tools::FieldNamed(fields, o.field);
    if (request.condition.field.isEmpty()) {
      err(text(Msg::ErrUnknownField).arg(o.field, o.folder, fields.join(QStringLiteral(", "))));
      *exitCode = 2;
      return nullptr;
    }
    request.condition.starts = o.starts;
    request.condition.contains = o.contains;
  }
  tools::FindResult found = tools::Find(folder, request);
  if (!found.error.isEmpty()) {
    err(text(Msg::ErrFilter).arg(found.error));
    *exitCode = 1;
    return nullptr;
  }
  for (const QString& notice : found.notices) err(notice);
  if (totals && folder->DefaultItemClass() == model::olAppointment) *totals = found.totals.text();
  return std::make_shared<model::Items>(folder, std::move(found.items));
}

int foldersCommand(const StoreOptions& o) {
  auto s = openStore(o);
  if (!s) return 1;
  listFolders(s->Folders());
  return 0;
}

namespace {

// Writes the items' rows: as the print dialog lists them with --columns,
// else one line each (id, class, subject, time). The number of rows, or -1
// when they could not be listed.
int printRows(store::FileStore& s, const StoreOptions& o, const model::FolderPtr& folder, const model::Items& items) {
  if (o.columns) {
    // The item list as the print dialog shows it: headers, then one row per
    // item (key, number, sub-items).
    TerminalPort port(false);
    session::Start start(port);
    if (!start.StartPrint(model::Selection(items.all()), folder, s.CurrentUser())) return items.Count() ? -1 : 0;
    QStringList headers{QStringLiteral("Key")};
    for (const session::Column& c : session::Columns(start.kind())) headers << c.header;
    out(headers.join(QLatin1Char('\t')));
    for (const session::ListRow& row : start.rows()) {
      QStringList cells{row.key, row.text};
      for (const QString& sub : row.subItems) cells << oneLine(sub);
      out(cells.join(QLatin1Char('\t')));
    }
    return int(start.rows().size());
  }
  for (const model::ItemPtr& item : items) {
    const QDateTime t = timeOf(*item);
    const QString subject = item->Class() == model::olContact ? item->text(QStringLiteral("FullName"))
                                                              : item->text(QStringLiteral("Subject"));
    out(QStringLiteral("%1\t%2\t%3\t%4")
            .arg(item->EntryID())
            .arg(item->Class())
            .arg(oneLine(subject),
                 model::IsNoDate(t) || !t.isValid() ? QString() : t.toString(QStringLiteral("yyyy-MM-dd HH:mm"))));
  }
  return items.Count();
}

// The rows of list and find; with `withTotals` the hours of found
// appointments after them, as the find dialog's counter shows them.
int listItems(const StoreOptions& o, bool withTotals) {
  auto s = openStore(o);
  if (!s) return 1;
  model::FolderPtr folder;
  int code = 0;
  QString totals;
  model::ItemsPtr items = folderItems(*s, o, &folder, &code, withTotals ? &totals : nullptr);
  if (!items) return code;
  const int listed = printRows(*s, o, folder, *items);
  if (!totals.isEmpty()) out(QLatin1Char('\n') + totals.replace(QLatin1String("\r\n"), QLatin1String("\n")));
  return listed < 0 ? 1 : 0;
}

}  // namespace

int listCommand(const StoreOptions& o) { return listItems(o, false); }

int findCommand(const StoreOptions& o) {
  if (o.from.isEmpty() && o.to.isEmpty()) {
    err(text(Msg::ErrMissingArgument).arg(QStringLiteral("find --from/--to")));
    return 2;
  }
  return listItems(o, true);
}

}  // namespace ordolo::app
