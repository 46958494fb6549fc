#include "util/DebugLog.h"

#include <QDateTime>
#include <QFile>
#include <atomic>
#include <mutex>

#include "util/VbFormat.h"

namespace ordolo::util::DebugLog {

namespace {
std::mutex g_mutex;
QFile* g_file = nullptr;
std::atomic<bool> g_on{false};
}  // namespace

bool open(const QString& path) {
  std::lock_guard lock(g_mutex);
  if (g_file) return true;
  auto* f = new QFile(path);
  if (!f->open(QIODevice::WriteOnly | QIODevice::Append)) {
    delete f;
    return false;
  }
  g_file = f;
  g_on = true;
  g_file
      ->write(("Gestartet: " + Format(QDateTime::currentDateTime(), QStringLiteral("General Date")) + "\r\n").toUtf8());
  g_file->flush();
  return true;
}

void close() {
  std::lock_guard lock(g_mutex);
  g_on = false;
  delete g_file;
  g_file = nullptr;
}

bool isOn() { return g_on; }

void write(const QString& line) {
  if (!g_on) return;
  std::lock_guard lock(g_mutex);
  if (!g_file) return;
  // Every line ends in CR LF, also those inside a text of several lines.
  QString text = line;
  text.replace(QLatin1String("\r\n"), QLatin1String("\n")).replace(QLatin1Char('\n'), QLatin1String("\r\n"));
  // Flushed per line so that the log survives a crash of the process.
  g_file->write((text + QLatin1String("\r\n")).toUtf8());
  g_file->flush();
}

bool requestedByEnvironment() {
  const QByteArray v = qgetenv("ORDOLO_DEBUG");
  return !v.isEmpty() && v != "0";
}

}  // namespace ordolo::util::DebugLog
