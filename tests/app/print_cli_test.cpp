// The print command as a user runs it: the sample store through a shipped
// template into PDFs (real LibreOffice), and what it says when something is
// wrong.
#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

#include "app/RunOrdolo.h"
#include "office/convert/Converter.h"
#include "support/CupsServer.h"
#include "support/TestEnv.h"

namespace {

using Result = ordolo::test::CliResult;

const QString kStore = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store");
const QString kTemplates = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/templates/");

class PrintCli : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ordolo({"lang", "load", "english"}).code, 0); }

  Result ordolo(const QStringList& args, const QMap<QString, QString>& extra = {}) {
    return ordolo::test::RunOrdolo(home.path(), args, "en_US.UTF-8", extra);
  }

  QTemporaryDir home, out;
};

TEST_F(PrintCli, TheInboxPrintsToOnePdfPerMailWithTheShippedMemoAndTheAttachmentsAfterTheirMail) {
  const Result r = ordolo({"print", "--store", kStore, "--folder", "Inbox", "--template", kTemplates + "MMemo.dotx",
                           "--attachments", "--pdf", out.path()});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  const QStringList pdfs = QDir(out.path()).entryList({"MMemo-*.pdf"}, QDir::Files, QDir::Name);
  EXPECT_EQ(pdfs.size(), 13);
  EXPECT_TRUE(r.out.contains("Items: 13, documents: 13")) << r.out.toStdString();
  // The offer's three attachments (a PDF and two texts made PDF) right after
  // its memo; the newsletter's inline logo is part of its memo, not printed.
  QStringList written;
  for (const QString& line : r.out.split('\n'))
    if (line.startsWith(out.path())) written << QFileInfo(line).fileName();
  const int offer = written.indexOf("MMemo-003.pdf");
  ASSERT_GE(offer, 0) << r.out.toStdString();
  ASSERT_GT(written.size(), offer + 4) << r.out.toStdString();
  EXPECT_TRUE(written[offer + 1].endsWith("_Angebot-2026-031.pdf")) << r.out.toStdString();
  EXPECT_TRUE(written[offer + 2].endsWith("_notes.pdf")) << r.out.toStdString();
  EXPECT_TRUE(written[offer + 3].endsWith(QString::fromUtf8("_Übersicht März.pdf"))) << r.out.toStdString();
  EXPECT_EQ(written[offer + 4], "MMemo-004.pdf");
  EXPECT_FALSE(r.out.contains("logo")) << r.out.toStdString();
  EXPECT_TRUE(ordolo::test::pdfText(out.filePath(written[offer + 2])).contains("Calibration on site"));
  // The first mail of the folder: subject, sender, recipient and arrival.
  const QString text = ordolo::test::pdfText(out.filePath(pdfs.value(0)));
  EXPECT_TRUE(text.contains("Protokoll Abstimmung Project Falcon")) << text.toStdString();
  EXPECT_TRUE(text.contains("Jonas Keller")) << text.toStdString();
  EXPECT_TRUE(text.contains("Anna Berger")) << text.toStdString();
  EXPECT_TRUE(text.contains("3/2/2026")) << text.toStdString();
  EXPECT_FALSE(text.contains(QRegularExpression("#[A-Z]"))) << text.toStdString();
}

TEST_F(PrintCli, WithoutATemplateTheKindsFirstShippedOneIsUsedAndRemembered) {
  const Result listed = ordolo({"templates", "--kind", "M"});
  ASSERT_EQ(listed.code, 0);
  const QStringList names = listed.out.split('\n');
  ASSERT_FALSE(names.isEmpty());
  const Result r = ordolo({"print", "--store", kStore, "--folder", "Inbox", "--save", out.path()});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  EXPECT_TRUE(QString::fromUtf8(ordolo::test::readFile(home.filePath("config/Ordolo.ini")))
                  .contains("MTemplate=" + names.first()));
}

TEST_F(PrintCli, BadInputIsNamedAndLeavesNothingBehind) {
  const QString memo = kTemplates + "MMemo.dotx";
  const QString pdf = out.filePath("pdf");
  auto check = [&](const QStringList& args, const QString& named, const QMap<QString, QString>& env = {}) {
    const Result r = ordolo(QStringList{"print", "--store", kStore} + args, env);
    EXPECT_NE(r.code, 0) << args.join(' ').toStdString();
    EXPECT_TRUE(r.err.contains(named)) << r.err.toStdString();
    EXPECT_TRUE(QDir(pdf).entryList(QDir::Files).isEmpty()) << args.join(' ').toStdString();
  };
  check({"--folder", "Inbox", "--template", home.filePath("MGone.dotx"), "--pdf", pdf}, "MGone.dotx");
  ordolo::test::writeFile(home.filePath("MLetter.odt"), "an OpenDocument file");
  check({"--folder", "Inbox", "--template", home.filePath("MLetter.odt"), "--pdf", pdf}, "MLetter.odt");
  check({"--folder", "Nowhere", "--template", memo, "--pdf", pdf}, "Nowhere");
  check({"--folder", "Inbox", "--items", "no-such-id", "--template", memo, "--pdf", pdf}, "no-such-id");
  check({"--folder", "Deleted Items", "--template", memo, "--pdf", pdf}, "Nothing selected");
  check({"--folder", "Inbox", "--template", memo, "--pdf", pdf}, "LibreOffice",
        {{"ORDOLO_SOFFICE", "/nowhere/soffice"}});
  check({"--folder", "Inbox", "--template", memo, "--printer", "nosuchqueue"}, home.filePath("no-cups.sock"),
        {{"CUPS_SERVER", home.filePath("no-cups.sock")}});
}

// The shipped templates of every kind, filled from the sample store: the
// converters kept running give every document the same text as one soffice
// call over all of them.
TEST_F(PrintCli, ShippedTemplatesGiveTheSameTextThroughRunningConvertersAsThroughOneCall) {
  const QStringList month{"--from", "2026-03-01", "--to", "2026-03-31"};
  const std::vector<std::pair<QStringList, QString>> runs = {{QStringList{"Inbox"}, "MMemo.dotx"},
                                                             {QStringList{"Inbox"}, "MList.xltx"},
                                                             {QStringList{"Inbox"}, "MReport.dotx"},
                                                             {QStringList{"Calendar"} + month, "ACalendar.dotx"},
                                                             {QStringList{"Calendar"} + month, "AList.xltx"},
                                                             {QStringList{"Contacts"}, "CLabel.dotx"},
                                                             {QStringList{"Contacts"}, "CTable.dotx"},
                                                             {QStringList{"Contacts"}, "DMemo.dotx"},
                                                             {QStringList{"Tasks"}, "TTable.dotx"},
                                                             {QStringList{"Notes"}, "NCard.dotx"},
                                                             {QStringList{"Journal"}, "JMemo.dotx"}};
  QStringList filled;
  for (const auto& [where, tpl] : runs) {
    const QString saved = out.filePath("saved/" + tpl);
    const Result r = ordolo(QStringList{"print", "--store", kStore, "--folder"} + where +
                            QStringList{"--template", kTemplates + tpl, "--save", saved, "--yes"});
    ASSERT_EQ(r.code, 0) << tpl.toStdString() << r.err.toStdString();
    for (const QString& f : QDir(saved).entryList(QDir::Files, QDir::Name)) filled << saved + "/" + f;
  }
  ASSERT_GT(filled.size(), 40);
  std::vector<ordolo::office::convert::Result> oneCall, running;
  {
    ordolo::test::ScopedEnv batch("ORDOLO_CONVERTER", QByteArray("batch"));
    oneCall = ordolo::office::convert::Converter().toPdf(filled, out.filePath("one-call"));
  }
  {
    ordolo::test::ScopedEnv warm("ORDOLO_CONVERTER", QByteArray("warm"));
    running = ordolo::office::convert::Converter().toPdf(filled, out.filePath("running"));
  }
  for (int i = 0; i < filled.size(); ++i) {
    ASSERT_TRUE(oneCall[size_t(i)].ok() && running[size_t(i)].ok()) << filled[i].toStdString();
    const QString expected = ordolo::test::pdfText(oneCall[size_t(i)].output, true);
    EXPECT_FALSE(expected.trimmed().isEmpty()) << filled[i].toStdString();
    EXPECT_EQ(ordolo::test::pdfText(running[size_t(i)].output, true), expected) << filled[i].toStdString();
  }
}

// A disk that fills up under the PDF folder: each document that does not
// fit is named with the system's reason, nothing half-written stays, and
// the run ends as failed. The small disk is a tmpfs of 150 KB in a user and
// mount namespace of the test's own.
TEST_F(PrintCli, AFullDiskNamesEachPdfThatDidNotFitAndLeavesNoPartBehind) {
  QProcess probe;
  probe.start("unshare", {"-rm", "true"});
  if (!probe.waitForFinished(10000) || probe.exitCode() != 0)
    GTEST_SKIP() << "no user namespaces here for a small file system: " << probe.readAllStandardError().toStdString();
  const QString small = out.filePath("small");
  QDir().mkpath(small);
  QProcess p;
  p.setProcessEnvironment(ordolo::test::OrdoloEnvironment(home.path()));
  p.start("unshare",
          {"-rm", "sh", "-c", R"(mount -t tmpfs -o size=150k none "$0" || exit 99; "$@"; echo "exit $?"; ls -a "$0")",
           small, ORDOLO_BINARY, "print", "--store", kStore, "--folder", "Inbox", "--template",
           kTemplates + "MMemo.dotx", "--pdf", small});
  ASSERT_TRUE(p.waitForFinished(180000));
  const QString said = QString::fromUtf8(p.readAllStandardOutput());
  const QString err = QString::fromUtf8(p.readAllStandardError());
  ASSERT_TRUE(said.contains("exit 1\n")) << said.toStdString() << err.toStdString();
  const QStringList left = said.section("exit 1\n", 1).split('\n', Qt::SkipEmptyParts);
  const QRegularExpression full(QRegularExpression::escape(small) +
                                "/(MMemo-\\d+\\.pdf) cannot be written: No space left on device");
  QStringList failed;
  for (auto m = full.globalMatch(err); m.hasNext();) failed << m.next().captured(1);
  EXPECT_FALSE(failed.isEmpty()) << err.toStdString();
  QStringList written;
  for (const QString& f : left)
    if (f != "." && f != "..") written << f;
  for (const QString& f : written) {
    EXPECT_TRUE(f.startsWith("MMemo-") && f.endsWith(".pdf")) << "left behind: " << f.toStdString();
    EXPECT_FALSE(failed.contains(f)) << f.toStdString();
  }
  EXPECT_FALSE(written.isEmpty());
  EXPECT_EQ(written.size() + failed.size(), 13) << said.toStdString() << err.toStdString();
}

// The sample inbox with its attachments: the queue gets, from the running
// converters, the same documents page for page and in the same order as the
// PDF folder gets from one soffice call over the run.
TEST_F(PrintCli, TheSampleInboxGivesTheQueueTheSamePagesInTheSameOrderAsTheFolder) {
  const Result folder = ordolo({"print", "--store", kStore, "--folder", "Inbox", "--template",
                                kTemplates + "MMemo.dotx", "--attachments", "--pdf", out.filePath("pdf")},
                               {{"ORDOLO_CONVERTER", "batch"}});
  ASSERT_EQ(folder.code, 0) << folder.err.toStdString();
  QStringList files;
  for (const QString& line : folder.out.split('\n'))
    if (line.startsWith(out.filePath("pdf"))) files << line;
  ASSERT_GT(files.size(), 13);

  ordolo::test::CupsServer cups;
  ASSERT_TRUE(cups.ok()) << cups.error().toStdString();
  ASSERT_TRUE(cups.addQueue("capq"));
  const Result queue = ordolo({"print", "--store", kStore, "--folder", "Inbox", "--template", kTemplates + "MMemo.dotx",
                               "--attachments", "--printer", "capq"},
                              {{"ORDOLO_CONVERTER", "warm"}});
  ASSERT_EQ(queue.code, 0) << queue.err.toStdString() << cups.errorLog().toStdString();
  const QStringList jobs = cups.captured();
  ASSERT_EQ(jobs.size(), files.size()) << queue.out.toStdString();
  for (int i = 0; i < jobs.size(); ++i)
    EXPECT_EQ(ordolo::test::pdfText(jobs[i], true), ordolo::test::pdfText(files[i], true))
        << jobs[i].toStdString() << " against " << files[i].toStdString();
}

TEST_F(PrintCli, AQueueGetsOneJobPerDocumentNamedAfterIt) {
  ordolo::test::CupsServer cups;
  ASSERT_TRUE(cups.ok()) << cups.error().toStdString();
  ASSERT_TRUE(cups.addQueue("capq"));
  const QStringList listed = ordolo({"list", "--store", kStore, "--folder", "Inbox"}).out.split('\n');
  ASSERT_GE(listed.size(), 2);
  const QString ids = listed[0].section('\t', 0, 0) + "," + listed[1].section('\t', 0, 0);
  const Result r = ordolo({"print", "--store", kStore, "--folder", "Inbox", "--items", ids, "--template",
                           kTemplates + "MMemo.dotx", "--printer", "capq"});
  ASSERT_EQ(r.code, 0) << r.err.toStdString() << cups.errorLog().toStdString();
  // The run waited for each job: both are printed when the command ends.
  const QStringList jobs = cups.captured();
  ASSERT_EQ(jobs.size(), 2) << cups.errorLog().toStdString();
  EXPECT_TRUE(QFileInfo(jobs[0]).fileName().endsWith("-MMemo-001"));
  EXPECT_TRUE(QFileInfo(jobs[1]).fileName().endsWith("-MMemo-002"));
  EXPECT_TRUE(ordolo::test::pdfText(jobs[1]).contains(listed[1].section('\t', 2, 2)))
      << ordolo::test::pdfText(jobs[1]).toStdString();
  EXPECT_TRUE(r.out.contains(QRegularExpression("capq-\\d+ MMemo-001\ncapq-\\d+ MMemo-002"))) << r.out.toStdString();
}

// Ctrl-C in the middle of a run: the documents finished by then are
// delivered whole, nothing half-written is left, and the exit says stopped.
TEST_F(PrintCli, AnInterruptStopsTheRunAfterTheCurrentDocument) {
  QProcess p;
  p.setProcessEnvironment(ordolo::test::OrdoloEnvironment(home.path()));
  p.start(QStringLiteral(ORDOLO_BINARY),
          {"print", "--store", kStore, "--folder", "Calendar", "--from", "2026-02-01", "--to", "2026-04-30",
           "--template", kTemplates + "AMemo.dotx", "--pdf", out.path()});
  ASSERT_TRUE(p.waitForStarted());
  // The first batch of documents has reached the folder: interrupt.
  QByteArray stdoutText;
  while (!stdoutText.contains(out.path().toUtf8()) && p.state() == QProcess::Running) {
    p.waitForReadyRead(1000);
    stdoutText += p.readAllStandardOutput();
  }
  ASSERT_EQ(p.state(), QProcess::Running) << stdoutText.toStdString();
  ::kill(pid_t(p.processId()), SIGINT);
  ASSERT_TRUE(p.waitForFinished(120000));
  stdoutText += p.readAllStandardOutput();
  const QString err = QString::fromUtf8(p.readAllStandardError());

  EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(p.exitCode(), 130);
  EXPECT_TRUE(err.contains("Stopping...")) << err.toStdString();
  EXPECT_TRUE(err.contains(QRegularExpression("Stopped after \\d+ of \\d+ items\\."))) << err.toStdString();
  // What the folder holds is exactly what was reported, all of it whole.
  QStringList reported;
  for (const QString& line : QString::fromUtf8(stdoutText).split('\n'))
    if (line.startsWith(out.path())) reported << QFileInfo(line).fileName();
  const QStringList files = QDir(out.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
  EXPECT_EQ(files, reported);
  const QRegularExpression total("Stopped after (\\d+) of (\\d+) items");
  const auto m = total.match(err);
  ASSERT_TRUE(m.hasMatch());
  EXPECT_EQ(files.size(), m.captured(1).toInt());
  EXPECT_LT(files.size(), m.captured(2).toInt());
  for (const QString& f : files) {
    const QByteArray pdf = ordolo::test::readFile(out.filePath(f));
    EXPECT_TRUE(pdf.startsWith("%PDF-")) << f.toStdString();
    EXPECT_TRUE(pdf.right(32).contains("%%EOF")) << f.toStdString();
  }
}

}  // namespace
