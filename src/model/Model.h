// The mail client's object model as the rest of Ordolo sees it: an
// application with a session (namespace) and an explorer; folders with item
// collections that can be restricted, sorted and watched; items read
// late-bound by property name. Store adapters (src/store) implement it over
// files; tests may implement it in memory.
#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace ordolo::model {

// Class numbers of the client's objects.
enum ObjectClass : int {
  olFolder = 2,
  olAppointment = 26,
  olContact = 40,
  olJournal = 42,
  olMail = 43,
  olNote = 44,
  olReport = 46,
  olTask = 48,
  olDistributionList = 69,
};

// Numbers accepted by Namespace::GetDefaultFolder.
enum DefaultFolderId : int {
  olFolderDeletedItems = 3,
  olFolderSentMail = 5,
  olFolderInbox = 6,
  olFolderCalendar = 9,
  olFolderContacts = 10,
  olFolderJournal = 11,
  olFolderNotes = 12,
  olFolderTasks = 13,
  olFolderDrafts = 16,
};

// ItemProperty::Type: the client's user-property type numbers.
enum PropertyType : int {
  olOutlookInternal = 0,
  olText = 1,
  olNumber = 3,
  olDateTime = 5,
  olYesNo = 6,
  olDuration = 7,
  olKeywords = 11,
  olPercent = 12,
  olCurrency = 14,
  olFormula = 18,
  olCombination = 19,
};

// Appointment RecurrenceState.
enum RecurrenceState : int {
  olApptNotRecurring = 0,
  olApptOccurrence = 1,
  olApptMaster = 2,
  olApptException = 3,
};

// Recipient and attendee types.
enum RecipientType : int { olOrganizer = 0, olTo = 1, olCC = 2, olBCC = 3 };
// Attendee types share the numbers: 1 required, 2 optional, 3 resource.
enum MeetingRecipientType : int { olRequired = 1, olOptional = 2, olResource = 3 };

// MeetingResponseStatus / ResponseStatus.
enum ResponseStatus : int {
  olResponseNone = 0,
  olResponseOrganized = 1,
  olResponseTentative = 2,
  olResponseAccepted = 3,
  olResponseDeclined = 4,
  olResponseNotResponded = 5,
};

// RecurrencePattern::RecurrenceType.
enum RecurrenceType : int {
  olRecursDaily = 0,
  olRecursWeekly = 1,
  olRecursMonthly = 2,
  olRecursMonthNth = 3,
  olRecursYearly = 5,
  olRecursYearNth = 6,
};

// The date the client uses for "no date": 1 January 4501, midnight.
QDateTime NoDate();
// True for NoDate() and anything after the year 3000 (how callers test it).
bool IsNoDate(const QDateTime& value);

class Folder;
class Item;
class Items;
using ItemPtr = std::shared_ptr<Item>;
using FolderPtr = std::shared_ptr<Folder>;

// What folders and items have in common: a class number. Item::Parent()
// answers a folder or, for an occurrence, the series it belongs to.
class Object {
 public:
  virtual ~Object() = default;
  virtual int Class() const = 0;
};
using ObjectPtr = std::shared_ptr<Object>;

struct ItemProperty {
  QString Name;
  int Type = olText;
  QVariant Value;
};

// One attachment; its bytes are read only when asked for.
class Attachment {
 public:
  Attachment() = default;
  Attachment(QString fileName, QString mimeType, QString contentId, qint64 size, std::function<QByteArray()> load);

  QString FileName() const { return fileName_; }
  QString DisplayName() const { return fileName_; }
  QString MimeType() const { return mimeType_; }
  // Content id without angle brackets; empty for ordinary attachments.
  QString ContentId() const { return contentId_; }
  qint64 Size() const { return size_; }
  QByteArray Data() const;
  // Writes the bytes to path (replacing it). False with *error set on failure.
  bool SaveAsFile(const QString& path, QString* error = nullptr) const;

 private:
  QString fileName_, mimeType_, contentId_;
  qint64 size_ = 0;
  std::function<QByteArray()> load_;
};
using AttachmentList = std::vector<Attachment>;

struct Recipient {
  QString Name;
  QString Address;
  int Type = olTo;
  int MeetingResponseStatus = olResponseNone;
  // Entry id of the contact the recipient resolves to, when known.
  QString EntryID;
};
using RecipientList = std::vector<Recipient>;

// A contact linked to an item.
struct Link {
  QString Name;
  ItemPtr Item;  // the contact; may be null when it cannot be found
};
using LinkList = std::vector<Link>;

struct RecurrenceException {
  QDateTime OriginalDate;
  bool Deleted = false;
  ItemPtr AppointmentItem;  // null for a deleted occurrence
};

struct RecurrencePattern {
  int RecurrenceType = olRecursDaily;
  int Interval = 1;
  int DayOfWeekMask = 0;  // 1 Sunday, 2 Monday, 4 Tuesday, ... 64 Saturday
  int DayOfMonth = 0;
  int MonthOfYear = 0;
  int Instance = 0;  // 1..4, 5 = last
  QDateTime PatternStartDate;
  QDateTime PatternEndDate;  // NoDate() when the series has no end
  int Occurrences = 0;       // 0 when the series is not counted
  bool NoEndDate = false;
  bool Regenerate = false;
  QDateTime StartTime;
  QDateTime EndTime;
  int Duration = 0;  // minutes
  std::vector<RecurrenceException> Exceptions;
};

class Item : public Object, public std::enable_shared_from_this<Item> {
 public:
  // The value of a named property; an invalid QVariant when the item has no
  // such property. Names are matched without regard to case.
  virtual QVariant get(const QString& name) const = 0;
  // Every property the item offers, built-in and user-defined, in a fixed order.
  virtual QList<ItemProperty> ItemProperties() const = 0;
  // The folder, or for an occurrence of a recurring appointment its series.
  virtual ObjectPtr Parent() const = 0;
  virtual QString EntryID() const = 0;

  virtual AttachmentList Attachments() const { return {}; }
  virtual RecipientList Recipients() const { return {}; }
  virtual LinkList Links() const { return {}; }
  virtual std::optional<RecurrencePattern> GetRecurrencePattern() const { return std::nullopt; }
  // The occurrences of a recurring item whose span meets [from, to), exceptions
  // in place of the occurrences they replace; empty for other items. At most
  // kMaxOccurrences: *bounded tells that there were more.
  virtual std::vector<ItemPtr> occurrencesBetween(const QDateTime& from, const QDateTime& to,
                                                  bool* bounded = nullptr) const {
    return {};
  }
  // A named (MAPI) property: property set GUID as 32 hex digits, id like "0x8214".
  virtual QVariant namedProperty(const QString& guid, const QString& id) const { return {}; }
  // Whether the stored state is all there is (a new draft is not saved yet).
  virtual bool Saved() const { return true; }
  // False when the item's source turned out unreadable once its content was
  // read (a mail whose body the parser gives up on); such an item is not
  // listed for printing. May read the content to find out.
  virtual bool Readable() const { return true; }
  // For an item that is not Readable(): what to tell the user (the file and why).
  virtual QString UnreadableReason() const { return {}; }
  // Lets go of what was read for printing (a mail's parsed body and
  // attachments); it is read again when asked for. A long-running watch
  // calls it for what it has printed, so that memory does not grow with
  // every item printed.
  virtual void releaseContent() const {}
  // Moves the item into the Deleted Items folder.
  virtual bool Delete(QString* error = nullptr);
  // Where the last Delete put the item's file; empty when unknown.
  virtual QString DeletedTo() const { return {}; }
  // Writes an unsaved item to its folder.
  virtual bool Save(QString* error = nullptr);
  // Loads a message file (format 1024: RFC 822) into a new mail.
  virtual bool Import(const QString& path, int format, QString* error = nullptr);

  // Distribution lists.
  virtual int MemberCount() const { return 0; }
  virtual std::optional<Recipient> GetMember(int index) const { return std::nullopt; }  // 1-based

  // Convenience readers over get(): empty text, NoDate(), 0 or false when the
  // property is missing or of another type.
  QString text(const QString& name) const;
  QDateTime date(const QString& name) const;
  qint64 number(const QString& name) const;
  bool flag(const QString& name) const;

  // The folder the item lives in (for an occurrence, the series' folder).
  FolderPtr folder() const;
  // For an occurrence or exception: the series item; otherwise null.
  ItemPtr series() const;
};

// One folder's items, or a restricted, sorted view of them. Collections
// are cheap: they share the items.
// The most occurrences of one series that one list holds (a year of a
// series every minute is 525,600).
constexpr int kMaxOccurrences = 100000;

class Items {
 public:
  Items() = default;
  Items(FolderPtr folder, std::vector<ItemPtr> items);

  int Count() const { return int(items_.size()); }
  // 1-based, as in the client.
  ItemPtr Item(int index) const;
  const std::vector<ItemPtr>& all() const { return items_; }
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

  // Items that pass filter (see Filter.h). With IncludeRecurrences set,
  // recurring appointments are replaced by their occurrences inside the
  // window the filter puts on [Start] and [End]. Null and *error set when the
  // filter is not understood.
  std::shared_ptr<Items> Restrict(const QString& filter, QString* error = nullptr) const;
  // What the user must be told about this list: series with more
  // occurrences in the window than kMaxOccurrences, of which only the first
  // are in it.
  const QStringList& notices() const { return notices_; }
  void addNotice(const QString& notice) { notices_ << notice; }
  // Sorts by one property ("[Start]" or "Start"), ascending unless told.
  void Sort(const QString& property, bool descending = false);
  bool IncludeRecurrences = false;

  // A new item of the folder's default kind (drafts: a mail), not yet saved.
  ItemPtr Add(QString* error = nullptr);

  // Calls handler once for each item that appears in the folder from now on,
  // while this collection lives. Needs a running Qt event loop.
  using ItemAddHandler = std::function<void(const ItemPtr&)>;
  void setItemAddHandler(ItemAddHandler handler);

  FolderPtr folder() const { return folder_; }

 private:
  FolderPtr folder_;
  std::vector<ItemPtr> items_;
  QStringList notices_;
  std::shared_ptr<void> watch_;  // keeps the folder's watcher alive
};
using ItemsPtr = std::shared_ptr<Items>;

class Folder : public Object, public std::enable_shared_from_this<Folder> {
 public:
  int Class() const override { return olFolder; }
  virtual QString Name() const = 0;
  virtual QString EntryID() const = 0;
  virtual QString StoreID() const = 0;
  // The class of the items the folder holds by default (26, 40, 43, ...).
  virtual int DefaultItemClass() const = 0;
  // A fresh collection of the folder's current items.
  virtual ItemsPtr GetItems() = 0;
  // The parent folder; null for a top-level folder.
  virtual FolderPtr ParentFolder() const = 0;
  virtual std::vector<FolderPtr> Folders() const = 0;
  // Path below the store root, with "/" between folder names.
  virtual QString FolderPath() const = 0;

  // Hooks behind Items::Add and Items::setItemAddHandler.
  virtual ItemPtr newItem(QString* error) = 0;
  virtual std::shared_ptr<void> watch(Items::ItemAddHandler handler) = 0;
};

class Namespace {
 public:
  virtual ~Namespace() = default;
  // The user's display name.
  virtual QString CurrentUser() const = 0;
  virtual FolderPtr GetDefaultFolder(int id) const = 0;
  virtual ItemPtr GetItemFromID(const QString& entryId, const QString& storeId = {}) const = 0;
  virtual std::vector<FolderPtr> Folders() const = 0;
  // A folder by its path below the store root ("Inbox/Projects"); null if none.
  virtual FolderPtr folderByPath(const QString& path) const = 0;
};
using NamespacePtr = std::shared_ptr<Namespace>;

// What the user has chosen: items of the current folder, in order.
class Selection {
 public:
  Selection() = default;
  explicit Selection(std::vector<ItemPtr> items) : items_(std::move(items)) {}
  int Count() const { return int(items_.size()); }
  ItemPtr Item(int index) const;  // 1-based
  const std::vector<ItemPtr>& all() const { return items_; }

 private:
  std::vector<ItemPtr> items_;
};

class Explorer {
 public:
  QString Caption() const;
  FolderPtr CurrentFolder() const { return folder_; }
  const model::Selection& Selection() const { return selection_; }
  void setCurrentFolder(FolderPtr folder) { folder_ = std::move(folder); }
  void setSelection(model::Selection selection) { selection_ = std::move(selection); }

 private:
  FolderPtr folder_;
  model::Selection selection_;
};

class Application {
 public:
  explicit Application(NamespacePtr session) : session_(std::move(session)) {}
  Namespace* Session() const { return session_.get(); }
  Explorer& ActiveExplorer() { return explorer_; }
  const Explorer& ActiveExplorer() const { return explorer_; }

 private:
  NamespacePtr session_;
  Explorer explorer_;
};

}  // namespace ordolo::model
