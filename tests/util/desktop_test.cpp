#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "lang/LanguageTable.h"
#include "support/TestEnv.h"
#include "util/Desktop.h"

using namespace ordolo::util;
using ordolo::test::ScopedEnv;
using ordolo::test::ScriptedPort;
using ordolo::test::writeFile;

namespace {

// A stand-in for the desktop opener that records its argument and exits
// with a chosen code.
class OpenDocumentTest : public ::testing::Test {
 protected:
  QTemporaryDir dir;
  ScriptedPort port;
  std::optional<ScopedEnv> opener;

  void SetUp() override { ordolo::lang::table().load(ordolo::util::IniDocument::fromText("[Lang]\nS26=Edit\nS22=Language\n")); }
  void useOpener(int exitCode) {
    const QString script = writeFile(dir.filePath("opener"),
                                     QStringLiteral("#!/bin/sh\necho \"$1\" > '%1'\nexit %2\n")
                                         .arg(dir.filePath("opened"))
                                         .arg(exitCode)
                                         .toUtf8());
    QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    opener.emplace("ORDOLO_OPENER", script.toUtf8());
  }
  QString opened() const { return QString::fromUtf8(ordolo::test::readFile(dir.filePath("opened"))).trimmed(); }
};

TEST_F(OpenDocumentTest, StartedDocumentSaysNothing) {
  useOpener(0);
  const QString doc = writeFile(dir.filePath("letter one.pdf"), "%PDF");
  EXPECT_EQ(OpenDocument(doc, &port), kOpenStarted);
  EXPECT_EQ(opened(), doc);
  EXPECT_TRUE(port.messages.isEmpty());
}

TEST_F(OpenDocumentTest, MissingFileIsReportedWithItsNumber) {
  useOpener(0);
  EXPECT_EQ(OpenDocument(dir.filePath("gone.docx"), &port), kOpenFileNotFound);
  EXPECT_EQ(port.messages, QStringList{"Problem starting.. (Error 2)"});
  EXPECT_EQ(opened(), "");  // the opener never ran
}

TEST_F(OpenDocumentTest, FailingUrlIsReportedAsNotValid) {
  useOpener(4);
  EXPECT_EQ(OpenDocument("https://example.invalid/x", &port), kOpenBadUrl);
  EXPECT_EQ(port.messages, QStringList{"URL not valid: https://example.invalid/x"});
}

TEST_F(OpenDocumentTest, NoAssociatedProgramIsSilent) {
  useOpener(3);
  const QString doc = writeFile(dir.filePath("data.xyz"), "?");
  EXPECT_EQ(OpenDocument(doc, &port), kOpenNoAssociation);
  EXPECT_TRUE(port.messages.isEmpty());
}

TEST_F(OpenDocumentTest, MissingOpenerOrFailedOpenIsAProblem) {
  const QString doc = writeFile(dir.filePath("a.txt"), "a");
  {
    ScopedEnv none("ORDOLO_OPENER", dir.filePath("no-such-opener").toUtf8());
    EXPECT_EQ(OpenDocument(doc, &port), kOpenNoOpener);
  }
  useOpener(4);
  EXPECT_EQ(OpenDocument(doc, &port), kOpenFailed);
  EXPECT_EQ(port.messages, (QStringList{"Problem starting.. (Error 27)", "Problem starting.. (Error 29)"}));
}

}  // namespace
