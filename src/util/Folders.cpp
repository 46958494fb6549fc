#include "util/Folders.h"

#include <QDir>
#include <QFileInfo>

#include <mutex>
#include <optional>
#include <stdlib.h>

#ifndef ORDOLO_INSTALL_DATADIR
#define ORDOLO_INSTALL_DATADIR "/usr/local/share/ordolo"
#endif

namespace ordolo::util {

namespace {

QString env(const char* name) { return QString::fromLocal8Bit(qgetenv(name)); }

QString homeFolder() {
  const QString home = env("HOME");
  return home.isEmpty() ? QDir::homePath() : home;
}

// $VAR when it is an absolute path (as XDG asks), else $HOME + fallback.
QString xdgFolder(const char* var, const char* fallback) {
  const QString v = env(var);
  if (!v.isEmpty() && QDir::isAbsolutePath(v)) return WithSlash(v);
  return WithSlash(homeFolder()) + QLatin1String(fallback);
}

std::mutex g_tempMutex;
std::optional<QString> g_tempFolder;

}  // namespace

QString WithSlash(const QString& path) { return path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/'); }

QString DataFolder() {
  const QString home = env("ORDOLO_HOME");
  if (!home.isEmpty()) return WithSlash(home) + QLatin1String("data/");
  return xdgFolder("XDG_DATA_HOME", ".local/share/") + QLatin1String("ordolo/");
}

QString UserFolder() {
  const QString home = env("ORDOLO_HOME");
  if (!home.isEmpty()) return WithSlash(home) + QLatin1String("config/");
  return xdgFolder("XDG_CONFIG_HOME", ".config/") + QLatin1String("ordolo/");
}

QString MainConfigFile() { return DataFolder() + QLatin1String("Ordolo.ini"); }
QString UserConfigFile() { return UserFolder() + QLatin1String("Ordolo.ini"); }
QString TemplatePathFile() { return DataFolder() + QLatin1String("path.ini"); }

QString ShareFolder() {
  const QString over = env("ORDOLO_SHARE_DIR");
  if (!over.isEmpty()) return WithSlash(over);
  // The program's own location: bin/ordolo next to share/ordolo, in the build
  // tree and in an installation alike.
  const QString binDir = QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath()).absolutePath();
  const QString beside = binDir + QLatin1String("/../share/ordolo");
  if (QFileInfo(beside).isDir()) return WithSlash(QDir::cleanPath(beside));
  return WithSlash(QStringLiteral(ORDOLO_INSTALL_DATADIR));
}

QString LanguageFolder() { return ShareFolder() + QLatin1String("language/"); }

QString TempBase() {
  for (const char* var : {"TMPDIR", "TEMP", "TMP"}) {
    const QString v = env(var);
    if (!v.isEmpty()) return WithSlash(v);
  }
  return QStringLiteral("/tmp/");
}

QString MakePrivateFolder(const QString& base) {
  for (const QString& b : {WithSlash(base), QStringLiteral("/tmp/")}) {
    QDir().mkpath(b);
    QByteArray templ = QFile::encodeName(b + QLatin1String("ordolo-XXXXXX"));
    if (mkdtemp(templ.data())) return WithSlash(QFile::decodeName(templ));
  }
  return WithSlash(base);
}

QString TempFolder() {
  std::lock_guard lock(g_tempMutex);
  if (!g_tempFolder) g_tempFolder = MakePrivateFolder(TempBase());
  return *g_tempFolder;
}

void RemoveTempFolder() {
  std::lock_guard lock(g_tempMutex);
  // Only a folder this process made itself is removed.
  if (g_tempFolder && QDir(*g_tempFolder).dirName().startsWith(QLatin1String("ordolo-")))
    QDir(*g_tempFolder).removeRecursively();
  g_tempFolder.reset();
}

}  // namespace ordolo::util
