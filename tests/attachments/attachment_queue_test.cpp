// The attachment queue: order, waits and messages over a scripted print
// system, then for real against a private cupsd (tests/support/CupsServer.h),
// LibreOffice and a folder output. Waits count the sleeps of a fake clock.
#include <gtest/gtest.h>

#include <QDir>
#include <QThread>

#include <functional>
#include <map>

#include "attachments/AttachmentQueue.h"
#include "attachments/PrintSystems.h"
#include "lang/LanguageTable.h"
#include "office/convert/Converter.h"
#include "print/Cups.h"
#include "print/Outputs.h"
#include "support/CupsServer.h"
#include "support/ScriptedPort.h"
#include "support/TempCleanup.h"
#include "support/TestEnv.h"
#include "util/Folders.h"
#include "util/Ini.h"

using namespace ordolo;
using namespace ordolo::attachments;
using namespace ordolo::test;
using Outcome = PrintSystem::Outcome;

namespace {

const QByteArray kPng = QByteArray::fromBase64(
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA60e6kgAAAABJRU5ErkJggg==");
const QByteArray kPdf = "%PDF-1.4\n1 0 obj << /Type /Catalog >> endobj\ntrailer << /Root 1 0 R >>\n%%EOF\n";
const QString kNoVerb = QStringLiteral("Associated program for\n%1\ndoes not support PRINT. Change \"Open with\"..");
const QString kInvalid = QStringLiteral("Filename attachment not valid: %1");
const QString kError = QStringLiteral("Error %1 printing attachment\n%2");

// Records every sleep; onSleep may wait for something real to happen.
struct CountingClock : Clock {
  void sleep(int ms) override {
    sleeps.push_back(ms);
    if (onSleep) onSleep();
  }
  std::vector<int> sleeps;
  std::function<void()> onSleep;
};
std::vector<int> times(int count, int ms) { return std::vector<int>(size_t(count), ms); }

// Prints into a list. The newest file shows as a job (upper-cased, inside a
// longer title) from the showOnQuery-th query after it was printed (0: never).
struct ScriptedSystem : PrintSystem {
  Result print(const QString& file) override {
    printed << QFileInfo(file).fileName();
    sincePrint = 0;
    const auto it = outcomes.find(printed.last());
    return it != outcomes.end() ? it->second : Result{Outcome::Printed, 0, {}};
  }
  bool connect() override {
    ++connects;
    return reachable;
  }
  std::optional<QStringList> jobNames() override {
    ++sincePrint;
    if (failingQueries > 0) {
      --failingQueries;
      return std::nullopt;
    }
    QStringList names;
    for (const QString& p : printed)
      if (p != printed.last() || (showOnQuery > 0 && sincePrint >= showOnQuery)) names << "job " + p.toUpper() + " 1";
    return names;
  }
  std::map<QString, Result> outcomes;
  bool reachable = true;
  int showOnQuery = 1, failingQueries = 0, connects = 0, sincePrint = 0;
  QStringList printed;
};

struct AttachmentQueueTest : ::testing::Test {
  void SetUp() override {
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
  }
  void flush(PrintSystem& system, const QStringList& files, const Options& options = {}) {
    AttachmentQueue queue(system, port, options, &clock);
    for (const QString& f : files) queue.PrintAttachmentQueue(f, false);
    queue.PrintAttachmentQueue(QString(), true);
    errors = queue.errors();
  }
  QString path(const QString& name) const { return tmp.path() + QLatin1Char('/') + name; }
  ScriptedSystem scripted;
  ScriptedPort port;
  CountingClock clock;
  QStringList errors;
  QTemporaryDir tmp;
};

TEST(AttachmentNames, ByTheirLastFourCharacters) {
  for (const char* n : {"photo.JPG", "x.tiff", "y.jpeg", "a.tif", ".gif"}) EXPECT_TRUE(IsImageName(n)) << n;
  for (const char* n : {"gif", "a.pdf", "x.jpgx", ""}) EXPECT_FALSE(IsImageName(n)) << n;
  EXPECT_TRUE(IsPdfName("SCAN.PDF"));
  EXPECT_FALSE(IsPdfName("pdf") || IsPdfName("a.pdfx"));
}

TEST_F(AttachmentQueueTest, OptionsRoundTripAndTheirReadings) {
  ScopedEnv home("ORDOLO_HOME", QFile::encodeName(tmp.path()));
  EXPECT_EQ(Options::load().waitMs(), 0);
  util::WriteIni("Option", "MTemplate", "MMemo.docx", util::UserConfigFile());
  const Options o{" signature.gif , signatur.jpg", "1500", true, "/bin/printimage", "-o fit", "pdfprint", "-n 2"};
  o.save();
  const Options back = Options::load();
  EXPECT_EQ(QStringList({back.suppress, back.wait, back.imageProgram, back.imageSwitches, back.pdfProgram,
                         back.pdfSwitches}),
            QStringList({o.suppress.trimmed(), o.wait, o.imageProgram, o.imageSwitches, o.pdfProgram, o.pdfSwitches}));
  EXPECT_TRUE(back.first);
  EXPECT_EQ(util::ReadIni("Option", "MTemplate", "", util::UserConfigFile()), "MMemo.docx");
  using On = std::pair<const char*, bool>;
  for (const auto& [text, on] : {On{"True", true}, On{"-1", true}, On{"0", false}, On{"yes", false}}) {
    util::WriteIni("Attachments", "First", text, util::UserConfigFile());
    EXPECT_EQ(Options::load().first, on) << text;
  }
  EXPECT_TRUE(back.suppressed("Signature.GIF") && back.suppressed("signatur.jpg"));
  EXPECT_FALSE(back.suppressed("signature.gi") || back.suppressed(""));
  EXPECT_EQ((Options{{}, " 250 "}.waitMs()), 250);
  EXPECT_FALSE((Options{{}, "abc"}.waitMs()));
}

TEST_F(AttachmentQueueTest, EachFileWaitsForItsJobThenTheExtraWaitComesOnce) {
  scripted.showOnQuery = 3;  // two sleeps each
  AttachmentQueue queue(scripted, port, Options{{}, "1500"}, &clock);
  QStringList progress;
  queue.setProgress([&](const QString& f, int done, int all) {
    progress << QStringLiteral("%1 %2/%3").arg(f).arg(done).arg(all);
  });
  for (const QString f : {"/a/a.pdf", "", "/a/Photo.jpg", "/a/c.docx"}) queue.PrintAttachmentQueue(f, false);
  queue.PrintAttachmentQueue(QString(), true);
  EXPECT_EQ(scripted.printed, QStringList({"a.pdf", "Photo.jpg", "c.docx"}));
  EXPECT_EQ(progress, QStringList({"/a/a.pdf 0/3", "/a/Photo.jpg 1/3", "/a/c.docx 2/3"}));
  std::vector<int> expected = times(6, 200);
  expected.push_back(1500);
  EXPECT_EQ(clock.sleeps, expected);
  EXPECT_TRUE(queue.empty() && port.messages.isEmpty());
  // Emptied: the next flush neither connects, prints nor waits.
  queue.PrintAttachmentQueue(QString(), true);
  EXPECT_EQ(scripted.connects, 1);
  EXPECT_EQ(clock.sleeps.size(), 7u);
}

TEST_F(AttachmentQueueTest, AJobThatNeverShowsCostsEightSecondsOrFourWhenTheFirstQueryFails) {
  scripted.showOnQuery = 0;
  flush(scripted, {"a.pdf", "b.png"}, Options{{}, "abc"});
  EXPECT_EQ(clock.sleeps, times(80, 200));
  clock.sleeps.clear();
  scripted.failingQueries = 1;
  flush(scripted, {"c.pdf"});
  EXPECT_EQ(clock.sleeps, times(20, 200));
  // Failing later does not shorten the wait.
  clock.sleeps.clear();
  clock.onSleep = [&] { scripted.failingQueries = clock.sleeps.size() == 3 ? 5 : scripted.failingQueries; };
  flush(scripted, {"d.pdf"});
  EXPECT_EQ(clock.sleeps, times(40, 200));
  // Without a job list: printed in order, no waits.
  clock.sleeps.clear();
  scripted.reachable = false;
  flush(scripted, {"e.pdf", "f.jpg"});
  EXPECT_TRUE(clock.sleeps.empty());
  EXPECT_EQ(scripted.printed.mid(4), QStringList({"e.pdf", "f.jpg"}));
}

TEST_F(AttachmentQueueTest, FailuresAreShownNamedAndTheNextFilesStillPrint) {
  scripted.showOnQuery = 0;
  scripted.outcomes = {{"x.zip", {Outcome::NotSupported, 0, {}}},
                       {"scan.PDF", {Outcome::NotSupported, 0, {}}},
                       {"gone.png", {Outcome::InvalidFile, 0, {}}},
                       {"big.tif", {Outcome::Failed, 1030, "printer gone"}}};
  flush(scripted, {"/a/x.zip", "/a/scan.PDF", "/a/gone.png", "/a/big.tif", "/a/last.jpg"});
  EXPECT_EQ(scripted.printed.size(), 5);
  const QStringList shown = {kNoVerb.arg("/a/x.zip"),
                             "Associated program for\n/a/scan.PDF\ndoes not support PRINT. Update to Acrobat Reader "
                             "8...\nand for autoclosing Acrobat download \"Acrobat Wrapper 1.0.0.4\"",
                             kInvalid.arg("/a/gone.png"), "Error 1030 printing attachment\n/a/big.tif"};
  EXPECT_EQ(port.messages, shown);
  EXPECT_EQ(errors, shown.mid(0, 3) + QStringList(shown[3] + " (printer gone)"));
  EXPECT_EQ(clock.sleeps, times(40, 200));  // only the printed file waits
}

TEST_F(AttachmentQueueTest, FolderOutputTakesEachFileInOrderWithoutWaits) {
  const QString png = writeFile(path("in/pixel.png"), kPng), pdf = writeFile(path("in/scan.pdf"), kPdf);
  const QString notes = writeFile(path("in/notes.txt"), "notes\n"), missing = path("in/missing.png");
  // No LibreOffice: the text file fails, so it was sent for conversion, not copied.
  print::FolderOutput output(path("pdfs"), true, office::convert::Options{path("no/soffice")});
  QDir().mkpath(path("pdfs"));  // prepare() would make it, but refuses without LibreOffice
  OutputPrintSystem system(output);
  flush(system, {png, notes, missing, pdf});
  EXPECT_EQ(output.delivered(), QStringList({path("pdfs/pixel.png"), path("pdfs/scan.pdf")}));
  EXPECT_EQ(QDir(path("pdfs")).entryList(QDir::Files | QDir::Hidden), QStringList({"pixel.png", "scan.pdf"}));
  EXPECT_EQ(readFile(path("pdfs/pixel.png")), kPng);
  EXPECT_TRUE(clock.sleeps.empty());
  EXPECT_EQ(port.messages, QStringList({kError.arg(0).arg(notes), kInvalid.arg(missing)}));
  EXPECT_TRUE(errors.value(0).startsWith(port.messages[0] + " (") && errors[0].contains("notes"))
      << errors.value(0).toStdString();
}

// Against a private CUPS server with one capturing queue.
struct AttachmentsOnCups : AttachmentQueueTest {
  static void SetUpTestSuite() {
    if (!CupsServer::findTool("cupsd").isEmpty()) server = new CupsServer;
  }
  static void TearDownTestSuite() { delete server; }
  void SetUp() override {
    if (!server) GTEST_SKIP() << "cupsd is not installed";
    ASSERT_TRUE(server->ok()) << server->error().toStdString();
    AttachmentQueueTest::SetUp();
    QString out;
    ASSERT_TRUE(print::Cups().queue("attq").exists || server->addQueue("attq", false, &out)) << out.toStdString();
    const auto known = newJobs();
    before = known.empty() ? 0 : known.back().id;
  }
  // The jobs since the test began, oldest first; their names; what the
  // capture backend wrote for one (waiting up to 20 s for it).
  std::vector<print::CupsJob> newJobs() const {
    std::vector<print::CupsJob> jobs;
    for (const auto& j : print::Cups().jobs({}, true).value_or(std::vector<print::CupsJob>()))
      if (j.id > before) jobs.push_back(j);
    return jobs;
  }
  QStringList newNames() const {
    QStringList n;
    for (const auto& j : newJobs()) n << j.name;
    return n;
  }
  static QByteArray captured(const print::CupsJob& j) {
    const QString file = server->outFolder() + QStringLiteral("/job-%1-%2").arg(j.id).arg(j.name);
    for (int i = 0; i < 1000 && !QFileInfo::exists(file); ++i) QThread::msleep(20);
    return readFile(file);
  }
  static inline CupsServer* server = nullptr;
  int before = 0;
};

TEST_F(AttachmentsOnCups, FilesComeOutInOrderAndEachWaitEndsAsSoonAsItsJobShows) {
  const QString pdf = writeFile(path("scan.pdf"), kPdf), png = writeFile(path("pixel.png"), kPng);
  ScopedEnv noPrinter("PRINTER", std::nullopt), noLpdest("LPDEST", std::nullopt);
  ASSERT_TRUE(server->run("lpadmin", {"-d", "attq"}));
  CupsPrintSystem system{QString()};  // the default queue
  // The item's document first, straight to CUPS.
  ASSERT_GT(print::Cups().submit("attq", writeFile(path("letter.pdf"), kPdf + "%letter"), "Letter to Anna"), 0);
  flush(system, {pdf, png});
  EXPECT_TRUE(port.messages.isEmpty() && clock.sleeps.empty()) << port.messages.join('|').toStdString();
  const auto jobs = newJobs();
  ASSERT_EQ(newNames(), QStringList({"Letter to Anna", "scan.pdf", "pixel.png"})) << server->errorLog().toStdString();
  EXPECT_EQ(captured(jobs[0]), kPdf + "%letter");
  EXPECT_EQ(captured(jobs[1]), kPdf);
  EXPECT_EQ(captured(jobs[2]), kPng);
  // Listed are the jobs since connect() only.
  EXPECT_EQ(system.jobNames(), std::optional(QStringList({"scan.pdf", "pixel.png"})));
  ASSERT_TRUE(system.connect());
  EXPECT_EQ(system.jobNames(), std::optional(QStringList()));
}

TEST_F(AttachmentsOnCups, OfficeFilesPrintAsPdfUnderTheirOwnNameAndTheRestIsRefused) {
  if (office::convert::Converter::findProgram().isEmpty()) GTEST_SKIP() << "LibreOffice is not installed";
  const QString memo = path("Memo März.docx"), zip = writeFile(path("a.zip"), "PK\x03\x04"), empty = path("e.png");
  ASSERT_TRUE(QFile::copy(ORDOLO_TEST_DATA "/word/memo.docx", memo));
  writeFile(empty, "");
  CupsPrintSystem system("attq");
  flush(system, {zip, memo, path("missing.pdf"), empty, tmp.path()});
  const auto jobs = newJobs();
  ASSERT_EQ(newNames(), QStringList({"Memo März.docx"})) << server->errorLog().toStdString();
  EXPECT_TRUE(pdfText(writeFile(path("out.pdf"), captured(jobs[0]))).contains("Subject:"));
  EXPECT_TRUE(clock.sleeps.empty());
  EXPECT_EQ(port.messages, QStringList({kNoVerb.arg(zip), kInvalid.arg(path("missing.pdf")), kInvalid.arg(empty),
                                        kInvalid.arg(tmp.path())}));
  EXPECT_TRUE(QDir(util::TempFolder()).entryList({"attachment-*"}, QDir::Dirs).isEmpty());
}

TEST_F(AttachmentsOnCups, AQueueOrServerThatRefusesGivesCupsNumberAndReason) {
  const QString pdf = writeFile(path("scan.pdf"), kPdf);
  print::Cups direct;  // the number CUPS gives a direct submission
  ASSERT_EQ(direct.submit("nosuchqueue", pdf, "scan.pdf"), 0);
  ASSERT_NE(direct.lastStatus(), 0);
  CupsPrintSystem missing("nosuchqueue");
  flush(missing, {pdf});
  EXPECT_EQ(port.messages, QStringList(kError.arg(direct.lastStatus()).arg(pdf)));
  EXPECT_TRUE(errors.value(0).startsWith(port.messages[0] + " (") && errors[0].size() > port.messages[0].size() + 5);
  // A server that is not running: 0x0502, service unavailable; no job list, no waits.
  ScopedEnv dead("CUPS_SERVER", QFile::encodeName(path("dead.sock")));
  CupsPrintSystem gone("attq");
  EXPECT_FALSE(gone.connect() || gone.jobNames());
  flush(gone, {pdf});
  EXPECT_EQ(port.messages.value(1), kError.arg(1282).arg(pdf));
  EXPECT_TRUE(clock.sleeps.empty());
}

TEST_F(AttachmentsOnCups, ProgramsFromTheOptionsPrintTheirFilesAndAMissingOneLeavesItToCups) {
  const QString args = path("args"), done = path("done"), printer = path("print image");
  writeFile(printer, "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + QFile::encodeName(args) +
                         "'\nlp -d attq -t \"$(basename \"$1\")\" \"$1\" >/dev/null 2>&1\ntouch '" +
                         QFile::encodeName(done) + "'\n");
  QFile::setPermissions(printer, QFile::ReadOwner | QFile::ExeOwner);
  const QString photo = writeFile(path("photo.JPG"), kPng), pdf = writeFile(path("scan.pdf"), kPdf);
  // A sleep lasts until the program has handed its file to CUPS.
  clock.onSleep = [&] {
    for (int i = 0; i < 1000 && !QFileInfo::exists(done); ++i) QThread::msleep(20);
  };
  CupsPrintSystem system("attq");
  flush(system, {photo, pdf}, Options{{}, {}, false, printer, "-o \"fit to page\" -n 1", "/nonexistent/pdfprint"});
  EXPECT_TRUE(port.messages.isEmpty()) << port.messages.join('|').toStdString();
  // The picture once, by the program; the PDF by CUPS after the picture's job showed.
  ASSERT_EQ(newNames(), QStringList({"photo.JPG", "scan.pdf"})) << server->errorLog().toStdString();
  EXPECT_EQ(QString::fromUtf8(readFile(args)).split('\n', Qt::SkipEmptyParts),
            QStringList({photo, "-o", "fit to page", "-n", "1"}));
  EXPECT_LE(clock.sleeps.size(), 1u);
  EXPECT_EQ(captured(newJobs()[0]), kPng);

  // A name not on PATH, and a program that cannot start: CUPS prints.
  const QString broken = writeFile(path("broken"), "#!/nonexistent/interpreter\n");
  QFile::setPermissions(broken, QFile::ReadOwner | QFile::ExeOwner);
  clock.sleeps.clear();
  flush(system, {photo, pdf}, Options{{}, {}, false, "no-such-viewer-for-ordolo", {}, broken});
  EXPECT_EQ(newNames(), QStringList({"photo.JPG", "scan.pdf", "photo.JPG", "scan.pdf"}));
  EXPECT_TRUE(clock.sleeps.empty() && port.messages.isEmpty());
}

}  // namespace
