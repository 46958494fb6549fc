// A private CUPS server for tests: its own cupsd under a temporary folder,
// with its own configuration, listening only on a socket in that folder.
// Its "capture" backend writes each job's file to out/ as
// "job-<id>-<title>"; a queue made with cancelJobs cancels every job
// instead. CUPS_SERVER points at the server while the object lives; cupsd is
// stopped by its own pid at the end.
//
// Root and ordinary users alike: as root cupsd runs its helpers as lp, but
// the capture backend is readable by root only, which makes cupsd run it as
// root (so it can write into the private folder); as an ordinary user
// everything runs as that user.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <optional>

#include <gtest/gtest.h>

extern char** environ;

namespace ordolo::test {

class CupsServer {
 public:
  CupsServer() { start(); }
  ~CupsServer() { stop(); }
  CupsServer(const CupsServer&) = delete;
  CupsServer& operator=(const CupsServer&) = delete;

  // False when cupsd is missing or did not come up; error() says why.
  bool ok() const { return pid_ > 0; }
  QString error() const { return error_; }

  QString root() const { return dir_ ? dir_->path() : QString(); }
  QString socket() const { return root() + QStringLiteral("/run/cups.sock"); }
  QString outFolder() const { return root() + QStringLiteral("/out"); }
  QString errorLog() const { return QString::fromUtf8(readAll(root() + QStringLiteral("/log/error_log"))); }

  // A raw queue on the capture backend, enabled and accepting jobs; with
  // cancelJobs its backend cancels every job it is given.
  bool addQueue(const QString& name, bool cancelJobs = false, QString* output = nullptr) {
    const QString uri = QStringLiteral("capture:") + outFolder() + (cancelJobs ? QStringLiteral("?cancel") : QString());
    return run(QStringLiteral("lpadmin"), {QStringLiteral("-p"), name, QStringLiteral("-E"), QStringLiteral("-v"), uri},
               output);
  }

  // Runs one of CUPS's command-line tools (lpadmin, cupsdisable, cupsreject,
  // ...) against this server. True when it exited with 0.
  bool run(const QString& tool, const QStringList& args, QString* output = nullptr) const {
    const QString program = findTool(tool);
    QString out;
    bool done = false;
    if (program.isEmpty()) {
      out = tool + QStringLiteral(" not found: scripts/bootstrap installs cups-client");
    } else {
      QProcess p;
      p.setProcessChannelMode(QProcess::MergedChannels);
      p.start(program, args);
      done = p.waitForFinished(30000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
      out = QString::fromLocal8Bit(p.readAll());
    }
    if (output) *output = out;
    return done;
  }

  // Kills cupsd at once, as a crash or an administrator would; CUPS_SERVER
  // still points at its (now dead) socket.
  void crash() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = 0;
  }

  // The captured files, oldest job first.
  QStringList captured() const {
    QStringList files = QDir(outFolder()).entryList({QStringLiteral("job-*")}, QDir::Files);
    std::sort(files.begin(), files.end(), [](const QString& a, const QString& b) {
      return a.section(QLatin1Char('-'), 1, 1).toInt() < b.section(QLatin1Char('-'), 1, 1).toInt();
    });
    for (QString& f : files) f = outFolder() + QLatin1Char('/') + f;
    return files;
  }

  static QString findTool(const QString& name) {
    QString p = QStandardPaths::findExecutable(name);
    if (p.isEmpty()) p = QStandardPaths::findExecutable(name, {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")});
    return p;
  }

 private:
  static QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  }
  static bool write(const QString& path, const QByteArray& text) {
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(text) == text.size();
  }

  // True once cupsd accepts connections on its socket (the file appears at
  // bind(), a moment before it listens).
  bool listening() const {
    const QByteArray path = QFile::encodeName(socket());
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (size_t(path.size()) >= sizeof addr.sun_path) return false;
    memcpy(addr.sun_path, path.constData(), size_t(path.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool ok = fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) == 0;
    if (fd >= 0) ::close(fd);
    return ok;
  }

  void start() {
    const QString cupsd = findTool(QStringLiteral("cupsd"));
    if (cupsd.isEmpty()) {
      error_ = QStringLiteral("cupsd not found: run scripts/bootstrap (it installs cups-daemon and cups-client)");
      return;
    }
    // A socket path may have at most 107 bytes; a long TMPDIR falls back to /tmp.
    dir_ = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/ordolo-cups-XXXXXX"));
    if (!dir_->isValid() || dir_->path().size() > 80)
      dir_ = std::make_unique<QTemporaryDir>(QStringLiteral("/tmp/ordolo-cups-XXXXXX"));
    if (!dir_->isValid()) {
      error_ = QStringLiteral("cannot make a temporary folder for cupsd");
      return;
    }
    const QString b = root();
    for (const char* sub : {"etc/ppd", "etc/ssl", "spool/tmp", "cache", "state", "log", "run", "out", "lib/backend"})
      QDir().mkpath(b + QLatin1Char('/') + QLatin1String(sub));

    QByteArray user = "lp", group = "lp", systemGroup = "root";
    if (geteuid() != 0) {
      const passwd* pw = getpwuid(geteuid());
      const struct group* gr = getgrgid(getegid());
      user = pw ? QByteArray(pw->pw_name) : QByteArray::number(geteuid());
      group = systemGroup = gr ? QByteArray(gr->gr_name) : QByteArray::number(getegid());
    }
    const QByteArray B = QFile::encodeName(b);
    // clang-format off
    const bool configured =
        write(b + QStringLiteral("/etc/cupsd.conf"),
              "Listen " + B + "/run/cups.sock\n"
              "LogLevel info\nBrowsing No\nWebInterface No\nDefaultAuthType None\n"
              "<Location />\n  Order allow,deny\n  Allow from all\n</Location>\n"
              "<Policy default>\n  <Limit All>\n    Order deny,allow\n  </Limit>\n</Policy>\n") &&
        write(b + QStringLiteral("/etc/cups-files.conf"),
              "ServerRoot " + B + "/etc\nRequestRoot " + B + "/spool\nTempDir " + B + "/spool/tmp\n"
              "CacheDir " + B + "/cache\nStateDir " + B + "/state\nServerBin " + B + "/lib\n"
              "AccessLog " + B + "/log/access_log\nErrorLog " + B + "/log/error_log\n"
              "PageLog " + B + "/log/page_log\nPrintcap " + B + "/state/printcap\n"
              "DataDir /usr/share/cups\nFileDevice Yes\n"
              "SystemGroup " + systemGroup + "\nUser " + user + "\nGroup " + group + "\n") &&
        // Each job's file (or standard input) copied under a temporary name,
        // then renamed, so a test never sees half a file.
        write(b + QStringLiteral("/lib/backend/capture"),
              "#!/bin/sh\n"
              "if [ $# -eq 0 ]; then echo 'direct capture \"Unknown\" \"File capture backend\"'; exit 0; fi\n"
              "case \"$DEVICE_URI\" in *'?cancel') exit 5;; esac\n"
              "dir=${DEVICE_URI#capture:}\n"
              "title=$(printf '%s' \"$3\" | tr '/' '_')\n"
              "if [ -n \"$6\" ]; then cp \"$6\" \"$dir/.part-$1\"; else cat > \"$dir/.part-$1\"; fi || exit 1\n"
              "mv \"$dir/.part-$1\" \"$dir/job-$1-$title\"\n");
    // clang-format on
    if (!configured) {
      error_ = QStringLiteral("cannot write the cupsd configuration under ") + b;
      return;
    }
    QFile::setPermissions(b + QStringLiteral("/lib/backend/capture"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const char* sub : {"cgi-bin", "daemon", "driver", "filter", "monitor", "notifier"}) {
      const QString from = QStringLiteral("/usr/lib/cups/") + QLatin1String(sub);
      if (QFileInfo::exists(from)) QFile::link(from, b + QStringLiteral("/lib/") + QLatin1String(sub));
    }
    for (const QFileInfo& f : QDir(QStringLiteral("/usr/lib/cups/backend")).entryInfoList(QDir::Files))
      QFile::link(f.absoluteFilePath(), b + QStringLiteral("/lib/backend/") + f.fileName());

    const QByteArray program = QFile::encodeName(cupsd);
    const QByteArray conf = B + "/etc/cupsd.conf", files = B + "/etc/cups-files.conf", out = B + "/log/cupsd.out";
    char* argv[] = {const_cast<char*>(program.constData()),
                    const_cast<char*>("-f"),
                    const_cast<char*>("-c"),
                    const_cast<char*>(conf.constData()),
                    const_cast<char*>("-s"),
                    const_cast<char*>(files.constData()),
                    nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, program.constData(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
      error_ = QStringLiteral("cannot start ") + cupsd;
      return;
    }
    pid_ = pid;
    // Up when its socket is there; gone when it has exited.
    for (int waited = 0; waited < 10000; waited += 20) {
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = 0;
        error_ = QStringLiteral("cupsd exited at once:\n") +
                 QString::fromLocal8Bit(readAll(QString::fromLocal8Bit(out))) + errorLog();
        return;
      }
      if (listening()) break;
      QThread::msleep(20);
    }
    if (!listening()) {
      error_ = QStringLiteral("cupsd did not open its socket within 10 s:\n") + errorLog();
      stop();
      return;
    }
    if (qEnvironmentVariableIsSet("CUPS_SERVER")) oldServer_ = qgetenv("CUPS_SERVER");
    qputenv("CUPS_SERVER", QFile::encodeName(socket()));
    envSet_ = true;
  }

  void stop() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      int status = 0;
      bool gone = false;
      for (int waited = 0; waited < 5000 && !gone; waited += 20) {
        gone = waitpid(pid_, &status, WNOHANG) == pid_;
        if (!gone) QThread::msleep(20);
      }
      if (!gone) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
      }
      pid_ = 0;
    }
    if (envSet_) {
      if (oldServer_) qputenv("CUPS_SERVER", *oldServer_);
      else qunsetenv("CUPS_SERVER");
      envSet_ = false;
    }
  }

  std::unique_ptr<QTemporaryDir> dir_;
  pid_t pid_ = 0;
  QString error_;
  std::optional<QByteArray> oldServer_;
  bool envSet_ = false;
};

// A test suite whose tests share one server, started before the suite's
// first test and stopped after its last.
class CupsSuite : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { server_ = new CupsServer; }
  static void TearDownTestSuite() {
    delete server_;
    server_ = nullptr;
  }
  static inline CupsServer* server_ = nullptr;
};

}  // namespace ordolo::test
