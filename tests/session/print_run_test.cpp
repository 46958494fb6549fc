// The print run over real templates and real store items: which documents
// come out, what they hold, and the run's questions and errors. Documents
// are saved as filled (no conversion), so the checks read the .docx files.
#include <gtest/gtest.h>

#include <QRegularExpression>

#include "lang/LanguageTable.h"
#include "office/Package.h"
#include "office/excel/Workbook.h"
#include "office/word/Document.h"
#include "print/Outputs.h"
#include "session/PrintRun.h"
#include "session/Start.h"
#include "store/StoreFixture.h"
#include "support/FakeItem.h"
#include "support/ScriptedPort.h"
#include "support/TempCleanup.h"
#include "util/VbFormat.h"

using namespace ordolo;
using namespace ordolo::test;
namespace word = ordolo::office::word;

namespace {

class Run : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
    util::setUserLocale(QLocale(QLocale::English, QLocale::UnitedStates));
  }

  // A test template under the name the run reads its layout from.
  QString templ(const char* source, const QString& name) {
    const QString path = dir.filePath(name);
    QFile::remove(path);
    QFile::copy(QStringLiteral(ORDOLO_TEST_DATA "/word/") + source, path);
    return path;
  }

  session::RunResult print(const std::vector<model::ItemPtr>& chosen, const QString& templatePath,
                           session::RunOptions options = {}) {
    session::Start start(port);
    EXPECT_TRUE(start.StartPrint(model::Selection(chosen), store->folderByPath("Inbox"), "Test User"));
    if (options.sortColumn > 0) start.sortBy(options.sortColumn);
    print::FolderOutput output(out.path(), false);
    QString why;
    EXPECT_TRUE(output.prepare(&why)) << why.toStdString();
    session::PrintRun run(port, output);
    // The group keys each item saw.
    struct Keys : session::RunObserver {
      session::PrintRun& run;
      QStringList& keys;
      int stopAfter;
      Keys(session::PrintRun& r, QStringList& k, int s) : run(r), keys(k), stopAfter(s) {}
      void itemFilled(int done, int) override {
        keys << run.state().PrevGroupKey + "|" + run.state().GroupKey;
        if (done == stopAfter) run.requestStop();
      }
    } observer(run, keys, stopAfter);
    run.setObserver(&observer);
    options.templatePath = templatePath;
    options.header.User = "Test User";
    options.header.Folder = "Inbox";
    return run.run(start.items(), start.rows(), options);
  }

  QStringList written() const { return QDir(out.path()).entryList(QDir::Files, QDir::Name); }
  std::unique_ptr<word::Document> open(const QString& name) {
    office::Error why;
    auto doc = word::Document::create(out.filePath(name), &why);
    EXPECT_TRUE(doc) << why.debugText().toStdString();
    return doc;
  }
  QString cell(word::Document& doc, int row, int column) {
    auto r = doc.cellRange(1, row, column);
    return r ? doc.text(*r).remove(QRegularExpression("[\\r\\a]")) : QStringLiteral("<none>");
  }

  std::vector<model::ItemPtr> contacts(int n) {
    std::vector<model::ItemPtr> list;
    const auto all = items("Contacts");
    for (const auto& item : *all)
      if (item->Class() == model::olContact && int(list.size()) < n) list.push_back(item);
    return list;
  }

  QTemporaryDir dir, out;
  ScriptedPort port;
  QStringList keys;
  int stopAfter = 0;  // the run is asked to stop once this many items are filled
};

const QRegularExpression kLeftover("#[A-Z]");

QByteArray zipPart(const QString& file, const char* part) {
  QString why;
  auto pkg = office::Package::open(file, &why);
  return pkg ? pkg->read(QString::fromLatin1(part), &why).value_or(QByteArray()) : QByteArray();
}

TEST_F(Run, EachItemFillsItsOwnDocument) {
  const auto mails = items("Inbox")->all();
  const auto result = print(mails, templ("memo.docx", "MMemo.docx"));
  EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
  EXPECT_EQ(result.items, int(mails.size()));
  ASSERT_EQ(written(), (QStringList{"MMemo-001.docx", "MMemo-002.docx", "MMemo-003.docx", "MMemo-004.docx"}));
  for (int i = 0; i < 4; ++i) {
    auto doc = open(written()[i]);
    const QString text = doc->searchedText();
    EXPECT_TRUE(text.contains("Subject: " + mails[i]->text("Subject") + " end")) << text.toStdString();
    EXPECT_TRUE(text.contains("Head Test User")) << text.toStdString();
    EXPECT_FALSE(text.contains(kLeftover)) << text.toStdString();
    EXPECT_TRUE(text.contains("Case: #subject"));  // not a placeholder: kept
  }
}

TEST_F(Run, AReportRepeatsItsBlockForEveryItemInOneDocument) {
  const auto mails = items("Inbox")->all();
  const auto result = print({mails[0], mails[1], mails[2]}, templ("report.docx", "MReport.docx"));
  EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
  ASSERT_EQ(written(), QStringList{"MReport-001.docx"});
  const QString text = open("MReport-001.docx")->contentText();
  const QString expected = "Title Inbox\r\r" + mails[0]->text("Subject") + " at \r" + mails[1]->text("Subject") +
                           " at \r" + mails[2]->text("Subject") + " at \r\rClosing line\r";
  EXPECT_EQ(text, expected);
  // Every copy keeps the block's paragraph style.
  const QByteArray xml = zipPart(out.filePath("MReport-001.docx"), "word/document.xml");
  EXPECT_EQ(xml.count("<w:pStyle w:val=\"Entry\"/>"), 3) << xml.toStdString();
}

TEST_F(Run, BlockErrorsStopTheRunAndPrintNothing) {
  const auto mails = items("Inbox")->all();
  auto result = print(mails, templ("memo.docx", "MReport.docx"));
  EXPECT_EQ(port.messages, QStringList{"Report Lines not found: <% ... %>"});
  EXPECT_TRUE(result.stopped);
  EXPECT_EQ(result.items, 0);

  for (int row : {0, 10, 4}) {
    port.messages.clear();
    session::RunOptions options;
    options.startRow = row;
    result = print(contacts(2), templ("label.docx", "CLabel.docx"), options);
    EXPECT_EQ(port.messages, QStringList{"Label Row does not exist!"}) << row;
    EXPECT_EQ(result.documents, 0);
  }
  EXPECT_TRUE(written().isEmpty());
}

TEST_F(Run, LabelsStartAtTheChosenRowAndFillFreshSheets) {
  const auto people = contacts(3);
  ASSERT_EQ(people.size(), 3u);
  session::RunOptions options;
  options.startRow = 2;
  options.copies = 2;  // six labels; the 2 x 3 sheet has four from row 2
  const auto result = print(people, templ("label.docx", "CLabel.docx"), options);
  EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
  ASSERT_EQ(written(), (QStringList{"CLabel-001.docx", "CLabel-002.docx"}));
  auto name = [&](int i) { return people[i]->text("FullName") + people[i]->text("Email1Address"); };
  auto first = open("CLabel-001.docx");
  EXPECT_EQ(cell(*first, 1, 1), "");
  EXPECT_EQ(cell(*first, 1, 2), "");
  EXPECT_EQ(cell(*first, 2, 1), name(0));
  EXPECT_EQ(cell(*first, 2, 2), name(0));
  EXPECT_EQ(cell(*first, 3, 1), name(1));
  EXPECT_EQ(cell(*first, 3, 2), name(1));
  auto second = open("CLabel-002.docx");
  EXPECT_EQ(cell(*second, 1, 1), name(2));
  EXPECT_EQ(cell(*second, 1, 2), name(2));
  EXPECT_EQ(cell(*second, 2, 1), "");
  EXPECT_FALSE(second->searchedText().contains("<%"));
  EXPECT_TRUE(second->searchedText().contains("Labels of Test User"));
}

TEST_F(Run, ATableTemplateGetsARowPerItem) {
  std::vector<model::ItemPtr> appointments;
  const auto calendar = items("Calendar");
  for (const auto& item : *calendar)
    if (appointments.size() < 3) appointments.push_back(item);
  const auto result = print(appointments, templ("memo.docx", "ATable.docx"));
  EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
  ASSERT_EQ(written(), QStringList{"ATable-001.docx"});
  auto doc = open("ATable-001.docx");
  ASSERT_EQ(doc->rowCount(1), 4);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(cell(*doc, i + 2, 1), appointments[i]->text("Subject"));
    EXPECT_EQ(cell(*doc, i + 2, 3), appointments[i]->text("Location"));
  }
}

TEST_F(Run, ShowingManyItemsAsksBeforeEveryTenMore) {
  std::vector<model::ItemPtr> many;
  for (int i = 1; i <= 25; ++i)
    many.push_back(FakeItem::make(model::olMail)->set("Subject", QString("Item %1").arg(i)).shared_from_this());
  session::RunOptions options;
  options.mode = session::RunMode::Show;
  auto result = print(many, templ("memo.docx", "MMemo.docx"), options);
  EXPECT_EQ(result.items, 25);
  EXPECT_EQ(port.messages, (QStringList{"More than 10 Items to SHOW!\n\nDo you really want to continue?",
                                        "More than 20 Items to SHOW!\n\nDo you really want to continue?"}));

  port.messages.clear();
  port.answers = {ui::Answer::Yes, ui::Answer::No};
  result = print(many, templ("memo.docx", "MMemo.docx"), options);
  EXPECT_EQ(result.items, 20);
  EXPECT_TRUE(result.stopped);
}

TEST_F(Run, ASortedListGroupsByTheFirstEightCharactersOfItsSortKey) {
  std::vector<model::ItemPtr> mails;
  for (int day : {6, 4, 4})
    mails.push_back(FakeItem::make(model::olMail)
                        ->set("ReceivedTime", QDateTime(QDate(2026, 3, day), QTime(9, day)), model::olDateTime)
                        .shared_from_this());
  session::RunOptions options;
  options.sortColumn = 5;  // the date, sorted by its 14-digit key
  print(mails, templ("memo.docx", "MMemo.docx"), options);
  EXPECT_EQ(keys, (QStringList{"z#@|20260304", "20260304|20260304", "20260304|20260306"}));
}

TEST_F(Run, AnExcelTemplateFillsOneWorkbook) {
  const QString path = dir.filePath("Mlist.xltx");
  QFile::copy(QStringLiteral(ORDOLO_TEST_DATA "/excel/list.xltx"), path);
  const auto result = print(items("Inbox")->all(), path);
  EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
  EXPECT_EQ(result.items, 4);
  EXPECT_EQ(written(), QStringList{"Mlist-001.xlsx"});
}

TEST_F(Run, BadTemplatesAreNamedAndNothingIsWritten) {
  const auto mails = items("Inbox")->all();
  auto result = print(mails, dir.filePath("MGone.dotx"));
  ASSERT_EQ(result.errors.size(), 1);
  EXPECT_TRUE(result.errors[0].contains("MGone.dotx"));

  writeFile(dir.filePath("MLetter.odt"), "not ours");
  result = print(mails, dir.filePath("MLetter.odt"));
  ASSERT_EQ(result.errors.size(), 1);
  EXPECT_TRUE(result.errors[0].contains("MLetter.odt"));

  writeFile(dir.filePath("MBroken.docx"), "not a zip");
  result = print(mails, dir.filePath("MBroken.docx"));
  ASSERT_FALSE(result.errors.isEmpty());
  EXPECT_TRUE(result.errors[0].contains("MBroken.docx"));
  EXPECT_TRUE(written().isEmpty());
}

}  // namespace

namespace {

// Two appointments on Monday, one on Tuesday, an all-day one on Wednesday.
std::vector<model::ItemPtr> CalendarWeek() {
  std::vector<model::ItemPtr> week;
  auto add = [&](const char* subject, const QDateTime& start, const QDateTime& end, bool allDay = false) {
    auto a = FakeItem::make(model::olAppointment);
    a->set("Subject", subject)
        .set("Start", start, model::olDateTime)
        .set("End", end, model::olDateTime)
        .set("Duration", start.secsTo(end) / 60, model::olNumber)
        .set("AllDayEvent", allDay, model::olYesNo);
    a->entryId = subject;
    week.push_back(a);
  };
  add("Stand-up", at(2026, 3, 2, 9, 0), at(2026, 3, 2, 9, 15));
  add("Review", at(2026, 3, 2, 14, 0), at(2026, 3, 2, 15, 0));
  add("Workshop", at(2026, 3, 3, 10, 0), at(2026, 3, 3, 12, 0));
  add("Holiday", at(2026, 3, 4), at(2026, 3, 5), true);
  return week;
}

QString TableText(word::Document& doc, int table) {
  const auto a = doc.rowRange(table, 1), b = doc.rowRange(table, doc.rowCount(table));
  return a && b ? doc.text(word::Range{a->story, a->start, b->end}).remove(QRegularExpression("[\\r\\a]+$"))
                : QStringLiteral("<none>");
}

}  // namespace

TEST_F(Run, BreakTemplatesStartACopyOfTheTemplatePerDay) {
  for (const QString name : {"ACalTable-break.docx", "ACalTable-pagebreak.docx"}) {
    QDir(out.path()).removeRecursively();
    QDir().mkpath(out.path());
    const auto result = print(CalendarWeek(), templ("calendar.docx", name));
    EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
    auto doc = open(QFileInfo(name).completeBaseName() + "-001.docx");
    ASSERT_TRUE(doc);
    // One table per day: its head, the day's rows, its foot last.
    ASSERT_EQ(doc->tableCount(), 3) << name.toStdString();
    EXPECT_EQ(doc->rowCount(1), 4);
    EXPECT_EQ(doc->rowCount(2), 3);
    EXPECT_EQ(doc->rowCount(3), 3);
    EXPECT_TRUE(TableText(*doc, 1).contains(QRegularExpression("Stand-up.*Review.*Total")));
    EXPECT_TRUE(TableText(*doc, 2).contains(QRegularExpression("Workshop.*Total")));
    EXPECT_TRUE(TableText(*doc, 3).contains(QRegularExpression("Holiday.*Total")));
    // Every copy has its day heading and its run header; nothing is left.
    const QString text = doc->contentText();
    for (const char* day : {"Monday, 2. March 2026", "Tuesday, 3. March 2026", "Wednesday, 4. March 2026"})
      EXPECT_EQ(text.count(QStringLiteral("Day [][][%1]").arg(day)), 1) << day;
    EXPECT_EQ(text.count("for Test User"), 3);
    EXPECT_FALSE(doc->searchedText().contains(kLeftover)) << text.toStdString();
    const int pages = QString::fromUtf8(zipPart(out.filePath(QFileInfo(name).completeBaseName() + "-001.docx"),
                                                "word/document.xml"))
                          .count("w:type=\"page\"");
    // The heading's "#PAGEBREAK" breaks before each new day too.
    EXPECT_EQ(pages, name.contains("pagebreak") ? 4 : 2) << name.toStdString();
  }
}

// A body that starts with its table: each day's rows join that one table.
TEST_F(Run, ABreakTemplateStartingWithItsTableGrowsOneTableByADayBlock) {
  const auto result = print(CalendarWeek(), templ("calrows.docx", "ACalTable-break.docx"));
  EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
  auto doc = open("ACalTable-break-001.docx");
  ASSERT_TRUE(doc);
  ASSERT_EQ(doc->tableCount(), 1);
  // Per day: the heading row, the column titles, a row per item, the foot.
  EXPECT_EQ(doc->rowCount(1), 5 + 4 + 4);
  const QString text = TableText(*doc, 1);
  EXPECT_TRUE(text
                  .contains(QRegularExpression("Monday, 2\\. March 2026.*Stand-up.*Review.*Total.*"
                                               "Tuesday, 3\\. March 2026.*Workshop.*Total.*"
                                               "Wednesday, 4\\. March 2026.*Holiday.*Total")))
      << text.toStdString();
  EXPECT_EQ(text.count("for Test User"), 3);
  EXPECT_FALSE(doc->searchedText().contains(kLeftover)) << text.toStdString();
}

TEST_F(Run, AlldayTemplatesSetAllDayRowsPlain) {
  const auto result = print(CalendarWeek(), templ("calendar.docx", "ACalTable-allday.docx"));
  EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
  const QString xml = QString::fromUtf8(zipPart(out.filePath("ACalTable-allday-001.docx"), "word/document.xml"));
  QString timed, allDay;
  for (const QString& row : xml.split("<w:tr")) {
    if (row.contains("Workshop")) timed = row;
    if (row.contains("Holiday")) allDay = row;
  }
  ASSERT_FALSE(allDay.isEmpty());
  EXPECT_TRUE(timed.contains("DCE3EF", Qt::CaseInsensitive));
  EXPECT_FALSE(allDay.contains("DCE3EF", Qt::CaseInsensitive));
  EXPECT_TRUE(allDay.contains("<w:b w:val=\"0\"")) << allDay.toStdString();
  EXPECT_TRUE(allDay.contains("<w:top w:val=\"nil\"")) << allDay.toStdString();
}

TEST_F(Run, ADistributionListReportGivesEachMemberItsRows) {
  session::RunOptions options;
  options.session = store.get();  // members resolve to contacts through it
  // The same list twice: every list of a report gets its member rows.
  const auto falcon = bySubject("Contacts", "Project Falcon");
  const auto result = print({falcon, falcon}, templ("contact.docx", "DReport.docx"), options);
  EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
  auto doc = open("DReport-001.docx");
  ASSERT_TRUE(doc);
  EXPECT_TRUE(doc->contentText().startsWith("List [Project Falcon][2]")) << doc->contentText().toStdString();
  // One row per member: the contact with its contact data, the plain
  // address with its name and address only; nothing left unfilled.
  ASSERT_EQ(doc->rowCount(1), 3);
  EXPECT_EQ(cell(*doc, 2, 1), "Jonas Keller");
  EXPECT_EQ(cell(*doc, 2, 2), "jonas.keller@example.com");
  EXPECT_EQ(cell(*doc, 2, 3), "[][+49 30 5550 1234]");
  EXPECT_EQ(cell(*doc, 3, 2), "reviewer@example.net");
  EXPECT_EQ(cell(*doc, 3, 3), "[][]");
  ASSERT_EQ(doc->tableCount(), 2);
  EXPECT_EQ(doc->rowCount(2), 3);
  EXPECT_FALSE(doc->searchedText().contains(kLeftover)) << doc->contentText().toStdString();
}

TEST_F(Run, AContactPictureIsInsertedAtItsSizeOrLeavesABlank) {
  print({bySubject("Contacts", "Jonas Keller"), bySubject("Contacts", "Claire Dubois")},
        templ("contact.docx", "CMemo.docx"));
  ASSERT_EQ(written(), (QStringList{"CMemo-001.docx", "CMemo-002.docx"}));
  // 98.95 x 108.85 points in EMU (12700 per point).
  const QString withPicture = QString::fromUtf8(zipPart(out.filePath("CMemo-001.docx"), "word/document.xml"));
  EXPECT_TRUE(withPicture.contains("cx=\"1256665\" cy=\"1382395\"")) << withPicture.toStdString();
  // The address stays one paragraph, its lines split by line breaks.
  const QString first = open("CMemo-001.docx")->contentText();
  EXPECT_TRUE(first.contains("address [Kastanienallee 7\vHinterhaus, 3. OG\v10435 Berlin\vGermany] born [3/12/1988]"))
      << first.toStdString();
  auto second = open("CMemo-002.docx");
  EXPECT_TRUE(second->contentText().contains("Photo [ ] address [")) << second->contentText().toStdString();
  EXPECT_TRUE(second->contentText().contains("] born []"));

  // In a workbook the picture sits on the placeholder's cell of its
  // contact's rows; the cell keeps the rest of its text.
  office::Error why;
  auto book = office::excel::Workbook::open(QStringLiteral(ORDOLO_TEST_DATA "/excel/list.xltx"), &why);
  ASSERT_TRUE(book) << why.debugText().toStdString();
  book->ActiveSheet()->SetText(4, 3, "Photo: #ContactPicture");
  const QString xl = dir.filePath("Clist.xlsx");
  ASSERT_TRUE(book->saveAs(xl, &why)) << why.debugText().toStdString();
  print({bySubject("Contacts", "Claire Dubois"), bySubject("Contacts", "Jonas Keller")}, xl);
  const QString filled = out.filePath("Clist-001.xlsx");
  const QByteArray drawing = zipPart(filled, "xl/drawings/drawing1.xml");
  EXPECT_EQ(drawing.count("<xdr:oneCellAnchor"), 1);
  EXPECT_TRUE(drawing.contains("<xdr:col>2</xdr:col><xdr:colOff>25400</xdr:colOff><xdr:row>5</xdr:row>"))
      << drawing.toStdString();
  auto result = office::excel::Workbook::open(filled, &why);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->ActiveSheet()->Text(4, 3), "Photo: ");
  EXPECT_EQ(result->ActiveSheet()->Text(6, 3), "Photo: ");
}

// A stop request ends every layout after the item being filled: documents
// already finished are delivered whole, and a document that holds every
// item is finished with the items done so far.
TEST_F(Run, AStopAfterTheThirdOfTenItemsEndsEveryLayoutCleanly) {
  std::vector<model::ItemPtr> appointments, people;
  for (int i = 1; i <= 10; ++i) {
    const QString subject = QStringLiteral("Subject-%1").arg(i, 2, 10, QLatin1Char('0'));
    auto a = FakeItem::make(model::olAppointment);
    a->set("Subject", subject)
        .set("Start", at(2026, 3, i + 1, 9, 0), model::olDateTime)
        .set("End", at(2026, 3, i + 1, 10, 0), model::olDateTime)
        .set("Duration", 60, model::olNumber)
        .set("AllDayEvent", false, model::olYesNo);
    a->entryId = subject;
    appointments.push_back(a);
    auto c = FakeItem::make(model::olContact);
    c->set("FullName", subject).set("Email1Address", subject + "@example.org");
    c->entryId = subject + "c";
    people.push_back(c);
  }
  struct Case {
    const char* source;
    const char* name;
    bool contacts;
    int documents;  // written when the run stops after three items
  };
  const Case cases[] = {
      {"calendar.docx", "AMemo.docx", false, 3}, {"calendar.docx", "ACalTable.docx", false, 1},
      {"report.docx", "AReport.docx", false, 1}, {"label.docx", "CLabel.docx", true, 1},
      {"grid.docx", "ACalendar.docx", false, 1}, {"", "AList.xltx", false, 1},
  };
  stopAfter = 3;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    QDir(out.path()).removeRecursively();
    QDir().mkpath(out.path());
    QString path = dir.filePath(c.name);
    if (*c.source) {
      path = templ(c.source, c.name);
    } else {
      QFile::remove(path);
      QFile::copy(QStringLiteral(ORDOLO_TEST_DATA "/excel/list.xltx"), path);
    }
    const auto result = print(c.contacts ? people : appointments, path);
    EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join("; ").toStdString();
    EXPECT_EQ(result.items, 3);
    EXPECT_TRUE(result.stopped);
    EXPECT_TRUE(result.stopRequested);
    EXPECT_EQ(result.note, c.documents == 3 ? "Stopped after 3 of 10 items."
                                            : "Stopped after 3 of 10 items; the document holds the items done so far.");
    const QStringList files = written();
    ASSERT_EQ(files.size(), c.documents) << files.join(", ").toStdString();
    QByteArray all;
    for (const QString& f : files)
      for (const char* part :
           {"word/document.xml", "xl/sharedStrings.xml", "xl/worksheets/sheet1.xml", "xl/worksheets/sheet2.xml"})
        all += zipPart(out.filePath(f), part);
    for (int i = 1; i <= 3; ++i) EXPECT_TRUE(all.contains(QStringLiteral("Subject-0%1").arg(i).toUtf8())) << i;
    EXPECT_FALSE(all.contains("Subject-04"));
  }
}
