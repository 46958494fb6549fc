#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "lang/LanguageTable.h"
#include "support/TestEnv.h"
#include "ui/Port.h"
#include "util/Desktop.h"

using namespace ordolo::util;
using ordolo::test::ScopedEnv;
using ordolo::test::writeFile;

namespace {

// Records the messages shown.
struct RecordingPort : ordolo::ui::Port {
  QStringList messages;
  ordolo::ui::Answer message(const QString& text, ordolo::ui::Buttons, ordolo::ui::Icon) override {
    messages.append(text);
    return ordolo::ui::Answer::Ok;
  }
  void notice(const QString&) override {}
  void beep() override {}
  QString browseFolder(const QString&, const QString&) override { return {}; }
  void yield() override {}
};

// The desktop opener is replaced by a script that records its argument and
// exits with the code a real opener gives in each situation.
TEST(OpenDocument, OpenerResultsBecomeMessagesOrSilence) {
  ordolo::lang::table().load(IniDocument::fromText("[Lang]\nS26=Edit\nS22=Language\n"));
  QTemporaryDir dir;
  const QString doc = writeFile(dir.filePath("letter one.pdf"), "%PDF");
  const QString script = writeFile(dir.filePath("opener"), "#!/bin/sh\necho \"$1\" > \"$(dirname \"$0\")/opened\"\nexit $CODE\n");
  QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner);
  ScopedEnv opener("ORDOLO_OPENER", script.toUtf8());
  struct Case {
    const char* exitCode;
    QString target;
    int result;
    QString message;
  } cases[] = {
      {"0", doc, kOpenStarted, ""},
      {"0", dir.filePath("gone.docx"), kOpenFileNotFound, "Problem starting.. (Error 2)"},
      {"4", "https://example.invalid/x", kOpenBadUrl, "URL not valid: https://example.invalid/x"},
      {"3", doc, kOpenNoAssociation, ""},  // no program for the type: silent
      {"4", doc, kOpenFailed, "Problem starting.. (Error 29)"},
  };
  for (const Case& c : cases) {
    ScopedEnv code("CODE", c.exitCode);
    RecordingPort port;
    QFile::remove(dir.filePath("opened"));
    EXPECT_EQ(OpenDocument(c.target, &port), c.result) << c.target.toStdString();
    EXPECT_EQ(port.messages, c.message.isEmpty() ? QStringList() : QStringList{c.message});
    // A missing file never reaches the opener.
    EXPECT_EQ(QFile::exists(dir.filePath("opened")), c.result != kOpenFileNotFound);
  }
  ScopedEnv none("ORDOLO_OPENER", dir.filePath("no-such-opener").toUtf8());
  RecordingPort port;
  EXPECT_EQ(OpenDocument(doc, &port), kOpenNoOpener);
  EXPECT_EQ(port.messages, QStringList{"Problem starting.. (Error 27)"});
}

}  // namespace
