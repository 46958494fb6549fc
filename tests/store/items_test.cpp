// The values the renderers read, checked against the fixture store.
#include "StoreFixture.h"

#include <QRegularExpression>
#include <QTemporaryDir>

#include "store/Parsers.h"
#include "store/PropertyMap.h"

using namespace ordolo;
using namespace ordolo::test;

TEST_F(StoreTest, FoldersAndDefaultFoldersAreFoundByName) {
  EXPECT_EQ(store->CurrentUser(), "Test User");
  const std::pair<int, const char*> defaults[] = {{3, "Deleted Items"}, {5, "Sent Items"}, {6, "Inbox"},
                                                  {9, "Calendar"},      {10, "Contacts"},  {11, "Journal"},
                                                  {12, "Notes"},        {13, "Tasks"},     {16, "Drafts"}};
  for (const auto& [id, name] : defaults) {
    auto f = store->GetDefaultFolder(id);
    ASSERT_TRUE(f) << name;
    EXPECT_EQ(f->Name(), name);
  }
  EXPECT_EQ(store->GetDefaultFolder(9)->DefaultItemClass(), model::olAppointment);
  EXPECT_EQ(store->GetDefaultFolder(12)->DefaultItemClass(), model::olNote);
  EXPECT_EQ(store->GetDefaultFolder(13)->DefaultItemClass(), model::olTask);
  EXPECT_EQ(store->GetDefaultFolder(10)->DefaultItemClass(), model::olContact);
  EXPECT_EQ(store->GetDefaultFolder(6)->DefaultItemClass(), model::olMail);
  EXPECT_EQ(store->folderByPath("../.."), nullptr);
  EXPECT_EQ(store->folderByPath("No such folder"), nullptr);
}

TEST_F(StoreTest, BrokenEmptyAndWronglyEncodedFilesDoNotStopAFolder) {
  // 9 calendar files: the truncated and the empty one are skipped.
  EXPECT_EQ(items("Calendar")->Count(), 7);
  EXPECT_EQ(items("Contacts")->Count(), 5);  // broken.vcf skipped, more.vcf gives two
  EXPECT_EQ(items("Inbox")->Count(), 4);     // the garbage file is skipped
  const auto calendar = items("Calendar");
  for (const auto& item : *calendar) EXPECT_NE(item->text("GlobalAppointmentID"), "fx-broken@example.org");
  // The user is told each skipped file, by name and with why.
  auto told = [&](const QString& folder) {
    QStringList names;
    const auto listed = items(folder);
    for (const QString& notice : listed->notices()) {
      const QString path = notice.section(store->root() + "/" + folder + "/", 1).section(QLatin1Char(' '), 0, 0);
      EXPECT_TRUE(notice.contains(QRegularExpression("\\(.+\\)$"))) << notice.toStdString();
      names << path;
    }
    return names;
  };
  EXPECT_EQ(told("Calendar"), QStringList({"broken.ics", "empty.ics"}));
  EXPECT_EQ(told("Contacts"), QStringList({"broken.vcf"}));
  EXPECT_EQ(told("Inbox"), QStringList({"cur/garbage:2,S"}));

  auto cp1252 = bySubject("Calendar", QString::fromUtf8("Besprechung mit Herrn Müller"));
  ASSERT_TRUE(cp1252);
  EXPECT_EQ(cp1252->text("Body"), QString::fromUtf8("Budget: 500 €"));
}

TEST_F(StoreTest, AllDayEventsEndAtMidnightAfterTheirLastDay) {
  auto one = bySubject("Calendar", "Company holiday");
  ASSERT_TRUE(one);
  EXPECT_TRUE(one->flag("AllDayEvent"));
  EXPECT_EQ(one->date("Start"), at(2026, 3, 5));
  EXPECT_EQ(one->date("End"), at(2026, 3, 6));
  EXPECT_EQ(one->number("Duration"), 1440);
  EXPECT_EQ(one->number("BusyStatus"), 0);  // TRANSP:TRANSPARENT

  auto three = bySubject("Calendar", "Trade fair");
  ASSERT_TRUE(three);
  EXPECT_EQ(three->date("End"), at(2026, 3, 5));
  EXPECT_EQ(three->number("Duration"), 4320);
  EXPECT_EQ(three->number("BusyStatus"), 2);
}

TEST_F(StoreTest, TimeZonesBecomeLocalTime) {
  auto ny = bySubject("Calendar", "Call with New York");
  ASSERT_TRUE(ny);
  EXPECT_EQ(ny->date("Start"), at(2026, 3, 10, 14, 0));  // US summer time already, Berlin not yet
  EXPECT_EQ(ny->date("End"), at(2026, 3, 10, 15, 0));
  auto utc = bySubject("Calendar", "Release window");
  ASSERT_TRUE(utc);
  EXPECT_EQ(utc->date("Start"), at(2026, 3, 30, 14, 0));
  EXPECT_EQ(utc->number("Duration"), 90);
}

TEST_F(StoreTest, MeetingAttendeesResponsesAndReminder) {
  auto m = bySubject("Calendar", "Project review");
  ASSERT_TRUE(m);
  EXPECT_EQ(m->text("Organizer"), "Jonas Keller");
  EXPECT_EQ(m->text("RequiredAttendees"), "Test User; Claire Dubois");
  EXPECT_EQ(m->text("OptionalAttendees"), "Peter Hall");
  EXPECT_EQ(m->text("Resources"), "Room Berlin 2");
  EXPECT_EQ(m->number("MeetingStatus"), 3);   // received: somebody else organised it
  EXPECT_EQ(m->number("ResponseStatus"), 3);  // the user accepted
  EXPECT_TRUE(m->flag("ResponseRequested"));  // RSVP on one attendee
  EXPECT_TRUE(m->flag("ReminderSet"));
  EXPECT_EQ(m->number("ReminderMinutesBeforeStart"), 15);
  EXPECT_EQ(m->text("Categories"), "Business, Important");
  EXPECT_EQ(m->text("Body"), "Status of all work packages.\r\nBring figures.");
  EXPECT_EQ(m->namedProperty("0220060000000000C000000000000046", "0x8214").toInt(), 2);

  const auto recipients = m->Recipients();
  ASSERT_EQ(recipients.size(), 5u);
  EXPECT_EQ(recipients[0].Type, model::olOrganizer);
  EXPECT_EQ(recipients[0].MeetingResponseStatus, model::olResponseOrganized);
  struct Expect {
    const char* name;
    int type;
    int response;
  };
  const Expect expected[] = {{"Test User", 1, model::olResponseAccepted},
                             {"Claire Dubois", 1, model::olResponseTentative},
                             {"Peter Hall", 2, model::olResponseDeclined},
                             {"Room Berlin 2", 3, model::olResponseNotResponded}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(recipients[i + 1].Name, expected[i].name);
    EXPECT_EQ(recipients[i + 1].Type, expected[i].type) << expected[i].name;
    EXPECT_EQ(recipients[i + 1].MeetingResponseStatus, expected[i].response) << expected[i].name;
  }
}

TEST_F(StoreTest, RecurrencePatternWithDeletedAndMovedOccurrences) {
  auto series = bySubject("Calendar", "Weekly sync");
  ASSERT_TRUE(series);
  EXPECT_EQ(series->number("RecurrenceState"), model::olApptMaster);
  const auto p = series->GetRecurrencePattern();
  ASSERT_TRUE(p);
  EXPECT_EQ(p->RecurrenceType, model::olRecursWeekly);
  EXPECT_EQ(p->DayOfWeekMask, 4);  // Tuesday
  EXPECT_EQ(p->Occurrences, 5);
  ASSERT_EQ(p->Exceptions.size(), 2u);
  EXPECT_EQ(p->Exceptions[0].OriginalDate, at(2026, 3, 17, 10, 0));
  EXPECT_TRUE(p->Exceptions[0].Deleted);
  EXPECT_EQ(p->Exceptions[1].OriginalDate, at(2026, 3, 24, 10, 0));
  ASSERT_TRUE(p->Exceptions[1].AppointmentItem);
  EXPECT_EQ(p->Exceptions[1].AppointmentItem->date("Start"), at(2026, 3, 25, 14, 0));
  EXPECT_EQ(p->Exceptions[1].AppointmentItem->text("Location"), "Room B");
}

TEST_F(StoreTest, ContactValuesPhotoAndMissingBirthday) {
  auto jonas = bySubject("Contacts", "Jonas Keller", "FullName");
  ASSERT_TRUE(jonas);
  EXPECT_EQ(jonas->Class(), model::olContact);
  EXPECT_EQ(jonas->text("LastName"), "Keller");
  EXPECT_EQ(jonas->text("Email1Address"), "jonas.keller@example.com");
  EXPECT_EQ(jonas->text("HomeTelephoneNumber"), "+49 30 5550 8812");
  EXPECT_EQ(jonas->text("BusinessTelephoneNumber"), "+49 30 5550 1234");
  EXPECT_EQ(jonas->text("MobileTelephoneNumber"), "+49 170 5550 987");
  EXPECT_EQ(jonas->text("WebPage"), "https://www.example.com/jonas");
  EXPECT_EQ(jonas->date("Birthday"), at(1988, 3, 12));
  EXPECT_EQ(jonas->text("MailingAddress"),
            QString::fromUtf8("Kastanienallee 7\r\nHinterhaus, 3. OG\r\n10435 Berlin\r\nGermany"));
  const auto attachments = jonas->Attachments();
  ASSERT_EQ(attachments.size(), 1u);
  EXPECT_EQ(attachments[0].FileName(), "ContactPicture.jpg");
  EXPECT_EQ(attachments[0].Data().size(), 2129);
  EXPECT_TRUE(attachments[0].Data().startsWith("\xFF\xD8"));  // JPEG

  auto claire = bySubject("Contacts", "Claire Dubois", "FullName");
  ASSERT_TRUE(claire);
  EXPECT_TRUE(model::IsNoDate(claire->date("Birthday")));
  EXPECT_TRUE(claire->Attachments().empty());
  EXPECT_EQ(claire->text("BusinessAddressCity"), "Lyon");
  EXPECT_FALSE(claire->get("NoSuchProperty").isValid());  // missing properties are empty, not errors
}

TEST(VCardPhotos, AVersion4DataUriPhotoIsReadForItsOwnCard) {
  const QByteArray jpeg("\xFF\xD8\xFF\xE0 a picture", 15);
  const QByteArray text =
      "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:No Photo\r\nEND:VCARD\r\n"
      "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:With Photo\r\nitem1.PHOTO:data:image/png;base64," +
      jpeg.toBase64().insert(6, "\r\n ") + "\r\nEND:VCARD\r\n";
  const store::ParsedCards parsed = store::ParseVCards(text);
  ASSERT_TRUE(parsed.ok) << parsed.error.toStdString();
  ASSERT_EQ(parsed.cards.size(), 2);
  EXPECT_TRUE(parsed.cards[0].photo().isEmpty());
  EXPECT_EQ(parsed.cards[1].photo().rawData(), jpeg);
  EXPECT_EQ(parsed.cards[1].photo().type(), "png");
}

TEST_F(StoreTest, DistributionListMembersResolveToContacts) {
  auto list = bySubject("Contacts", "Project Falcon", "DLName");
  ASSERT_TRUE(list);
  EXPECT_EQ(list->Class(), model::olDistributionList);
  EXPECT_EQ(list->MemberCount(), 2);
  const auto first = list->GetMember(1), second = list->GetMember(2);
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->Name, "Jonas Keller");  // urn:uuid: member, card UID without the prefix
  EXPECT_EQ(first->Address, "jonas.keller@example.com");
  ASSERT_FALSE(first->EntryID.isEmpty());
  EXPECT_EQ(store->GetItemFromID(first->EntryID)->text("FullName"), "Jonas Keller");
  EXPECT_EQ(second->Address, "reviewer@example.net");
  EXPECT_TRUE(second->EntryID.isEmpty());
  EXPECT_FALSE(list->GetMember(3));
}

TEST_F(StoreTest, MailRecipientsDatesAndQuotedNames) {
  auto mail = bySubject("Inbox", "Recipients");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->date("SentOn"), at(2026, 3, 4, 10, 15));
  EXPECT_EQ(mail->date("ReceivedTime"), QDateTime(QDate(2026, 3, 4), QTime(10, 15, 3)));
  EXPECT_EQ(mail->text("SenderName"), "Jonas Keller");
  EXPECT_EQ(mail->text("To"), "'peter.hall@example.net'");
  const auto r = mail->Recipients();
  ASSERT_EQ(r.size(), 4u);
  EXPECT_EQ(r[0].Name, "'peter.hall@example.net'");
  EXPECT_EQ(r[0].Address, "peter.hall@example.net");
  EXPECT_EQ(r[2].Name, "reviewer@example.net");  // no display name: the address
  EXPECT_EQ(r[2].Type, model::olCC);
  EXPECT_EQ(r[3].Name, "Dubois, Claire");
  EXPECT_EQ(r[3].Type, model::olBCC);

  // The newest Received line decides the received time; RFC 2047 subjects are decoded.
  auto lyon = bySubject("Inbox", QString::fromUtf8("Grüße aus Lyon"));
  ASSERT_TRUE(lyon);
  EXPECT_EQ(lyon->date("ReceivedTime"), QDateTime(QDate(2026, 3, 6), QTime(8, 0, 4)));
  EXPECT_TRUE(lyon->flag("UnRead"));
  EXPECT_TRUE(lyon->text("Body").contains(QString::fromUtf8("À bientôt\r\nClaire")));
  EXPECT_TRUE(lyon->text("TransportMessageHeaders").startsWith("Received:") ||
              lyon->text("TransportMessageHeaders").contains("\r\nReceived:"));
  EXPECT_EQ(lyon->get("0x007D001E"), lyon->get("TransportMessageHeaders"));

  // A sent mail counts as received when it was sent.
  auto sent = bySubject("Sent Items", QString::fromUtf8("Agenda für Donnerstag"));
  ASSERT_TRUE(sent);
  EXPECT_EQ(sent->date("ReceivedTime"), at(2026, 3, 11, 16, 20));
  EXPECT_TRUE(sent->flag("Submitted"));
}

TEST_F(StoreTest, InlinePicturesAreAttachmentsWithContentIds) {
  auto mail = bySubject("Inbox", "Inline picture");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->number("BodyFormat"), 2);
  EXPECT_TRUE(mail->text("HTMLBody").contains("cid:logo@example.com"));
  EXPECT_EQ(mail->text("Body"), "Hello Test User,\r\n\r\nthis mail has an inline picture.");
  const auto attachments = mail->Attachments();
  ASSERT_EQ(attachments.size(), 1u);
  EXPECT_EQ(attachments[0].FileName(), "logo.png");
  EXPECT_EQ(attachments[0].ContentId(), "logo@example.com");
  EXPECT_TRUE(attachments[0].Data().startsWith("\x89PNG"));
}

TEST_F(StoreTest, DeliveryReportIsAReportItem) {
  auto report = bySubject("Inbox", "Undelivered Mail Returned to Sender");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->Class(), model::olReport);
  EXPECT_EQ(report->text("MessageClass"), "REPORT.IPM.Note.DR");
  EXPECT_EQ(report->text("To"), "test.user@example.org");
  EXPECT_TRUE(report->text("Body").contains("nobody@example.net") || report->Attachments().size() >= 1);
}

TEST_F(StoreTest, TasksNotesAndJournalEntries) {
  auto due = bySubject("Tasks", "Due only");
  ASSERT_TRUE(due);
  EXPECT_TRUE(model::IsNoDate(due->date("StartDate")));
  EXPECT_EQ(due->date("DueDate"), at(2026, 3, 10, 17, 0));
  EXPECT_EQ(due->number("Importance"), 2);
  EXPECT_EQ(due->number("TotalWork"), 240);
  EXPECT_EQ(due->number("ActualWork"), 239);

  auto midnight = bySubject("Tasks", "Starts at midnight");
  ASSERT_TRUE(midnight);
  EXPECT_EQ(midnight->date("StartDate"), at(2026, 3, 16));
  EXPECT_EQ(midnight->number("Status"), 1);
  EXPECT_EQ(midnight->number("PercentComplete"), 50);
  EXPECT_EQ(midnight->number("Importance"), 0);

  auto weekly = bySubject("Tasks", "Weekly report");
  ASSERT_TRUE(weekly);
  EXPECT_TRUE(weekly->flag("IsRecurring"));
  EXPECT_EQ(weekly->date("ReminderTime"), at(2026, 3, 6, 14, 30));
  EXPECT_EQ(weekly->number("Importance"), 1);

  auto yellow = bySubject("Notes", "Shopping list");
  auto white = bySubject("Notes", "Open questions");
  ASSERT_TRUE(yellow && white);
  EXPECT_EQ(yellow->Class(), model::olNote);
  EXPECT_EQ(yellow->number("Color"), 3);
  EXPECT_EQ(white->number("Color"), 4);
  EXPECT_EQ(yellow->date("CreationTime"), at(2026, 3, 14, 9, 45));

  auto call = bySubject("Journal", "Call with Jonas");
  ASSERT_TRUE(call);
  EXPECT_EQ(call->Class(), model::olJournal);
  EXPECT_EQ(call->text("Type"), "Phone Call");
  EXPECT_EQ(call->number("Duration"), 45);
  EXPECT_EQ(call->date("End"), at(2026, 3, 10, 15, 45));
  const auto links = call->Links();
  ASSERT_EQ(links.size(), 1u);
  ASSERT_TRUE(links[0].Item);
  EXPECT_EQ(links[0].Item->text("Email1Address"), "jonas.keller@example.com");
  EXPECT_EQ(bySubject("Journal", "Visit to the plant")->text("Type"), "Site Visit");
}

TEST_F(StoreTest, EveryItemFindsItselfByEntryId) {
  for (const char* folder : {"Calendar", "Contacts", "Inbox", "Tasks", "Notes", "Journal", "Sent Items"}) {
    const auto list = items(folder);
    for (const auto& item : *list) {
      auto again = store->GetItemFromID(item->EntryID());
      ASSERT_TRUE(again) << folder << ": " << item->text("Subject").toStdString();
      EXPECT_EQ(again->text("Subject"), item->text("Subject"));
    }
  }
  EXPECT_EQ(store->GetItemFromID("zz"), nullptr);
  EXPECT_EQ(store->GetItemFromID(store::MakeItemEntryId("Calendar", "nothing.ics", "x", "")), nullptr);
}

TEST_F(StoreTest, ItemPropertiesOfferTheTableAndUserFields) {
  auto m = bySubject("Calendar", "Project review");
  ASSERT_TRUE(m);
  const auto props = m->ItemProperties();
  QStringList names;
  for (const auto& p : props) names << p.Name;
  EXPECT_TRUE(names.contains("Subject"));
  EXPECT_TRUE(names.contains("ReplyTime"));
  EXPECT_EQ(names.count("CreationTime"), 1);
  for (const auto& p : props)
    if (p.Name == "ReplyTime") {
      EXPECT_EQ(p.Type, model::olDateTime);
    }
}

TEST(PropertyMapping, DocsTableMatchesTheCode) {
  const QString path = QStringLiteral(ORDOLO_SOURCE_DIR "/docs/property-mapping.md");
  const QString generated = store::MappingTableMarkdown();
  if (qEnvironmentVariableIsSet("ORDOLO_UPDATE_DOCS")) writeFile(path, generated.toUtf8());
  EXPECT_EQ(QString::fromUtf8(readFile(path)), generated)
      << "docs/property-mapping.md is out of date: run with ORDOLO_UPDATE_DOCS=1";
}

TEST(CalendarParser, ZonesByTheirOwnDefinitionWhenTheSystemDoesNotKnowTheName) {
  // An exporter's own zone name: only its VTIMEZONE says what it means
  // (here a made-up zone five hours ahead of UTC, no summer time).
  const QByteArray ics =
      "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:test\r\n"
      "BEGIN:VTIMEZONE\r\nTZID:Company Standard Time\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\n"
      "TZOFFSETFROM:+0500\r\nTZOFFSETTO:+0500\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n"
      "BEGIN:VEVENT\r\nUID:z1\r\nDTSTAMP:20260101T000000Z\r\n"
      "DTSTART;TZID=Company Standard Time:20260310T150000\r\n"
      "DTEND;TZID=Company Standard Time:20260310T160000\r\nSUMMARY:Far away\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";
  const auto parsed = store::ParseCalendar(ics);
  ASSERT_TRUE(parsed.ok) << parsed.error.toStdString();
  ASSERT_EQ(parsed.incidences.size(), 1);
  EXPECT_EQ(parsed.incidences[0]->dtStart().toUTC(), QDateTime(QDate(2026, 3, 10), QTime(10, 0), Qt::UTC));
}

// Exporters leave out UIDs. Such a component gets one from its own text: the
// same on every read (so its entry id holds), also with thousands of
// properties and a REQUEST-STATUS with a third part, which made the
// calendar library read freed memory (found by fuzzing; ASan catches it).
TEST(CalendarParser, ComponentsWithoutUidGetOneThatHoldsFromReadToRead) {
  QByteArray ics = "BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:test\n"
                   "BEGIN:VEVENT\nDTSTART:20260310T150000Z\nSUMMARY:No uid\n"
                   "REQUEST-STATUS:3.0;Invalid Property Name;FOODI\n";
  for (int i = 0; i < 3000; ++i) ics += "COMMENT:line " + QByteArray::number(i) + "\n";
  ics += "BEGIN:VALARM\nACTION:DISPLAY\nTRIGGER:-PT5M\nDESCRIPTION:x\nEND:VALARM\nEND:VEVENT\n"
         "BEGIN:VTODO\r\nSUMMARY:Also none\r\nEND:VTODO\r\n"
         "BEGIN:VEVENT\nUID:kept\nDTSTART:20260311T150000Z\nSUMMARY:Has one\nEND:VEVENT\nEND:VCALENDAR\n";
  const auto first = store::ParseCalendar(ics);
  const auto second = store::ParseCalendar(ics);
  ASSERT_TRUE(first.ok) << first.error.toStdString();
  ASSERT_EQ(first.incidences.size(), 3);
  ASSERT_EQ(second.incidences.size(), 3);
  QStringList uids;
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(first.incidences[i]->uid(), second.incidences[i]->uid());
    uids << first.incidences[i]->uid();
  }
  EXPECT_EQ(first.incidences[0]->summary(), "No uid");  // file order kept
  EXPECT_EQ(first.incidences[1]->summary(), "Also none");
  EXPECT_NE(uids[0], uids[1]);
  EXPECT_EQ(uids[2], "kept");
  EXPECT_EQ(first.incidences[0]->alarms().size(), 1);  // the alarm's lack of a UID is its own
}

// A mail program moves mails away, or the store's disk goes, between the
// listing and the print: what was listed says it cannot be read any more,
// the ids lead nowhere, and listing again gives what is left, without a crash.
TEST(StoreVanishing, ListedMailsWhoseFilesWentAreNamedAndAGoneFolderListsEmpty) {
  QTemporaryDir dir;
  copyTree(QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store"), dir.path());
  auto store = store::FileStore::open(dir.path());
  ASSERT_TRUE(store);
  const auto inbox = store->folderByPath("Inbox")->GetItems();
  ASSERT_GT(inbox->Count(), 0);
  std::vector<QString> ids;
  for (const auto& item : *inbox) ids.push_back(item->EntryID());

  ASSERT_TRUE(QDir(dir.filePath("Inbox")).removeRecursively());
  ASSERT_TRUE(QDir(dir.filePath("Calendar")).removeRecursively());
  // Their header was read for the list; their content, read for printing,
  // is gone: each is unreadable, naming its file and why, not a mail
  // without body or attachments.
  for (const auto& item : *inbox) {
    EXPECT_FALSE(item->text("Subject").isEmpty());
    EXPECT_FALSE(item->Readable());
    EXPECT_TRUE(item->UnreadableReason().contains(dir.filePath("Inbox/")) &&
                item->UnreadableReason().contains("No such file or directory"))
        << item->UnreadableReason().toStdString();
  }
  auto fresh = store::FileStore::open(dir.path());
  ASSERT_TRUE(fresh);
  for (const QString& id : ids) EXPECT_FALSE(fresh->GetItemFromID(id)) << id.toStdString();
  for (const char* path : {"Inbox", "Calendar"}) {
    if (auto gone = fresh->folderByPath(QLatin1String(path))) {
      EXPECT_EQ(gone->GetItems()->Count(), 0);
    }
  }
  EXPECT_GT(fresh->folderByPath("Contacts")->GetItems()->Count(), 0);
}

// A mail file beyond the size a print may read whole is listed from its
// header, and named when it is to be printed.
TEST(StoreLimits, AMailFileTooLargeToPrintIsListedAndNamed) {
  QTemporaryDir dir;
  for (const char* sub : {"Inbox/cur", "Inbox/new", "Inbox/tmp"}) QDir().mkpath(dir.filePath(sub));
  const QString path = dir.filePath("Inbox/cur/1780000001.M1P1.huge:2,S");
  QFile f(path);
  ASSERT_TRUE(f.open(QIODevice::WriteOnly));
  f.write("From: a@example.org\r\nSubject: Huge\r\n\r\nbody\r\n");
  ASSERT_TRUE(f.resize(store::kMaxMailFileSize + 1));  // sparse: costs no disk
  f.close();
  auto store = store::FileStore::open(dir.path());
  ASSERT_TRUE(store);
  const auto inbox = store->folderByPath("Inbox")->GetItems();
  ASSERT_EQ(inbox->Count(), 1);
  const auto& mail = *inbox->all().front();
  EXPECT_EQ(mail.text("Subject"), "Huge");
  EXPECT_FALSE(mail.Readable());
  EXPECT_TRUE(mail.UnreadableReason().contains("larger than 512 MB")) << mail.UnreadableReason().toStdString();
}
