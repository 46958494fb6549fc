// The stores that the mail programs of this machine keep, found by
// themselves: Thunderbird profiles (profiles.ini), Evolution's folders,
// KMail's local mail and contacts, and the vdirs that vdirsyncer, khal and
// khard name in their configuration. Each is opened read-only.
//
// Where they are looked for: $HOME and the XDG folders ($XDG_DATA_HOME,
// $XDG_CONFIG_HOME with their usual defaults).
#pragma once

#include "store/FileStore.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace ordolo::store {

struct FoundStores {
  std::vector<StoreLayout> stores;  // in the order they are told: the default profile first
  QStringList notices;              // what was named but cannot be read, for the user
};

FoundStores FindStores();

// A Thunderbird profile folder's store (its prefs.js names the accounts,
// address books and calendars; without it the usual file names are looked
// for); the name is the profile's.
StoreLayout ThunderbirdLayout(const QString& profileFolder, const QString& name);

// What --store names: a folder (a Thunderbird profile folder is read as
// one), or "kind" or "kind:name" as FindStores tells them. Null and *error
// set (for the user) when there is no such store.
std::shared_ptr<FileStore> OpenStore(const QString& storeArg, QString* error);

}  // namespace ordolo::store
