// Helpers shared by the tests: scoped environment variables, a temporary
// folder, a scripted user-interface port.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <optional>
#include <ostream>

namespace ordolo::test {

// Sets (or unsets, with nullopt) an environment variable for one scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, std::optional<QByteArray> value) : name_(name) {
    if (qEnvironmentVariableIsSet(name)) old_ = qgetenv(name);
    if (value) qputenv(name, *value);
    else qunsetenv(name);
  }
  ~ScopedEnv() {
    if (old_) qputenv(name_, *old_);
    else qunsetenv(name_);
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<QByteArray> old_;
};

inline QString writeFile(const QString& path, const QByteArray& bytes) {
  QDir().mkpath(QFileInfo(path).absolutePath());
  QFile f(path);
  f.open(QIODevice::WriteOnly | QIODevice::Truncate);
  f.write(bytes);
  return path;
}

// The text of a PDF as pdftotext reads it (with -layout: in its columns).
inline QString pdfText(const QString& pdf, bool layout = false) {
  QProcess p;
  p.start(QStringLiteral("pdftotext"), layout ? QStringList{QStringLiteral("-layout"), pdf, QStringLiteral("-")}
                                              : QStringList{pdf, QStringLiteral("-")});
  p.waitForFinished(30000);
  return QString::fromUtf8(p.readAllStandardOutput());
}

inline QByteArray readFile(const QString& path) {
  QFile f(path);
  f.open(QIODevice::ReadOnly);
  return f.readAll();
}

}  // namespace ordolo::test

// Readable QString values in test failure messages.
inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }
inline void PrintTo(const QStringList& l, std::ostream* os) {
  *os << '{';
  for (const QString& s : l) *os << " \"" << s.toStdString() << '"';
  *os << " }";
}
