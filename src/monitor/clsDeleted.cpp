#include "monitor/clsDeleted.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>

#include <sqlite3.h>

#include "lang/Messages.h"
#include "ui/Port.h"
#include "util/DebugLog.h"
#include "util/Folders.h"

namespace ordolo::monitor {

namespace {

// A statement prepared for one use, finalized whatever happens.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr); }
  ~Statement() { sqlite3_finalize(stmt_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  bool ok() const { return stmt_ != nullptr; }
  void bind(int index, const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    sqlite3_bind_text(stmt_, index, utf8.constData(), utf8.size(), SQLITE_TRANSIENT);
  }
  int step() { return stmt_ ? sqlite3_step(stmt_) : SQLITE_MISUSE; }

 private:
  sqlite3_stmt* stmt_ = nullptr;
};

QString Now() { return QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddhhmmss")); }

}  // namespace

clsDeleted::clsDeleted(ui::Port* port) : port_(port) {}

clsDeleted::~clsDeleted() {
  CloseIt();
  if (db_) sqlite3_close(db_);
}

QString clsDeleted::FileFor(const QString& name) {
  QString stem = name;
  stem.replace(QLatin1Char('/'), QLatin1Char('_'));
  // 255 bytes make a file name; leave room for the WAL file's suffix.
  if (stem.isEmpty() || stem.toUtf8().size() > 200)
    stem = QStringLiteral("folder-") +
           QString::fromLatin1(QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha256).toHex());
  return util::UserFolder() + stem + QStringLiteral(".sqlite");
}

bool clsDeleted::fail(const QString& what) {
  error_ = what;
  util::DebugLog::write(QStringLiteral("Printed-item store %1: %2").arg(file_, what));
  return false;
}

bool clsDeleted::exec(const char* sql) {
  char* message = nullptr;
  if (sqlite3_exec(db_, sql, nullptr, nullptr, &message) == SQLITE_OK) return true;
  const QString why = QString::fromUtf8(message ? message : sqlite3_errmsg(db_));
  sqlite3_free(message);
  return fail(why);
}

bool clsDeleted::Init(const QString& name) {
  CloseIt();
  if (db_) sqlite3_close(db_);
  db_ = nullptr;
  file_ = FileFor(name);
  stamp_ = Now();
  QDir().mkpath(QFileInfo(file_).path());
  QString why;
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(file_.toUtf8().constData(), &db,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr) != SQLITE_OK) {
    why = QString::fromUtf8(db ? sqlite3_errmsg(db) : "out of memory");
    sqlite3_close(db);
  } else {
    db_ = db;
    sqlite3_busy_timeout(db_, 5000);
    // The schema, and a read that finds out whether the file is a database
    // at all (a corrupt or foreign file fails here, not at the first check).
    if (!exec("PRAGMA journal_mode=WAL;") || !exec("PRAGMA synchronous=FULL;") ||
        !exec("CREATE TABLE IF NOT EXISTS Store (UID TEXT NOT NULL, TimeStamp TEXT NOT NULL DEFAULT '');"
              "CREATE INDEX IF NOT EXISTS PrimaryKey ON Store (UID);")) {
      why = error_;
      sqlite3_close(db_);
      db_ = nullptr;
    }
  }
  if (db_) return true;
  fail(why);
  if (port_)
    port_->message(lang::text(lang::Msg::MonSqliteOpen).arg(file_, why) + QStringLiteral("\r\n") +
                       lang::text(lang::Msg::MonCannotRun),
                   ui::Buttons::Ok, ui::Icon::Critical);
  return false;
}

bool clsDeleted::Add(const QString& uid) {
  if (!db_ || uid.isEmpty()) return db_ != nullptr;
  if (Find(uid)) return true;
  Statement insert(db_, "INSERT INTO Store (UID, TimeStamp) VALUES (?1, ?2)");
  insert.bind(1, uid);
  insert.bind(2, stamp_);
  if (insert.step() != SQLITE_DONE) return fail(QString::fromUtf8(sqlite3_errmsg(db_)));
  return true;
}

bool clsDeleted::Find(const QString& uid) {
  if (!db_) return false;
  Statement find(db_, "SELECT 1 FROM Store WHERE UID = ?1 LIMIT 1");
  if (!find.ok()) return fail(QString::fromUtf8(sqlite3_errmsg(db_)));
  find.bind(1, uid);
  const int rc = find.step();
  // A read that fails is not "not printed": the caller asks lastError().
  if (rc != SQLITE_ROW && rc != SQLITE_DONE) fail(QString::fromUtf8(sqlite3_errmsg(db_)));
  return rc == SQLITE_ROW;
}

bool clsDeleted::Del(const QString& uid) {
  if (!db_) return false;
  Statement del(db_, "DELETE FROM Store WHERE UID = ?1");
  del.bind(1, uid);
  if (del.step() != SQLITE_DONE) return fail(QString::fromUtf8(sqlite3_errmsg(db_)));
  return true;
}

bool clsDeleted::begin() { return db_ && exec("BEGIN IMMEDIATE;"); }
bool clsDeleted::commit() { return db_ && exec("COMMIT;"); }
void clsDeleted::rollback() {
  if (db_ && !sqlite3_get_autocommit(db_)) exec("ROLLBACK;");
}

void clsDeleted::GetFirst() {
  CloseIt();
  if (!db_) return;
  if (sqlite3_prepare_v2(db_, "SELECT UID FROM Store WHERE TimeStamp <> ?1 ORDER BY rowid", -1, &walk_, nullptr) !=
      SQLITE_OK) {
    walk_ = nullptr;
    return;
  }
  const QByteArray stamp = stamp_.toUtf8();
  sqlite3_bind_text(walk_, 1, stamp.constData(), stamp.size(), SQLITE_TRANSIENT);
  eof_ = false;
  MoveNext();
}

void clsDeleted::MoveNext() {
  if (!walk_ || eof_) return;
  if (sqlite3_step(walk_) == SQLITE_ROW) {
    uid_ = QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(walk_, 0)));
  } else {
    eof_ = true;
    uid_.clear();
  }
}

void clsDeleted::DelUID() {
  if (!eof_ && !uid_.isEmpty()) Del(uid_);
}

void clsDeleted::CloseIt() {
  if (walk_) sqlite3_finalize(walk_);
  walk_ = nullptr;
  eof_ = true;
  uid_.clear();
}

}  // namespace ordolo::monitor
