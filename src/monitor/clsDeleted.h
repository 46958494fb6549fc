// The printed-item store: which items of a watched folder the monitor has
// already seen (or printed), kept in one SQLite file per folder in the
// user folder, so that a monitor that starts again (or was killed) knows.
//
// Table "Store": "UID" (the item's EntryID) and "TimeStamp" (the check that
// recorded it, yyyyMMddhhmmss). Every statement binds its values, so any
// identifier can be stored. The file runs in WAL mode; a check is one
// transaction (begin/commit), so a crash never leaves half of one.
#pragma once

#include <QString>

#include <memory>

namespace ordolo::ui {
class Port;
}

struct sqlite3;
struct sqlite3_stmt;

namespace ordolo::monitor {

class clsDeleted {
 public:
  // `port` tells the user when the store cannot be opened; may be null.
  explicit clsDeleted(ui::Port* port = nullptr);
  ~clsDeleted();
  clsDeleted(const clsDeleted&) = delete;
  clsDeleted& operator=(const clsDeleted&) = delete;

  // The file of a folder's store: the user folder, the name (a hash of it
  // when it would be too long for a file name), ".sqlite".
  static QString FileFor(const QString& name);

  // Opens (creating when missing) the store `name` and takes the time stamp.
  // False when it cannot be opened; the user was told why.
  bool Init(const QString& name);
  bool isOpen() const { return db_ != nullptr; }
  QString file() const { return file_; }
  // What went wrong last, for the log.
  QString lastError() const { return error_; }
  void clearError() { error_.clear(); }

  QString getTimeStamp() const { return stamp_; }
  // The time stamp of records added from now on (a check's time).
  void setTimeStamp(const QString& stamp) { stamp_ = stamp; }

  // Adds a UID unless it is empty or there already. False on a write error.
  bool Add(const QString& uid);
  bool Find(const QString& uid);
  bool Del(const QString& uid);

  // One transaction around a check: what it records lands together or not
  // at all.
  bool begin();
  bool commit();
  void rollback();

  // The walk over the records of other time stamps than this instance's.
  void GetFirst();
  bool Eof() const { return eof_; }
  void MoveNext();
  QString getUID() const { return uid_; }
  void DelUID();
  void CloseIt();

 private:
  bool exec(const char* sql);
  bool fail(const QString& what);

  ui::Port* port_;
  sqlite3* db_ = nullptr;
  sqlite3_stmt* walk_ = nullptr;
  bool eof_ = true;
  QString uid_;
  QString file_;
  QString stamp_;
  QString error_;
};

}  // namespace ordolo::monitor
