// Address books and calendars that mail programs keep in SQLite databases,
// read as the vCard and iCalendar text the rest of the store reads. The
// database is never opened where it lies: a consistent copy of it (and of
// its write-ahead log) is read, so that no lock of the program that owns it
// is ever taken or waited for.
#pragma once

#include <QByteArray>
#include <QString>

namespace ordolo::store {

struct DatabaseText {
  bool ok = false;
  QString error;    // why it cannot be read, for the user
  QByteArray text;  // vCards or one iCalendar text
};

// Thunderbird's abook*.sqlite and history.sqlite (cards and mailing lists),
// Evolution's contacts.db.
DatabaseText ContactsFromDatabase(const QString& path);
// Thunderbird's local.sqlite or cache.sqlite: "events:<calendar id>" or
// "todos:<calendar id>" (an empty id: every calendar in the file).
DatabaseText CalendarFromDatabase(const QString& path, const QString& selector);

// The schema versions this reader knows; a newer one is refused by name.
constexpr int kEvolutionBookMaxVersion = 12;
constexpr int kThunderbirdCalendarMaxVersion = 23;

}  // namespace ordolo::store
