// The store commands of the ordolo front end: folders and list, and what
// the print command shares with them (opening a store, the items of a folder
// for a date range).
#pragma once

#include <QString>
#include <QStringList>

#include <memory>

#include "model/Model.h"

namespace ordolo::store {
class FileStore;
}

namespace ordolo::app {

struct StoreOptions {
  QString store;   // --store, else ORDOLO_STORE
  QString folder;  // --folder
  QString from, to;
  bool columns = false;             // list --columns
  QString field, starts, contains;  // --field, --starts, --contains
};

// Exit codes as main's: 0 done, 1 failed, 2 bad usage.
// The stores the mail programs of this machine keep: kind, name, folder.
int storesCommand();
int foldersCommand(const StoreOptions& options);
int listCommand(const StoreOptions& options);
// The items of a range, as list shows them, and for appointments the hours.
int findCommand(const StoreOptions& options);

void out(const QString& line);
void err(const QString& line);

// The store named by the options or ORDOLO_STORE; null (told) when none opens.
std::shared_ptr<store::FileStore> openStore(const StoreOptions& options);
// The folder's items: all of them in the folder's order, or with from/to
// those of the range for the folder's kind, sorted by its key; with --field
// only those meeting the condition. Null with an exit code in *exitCode
// when the folder, the dates or the field are wrong. *totals (when given)
// receives the hours of found appointments.
model::ItemsPtr folderItems(store::FileStore& store, const StoreOptions& options, model::FolderPtr* folder,
                            int* exitCode, QString* totals = nullptr);
// The days of --from/--to (one alone is that day); false, told, when one is
// not a date.
bool dayRange(const StoreOptions& options, QDate* from, QDate* to);

}  // namespace ordolo::app
