// Duplicate removal over an item list: rows whose column texts are equal.
// In the list-only mode rows leave the list; in the physical mode the
// repeated items are also deleted (moved to Deleted Items, never erased).
#pragma once

#include <QString>
#include <QStringList>

#include <functional>

#include "session/Start.h"

namespace ordolo::tools {

enum class DedupMode { ListOnly, Physical };

struct DedupRemoved {
  QString entryId, text;  // the item, and its row's texts
  QString movedTo;        // physical: where its file went; empty when it stayed
  QString error;          // physical: why it could not be deleted
};

struct DedupResult {
  std::vector<DedupRemoved> removed;
  bool stopped = false;
};

struct DedupRequest {
  DedupMode mode = DedupMode::ListOnly;
  bool dryRun = false;  // physical: say what would move, move nothing
  std::function<bool()> stopRequested;
};

// A row's key: its sub-item texts, columns 1 to 8 in the physical mode, all
// of them in the list-only mode.
QString RowKey(const session::ListRow& row, DedupMode mode);

// Removes the duplicates from the list. List-only: the list is first sorted
// (mails by received time, appointments by start) and only neighbours are
// compared. Physical: each row is compared with the rows after it until ten
// in a row differ. An item that cannot be deleted leaves the list all the
// same.
DedupResult RemoveDuplicates(session::Start& list, const DedupRequest& request);

}  // namespace ordolo::tools
