#include "tools/Duplicates.h"

#include "util/SignalsHeld.h"

namespace ordolo::tools {

QString RowKey(const session::ListRow& row, DedupMode mode) {
  const QStringList& cells = row.subItems;
  // Cell by cell: joined with a separator no cell holds, so that "ab"+"c"
  // and "a"+"bc" stay different rows.
  return (mode == DedupMode::Physical ? QStringList(cells.mid(0, 8)) : cells).join(QChar(0x1F));
}

DedupResult RemoveDuplicates(session::Start& list, const DedupRequest& request) {
  DedupResult result;
  const bool physical = request.mode == DedupMode::Physical;
  if (!physical) {
    // Duplicates next to each other: mails by their received time, appointments
    // by their start (each column sorts by its hidden stamp).
    if (list.kind() == model::olMail) list.sortBy(5);
    if (list.kind() == model::olAppointment) list.sortBy(2);
  }
  for (size_t i = 0; i < list.rows().size(); ++i) {
    if (request.stopRequested && request.stopRequested()) {
      result.stopped = true;
      break;
    }
    const QString key = RowKey(list.rows()[i], request.mode);
    int misses = 0;
    for (size_t j = i + 1; j < list.rows().size();) {
      if (RowKey(list.rows()[j], request.mode) != key) {
        if (!physical || ++misses >= 10) break;
        ++j;
        continue;
      }
      misses = 0;
      const model::ItemPtr item = list.items()[j];
      DedupRemoved removed{item->EntryID(), list.rows()[j].subItems.join(QLatin1Char('\t')), {}, {}};
      if (physical && !request.dryRun) {
        // A move is done whole or not at all, also when a signal comes.
        const util::SignalsHeld held;
        if (item->Delete(&removed.error)) removed.movedTo = item->DeletedTo();
      }
      result.removed.push_back(removed);
      list.removeRow(int(j));
    }
  }
  return result;
}

}  // namespace ordolo::tools
