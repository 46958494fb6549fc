#include "util/Desktop.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>

#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <mutex>
#include <vector>

#include "util/DebugLog.h"

extern char** environ;

namespace ordolo::util {

namespace {

// How long the opener may take before it counts as started; some openers
// stay in the foreground as long as the program they launched.
constexpr int kOpenerWaitMs = 10000;

std::mutex g_childMutex;
std::vector<pid_t> g_children;  // openers still running, reaped later

void reapChildren() {
  std::lock_guard lock(g_childMutex);
  std::erase_if(g_children, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
}

bool isUrl(const QString& text) {
  static const QRegularExpression re(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]+:"));
  return re.match(text).hasMatch() && !text.startsWith(QLatin1String("file:"), Qt::CaseInsensitive);
}

// Runs the opener; its exit code, -1 when it would not start, or -2 when it
// is still running after the wait.
int runOpener(const QString& target) {
  const QByteArray cmd = QFile::encodeName(OpenerCommand());
  const QByteArray arg = QFile::encodeName(target);
  char* argv[] = {const_cast<char*>(cmd.constData()), const_cast<char*>(arg.constData()), nullptr};
  pid_t pid = 0;
  if (posix_spawnp(&pid, cmd.constData(), nullptr, nullptr, argv, environ) != 0) return -1;
  for (int waited = 0; waited < kOpenerWaitMs; waited += 20) {
    int status = 0;
    const pid_t r = waitpid(pid, &status, WNOHANG);
    if (r == pid) {
      if (WIFEXITED(status)) return WEXITSTATUS(status);
      return 128;  // killed by a signal
    }
    if (r < 0) return 0;
    const timespec pause{0, 20 * 1000 * 1000};
    nanosleep(&pause, nullptr);
  }
  std::lock_guard lock(g_childMutex);
  g_children.push_back(pid);
  return -2;
}

int classify(const QString& target) {
  const bool url = isUrl(target);
  if (!url) {
    const QString path = target.startsWith(QLatin1String("file:"), Qt::CaseInsensitive) ? QUrl(target).toLocalFile()
                                                                                        : target;
    const QFileInfo info(path);
    if (!info.exists()) return kOpenFileNotFound;
    if (!info.isReadable()) return kOpenAccessDenied;
  }
  const int code = runOpener(target);
  switch (code) {
    case 0:
    case -2: return kOpenStarted;
    case -1: return kOpenNoOpener;
    case 3: return kOpenNoAssociation;  // xdg-open: no program for this type
    case 2: return url ? kOpenBadUrl : kOpenFileNotFound;
    default: return url ? kOpenBadUrl : kOpenFailed;
  }
}

}  // namespace

QString OpenerCommand() {
  const QString over = QString::fromLocal8Bit(qgetenv("ORDOLO_OPENER"));
  return over.isEmpty() ? QStringLiteral("xdg-open") : over;
}

int OpenDocument(const QString& pathOrUrl) {
  reapChildren();
  const int result = classify(pathOrUrl);
  DebugLog::write(QStringLiteral("OpenDocument %1: %2").arg(pathOrUrl).arg(result));
  return result;
}

}  // namespace ordolo::util
