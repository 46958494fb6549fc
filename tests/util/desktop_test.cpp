#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "support/TestEnv.h"
#include "util/Desktop.h"

using namespace ordolo::util;
using ordolo::test::ScopedEnv;
using ordolo::test::writeFile;

namespace {

// The desktop opener is replaced by a script that records its argument and
// exits with the code a real opener gives in each situation.
TEST(OpenDocument, OpenerExitCodesBecomeResults) {
  QTemporaryDir dir;
  const QString doc = writeFile(dir.filePath("letter one.pdf"), "%PDF");
  const QString script = writeFile(dir.filePath("opener"),
                                   "#!/bin/sh\necho \"$1\" > \"$(dirname \"$0\")/opened\"\nexit $CODE\n");
  QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner);
  ScopedEnv opener("ORDOLO_OPENER", script.toUtf8());
  struct Case {
    const char* exitCode;
    QString target;
    int result;
  } cases[] = {
      {"0", doc, kOpenStarted},
      {"0", dir.filePath("gone.docx"), kOpenFileNotFound},
      {"4", "https://example.invalid/x", kOpenBadUrl},
      {"3", doc, kOpenNoAssociation},
      {"4", doc, kOpenFailed},
  };
  for (const Case& c : cases) {
    ScopedEnv code("CODE", c.exitCode);
    QFile::remove(dir.filePath("opened"));
    EXPECT_EQ(OpenDocument(c.target), c.result) << c.target.toStdString();
    // A missing file never reaches the opener.
    EXPECT_EQ(QFile::exists(dir.filePath("opened")), c.result != kOpenFileNotFound);
    if (c.result != kOpenFileNotFound) {
      EXPECT_EQ(ordolo::test::readFile(dir.filePath("opened")), c.target.toUtf8() + "\n");
    }
  }
  ScopedEnv none("ORDOLO_OPENER", dir.filePath("no-such-opener").toUtf8());
  EXPECT_EQ(OpenDocument(doc), kOpenNoOpener);
}

}  // namespace
