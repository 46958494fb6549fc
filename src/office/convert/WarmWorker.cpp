#include "office/convert/WarmWorker.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QUrl>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "util/DebugLog.h"
#include "util/Folders.h"

extern char** environ;

namespace ordolo::office::convert {

namespace {

void log(const QString& line) { util::DebugLog::write(QStringLiteral("Convert (warm): ") + line); }

}  // namespace

WarmWorker::WarmWorker(QString soffice, QString profile, int startTimeoutMs)
    : soffice_(std::move(soffice)), profile_(std::move(profile)), startTimeoutMs_(startTimeoutMs) {}

WarmWorker::~WarmWorker() { stop(false); }

QString WarmWorker::python() {
  // The distribution's python: the one that has the uno module.
  const QString program = QStringLiteral("/usr/bin/python3");
  return QFileInfo(program).isExecutable() ? program : QString();
}

QString WarmWorker::script() {
  const QString path = util::ShareFolder() + QStringLiteral("convert-worker.py");
  return QFileInfo(path).isFile() ? path : QString();
}

bool WarmWorker::start(int timeoutMs, QString* why) {
  if (pid_ > 0) return true;
  const QString program = python(), worker = script();
  if (program.isEmpty() || worker.isEmpty()) {
    *why = QStringLiteral("python3 or convert-worker.py missing");
    return false;
  }
  int in[2], out[2];
  if (::pipe2(in, O_CLOEXEC) != 0) {
    *why = QString::fromLocal8Bit(std::strerror(errno));
    return false;
  }
  if (::pipe2(out, O_CLOEXEC) != 0) {
    *why = QString::fromLocal8Bit(std::strerror(errno));
    ::close(in[0]);
    ::close(in[1]);
    return false;
  }
  // Workers start side by side: each pipe name must be its own.
  static std::atomic<int> serial{0};
  const QByteArray pipeName = "ordolo-" + QByteArray::number(::getpid()) + "-" + QByteArray::number(++serial);
  const QByteArray a0 = QFile::encodeName(program), a1 = QFile::encodeName(worker), a2 = QFile::encodeName(soffice_),
                   a3 = QUrl::fromLocalFile(profile_).toEncoded(),
                   a5 = QByteArray::number(std::max(1, timeoutMs / 1000));
  char* argv[] = {const_cast<char*>(a0.constData()),
                  const_cast<char*>(a1.constData()),
                  const_cast<char*>(a2.constData()),
                  const_cast<char*>(a3.constData()),
                  const_cast<char*>(pipeName.constData()),
                  const_cast<char*>(a5.constData()),
                  nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  // A session of its own: LibreOffice inside it goes when the group is killed.
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
  pid_t pid = -1;
  const int failed = posix_spawn(&pid, a0.constData(), &actions, &attributes, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  ::close(in[0]);
  ::close(out[1]);
  if (failed != 0) {
    ::close(in[1]);
    ::close(out[0]);
    *why = QString::fromLocal8Bit(std::strerror(failed));
    return false;
  }
  pid_ = pid;
  toWorker_ = in[1];
  fromWorker_ = out[0];
  buffer_.clear();
  ++launches_;
  QByteArray line;
  bool timedOut = false;
  // The worker gives up on its own at timeoutMs; a little longer here.
  if (readLine(timeoutMs + 5000, &line, &timedOut) && line == "ready") return true;
  *why = timedOut                     ? QStringLiteral("LibreOffice did not start within %1 s").arg(timeoutMs / 1000)
         : line.startsWith("error\t") ? QString::fromUtf8(line.mid(6))
                                      : QStringLiteral("the worker ended while starting");
  log(*why);
  stop(true);
  return false;
}

bool WarmWorker::readLine(int timeoutMs, QByteArray* line, bool* timedOut) {
  *timedOut = false;
  QElapsedTimer clock;
  clock.start();
  for (;;) {
    const int newline = buffer_.indexOf('\n');
    if (newline >= 0) {
      *line = buffer_.left(newline);
      buffer_.remove(0, newline + 1);
      return true;
    }
    const qint64 left = timeoutMs - clock.elapsed();
    if (left <= 0) {
      *timedOut = true;
      return false;
    }
    pollfd p{fromWorker_, POLLIN, 0};
    const int ready = ::poll(&p, 1, int(left));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) continue;
    char chunk[4096];
    const ssize_t n = ::read(fromWorker_, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;  // the worker is gone
    buffer_.append(chunk, int(n));
  }
}

WarmWorker::Outcome WarmWorker::toPdf(const QString& input, const QString& output, int timeoutMs, QString* why,
                                      QByteArray* pageStarts) {
  if (pid_ <= 0 && !start(startTimeoutMs_, why)) return Outcome::NotStarted;
  const QByteArray request = QByteArray(pageStarts ? "pages\t" : "pdf\t") +
                             QFile::encodeName(QFileInfo(input).absoluteFilePath()) + '\t' +
                             QFile::encodeName(QFileInfo(output).absoluteFilePath()) + '\n';
  // A worker that died meanwhile must not end the program with SIGPIPE: the
  // signal is held for this thread while writing and taken back unseen.
  sigset_t pipeSignal, old;
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipeSignal, &old);
  const ssize_t written = ::write(toWorker_, request.constData(), size_t(request.size()));
  if (written < 0 && errno == EPIPE) {
    const timespec now = {0, 0};
    sigtimedwait(&pipeSignal, nullptr, &now);
  }
  pthread_sigmask(SIG_SETMASK, &old, nullptr);
  if (written != request.size()) {
    *why = QStringLiteral("the worker is gone");
    stop(true);
    return Outcome::Died;
  }
  QByteArray line;
  bool timedOut = false;
  if (!readLine(timeoutMs, &line, &timedOut)) {
    *why = timedOut ? QStringLiteral("no answer within %1 s").arg(timeoutMs / 1000)
                    : QStringLiteral("the worker ended");
    log(input + QStringLiteral(": ") + *why);
    stop(true);
    return timedOut ? Outcome::TimedOut : Outcome::Died;
  }
  if (line == "ok" && !pageStarts) return Outcome::Done;
  if (line.startsWith("ok\t") && pageStarts) {
    *pageStarts = line.mid(3);
    return Outcome::Done;
  }
  *why = line.startsWith("error\t") ? QString::fromUtf8(line.mid(6)) : QString::fromUtf8(line);
  log(input + QStringLiteral(": ") + *why);
  return Outcome::Failed;
}

void WarmWorker::stop(bool kill) {
  if (pid_ <= 0) return;
  const pid_t group = pid_;
  if (toWorker_ >= 0) ::close(toWorker_);  // end of input: the worker ends LibreOffice
  toWorker_ = -1;
  bool reaped = false;
  // A while for LibreOffice to end in order; then whatever is left of the
  // group goes.
  for (int waited = 0; !kill && waited < 100 && !reaped; ++waited) {
    reaped = ::waitpid(group, nullptr, WNOHANG) == group;
    if (!reaped) ::usleep(50000);
  }
  ::kill(-group, SIGKILL);
  if (!reaped) ::waitpid(group, nullptr, 0);
  pid_ = -1;
  if (fromWorker_ >= 0) ::close(fromWorker_);
  fromWorker_ = -1;
  buffer_.clear();
}

}  // namespace ordolo::office::convert
