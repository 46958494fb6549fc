#include "store/Databases.h"

#include "util/Folders.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>
#include <QTimeZone>
#include <QUrl>

#include <sqlite3.h>
#include <sys/stat.h>

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace ordolo::store {

namespace {

// ------------------------------------------------------------ a safe copy

struct FileState {
  qint64 size = -1, modifiedNs = -1;
  bool operator==(const FileState& o) const { return size == o.size && modifiedNs == o.modifiedNs; }
};

FileState stateOf(const QString& path) {
  struct stat st {};
  if (::stat(QFile::encodeName(path).constData(), &st) != 0) return {};
  return {qint64(st.st_size), qint64(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
}

// The files a database is: the file, its write-ahead log, its rollback journal.
const char* const kCompanions[] = {"", "-wal", "-journal"};

// Sizes and times, and what SQLite itself counts: the database's change
// counter (bytes 24-27, one more for each write) and the log's header (its
// salts change when the log starts over). Times alone can miss a change on
// file systems that keep them coarsely, and a database keeps its size.
struct DatabaseState {
  FileState files[3];
  QByteArray counters;
  bool operator==(const DatabaseState& o) const {
    return files[0] == o.files[0] && files[1] == o.files[1] && files[2] == o.files[2] && counters == o.counters;
  }
};

DatabaseState databaseState(const QString& path) {
  DatabaseState s;
  for (int i = 0; i < 3; ++i) s.files[i] = stateOf(path + QLatin1String(kCompanions[i]));
  QFile db(path);
  if (db.open(QIODevice::ReadOnly) && db.seek(24)) s.counters = db.read(4);
  QFile wal(path + QStringLiteral("-wal"));
  if (wal.open(QIODevice::ReadOnly)) s.counters += wal.read(32);
  return s;
}

// Copies of databases, the newest per file, kept while the file stays as it
// is: the events and the tasks folder of one calendar file, and a folder
// read again, need no copy of their own.
struct CopyCache {
  struct Copy {
    DatabaseState state;
    std::shared_ptr<QTemporaryDir> dir;
  };
  std::mutex mutex;
  std::map<QString, Copy> copies;
};
CopyCache& copyCache() {
  static CopyCache cache;
  return cache;
}

// A read-only view of a database through a copy in a private folder.
class Snapshot {
 public:
  ~Snapshot() {
    if (db_) sqlite3_close(db_);
  }
  bool open(const QString& path, QString* error) {
    if (!QFileInfo(path).isFile()) {
      *error = QStringLiteral("no such file");
      return false;
    }
    const QString copy = copyOf(path, error);
    if (copy.isEmpty()) return false;
    if (sqlite3_open_v2(QFile::encodeName(copy).constData(), &db_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
      *error = db_ ? QString::fromUtf8(sqlite3_errmsg(db_)) : QStringLiteral("cannot be opened");
      return false;
    }
    // Not a database at all shows on the first read.
    if (sqlite3_exec(db_, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr) != SQLITE_OK) {
      *error = QStringLiteral("not an SQLite database (%1)").arg(QString::fromUtf8(sqlite3_errmsg(db_)));
      return false;
    }
    return true;
  }
  sqlite3* db() const { return db_; }

 private:
  // The copy of the database as it is now; empty and *error set when none
  // can be made.
  QString copyOf(const QString& path, QString* error) {
    CopyCache& cache = copyCache();
    std::lock_guard lock(cache.mutex);
    const DatabaseState now = databaseState(path);
    auto cached = cache.copies.find(path);
    if (cached != cache.copies.end() && cached->second.state == now && cached->second.dir->isValid()) {
      dir_ = cached->second.dir;
      return dir_->filePath(QStringLiteral("copy.sqlite"));
    }
    dir_ = std::make_shared<QTemporaryDir>(util::TempFolder() + QStringLiteral("db-XXXXXX"));
    if (!dir_->isValid()) {
      *error = QStringLiteral("no room for a copy in %1").arg(util::TempFolder());
      return {};
    }
    const QString copy = dir_->filePath(QStringLiteral("copy.sqlite"));
    // The owner may write while we copy (or close, and its log goes): copy
    // again until the files stood still from before the copy to after it.
    for (int attempt = 0; attempt < 5; ++attempt) {
      if (attempt) QThread::msleep(100);
      const DatabaseState before = databaseState(path);
      bool copied = true;
      for (int i = 0; i < 3; ++i) {
        const QString from = path + QLatin1String(kCompanions[i]), to = copy + QLatin1String(kCompanions[i]);
        QFile::remove(to);
        if (before.files[i].size > 0 || i == 0) copied = copied && QFile::copy(from, to);
      }
      if (!copied && attempt == 4) {
        QFile source(path);
        *error = source.open(QIODevice::ReadOnly) ? QStringLiteral("cannot be copied to %1").arg(copy)
                                                  : source.errorString();
        return {};
      }
      if (copied && databaseState(path) == before) {
        for (int i = 0; i < 3; ++i)
          QFile(copy + QLatin1String(kCompanions[i])).setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        cache.copies[path] = {before, dir_};
        return copy;
      }
    }
    *error = QStringLiteral("it kept changing while it was read; try again");
    return {};
  }

  std::shared_ptr<QTemporaryDir> dir_;
  sqlite3* db_ = nullptr;
};

// One statement; rows are read with next() and the column getters.
class Query {
 public:
  Query(sqlite3* db, const char* sql) { ok_ = sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr) == SQLITE_OK; }
  ~Query() { sqlite3_finalize(stmt_); }
  bool ok() const { return ok_; }
  bool next() { return ok_ && sqlite3_step(stmt_) == SQLITE_ROW; }
  QString text(int column) const {
    const auto* t = sqlite3_column_text(stmt_, column);
    return t ? QString::fromUtf8(reinterpret_cast<const char*>(t), sqlite3_column_bytes(stmt_, column)) : QString();
  }
  QByteArray bytes(int column) const {
    const auto* t = sqlite3_column_text(stmt_, column);
    return t ? QByteArray(reinterpret_cast<const char*>(t), sqlite3_column_bytes(stmt_, column)) : QByteArray();
  }
  qint64 integer(int column) const { return sqlite3_column_int64(stmt_, column); }
  // A column's index by name; -1 when the table has none (older schemas).
  int column(const char* name) const {
    for (int i = 0; i < sqlite3_column_count(stmt_); ++i)
      if (qstricmp(sqlite3_column_name(stmt_, i), name) == 0) return i;
    return -1;
  }
  QString text(const char* name) const {
    const int c = column(name);
    return c < 0 ? QString() : text(c);
  }
  bool has(const char* name) const {
    const int c = column(name);
    return c >= 0 && !isNull(c);
  }
  qint64 integer(const char* name) const {
    const int c = column(name);
    return c < 0 ? 0 : integer(c);
  }
  bool isNull(int column) const { return sqlite3_column_type(stmt_, column) == SQLITE_NULL; }
  void bind(int index, const QString& value) {
    const QByteArray v = value.toUtf8();
    sqlite3_bind_text(stmt_, index, v.constData(), v.size(), SQLITE_TRANSIENT);
  }

 private:
  sqlite3_stmt* stmt_ = nullptr;
  bool ok_ = false;
};

bool hasTable(sqlite3* db, const char* name) {
  Query q(db, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?");
  q.bind(1, QString::fromLatin1(name));
  return q.next();
}

QString lastError(sqlite3* db) { return QString::fromUtf8(sqlite3_errmsg(db)); }

// ----------------------------------------------------------------- vCards

// A text value as vCard and iCalendar write it (both escape alike).
QByteArray escapedText(const QString& value) {
  QString v = value;
  v.replace(QLatin1Char('\\'), QLatin1String("\\\\"))
      .replace(QLatin1Char(','), QLatin1String("\\,"))
      .replace(QLatin1Char(';'), QLatin1String("\\;"))
      .replace(QLatin1String("\r\n"), QLatin1String("\\n"))
      .replace(QLatin1Char('\n'), QLatin1String("\\n"))
      .replace(QLatin1Char('\r'), QLatin1String("\\n"));
  return v.toUtf8();
}

void addLine(QByteArray& card, const char* name, const QString& value) {
  if (value.trimmed().isEmpty()) return;
  card += name;
  card += ':';
  card += escapedText(value);
  card += "\r\n";
}

// A card of the address book's older form, from its properties alone.
QByteArray cardFromProperties(const QString& uid, const QHash<QString, QString>& p) {
  QByteArray card = "BEGIN:VCARD\r\nVERSION:3.0\r\n";
  addLine(card, "UID", uid);
  QString display = p.value(QStringLiteral("DisplayName"));
  if (display.isEmpty())
    display = (p.value(QStringLiteral("FirstName")) + QLatin1Char(' ') + p.value(QStringLiteral("LastName"))).trimmed();
  if (display.isEmpty()) display = p.value(QStringLiteral("PrimaryEmail"));
  addLine(card, "FN", display);
  card += "N:" + escapedText(p.value(QStringLiteral("LastName"))) + ';' + escapedText(p.value(QStringLiteral("FirstName"))) +
          ';' + escapedText(p.value(QStringLiteral("AdditionalNames"))) + ';' +
          escapedText(p.value(QStringLiteral("NamePrefix"))) + ';' + escapedText(p.value(QStringLiteral("NameSuffix"))) +
          "\r\n";
  addLine(card, "NICKNAME", p.value(QStringLiteral("NickName")));
  addLine(card, "EMAIL;TYPE=INTERNET,PREF", p.value(QStringLiteral("PrimaryEmail")));
  addLine(card, "EMAIL;TYPE=INTERNET", p.value(QStringLiteral("SecondEmail")));
  addLine(card, "TEL;TYPE=WORK", p.value(QStringLiteral("WorkPhone")));
  addLine(card, "TEL;TYPE=HOME", p.value(QStringLiteral("HomePhone")));
  addLine(card, "TEL;TYPE=FAX", p.value(QStringLiteral("FaxNumber")));
  addLine(card, "TEL;TYPE=PAGER", p.value(QStringLiteral("PagerNumber")));
  addLine(card, "TEL;TYPE=CELL", p.value(QStringLiteral("CellularNumber")));
  for (const char* where : {"Home", "Work"}) {
    const QString w = QLatin1String(where);
    auto part = [&](const char* field) { return escapedText(p.value(w + QLatin1String(field))); };
    // Address2 is the extended address, Address the street.
    const QByteArray adr = part("POBox") + ';' + part("Address2") + ';' + part("Address") + ';' + part("City") + ';' +
                           part("State") + ';' + part("ZipCode") + ';' + part("Country");
    if (adr.count(';') != adr.size()) card += "ADR;TYPE=" + w.toUpper().toLatin1() + ':' + adr + "\r\n";
  }
  addLine(card, "TITLE", p.value(QStringLiteral("JobTitle")));
  const QString org = p.value(QStringLiteral("Company"));
  const QString department = p.value(QStringLiteral("Department"));
  if (!org.isEmpty() || !department.isEmpty()) card += "ORG:" + escapedText(org) + ';' + escapedText(department) + "\r\n";
  addLine(card, "URL;TYPE=WORK", p.value(QStringLiteral("WebPage1")));
  addLine(card, "URL;TYPE=HOME", p.value(QStringLiteral("WebPage2")));
  const int year = p.value(QStringLiteral("BirthYear")).toInt(), month = p.value(QStringLiteral("BirthMonth")).toInt(),
            day = p.value(QStringLiteral("BirthDay")).toInt();
  if (month && day) card += QStringLiteral("BDAY:%1-%2-%3\r\n")
                                .arg(year ? QString::number(year).rightJustified(4, QLatin1Char('0')) : QStringLiteral("-"))
                                .arg(month, 2, 10, QLatin1Char('0'))
                                .arg(day, 2, 10, QLatin1Char('0'))
                                .toLatin1();
  addLine(card, "NOTE", p.value(QStringLiteral("Notes")));
  card += "END:VCARD\r\n";
  return card;
}

// The card text with its UID line, which older cards may lack; the list
// members point at cards by it.
QByteArray withUid(QByteArray card, const QString& uid) {
  if (card.contains("\nUID:") || card.contains("\nUID;") || uid.isEmpty()) return card;
  const int at = card.indexOf('\n', card.indexOf("VERSION"));
  if (at < 0) return card;
  return card.insert(at + 1, "UID:" + escapedText(uid) + "\r\n");
}

DatabaseText thunderbirdBook(sqlite3* db) {
  DatabaseText out;
  std::map<QString, QHash<QString, QString>> cards;
  std::vector<QString> order;
  {
    Query q(db, "SELECT card, name, value FROM properties ORDER BY rowid");
    if (!q.ok()) {
      out.error = lastError(db);
      return out;
    }
    while (q.next()) {
      const QString card = q.text(0);
      auto [it, fresh] = cards.try_emplace(card);
      if (fresh) order.push_back(card);
      it->second.insert(q.text(1), q.text(2));
    }
  }
  for (const QString& uid : order) {
    const QHash<QString, QString>& p = cards[uid];
    const QString vcard = p.value(QStringLiteral("_vCard"));
    QByteArray text = vcard.trimmed().isEmpty() ? cardFromProperties(uid, p) : withUid(vcard.trimmed().toUtf8(), uid);
    if (!text.endsWith('\n')) text += "\r\n";
    out.text += text;
  }
  // Mailing lists become group cards whose members are the cards' addresses.
  if (hasTable(db, "lists")) {
    Query lists(db, "SELECT uid, name, nickName, description FROM lists ORDER BY rowid");
    while (lists.next()) {
      QByteArray card = "BEGIN:VCARD\r\nVERSION:4.0\r\nKIND:group\r\n";
      addLine(card, "UID", lists.text(0));
      addLine(card, "FN", lists.text(1));
      addLine(card, "NICKNAME", lists.text(2));
      addLine(card, "NOTE", lists.text(3));
      Query members(db, "SELECT card FROM list_cards WHERE list = ? ORDER BY rowid");
      members.bind(1, lists.text(0));
      while (members.next()) {
        const QString member = members.text(0);
        const auto found = cards.find(member);
        const QString address = found == cards.end() ? QString() : found->second.value(QStringLiteral("PrimaryEmail"));
        if (address.isEmpty()) {
          card += "MEMBER:urn:uuid:" + escapedText(member) + "\r\n";
          continue;
        }
        const QString name = found->second.value(QStringLiteral("DisplayName"));
        const QString who = name.isEmpty() ? address : QStringLiteral("%1 <%2>").arg(name, address);
        card += "MEMBER:mailto:" + QUrl::toPercentEncoding(who, "@<> ") + "\r\n";
      }
      card += "END:VCARD\r\n";
      out.text += card;
    }
  }
  out.ok = true;
  return out;
}

DatabaseText evolutionBook(sqlite3* db) {
  DatabaseText out;
  Query folders(db, "SELECT folder_id, version FROM folders");
  if (!folders.next()) {
    out.error = QStringLiteral("an Evolution address book without its folders table entry");
    return out;
  }
  const QString table = folders.text(0);
  const int version = int(folders.integer(1));
  if (version > kEvolutionBookMaxVersion) {
    out.error = QStringLiteral("an Evolution address book of a newer kind (version %1; this Ordolo reads up to %2)")
                    .arg(version)
                    .arg(kEvolutionBookMaxVersion);
    return out;
  }
  const QByteArray sql = "SELECT vcard FROM \"" + QString(table).replace(QLatin1Char('"'), QLatin1String("\"\"")).toUtf8() +
                         "\" ORDER BY rowid";
  Query q(db, sql.constData());
  if (!q.ok()) {
    out.error = QStringLiteral("an Evolution address book this Ordolo cannot read (%1)").arg(lastError(db));
    return out;
  }
  while (q.next()) {
    QByteArray card = q.bytes(0).trimmed();
    if (card.isEmpty()) continue;
    out.text += card + "\r\n";
  }
  out.ok = true;
  return out;
}

// ---------------------------------------------------------------- calendar

// Thunderbird's item flags (calStorageHelpers).
constexpr qint64 kFlagAllDay = 8;
constexpr qint64 kFlagRecurrenceIdAllDay = 512;


// A value kept as iCalendar writes it (a list already joined, a URI), or a
// name: on one line, whatever the file held.
QByteArray oneLine(const QString& value) {
  QString v = value;
  v.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
  return v.toUtf8();
}

// A parameter's value, quoted where iCalendar needs it (":", ";", ",").
QByteArray paramValue(const QString& value) {
  QString v = QString::fromUtf8(oneLine(value));
  v.remove(QLatin1Char('"'));
  if (v.contains(QLatin1Char(':')) || v.contains(QLatin1Char(';')) || v.contains(QLatin1Char(',')))
    return '"' + v.toUtf8() + '"';
  return v.toUtf8();
}

// A time as Thunderbird keeps it (microseconds since 1970 and a zone:
// "UTC", "floating" or a zone name) as an iCalendar property.
QByteArray icalTime(const char* name, qint64 microseconds, const QString& zone, bool date) {
  const QDateTime utc = QDateTime::fromMSecsSinceEpoch(microseconds / 1000, Qt::UTC);
  QByteArray line = name;
  // Dates and floating times are kept as if their wall clock were UTC.
  if (date) return line + ";VALUE=DATE:" + utc.toString(QStringLiteral("yyyyMMdd")).toLatin1() + "\r\n";
  if (zone == QLatin1String("floating"))
    return line + ':' + utc.toString(QStringLiteral("yyyyMMddTHHmmss")).toLatin1() + "\r\n";
  const QTimeZone tz(zone.toUtf8());
  if (zone.isEmpty() || zone == QLatin1String("UTC") || !tz.isValid())
    return line + ':' + utc.toString(QStringLiteral("yyyyMMddTHHmmssZ")).toLatin1() + "\r\n";
  return line + ";TZID=" + zone.toUtf8() + ':' +
         utc.toTimeZone(tz).toString(QStringLiteral("yyyyMMddTHHmmss")).toLatin1() + "\r\n";
}

// Lines kept as iCalendar text in a table: attendees, rules, alarms, ...
QByteArray asLines(const QString& ical) {
  QByteArray text = ical.toUtf8().trimmed();
  text.replace("\r\n", "\n").replace('\n', "\r\n");
  return text.isEmpty() ? text : text + "\r\n";
}

// The rows of one calendar (all of them for an empty id), in file order.
std::unique_ptr<Query> rowsOf(sqlite3* db, const char* table, const QString& calId) {
  const QByteArray sql = QByteArray("SELECT * FROM ") + table + " WHERE ?1 = '' OR cal_id = ?1 ORDER BY rowid";
  auto q = std::make_unique<Query>(db, sql.constData());
  q->bind(1, calId);
  return q;
}

struct ItemKey {
  QString item, recurrence;
  bool operator<(const ItemKey& o) const { return item != o.item ? item < o.item : recurrence < o.recurrence; }
};

// The rows of a side table for one calendar, by item and occurrence.
std::map<ItemKey, QStringList> sideTable(sqlite3* db, const char* table, const char* column, const QString& calId,
                                         bool perOccurrence = true) {
  std::map<ItemKey, QStringList> out;
  if (!hasTable(db, table)) return out;
  const auto rows = rowsOf(db, table, calId);
  Query& q = *rows;
  while (q.next()) {
    const ItemKey key{q.text("item_id"), perOccurrence && q.has("recurrence_id")
                                             ? QString::number(q.integer("recurrence_id"))
                                             : QString()};
    out[key] << q.text(column);
  }
  return out;
}

DatabaseText thunderbirdCalendar(sqlite3* db, const QString& selector) {
  DatabaseText out;
  if (hasTable(db, "cal_calendar_schema_version")) {
    Query v(db, "SELECT version FROM cal_calendar_schema_version");
    if (v.next() && v.integer(0) > kThunderbirdCalendarMaxVersion) {
      out.error = QStringLiteral("a Thunderbird calendar of a newer kind (version %1; this Ordolo reads up to %2)")
                      .arg(v.integer(0))
                      .arg(kThunderbirdCalendarMaxVersion);
      return out;
    }
  }
  const bool todos = selector.startsWith(QLatin1String("todos"));
  const QString calId = selector.section(QLatin1Char(':'), 1);
  // Properties with their parameters, attendees, rules and the rest, by item.
  std::map<ItemKey, std::vector<std::pair<QString, QString>>> properties;
  if (hasTable(db, "cal_properties")) {
    const auto rows = rowsOf(db, "cal_properties", calId);
    Query& q = *rows;
    while (q.next()) {
      const ItemKey key{q.text("item_id"),
                        q.has("recurrence_id") ? QString::number(q.integer("recurrence_id")) : QString()};
      properties[key].emplace_back(q.text("key"), q.text("value"));
    }
  }
  std::map<std::pair<ItemKey, QString>, QStringList> parameters;
  if (hasTable(db, "cal_parameters")) {
    const auto rows = rowsOf(db, "cal_parameters", calId);
    Query& q = *rows;
    while (q.next()) {
      const ItemKey key{q.text("item_id"),
                        q.has("recurrence_id") ? QString::number(q.integer("recurrence_id")) : QString()};
      parameters[{key, q.text("key1")}] << QString::fromUtf8(oneLine(q.text("key2")) + '=' + paramValue(q.text("value")));
    }
  }
  const auto attendees = sideTable(db, "cal_attendees", "icalString", calId);
  const auto rules = sideTable(db, "cal_recurrence", "icalString", calId, false);
  const auto alarms = sideTable(db, "cal_alarms", "icalString", calId);
  const auto attachments = sideTable(db, "cal_attachments", "icalString", calId);
  const auto relations = sideTable(db, "cal_relations", "icalString", calId);

  out.text = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Ordolo//Thunderbird calendar//EN\r\n";
  const auto rows = rowsOf(db, todos ? "cal_todos" : "cal_events", calId);
  Query& q = *rows;
  if (!q.ok()) {
    out.error = QStringLiteral("a Thunderbird calendar this Ordolo cannot read (%1)").arg(lastError(db));
    return out;
  }
  while (q.next()) {
    if (q.integer("offline_journal") == 4) continue;  // deleted while offline, not yet sent
    const qint64 flags = q.integer("flags");
    const bool allDay = flags & kFlagAllDay;
    const ItemKey key{q.text("id"), q.has("recurrence_id") ? QString::number(q.integer("recurrence_id")) : QString()};
    QByteArray c = todos ? "BEGIN:VTODO\r\n" : "BEGIN:VEVENT\r\n";
    c += "UID:" + escapedText(key.item) + "\r\n";
    if (q.has("recurrence_id"))
      c += icalTime("RECURRENCE-ID", q.integer("recurrence_id"), q.text("recurrence_id_tz"),
                    flags & kFlagRecurrenceIdAllDay);
    if (!q.text("title").isEmpty()) c += "SUMMARY:" + escapedText(q.text("title")) + "\r\n";
    if (todos) {
      if (q.has("todo_entry")) c += icalTime("DTSTART", q.integer("todo_entry"), q.text("todo_entry_tz"), allDay);
      if (q.has("todo_due")) c += icalTime("DUE", q.integer("todo_due"), q.text("todo_due_tz"), allDay);
      if (q.has("todo_completed")) c += icalTime("COMPLETED", q.integer("todo_completed"), QStringLiteral("UTC"), false);
      if (q.has("todo_complete")) c += "PERCENT-COMPLETE:" + QByteArray::number(q.integer("todo_complete")) + "\r\n";
      if (q.has("todo_stamp")) c += icalTime("DTSTAMP", q.integer("todo_stamp"), QStringLiteral("UTC"), false);
    } else {
      if (q.has("event_start")) c += icalTime("DTSTART", q.integer("event_start"), q.text("event_start_tz"), allDay);
      if (q.has("event_end")) c += icalTime("DTEND", q.integer("event_end"), q.text("event_end_tz"), allDay);
      if (q.has("event_stamp")) c += icalTime("DTSTAMP", q.integer("event_stamp"), QStringLiteral("UTC"), false);
    }
    if (q.has("time_created")) c += icalTime("CREATED", q.integer("time_created"), QStringLiteral("UTC"), false);
    if (q.has("last_modified"))
      c += icalTime("LAST-MODIFIED", q.integer("last_modified"), QStringLiteral("UTC"), false);
    if (q.has("priority") && q.integer("priority")) c += "PRIORITY:" + QByteArray::number(q.integer("priority")) + "\r\n";
    if (!q.text("privacy").isEmpty()) c += "CLASS:" + oneLine(q.text("privacy")) + "\r\n";
    if (!q.text("ical_status").isEmpty()) c += "STATUS:" + oneLine(q.text("ical_status")) + "\r\n";
    if (const auto p = properties.find(key); p != properties.end()) {
      for (const auto& [name, value] : p->second) {
        // A property name is letters, digits and "-"; anything else is no property.
        static const QRegularExpression propertyName(QStringLiteral("^[A-Za-z0-9-]+$"));
        if (!propertyName.match(name).hasMatch() || name.compare(QLatin1String("BEGIN"), Qt::CaseInsensitive) == 0 ||
            name.compare(QLatin1String("END"), Qt::CaseInsensitive) == 0)
          continue;
        QByteArray line = name.toUtf8();
        if (const auto params = parameters.find({key, name}); params != parameters.end())
          for (const QString& param : params->second) line += ';' + param.toUtf8();
        // Lists are kept joined as iCalendar joins them, URIs as they are;
        // text (X- properties too) is kept plain and escaped here.
        const bool raw = name == QLatin1String("CATEGORIES") || name == QLatin1String("URL") ||
                         name == QLatin1String("RESOURCES");
        c += line + ':' + (raw ? oneLine(value) : escapedText(value)) + "\r\n";
      }
    }
    for (const auto* table : {&attendees, &alarms, &attachments, &relations})
      if (const auto a = table->find(key); a != table->end())
        for (const QString& ical : a->second) c += asLines(ical);
    if (key.recurrence.isEmpty())
      if (const auto r = rules.find({key.item, QString()}); r != rules.end())
        for (const QString& ical : r->second) c += asLines(ical);
    c += todos ? "END:VTODO\r\n" : "END:VEVENT\r\n";
    out.text += c;
  }
  out.text += "END:VCALENDAR\r\n";
  out.ok = true;
  return out;
}

}  // namespace

DatabaseText ContactsFromDatabase(const QString& path) {
  DatabaseText out;
  Snapshot snapshot;
  if (!snapshot.open(path, &out.error)) return out;
  sqlite3* db = snapshot.db();
  if (hasTable(db, "properties")) return thunderbirdBook(db);
  if (hasTable(db, "folders")) return evolutionBook(db);
  out.error = QStringLiteral("not an address book this Ordolo knows (neither Thunderbird's nor Evolution's)");
  return out;
}

}  // namespace ordolo::store

namespace ordolo::store {

DatabaseText CalendarFromDatabase(const QString& path, const QString& selector) {
  DatabaseText out;
  Snapshot snapshot;
  if (!snapshot.open(path, &out.error)) return out;
  if (!hasTable(snapshot.db(), "cal_events") || !hasTable(snapshot.db(), "cal_todos")) {
    out.error = QStringLiteral("not a Thunderbird calendar (it has no cal_events and cal_todos tables)");
    return out;
  }
  return thunderbirdCalendar(snapshot.db(), selector);
}

}  // namespace ordolo::store
