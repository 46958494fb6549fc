// A store is a folder tree on disk. Each folder is one of: a directory of
// .ics files or a single .ics file (appointments, tasks, journal; journal
// entries of the notes folder are notes), a directory of .vcf files or one
// multi-card .vcf (contacts; group cards are distribution lists), a Maildir or
// a directory of .eml files (mails). Subdirectories are subfolders.
//
// Optional store.ini at the root:
//   [Store]   User=<display name>  Address=<mail address>
//   [Folders] Calendar=, Contacts=, Inbox=, SentItems=, Drafts=,
//             DeletedItems=, Tasks=, Notes=, Journal=  (paths below the root)
// Sources are only read, except that Delete moves an item's file into
// Deleted Items and that drafts are written into the Drafts folder.
#pragma once

#include "model/Model.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <map>
#include <memory>
#include <mutex>

namespace ordolo::store {

class FileStore;
class StoreItem;

class StoreFolder : public model::Folder {
 public:
  enum class Format { Maildir, EmlDirectory, IcsDirectory, IcsFile, VcfDirectory, VcfFile, Container };

  StoreFolder(std::weak_ptr<FileStore> store, QString relPath, QString absPath, Format format);

  QString Name() const override { return name_; }
  QString EntryID() const override;
  QString StoreID() const override;
  int DefaultItemClass() const override;
  model::ItemsPtr GetItems() override;
  // The files of the folder that give no items, each with why, as the user
  // is told ("Skipped: ... cannot be read (...)"); from the last listing.
  QStringList skippedFiles() const;
  model::FolderPtr ParentFolder() const override;
  std::vector<model::FolderPtr> Folders() const override;
  QString FolderPath() const override { return relPath_; }
  model::ItemPtr newItem(QString* error) override;
  std::shared_ptr<void> watch(model::Items::ItemAddHandler handler) override;

  Format format() const { return format_; }
  const QString& absolutePath() const { return absPath_; }
  std::shared_ptr<FileStore> store() const { return store_.lock(); }
  // Which default folder (GetDefaultFolder number) this is; 0 for none.
  int defaultId() const;

  // The files that hold this folder's items, sorted by name.
  QStringList itemFiles() const;
  // The items of one of those files; parsed once and kept until the file changes.
  std::vector<model::ItemPtr> itemsOfFile(const QString& absPath);
  // All items of the folder, in file order.
  std::vector<model::ItemPtr> loadItems();

  // Moves item's source into this folder (which should be Deleted Items).
  bool receive(StoreItem& item, QString* error, QString* movedTo = nullptr);
  // Writes a whole message into this folder (Maildir: into cur/ as a draft).
  bool writeMessage(const QByteArray& bytes, QString* pathOut, QString* error);

 private:
  struct CacheEntry {
    qint64 modified = -1;  // milliseconds since 1970, UTC
    qint64 size = -1;
    std::vector<model::ItemPtr> items;
    QString skipped;  // why the file gave no items
  };
  // Logs a file that gives no items, and keeps why for skippedFiles().
  void skip(const QString& absPath, const QString& why);
  QString lastSkip_;
  std::vector<model::ItemPtr> parseFile(const QString& absPath, const QString& fileName);

  std::weak_ptr<FileStore> store_;
  QString relPath_, absPath_, name_;
  Format format_;
  std::map<QString, CacheEntry> cache_;
  int itemClassFromContent_ = 0;
  mutable int defaultId_ = -1;  // the store keeps its default folders for good
};

class FileStore : public model::Namespace, public std::enable_shared_from_this<FileStore> {
 public:
  // Null and *error set when root is not a readable directory.
  static std::shared_ptr<FileStore> open(const QString& root, QString* error = nullptr);

  const QString& root() const { return root_; }
  QString CurrentUser() const override;
  // The user's own mail address (store.ini), used to find their attendee entry.
  QString userAddress() const { return userAddress_; }
  model::FolderPtr GetDefaultFolder(int id) const override;
  model::ItemPtr GetItemFromID(const QString& entryId, const QString& storeId = {}) const override;
  std::vector<model::FolderPtr> Folders() const override;
  model::FolderPtr folderByPath(const QString& path) const override;
  QString storeId() const;

  // The default folder's path below the root, "" when there is none.
  QString defaultFolderPath(int id) const;
  // A contact of the default contacts folder found by card id, full name or
  // mail address (in this order); null when there is none.
  model::ItemPtr findContact(const QString& uidNameOrAddress) const;

  // The folder object for a path (cached, so that item caches survive).
  std::shared_ptr<StoreFolder> folderAt(const QString& relPath) const;
  // What kind of folder a directory or file is; nullopt when it is none.
  static std::optional<StoreFolder::Format> formatOf(const QString& absPath, const QString& name);

 private:
  explicit FileStore(QString root);
  QString root_;
  QString user_, userAddress_;
  QHash<int, QString> configured_;
  mutable std::map<QString, std::shared_ptr<StoreFolder>> folders_;
  mutable QHash<int, QString> defaultCache_;
};

// What the user is told of a file or item left out because it cannot be
// read; `why` is the reader's reason.
QString SkippedNotice(const QString& path, const QString& why);
// The same, into the debug log.
void LogSkipped(const QString& path, const QString& why);

// Entry ids: hex text of the item's locator or the folder's path, so that an
// id leads back to its file without an index.
QString MakeFolderEntryId(const QString& folderPath);
QString MakeItemEntryId(const QString& folderPath, const QString& fileName, const QString& uid,
                        const QString& recurrence);
struct DecodedEntryId {
  bool isFolder = false;
  QString folderPath, fileName, uid, recurrence;
};
std::optional<DecodedEntryId> DecodeEntryId(const QString& entryId);

}  // namespace ordolo::store
