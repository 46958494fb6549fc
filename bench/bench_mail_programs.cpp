// How fast are the mail programs' own stores read, and in how much memory?
//   mbox:  an mbox of 10,000 messages (about 500 MB: text mails, every
//          tenth with a 400 KB attachment) opened and listed as
//          `ordolo list` lists it (entry id, class, subject, time); then one
//          message appended and the folder listed again.
//   abook: a Thunderbird address book of 5,000 cards (each the whole vCard,
//          as Thunderbird 102 and later keep them) opened and read (name,
//          address, phone of every card).
//
//   bench_mail_programs --make=DIR           writes both into DIR (once)
//   bench_mail_programs --make-bad-mails=DIR writes the hostile mails of the
//       fault tests into the Maildir folder DIR (for scripts/bench-bad-mails)
//   bench_mail_programs --scenario=mbox|abook --data=DIR
//       one scenario in a process of its own, so that its peak memory is its
//       own; prints the phase times and the peak.
//
// scripts/bench-stores runs them all, and `ordolo list` over the same mbox.
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocale>

#include <sqlite3.h>
#include <sys/resource.h>

#include <cstdio>

#include "model/Model.h"
#include "support/BadMails.h"
#include "store/FileStore.h"
#include "store/Profiles.h"

using namespace ordolo;

namespace {

double peakMb() {
  rusage usage {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024.0;
}

QByteArray mailText(int n, int bytes, bool attachment) {
  const QDateTime date = QDateTime(QDate(2025, 1, 1), QTime(8, 0), Qt::UTC).addSecs(qint64(n) * 3000);
  QByteArray head = "From: Sender " + QByteArray::number(n % 97) + " <sender" + QByteArray::number(n % 97) +
                    "@example.org>\nTo: Test User <test.user@example.org>\nSubject: Message number " +
                    QByteArray::number(n) + " about the project\nDate: " +
                    QLocale::c().toString(date, QStringLiteral("ddd, dd MMM yyyy HH:mm:ss +0000")).toLatin1() +
                    "\nMessage-ID: <m" + QByteArray::number(n) + "@example.org>\nMIME-Version: 1.0\n";
  QByteArray text;
  static const QByteArray line = "Lorem ipsum dolor sit amet, consectetur adipiscing elit, sed do eiusmod tempor.\n";
  while (text.size() < bytes) text += line;
  if (n % 50 == 0) text += "From the archive: a line the mbox quotes.\n";
  if (!attachment) return head + "Content-Type: text/plain; charset=utf-8\n\n" + text;
  QByteArray base64;
  const QByteArray chunk = QByteArray(57, char('A' + n % 26)).toBase64() + "\n";
  while (base64.size() < 400 * 1024) base64 += chunk;
  return head + "Content-Type: multipart/mixed; boundary=\"b\"\n\n--b\nContent-Type: text/plain\n\n" + text +
         "--b\nContent-Type: application/octet-stream; name=\"data.bin\"\nContent-Transfer-Encoding: base64\n\n" +
         base64 + "--b--\n";
}

QByteArray mboxEntry(int n, const QByteArray& message) {
  QByteArray body = message;
  body.replace("\nFrom ", "\n>From ");
  return "From - Mon Jan  6 08:00:00 2025\n" + body + "\n";
}

bool makeMbox(const QString& path) {
  QFile f(path);
  if (!f.open(QIODevice::WriteOnly)) return false;
  for (int n = 0; n < 10000; ++n) f.write(mboxEntry(n, mailText(n, 10000 + (n * 37) % 6000, n % 10 == 0)));
  return true;
}

bool exec(sqlite3* db, const char* sql) { return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK; }

bool makeBook(const QString& path) {
  sqlite3* db = nullptr;
  if (sqlite3_open(QFile::encodeName(path).constData(), &db) != SQLITE_OK) return false;
  bool ok = exec(db, "PRAGMA journal_mode=WAL; PRAGMA user_version=4;"
                     "CREATE TABLE properties (card TEXT, name TEXT, value TEXT);"
                     "CREATE TABLE lists (uid TEXT PRIMARY KEY, name TEXT, nickName TEXT, description TEXT);"
                     "CREATE TABLE list_cards (list TEXT, card TEXT, PRIMARY KEY(list, card));"
                     "BEGIN");
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO properties VALUES (?, ?, ?)", -1, &insert, nullptr);
  auto add = [&](const QByteArray& card, const char* name, const QByteArray& value) {
    sqlite3_bind_text(insert, 1, card.constData(), card.size(), SQLITE_TRANSIENT);
    sqlite3_bind_text(insert, 2, name, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 3, value.constData(), value.size(), SQLITE_TRANSIENT);
    ok = ok && sqlite3_step(insert) == SQLITE_DONE;
    sqlite3_reset(insert);
  };
  for (int n = 0; n < 5000; ++n) {
    const QByteArray uid = "card-" + QByteArray::number(n);
    const QByteArray first = "First" + QByteArray::number(n), last = "Last" + QByteArray::number(n % 400);
    const QByteArray email = first.toLower() + "@example.org";
    add(uid, "_vCard",
        "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:" + first + " " + last + "\r\nN:" + last + ";" + first +
            ";;;\r\nEMAIL;PREF=1:" + email + "\r\nTEL;TYPE=work;VALUE=TEXT:+49 30 " + QByteArray::number(100000 + n) +
            "\r\nTEL;TYPE=cell;VALUE=TEXT:+49 170 " + QByteArray::number(200000 + n) +
            "\r\nADR;TYPE=work:;;Street " + QByteArray::number(n) + ";Berlin;;10115;Germany\r\nORG:Company " +
            QByteArray::number(n % 50) + "\r\nNOTE:Met at the fair.\r\nUID:" + uid + "\r\nEND:VCARD\r\n");
    add(uid, "DisplayName", first + " " + last);
    add(uid, "FirstName", first);
    add(uid, "LastName", last);
    add(uid, "PrimaryEmail", email);
  }
  sqlite3_finalize(insert);
  ok = ok && exec(db, "COMMIT");
  sqlite3_close(db);
  return ok;
}

int runMbox(const QString& data) {
  QElapsedTimer t;
  t.start();
  QString why;
  auto store = store::FileStore::open(data + QStringLiteral("/mail"), &why);
  if (!store) return std::fprintf(stderr, "%s\n", qPrintable(why)), 1;
  auto inbox = store->folderByPath(QStringLiteral("Inbox"));
  if (!inbox) return std::fprintf(stderr, "no Inbox\n"), 1;
  auto list = [&] {
    const model::ItemsPtr items = inbox->GetItems();
    qint64 chars = 0;
    for (const model::ItemPtr& item : items->all())
      chars += item->EntryID().size() + item->text(QStringLiteral("Subject")).size() +
               item->date(QStringLiteral("ReceivedTime")).toString().size();
    return std::make_pair(items->Count(), chars);
  };
  const auto [count, chars] = list();
  const qint64 first = t.elapsed();
  const double size = QFileInfo(data + QStringLiteral("/mail/Inbox")).size() / 1e6;
  std::printf("mbox: %d messages, %.0f MB: opened and listed in %.2f s (%lld characters listed)\n", count, size,
              first / 1000.0, chars);
  // One more message arrives: only the end of the file is read again.
  {
    QFile f(data + QStringLiteral("/mail/Inbox"));
    f.open(QIODevice::Append);
    f.write(mboxEntry(10000, mailText(10000, 20000, false)));
  }
  t.restart();
  const auto [again, unused] = list();
  std::printf("mbox: one message appended, listed again in %.3f s (%d messages)\n", t.elapsed() / 1000.0, again);
  // Printing reads one message whole.
  t.restart();
  const model::ItemPtr last = inbox->GetItems()->all().back();
  const int body = last->text(QStringLiteral("Body")).size();
  std::printf("mbox: the last message's body read in %.3f s (%d characters)\n", t.elapsed() / 1000.0, body);
  std::printf("mbox: peak memory %.0f MB\n", peakMb());
  // The file is left as it was made.
  QFile::resize(data + QStringLiteral("/mail/Inbox"), qint64(size * 1e6 + 0.5));
  return 0;
}

int runBook(const QString& data) {
  QElapsedTimer t;
  t.start();
  store::StoreLayout layout;
  layout.kind = QStringLiteral("thunderbird");
  layout.name = QStringLiteral("bench");
  layout.root = data;
  layout.mounts.push_back({QStringLiteral("Personal Address Book"), data + QStringLiteral("/abook.sqlite"),
                           store::StoreFolder::Format::ContactsDb, QString(), model::olFolderContacts});
  QString why;
  auto store = store::FileStore::open(layout, &why);
  if (!store) return std::fprintf(stderr, "%s\n", qPrintable(why)), 1;
  const model::ItemsPtr cards = store->GetDefaultFolder(model::olFolderContacts)->GetItems();
  qint64 chars = 0;
  for (const model::ItemPtr& card : cards->all())
    chars += card->text(QStringLiteral("FullName")).size() + card->text(QStringLiteral("Email1Address")).size() +
             card->text(QStringLiteral("BusinessTelephoneNumber")).size();
  std::printf("abook: %d cards opened and read in %.2f s (%lld characters)\n", cards->Count(), t.elapsed() / 1000.0,
              chars);
  std::printf("abook: peak memory %.0f MB\n", peakMb());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  QString make, scenario, data;
  for (const QString& arg : app.arguments().mid(1)) {
    if (arg.startsWith(QLatin1String("--make-bad-mails="))) {
      const QString folder = arg.mid(17);
      for (const char* sub : {"/cur", "/new", "/tmp"}) QDir().mkpath(folder + QLatin1String(sub));
      return ordolo::test::writeBadMails(folder + QStringLiteral("/cur"))
                 ? 0
                 : (std::fprintf(stderr, "cannot write into %s\n", qPrintable(folder)), 1);
    }
    if (arg.startsWith(QLatin1String("--make="))) make = arg.mid(7);
    else if (arg.startsWith(QLatin1String("--scenario="))) scenario = arg.mid(11);
    else if (arg.startsWith(QLatin1String("--data="))) data = arg.mid(7);
  }
  if (!make.isEmpty()) {
    QDir().mkpath(make + QStringLiteral("/mail"));
    QElapsedTimer t;
    t.start();
    if (!makeMbox(make + QStringLiteral("/mail/Inbox")) || !makeBook(make + QStringLiteral("/abook.sqlite")))
      return std::fprintf(stderr, "cannot write into %s\n", qPrintable(make)), 1;
    std::printf("made in %.1f s\n", t.elapsed() / 1000.0);
    return 0;
  }
  // ORDOLO_HOME of its own: the store may make its overlay folder.
  qputenv("ORDOLO_HOME", (data + QStringLiteral("/home")).toLocal8Bit());
  if (scenario == QLatin1String("mbox")) return runMbox(data);
  if (scenario == QLatin1String("abook")) return runBook(data);
  std::fprintf(stderr, "usage: bench_mail_programs --make=DIR | --make-bad-mails=DIR | --scenario=mbox|abook --data=DIR\n");
  return 2;
}
