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
  g_file->write(("Gestartet: " + Format(QDateTime::currentDateTime(), QStringLiteral("General Date")) + "\n").toUtf8());
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
  // Flushed per line so that the log survives a crash of the process.
  g_file->write((line + QLatin1Char('\n')).toUtf8());
  g_file->flush();
}

bool requestedByEnvironment() {
  const QByteArray v = qgetenv("ORDOLO_DEBUG");
  return !v.isEmpty() && v != "0";
}

}  // namespace ordolo::util::DebugLog
