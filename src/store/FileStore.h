// A store is a folder tree on disk. Each folder is one of: a directory of
// .ics files or a single .ics file (appointments, tasks, journal; journal
// entries of the notes folder are notes), a directory of .vcf files or one
// multi-card .vcf (contacts; group cards are distribution lists), a Maildir or
// a directory of .eml files (mails). Subdirectories are subfolders.
//
// A store may also be made of folders that lie elsewhere (a mail program's
// profile, see Profiles.h): each is mounted at the top under a name, and
// those stores are read-only.
//
// Optional store.ini at the root:
//   [Store]   User=<display name>  Address=<mail address>
//   [Folders] Calendar=, Contacts=, Inbox=, SentItems=, Drafts=,
//             DeletedItems=, Tasks=, Notes=, Journal=  (paths below the root)
// Sources are only read, except that Delete moves an item's file into
// Deleted Items and that drafts are written into the Drafts folder. Where a
// source may not be written (an mbox file, a database, another program's
// folders), Deleted Items and Drafts are Ordolo's own (the overlay folder),
// a deleted item is copied there and hidden from its folder.
#pragma once

#include "model/Model.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>

namespace ordolo::store {

class FileStore;
class StoreItem;

class StoreFolder : public model::Folder {
 public:
  enum class Format {
    Maildir, EmlDirectory, IcsDirectory, IcsFile, VcfDirectory, VcfFile, Container,
    Mbox,        // one file of messages; subfolders in <file>.sbd/
    ContactsDb,  // an address book database (Thunderbird, Evolution)
    CalendarDb,  // a calendar database (Thunderbird); the selector picks events or tasks
  };

  StoreFolder(std::weak_ptr<FileStore> store, QString relPath, QString absPath, Format format);
  ~StoreFolder() override;

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
  // Whether items may be written into or moved out of the folder's files.
  bool writable() const { return writable_; }
  // For a database folder: which part of it (see StoreMount).
  const QString& selector() const { return selector_; }
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
  std::vector<model::ItemPtr> parseMbox(const QString& absPath);
  std::vector<model::ItemPtr> calendarItems(const QByteArray& bytes, const QString& absPath,
                                            const QString& locatorFile);
  std::vector<model::ItemPtr> cardItems(const QByteArray& bytes, const QString& absPath,
                                        const QString& locatorFile, const QDateTime& fileTime);

  friend class FileStore;
  std::weak_ptr<FileStore> store_;
  QString relPath_, absPath_, name_;
  Format format_;
  bool writable_ = true;
  QString selector_;
  int role_ = 0;  // the default folder a mount was made for
  bool leaf_ = false;
  struct MboxState;
  std::unique_ptr<MboxState> mbox_;
  std::map<QString, CacheEntry> cache_;
  int itemClassFromContent_ = 0;
  mutable int defaultId_ = -1;  // the store keeps its default folders for good
};

// A folder of a store that lies elsewhere, mounted at the top under a name.
struct StoreMount {
  QString name;
  QString path;
  StoreFolder::Format format = StoreFolder::Format::Container;
  // Which part of a database: "events:<calendar id>" or "todos:<calendar id>".
  QString selector;
  int role = 0;  // the default folder it is (GetDefaultFolder number); 0: found by name
  // Its subfolders are mounted on their own (Evolution keeps a Maildir++
  // Inbox whose folders lie inside it).
  bool leaf = false;
};

// A store made of mounted folders: a mail program's profile.
struct StoreLayout {
  QString kind;  // "thunderbird", "evolution", "kmail", "vdir"
  QString name;  // the profile's own name
  QString root;  // the profile's folder, as the user knows it
  std::vector<StoreMount> mounts;
  QString user, address;  // the owner, where the profile names one
};

class FileStore : public model::Namespace, public std::enable_shared_from_this<FileStore> {
 public:
  // Null and *error set when root is not a readable directory. A read-only
  // store (another program's folders) writes only into its overlay folder.
  static std::shared_ptr<FileStore> open(const QString& root, QString* error = nullptr, bool readOnly = false);
  // A read-only store of mounted folders; Ordolo's own Deleted Items and
  // Drafts are mounted beside them under the name kOverlayName.
  static std::shared_ptr<FileStore> open(const StoreLayout& layout, QString* error = nullptr);
  static constexpr const char* kOverlayName = "Ordolo";

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
  // Where a folder's subfolder of that name lies.
  static QString childPath(const QString& parentAbs, StoreFolder::Format parentFormat, const QString& name);

  // "thunderbird", ... for a profile's store; empty for a folder tree.
  const QString& kind() const { return kind_; }
  const QString& profileName() const { return profileName_; }
  // How to name this store again (--store, the desktop program's setting).
  QString openedAs() const { return kind_.isEmpty() ? root_ : kind_ + QLatin1Char(':') + profileName_; }
  bool readOnly() const { return readOnly_; }
  // Ordolo's own folder for this store: Deleted Items, Drafts and the list
  // of hidden items of sources it may not change.
  QString overlayFolder() const;
  // Hides an item of a source that may not be changed (it was deleted).
  bool hide(const QString& entryId, QString* error);
  bool hidden(const QString& entryId) const { return hidden_.count(entryId) > 0; }
  bool anyHidden() const { return !hidden_.empty(); }
  // Reads the list of hidden items again when another process changed it.
  void refreshHidden() const;

 private:
  explicit FileStore(QString root);
  // Makes the overlay's mail folders; false and *error when it cannot.
  bool makeOverlay(QString* error) const;
  // Sets Ordolo's own Deleted Items and Drafts as the default ones.
  bool useOverlayDefaults(QString* error);
  QString root_;
  QString kind_, profileName_;
  bool readOnly_ = false;
  std::vector<StoreMount> mounts_;
  QString user_, userAddress_;
  QHash<int, QString> configured_;
  mutable std::set<QString> hidden_;
  mutable qint64 hiddenStamp_ = -1;  // the hidden list's change time when read
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
