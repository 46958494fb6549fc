// The store commands of the ordolo front end: folders and list.
#pragma once

#include <QString>
#include <QStringList>

namespace ordolo::app {

struct StoreOptions {
  QString store;   // --store, else ORDOLO_STORE
  QString folder;  // --folder
  QString from, to;
};

// Exit codes as main's: 0 done, 1 failed, 2 bad usage.
int foldersCommand(const StoreOptions& options);
int listCommand(const StoreOptions& options);

}  // namespace ordolo::app
