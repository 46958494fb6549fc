// Message files (.eml) made into drafts: each becomes a Maildir message with
// the draft flag in the store's Drafts folder, its bytes kept as they are.
#pragma once

#include <QString>
#include <QStringList>

namespace ordolo::store {
class FileStore;
}

namespace ordolo::tools {

// Whether a file is taken for import: its name ends in ".eml", in any case.
bool IsEmlName(const QString& file);

struct EmlImportResult {
  int imported = 0;
  QStringList drafts;       // the files written, in order
  QStringList notMessages;  // .eml files that hold no message (empty, binary)
  QString error;            // the Drafts folder cannot be made or written
  // What the user is told: the count with its fixed text (also for 0), then
  // the files that were not messages, then the error.
  QString message() const;
};

// Imports the .eml files among `files`, in their order; other files are
// passed over. A missing Drafts folder is made.
EmlImportResult ImportEml(store::FileStore& store, const QStringList& files);

}  // namespace ordolo::tools
