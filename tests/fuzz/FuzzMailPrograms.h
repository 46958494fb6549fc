// The mail programs' own files: their settings (profiles.ini, prefs.js, the
// vdirsyncer, khal and khard configurations, an Evolution source) as the
// store finder reads them, and the values in their databases as the store
// turns them into vCards and iCalendar text. Shared by the libFuzzer
// targets and the corpus replay test.
#pragma once

#include "fuzz/FuzzTouches.h"
#include "store/Databases.h"
#include "store/Profiles.h"

#include <sqlite3.h>

namespace ordolo::fuzz {

// The input's parts, split at lines "--8<--".
inline QList<QByteArray> partsOf(const QByteArray& bytes, int count) {
  QList<QByteArray> parts = bytes.split('\n');
  QList<QByteArray> out{QByteArray()};
  for (const QByteArray& line : parts) {
    if (line == "--8<--" && out.size() < count) out << QByteArray();
    else out.last() += line + '\n';
  }
  while (out.size() < count) out << QByteArray();
  return out;
}

// A home folder whose mail programs' settings are the input: every store
// found opens, and its folders and their items are read.
inline Outcome touchProfiles(ScratchStore& scratch, const QByteArray& bytes) {
  const QString home = QFileInfo(scratch.writeFile("home-marker", {})).path() + QStringLiteral("/home");
  QDir(home).removeRecursively();
  const QList<QByteArray> parts = partsOf(bytes, 6);
  const char* const files[] = {".thunderbird/profiles.ini", ".thunderbird/p/prefs.js", ".config/vdirsyncer/config",
                               ".config/khal/config",      ".config/khard/khard.conf",
                               ".config/evolution/sources/s.source"};
  for (int i = 0; i < 6; ++i) {
    const QString path = home + QLatin1Char('/') + QLatin1String(files[i]);
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    if (f.open(QIODevice::WriteOnly)) f.write(parts[i]);
  }
  // What the settings may point at.
  QDir().mkpath(home + QStringLiteral("/.thunderbird/p/Mail/Local Folders"));
  QFile inbox(home + QStringLiteral("/.thunderbird/p/Mail/Local Folders/Inbox"));
  if (inbox.open(QIODevice::WriteOnly)) inbox.write("From - Mon Mar  2 08:00:00 2026\nSubject: s\n\nbody\n\n");
  inbox.close();
  QDir().mkpath(home + QStringLiteral("/.calendars/a"));
  QDir().mkpath(home + QStringLiteral("/.local/share/evolution/calendar/s"));
  qputenv("HOME", QFile::encodeName(home));
  qunsetenv("XDG_DATA_HOME");
  qunsetenv("XDG_CONFIG_HOME");
  qunsetenv("VDIRSYNCER_CONFIG");
  qunsetenv("KHARD_CONFIG");
  qputenv("ORDOLO_HOME", QFile::encodeName(home + QStringLiteral("/ordolo")));
  const store::FoundStores found = store::FindStores();
  int folders = 0;
  for (const store::StoreLayout& layout : found.stores) {
    // Every mount lies where the settings say, or the store is not offered.
    for (const store::StoreMount& m : layout.mounts)
      if (!QFileInfo::exists(m.path)) __builtin_trap();
    QString why;
    auto opened = store::FileStore::open(layout, &why);
    if (!opened) continue;
    std::vector<model::FolderPtr> level = opened->Folders();
    for (int depth = 0; depth < 3 && !level.empty(); ++depth) {
      std::vector<model::FolderPtr> next;
      for (const model::FolderPtr& f : level) {
        ++folders;
        use(f->GetItems()->Count());
        for (const model::FolderPtr& sub : f->Folders()) next.push_back(sub);
      }
      level = std::move(next);
    }
  }
  return Outcome{true, {}, folders};
}

inline void sql(sqlite3* db, const char* text) { sqlite3_exec(db, text, nullptr, nullptr, nullptr); }

// Binds the values and runs one statement.
inline void insert(sqlite3* db, const char* text, const QList<QByteArray>& values) {
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(db, text, -1, &stmt, nullptr) != SQLITE_OK) return;
  for (int i = 0; i < values.size(); ++i)
    sqlite3_bind_text(stmt, i + 1, values[i].constData(), values[i].size(), SQLITE_TRANSIENT);
  sqlite3_step(stmt);
  sqlite3_finalize(stmt);
}

// The input's lines as the values of an address book's cards and of a
// calendar's events (titles, classes, states, properties and parameters):
// whatever a value holds, the text made of them has exactly one card per
// card and one event per event.
inline Outcome touchDatabases(ScratchStore& scratch, const QByteArray& bytes) {
  QList<QByteArray> values = bytes.split('\n');
  while (values.size() < 8) values << QByteArray();
  values = values.mid(0, 64);
  const QString book = scratch.writeFile("abook.sqlite", {});
  const QString calendar = scratch.writeFile("local.sqlite", {});
  for (const QString& path : {book, calendar})
    for (const char* end : {"-wal", "-journal"}) QFile::remove(path + QLatin1String(end));
  sqlite3* db = nullptr;
  if (sqlite3_open(QFile::encodeName(book).constData(), &db) != SQLITE_OK) return Outcome{true, {}, 0};
  sql(db, "CREATE TABLE properties (card TEXT, name TEXT, value TEXT);"
          "CREATE TABLE lists (uid TEXT PRIMARY KEY, name TEXT, nickName TEXT, description TEXT);"
          "CREATE TABLE list_cards (list TEXT, card TEXT, PRIMARY KEY(list, card));");
  static const char* const names[] = {"DisplayName", "FirstName", "LastName", "PrimaryEmail", "NickName",
                                      "WorkPhone",   "HomeCity",  "Company",  "Notes",        "BirthDay",
                                      "BirthMonth",  "BirthYear", "WebPage1"};
  const int cards = 1 + values.size() / 4;
  for (int i = 0; i < values.size(); ++i)
    insert(db, "INSERT INTO properties VALUES (?1, ?2, ?3)",
           {"card-" + QByteArray::number(i % cards), names[i % 13], values[i]});
  insert(db, "INSERT INTO lists VALUES ('list', ?1, ?2, ?3)", {values[0], values[1], values[2]});
  insert(db, "INSERT INTO list_cards VALUES ('list', 'card-0')", {});
  sqlite3_close(db);
  const store::DatabaseText cardText = store::ContactsFromDatabase(book);
  if (!cardText.ok) __builtin_trap();
  const store::ParsedCards parsed = store::ParseVCards(cardText.text);
  if (!parsed.ok || int(parsed.cards.size()) != cards + 1) __builtin_trap();

  if (sqlite3_open(QFile::encodeName(calendar).constData(), &db) != SQLITE_OK) return Outcome{true, {}, 0};
  sql(db, "CREATE TABLE cal_events (cal_id TEXT, id TEXT, time_created INTEGER, last_modified INTEGER, title TEXT,"
          " priority INTEGER, privacy TEXT, ical_status TEXT, flags INTEGER, event_start INTEGER, event_end INTEGER,"
          " event_stamp INTEGER, event_start_tz TEXT, event_end_tz TEXT, recurrence_id INTEGER,"
          " recurrence_id_tz TEXT, alarm_last_ack INTEGER, offline_journal INTEGER);"
          "CREATE TABLE cal_todos (cal_id TEXT, id TEXT, title TEXT, flags INTEGER, todo_due INTEGER,"
          " todo_due_tz TEXT, recurrence_id INTEGER);"
          "CREATE TABLE cal_properties (item_id TEXT, key TEXT, value BLOB, recurrence_id INTEGER,"
          " recurrence_id_tz TEXT, cal_id TEXT);"
          "CREATE TABLE cal_parameters (cal_id TEXT, item_id TEXT, recurrence_id INTEGER, recurrence_id_tz TEXT,"
          " key1 TEXT, key2 TEXT, value BLOB);");
  const int events = 1 + values.size() / 8;
  for (int e = 0; e < events; ++e) {
    const QByteArray id = "event-" + QByteArray::number(e);
    auto v = [&](int k) { return values[(e * 8 + k) % values.size()]; };
    insert(db,
           "INSERT INTO cal_events (cal_id, id, title, privacy, ical_status, flags, event_start, event_end,"
           " event_start_tz, event_end_tz) VALUES ('c', ?1, ?2, ?3, ?4, 0, 1772438400000000, 1772442000000000, ?5,"
           " 'UTC')",
           {id, v(0), v(1), v(2), v(3)});
    for (const char* key : {"DESCRIPTION", "LOCATION", "X-ALT-DESC", "CATEGORIES", "URL"})
      insert(db, "INSERT INTO cal_properties (item_id, key, value, cal_id) VALUES (?1, ?2, ?3, 'c')",
             {id, key, v(4)});
    insert(db, "INSERT INTO cal_properties (item_id, key, value, cal_id) VALUES (?1, ?2, ?3, 'c')", {id, v(5), v(6)});
    insert(db,
           "INSERT INTO cal_parameters (cal_id, item_id, key1, key2, value) VALUES ('c', ?1, 'DESCRIPTION', ?2, ?3)",
           {id, v(6), v(7)});
  }
  sqlite3_close(db);
  const store::DatabaseText calendarText = store::CalendarFromDatabase(calendar, QStringLiteral("events:c"));
  if (!calendarText.ok) __builtin_trap();
  const store::ParsedCalendar events_ = store::ParseCalendar(calendarText.text);
  if (events_.ok && int(events_.incidences.size()) != events) __builtin_trap();
  for (const auto& incidence : events_.incidences) use(incidence->summary().size() + incidence->description().size());
  return Outcome{true, {}, cards + events};
}

}  // namespace ordolo::fuzz
