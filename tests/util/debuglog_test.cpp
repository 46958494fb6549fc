#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QTemporaryDir>

#include "support/TestEnv.h"
#include "util/DebugLog.h"

namespace DebugLog = ordolo::util::DebugLog;

namespace {

TEST(DebugLog, EveryLineEndsInCrLfAndNothingIsWrittenWhileOff) {
  QTemporaryDir dir;
  const QString path = dir.filePath("debug.log");
  DebugLog::write("before the log is open");
  ASSERT_TRUE(DebugLog::open(path));
  DebugLog::write("one line");
  DebugLog::write("a text of\ntwo lines");
  DebugLog::write("already CR LF\r\ninside");
  DebugLog::close();
  DebugLog::write("after it is closed");
  const QString log = QString::fromUtf8(ordolo::test::readFile(path));
  EXPECT_TRUE(QRegularExpression("^Gestartet: [^\r\n]+\r\n"
                                 "one line\r\na text of\r\ntwo lines\r\nalready CR LF\r\ninside\r\n$")
                  .match(log)
                  .hasMatch())
      << log.toStdString();
}

}  // namespace
