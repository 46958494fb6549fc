// The tools from the command line: duplicate removal, .eml import, the
// template folder (open a template, move the folder) and the attachment
// options.
#pragma once

#include <QString>
#include <QStringList>

#include "app/StoreCommands.h"

namespace ordolo::app {

struct DedupOptions {
  StoreOptions store;
  bool physical = false;  // move the duplicates' files to Deleted Items
  bool dryRun = false;    // say what would go, change nothing
};

// Exit codes as main's: 0 done, 1 failed, 2 bad usage.
int dedupCommand(const DedupOptions& options);
int importEmlCommand(const StoreOptions& options, const QStringList& files);
int templateEditCommand(const QString& name);
int templateMoveCommand(const QString& folder);
// options get KEY | options set KEY VALUE | options list
int optionsCommand(const QStringList& args);

}  // namespace ordolo::app
