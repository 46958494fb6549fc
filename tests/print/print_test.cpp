// The print outputs against a private cupsd (tests/support/CupsServer.h),
// the real LibreOffice and real folders. What CUPS printed is what its
// capture backend wrote; pdftotext reads it back.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSysInfo>
#include <QTemporaryDir>

#include "lang/Messages.h"
#include "print/Cups.h"
#include "print/Outputs.h"
#include "support/CupsServer.h"
#include "support/ScriptedPort.h"
#include "support/TempCleanup.h"
#include "support/TestEnv.h"
#include "util/Desktop.h"
#include "util/Folders.h"

using namespace ordolo;
using lang::Msg;
using print::Cups;
using print::FolderOutput;
using print::Job;
using print::JobState;
using print::QueueOptions;
using print::QueueOutput;
using print::ShowOutput;
using test::CupsServer;
using test::CupsSuite;
using test::readFile;
using test::pdfText;
using test::ScopedEnv;
using test::writeFile;

namespace {

// A one-page PDF showing `text`, written by hand so that no conversion is
// needed to have one.
QByteArray onePagePdf(const QByteArray& text) {
  const QByteArray content = "BT /F1 24 Tf 72 720 Td (" + text + ") Tj ET";
  const QList<QByteArray> objects = {
      "<< /Type /Catalog /Pages 2 0 R >>",
      "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
      "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Resources << /Font << /F1 4 0 R >> >> "
      "/Contents 5 0 R >>",
      "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
      "<< /Length " + QByteArray::number(content.size()) + " >>\nstream\n" + content + "\nendstream",
  };
  QByteArray pdf = "%PDF-1.4\n";
  QList<int> offsets;
  for (int i = 0; i < objects.size(); ++i) {
    offsets << pdf.size();
    pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const int xref = pdf.size();
  pdf += "xref\n0 " + QByteArray::number(objects.size() + 1) + "\n0000000000 65535 f \n";
  for (int o : offsets) pdf += QByteArray::number(o).rightJustified(10, '0') + " 00000 n \n";
  pdf += "trailer\n<< /Size " + QByteArray::number(objects.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
         QByteArray::number(xref) + "\n%%EOF\n";
  return pdf;
}

QString copyOf(const QString& fixture, const QString& to) {
  QDir().mkpath(QFileInfo(to).absolutePath());
  QFile::remove(to);
  QFile::copy(QStringLiteral(ORDOLO_TEST_DATA "/word/") + fixture, to);
  return to;
}

QString script(const QString& path, const QByteArray& body) {
  writeFile(path, "#!/bin/sh\n" + body);
  QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  return path;
}

int lineCount(const QString& file) { return int(readFile(file).count('\n')); }

// Every name in a folder, hidden ones included.
QStringList everything(const QString& folder) {
  QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
  names.sort();
  return names;
}

class PrintTest : public CupsSuite {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_->ok()) << server_->error().toStdString();
    ASSERT_TRUE(tmp_.isValid());
  }

  // Makes a queue once per run.
  static void queue(const QString& name, bool cancelJobs = false) {
    if (Cups().queue(name).exists) return;
    QString out;
    ASSERT_TRUE(server_->addQueue(name, cancelJobs, &out)) << out.toStdString();
  }
  static void tool(const QString& name, const QStringList& args) {
    QString out;
    ASSERT_TRUE(server_->run(name, args, &out)) << name.toStdString() << ": " << out.toStdString();
  }

  QString path(const QString& name) const { return tmp_.path() + QLatin1Char('/') + name; }
  // An soffice that counts its runs in soffice.log.
  QString countingSoffice() {
    return script(path(QStringLiteral("soffice")),
                  "echo run >> '" + QFile::encodeName(path(QStringLiteral("soffice.log"))) + "'\nexec '" +
                      QFile::encodeName(office::convert::Converter::findProgram()) + "' \"$@\"\n");
  }

  QTemporaryDir tmp_;
};

// Through the kept LibreOffice processes, side by side: each document goes
// to the queue once it and those before it are converted, attachments in
// their places, in the order added.
TEST_F(PrintTest, WarmConvertersKeepTheQueueInTheOrderAdded) {
  queue(QStringLiteral("warmq"));
  ScopedEnv mode("ORDOLO_CONVERTER", QByteArray("warm"));
  ScopedEnv two("ORDOLO_CONVERTERS", QByteArray("2"));
  writeFile(path(QStringLiteral("attachment.pdf")), onePagePdf("Attached paper"));
  QueueOutput out(QStringLiteral("warmq"));
  QString error;
  ASSERT_TRUE(out.prepare(&error)) << error.toStdString();
  QStringList names;
  for (int i = 0; i < 6; ++i) {
    const bool memo = i % 3 == 0, attachment = i % 3 == 1;
    names << QStringLiteral("%1 %2").arg(memo ? "Memo" : attachment ? "Attachment" : "Report").arg(i);
    if (attachment) {
      out.add({path(QStringLiteral("attachment.pdf")), names.back(), false});
      continue;
    }
    const QString source = memo ? QStringLiteral("memo.docx") : QStringLiteral("report.docx");
    out.add({copyOf(source, path(QStringLiteral("warm/%1.docx").arg(i))), names.back()});
  }
  const QStringList before = server_->captured();
  ASSERT_TRUE(out.flush()) << out.errors().join('\n').toStdString();
  QStringList files = server_->captured();
  for (const QString& f : before) files.removeAll(f);
  ASSERT_EQ(files.size(), 6) << server_->errorLog().toStdString();
  for (int i = 0; i < 6; ++i) {
    EXPECT_TRUE(QFileInfo(files[i]).fileName().endsWith("-" + names[i])) << files[i].toStdString();
    const QString text = pdfText(files[i]);
    EXPECT_TRUE(text.contains(i % 3 == 0   ? "Subject:"
                              : i % 3 == 1 ? "Attached paper"
                                           : "Closing line"))
        << i << text.toStdString();
  }
}

TEST_F(PrintTest, QueuePrintsEachFileAsOneJobInOrderConvertingInOneRun) {
  queue(QStringLiteral("capq"));
  ScopedEnv soffice("ORDOLO_SOFFICE", QFile::encodeName(countingSoffice()));
  writeFile(path(QStringLiteral("attachment.pdf")), onePagePdf("Attached paper"));

  QueueOutput out(QStringLiteral("capq"));
  QString error;
  ASSERT_TRUE(out.prepare(&error)) << error.toStdString();
  QStringList progress;
  out.setProgress([&](const QString& what, int, int) { progress << what; });
  out.add({copyOf(QStringLiteral("memo.docx"), path(QStringLiteral("in/memo.docx"))), QStringLiteral("Memo for Anna")});
  out.add({path(QStringLiteral("attachment.pdf")), QStringLiteral("attachment.pdf"), false});
  out.add({copyOf(QStringLiteral("report.docx"), path(QStringLiteral("in/report.docx"))), QStringLiteral("Report")});
  const QStringList before = server_->captured();
  ASSERT_TRUE(out.flush()) << out.errors().join('\n').toStdString();
  EXPECT_TRUE(out.errors().isEmpty());
  EXPECT_EQ(lineCount(path(QStringLiteral("soffice.log"))), 1);

  // One job each, named as asked, in the order added, each one completed
  // (and its file written) by the time flush returns.
  const QStringList delivered = out.delivered();
  ASSERT_EQ(delivered.size(), 3);
  QStringList files = server_->captured();
  for (const QString& f : before) files.removeAll(f);
  ASSERT_EQ(files.size(), 3) << server_->errorLog().toStdString();
  const QStringList names = {QStringLiteral("Memo for Anna"), QStringLiteral("attachment.pdf"),
                             QStringLiteral("Report")};
  Cups cups;
  for (int i = 0; i < 3; ++i) {
    const int id = delivered[i].section(QLatin1Char(' '), 0, 0).section(QLatin1Char('-'), -1).toInt();
    EXPECT_EQ(delivered[i], QStringLiteral("capq-%1 %2").arg(id).arg(names[i]));
    EXPECT_EQ(QFileInfo(files[i]).fileName(), QStringLiteral("job-%1-%2").arg(id).arg(names[i]));
    EXPECT_EQ(cups.jobState(id), JobState::Completed);
    EXPECT_EQ(cups.job(id).name, names[i]);
  }
  EXPECT_TRUE(pdfText(files[0]).contains(QLatin1String("Subject:"))) << pdfText(files[0]).toStdString();
  EXPECT_EQ(readFile(files[1]), readFile(path(QStringLiteral("attachment.pdf"))));
  EXPECT_TRUE(pdfText(files[2]).contains(QLatin1String("Closing line"))) << pdfText(files[2]).toStdString();
  EXPECT_TRUE(cups.activeJobs(QStringLiteral("capq")).empty());

  EXPECT_TRUE(progress.contains(lang::text(Msg::PrintConverting).arg(2).arg(2))) << progress.join('|').toStdString();
  EXPECT_EQ(progress.mid(progress.size() - 3),
            QStringList({lang::text(Msg::PrintPrinting).arg(1).arg(3), lang::text(Msg::PrintPrinting).arg(2).arg(3),
                         lang::text(Msg::PrintPrinting).arg(3).arg(3)}));
  // Nothing left to do: a second flush sends nothing.
  EXPECT_TRUE(out.flush());
  EXPECT_EQ(out.delivered().size(), 3);
}

TEST_F(PrintTest, QueuePrepareNamesWhatIsWrong) {
  queue(QStringLiteral("capq"));
  QString error;
  EXPECT_FALSE(QueueOutput(QStringLiteral("nosuchqueue")).prepare(&error));
  EXPECT_TRUE(error.contains(QLatin1String("nosuchqueue"))) << error.toStdString();

  // A queue that turns jobs away, with the operator's reason.
  queue(QStringLiteral("rejq"));
  tool(QStringLiteral("cupsreject"), {QStringLiteral("-r"), QStringLiteral("Out of paper"), QStringLiteral("rejq")});
  error.clear();
  EXPECT_FALSE(QueueOutput(QStringLiteral("rejq")).prepare(&error));
  EXPECT_TRUE(error.contains(QLatin1String("rejq")) && error.contains(QLatin1String("Out of paper")))
      << error.toStdString();

  // No queue given: the server's default, when it has one.
  error.clear();
  {
    ScopedEnv noPrinter("PRINTER", std::nullopt), noLpdest("LPDEST", std::nullopt);
    if (Cups().defaultQueue().isEmpty()) {
      EXPECT_FALSE(QueueOutput(QString()).prepare(&error));
      EXPECT_EQ(error, lang::text(Msg::ErrNoDefaultQueue));
    }
    tool(QStringLiteral("lpadmin"), {QStringLiteral("-d"), QStringLiteral("capq")});
    QueueOutput byDefault{QString()};
    EXPECT_TRUE(byDefault.prepare(&error)) << error.toStdString();
    EXPECT_EQ(byDefault.queue(), QStringLiteral("capq"));
  }

  // A CUPS that is not running.
  const QString dead = path(QStringLiteral("dead.sock"));
  ScopedEnv deadServer("CUPS_SERVER", QFile::encodeName(dead));
  error.clear();
  EXPECT_FALSE(Cups().reachable());
  EXPECT_FALSE(QueueOutput(QStringLiteral("capq")).prepare(&error));
  EXPECT_TRUE(error.contains(dead)) << error.toStdString();
  EXPECT_EQ(Cups().jobState(1), JobState::Unknown);
}

TEST_F(PrintTest, QueueReportsJobsThatFailOrDoNotFinishAndGoesOn) {
  writeFile(path(QStringLiteral("a.pdf")), onePagePdf("A"));
  writeFile(path(QStringLiteral("b.pdf")), onePagePdf("B"));
  QueueOptions quick;
  quick.waitMs = 300;
  quick.pollMs = 20;

  // A stopped queue takes jobs but prints none: each waits its bounded time,
  // is reported, and the next one still goes out.
  queue(QStringLiteral("stuckq"));
  tool(QStringLiteral("cupsdisable"), {QStringLiteral("stuckq")});
  QueueOutput stuck(QStringLiteral("stuckq"), quick);
  QString error;
  ASSERT_TRUE(stuck.prepare(&error)) << error.toStdString();
  stuck.add({path(QStringLiteral("a.pdf")), QStringLiteral("First stuck job"), false});
  stuck.add({path(QStringLiteral("b.pdf")), QStringLiteral("Second stuck job"), false});
  EXPECT_FALSE(stuck.flush());
  ASSERT_EQ(stuck.errors().size(), 2);
  EXPECT_TRUE(stuck.errors()[0].contains(QLatin1String("First stuck job")) &&
              stuck.errors()[0].contains(QLatin1String("stuckq")))
      << stuck.errors()[0].toStdString();
  EXPECT_TRUE(stuck.errors()[1].contains(QLatin1String("Second stuck job")));
  EXPECT_TRUE(stuck.delivered().isEmpty());
  // Both still wait in the queue, found by part of their name.
  Cups cups;
  EXPECT_EQ(cups.activeJobs(QStringLiteral("stuckq")).size(), 2u);
  const auto second = cups.findActiveJob(QStringLiteral("stuckq"), QStringLiteral("SECOND stuck"));
  ASSERT_TRUE(second.has_value());
  EXPECT_EQ(second->name, QStringLiteral("Second stuck job"));
  EXPECT_EQ(second->state, JobState::Pending);
  EXPECT_FALSE(cups.findActiveJob(QStringLiteral("stuckq"), QStringLiteral("third")).has_value());

  // A job the printer cancels is an error naming it, not a wait.
  queue(QStringLiteral("cancelq"), true);
  QueueOptions patient;
  patient.waitMs = 20000;
  QueueOutput canceling(QStringLiteral("cancelq"), patient);
  canceling.add({path(QStringLiteral("a.pdf")), QStringLiteral("Doomed job"), false});
  EXPECT_FALSE(canceling.flush());
  ASSERT_EQ(canceling.errors().size(), 1);
  EXPECT_TRUE(canceling.errors()[0].contains(QLatin1String("Doomed job")) &&
              canceling.errors()[0].contains(QLatin1String("canceled")))
      << canceling.errors()[0].toStdString();

  // A queue that turns jobs away after prepare: CUPS's reason, per job; a
  // missing file is named without asking CUPS.
  queue(QStringLiteral("closingq"));
  QueueOutput closing(QStringLiteral("closingq"));
  ASSERT_TRUE(closing.prepare(&error)) << error.toStdString();
  tool(QStringLiteral("cupsreject"), {QStringLiteral("closingq")});
  closing.add({path(QStringLiteral("a.pdf")), QStringLiteral("Refused job"), false});
  closing.add({path(QStringLiteral("gone.pdf")), QStringLiteral("Lost job"), false});
  EXPECT_FALSE(closing.flush());
  ASSERT_EQ(closing.errors().size(), 2);
  EXPECT_TRUE(closing.errors()[0].startsWith(
      lang::text(Msg::ErrPrintSubmit).arg(QStringLiteral("Refused job"), QStringLiteral("closingq"), QString())))
      << closing.errors()[0].toStdString();
  EXPECT_GT(closing.errors()[0].size(), lang::text(Msg::ErrPrintSubmit).size() + 20);
  EXPECT_TRUE(closing.errors()[1].contains(QLatin1String("Lost job")) &&
              closing.errors()[1].contains(QLatin1String("gone.pdf")));
}

// A stop request ends the wait for a job that does not print; what was
// given to the output still goes to the queue, without further waits.
TEST_F(PrintTest, AStopRequestEndsTheWaitOnAQueueThatDoesNotPrint) {
  writeFile(path(QStringLiteral("a.pdf")), onePagePdf("A"));
  writeFile(path(QStringLiteral("b.pdf")), onePagePdf("B"));
  queue(QStringLiteral("pausedq"));
  tool(QStringLiteral("cupsdisable"), {QStringLiteral("pausedq")});
  QueueOptions patient;
  patient.waitMs = 60000;  // without the stop, each job would wait this long and fail
  patient.pollMs = 20;
  QueueOutput paused(QStringLiteral("pausedq"), patient);
  std::atomic<bool> stop{false};
  paused.setStopFlag(&stop);
  QString error;
  ASSERT_TRUE(paused.prepare(&error)) << error.toStdString();
  paused.add({path(QStringLiteral("a.pdf")), QStringLiteral("Paused one"), false});
  paused.add({path(QStringLiteral("b.pdf")), QStringLiteral("Paused two"), false});
  std::thread user([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    stop = true;
  });
  const bool ok = paused.flush();
  user.join();
  EXPECT_TRUE(ok) << paused.errors().join("; ").toStdString();
  EXPECT_EQ(paused.delivered().size(), 2);
  EXPECT_EQ(Cups().activeJobs(QStringLiteral("pausedq")).size(), 2u);
}

TEST_F(PrintTest, PdfFolderWritesOnePdfPerJobAndNothingForAFailure) {
  ScopedEnv soffice("ORDOLO_SOFFICE", QFile::encodeName(countingSoffice()));
  const QString folder = path(QStringLiteral("pdfs/made/here"));
  writeFile(folder + QStringLiteral("/Report.pdf"), "an older report");
  writeFile(path(QStringLiteral("scan.pdf")), onePagePdf("Scanned page"));
  writeFile(path(QStringLiteral("in/broken.docx")), "this is no zip");

  FolderOutput out(folder, true);
  QString error;
  ASSERT_TRUE(out.prepare(&error)) << error.toStdString();
  out.add({copyOf(QStringLiteral("memo.docx"), path(QStringLiteral("in/memo.docx"))),
           QStringLiteral("Memo: März/April")});
  out.add({path(QStringLiteral("in/broken.docx")), QStringLiteral("Broken letter")});
  out.add({path(QStringLiteral("scan.pdf")), QStringLiteral("Scan"), false});
  out.add({copyOf(QStringLiteral("report.docx"), path(QStringLiteral("in/report.docx"))), QStringLiteral("Report")});
  out.add({copyOf(QStringLiteral("memo.docx"), path(QStringLiteral("in/other/memo.docx"))), QStringLiteral("Report")});
  EXPECT_FALSE(out.flush());
  EXPECT_EQ(lineCount(path(QStringLiteral("soffice.log"))), 1);

  ASSERT_EQ(out.errors().size(), 1);
  EXPECT_TRUE(out.errors()[0].contains(QLatin1String("Broken letter"))) << out.errors()[0].toStdString();
  EXPECT_EQ(everything(folder), QStringList({QStringLiteral("Memo: März_April.pdf"), QStringLiteral("Report (2).pdf"),
                                             QStringLiteral("Report.pdf"), QStringLiteral("Scan.pdf")}));
  EXPECT_EQ(out.delivered(),
            QStringList({folder + QStringLiteral("/Memo: März_April.pdf"), folder + QStringLiteral("/Scan.pdf"),
                         folder + QStringLiteral("/Report.pdf"), folder + QStringLiteral("/Report (2).pdf")}));
  EXPECT_TRUE(pdfText(folder + QStringLiteral("/Memo: März_April.pdf")).contains(QLatin1String("Subject:")));
  EXPECT_EQ(readFile(folder + QStringLiteral("/Scan.pdf")), readFile(path(QStringLiteral("scan.pdf"))));
  // The older file of that name is replaced; the second "Report" gets its own.
  EXPECT_TRUE(pdfText(folder + QStringLiteral("/Report.pdf")).contains(QLatin1String("Closing line")));
  EXPECT_TRUE(pdfText(folder + QStringLiteral("/Report (2).pdf")).contains(QLatin1String("Subject:")));
  // The sources are left as they were.
  EXPECT_TRUE(QFileInfo::exists(path(QStringLiteral("in/memo.docx"))));
  EXPECT_TRUE(QFileInfo::exists(path(QStringLiteral("scan.pdf"))));
}

TEST_F(PrintTest, SaveFolderKeepsTheFilledFileAndRefusesAFolderItCannotMake) {
  const QString folder = path(QStringLiteral("saved"));
  writeFile(path(QStringLiteral("photo.png")), "\x89PNG not really");
  // A half-written file left by a process killed mid-write goes; one that a
  // living process is writing stays.
  const pid_t gone = fork();
  if (gone == 0) _exit(0);
  waitpid(gone, nullptr, 0);
  QString host = QSysInfo::machineHostName();
  host.replace('-', '_');
  const QString stale = folder + QStringLiteral("/.ordolo-part-%1-%2-1").arg(host).arg(gone);
  const QString busy = folder + QStringLiteral("/.ordolo-part-%1-%2-7").arg(host).arg(getppid());
  const QString elsewhere = folder + QStringLiteral("/.ordolo-part-otherhost-%1-1").arg(gone);
  writeFile(stale, "half a PDF");
  writeFile(busy, "half a PDF");
  writeFile(elsewhere, "half a PDF");
  FolderOutput out(folder, false);
  QString error;
  ASSERT_TRUE(out.prepare(&error)) << error.toStdString();
  EXPECT_FALSE(QFileInfo::exists(stale));
  EXPECT_TRUE(QFile::remove(busy));
  EXPECT_TRUE(QFile::remove(elsewhere));  // another machine's, in a shared folder
  out.add({copyOf(QStringLiteral("memo.docx"), path(QStringLiteral("in/filled.docx"))), QStringLiteral("Letter")});
  out.add({path(QStringLiteral("photo.png")), QStringLiteral("Photo"), false});
  out.add({path(QStringLiteral("in/missing.docx")), QStringLiteral("Missing")});
  EXPECT_FALSE(out.flush());
  ASSERT_EQ(out.errors().size(), 1);
  EXPECT_TRUE(out.errors()[0].contains(QLatin1String("Missing")));
  EXPECT_EQ(everything(folder), QStringList({QStringLiteral("Letter.docx"), QStringLiteral("Photo.png")}));
  EXPECT_EQ(readFile(folder + QStringLiteral("/Letter.docx")), readFile(path(QStringLiteral("in/filled.docx"))));
  EXPECT_EQ(readFile(folder + QStringLiteral("/Photo.png")), readFile(path(QStringLiteral("photo.png"))));

  // Below a file no folder can be made, not even by root.
  writeFile(path(QStringLiteral("plain")), "x");
  const QString impossible = path(QStringLiteral("plain/sub"));
  FolderOutput nowhere(impossible, false);
  EXPECT_FALSE(nowhere.prepare(&error));
  EXPECT_EQ(error, lang::text(Msg::ErrOutputFolder).arg(impossible));
  nowhere.add({path(QStringLiteral("photo.png")), QStringLiteral("Photo"), false});
  EXPECT_FALSE(nowhere.flush());
  EXPECT_EQ(nowhere.errors().size(), 1);
}

TEST_F(PrintTest, ShowOpensEachSavedFileInOrder) {
  const QString log = path(QStringLiteral("opened.log"));
  ScopedEnv opener("ORDOLO_OPENER",
                   QFile::encodeName(script(path(QStringLiteral("opener")),
                                            "printf '%s\\n' \"$1\" >> '" + QFile::encodeName(log) + "'\n")));
  const QString folder = path(QStringLiteral("shown"));
  ShowOutput out(folder, nullptr);
  QString error;
  ASSERT_TRUE(out.prepare(&error)) << error.toStdString();
  out.add({copyOf(QStringLiteral("memo.docx"), path(QStringLiteral("in/a.docx"))), QStringLiteral("Second memo")});
  out.add({copyOf(QStringLiteral("report.docx"), path(QStringLiteral("in/b.docx"))), QStringLiteral("First report")});
  ASSERT_TRUE(out.flush()) << out.errors().join('\n').toStdString();
  const QStringList expected = {folder + QStringLiteral("/Second memo.docx"),
                                folder + QStringLiteral("/First report.docx")};
  EXPECT_EQ(out.delivered(), expected);
  EXPECT_EQ(QString::fromUtf8(readFile(log)).split('\n', Qt::SkipEmptyParts), expected);
  for (const QString& f : expected) EXPECT_TRUE(QFileInfo(f).isFile()) << f.toStdString();
}

TEST_F(PrintTest, ShowTellsTheUserWhatTheDesktopCouldNotOpen) {
  ScopedEnv opener("ORDOLO_OPENER", QFile::encodeName(script(path(QStringLiteral("failing-opener")), "exit 4\n")));
  test::ScriptedPort port;
  ShowOutput out(path(QStringLiteral("shown")), &port);
  QString error;
  ASSERT_TRUE(out.prepare(&error)) << error.toStdString();
  out.add({copyOf(QStringLiteral("memo.docx"), path(QStringLiteral("in/a.docx"))), QStringLiteral("Memo")});
  EXPECT_FALSE(out.flush());
  const QString file = path(QStringLiteral("shown/Memo.docx"));
  EXPECT_EQ(port.messages, QStringList{lang::text(Msg::ProblemStarting) + QStringLiteral("29)")});
  EXPECT_EQ(out.errors(), QStringList{lang::text(Msg::ErrOutputOpen).arg(file).arg(util::kOpenFailed)});

  // The texts for the other results; a type without a program is not told.
  const QString url = QStringLiteral("https://example.invalid/x");
  EXPECT_EQ(print::OpenFailureText(util::kOpenBadUrl, url), lang::text(Msg::UrlNotValid) + url);
  EXPECT_EQ(print::OpenFailureText(util::kOpenFileNotFound, file),
            lang::text(Msg::ProblemStarting) + QStringLiteral("2)"));
  EXPECT_EQ(print::OpenFailureText(util::kOpenNoAssociation, file), QString());
  EXPECT_EQ(print::OpenFailureText(util::kOpenStarted, file), QString());
}

}  // namespace
