// The print and templates commands of the ordolo front end.
#pragma once

#include "app/StoreCommands.h"

namespace ordolo::app {

struct PrintOptions {
  StoreOptions store;
  QString templateName;  // --template: a name in the template folder or a path
  QStringList items;     // --items: entry ids
  QString sort;          // --sort: a column number or header
  QString startRow = QStringLiteral("1");
  QString copies = QStringLiteral("1");
  QString printer, pdf, save;
  bool printerSet = false, show = false, yes = false;
  bool attachments = false;  // --attachments: print the items' attachments too
};

int printCommand(const PrintOptions& options);

struct MonitorCommandOptions {
  PrintOptions print;         // the store, folder, template and output
  bool printAll = false;      // --print-all
  bool everyMinutes = false;  // --every-minutes: check every five minutes, not on each change
  bool resume = false;        // --resume: keep what an earlier run recorded
};
// Watches a folder and prints what arrives until SIGINT or SIGTERM.
int monitorCommand(const MonitorCommandOptions& options);
// Lists the template folder's templates of a kind (all kinds without one).
int templatesCommand(const QString& kindLetter);

}  // namespace ordolo::app
