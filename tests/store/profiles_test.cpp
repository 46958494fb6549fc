// The stores of Linux mail programs, found by themselves and read in their
// own formats, without a byte of theirs ever changed.
#include "StoreFixture.h"
#include "support/MailPrograms.h"

#include "store/Databases.h"
#include "store/Profiles.h"
#include "store/StoreItems.h"
#include "tools/EmlImport.h"

#include <QCryptographicHash>
#include <QDirIterator>

using namespace ordolo;
using namespace ordolo::test;

namespace {

// A home folder of its own: the programs' files are looked for there.
class MailProgramsTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir.isValid()); }
  QString home() const { return dir.path(); }

  std::shared_ptr<store::FileStore> open(const QString& storeArg) {
    QString why;
    auto s = store::OpenStore(storeArg, &why);
    EXPECT_TRUE(s) << why.toStdString();
    return s;
  }
  static QStringList names(const std::vector<model::FolderPtr>& folders) {
    QStringList out;
    for (const auto& f : folders) out << f->Name();
    return out;
  }
  static QStringList subjects(const model::FolderPtr& folder, const char* property = "Subject") {
    QStringList out;
    if (!folder) return out;
    const auto items = folder->GetItems();
    for (const auto& item : items->all()) out << item->text(QString::fromLatin1(property));
    return out;
  }
  static model::ItemPtr named(const model::FolderPtr& folder, const QString& text, const char* property = "Subject") {
    const auto items = folder ? folder->GetItems() : std::make_shared<model::Items>();
    for (const auto& item : items->all())
      if (item->text(QString::fromLatin1(property)) == text) return item;
    ADD_FAILURE() << "no " << text.toStdString();
    return nullptr;
  }
  // Every file below a folder with its bytes' hash: what "unchanged" means.
  static QMap<QString, QByteArray> snapshot(const QString& root) {
    QMap<QString, QByteArray> out;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
      QFile f(it.next());
      if (f.open(QIODevice::ReadOnly))
        out.insert(f.fileName(), QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha1));
    }
    return out;
  }

  QTemporaryDir dir;
  ScopedEnv homeVar{"HOME", dir.path().toUtf8()};
  ScopedEnv dataVar{"XDG_DATA_HOME", std::nullopt};
  ScopedEnv configVar{"XDG_CONFIG_HOME", std::nullopt};
  ScopedEnv vdirsyncerVar{"VDIRSYNCER_CONFIG", std::nullopt};
  ScopedEnv khardVar{"KHARD_CONFIG", std::nullopt};
  ScopedEnv ordoloHome{"ORDOLO_HOME", (dir.path() + "/ordolo").toUtf8()};
};

}  // namespace

TEST_F(MailProgramsTest, ThunderbirdProfileIsFoundAndReadAsThunderbirdShowsIt) {
  const auto tb = programs::thunderbird(home());
  const store::FoundStores found = store::FindStores();
  ASSERT_EQ(found.stores.size(), 1u);
  EXPECT_EQ(found.stores[0].kind, "thunderbird");
  EXPECT_EQ(found.stores[0].name, "default-release");
  EXPECT_EQ(found.stores[0].root, tb.profile);
  // The profile whose folder is gone is named, with the file that names it.
  ASSERT_EQ(found.notices.size(), 1);
  EXPECT_TRUE(found.notices[0].contains("profiles.ini") && found.notices[0].contains("gone.old"))
      << found.notices[0].toStdString();

  auto s = open("thunderbird");
  ASSERT_TRUE(s);
  EXPECT_EQ(s->CurrentUser(), "Test User");
  EXPECT_EQ(names(s->Folders()), QStringList({"test.user@example.org", "Local Folders", "Personal Address Book",
                                              "Work", "Collected Addresses", "Home", "Tasks", "Private",
                                              "Private Tasks", "Ordolo"}));
  // Mail: the account's mbox folders, the .sbd subfolder, .msf and the filter
  // file left out; the message Thunderbird deleted but kept is not there.
  auto account = s->folderByPath("test.user@example.org");
  ASSERT_TRUE(account);
  EXPECT_EQ(names(account->Folders()), QStringList({"Inbox", "Sent", "Trash"}));
  auto inbox = s->folderByPath("Inbox");
  ASSERT_TRUE(inbox);
  EXPECT_EQ(inbox->FolderPath(), "test.user@example.org/Inbox");
  EXPECT_EQ(subjects(inbox), QStringList({"Quarterly figures", "Minutes"}));
  EXPECT_EQ(names(inbox->Folders()), QStringList({"Projects"}));
  EXPECT_EQ(subjects(s->folderByPath("test.user@example.org/Inbox/Projects")), QStringList({"Project plan"}));
  EXPECT_EQ(s->GetDefaultFolder(model::olFolderSentMail)->FolderPath(), "test.user@example.org/Sent");
  // The "From " quoting is undone; the attachment is there.
  auto figures = named(inbox, "Quarterly figures");
  ASSERT_TRUE(figures);
  EXPECT_TRUE(figures->text("Body").replace("\r\n", "\n").contains("Here they are.\nFrom now on monthly.\n>From the archive."))
      << figures->text("Body").toStdString();
  EXPECT_EQ(figures->date("ReceivedTime").date(), QDate(2026, 3, 2));
  auto minutes = named(inbox, "Minutes");
  ASSERT_TRUE(minutes);
  const auto attachments = minutes->Attachments();
  ASSERT_EQ(attachments.size(), 1u);
  EXPECT_EQ(attachments[0].FileName(), "minutes.txt");
  EXPECT_EQ(attachments[0].Data(), "Minutes of the meeting");

  // Contacts: a card of today's form, one of the older form, a mailing list.
  auto contacts = s->GetDefaultFolder(model::olFolderContacts);
  ASSERT_TRUE(contacts);
  EXPECT_EQ(contacts->Name(), "Personal Address Book");
  EXPECT_EQ(contacts->DefaultItemClass(), model::olContact);
  auto anna = named(contacts, "Anna Berg", "FullName");
  ASSERT_TRUE(anna);
  EXPECT_EQ(anna->text("BusinessTelephoneNumber"), "+49 30 1234");
  EXPECT_EQ(anna->text("CompanyName"), "Example GmbH");
  EXPECT_EQ(anna->text("BusinessAddressCity"), "Berlin");
  auto carl = named(contacts, "Carl Diehl", "FullName");
  ASSERT_TRUE(carl);
  EXPECT_EQ(carl->text("Email1Address"), "carl@example.org");
  EXPECT_EQ(carl->text("BusinessTelephoneNumber"), "+49 40 555");
  EXPECT_EQ(carl->text("HomeAddressCity"), "Hamburg");
  EXPECT_EQ(carl->text("CompanyName"), "Diehl & Co");
  model::ItemPtr team;
  const auto cards = contacts->GetItems();
  for (const auto& item : cards->all())
    if (item->Class() == model::olDistributionList) team = item;
  ASSERT_TRUE(team);
  ASSERT_EQ(team->MemberCount(), 2);
  EXPECT_EQ(team->GetMember(1)->Address, "carl@example.org");
  EXPECT_EQ(team->GetMember(2)->Name, "Anna Berg");
  EXPECT_EQ(subjects(s->folderByPath("Work"), "FullName"), QStringList({"Werner Work"}));

  // The Home calendar: the weekly meeting in Berlin time with its moved
  // occurrence, the all-day holiday; not the item deleted offline, not the
  // other calendar's.
  auto calendar = s->GetDefaultFolder(model::olFolderCalendar);
  ASSERT_TRUE(calendar);
  EXPECT_EQ(calendar->Name(), "Home");
  EXPECT_EQ(subjects(calendar), QStringList({"Team meeting", "Company holiday", "Tricky\nSTATUS:CANCELLED"}));
  // Values with lines and separators stay the values they are.
  auto tricky = named(calendar, "Tricky\nSTATUS:CANCELLED");
  ASSERT_TRUE(tricky);
  EXPECT_EQ(tricky->text("Body"), "Plain: text; with, marks");
  EXPECT_FALSE(tricky->get("X-INJECTED").isValid());
  EXPECT_TRUE(tricky->text("X-ALT-DESC").contains("END:VEVENT")) << tricky->text("X-ALT-DESC").toStdString();
  auto meeting = named(calendar, "Team meeting");
  ASSERT_TRUE(meeting);
  EXPECT_EQ(meeting->text("Location"), "Room 4");
  EXPECT_EQ(meeting->text("Body"), "Agenda: budget; staff, rooms");
  EXPECT_EQ(meeting->date("Start"), at(2026, 3, 2, 9));
  const auto occurrences = meeting->occurrencesBetween(at(2026, 3, 1), at(2026, 4, 1));
  ASSERT_EQ(occurrences.size(), 4u);
  EXPECT_EQ(occurrences[1]->date("Start"), at(2026, 3, 9, 11));
  EXPECT_EQ(occurrences[1]->text("Subject"), "Team meeting (moved)");
  EXPECT_EQ(occurrences[3]->date("Start"), at(2026, 3, 23, 9));
  bool anna_attends = false;
  for (const auto& r : meeting->Recipients()) anna_attends = anna_attends || r.Address == "anna@example.org";
  EXPECT_TRUE(anna_attends);
  auto holiday = named(calendar, "Company holiday");
  ASSERT_TRUE(holiday);
  EXPECT_TRUE(holiday->flag("AllDayEvent"));
  EXPECT_EQ(holiday->date("Start"), at(2026, 3, 20));
  auto tasks = s->GetDefaultFolder(model::olFolderTasks);
  ASSERT_TRUE(tasks);
  EXPECT_EQ(tasks->DefaultItemClass(), model::olTask);
  auto report = named(tasks, "Write report");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->date("DueDate").date(), QDate(2026, 3, 12));
  EXPECT_EQ(report->number("PercentComplete"), 50);
  EXPECT_EQ(subjects(s->folderByPath("Private")), QStringList({"Dentist"}));
}

TEST_F(MailProgramsTest, DeletingFromAProfileNeverWritesIntoIt) {
  const auto tb = programs::thunderbird(home());
  const auto before = snapshot(tb.profile);
  auto s = open("thunderbird");
  ASSERT_TRUE(s);
  auto inbox = s->folderByPath("Inbox");
  auto figures = named(inbox, "Quarterly figures");
  auto anna = named(s->GetDefaultFolder(model::olFolderContacts), "Anna Berg", "FullName");
  auto holiday = named(s->GetDefaultFolder(model::olFolderCalendar), "Company holiday");
  ASSERT_TRUE(figures && anna && holiday);
  for (const auto& item : {figures, anna, holiday}) {
    QString why;
    EXPECT_TRUE(item->Delete(&why)) << why.toStdString();
    EXPECT_TRUE(item->DeletedTo().startsWith(s->overlayFolder())) << item->DeletedTo().toStdString();
  }
  EXPECT_EQ(snapshot(tb.profile), before);
  // Gone from their folders, in Ordolo's Deleted Items, and so after a new start.
  auto deleted = s->GetDefaultFolder(model::olFolderDeletedItems);
  ASSERT_TRUE(deleted);
  EXPECT_EQ(deleted->FolderPath(), "Ordolo/Deleted Items");
  EXPECT_EQ(deleted->GetItems()->Count(), 3);
  EXPECT_TRUE(subjects(deleted).contains("Quarterly figures"));
  EXPECT_TRUE(subjects(deleted).contains("Company holiday"));
  s = open("thunderbird");
  EXPECT_EQ(subjects(s->folderByPath("Inbox")), QStringList({"Minutes"}));
  EXPECT_FALSE(subjects(s->GetDefaultFolder(model::olFolderContacts), "FullName").contains("Anna Berg"));
  EXPECT_EQ(subjects(s->GetDefaultFolder(model::olFolderCalendar)),
            QStringList({"Team meeting", "Tricky\nSTATUS:CANCELLED"}));
  // A profile's own Trash is an mbox: drafts and deletions never go there.
  EXPECT_EQ(s->GetDefaultFolder(model::olFolderDrafts)->FolderPath(), "Ordolo/Drafts");
  auto draft = s->GetDefaultFolder(model::olFolderDrafts)->GetItems()->Add();
  ASSERT_TRUE(draft);
  QString why;
  EXPECT_TRUE(draft->Save(&why)) << why.toStdString();
  EXPECT_EQ(snapshot(tb.profile), before);
}

TEST_F(MailProgramsTest, AnAddressBookLockedByThunderbirdIsReadFromACopy) {
  const auto tb = programs::thunderbird(home());
  const QString book = tb.profile + "/abook.sqlite";
  // Thunderbird running: a change in the write-ahead log, the file held in
  // exclusive locking mode.
  sqlite3* running = programs::openDb(book);
  programs::exec(running, "PRAGMA locking_mode=EXCLUSIVE;"
                          "INSERT INTO properties VALUES ('new-card', 'DisplayName', 'Newly Added');"
                          "INSERT INTO properties VALUES ('new-card', 'PrimaryEmail', 'new@example.org');");
  ASSERT_TRUE(QFileInfo(book + "-wal").size() > 0);
  // Opened where it lies, the book is locked.
  sqlite3* direct = nullptr;
  sqlite3_open_v2(QFile::encodeName(book).constData(), &direct, SQLITE_OPEN_READONLY, nullptr);
  EXPECT_NE(sqlite3_exec(direct, "SELECT count(*) FROM properties", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(direct);
  const store::DatabaseText cards = store::ContactsFromDatabase(book);
  ASSERT_TRUE(cards.ok) << cards.error.toStdString();
  EXPECT_TRUE(cards.text.contains("FN:Newly Added"));
  EXPECT_TRUE(cards.text.contains("FN:Anna Berg"));
  sqlite3_close(running);
}

TEST_F(MailProgramsTest, EvolutionTreeIsReadWithMemosAsNotes) {
  programs::evolution(home());
  const store::FoundStores found = store::FindStores();
  ASSERT_EQ(found.stores.size(), 1u);
  EXPECT_EQ(found.stores[0].kind, "evolution");
  auto s = open("evolution:default");
  ASSERT_TRUE(s);
  EXPECT_EQ(s->userAddress(), "test.user@example.org");
  EXPECT_EQ(names(s->Folders()), QStringList({"Inbox", "Inbox - Receipts", "Drafts", "Projects.2026",
                                              "Projects.2026 - Budget", "Sent", "Calendar", "Tasks", "Memos",
                                              "Contacts", "Ordolo"}));
  // The message Evolution marked trashed (flag T) is left out.
  EXPECT_EQ(subjects(s->folderByPath("Inbox")), QStringList({"Evolution inbox mail"}));
  EXPECT_TRUE(s->folderByPath("Inbox")->Folders().empty());
  EXPECT_EQ(subjects(s->folderByPath("Projects.2026")), QStringList({"Plan for 2026"}));
  // Nested folders lie side by side; the path the user knows from Evolution finds them.
  EXPECT_EQ(subjects(s->folderByPath("Projects.2026/Budget")), QStringList({"Budget figures"}));
  EXPECT_EQ(s->folderByPath("Inbox/Receipts"), s->folderByPath("Inbox - Receipts"));
  EXPECT_TRUE(s->folderByPath("Inbox/Receipts"));
  EXPECT_EQ(subjects(s->GetDefaultFolder(model::olFolderCalendar)), QStringList({"Evolution review"}));
  EXPECT_EQ(subjects(s->GetDefaultFolder(model::olFolderTasks)), QStringList({"Evolution task"}));
  auto memos = s->GetDefaultFolder(model::olFolderNotes);
  ASSERT_TRUE(memos);
  ASSERT_EQ(memos->GetItems()->Count(), 1);
  EXPECT_EQ(memos->GetItems()->all()[0]->Class(), model::olNote);
  auto contacts = s->GetDefaultFolder(model::olFolderContacts);
  EXPECT_EQ(subjects(contacts), QStringList({"Dora Evans", "Emil Frank", "Evolution friends"}));
  auto friends = named(contacts, "Evolution friends", "DLName");
  ASSERT_TRUE(friends);
  EXPECT_EQ(friends->MemberCount(), 2);
}

TEST_F(MailProgramsTest, AnAddressBookOfANewerSchemaIsNamedWithItsVersion) {
  const QString data = programs::evolution(home());
  const QString book = data + "addressbook/system/contacts.db";
  QFile::remove(book);
  programs::evolutionAddressBook(book, 13, {programs::evolutionCard("x", "Xaver Young", "x@example.org")});
  auto s = open("evolution");
  ASSERT_TRUE(s);
  const auto items = s->GetDefaultFolder(model::olFolderContacts)->GetItems();
  EXPECT_EQ(items->Count(), 0);
  ASSERT_EQ(items->notices().size(), 1);
  EXPECT_TRUE(items->notices()[0].contains(book) && items->notices()[0].contains("version 13"))
      << items->notices()[0].toStdString();
  // Not an address book at all: named too.
  programs::write(book, "not a database, just text\n");
  const store::DatabaseText text = store::ContactsFromDatabase(book);
  EXPECT_FALSE(text.ok);
  EXPECT_FALSE(text.error.isEmpty());
}

TEST_F(MailProgramsTest, KMailLocalFoldersAndContacts) {
  programs::kmail(home());
  auto s = open("kmail");
  ASSERT_TRUE(s);
  auto local = s->folderByPath("Local Folders");
  ASSERT_TRUE(local);
  EXPECT_EQ(names(local->Folders()), QStringList({"drafts", "inbox", "outbox", "sent-mail", "templates", "trash"}));
  EXPECT_EQ(subjects(s->folderByPath("Inbox")), QStringList({"KMail inbox mail"}));
  EXPECT_EQ(subjects(s->folderByPath("Local Folders/inbox/Receipts")), QStringList({"Your receipt"}));
  EXPECT_EQ(s->GetDefaultFolder(model::olFolderSentMail)->FolderPath(), "Local Folders/sent-mail");
  // The README and the contact group file are not cards.
  auto contacts = s->GetDefaultFolder(model::olFolderContacts);
  EXPECT_EQ(subjects(contacts, "FullName"), QStringList({"Konrad Kay"}));
  EXPECT_TRUE(contacts->GetItems()->notices().isEmpty());
}

TEST_F(MailProgramsTest, VdirsOfVdirsyncerKhalAndKhard) {
  programs::vdirs(home());
  const store::FoundStores found = store::FindStores();
  QStringList listed;
  for (const auto& s : found.stores) listed << s.kind + ":" + s.name;
  EXPECT_EQ(listed, QStringList({"vdir:calendars_local", "vdir:khal", "vdir:khard"}));
  ASSERT_EQ(found.notices.size(), 1);
  EXPECT_TRUE(found.notices[0].contains("khard.conf") && found.notices[0].contains(".contacts/none"));
  // Collections by their displayname, else their folder's name.
  auto synced = open("vdir:calendars_local");
  ASSERT_TRUE(synced);
  EXPECT_EQ(names(synced->Folders()), QStringList({"Personal", "work", "Ordolo"}));
  EXPECT_EQ(subjects(synced->folderByPath("Personal")), QStringList({"Synced appointment"}));
  auto khal = open("vdir:khal");
  EXPECT_EQ(subjects(khal->GetDefaultFolder(model::olFolderCalendar)), QStringList({"Synced appointment"}));
  auto khard = open("vdir:KHARD");
  EXPECT_EQ(subjects(khard->GetDefaultFolder(model::olFolderContacts), "FullName"), QStringList({"Frida Family"}));
  QString why;
  EXPECT_FALSE(store::OpenStore("vdir:nothing", &why));
  EXPECT_TRUE(why.contains("vdir:nothing")) << why.toStdString();
}

// A mail program's folder named by its path is still the program's: its
// own store where it is one, read-only where it holds one; and
// KMail's subfolder called "new" is that folder, not the Maildir's new/.
TEST_F(MailProgramsTest, TheirFoldersNamedByPathAreReadOnlyToo) {
  const QString data = programs::kmail(home());
  const QString mail = data + "local-mail";
  for (const char* sub : {"/cur", "/new", "/tmp"}) QDir().mkpath(mail + "/.inbox.directory/new" + sub);
  programs::write(mail + "/.inbox.directory/new/cur/1772440200.R3.host:2,S",
                  programs::message("In the folder new", "a@example.org", "Mon, 02 Mar 2026 08:15:00 +0100", "x\n"));
  const auto before = snapshot(mail);

  auto whole = open(mail);
  ASSERT_TRUE(whole);
  EXPECT_EQ(whole->kind(), "kmail");
  EXPECT_EQ(subjects(whole->folderByPath("Local Folders/inbox/new")), QStringList({"In the folder new"}));

  // The folder that holds KMail's folders, as a folder store.
  auto inside = open(data);
  ASSERT_TRUE(inside);
  EXPECT_TRUE(inside->kind().isEmpty());
  EXPECT_TRUE(inside->readOnly());
  auto item = named(inside->folderByPath("local-mail/inbox"), "KMail inbox mail");
  ASSERT_TRUE(item);
  QString why;
  ASSERT_TRUE(item->Delete(&why)) << why.toStdString();
  EXPECT_TRUE(item->DeletedTo().startsWith(inside->overlayFolder()));
  const QString eml = programs::message("Imported", "a@example.org", "Mon, 02 Mar 2026 08:15:00 +0100", "x\n");
  programs::write(home() + "/in.eml", eml.toUtf8());
  const tools::EmlImportResult imported = tools::ImportEml(*inside, {home() + "/in.eml"});
  EXPECT_EQ(imported.imported, 1) << imported.error.toStdString();
  ASSERT_EQ(imported.drafts.size(), 1);
  EXPECT_TRUE(imported.drafts[0].startsWith(inside->overlayFolder()));
  EXPECT_EQ(snapshot(mail), before);
}
