// Runs the built ordolo program as a user or a script would: its own home
// folder, Berlin time, a chosen locale, optional further variables.
#pragma once

#include <QMap>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <gtest/gtest.h>

namespace ordolo::test {

struct CliResult {
  int code;
  QString out;
  QString err;
};

// The environment the program runs in: its own home folder, Berlin time,
// the given locale, and the further variables.
inline QProcessEnvironment OrdoloEnvironment(const QString& home, const QString& lang = QStringLiteral("en_US.UTF-8"),
                                             const QMap<QString, QString>& extra = {}) {
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  env.insert("ORDOLO_HOME", home);
  env.remove("ORDOLO_DEBUG");
  env.insert("LANG", lang);
  env.insert("TZ", "Europe/Berlin");
  env.remove("LC_ALL");
  for (auto it = extra.begin(); it != extra.end(); ++it) env.insert(it.key(), it.value());
  return env;
}

inline CliResult RunOrdolo(const QString& home, const QStringList& args, const QString& lang,
                           const QMap<QString, QString>& extra = {}) {
  QProcess p;
  p.setProcessEnvironment(OrdoloEnvironment(home, lang, extra));
  p.start(QStringLiteral(ORDOLO_BINARY), args);
  EXPECT_TRUE(p.waitForFinished(120000));
  return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()).trimmed(),
          QString::fromUtf8(p.readAllStandardError()).trimmed()};
}

}  // namespace ordolo::test
