// `ordolo monitor` as a service runs it: a child process watching a copy of
// the sample inbox, mails delivered into new/ while it runs, SIGTERM, and
// --resume printing what came while it was down.
#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <csignal>
#include <functional>

#include "app/RunOrdolo.h"
#include "support/CupsServer.h"

namespace {

const QString kStore = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store");

bool WaitFor(const std::function<bool()>& done, int ms = 30000) {
  for (int waited = 0; waited < ms; waited += 50) {
    if (done()) return true;
    QThread::msleep(50);
  }
  return done();
}

class MonitorCli : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(ordolo::test::RunOrdolo(home.path(), {"lang", "load", "english"}, "en_US.UTF-8").code, 0);
    for (const char* sub : {"Inbox/cur", "Inbox/new", "Inbox/tmp"}) QDir().mkpath(root.filePath(sub));
    mails = QDir(kStore + "/Inbox/cur").entryList(QDir::Files, QDir::Name);
    ASSERT_GE(mails.size(), 7);
    QFile::copy(kStore + "/Inbox/cur/" + mails[0], root.filePath("Inbox/cur/" + mails[0]));
  }

  // Starts the monitor; returns once it watches. Its documents go to `out`
  // as PDFs, or to a print queue when `queue` is given.
  void start(QProcess& p, bool resume, const QString& queue = {}) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("ORDOLO_HOME", home.path());
    env.insert("LANG", "en_US.UTF-8");
    env.insert("TZ", "Europe/Berlin");
    env.insert("TMPDIR", scratch.path());  // its LibreOffice profiles land here
    p.setProcessEnvironment(env);
    QStringList args{"monitor", "--store", root.path(), "--folder", "Inbox", "--template", "MMemo.dotx"};
    args << (queue.isEmpty() ? QStringList{"--pdf", out.path()} : QStringList{"--printer", queue});
    if (resume) args << "--resume";
    p.start(QStringLiteral(ORDOLO_BINARY), args);
    ASSERT_TRUE(p.waitForStarted());
    QByteArray said;
    while (!said.contains("Watching") && p.state() == QProcess::Running) {
      p.waitForReadyRead(1000);
      said += p.readAllStandardError();
    }
    ASSERT_TRUE(said.contains("Watching Inbox")) << said.toStdString();
  }
  void stop(QProcess& p) {
    ::kill(pid_t(p.processId()), SIGTERM);
    ASSERT_TRUE(p.waitForFinished(30000));
    EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
  }
  // A mail as a mail program delivers it: written in tmp/, moved to new/.
  void deliver(int i) {
    const QString tmp = root.filePath("Inbox/tmp/" + mails[i]);
    ASSERT_TRUE(QFile::copy(kStore + "/Inbox/cur/" + mails[i], tmp));
    {
      QFile f(tmp);
      ASSERT_TRUE(f.open(QIODevice::ReadOnly));
      f.setFileTime(QDateTime::currentDateTime(), QFileDevice::FileModificationTime);
    }
    ASSERT_TRUE(QFile::rename(tmp, root.filePath("Inbox/new/" + mails[i])));
  }
  int pdfs() const { return QDir(out.path()).entryList({"*.pdf"}, QDir::Files).size(); }

  // LibreOffice processes still running for the monitors started here.
  int officesLeft() const {
    int left = 0;
    for (const QString& pid : QDir("/proc").entryList(QDir::Dirs)) {
      QFile cmd("/proc/" + pid + "/cmdline");
      if (cmd.open(QIODevice::ReadOnly) && cmd.readAll().contains(scratch.path().toUtf8())) ++left;
    }
    return left;
  }

  QTemporaryDir home, root, out, scratch;
  QStringList mails;
};

TEST_F(MonitorCli, PrintsEachDeliveredMailOnceAndResumesWithWhatCameMeanwhile) {
  QProcess first;
  start(first, false);
  EXPECT_EQ(pdfs(), 0);  // the mail already there is recorded, not printed
  deliver(1);
  ASSERT_TRUE(WaitFor([&] { return pdfs() == 1; }));
  deliver(2);
  ASSERT_TRUE(WaitFor([&] { return pdfs() == 2; }));
  stop(first);
  const QString log = QString::fromUtf8(first.readAllStandardOutput());
  EXPECT_EQ(log.count('\n'), 2) << log.toStdString();

  // Delivered while no monitor runs: --resume prints it at once, and only it.
  deliver(3);
  QProcess second;
  start(second, true);
  ASSERT_TRUE(WaitFor([&] { return pdfs() == 3; }));
  QThread::msleep(1500);
  EXPECT_EQ(pdfs(), 3);
  stop(second);

  // Without --resume, what is there at start is taken as seen.
  deliver(4);
  QProcess third;
  start(third, false);
  QThread::msleep(1500);
  stop(third);
  EXPECT_EQ(pdfs(), 3);
}

// Killed outright at any point (before, during, after a print), started
// again with --resume: every delivered mail ends up printed exactly once.
TEST_F(MonitorCli, SurvivesBeingKilledAtAnyPointWithEveryMailPrintedOnce) {
  QProcess p;
  start(p, true);
  const int delays[] = {0, 150, 400, 900, 2500};
  int delivered = 0;
  for (int delay : delays) {
    deliver(++delivered);
    QThread::msleep(ulong(delay));
    p.kill();  // SIGKILL: no chance to finish anything
    p.waitForFinished(10000);
    start(p, true);
    ASSERT_TRUE(WaitFor([&] { return pdfs() >= delivered; })) << "after a kill " << delay << " ms in";
  }
  QThread::msleep(1500);  // nothing more comes
  stop(p);
  const QStringList files = QDir(out.path()).entryList({"*.pdf"}, QDir::Files);
  EXPECT_EQ(files.size(), delivered) << files.join(", ").toStdString();
  // No LibreOffice outlives a killed monitor.
  EXPECT_TRUE(WaitFor([&] { return officesLeft() == 0; }, 10000)) << officesLeft() << " left";
}

// The same on a print queue: a mail is printed once its job is on the
// queue, and a monitor killed before, while or after it hands a job to CUPS
// neither loses it nor prints it again when it comes back.
TEST_F(MonitorCli, OnAQueueEveryMailIsOneJobAlsoAcrossKills) {
  ordolo::test::CupsServer cups;
  ASSERT_TRUE(cups.ok()) << cups.error().toStdString();
  ASSERT_TRUE(cups.addQueue("monq"));
  QProcess p;
  start(p, true, "monq");
  deliver(1);
  ASSERT_TRUE(WaitFor([&] { return cups.captured().size() == 1; })) << cups.errorLog().toStdString();
  const int delays[] = {0, 300, 800, 1600, 3000};
  int delivered = 1;
  for (int delay : delays) {
    deliver(++delivered);
    QThread::msleep(ulong(delay));
    p.kill();
    p.waitForFinished(10000);
    start(p, true, "monq");
    ASSERT_TRUE(WaitFor([&] { return cups.captured().size() >= delivered; })) << "after a kill " << delay << " ms in";
  }
  QThread::msleep(1500);
  stop(p);
  QStringList names;
  for (const QString& f : cups.captured()) names << QFileInfo(f).fileName().section('-', 2);
  EXPECT_EQ(names.size(), delivered) << names.join(", ").toStdString();
  names.removeDuplicates();
  EXPECT_EQ(names.size(), delivered) << names.join(", ").toStdString();
}

// Two monitors on one folder: the second one refuses, naming the first.
TEST_F(MonitorCli, ASecondMonitorOnTheSameFolderRefusesAndNamesTheFirst) {
  QProcess first;
  start(first, false);
  const ordolo::test::CliResult second = ordolo::test::RunOrdolo(home.path(),
                                                                 {"monitor", "--store", root.path(), "--folder",
                                                                  "Inbox", "--template", "MMemo.dotx", "--pdf",
                                                                  out.path()},
                                                                 "en_US.UTF-8");
  EXPECT_EQ(second.code, 1);
  EXPECT_TRUE(second.err
                  .contains(QStringLiteral("The folder Inbox is watched already (process %1).").arg(first.processId())))
      << second.err.toStdString();
  stop(first);
}

}  // namespace

namespace {

// The user service runs the command the tests run; systemd accepts it.
TEST(MonitorService, TheUserUnitPassesSystemdsCheck) {
  QTemporaryDir runtime, units;
  const QString unit = units.filePath("ordolo-monitor@inbox.service");
  ASSERT_TRUE(QFile::copy(QStringLiteral(ORDOLO_BUILD_DIR "/systemd/ordolo-monitor@.service"), unit));
  QProcess verify;
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  env.insert("XDG_RUNTIME_DIR", runtime.path());
  verify.setProcessEnvironment(env);
  verify.start("systemd-analyze", {"verify", "--user", unit});
  ASSERT_TRUE(verify.waitForFinished(60000)) << "systemd-analyze did not end";
  const QString said = QString::fromUtf8(verify.readAllStandardOutput() + verify.readAllStandardError());
  EXPECT_EQ(verify.exitCode(), 0) << said.toStdString();
  EXPECT_TRUE(said.trimmed().isEmpty()) << said.toStdString();
  QFile f(unit);
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  EXPECT_TRUE(f.readAll().contains(ORDOLO_BINARY " monitor --resume --store ${STORE} --folder ${FOLDER}"));
}

}  // namespace
