#include "store/FileStore.h"

#include "lang/Messages.h"
#include "store/Databases.h"
#include "store/Mbox.h"
#include "store/Parsers.h"
#include "store/StoreItems.h"
#include "util/DebugLog.h"
#include "util/Folders.h"
#include "util/Ini.h"

#include <KCalendarCore/Event>
#include <KCalendarCore/Journal>
#include <KCalendarCore/Todo>
#include <KContacts/Addressee>
#include <KMime/Message>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QCryptographicHash>
#include <QFileSystemWatcher>
#include <QSaveFile>
#include <QRegularExpression>
#include <QSet>
#include <QTimer>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <set>

namespace ordolo::store {

using model::FolderPtr;
using model::ItemPtr;

namespace {

QString joinPath(const QString& a, const QString& b) {
  if (a.isEmpty()) return b;
  if (b.isEmpty()) return a;
  return a + QLatin1Char('/') + b;
}

bool hasExtension(const QString& name, const char* ext) {
  return name.endsWith(QLatin1String(ext), Qt::CaseInsensitive);
}

bool isItemFileName(const QString& name) {
  return !name.startsWith(QLatin1Char('.')) && !name.endsWith(QLatin1Char('~'));
}

// Maildir names: "<time>.<unique>.<host>[:2,<flags>]".
QString maildirUnique(const QString& fileName) { return fileName.section(QLatin1Char(':'), 0, 0); }
QString maildirFlags(const QString& fileName) {
  const int at = fileName.indexOf(QLatin1String(":2,"));
  return at < 0 ? QString() : fileName.mid(at + 3);
}
QDateTime maildirTime(const QString& fileName) {
  bool ok = false;
  const qint64 secs = fileName.section(QLatin1Char('.'), 0, 0).toLongLong(&ok);
  return ok && secs > 0 ? QDateTime::fromSecsSinceEpoch(secs) : QDateTime();
}

QString hex(const QString& text) { return QString::fromLatin1(text.toUtf8().toHex().toUpper()); }

// Names the default folders are found by when store.ini does not name them.
QStringList defaultNames(int id) {
  switch (id) {
    case model::olFolderCalendar: return {"Calendar", "Kalender", "Calendrier"};
    case model::olFolderContacts: return {"Contacts", "Kontakte", "Address Book", "Addressbook"};
    case model::olFolderInbox: return {"Inbox", "Posteingang", "Boîte de réception"};
    case model::olFolderSentMail:
      return {"Sent Items", "Sent", "sent-mail", "Gesendete Elemente", "Gesendete Objekte", "Éléments envoyés"};
    case model::olFolderDrafts: return {"Drafts", "Entwürfe", "Brouillons"};
    case model::olFolderDeletedItems:
      return {"Deleted Items", "Trash", "Gelöschte Elemente", "Gelöschte Objekte", "Éléments supprimés"};
    case model::olFolderTasks: return {"Tasks", "Aufgaben", "Tâches", "Todo"};
    case model::olFolderNotes: return {"Notes", "Notizen"};
    case model::olFolderJournal: return {"Journal"};
    default: return {};
  }
}

QString configKey(int id) {
  switch (id) {
    case model::olFolderCalendar: return QStringLiteral("Calendar");
    case model::olFolderContacts: return QStringLiteral("Contacts");
    case model::olFolderInbox: return QStringLiteral("Inbox");
    case model::olFolderSentMail: return QStringLiteral("SentItems");
    case model::olFolderDrafts: return QStringLiteral("Drafts");
    case model::olFolderDeletedItems: return QStringLiteral("DeletedItems");
    case model::olFolderTasks: return QStringLiteral("Tasks");
    case model::olFolderNotes: return QStringLiteral("Notes");
    case model::olFolderJournal: return QStringLiteral("Journal");
    default: return {};
  }
}

const int kDefaultIds[] = {model::olFolderDeletedItems, model::olFolderSentMail, model::olFolderInbox,
                           model::olFolderCalendar,     model::olFolderContacts, model::olFolderJournal,
                           model::olFolderNotes,        model::olFolderTasks,    model::olFolderDrafts};

QString folderNameOf(const QString& relPath, StoreFolder::Format format) {
  QString name = relPath.section(QLatin1Char('/'), -1);
  if (format == StoreFolder::Format::IcsFile || format == StoreFolder::Format::VcfFile)
    name = name.left(name.lastIndexOf(QLatin1Char('.')));
  if (name.startsWith(QLatin1Char('.'))) name = name.mid(1);  // Maildir++ subfolder
  return name;
}

// Removes the components (or cards) whose UID line is uid from an iCalendar
// or vCard text, leaving every other byte as it was.
QByteArray withoutComponent(const QByteArray& text, const QByteArray& uid, bool cards, int ordinal,
                            QByteArray* removed) {
  const QList<QByteArray> lines = text.split('\n');
  QByteArray out;
  QList<QByteArray> block;
  bool inBlock = false, match = false;
  int seen = 0;
  const QByteArray uidLine = "UID:" + uid;
  auto isBegin = [cards](const QByteArray& l) {
    const QByteArray u = l.trimmed().toUpper();
    return cards ? u == "BEGIN:VCARD" : (u == "BEGIN:VEVENT" || u == "BEGIN:VTODO" || u == "BEGIN:VJOURNAL");
  };
  auto isEnd = [cards](const QByteArray& l) {
    const QByteArray u = l.trimmed().toUpper();
    return cards ? u == "END:VCARD" : (u == "END:VEVENT" || u == "END:VTODO" || u == "END:VJOURNAL");
  };
  for (int i = 0; i < lines.size(); ++i) {
    const QByteArray& line = lines[i];
    const QByteArray full = i + 1 < lines.size() ? line + '\n' : line;
    if (!inBlock && isBegin(line)) {
      inBlock = true;
      match = false;
      block.clear();
    }
    if (inBlock) {
      block << full;
      const QByteArray t = line.trimmed();
      if (!uid.isEmpty() && (t == uidLine || (t.toUpper().startsWith("UID:") && t.mid(4) == uid))) match = true;
      if (isEnd(line)) {
        inBlock = false;
        ++seen;
        if (uid.isEmpty() && seen == ordinal) match = true;
        for (const QByteArray& b : block) (match ? *removed : out) += b;
      }
      continue;
    }
    out += full;
  }
  return out;
}

std::atomic<int> writeCounter{0};

QString uniqueMaildirName() {
  char host[256] = {0};
  gethostname(host, sizeof host - 1);
  QString h = QString::fromLocal8Bit(host);
  h.replace(QLatin1Char('/'), QLatin1String("\\057")).replace(QLatin1Char(':'), QLatin1String("\\072"));
  const qint64 ms = QDateTime::currentMSecsSinceEpoch();
  return QStringLiteral("%1.M%2P%3Q%4.%5")
      .arg(ms / 1000)
      .arg((ms % 1000) * 1000)
      .arg(getpid())
      .arg(++writeCounter)
      .arg(h.isEmpty() ? QStringLiteral("localhost") : h);
}

bool writeNewFile(const QString& path, const QByteArray& bytes, QString* error) {
  QSaveFile f(path);
  if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size() || !f.commit()) {
    if (error) *error = QStringLiteral("%1: %2").arg(path, f.errorString());
    return false;
  }
  return true;
}

// A file name in dir that is not taken yet, based on name.
QString freeName(const QDir& dir, const QString& name) {
  if (!dir.exists(name)) return name;
  const int dot = name.lastIndexOf(QLatin1Char('.'));
  const QString base = dot > 0 ? name.left(dot) : name, ext = dot > 0 ? name.mid(dot) : QString();
  for (int n = 2;; ++n) {
    const QString candidate = QStringLiteral("%1-%2%3").arg(base).arg(n).arg(ext);
    if (!dir.exists(candidate)) return candidate;
  }
}

// Files of a folder that never hold an mbox, by their ending: what mail
// programs keep beside their mbox files, and the store's other item files.
bool neverMbox(const QString& name) {
  static const char* const kEndings[] = {".msf", ".dat", ".html", ".json", ".sqlite", ".db", ".eml", ".ics",
                                         ".vcf", ".log", ".js",   ".ini",  ".txt",    ".sbd", ".lock"};
  if (name.startsWith(QLatin1Char('.')) || name.endsWith(QLatin1Char('~'))) return true;
  for (const char* e : kEndings)
    if (hasExtension(name, e)) return true;
  return false;
}

bool isMboxFile(const QFileInfo& fi) { return fi.isFile() && !neverMbox(fi.fileName()) && LooksLikeMbox(fi.filePath()); }

// Whether a directory links back up the tree (which would make it endless).
bool linksUp(const QFileInfo& fi, const QString& ownAbs) {
  if (!fi.isSymLink()) return false;
  const QString target = fi.canonicalFilePath(), own = QFileInfo(ownAbs).canonicalFilePath();
  return target.isEmpty() || own == target || own.startsWith(target + QLatin1Char('/'));
}

QStringList childNames(const QString& abs, StoreFolder::Format format);

// The names of a folder's subfolders: directories, and mbox files with their
// <name>.sbd directories of subfolders (Thunderbird); in a Maildir its
// ".Name" folders (Maildir++) and the folders in .<name>.directory beside
// it (KMail).
QStringList childNames(const QString& abs, StoreFolder::Format format) {
  using Format = StoreFolder::Format;
  QStringList out;
  switch (format) {
    case Format::IcsFile:
    case Format::VcfFile:
    case Format::ContactsDb:
    case Format::CalendarDb: return out;
    default: break;
  }
  if (format == Format::Maildir && QFileInfo(abs + QStringLiteral(".sbd")).isDir())
    for (const QString& name : childNames(abs + QStringLiteral(".sbd"), Format::Container)) out << name;
  const QString dirPath = format == Format::Mbox ? abs + QStringLiteral(".sbd") : abs;
  const QDir dir(dirPath);
  const auto entries = dir.entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
  QSet<QString> mboxes;
  for (const QFileInfo& fi : entries)
    if (format != Format::Maildir && isMboxFile(fi)) mboxes.insert(fi.fileName());
  for (const QFileInfo& fi : entries) {
    const QString name = fi.fileName();
    if (fi.isDir()) {
      if (linksUp(fi, abs)) continue;
      if (format == Format::Maildir) {
        if (name == QLatin1String("cur") || name == QLatin1String("new") || name == QLatin1String("tmp")) continue;
        if (!name.startsWith(QLatin1Char('.')) || name.endsWith(QLatin1String(".directory"))) continue;
      } else if (name.startsWith(QLatin1Char('.'))) {
        continue;
      } else if (hasExtension(name, ".sbd") &&
                 (mboxes.contains(name.chopped(4)) || QFileInfo(dir.filePath(name.chopped(4))).isDir())) {
        continue;  // the subfolders of the mbox (or Thunderbird Maildir) beside it
      }
      out << name;
    } else if (mboxes.contains(name)) {
      out << name;
    }
  }
  if (format == Format::Maildir) {
    const QFileInfo self(abs);
    const QDir kmail(self.path() + QStringLiteral("/.") + self.fileName() + QStringLiteral(".directory"));
    for (const QFileInfo& fi : kmail.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
      if (!out.contains(fi.fileName()) && !linksUp(fi, abs)) out << fi.fileName();
  }
  return out;
}

}  // namespace

QString SkippedNotice(const QString& path, const QString& why) {
  return lang::text(lang::Msg::ErrItemUnreadable).arg(path, why);
}

void LogSkipped(const QString& path, const QString& why) { util::DebugLog::write(SkippedNotice(path, why)); }

// --------------------------------------------------------------- entry ids

QString MakeFolderEntryId(const QString& folderPath) { return QStringLiteral("00") + hex(folderPath); }

QString MakeItemEntryId(const QString& folderPath, const QString& fileName, const QString& uid,
                        const QString& recurrence) {
  const QChar sep(0x1F);
  return QStringLiteral("01") + hex(folderPath + sep + fileName + sep + uid + sep + recurrence);
}

std::optional<DecodedEntryId> DecodeEntryId(const QString& entryId) {
  if (entryId.size() < 2 || entryId.size() % 2) return std::nullopt;
  const QByteArray raw = QByteArray::fromHex(entryId.mid(2).toLatin1());
  if (raw.toHex().toUpper() != entryId.mid(2).toUpper().toLatin1()) return std::nullopt;
  const QString text = QString::fromUtf8(raw);
  DecodedEntryId d;
  if (entryId.startsWith(QLatin1String("00"))) {
    d.isFolder = true;
    d.folderPath = text;
    return d;
  }
  if (!entryId.startsWith(QLatin1String("01"))) return std::nullopt;
  const QStringList parts = text.split(QChar(0x1F));
  if (parts.size() != 4) return std::nullopt;
  d.folderPath = parts[0];
  d.fileName = parts[1];
  d.uid = parts[2];
  d.recurrence = parts[3];
  return d;
}

// ------------------------------------------------------------- StoreFolder

StoreFolder::StoreFolder(std::weak_ptr<FileStore> store, QString relPath, QString absPath, Format format)
    : store_(std::move(store)), relPath_(std::move(relPath)), absPath_(std::move(absPath)), format_(format) {
  name_ = folderNameOf(relPath_, format_);
}

QString StoreFolder::EntryID() const { return MakeFolderEntryId(relPath_); }

QString StoreFolder::StoreID() const {
  auto s = store();
  return s ? s->storeId() : QString();
}

int StoreFolder::defaultId() const {
  auto s = store();
  if (!s) return 0;
  // Asked for every file and every date of a mail; the answer never changes.
  if (defaultId_ < 0) {
    defaultId_ = 0;
    for (int id : kDefaultIds)
      if (s->defaultFolderPath(id) == relPath_) {
        defaultId_ = id;
        break;
      }
  }
  return defaultId_;
}

int StoreFolder::DefaultItemClass() const {
  switch (format_) {
    case Format::VcfDirectory:
    case Format::VcfFile: return model::olContact;
    case Format::Maildir:
    case Format::EmlDirectory:
    case Format::Mbox:
    case Format::Container: return model::olMail;
    default: break;
  }
  if (format_ == Format::ContactsDb) return model::olContact;
  if (format_ == Format::CalendarDb)
    return selector_.startsWith(QLatin1String("todos")) ? model::olTask : model::olAppointment;
  switch (defaultId() ? defaultId() : role_) {
    case model::olFolderCalendar: return model::olAppointment;
    case model::olFolderTasks: return model::olTask;
    case model::olFolderNotes: return model::olNote;
    case model::olFolderJournal: return model::olJournal;
    default: break;
  }
  if (itemClassFromContent_ == 0) const_cast<StoreFolder*>(this)->loadItems();
  return itemClassFromContent_ ? itemClassFromContent_ : model::olAppointment;
}

model::ItemsPtr StoreFolder::GetItems() {
  auto items = std::make_shared<model::Items>(shared_from_this(), loadItems());
  for (const QString& skipped : skippedFiles()) items->addNotice(skipped);
  return items;
}

void StoreFolder::skip(const QString& absPath, const QString& why) {
  LogSkipped(absPath, why);
  lastSkip_ = why.isEmpty() ? QStringLiteral("?") : why;
}

QStringList StoreFolder::skippedFiles() const {
  QStringList out;
  for (const auto& [path, entry] : cache_)
    if (entry.items.empty() && !entry.skipped.isEmpty()) out << SkippedNotice(path, entry.skipped);
  return out;
}

FolderPtr StoreFolder::ParentFolder() const {
  const int slash = relPath_.lastIndexOf(QLatin1Char('/'));
  auto s = store();
  if (slash < 0 || !s) return nullptr;
  return s->folderAt(relPath_.left(slash));
}

std::vector<FolderPtr> StoreFolder::Folders() const {
  std::vector<FolderPtr> out;
  auto s = store();
  if (!s || leaf_) return out;
  for (const QString& name : childNames(absPath_, format_))
    if (auto f = s->folderAt(joinPath(relPath_, name))) out.push_back(f);
  return out;
}

QStringList StoreFolder::itemFiles() const {
  QStringList out;
  switch (format_) {
    case Format::IcsFile:
    case Format::VcfFile:
    case Format::Mbox:
    case Format::ContactsDb:
    case Format::CalendarDb: return {absPath_};
    case Format::Container: return {};
    default: break;
  }
  auto addFrom = [&out](const QString& dirPath, bool anyName) {
    const QDir dir(dirPath);
    for (const QString& name : dir.entryList(QDir::Files | QDir::Hidden, QDir::Name)) {
      if (!isItemFileName(name)) continue;
      // T: trashed in the mail program, waiting to be removed.
      if (anyName && maildirFlags(name).contains(QLatin1Char('T'))) continue;
      if (anyName || hasExtension(name, ".eml") || hasExtension(name, ".ics") || hasExtension(name, ".vcf"))
        out << dir.filePath(name);
    }
  };
  if (format_ == Format::Maildir) {
    addFrom(absPath_ + QStringLiteral("/cur"), true);
    addFrom(absPath_ + QStringLiteral("/new"), true);
  }
  addFrom(absPath_, false);
  return out;
}

std::vector<ItemPtr> StoreFolder::parseFile(const QString& absPath, const QString& fileName) {
  std::vector<ItemPtr> out;
  const QFileInfo info(absPath);
  std::weak_ptr<StoreFolder> self = std::static_pointer_cast<StoreFolder>(shared_from_this());
  if (format_ == Format::Mbox) return parseMbox(absPath);
  if (format_ == Format::ContactsDb || format_ == Format::CalendarDb) {
    const DatabaseText db = format_ == Format::ContactsDb ? ContactsFromDatabase(absPath)
                                                          : CalendarFromDatabase(absPath, selector_);
    if (!db.ok) {
      skip(absPath, db.error);
      return out;
    }
    return format_ == Format::ContactsDb ? cardItems(db.text, absPath, QString(), info.lastModified())
                                         : calendarItems(db.text, absPath, QString());
  }
  const bool isIcs = hasExtension(fileName, ".ics") || format_ == Format::IcsFile;
  const bool isVcf = hasExtension(fileName, ".vcf") || format_ == Format::VcfFile;
  const QString locatorFile = (format_ == Format::IcsFile || format_ == Format::VcfFile) ? QString() : fileName;

  if (!isIcs && !isVcf) {
    // A message: the header block now, the rest when it is asked for.
    QString error;
    const QByteArray head = ReadMessageHead(absPath, &error);
    if (!error.isEmpty()) {
      skip(absPath, error);
      return out;
    }
    // Only the check: the header is parsed when a property first needs it.
    if (!LooksLikeMessage(head, &error)) {
      skip(absPath, error);
      return out;
    }
    const QString name = info.fileName();
    const bool inMaildir = format_ == Format::Maildir && (absPath.startsWith(absPath_ + QStringLiteral("/cur/")) ||
                                                          absPath.startsWith(absPath_ + QStringLiteral("/new/")));
    Locator loc{relPath_, inMaildir ? maildirUnique(name) : name, QString(), QString()};
    out.push_back(std::make_shared<MailItem>(self, absPath, loc, head, info.size(), info.lastModified(),
                                             inMaildir ? maildirTime(name) : QDateTime(),
                                             inMaildir ? maildirFlags(name) : QString()));
    return out;
  }

  if (info.size() > kMaxParsedFileSize) {
    skip(absPath, QStringLiteral("larger than %1 MB").arg(kMaxParsedFileSize / (1024 * 1024)));
    return out;
  }
  QFile f(absPath);
  if (!f.open(QIODevice::ReadOnly)) {
    skip(absPath, f.errorString());
    return out;
  }
  const QByteArray bytes = f.readAll();
  return isVcf ? cardItems(bytes, absPath, locatorFile, info.lastModified())
               : calendarItems(bytes, absPath, locatorFile);
}

std::vector<ItemPtr> StoreFolder::cardItems(const QByteArray& bytes, const QString& absPath,
                                            const QString& locatorFile, const QDateTime& fileTime) {
  std::vector<ItemPtr> out;
  std::weak_ptr<StoreFolder> self = std::static_pointer_cast<StoreFolder>(shared_from_this());
  const ParsedCards cards = ParseVCards(bytes);
  if (!cards.ok) {
    skip(absPath, cards.error);
    return out;
  }
  int n = 0;
  for (const KContacts::Addressee& a : cards.cards) {
    ++n;
    const bool group = a.kind().compare(QLatin1String("group"), Qt::CaseInsensitive) == 0 ||
                       a.custom(QStringLiteral("EVOLUTION"), QStringLiteral("LIST"))
                               .compare(QLatin1String("TRUE"), Qt::CaseInsensitive) == 0;
    Locator loc{relPath_, locatorFile, a.uid().isEmpty() ? QStringLiteral("#%1").arg(n) : a.uid(), QString()};
    out.push_back(std::make_shared<ContactItem>(group ? StoreItem::Kind::DistList : StoreItem::Kind::Contact, self,
                                                absPath, loc, a, fileTime));
  }
  return out;
}

std::vector<ItemPtr> StoreFolder::calendarItems(const QByteArray& bytes, const QString& absPath,
                                                const QString& locatorFile) {
  std::vector<ItemPtr> out;
  std::weak_ptr<StoreFolder> self = std::static_pointer_cast<StoreFolder>(shared_from_this());
  const ParsedCalendar calendar = ParseCalendar(bytes);
  if (!calendar.ok) {
    skip(absPath, calendar.error);
    return out;
  }
  const bool notes = defaultId() == model::olFolderNotes || role_ == model::olFolderNotes;
  std::map<QString, std::shared_ptr<CalendarItem>> masters;
  std::vector<KCalendarCore::Incidence::Ptr> exceptions;
  int n = 0;
  for (const auto& inc : calendar.incidences) {
    ++n;
    if (inc->hasRecurrenceId()) {
      exceptions.push_back(inc);
      continue;
    }
    StoreItem::Kind kind = StoreItem::Kind::Appointment;
    if (inc->type() == KCalendarCore::IncidenceBase::TypeTodo) kind = StoreItem::Kind::Task;
    if (inc->type() == KCalendarCore::IncidenceBase::TypeJournal)
      kind = notes ? StoreItem::Kind::Note : StoreItem::Kind::Journal;
    Locator loc{relPath_, locatorFile, inc->uid().isEmpty() ? QStringLiteral("#%1").arg(n) : inc->uid(), QString()};
    auto item = std::make_shared<CalendarItem>(kind, self, absPath, loc, inc);
    if (!inc->uid().isEmpty()) masters.emplace(inc->uid(), item);
    out.push_back(item);
  }
  // Exceptions belong to their series; one without a series stands alone.
  for (const auto& ex : exceptions) {
    auto it = masters.find(ex->uid());
    if (it != masters.end() && it->second->incidence()->recurs()) {
      it->second->addException(ex);
      continue;
    }
    Locator loc{relPath_, locatorFile, ex->uid(),
                ex->recurrenceId().toUTC().toString(QStringLiteral("yyyyMMddTHHmmss"))};
    const auto kind = ex->type() == KCalendarCore::IncidenceBase::TypeTodo ? StoreItem::Kind::Task
                                                                           : StoreItem::Kind::Appointment;
    out.push_back(std::make_shared<CalendarItem>(kind, self, absPath, loc, ex));
  }
  return out;
}

namespace {

// What names a message of an mbox for good: its Message-ID, else a hash of
// its header block without the lines mail programs change in place (read
// and deleted marks); the n-th repeat of either gets "#n". Neither depends
// on where the message lies, so ids hold when the file grows and when its
// program compacts it (a monitor must not print a message twice, a hidden
// one must stay hidden).
QString stableMessageKey(const QByteArray& head, const QString& messageId) {
  if (!messageId.isEmpty()) return QStringLiteral("m:") + messageId;
  QCryptographicHash hash(QCryptographicHash::Sha1);
  for (const QByteArray& line : head.split('\n')) {
    const QByteArray lower = line.left(20).toLower();
    if (lower.startsWith("x-mozilla-") || lower.startsWith("status:") || lower.startsWith("x-status:") ||
        lower.startsWith("x-keywords:") || lower.startsWith("x-uid:") || lower.startsWith("content-length:"))
      continue;
    hash.addData(line.trimmed());
  }
  return QStringLiteral("h:") + QString::fromLatin1(hash.result().toHex().left(20));
}

// The Message-ID of a raw header block, without its angle brackets.
QString messageIdOf(const QByteArray& head) {
  static const QByteArray name = QByteArrayLiteral("message-id:");
  for (int at = 0; at < head.size();) {
    const int nl = head.indexOf('\n', at);
    const int end = nl < 0 ? head.size() : nl;
    if (end - at > name.size() && qstrnicmp(head.constData() + at, name.constData(), name.size()) == 0) {
      QByteArray value = head.mid(at + name.size(), end - at - name.size());
      // The value may be folded onto the next line.
      if (value.trimmed().isEmpty() && nl >= 0) {
        const int next = head.indexOf('\n', nl + 1);
        value = head.mid(nl + 1, (next < 0 ? head.size() : next) - nl - 1);
      }
      value = value.trimmed();
      if (value.startsWith('<')) value = value.mid(1);
      if (value.endsWith('>')) value.chop(1);
      return QString::fromLatin1(value);
    }
    if (nl < 0) break;
    at = nl + 1;
  }
  return {};
}

}  // namespace

struct StoreFolder::MboxState {
  MboxIndex index;
  std::map<qint64, std::shared_ptr<MailItem>> items;  // by offset, kept while the file grows
};

StoreFolder::~StoreFolder() = default;

std::vector<ItemPtr> StoreFolder::parseMbox(const QString& absPath) {
  std::vector<ItemPtr> out;
  if (!mbox_) mbox_ = std::make_unique<MboxState>();
  QString error;
  if (!mbox_->index.update(absPath, &error)) {
    mbox_->items.clear();
    skip(absPath, error);
    return out;
  }
  std::weak_ptr<StoreFolder> self = std::static_pointer_cast<StoreFolder>(shared_from_this());
  const QDateTime fileTime = QFileInfo(absPath).lastModified();
  std::map<qint64, std::shared_ptr<MailItem>> items;
  QHash<QString, int> seen;  // how often a key came so far
  for (const MboxMessage& m : mbox_->index.messages()) {
    QString key = stableMessageKey(m.head, messageIdOf(m.head));
    if (const int n = seen[key]++) key += QStringLiteral("#%1").arg(n);
    std::shared_ptr<MailItem> item;
    const auto old = mbox_->items.find(m.offset);
    if (old != mbox_->items.end() && old->second->mboxStart() == m.start && old->second->size() == m.length &&
        old->second->rawHead() == m.head && old->second->locator().uid == key) {
      item = old->second;
    } else {
      if (!LooksLikeMessage(m.head, &error)) {
        LogSkipped(QStringLiteral("%1 @%2").arg(absPath).arg(m.offset), error);
        continue;
      }
      Locator loc{relPath_, QString(), key, QString()};
      item = std::make_shared<MailItem>(self, absPath, loc, m.head, m.length, fileTime, m.delivered, QString());
      item->setMboxRange(m.start, m.length);
    }
    items.emplace(m.offset, item);
    out.push_back(item);
  }
  mbox_->items = std::move(items);
  return out;
}

std::vector<ItemPtr> StoreFolder::itemsOfFile(const QString& absPath) {
  // One stat, and the time as it is: QFileInfo gives a local time, and that
  // conversion costs a time zone look-up for every file on every pass (with
  // TZ unset, a stat of /etc/localtime each).
  struct stat st {};
  if (::stat(QFile::encodeName(absPath).constData(), &st) != 0) {
    cache_.erase(absPath);
    return {};
  }
  qint64 size = st.st_size;
  qint64 modified = qint64(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000;
  // A database's changes may sit in its write-ahead log for a while.
  struct stat wal {};
  if ((format_ == Format::ContactsDb || format_ == Format::CalendarDb) &&
      ::stat(QFile::encodeName(absPath + QStringLiteral("-wal")).constData(), &wal) == 0) {
    size += wal.st_size;
    modified = qMax(modified, qint64(wal.st_mtim.tv_sec) * 1000 + wal.st_mtim.tv_nsec / 1000000);
  }
  CacheEntry& entry = cache_[absPath];
  if (entry.size != size || entry.modified != modified) {
    // One file the libraries fail on must not take the folder down.
    lastSkip_.clear();
    try {
      entry.items = parseFile(absPath, QFileInfo(absPath).fileName());
    } catch (...) {
      skip(absPath, CurrentExceptionText());
      entry.items.clear();
    }
    entry.skipped = entry.items.empty() ? lastSkip_ : QString();
    entry.size = size;
    entry.modified = modified;
    // A message still being written is looked at again next time, even if
    // the file stays as it is.
    if (format_ == Format::Mbox && mbox_ && mbox_->index.pending()) entry.modified = -1;
  }
  auto s = store();
  if (!s || !s->anyHidden()) return entry.items;
  std::vector<ItemPtr> shown;
  for (const ItemPtr& item : entry.items)
    if (!s->hidden(item->EntryID())) shown.push_back(item);
  return shown;
}

std::vector<ItemPtr> StoreFolder::loadItems() {
  std::vector<ItemPtr> out;
  if (auto s = store()) s->refreshHidden();
  const QStringList files = itemFiles();
  std::set<QString> present(files.begin(), files.end());
  for (auto it = cache_.begin(); it != cache_.end();) it = present.count(it->first) ? std::next(it) : cache_.erase(it);
  std::map<int, int> classes;
  for (const QString& file : files) {
    for (const ItemPtr& item : itemsOfFile(file)) {
      ++classes[item->Class()];
      out.push_back(item);
    }
  }
  int best = 0;
  for (const auto& [cls, count] : classes)
    if (!best || count > classes[best]) best = cls;
  itemClassFromContent_ = best;
  return out;
}

model::ItemPtr StoreFolder::newItem(QString* error) {
  if (!writable_) {
    if (error) *error = QStringLiteral("%1: the folder is another program's and is only read").arg(absPath_);
    return nullptr;
  }
  if (format_ != Format::Maildir && format_ != Format::EmlDirectory) {
    if (error) *error = QStringLiteral("new items can only be added to mail folders");
    return nullptr;
  }
  return std::make_shared<MailItem>(std::static_pointer_cast<StoreFolder>(shared_from_this()));
}

bool StoreFolder::writeMessage(const QByteArray& bytes, QString* pathOut, QString* error) {
  if (!writable_) {
    if (error) *error = QStringLiteral("%1: the folder is another program's and is only read").arg(absPath_);
    return false;
  }
  if (format_ == Format::Maildir) {
    const QString unique = uniqueMaildirName();
    QDir(absPath_).mkpath(QStringLiteral("tmp"));
    QDir(absPath_).mkpath(QStringLiteral("cur"));
    const QString tmp = absPath_ + QStringLiteral("/tmp/") + unique;
    const QString flags = defaultId() == model::olFolderDrafts ? QStringLiteral("D") : QString();
    const QString final = absPath_ + QStringLiteral("/cur/") + unique + QStringLiteral(":2,") + flags;
    if (!writeNewFile(tmp, bytes, error)) return false;
    if (!QFile::rename(tmp, final)) {
      QFile::remove(tmp);
      if (error) *error = QStringLiteral("%1: cannot move into cur/").arg(final);
      return false;
    }
    if (pathOut) *pathOut = final;
    return true;
  }
  if (format_ == Format::EmlDirectory) {
    const QDir dir(absPath_);
    const QString name = freeName(dir,
                                  QStringLiteral("%1-%2.eml")
                                      .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss")))
                                      .arg(++writeCounter));
    if (!writeNewFile(dir.filePath(name), bytes, error)) return false;
    if (pathOut) *pathOut = dir.filePath(name);
    return true;
  }
  if (error) *error = QStringLiteral("%1 is not a mail folder").arg(relPath_);
  return false;
}

bool StoreFolder::receive(StoreItem& item, QString* error, QString* movedTo) {
  if (!item.locator().recurrence.isEmpty()) {
    if (error) *error = QStringLiteral("an occurrence cannot be deleted on its own; delete the series");
    return false;
  }
  if (!writable_) {
    if (error) *error = QStringLiteral("%1: the folder is another program's and is only read").arg(absPath_);
    return false;
  }
  auto source = item.storeFolder();
  const QString from = item.path();
  // A source that may not be changed keeps the item: a copy comes here and
  // the item is hidden from its folder; so does a message of an mbox file.
  auto* mail = dynamic_cast<MailItem*>(&item);
  if ((source && !source->writable()) || (mail && mail->inMbox())) {
    auto s = store();
    QString why;
    QByteArray bytes;
    QString name;
    if (mail) {
      bytes = mail->rawBytes(&why);
    } else if (auto* event = dynamic_cast<CalendarItem*>(&item)) {
      bytes = event->toICalendar();
      name = QStringLiteral(".ics");
    } else if (auto* card = dynamic_cast<ContactItem*>(&item)) {
      bytes = card->toVCard();
      name = QStringLiteral(".vcf");
    }
    if (bytes.isEmpty() || !s) {
      if (error) *error = QStringLiteral("%1: %2").arg(from, why.isEmpty() ? QStringLiteral("cannot be read") : why);
      return false;
    }
    QString to;
    if (mail) {
      if (!writeMessage(bytes, &to, error)) return false;
    } else {
      const QString safeUid = QString(item.locator().uid)
                                  .replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9@._-]")), QStringLiteral("_"));
      const QDir target(absPath_);
      to = target.filePath(freeName(target, safeUid.left(100) + name));
      if (!writeNewFile(to, bytes, error)) return false;
    }
    if (!s->hide(item.EntryID(), error)) {
      QFile::remove(to);
      return false;
    }
    if (movedTo) *movedTo = to;
    return true;
  }
  const QFileInfo info(from);
  if (from.isEmpty() || !info.exists()) {
    if (error) *error = QStringLiteral("%1: the item's file is gone").arg(from);
    return false;
  }
  // Mails arriving in a Maildir go to cur/, everything else beside it.
  QDir target(absPath_);
  if (format_ == Format::Maildir && mail) {
    target.mkpath(QStringLiteral("cur"));
    target.cd(QStringLiteral("cur"));
  }
  const bool wholeFile = mail || (source && source->itemsOfFile(from).size() == 1);
  if (wholeFile) {
    QString name = info.fileName();
    if (format_ == Format::Maildir && mail && !name.contains(QLatin1String(":2,"))) name += QStringLiteral(":2,");
    const QString to = target.filePath(freeName(target, name));
    if (!QFile::rename(from, to)) {
      if (error) *error = QStringLiteral("%1: cannot move to %2").arg(from, to);
      return false;
    }
    if (movedTo) *movedTo = to;
    return true;
  }
  // One item of a shared file: its component goes to a file of its own, and
  // the source keeps every other byte.
  QFile f(from);
  if (!f.open(QIODevice::ReadOnly)) {
    if (error) *error = QStringLiteral("%1: %2").arg(from, f.errorString());
    return false;
  }
  const QByteArray original = f.readAll();
  f.close();
  const bool cards = dynamic_cast<ContactItem*>(&item) != nullptr;
  const QString uid = item.locator().uid;
  const int ordinal = uid.startsWith(QLatin1Char('#')) ? uid.mid(1).toInt() : 0;
  const QByteArray uidBytes = ordinal ? QByteArray() : uid.toUtf8();
  QByteArray part;
  const QByteArray rest = withoutComponent(original, uidBytes, cards, ordinal, &part);
  if (part.isEmpty()) {
    if (error) *error = QStringLiteral("%1: the item was not found in the file").arg(from);
    return false;
  }
  if (!part.endsWith('\n')) part += "\r\n";
  // A calendar component keeps the time zones its times refer to.
  QByteArray zones;
  for (int at = original.indexOf("BEGIN:VTIMEZONE"); !cards && at >= 0;
       at = original.indexOf("BEGIN:VTIMEZONE", at + 1)) {
    const int end = original.indexOf("END:VTIMEZONE", at);
    if (end < 0) break;
    const int lineEnd = original.indexOf('\n', end);
    zones += original.mid(at, (lineEnd < 0 ? original.size() : lineEnd + 1) - at);
  }
  const QByteArray own = cards ? part
                               : "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Ordolo//Deleted item//EN\r\n" + zones +
                                     part + "END:VCALENDAR\r\n";
  const QString safeUid = QString(uid).replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9@._-]")),
                                               QStringLiteral("_"));
  const QString to = target.filePath(freeName(target,
                                              safeUid + (cards ? QStringLiteral(".vcf") : QStringLiteral(".ics"))));
  if (!writeNewFile(to, own, error)) return false;
  if (!writeNewFile(from, rest, error)) {
    QFile::remove(to);
    return false;
  }
  if (movedTo) *movedTo = to;
  return true;
}

// -------------------------------------------------------------- watching

namespace {

// Watches a folder's files and reports each new item once its file has
// stopped growing and can be read.
struct FolderWatch {
  std::weak_ptr<StoreFolder> folder;
  model::Items::ItemAddHandler handler;
  QFileSystemWatcher watcher;
  QTimer timer;
  std::set<QString> known;                                  // item entry ids already there or reported
  std::map<QString, std::pair<qint64, QDateTime>> growing;  // file -> last size and time seen

  void rearm() {
    if (!timer.isActive()) timer.start();
  }

  // A file changed in place does not change its directory: watch the files
  // themselves while there are few, and poll (cheap: sizes and times) always.
  // Editors replace files, which drops the watch; it is set again here.
  void watchFiles(const StoreFolder& f) {
    const QStringList files = f.itemFiles();
    if (files.size() > kMaxWatchedFiles) return;
    const QStringList watched = watcher.files();
    for (const QString& file : files)
      if (!watched.contains(file)) watcher.addPath(file);
  }
  static constexpr int kMaxWatchedFiles = 256;
  QTimer poll;

  void scan() {
    auto f = folder.lock();
    if (!f) return;
    bool waiting = false;
    for (const QString& file : f->itemFiles()) {
      const QFileInfo info(file);
      auto items = f->itemsOfFile(file);
      bool allKnown = !items.empty();
      for (const auto& item : items)
        if (!known.count(item->EntryID())) allKnown = false;
      if (allKnown) {
        growing.erase(file);
        continue;
      }
      // Wait until two looks in a row see the same size and time.
      const auto now = std::make_pair(info.size(), info.lastModified());
      auto it = growing.find(file);
      if (it == growing.end() || it->second != now || info.size() == 0) {
        growing[file] = now;
        waiting = true;
        continue;
      }
      if (items.empty()) continue;  // complete but unreadable: logged by the parser
      growing.erase(file);
      for (const auto& item : items) {
        if (known.insert(item->EntryID()).second && handler) handler(item);
      }
    }
    watchFiles(*f);
    if (waiting) rearm();
  }
};

}  // namespace

std::shared_ptr<void> StoreFolder::watch(model::Items::ItemAddHandler handler) {
  auto w = std::make_shared<FolderWatch>();
  w->folder = std::static_pointer_cast<StoreFolder>(shared_from_this());
  w->handler = std::move(handler);
  for (const auto& item : loadItems()) w->known.insert(item->EntryID());
  w->timer.setSingleShot(true);
  w->timer.setInterval(150);
  FolderWatch* raw = w.get();
  QObject::connect(&w->timer, &QTimer::timeout, [raw] { raw->scan(); });
  QObject::connect(&w->watcher, &QFileSystemWatcher::directoryChanged, [raw](const QString&) { raw->rearm(); });
  QObject::connect(&w->watcher, &QFileSystemWatcher::fileChanged, [raw](const QString&) { raw->rearm(); });
  w->poll.setInterval(2000);
  QObject::connect(&w->poll, &QTimer::timeout, [raw] { raw->rearm(); });
  w->poll.start();
  w->watchFiles(*this);
  if (format_ == Format::IcsFile || format_ == Format::VcfFile) {
    w->watcher.addPath(absPath_);
  } else {
    w->watcher.addPath(absPath_);
    if (format_ == Format::Maildir) {
      w->watcher.addPath(absPath_ + QStringLiteral("/new"));
      w->watcher.addPath(absPath_ + QStringLiteral("/cur"));
    }
  }
  return w;
}

// --------------------------------------------------------------- FileStore

FileStore::FileStore(QString root) : root_(std::move(root)) {}

namespace {

// One overlay folder per store folder, however the store was named
// (thunderbird:NAME or the profile's folder).
QString overlayKey(const QString& root) {
  const QString canonical = QFileInfo(root).canonicalFilePath();
  const QByteArray hash =
      QCryptographicHash::hash((canonical.isEmpty() ? root : canonical).toUtf8(), QCryptographicHash::Sha1)
          .toHex()
          .left(12);
  QString readable = QFileInfo(root).fileName();
  readable.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9._-]")), QStringLiteral("_"));
  return readable.left(40) + QLatin1Char('-') + QString::fromLatin1(hash);
}

const char* const kOverlayDeleted = "Deleted Items";
const char* const kOverlayDrafts = "Drafts";

}  // namespace

std::shared_ptr<FileStore> FileStore::open(const QString& rootIn, QString* error, bool readOnly) {
  const QFileInfo info(rootIn);
  if (!info.exists()) {
    if (error) *error = QStringLiteral("%1: no such folder").arg(rootIn);
    return nullptr;
  }
  if (!info.isDir() || !info.isReadable()) {
    if (error) *error = QStringLiteral("%1: not a readable folder").arg(rootIn);
    return nullptr;
  }
  std::shared_ptr<FileStore> store(new FileStore(info.absoluteFilePath()));
  const util::IniDocument ini = util::IniDocument::load(store->root_ + QStringLiteral("/store.ini"));
  store->user_ = ini.read(QStringLiteral("Store"), QStringLiteral("User"), QString());
  store->userAddress_ = ini.read(QStringLiteral("Store"), QStringLiteral("Address"), QString());
  for (int id : kDefaultIds) {
    const QString path = ini.read(QStringLiteral("Folders"), configKey(id), QString());
    if (!path.isEmpty()) store->configured_.insert(id, QDir::cleanPath(path));
  }
  store->readOnly_ = readOnly;
  if (readOnly && !store->useOverlayDefaults(error)) return nullptr;
  store->refreshHidden();
  return store;
}

bool FileStore::useOverlayDefaults(QString* error) {
  if (!makeOverlay(error)) return false;
  configured_.insert(model::olFolderDeletedItems,
                     QLatin1String(kOverlayName) + QLatin1Char('/') + QLatin1String(kOverlayDeleted));
  configured_.insert(model::olFolderDrafts, QLatin1String(kOverlayName) + QLatin1Char('/') + QLatin1String(kOverlayDrafts));
  defaultCache_.clear();
  return true;
}

std::shared_ptr<FileStore> FileStore::open(const StoreLayout& layout, QString* error) {
  if (layout.mounts.empty()) {
    if (error) *error = QStringLiteral("%1: no folders found").arg(layout.root);
    return nullptr;
  }
  std::shared_ptr<FileStore> store(new FileStore(QDir::cleanPath(layout.root)));
  store->kind_ = layout.kind;
  store->profileName_ = layout.name;
  store->mounts_ = layout.mounts;
  store->user_ = layout.user;
  store->userAddress_ = layout.address;
  for (const StoreMount& m : layout.mounts)
    if (m.role && !store->configured_.contains(m.role)) store->configured_.insert(m.role, m.name);
  // Deletions and drafts go into Ordolo's own folders, never into the profile.
  store->readOnly_ = true;
  if (!store->useOverlayDefaults(error)) return nullptr;
  store->refreshHidden();
  return store;
}

QString FileStore::overlayFolder() const { return util::DataFolder() + QStringLiteral("overlay/") + overlayKey(root_); }

bool FileStore::makeOverlay(QString* error) const {
  const QString base = overlayFolder();
  for (const char* folder : {kOverlayDeleted, kOverlayDrafts})
    for (const char* sub : {"cur", "new", "tmp"}) {
      const QString path = QStringLiteral("%1/%2/%3").arg(base, QLatin1String(folder), QLatin1String(sub));
      if (!QDir().mkpath(path)) {
        if (error) *error = QStringLiteral("%1: cannot be made").arg(path);
        return false;
      }
    }
  // Which store the folder belongs to, for the user who finds it.
  QFile about(base + QStringLiteral("/store.txt"));
  if (!about.exists() && about.open(QIODevice::WriteOnly)) about.write((openedAs() + QLatin1Char('\n')).toUtf8());
  return true;
}

void FileStore::refreshHidden() const {
  const QString path = overlayFolder() + QStringLiteral("/hidden");
  struct stat st {};
  const qint64 stamp = ::stat(QFile::encodeName(path).constData(), &st) == 0
                           ? qint64(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec + st.st_size
                           : -1;
  if (stamp == hiddenStamp_) return;
  hiddenStamp_ = stamp;
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) return;
  for (const QByteArray& line : f.readAll().split('\n'))
    if (!line.trimmed().isEmpty()) hidden_.insert(QString::fromLatin1(line.trimmed()));
}

bool FileStore::hide(const QString& entryId, QString* error) {
  if (hidden_.count(entryId)) return true;
  QString why;
  if (!makeOverlay(&why)) {
    if (error) *error = why;
    return false;
  }
  QFile f(overlayFolder() + QStringLiteral("/hidden"));
  if (!f.open(QIODevice::WriteOnly | QIODevice::Append) || f.write((entryId + QLatin1Char('\n')).toLatin1()) < 0 ||
      !f.flush()) {
    if (error) *error = QStringLiteral("%1: %2").arg(f.fileName(), f.errorString());
    return false;
  }
  hidden_.insert(entryId);
  return true;
}

QString FileStore::storeId() const { return hex(root_); }

QString FileStore::CurrentUser() const {
  if (!user_.isEmpty()) return user_;
  if (const passwd* pw = getpwuid(getuid())) {
    const QString gecos = QString::fromLocal8Bit(pw->pw_gecos).section(QLatin1Char(','), 0, 0).trimmed();
    if (!gecos.isEmpty()) return gecos;
    return QString::fromLocal8Bit(pw->pw_name);
  }
  return qEnvironmentVariable("USER");
}

std::optional<StoreFolder::Format> FileStore::formatOf(const QString& absPath, const QString& name) {
  const QFileInfo info(absPath);
  const QString base = name.section(QLatin1Char('/'), -1);
  if (info.isFile()) {
    if (hasExtension(base, ".ics")) return StoreFolder::Format::IcsFile;
    if (hasExtension(base, ".vcf")) return StoreFolder::Format::VcfFile;
    if (isMboxFile(info)) return StoreFolder::Format::Mbox;
    return std::nullopt;
  }
  if (!info.isDir()) return std::nullopt;
  const QDir dir(absPath);
  // Thunderbird's Maildir folders have no new/.
  if (dir.exists(QStringLiteral("cur")) && (dir.exists(QStringLiteral("new")) || dir.exists(QStringLiteral("tmp"))))
    return StoreFolder::Format::Maildir;
  int ics = 0, vcf = 0, eml = 0;
  for (const QString& f : dir.entryList(QDir::Files)) {
    if (hasExtension(f, ".ics")) ++ics;
    else if (hasExtension(f, ".vcf")) ++vcf;
    else if (hasExtension(f, ".eml")) ++eml;
  }
  if (ics || vcf || eml) {
    if (ics >= vcf && ics >= eml) return StoreFolder::Format::IcsDirectory;
    if (vcf >= eml) return StoreFolder::Format::VcfDirectory;
    return StoreFolder::Format::EmlDirectory;
  }
  // An empty folder is what its name says it is.
  for (int id : kDefaultIds) {
    if (!defaultNames(id).contains(base, Qt::CaseInsensitive)) continue;
    switch (id) {
      case model::olFolderCalendar:
      case model::olFolderTasks:
      case model::olFolderNotes:
      case model::olFolderJournal: return StoreFolder::Format::IcsDirectory;
      case model::olFolderContacts: return StoreFolder::Format::VcfDirectory;
      default: return StoreFolder::Format::EmlDirectory;
    }
  }
  return StoreFolder::Format::Container;
}

QString FileStore::childPath(const QString& parentAbs, StoreFolder::Format parentFormat, const QString& name) {
  if (parentFormat == StoreFolder::Format::Mbox) return parentAbs + QStringLiteral(".sbd/") + name;
  const QString inside = parentAbs + QLatin1Char('/') + name;
  // Inside a Maildir only ".Name" folders are subfolders (Maildir++): the
  // others lie beside it, in Name.sbd/ (Thunderbird) or .Name.directory/ (KMail).
  if (parentFormat == StoreFolder::Format::Maildir && !name.startsWith(QLatin1Char('.'))) {
    if (QFileInfo::exists(parentAbs + QStringLiteral(".sbd/") + name)) return parentAbs + QStringLiteral(".sbd/") + name;
    const QFileInfo self(parentAbs);
    const QString kmail = self.path() + QStringLiteral("/.") + self.fileName() + QStringLiteral(".directory/") + name;
    if (QFileInfo::exists(kmail)) return kmail;
  }
  return inside;
}

std::shared_ptr<StoreFolder> FileStore::folderAt(const QString& relPathIn) const {
  const QString relPath = QDir::cleanPath(relPathIn).remove(QRegularExpression(QStringLiteral("^/+|/+$")));
  if (relPath.isEmpty() || relPath == QLatin1String(".") || relPath.startsWith(QLatin1String(".."))) return nullptr;
  auto it = folders_.find(relPath);
  if (it != folders_.end()) return it->second;
  const QStringList parts = relPath.split(QLatin1Char('/'));
  QString abs;
  std::optional<StoreFolder::Format> format;
  const StoreMount* mount = nullptr;
  bool writable = !readOnly();
  if (!mounts_.empty()) {
    for (const StoreMount& m : mounts_)
      if (m.name == parts[0]) mount = &m;
    if (mount) {
      abs = mount->path;
      format = mount->format;
    }
  } else {
    abs = root_ + QLatin1Char('/') + parts[0];
    format = formatOf(abs, parts[0]);
  }
  // Ordolo's own folders, where the store has none of that name.
  if (!format && parts[0] == QLatin1String(kOverlayName) && QFileInfo(overlayFolder()).isDir()) {
    abs = overlayFolder();
    format = StoreFolder::Format::Container;
    writable = true;
  }
  if (!format) return nullptr;
  for (int i = 1; i < parts.size(); ++i) {
    abs = childPath(abs, *format, parts[i]);
    format = formatOf(abs, parts[i]);
    if (!format) return nullptr;
  }
  auto self = std::const_pointer_cast<FileStore>(shared_from_this());
  auto folder = std::make_shared<StoreFolder>(self, relPath, abs, *format);
  folder->writable_ = writable && *format != StoreFolder::Format::Mbox &&
                      *format != StoreFolder::Format::ContactsDb && *format != StoreFolder::Format::CalendarDb;
  if (mount && parts.size() == 1) folder->selector_ = mount->selector;
  if (mount) folder->role_ = mount->role;
  if (mount && parts.size() == 1) folder->leaf_ = mount->leaf;
  folders_.emplace(relPath, folder);
  return folder;
}

std::vector<FolderPtr> FileStore::Folders() const {
  std::vector<FolderPtr> out;
  bool ownOverlay = false;
  if (!mounts_.empty()) {
    for (const StoreMount& m : mounts_)
      if (auto f = folderAt(m.name)) {
        out.push_back(f);
        ownOverlay = ownOverlay || m.name == QLatin1String(kOverlayName);
      }
  } else {
    const QDir dir(root_);
    for (const QFileInfo& fi : dir.entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot, QDir::Name)) {
      if (fi.isFile() && !hasExtension(fi.fileName(), ".ics") && !hasExtension(fi.fileName(), ".vcf") &&
          !isMboxFile(fi))
        continue;
      if (fi.isDir() && linksUp(fi, root_)) continue;
      if (fi.isDir() && hasExtension(fi.fileName(), ".sbd") &&
          (isMboxFile(QFileInfo(fi.filePath().chopped(4))) || QFileInfo(fi.filePath().chopped(4)).isDir()))
        continue;  // the subfolders of the mbox (or Maildir) beside it
      if (fi.fileName() == QLatin1String(kOverlayName)) ownOverlay = true;
      if (auto f = folderAt(fi.fileName())) out.push_back(f);
    }
  }
  // Ordolo's own Deleted Items and Drafts, once there are any.
  if (!ownOverlay && QFileInfo(overlayFolder()).isDir())
    if (auto f = folderAt(QLatin1String(kOverlayName))) out.push_back(f);
  return out;
}

FolderPtr FileStore::folderByPath(const QString& path) const {
  if (auto f = folderAt(path)) return f;
  // A path whose first name is not at the top: that name is a folder one
  // level down (a mail program's account's), else a default folder called
  // so (Inbox, Calendar, ...), regardless of case.
  const QString head = path.section(QLatin1Char('/'), 0, 0).trimmed();
  const QString rest = path.section(QLatin1Char('/'), 1);
  if (head.isEmpty()) return nullptr;
  // Evolution's local folders lie side by side, A/B named "A - B".
  if (!rest.isEmpty()) {
    QString flat = path;
    if (auto f = folderAt(flat.replace(QLatin1Char('/'), QStringLiteral(" - ")))) return f;
  }
  FolderPtr found;
  for (const FolderPtr& top : Folders())
    for (const FolderPtr& sub : top->Folders())
      if (!found && sub->Name().compare(head, Qt::CaseInsensitive) == 0) found = sub;
  for (int id : kDefaultIds)
    if (!found && defaultNames(id).contains(head, Qt::CaseInsensitive)) found = GetDefaultFolder(id);
  if (!found || rest.isEmpty()) return found;
  return folderAt(found->FolderPath() + QLatin1Char('/') + rest);
}

QString FileStore::defaultFolderPath(int id) const {
  auto cached = defaultCache_.constFind(id);
  if (cached != defaultCache_.constEnd()) return *cached;
  QString found;
  if (configured_.contains(id)) {
    if (folderAt(configured_.value(id))) found = folderAt(configured_.value(id))->FolderPath();
  } else {
    // Breadth first, two levels deep: a store may keep an account folder on top.
    const QStringList names = defaultNames(id);
    std::vector<FolderPtr> level = Folders();
    for (int depth = 0; depth < 2 && found.isEmpty(); ++depth) {
      std::vector<FolderPtr> next;
      for (const FolderPtr& f : level) {
        if (f->Name() == QLatin1String(kOverlayName) && f->ParentFolder() == nullptr) continue;
        if (names.contains(f->Name(), Qt::CaseInsensitive)) {
          found = f->FolderPath();
          break;
        }
        if (depth == 0)
          for (const FolderPtr& sub : f->Folders()) next.push_back(sub);
      }
      level = std::move(next);
    }
  }
  // Items are moved and written only into folders that may be written:
  // an mbox Trash or Drafts gives way to Ordolo's own.
  if ((id == model::olFolderDeletedItems || id == model::olFolderDrafts) && !found.isEmpty() &&
      !folderAt(found)->writable() && makeOverlay(nullptr))
    found = QLatin1String(kOverlayName) + QLatin1Char('/') +
            QLatin1String(id == model::olFolderDeletedItems ? kOverlayDeleted : kOverlayDrafts);
  defaultCache_.insert(id, found);
  return found;
}

FolderPtr FileStore::GetDefaultFolder(int id) const {
  const QString path = defaultFolderPath(id);
  return path.isEmpty() ? nullptr : folderAt(path);
}

model::ItemPtr FileStore::GetItemFromID(const QString& entryId, const QString&) const {
  const auto d = DecodeEntryId(entryId);
  if (!d || d->isFolder) return nullptr;
  auto folder = folderAt(d->folderPath);
  if (!folder) return nullptr;
  QString file;
  if (d->fileName.isEmpty()) {
    file = folder->absolutePath();
  } else if (folder->format() == StoreFolder::Format::Maildir) {
    for (const QString& candidate : folder->itemFiles()) {
      const QString name = QFileInfo(candidate).fileName();
      if (name == d->fileName || maildirUnique(name) == d->fileName) {
        file = candidate;
        break;
      }
    }
  } else {
    file = folder->absolutePath() + QLatin1Char('/') + d->fileName;
  }
  if (file.isEmpty()) return nullptr;
  for (const ItemPtr& item : folder->itemsOfFile(file)) {
    const auto* s = static_cast<const StoreItem*>(item.get());
    if (s->locator().uid != d->uid) continue;
    if (d->recurrence.isEmpty() || s->locator().recurrence == d->recurrence) return item;
    // An occurrence: expand the series around the moment it stands for.
    QDateTime at = QDateTime::fromString(d->recurrence, QStringLiteral("yyyyMMddTHHmmss"));
    at.setTimeSpec(Qt::UTC);
    for (const ItemPtr& occurrence : item->occurrencesBetween(at.addDays(-1), at.addDays(1)))
      if (occurrence->EntryID() == entryId) return occurrence;
    if (const auto pattern = item->GetRecurrencePattern())
      for (const auto& ex : pattern->Exceptions)
        if (ex.AppointmentItem && ex.AppointmentItem->EntryID() == entryId) return ex.AppointmentItem;
  }
  return nullptr;
}

model::ItemPtr FileStore::findContact(const QString& key) const {
  if (key.trimmed().isEmpty()) return nullptr;
  auto folder = std::dynamic_pointer_cast<StoreFolder>(GetDefaultFolder(model::olFolderContacts));
  if (!folder) return nullptr;
  const auto items = folder->loadItems();
  const QString k = key.trimmed();
  auto uidOf = [](const QString& uid) {
    return uid.startsWith(QLatin1String("urn:uuid:"), Qt::CaseInsensitive) ? uid.mid(9) : uid;
  };
  for (const ItemPtr& item : items) {
    const auto* c = dynamic_cast<const ContactItem*>(item.get());
    if (c && c->kind() == StoreItem::Kind::Contact && uidOf(c->addressee().uid()) == uidOf(k)) return item;
  }
  for (const ItemPtr& item : items) {
    const auto* c = dynamic_cast<const ContactItem*>(item.get());
    if (c && c->kind() == StoreItem::Kind::Contact &&
        c->addressee().formattedName().compare(k, Qt::CaseInsensitive) == 0)
      return item;
  }
  for (const ItemPtr& item : items) {
    const auto* c = dynamic_cast<const ContactItem*>(item.get());
    if (c && c->kind() == StoreItem::Kind::Contact && c->addressee().emails().contains(k, Qt::CaseInsensitive))
      return item;
  }
  return nullptr;
}

}  // namespace ordolo::store
