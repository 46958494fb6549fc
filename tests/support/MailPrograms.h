// What Linux mail programs keep on disk, made by the tests in each
// program's own format below a home folder: a Thunderbird profile (mbox
// folders with .sbd subfolders, address books and the local calendar in
// SQLite with Thunderbird's schema), an Evolution tree (Maildir++, .ics
// files, an EBookSqlite address book), KMail's local folders and contacts,
// and vdirs named by vdirsyncer, khal and khard configurations.
//
// The formats are those of Thunderbird 102 to 153 (address book schema 4,
// calendar schema 23), evolution-data-server 3.46 (address book version 12),
// KDE PIM 22.12, vdirsyncer 0.19, khal 0.10 and khard 0.18.
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QLocale>
#include <QString>
#include <QStringList>
#include <QTimeZone>

#include <sqlite3.h>
#include <sys/time.h>

#include <gtest/gtest.h>

namespace ordolo::test::programs {

inline void write(const QString& path, const QByteArray& bytes) {
  QDir().mkpath(QFileInfo(path).absolutePath());
  QFile f(path);
  ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
  f.write(bytes);
}

inline QByteArray readAll(const QString& path) {
  QFile f(path);
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Sets every file below root an hour back: what a program wrote a while ago
// (an mbox's last message counts once its file has been left alone).
inline void settleTree(const QString& root) {
  const qint64 past = QDateTime::currentSecsSinceEpoch() - 3600;
  const struct timeval times[2] = {{past, 0}, {past, 0}};
  QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
  while (it.hasNext()) ::utimes(QFile::encodeName(it.next()).constData(), times);
}

inline void exec(sqlite3* db, const QByteArray& sql) {
  char* message = nullptr;
  ASSERT_EQ(sqlite3_exec(db, sql.constData(), nullptr, nullptr, &message), SQLITE_OK)
      << (message ? message : "") << "\n"
      << sql.constData();
}

inline sqlite3* openDb(const QString& path) {
  QDir().mkpath(QFileInfo(path).absolutePath());
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &db), SQLITE_OK);
  return db;
}

inline QByteArray quoted(const QString& text) { return "'" + text.toUtf8().replace("'", "''") + "'"; }

// A message as a mail program stores it.
inline QByteArray message(const QString& subject, const QString& from, const QString& date, const QByteArray& body,
                          const QByteArray& extraHeaders = {}) {
  return "From: " + from.toUtf8() + "\nTo: Test User <test.user@example.org>\nSubject: " + subject.toUtf8() +
         "\nDate: " + date.toUtf8() + "\nMessage-ID: <" + subject.toUtf8().replace(' ', '.') +
         "@example.org>\nMIME-Version: 1.0\n" + extraHeaders + "Content-Type: text/plain; charset=utf-8\n\n" + body;
}

inline QByteArray withAttachment(const QString& subject, const QString& date) {
  return "From: Anna Berg <anna@example.org>\nTo: Test User <test.user@example.org>\nSubject: " + subject.toUtf8() +
         "\nDate: " + date.toUtf8() + "\nMessage-ID: <attachment@example.org>\nMIME-Version: 1.0\n"
         "Content-Type: multipart/mixed; boundary=\"b1\"\n\n"
         "--b1\nContent-Type: text/plain; charset=utf-8\n\nThe minutes are attached.\nFrom the team, with thanks.\n"
         "--b1\nContent-Type: text/plain; name=\"minutes.txt\"\nContent-Disposition: attachment; filename=\"minutes.txt\"\n\n"
         "Minutes of the meeting\n--b1--\n";
}

// An mbox: each message after a "From " line; body lines beginning with
// "From " quoted as ">From ". Thunderbird's marks the deleted ones with
// X-Mozilla-Status 0x0008.
inline QByteArray mbox(const QList<QByteArray>& messages, const QByteArray& eol = "\n") {
  QByteArray out;
  int n = 0;
  for (QByteArray m : messages) {
    QByteArray quotedBody;
    for (const QByteArray& line : m.split('\n')) {
      QByteArray l = line;
      int gt = 0;
      while (gt < l.size() && l[gt] == '>') ++gt;
      if (l.mid(gt).startsWith("From ")) l.prepend('>');
      quotedBody += l + '\n';
    }
    quotedBody.chop(1);
    if (!quotedBody.endsWith('\n')) quotedBody += '\n';
    // The time the program stored it: a minute after its Date.
    const int at = m.indexOf("\nDate: ");
    QDateTime stored = at < 0 ? QDateTime()
                              : QDateTime::fromString(QString::fromLatin1(m.mid(at + 7, m.indexOf('\n', at + 1) - at - 7)),
                                                      Qt::RFC2822Date);
    stored = stored.isValid() ? stored.addSecs(60).toLocalTime()
                              : QDateTime(QDate(2026, 3, 2), QTime(n % 10, 0));
    ++n;
    out += "From - " + QLocale::c().toString(stored, QStringLiteral("ddd MMM d HH:mm:ss yyyy")).toLatin1() + "\n" +
           quotedBody + "\n";
  }
  if (eol != "\n") out.replace("\n", eol);
  return out;
}

// ------------------------------------------------------------- Thunderbird

inline void thunderbirdAddressBook(const QString& path, bool withList, const QList<QStringList>& cards) {
  sqlite3* db = openDb(path);
  exec(db, "PRAGMA journal_mode=WAL; PRAGMA user_version = 4;"
           "CREATE TABLE properties (card TEXT, name TEXT, value TEXT);"
           "CREATE TABLE lists (uid TEXT PRIMARY KEY, name TEXT, nickName TEXT, description TEXT);"
           "CREATE TABLE list_cards (list TEXT, card TEXT, PRIMARY KEY(list, card));"
           "CREATE INDEX properties_card ON properties(card); CREATE INDEX properties_name ON properties(name);");
  // Each card: uid, then name=value pairs.
  for (const QStringList& card : cards)
    for (int i = 1; i < card.size(); ++i) {
      const QString name = card[i].section(QLatin1Char('='), 0, 0), value = card[i].section(QLatin1Char('='), 1);
      exec(db, "INSERT INTO properties VALUES (" + quoted(card[0]) + ", " + quoted(name) + ", " + quoted(value) + ")");
    }
  if (withList) {
    exec(db, "INSERT INTO lists VALUES ('list-1', 'Project Team', 'team', 'Everyone on the project')");
    exec(db, "INSERT INTO list_cards VALUES ('list-1', " + quoted(cards.value(1).value(0)) + ")");
    exec(db, "INSERT INTO list_cards VALUES ('list-1', " + quoted(cards.value(0).value(0)) + ")");
  }
  sqlite3_close(db);
}

inline qint64 prtime(const QDateTime& t) { return t.toMSecsSinceEpoch() * 1000; }
inline qint64 prtimeFloating(const QDate& d) { return QDateTime(d, QTime(0, 0), Qt::UTC).toMSecsSinceEpoch() * 1000; }

inline void thunderbirdCalendar(const QString& path, const QString& home, const QString& other) {
  sqlite3* db = openDb(path);
  exec(db,
       "PRAGMA journal_mode=WAL;"
       "CREATE TABLE cal_calendar_schema_version (version INTEGER); INSERT INTO cal_calendar_schema_version VALUES (23);"
       "CREATE TABLE cal_tz_version (version TEXT);"
       "CREATE TABLE cal_events (cal_id TEXT, id TEXT, time_created INTEGER, last_modified INTEGER, title TEXT,"
       " priority INTEGER, privacy TEXT, ical_status TEXT, flags INTEGER, event_start INTEGER, event_end INTEGER,"
       " event_stamp INTEGER, event_start_tz TEXT, event_end_tz TEXT, recurrence_id INTEGER, recurrence_id_tz TEXT,"
       " alarm_last_ack INTEGER, offline_journal INTEGER);"
       "CREATE TABLE cal_todos (cal_id TEXT, id TEXT, time_created INTEGER, last_modified INTEGER, title TEXT,"
       " priority INTEGER, privacy TEXT, ical_status TEXT, flags INTEGER, todo_entry INTEGER, todo_due INTEGER,"
       " todo_completed INTEGER, todo_complete INTEGER, todo_entry_tz TEXT, todo_due_tz TEXT, todo_completed_tz TEXT,"
       " recurrence_id INTEGER, recurrence_id_tz TEXT, alarm_last_ack INTEGER, todo_stamp INTEGER,"
       " offline_journal INTEGER);"
       "CREATE TABLE cal_attendees (item_id TEXT, recurrence_id INTEGER, recurrence_id_tz TEXT, cal_id TEXT,"
       " icalString TEXT);"
       "CREATE TABLE cal_recurrence (item_id TEXT, cal_id TEXT, icalString TEXT);"
       "CREATE TABLE cal_properties (item_id TEXT, key TEXT, value BLOB, recurrence_id INTEGER,"
       " recurrence_id_tz TEXT, cal_id TEXT);"
       "CREATE TABLE cal_parameters (cal_id TEXT, item_id TEXT, recurrence_id INTEGER, recurrence_id_tz TEXT,"
       " key1 TEXT, key2 TEXT, value BLOB);"
       "CREATE TABLE cal_alarms (cal_id TEXT, item_id TEXT, recurrence_id INTEGER, recurrence_id_tz TEXT,"
       " icalString TEXT);"
       "CREATE TABLE cal_attachments (item_id TEXT, cal_id TEXT, recurrence_id INTEGER, recurrence_id_tz TEXT,"
       " icalString TEXT);"
       "CREATE TABLE cal_relations (cal_id TEXT, item_id TEXT, recurrence_id INTEGER, recurrence_id_tz TEXT,"
       " icalString TEXT);"
       "CREATE TABLE cal_metadata (cal_id TEXT, item_id TEXT, value BLOB);");
  const QTimeZone berlin("Europe/Berlin");
  auto berlinAt = [&](int y, int m, int d, int h) { return QDateTime(QDate(y, m, d), QTime(h, 0), berlin); };
  auto event = [&](const QString& cal, const QString& id, const QString& title, qint64 flags, qint64 start,
                   qint64 end, const QString& tz, const QString& recurrenceId = QStringLiteral("NULL"),
                   int journal = 0) {
    exec(db, "INSERT INTO cal_events VALUES (" + quoted(cal) + ", " + quoted(id) + ", " +
                 QByteArray::number(prtime(berlinAt(2026, 2, 1, 10))) + ", " +
                 QByteArray::number(prtime(berlinAt(2026, 2, 1, 10))) + ", " + quoted(title) + ", 0, 'PUBLIC', " +
                 "'CONFIRMED', " + QByteArray::number(flags) + ", " + QByteArray::number(start) + ", " +
                 QByteArray::number(end) + ", " + QByteArray::number(prtime(berlinAt(2026, 2, 1, 10))) + ", " +
                 quoted(tz) + ", " + quoted(tz) + ", " + recurrenceId.toUtf8() + ", " +
                 (recurrenceId == QLatin1String("NULL") ? QByteArray("NULL") : quoted(tz)) + ", NULL, " +
                 (journal ? QByteArray::number(journal) : QByteArray("NULL")) + ")");
  };
  // A weekly meeting in Berlin time, four times from 2 March, the second one moved to 11:00.
  event(home, "meeting-1", "Team meeting", 2 | 4 | 16 | 32, prtime(berlinAt(2026, 3, 2, 9)),
        prtime(berlinAt(2026, 3, 2, 10)), "Europe/Berlin");
  exec(db, "INSERT INTO cal_recurrence VALUES ('meeting-1', " + quoted(home) + ", 'RRULE:FREQ=WEEKLY;COUNT=4')");
  exec(db, "INSERT INTO cal_properties VALUES ('meeting-1', 'LOCATION', 'Room 4', NULL, NULL, " + quoted(home) + ")");
  exec(db, "INSERT INTO cal_properties VALUES ('meeting-1', 'DESCRIPTION', 'Agenda: budget; staff, rooms', NULL, "
           "NULL, " + quoted(home) + ")");
  exec(db, "INSERT INTO cal_attendees VALUES ('meeting-1', NULL, NULL, " + quoted(home) +
               ", 'ORGANIZER;CN=Test User:mailto:test.user@example.org')");
  exec(db, "INSERT INTO cal_attendees VALUES ('meeting-1', NULL, NULL, " + quoted(home) +
               ", 'ATTENDEE;CN=Anna Berg;PARTSTAT=ACCEPTED;ROLE=REQ-PARTICIPANT:\r\n mailto:anna@example.org')");
  const qint64 second = prtime(berlinAt(2026, 3, 9, 9));
  event(home, "meeting-1", "Team meeting (moved)", 2, prtime(berlinAt(2026, 3, 9, 11)), prtime(berlinAt(2026, 3, 9, 12)),
        "Europe/Berlin", QString::number(second));
  // All day, a date: kept as midnight UTC.
  event(home, "holiday-1", "Company holiday", 8, prtimeFloating(QDate(2026, 3, 20)), prtimeFloating(QDate(2026, 3, 21)),
        "floating");
  // Values that would break the text they are written into: lines and
  // separators in a title, a class, a parameter, and HTML over many lines.
  event(home, "tricky-1", "Tricky\r\nSTATUS:CANCELLED", 0, prtime(berlinAt(2026, 3, 5, 9)),
        prtime(berlinAt(2026, 3, 5, 10)), "Europe/Berlin");
  exec(db, "UPDATE cal_events SET privacy = 'PUBLIC\nX-INJECTED:1' WHERE id = 'tricky-1'");
  exec(db, "INSERT INTO cal_properties VALUES ('tricky-1', 'DESCRIPTION', 'Plain: text; with, marks', NULL, NULL, " +
               quoted(home) + ")");
  exec(db, "INSERT INTO cal_parameters VALUES (" + quoted(home) +
               ", 'tricky-1', NULL, NULL, 'DESCRIPTION', 'ALTREP', 'data:text/html,%3Cp%3EPlain%3C/p%3E')");
  exec(db, "INSERT INTO cal_properties VALUES ('tricky-1', 'X-ALT-DESC', '<p>Hi</p>\nEND:VEVENT\nBEGIN:VEVENT\n"
           "SUMMARY:Ghost', NULL, NULL, " + quoted(home) + ")");
  // Deleted while offline: gone for the user.
  event(home, "gone-1", "Deleted offline", 0, prtime(berlinAt(2026, 3, 3, 9)), prtime(berlinAt(2026, 3, 3, 10)), "UTC",
        QStringLiteral("NULL"), 4);
  // Another calendar's event.
  event(other, "other-1", "Dentist", 0, prtime(berlinAt(2026, 3, 4, 15)), prtime(berlinAt(2026, 3, 4, 16)),
        "Europe/Berlin");
  exec(db, "INSERT INTO cal_todos VALUES (" + quoted(home) + ", 'todo-1', NULL, NULL, 'Write report', 1, NULL, "
               "'IN-PROCESS', 0, " + QByteArray::number(prtime(berlinAt(2026, 3, 2, 8))) + ", " +
               QByteArray::number(prtime(berlinAt(2026, 3, 12, 17))) +
               ", NULL, 50, 'Europe/Berlin', 'Europe/Berlin', NULL, NULL, NULL, NULL, NULL, NULL)");
  sqlite3_close(db);
}

struct ThunderbirdProfile {
  QString root;     // ~/.thunderbird
  QString profile;  // the default profile's folder
  QString homeCalendar = QStringLiteral("3f1c9a8e-0c1d-4a2b-9e5f-000000000001");
};

inline ThunderbirdProfile thunderbird(const QString& home) {
  ThunderbirdProfile p;
  p.root = home + QStringLiteral("/.thunderbird");
  p.profile = p.root + QStringLiteral("/abcd1234.default-release");
  write(p.root + QStringLiteral("/profiles.ini"),
        "[Profile1]\nName=old\nIsRelative=1\nPath=gone.old\n\n"
        "[Profile0]\nName=default-release\nIsRelative=1\nPath=abcd1234.default-release\nDefault=1\n\n"
        "[General]\nStartWithLastProfile=1\nVersion=2\n\n"
        "[Install4F96D1932A9F858E]\nDefault=abcd1234.default-release\nLocked=1\n");
  const QString other = QStringLiteral("7d2e0000-1111-4222-8333-444455556666");
  write(p.profile + QStringLiteral("/prefs.js"),
        "// Mozilla User Preferences\n"
        "user_pref(\"mail.accountmanager.accounts\", \"account1,account2\");\n"
        "user_pref(\"mail.accountmanager.localfoldersserver\", \"server2\");\n"
        "user_pref(\"mail.account.account1.identities\", \"id1\");\n"
        "user_pref(\"mail.account.account1.server\", \"server1\");\n"
        "user_pref(\"mail.account.account2.server\", \"server2\");\n"
        "user_pref(\"mail.identity.id1.fullName\", \"Test User\");\n"
        "user_pref(\"mail.identity.id1.useremail\", \"test.user@example.org\");\n"
        "user_pref(\"mail.server.server1.directory-rel\", \"[ProfD]Mail/pop.example.org\");\n"
        "user_pref(\"mail.server.server1.name\", \"test.user@example.org\");\n"
        "user_pref(\"mail.server.server1.type\", \"pop3\");\n"
        "user_pref(\"mail.server.server2.directory-rel\", \"[ProfD]Mail/Local Folders\");\n"
        "user_pref(\"mail.server.server2.hostname\", \"Local Folders\");\n"
        "user_pref(\"mail.server.server2.name\", \"Local Folders\");\n"
        "user_pref(\"mail.server.server2.type\", \"none\");\n"
        "user_pref(\"ldap_2.servers.Work.description\", \"Work\");\n"
        "user_pref(\"ldap_2.servers.Work.dirType\", 101);\n"
        "user_pref(\"ldap_2.servers.Work.filename\", \"abook-1.sqlite\");\n"
        "user_pref(\"calendar.list.sortOrder\", \"" + p.homeCalendar.toUtf8() + " " + other.toUtf8() + "\");\n"
        "user_pref(\"calendar.registry." + p.homeCalendar.toUtf8() + ".name\", \"Home\");\n"
        "user_pref(\"calendar.registry." + p.homeCalendar.toUtf8() + ".type\", \"storage\");\n"
        "user_pref(\"calendar.registry." + p.homeCalendar.toUtf8() + ".uri\", \"moz-storage-calendar://\");\n"
        "user_pref(\"calendar.registry." + other.toUtf8() + ".name\", \"Private\");\n"
        "user_pref(\"calendar.registry." + other.toUtf8() + ".type\", \"storage\");\n"
        "user_pref(\"calendar.registry." + other.toUtf8() + ".uri\", \"moz-storage-calendar://\");\n");
  // The POP account: Inbox with a quoted "From " line, an attachment, and a
  // message deleted in Thunderbird but not compacted away yet.
  const QString pop = p.profile + QStringLiteral("/Mail/pop.example.org/");
  write(pop + QStringLiteral("Inbox"),
        mbox({message(QStringLiteral("Quarterly figures"), QStringLiteral("Carl Diehl <carl@example.org>"),
                      QStringLiteral("Mon, 02 Mar 2026 08:15:00 +0100"),
                      "Here they are.\nFrom now on monthly.\n>From the archive.\n",
                      "X-Mozilla-Status: 0001\nX-Mozilla-Status2: 00000000\n"),
              withAttachment(QStringLiteral("Minutes"), QStringLiteral("Tue, 03 Mar 2026 09:30:00 +0100")),
              message(QStringLiteral("Deleted newsletter"), QStringLiteral("news@example.org"),
                      QStringLiteral("Wed, 04 Mar 2026 07:00:00 +0100"), "Old news.\n",
                      "X-Mozilla-Status: 0009\nX-Mozilla-Status2: 00000000\n")}));
  write(pop + QStringLiteral("Inbox.msf"), "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n");
  write(pop + QStringLiteral("Inbox.sbd/Projects"),
        mbox({message(QStringLiteral("Project plan"), QStringLiteral("Anna Berg <anna@example.org>"),
                      QStringLiteral("Thu, 05 Mar 2026 14:00:00 +0100"), "The plan.\n")},
             "\r\n"));
  write(pop + QStringLiteral("Inbox.sbd/Projects.msf"), "");
  write(pop + QStringLiteral("Trash"), "");
  write(pop + QStringLiteral("Trash.msf"), "");
  write(pop + QStringLiteral("Sent"),
        mbox({message(QStringLiteral("Re: Quarterly figures"), QStringLiteral("Test User <test.user@example.org>"),
                      QStringLiteral("Mon, 02 Mar 2026 10:00:00 +0100"), "Thanks.\n")}));
  write(pop + QStringLiteral("msgFilterRules.dat"), "version=\"9\"\nlogging=\"no\"\n");
  const QString local = p.profile + QStringLiteral("/Mail/Local Folders/");
  write(local + QStringLiteral("Unsent Messages"), "");
  write(local + QStringLiteral("Unsent Messages.msf"), "");
  write(local + QStringLiteral("Archives"),
        mbox({message(QStringLiteral("Archived"), QStringLiteral("Old Friend <old@example.org>"),
                      QStringLiteral("Fri, 02 Jan 2026 10:00:00 +0100"), "From the old days.\n")}));
  // Address books: a card of today's form (the whole vCard), one of the
  // older form (properties only) and a mailing list of both.
  thunderbirdAddressBook(
      p.profile + QStringLiteral("/abook.sqlite"), true,
      {{QStringLiteral("c0ffee00-0000-4000-8000-000000000001"),
        QStringLiteral("_vCard=BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Anna Berg\r\nN:Berg;Anna;;;\r\n"
                       "EMAIL;PREF=1:anna@example.org\r\nTEL;TYPE=work;VALUE=TEXT:+49 30 1234\r\n"
                       "ORG:Example GmbH;Sales\r\nADR;TYPE=work:;;Hauptstr. 1;Berlin;;10115;Germany\r\n"
                       "UID:c0ffee00-0000-4000-8000-000000000001\r\nEND:VCARD\r\n"),
        QStringLiteral("DisplayName=Anna Berg"), QStringLiteral("PrimaryEmail=anna@example.org"),
        QStringLiteral("FirstName=Anna"), QStringLiteral("LastName=Berg")},
       {QStringLiteral("c0ffee00-0000-4000-8000-000000000002"), QStringLiteral("DisplayName=Carl Diehl"),
        QStringLiteral("FirstName=Carl"), QStringLiteral("LastName=Diehl"),
        QStringLiteral("PrimaryEmail=carl@example.org"), QStringLiteral("WorkPhone=+49 40 555"),
        QStringLiteral("HomeCity=Hamburg"), QStringLiteral("Company=Diehl & Co")}});
  thunderbirdAddressBook(p.profile + QStringLiteral("/history.sqlite"), false,
                         {{QStringLiteral("h1"), QStringLiteral("DisplayName=Collected Person"),
                           QStringLiteral("PrimaryEmail=collected@example.org")}});
  thunderbirdAddressBook(p.profile + QStringLiteral("/abook-1.sqlite"), false,
                         {{QStringLiteral("w1"), QStringLiteral("DisplayName=Werner Work"),
                           QStringLiteral("PrimaryEmail=werner@example.com")}});
  thunderbirdCalendar(p.profile + QStringLiteral("/calendar-data/local.sqlite"), p.homeCalendar, other);
  settleTree(p.profile);
  return p;
}

// --------------------------------------------------------------- Evolution

// EBookSqlite as evolution-data-server 3.46 writes it; `version` is its
// folders.version (12 there).
inline void evolutionAddressBook(const QString& path, int version, const QList<QByteArray>& vcards) {
  sqlite3* db = openDb(path);
  exec(db, "CREATE TABLE keys (key TEXT PRIMARY KEY, value TEXT, folder_id TEXT REFERENCES folders);"
           "CREATE TABLE folders (folder_id TEXT PRIMARY KEY, version INTEGER, multivalues TEXT, lc_collate TEXT,"
           " countrycode VARCHAR(2));"
           "INSERT INTO folders VALUES ('folder_id', " + QByteArray::number(version) + ", 'email;phone', 'en_US.UTF-8', 'US');"
           "CREATE TABLE 'folder_id' (uid TEXT PRIMARY KEY, Rev TEXT, file_as TEXT, file_as_localized TEXT,"
           " nickname TEXT, full_name TEXT, given_name TEXT, given_name_localized TEXT, family_name TEXT,"
           " family_name_localized TEXT, is_list INTEGER, list_show_addresses INTEGER, wants_html INTEGER,"
           " x509Cert INTEGER, pgpCert INTEGER, vcard TEXT, bdata TEXT);");
  int n = 0;
  for (const QByteArray& card : vcards)
    exec(db, "INSERT INTO 'folder_id' (uid, Rev, is_list, vcard) VALUES ('pas-id-" + QByteArray::number(++n) +
                 "', '2026-03-01T10:00:00Z', " + (card.contains("X-EVOLUTION-LIST:TRUE") ? "1" : "0") + ", " +
                 quoted(QString::fromUtf8(card)) + ")");
  sqlite3_close(db);
}

inline QByteArray evolutionCard(const QString& uid, const QString& name, const QString& email) {
  return "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:" + uid.toUtf8() + "\r\nFN:" + name.toUtf8() + "\r\nN:" +
         name.section(' ', 1).toUtf8() + ";" + name.section(' ', 0, 0).toUtf8() + ";;;\r\nEMAIL;TYPE=WORK:" +
         email.toUtf8() + "\r\nTEL;X-EVOLUTION-E164=4930999;TYPE=WORK,VOICE:+49 30 999\r\nEND:VCARD";
}

inline QString evolution(const QString& home) {
  const QString data = home + QStringLiteral("/.local/share/evolution/");
  const QString local = data + QStringLiteral("mail/local/");
  write(local + QStringLiteral("..maildir++"), "maildir++ 1\n");
  for (const char* dir : {"cur", "new", "tmp", ".Drafts/cur", ".Drafts/new", ".Drafts/tmp", ".Sent/cur", ".Sent/new",
                          ".Sent/tmp", ".Projects_2E2026/cur", ".Projects_2E2026/new", ".Projects_2E2026/tmp",
                          ".Projects_2E2026.Budget/cur", "..Receipts/cur"})
    QDir().mkpath(local + QLatin1String(dir));
  write(local + QStringLiteral("cur/1772440000.M1P1.host:2,S"),
        message(QStringLiteral("Evolution inbox mail"), QStringLiteral("Anna Berg <anna@example.org>"),
                QStringLiteral("Mon, 02 Mar 2026 08:15:00 +0100"), "Hello from Evolution.\n"));
  write(local + QStringLiteral("cur/1772440001.M2P1.host:2,ST"),
        message(QStringLiteral("Trashed mail"), QStringLiteral("spam@example.org"),
                QStringLiteral("Mon, 02 Mar 2026 09:00:00 +0100"), "Gone.\n"));
  write(local + QStringLiteral(".Projects_2E2026/cur/1772440002.M3P1.host:2,S"),
        message(QStringLiteral("Plan for 2026"), QStringLiteral("Carl Diehl <carl@example.org>"),
                QStringLiteral("Tue, 03 Mar 2026 08:15:00 +0100"), "The plan.\n"));
  write(local + QStringLiteral(".Projects_2E2026.Budget/cur/1772440003.M4P1.host:2,S"),
        message(QStringLiteral("Budget figures"), QStringLiteral("Carl Diehl <carl@example.org>"),
                QStringLiteral("Tue, 03 Mar 2026 09:15:00 +0100"), "The figures.\n"));
  write(data + QStringLiteral("calendar/system/calendar.ics"),
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Ximian//NONSGML Evolution Calendar//EN\r\n"
        "BEGIN:VEVENT\r\nUID:evo-event-1\r\nDTSTAMP:20260301T100000Z\r\nDTSTART;TZID=Europe/Berlin:20260305T140000\r\n"
        "DTEND;TZID=Europe/Berlin:20260305T150000\r\nSUMMARY:Evolution review\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n");
  write(data + QStringLiteral("tasks/system/tasks.ics"),
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VTODO\r\nUID:evo-todo-1\r\nDTSTAMP:20260301T100000Z\r\n"
        "SUMMARY:Evolution task\r\nDUE;VALUE=DATE:20260310\r\nEND:VTODO\r\nEND:VCALENDAR\r\n");
  write(data + QStringLiteral("memos/system/journal.ics"),
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VJOURNAL\r\nUID:evo-memo-1\r\nDTSTAMP:20260301T100000Z\r\n"
        "DTSTART;VALUE=DATE:20260301\r\nSUMMARY:Evolution memo\r\nDESCRIPTION:Remember the milk\r\nEND:VJOURNAL\r\n"
        "END:VCALENDAR\r\n");
  evolutionAddressBook(
      data + QStringLiteral("addressbook/system/contacts.db"), 12,
      {evolutionCard(QStringLiteral("evo-1"), QStringLiteral("Dora Evans"), QStringLiteral("dora@example.org")),
       evolutionCard(QStringLiteral("evo-2"), QStringLiteral("Emil Frank"), QStringLiteral("emil@example.org")),
       "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:evo-list\r\nFN:Evolution friends\r\nX-EVOLUTION-LIST:TRUE\r\n"
       "EMAIL;X-EVOLUTION-DEST-CONTACT-UID=evo-1:Dora Evans <dora@example.org>\r\n"
       "EMAIL;X-EVOLUTION-DEST-CONTACT-UID=evo-2:Emil Frank <emil@example.org>\r\nEND:VCARD"});
  write(home + QStringLiteral("/.config/evolution/sources/1234abcd.source"),
        "[Data Source]\nDisplayName=test.user@example.org\nEnabled=true\nParent=\n\n"
        "[Mail Identity]\nAddress=test.user@example.org\nName=Test User\n");
  return data;
}

// ------------------------------------------------------------------- KMail

inline QString kmail(const QString& home) {
  const QString data = home + QStringLiteral("/.local/share/");
  for (const char* dir : {"inbox", "sent-mail", "trash", "drafts", "outbox", "templates", ".inbox.directory/Receipts"})
    for (const char* sub : {"/cur", "/new", "/tmp"}) QDir().mkpath(data + QStringLiteral("local-mail/") + QLatin1String(dir) + QLatin1String(sub));
  write(data + QStringLiteral("local-mail/inbox/new/1772440100.R1.host"),
        message(QStringLiteral("KMail inbox mail"), QStringLiteral("Anna Berg <anna@example.org>"),
                QStringLiteral("Mon, 02 Mar 2026 08:15:00 +0100"), "Hello from KMail.\n"));
  write(data + QStringLiteral("local-mail/.inbox.directory/Receipts/cur/1772440101.R2.host:2,S"),
        message(QStringLiteral("Your receipt"), QStringLiteral("shop@example.com"),
                QStringLiteral("Tue, 03 Mar 2026 08:15:00 +0100"), "Thank you.\n"));
  write(data + QStringLiteral("contacts/kde-1.vcf"),
        "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:kde-1\r\nFN:Konrad Kay\r\nN:Kay;Konrad;;;\r\n"
        "EMAIL:konrad@example.org\r\nEND:VCARD\r\n");
  write(data + QStringLiteral("contacts/WARNING_README.txt"), "Do not change the files here.\n");
  write(data + QStringLiteral("contacts/group.ctg"), "<contactGroup name=\"Friends\"/>\n");
  return data;
}

// -------------------------------------------------------------------- vdirs

inline void vdirs(const QString& home) {
  write(home + QStringLiteral("/.config/vdirsyncer/config"),
        "[general]\nstatus_path = \"~/.vdirsyncer/status/\"\n\n"
        "[pair calendars]\na = \"calendars_local\"\nb = \"calendars_remote\"\ncollections = [\"from a\", \"from b\"]\n\n"
        "[storage calendars_local]\ntype = \"filesystem\"\npath = \"~/.calendars/\"\nfileext = \".ics\"\n\n"
        "[storage calendars_remote]\ntype = \"caldav\"\nurl = \"https://dav.example.org/\"\n");
  write(home + QStringLiteral("/.calendars/personal/displayname"), "Personal\n");
  write(home + QStringLiteral("/.calendars/personal/vdir-event-1.ics"),
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:vdir-event-1\r\nDTSTAMP:20260301T100000Z\r\n"
        "DTSTART:20260306T090000Z\r\nDTEND:20260306T100000Z\r\nSUMMARY:Synced appointment\r\nEND:VEVENT\r\n"
        "END:VCALENDAR\r\n");
  write(home + QStringLiteral("/.calendars/work/w.ics"),
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:vdir-work-1\r\nDTSTAMP:20260301T100000Z\r\n"
        "DTSTART:20260307T090000Z\r\nDTEND:20260307T100000Z\r\nSUMMARY:Work appointment\r\nEND:VEVENT\r\n"
        "END:VCALENDAR\r\n");
  write(home + QStringLiteral("/.config/khal/config"),
        "[calendars]\n\n  [[mine]]\n    path = ~/.calendars/*\n    type = discover\n\n[default]\nhighlight_event_days = True\n");
  write(home + QStringLiteral("/.config/khard/khard.conf"),
        "[addressbooks]\n[[family]]\npath = ~/.contacts/family/\n[[missing]]\npath = ~/.contacts/none/\n\n"
        "[general]\ndebug = no\n");
  write(home + QStringLiteral("/.contacts/family/f1.vcf"),
        "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:f1\r\nFN:Frida Family\r\nN:Family;Frida;;;\r\nEMAIL:frida@example.org\r\n"
        "END:VCARD\r\n");
}

}  // namespace ordolo::test::programs
