// What happens to the bytes of one file: the parser, then everything the
// store derives from a successful parse, read the way a print run reads it.
// Shared by the libFuzzer targets (tests/fuzz) and the corpus replay test
// (tests/store/fuzz_corpus_test.cpp), so that both run the same code.
#pragma once

#include "office/Package.h"
#include "office/excel/Workbook.h"
#include "office/word/Document.h"
#include "store/FileStore.h"
#include "store/Mbox.h"
#include "store/Parsers.h"
#include "store/StoreItems.h"
#include "template/ExcelOutput.h"
#include "template/ReplacePlaceholder.h"
#include "template/WordTarget.h"

#include <KCalendarCore/Recurrence>
#include <KContacts/Addressee>
#include <KMime/Message>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <sys/time.h>

#include <memory>
#include <vector>

namespace ordolo::fuzz {

struct Outcome {
  bool ok = false;
  QString error;  // the parser's reason when !ok
  int items = 0;  // items the store made of the file; none when !ok
};

// Keeps a value from being optimised away.
inline void use(qsizetype n) {
  static volatile qsizetype sink = 0;
  sink = sink + n;
}
inline void use(const QVariant& v) { use(v.toString().size()); }

// A store with one folder per kind; each input becomes that folder's only
// file, read through a fresh FileStore (whose item cache starts empty).
class ScratchStore {
 public:
  enum Kind { Calendar, Contacts, Inbox };

  ScratchStore() {
    QDir root(dir_.path());
    root.mkpath(QStringLiteral("Calendar"));
    root.mkpath(QStringLiteral("Contacts"));
    for (const char* sub : {"Inbox/cur", "Inbox/new", "Inbox/tmp"}) root.mkpath(QLatin1String(sub));
  }

  std::vector<model::ItemPtr> itemsOf(Kind kind, const QByteArray& bytes, std::shared_ptr<store::FileStore>* keep) {
    static const char* const files[] = {"Calendar/fuzz.ics", "Contacts/fuzz.vcf", "Inbox/cur/1772524802.M1P1.fuzz:2,S"};
    static const char* const folders[] = {"Calendar", "Contacts", "Inbox"};
    const QString path = dir_.filePath(QLatin1String(files[kind]));
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size()) return {};
    f.close();
    auto fileStore = store::FileStore::open(dir_.path());
    auto folder = fileStore ? fileStore->folderAt(QLatin1String(folders[kind])) : nullptr;
    if (!folder) return {};
    *keep = fileStore;
    return folder->itemsOfFile(path);
  }

  // A mail stored under the given Maildir file name in Inbox/cur, read back
  // through a fresh store; the file is removed again before returning.
  std::vector<model::ItemPtr> itemsOfMaildirName(const QString& name, const QByteArray& bytes,
                                                 std::shared_ptr<store::FileStore>* keep) {
    const QString path = dir_.filePath(QStringLiteral("Inbox/cur/") + name);
    std::vector<model::ItemPtr> items;
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size()) {
      f.close();
      auto fileStore = store::FileStore::open(dir_.path());
      auto folder = fileStore ? fileStore->folderAt(QStringLiteral("Inbox")) : nullptr;
      if (folder) {
        *keep = fileStore;
        items = folder->itemsOfFile(path);
      }
    }
    QFile::remove(path);
    return items;
  }

  // A scratch file of the given name holding bytes; empty when it cannot be written.
  QString writeFile(const char* name, const QByteArray& bytes) {
    const QString path = dir_.filePath(QLatin1String(name));
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size()) return {};
    return path;
  }

 private:
  QTemporaryDir dir_;
};

// Every property, the lists behind them, and the way back from the entry id.
inline void touchItem(const model::Item& item, const store::FileStore& fileStore) {
  for (const model::ItemProperty& p : item.ItemProperties()) use(p.Value);
  for (const model::Recipient& r : item.Recipients()) use(r.Name.size() + r.Address.size());
  for (const model::Attachment& a : item.Attachments()) use(a.Data().size());
  for (const model::Link& l : item.Links()) use(l.Name.size());
  for (int i = 1; i <= item.MemberCount(); ++i) use(item.GetMember(i) ? 1 : 0);
  use(fileStore.GetItemFromID(item.EntryID()) ? 1 : 0);
}

inline Outcome touchCalendar(ScratchStore& scratch, const QByteArray& bytes) {
  const store::ParsedCalendar parsed = store::ParseCalendar(bytes);
  const QDateTime fallback(QDate(2026, 1, 1), QTime(0, 0));
  for (const auto& incidence : parsed.incidences) {
    if (!incidence->recurs()) continue;
    const QDateTime from = incidence->dtStart().isValid() ? incidence->dtStart() : fallback;
    use(incidence->recurrence()->timesInInterval(from, from.addYears(1)).size());
  }
  // The store reads the same file: it must refuse what the parser refuses.
  std::shared_ptr<store::FileStore> fileStore;
  const auto items = scratch.itemsOf(ScratchStore::Calendar, bytes, &fileStore);
  Outcome out{parsed.ok, parsed.error, int(items.size())};
  for (const model::ItemPtr& item : items) {
    touchItem(*item, *fileStore);
    if (!item->flag(QStringLiteral("IsRecurring"))) continue;
    use(item->GetRecurrencePattern() ? 1 : 0);
    // A month of occurrences, as a print run asks for (the year above has
    // already been through the recurrence rules).
    QDateTime from = item->date(QStringLiteral("Start"));
    if (model::IsNoDate(from)) from = fallback;
    const auto occurrences = item->occurrencesBetween(from, from.addMonths(1));
    use(qsizetype(occurrences.size()));
    for (size_t i = 0; i < occurrences.size() && i < 3; ++i) touchItem(*occurrences[i], *fileStore);
  }
  return out;
}

inline Outcome touchCards(ScratchStore& scratch, const QByteArray& bytes) {
  const store::ParsedCards parsed = store::ParseVCards(bytes);
  for (const KContacts::Addressee& card : parsed.cards) {
    use(card.photo().rawData().size());
    use(card.members().size());
    for (const KContacts::Address& a : card.addresses()) use(a.formatted(KContacts::AddressFormatStyle::Postal).size());
  }
  std::shared_ptr<store::FileStore> fileStore;
  const auto items = scratch.itemsOf(ScratchStore::Contacts, bytes, &fileStore);
  Outcome out{parsed.ok, parsed.error, int(items.size())};
  for (const model::ItemPtr& item : items) touchItem(*item, *fileStore);
  return out;
}

inline Outcome touchMessage(ScratchStore& scratch, const QByteArray& bytes) {
  QString error;
  const std::unique_ptr<KMime::Message> message = store::ParseMessage(bytes, &error);
  if (message) {
    for (const char* type : {"text/plain", "text/html"})
      if (KMime::Content* part = message->mainBodyPart(type)) use(part->decodedText().size());
    for (KMime::Content* attachment : message->attachments()) use(attachment->decodedContent().size());
  }
  std::shared_ptr<store::FileStore> fileStore;
  const auto items = scratch.itemsOf(ScratchStore::Inbox, bytes, &fileStore);
  Outcome out{message != nullptr, error, int(items.size())};
  for (const model::ItemPtr& item : items) touchItem(*item, *fileStore);
  return out;
}

// A Word template: opened, filled the way a print run fills it (story pass,
// table rows, leftover removal), saved and opened again.
inline Outcome touchDocument(ScratchStore& scratch, const QByteArray& bytes) {
  const QString path = scratch.writeFile("fuzz.dotx", bytes);
  office::Error error;
  auto doc = office::word::Document::create(path, &error);
  if (!doc) return Outcome{false, error.debugText(), 0};
  tpl::WordTarget st(*doc);
  use(st.text().size());
  auto fill = [&](const char* cAlt, const char* value, bool wildcards) {
    bool test = true;
    bool retry = true;
    tpl::ReplacePlaceholder(st, QString::fromLatin1(cAlt), QString::fromLatin1(value), wildcards, test, retry);
  };
  fill("#<Subject>", "a\\b^l\r\nc", true);
  fill("#CRLF", "\r\f", false);
  if (doc->tableCount() > 0 && doc->rowCount(1) > 0) {
    const auto block = doc->copyRows(1, doc->rowCount(1), doc->rowCount(1));
    doc->appendRows(1, block);
    st.fillRows(1, doc->rowCount(1), 1);
    fill("#<Start>", "09:00", true);
    doc->deleteRow(1, 1);
  }
  st.clearLeftovers();
  const QString out = scratch.writeFile("fuzz-out.docx", {});
  if (!doc->saveAs(out, &error)) return Outcome{true, QString(), 1};
  auto again = office::word::Document::create(out, &error);
  // What the engine saved, it must be able to open again.
  if (!again) __builtin_trap();
  use(again->contentText().size());
  return Outcome{true, QString(), 1};
}

// A Maildir file name: the store reads time, unique part and flags from it;
// whatever it makes of the name, the item's entry id must lead back to it.
inline Outcome touchMaildirName(ScratchStore& scratch, const QByteArray& bytes) {
  static const QByteArray mail = "From: a@example.org\r\nSubject: s\r\n\r\nbody\r\n";
  // What a file system takes for a name: no "/" or NUL, at most 255 bytes.
  QString name = QString::fromUtf8(bytes.left(200));
  name.replace(QLatin1Char('/'), QLatin1Char('_')).remove(QChar(0));
  while (name.toUtf8().size() > 255) name.chop(1);
  if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..")) return Outcome{true, {}, 0};
  std::shared_ptr<store::FileStore> fileStore;
  const auto items = scratch.itemsOfMaildirName(name, mail, &fileStore);
  for (const model::ItemPtr& item : items) touchItem(*item, *fileStore);
  return Outcome{true, {}, int(items.size())};
}

// An mbox file: indexed, then a message appended; what the index reads of
// the grown file from its last message on must equal a whole new read. Then
// its messages through a store, as the mail folder they are.
inline Outcome touchMbox(ScratchStore& scratch, const QByteArray& bytes) {
  const QString path = scratch.writeFile("box.mbox", bytes);
  // Left alone a while: the last message counts as it stands.
  auto settle = [&path] {
    const struct timeval past[2] = {{1700000000, 0}, {1700000000, 0}};
    ::utimes(QFile::encodeName(path).constData(), past);
  };
  settle();
  store::MboxIndex grown;
  QString error;
  const bool ok = grown.update(path, &error);
  {
    QFile f(path);
    if (f.open(QIODevice::Append)) f.write("\nFrom - Mon Mar  2 08:00:00 2026\nSubject: appended\n\nbody\n\n");
  }
  settle();
  store::MboxIndex whole;
  const bool grownOk = grown.update(path, nullptr), wholeOk = whole.update(path, nullptr);
  if (grownOk != wholeOk || grown.messages().size() != whole.messages().size()) __builtin_trap();
  for (size_t i = 0; i < whole.messages().size(); ++i) {
    const store::MboxMessage &a = grown.messages()[i], &b = whole.messages()[i];
    if (a.offset != b.offset || a.start != b.start || a.length != b.length || a.head != b.head) __builtin_trap();
    use(store::ReadMboxMessage(path, b.start, b.length, b.head, nullptr).size());
  }
  // The store reads the file as it was given.
  scratch.writeFile("box.mbox", bytes);
  settle();
  int items = 0;
  if (auto fileStore = store::FileStore::open(QFileInfo(path).path()))
    if (auto folder = fileStore->folderAt(QStringLiteral("box.mbox")))
      for (const model::ItemPtr& item : folder->itemsOfFile(path)) {
        touchItem(*item, *fileStore);
        ++items;
      }
  return Outcome{ok, error, ok ? items : 0};
}

// Any zip as an OOXML package: every entry read within the limits, one part
// staged, saved, and the copy opened again with the same entries.
inline Outcome touchPackage(ScratchStore& scratch, const QByteArray& bytes) {
  const QString path = scratch.writeFile("fuzz.zip", bytes);
  QString error;
  auto package = office::Package::open(path, &error);
  if (!package) return Outcome{false, error, 0};
  const QStringList entries = package->entries();
  for (const QString& name : entries) {
    QString why;
    if (auto data = package->read(name, &why)) use(data->size());
    else if (why.isEmpty()) __builtin_trap();  // a refused part always says why
  }
  package->write(QStringLiteral("customXml/fuzz.xml"), "<x/>");
  const QString out = scratch.writeFile("fuzz-out.zip", {});
  if (!package->saveAs(out, &error)) return Outcome{true, {}, 1};
  auto again = office::Package::open(out, &error);
  if (!again || !again->has(QStringLiteral("customXml/fuzz.xml"))) __builtin_trap();
  for (const QString& name : entries)
    if (!again->has(name)) __builtin_trap();
  return Outcome{true, {}, 1};
}

// An Excel template: opened, its block filled for two items the way a print
// run fills it, finished, saved and opened again.
inline Outcome touchWorkbook(ScratchStore& scratch, const QByteArray& bytes) {
  const QString path = scratch.writeFile("fuzz.xltx", bytes);
  tpl::ExcelOutput output;
  QString error;
  if (!output.Open(path, &error)) return Outcome{false, error, 0};
  for (int item = 0; item < 2; ++item) {
    output.BeginItem();
    use(output.scanText().size());
    output.breakBeforeItem();
    bool test = true;
    bool retry = true;
    tpl::ReplacePlaceholder(output, QStringLiteral("#<Subject>"), QStringLiteral("a\r\nb"), false, test, retry);
    tpl::ReplacePlaceholder(output, QStringLiteral("#Start"), QStringLiteral("3/1/2026 09:00"), false, test, retry);
    tpl::ReplacePlaceholder(output, QStringLiteral("#User"), QStringLiteral("u"), false, test, retry);
  }
  output.Finish();
  const QString out = scratch.writeFile("fuzz-out.xlsx", {});
  if (!output.SaveAs(out, &error)) return Outcome{true, {}, 1};
  office::Error why;
  // What the engine saved, it must be able to open again.
  if (!office::excel::Workbook::open(out, &why)) __builtin_trap();
  return Outcome{true, {}, 1};
}

}  // namespace ordolo::fuzz
