// Faults of the world outside, injected under the print command as a user
// runs it: LibreOffice missing, hanging or killed, CUPS down before or during
// the run, a queue stopped or turning jobs away, the output folder removed
// mid-run. Each ends in a message naming what went wrong, exit status 1, the
// store as it was, and no half-written output.
#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>

#include <optional>

#include "app/RunOrdolo.h"
#include "support/BadMails.h"
#include "support/CupsServer.h"

namespace {

using Result = ordolo::test::CliResult;

const QString kStore = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store");
const QString kMemo = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/templates/MMemo.dotx");

// Every file below a folder, names and contents, as one digest.
QByteArray treeDigest(const QString& root) {
  QStringList files;
  for (QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); it.hasNext();)
    files << it.next();
  files.sort();
  QCryptographicHash hash(QCryptographicHash::Sha256);
  for (const QString& f : files) {
    QFile file(f);
    hash.addData(f.toUtf8());
    if (file.open(QIODevice::ReadOnly)) hash.addData(file.readAll());
  }
  return hash.result().toHex();
}

// Files a run left in a folder that are not whole documents.
QStringList leftovers(const QString& folder) {
  QStringList odd;
  for (const QString& f : QDir(folder).entryList(QDir::Files | QDir::Hidden))
    if (!f.endsWith(QLatin1String(".pdf")) || f.startsWith(QLatin1Char('.'))) odd << f;
  return odd;
}

QString script(const QString& folder, const QString& name, const QByteArray& body) {
  const QString path = folder + QLatin1Char('/') + name;
  QFile f(path);
  EXPECT_TRUE(f.open(QIODevice::WriteOnly));
  f.write("#!/bin/sh\n" + body);
  f.close();
  f.setPermissions(f.permissions() | QFileDevice::ExeOwner);
  return path;
}

class Faults : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(ordolo({"lang", "load", "english"}).code, 0);
    storeBefore = treeDigest(kStore);
  }
  // Whatever happened, the store is as it was.
  void TearDown() override { EXPECT_EQ(treeDigest(kStore), storeBefore) << "the store was changed"; }

  Result ordolo(const QStringList& args, const QMap<QString, QString>& extra = {}) {
    return ordolo::test::RunOrdolo(home.path(), args, "en_US.UTF-8", extra);
  }
  QStringList printArgs(const QStringList& output, const QString& items = {}) {
    QStringList args{"print", "--store", kStore, "--folder", "Inbox", "--template", kMemo};
    if (!items.isEmpty()) args << "--items" << items;
    return args + output;
  }
  // The entry ids of the first n mails of the inbox.
  QString firstMails(int n) {
    const QStringList lines = ordolo({"list", "--store", kStore, "--folder", "Inbox"}).out.split('\n');
    QStringList ids;
    for (int i = 0; i < n && i < lines.size(); ++i) ids << lines[i].section('\t', 0, 0);
    return ids.join(',');
  }

  QTemporaryDir home, out;
  QByteArray storeBefore;
};

TEST_F(Faults, LibreOfficeMissingHangingOrKilledIsNamedPerDocumentAndLosesNothing) {
  // Named by ORDOLO_SOFFICE but not there: refused before anything is made.
  const QString pdf = out.filePath("pdf");
  Result r = ordolo(printArgs({"--pdf", pdf}), {{"ORDOLO_SOFFICE", out.filePath("no/soffice")}});
  EXPECT_EQ(r.code, 1);
  EXPECT_TRUE(r.err.contains("The LibreOffice program " + out.filePath("no/soffice") +
                             " (ORDOLO_SOFFICE) is missing or cannot be run."))
      << r.err.toStdString();
  EXPECT_FALSE(QFileInfo::exists(pdf));

  // Not installed at all.
  QDir().mkpath(out.filePath("emptybin"));
  r = ordolo(printArgs({"--pdf", pdf}), {{"PATH", out.filePath("emptybin")}});
  EXPECT_EQ(r.code, 1);
  EXPECT_TRUE(r.err.contains("LibreOffice was not found; install libreoffice-writer-nogui")) << r.err.toStdString();
  EXPECT_FALSE(QFileInfo::exists(pdf));

  // Hanging: stopped after the user's Convert.Timeout, each document named,
  // the hanging process gone.
  ASSERT_EQ(ordolo({"options", "set", "Convert.Timeout", "4"}).code, 0);
  const QString marker = QFileInfo(out.path()).fileName();
  const QString hang = script(out.path(), "hang.sh", "exec sleep 600 # " + marker.toUtf8() + "\n");
  r = ordolo(printArgs({"--pdf", pdf}, firstMails(2)), {{"ORDOLO_SOFFICE", hang}});
  EXPECT_EQ(r.code, 1);
  for (const char* doc : {"MMemo-001", "MMemo-002"})
    EXPECT_TRUE(r.err.contains(QRegularExpression(QString(doc) +
                                                  " was not converted to PDF: LibreOffice did not convert \\S+ "
                                                  "within \\d+ seconds and was stopped.")))
        << doc << "\n"
        << r.err.toStdString();
  EXPECT_TRUE(QDir(pdf).entryList(QDir::Files | QDir::Hidden).isEmpty());
  QProcess pgrep;
  pgrep.start("pgrep", {"-f", marker});
  pgrep.waitForFinished();
  EXPECT_EQ(pgrep.exitCode(), 1) << "still running: " << pgrep.readAll().toStdString();

  // Killed while it works: the document it had in hand is named, every
  // other one is delivered whole by a fresh LibreOffice.
  ASSERT_EQ(ordolo({"options", "set", "Convert.Timeout", "0"}).code, 0);
  const QString killed = script(out.path(), "killed.sh",
                                "soffice \"$@\" &\n"
                                "case \"$*\" in *pdf*)\n"
                                "  if mkdir \"$(dirname \"$0\")/killed-once\" 2>/dev/null; then\n"
                                "    while ! pgrep -g 0 -f soffice.bin >/dev/null; do sleep 0.02; done\n"
                                "    sleep 0.5; pkill -9 -g 0 -f soffice.bin\n"
                                "  fi ;;\n"
                                "esac\n"
                                "wait $!\n");
  r = ordolo(printArgs({"--pdf", pdf}), {{"ORDOLO_SOFFICE", killed}});
  EXPECT_EQ(r.code, 1);
  const QStringList crashed = r.err.split('\n').filter("LibreOffice stopped unexpectedly while converting");
  EXPECT_EQ(crashed.size(), 1) << r.err.toStdString();
  EXPECT_EQ(QDir(pdf).entryList({"MMemo-*.pdf"}, QDir::Files).size(), 12) << r.err.toStdString();
  EXPECT_TRUE(leftovers(pdf).isEmpty()) << leftovers(pdf).join(' ').toStdString();
}

TEST_F(Faults, CupsDownStoppedOrRefusingIsNamedAndTheRunEnds) {
  // Not running at all.
  Result r = ordolo(printArgs({"--printer", "capq"}), {{"CUPS_SERVER", out.filePath("no-cups.sock")}});
  EXPECT_EQ(r.code, 1);
  EXPECT_TRUE(r.err.contains("The print system CUPS (" + out.filePath("no-cups.sock") +
                             ") is not running or cannot be reached"))
      << r.err.toStdString();

  ordolo::test::CupsServer cups;
  ASSERT_TRUE(cups.ok()) << cups.error().toStdString();
  const QMap<QString, QString> server{{"CUPS_SERVER", cups.socket()}};

  // A queue that turns jobs away: refused before anything is converted.
  ASSERT_TRUE(cups.addQueue("closedq"));
  ASSERT_TRUE(cups.run("cupsreject", {"-r", "out of paper", "closedq"}));
  r = ordolo(printArgs({"--printer", "closedq"}), server);
  EXPECT_EQ(r.code, 1);
  EXPECT_TRUE(r.err.contains("closedq") && r.err.contains("out of paper")) << r.err.toStdString();

  // A stopped queue: each job waits the user's Print.JobWait, is named, and
  // stays queued for when the printer comes back.
  ASSERT_TRUE(cups.addQueue("stoppedq"));
  ASSERT_TRUE(cups.run("cupsdisable", {"stoppedq"}));
  ASSERT_EQ(ordolo({"options", "set", "Print.JobWait", "2"}).code, 0);
  r = ordolo(printArgs({"--printer", "stoppedq"}, firstMails(2)), server);
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err.split('\n').filter(QRegularExpression("MMemo-00[12].*stoppedq")).size(), 2) << r.err.toStdString();
  QString jobs;
  cups.run("lpstat", {"-o", "stoppedq"}, &jobs);
  EXPECT_EQ(jobs.split('\n', Qt::SkipEmptyParts).size(), 2) << jobs.toStdString();
  EXPECT_TRUE(cups.captured().isEmpty());

  // CUPS killed in the middle of a run: what was printed stays printed, the
  // rest is named, and the program ends by itself.
  ASSERT_TRUE(cups.addQueue("capq"));
  QProcess p;
  p.setProcessEnvironment(ordolo::test::OrdoloEnvironment(home.path(), "en_US.UTF-8", server));
  p.start(ORDOLO_BINARY, printArgs({"--printer", "capq"}));
  ASSERT_TRUE(p.waitForStarted());
  for (int waited = 0; cups.captured().isEmpty() && p.state() == QProcess::Running && waited < 120000; waited += 20)
    QThread::msleep(20);
  const int printed = int(cups.captured().size());
  ASSERT_GT(printed, 0) << p.readAllStandardError().toStdString();
  cups.crash();
  ASSERT_TRUE(p.waitForFinished(180000));
  const QString err = QString::fromUtf8(p.readAllStandardError());
  EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(p.exitCode(), 1) << err.toStdString();
  EXPECT_TRUE(err.contains("capq")) << err.toStdString();
  EXPECT_LT(printed, 13);
}

TEST_F(Faults, AnOutputFolderRemovedMidRunIsNamedAndNothingIsWrittenElsewhere) {
  const QString pdf = out.filePath("pdf");
  QProcess p;
  p.setProcessEnvironment(ordolo::test::OrdoloEnvironment(home.path()));
  p.start(ORDOLO_BINARY, printArgs({"--attachments", "--pdf", pdf}));
  ASSERT_TRUE(p.waitForStarted());
  for (int waited = 0;
       QDir(pdf).entryList({"*.pdf"}, QDir::Files).isEmpty() && p.state() == QProcess::Running && waited < 120000;
       waited += 10)
    QThread::msleep(10);
  // The run may put a file in while the folder is being removed: again until it is gone.
  for (int tries = 0; tries < 100 && !QDir(pdf).removeRecursively(); ++tries) QThread::msleep(10);
  ASSERT_FALSE(QFileInfo::exists(pdf));
  ASSERT_TRUE(p.waitForFinished(180000));
  const QString err = QString::fromUtf8(p.readAllStandardError());
  EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(p.exitCode(), 1) << err.toStdString();
  EXPECT_TRUE(err.contains(pdf)) << err.toStdString();
  // Nothing was put anywhere else under the scratch folder.
  EXPECT_EQ(QDir(out.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), QStringList{})
      << "left: " << QDir(out.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).join(' ').toStdString();
}

// A folder of good mails and the bad ones of support/BadMails.h: 10,000 parts, nested
// 2,000 levels deep, yEnc parts declaring 1.4 and 2 GB, random bytes, an
// empty file. Listing and printing it gives every readable mail, and names
// each file that is no mail; none of them takes the folder down.
TEST_F(Faults, BadMailsNeverTakeTheirFolderDown) {
  QTemporaryDir root;
  for (const char* sub : {"Inbox/cur", "Inbox/new", "Inbox/tmp"}) QDir().mkpath(root.filePath(sub));
  const QStringList good = QDir(kStore + "/Inbox/cur").entryList(QDir::Files, QDir::Name).mid(0, 3);
  for (const QString& mail : good) QFile::copy(kStore + "/Inbox/cur/" + mail, root.filePath("Inbox/cur/" + mail));
  ASSERT_TRUE(ordolo::test::writeBadMails(root.filePath("Inbox/cur")));
  const QStringList bad = ordolo::test::badMailNonMails();
  const Result listed = ordolo({"list", "--store", root.path(), "--folder", "Inbox"});
  EXPECT_EQ(listed.code, 0) << listed.err.toStdString();
  EXPECT_EQ(listed.out.split('\n', Qt::SkipEmptyParts).size(), 7) << listed.out.toStdString();
  for (const char* subject : {"Ten thousand parts", "Nested deep", "yEnc absurd", "yEnc impossible"})
    EXPECT_TRUE(listed.out.contains(subject)) << subject;
  for (const QString& name : bad)
    EXPECT_TRUE(listed.err.contains("Skipped " + root.filePath("Inbox/cur/" + name) + ": it cannot be read ("))
        << listed.err.toStdString();

  const QString pdf = out.filePath("pdf");
  const Result printed = ordolo({"print", "--store", root.path(), "--folder", "Inbox", "--template", kMemo, "--pdf",
                                 pdf});
  EXPECT_EQ(printed.code, 0) << printed.err.toStdString();
  EXPECT_EQ(QDir(pdf).entryList({"MMemo-*.pdf"}, QDir::Files).size(), 6) << printed.err.toStdString();
  for (const QString& name : bad) EXPECT_TRUE(printed.err.contains(name)) << printed.err.toStdString();
  EXPECT_TRUE(printed.err.contains(ordolo::test::badMailUndecodable() + ": it cannot be read ("))
      << printed.err.toStdString();
  EXPECT_TRUE(leftovers(pdf).isEmpty());
}

// Runs a shell script in a user and mount namespace of its own, where it can
// mount a small tmpfs; nullopt (and the test skipped) where that is not allowed.
std::optional<QString> inOwnNamespace(const QString& script, const QMap<QString, QString>& extra) {
  QProcess probe;
  probe.start("unshare", {"-rm", "true"});
  if (!probe.waitForFinished(10000) || probe.exitCode() != 0) return std::nullopt;
  QProcess p;
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  env.insert("LANG", "en_US.UTF-8");
  env.remove("LC_ALL");
  for (auto it = extra.begin(); it != extra.end(); ++it) env.insert(it.key(), it.value());
  p.setProcessEnvironment(env);
  p.setProcessChannelMode(QProcess::MergedChannels);
  p.start("unshare", {"-rm", "sh", "-c", script});
  if (!p.waitForFinished(240000)) return QStringLiteral("(did not finish)");
  return QString::fromUtf8(p.readAll());
}

// A disk that fills up while filled documents are saved: each one that
// does not fit is named with the system's reason, and no part of one stays.
TEST_F(Faults, AFullDiskNamesEachSavedDocumentThatDidNotFit) {
  const QString small = out.filePath("small");
  QDir().mkpath(small);
  const auto said = inOwnNamespace(
      "mount -t tmpfs -o size=48k none \"$SMALL\" || exit 99; "
      "\"$ORDOLO\" print --store \"$STORE\" --folder Inbox --template \"$MEMO\" --save \"$SMALL\" 2>&1; "
      "echo \"exit $?\"; ls -a \"$SMALL\"",
      {{"SMALL", small}, {"ORDOLO", ORDOLO_BINARY}, {"STORE", kStore}, {"MEMO", kMemo}, {"ORDOLO_HOME", home.path()}});
  if (!said) GTEST_SKIP() << "no user namespaces here for a small file system";
  ASSERT_TRUE(said->contains("exit 1\n")) << said->toStdString();
  const QRegularExpression full(QRegularExpression::escape(small) +
                                "/(MMemo-\\d+\\.docx) cannot be written: No space left on device");
  QStringList failed;
  for (auto m = full.globalMatch(*said); m.hasNext();) failed << m.next().captured(1);
  EXPECT_FALSE(failed.isEmpty()) << said->toStdString();
  QStringList kept;
  for (const QString& f : said->section("exit 1\n", 1).split('\n', Qt::SkipEmptyParts))
    if (f != "." && f != "..") kept << f;
  EXPECT_FALSE(kept.isEmpty());
  for (const QString& f : kept) {
    EXPECT_TRUE(f.startsWith("MMemo-") && f.endsWith(".docx")) << "left behind: " << f.toStdString();
    EXPECT_FALSE(failed.contains(f)) << f.toStdString();
  }
  EXPECT_EQ(kept.size() + failed.size(), 13) << said->toStdString();
}

// The monitor's record of printed mails on a disk that fills up: it says
// which file it cannot write and why, and stops; the mails that came were
// printed first, so none is lost (after a restart one may print again).
TEST_F(Faults, TheMonitorStopsWithTheReasonWhenItsRecordCannotBeWritten) {
  QTemporaryDir root, pdf;
  for (const char* sub : {"Inbox/cur", "Inbox/new", "Inbox/tmp"}) QDir().mkpath(root.filePath(sub));
  const QStringList mails = QDir(kStore + "/Inbox/cur").entryList(QDir::Files, QDir::Name);
  const auto said = inOwnNamespace(
      "mount -t tmpfs -o size=100k none \"$ORDOLO_HOME/config\" || exit 99; "
      "\"$ORDOLO\" monitor --store \"$ROOT\" --folder Inbox --template MMemo.dotx --pdf \"$PDF\" 2>&1 & pid=$!; "
      "while [ ! -e \"$ORDOLO_HOME\"/config/*.sqlite ]; do sleep 0.1; done; sleep 1; "
      "dd if=/dev/zero of=\"$ORDOLO_HOME/config/filler\" bs=1k count=1000 2>/dev/null; "
      "for m in \"$M1\" \"$M2\"; do cp \"$STORE/Inbox/cur/$m\" \"$ROOT/Inbox/tmp/$m\"; "
      "mv \"$ROOT/Inbox/tmp/$m\" \"$ROOT/Inbox/new/$m\"; done; "
      "for i in $(seq 600); do kill -0 $pid 2>/dev/null || break; sleep 0.1; done; "
      "kill $pid 2>/dev/null; wait $pid; echo \"exit $?\"",
      {{"ORDOLO", ORDOLO_BINARY},
       {"ROOT", root.path()},
       {"PDF", pdf.path()},
       {"STORE", kStore},
       {"M1", mails.value(0)},
       {"M2", mails.value(1)},
       {"ORDOLO_HOME", home.path()}});
  if (!said) GTEST_SKIP() << "no user namespaces here for a small file system";
  EXPECT_TRUE(said->contains("exit 1")) << said->toStdString();
  EXPECT_TRUE(said->contains(QRegularExpression("SQLite cannot write \\S+\\.sqlite: database or disk is full")))
      << said->toStdString();
  EXPECT_EQ(QDir(pdf.path()).entryList({"MMemo-*.pdf"}, QDir::Files).size(), 2) << said->toStdString();
  EXPECT_TRUE(leftovers(pdf.path()).isEmpty());
}

}  // namespace
