// A mail with attachments printed end to end against a private cupsd
// (tests/support/CupsServer.h): the filled memo and its attachments come out
// as jobs in the order asked for, and no wait costs time once the job is there.
#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <QThread>

#include "attachments/AttachmentQueue.h"
#include "attachments/PrintSystems.h"
#include "lang/LanguageTable.h"
#include "office/word/Document.h"
#include "office/convert/Converter.h"
#include "print/Cups.h"
#include "print/Outputs.h"
#include "session/PrintRun.h"
#include "session/Start.h"
#include "store/FileStore.h"
#include "support/CupsServer.h"
#include "support/ScriptedPort.h"
#include "support/TempCleanup.h"
#include "support/TestEnv.h"

using namespace ordolo;
using namespace ordolo::test;

namespace {

class CountingClock : public attachments::Clock {
 public:
  void sleep(int ms) override { sleeps << ms; }
  QList<int> sleeps;
};

const QByteArray kPng = QByteArray::fromBase64(
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8DwHwAFBQIAX8jx0gAAAABJRU5ErkJggg==");
const QByteArray kPdf = "%PDF-1.4\n% an offer\n%%EOF\n";

class MailRun : public CupsSuite {
 protected:
  void SetUp() override {
    if (!server_->ok()) GTEST_SKIP() << server_->error().toStdString();
    if (office::convert::Converter::findProgram().isEmpty()) GTEST_SKIP() << "LibreOffice is not installed";
    if (!print::Cups().queue("mailq").exists) {
      QString out;
      ASSERT_TRUE(server_->addQueue("mailq", false, &out)) << out.toStdString();
    }
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
    writeFile(home.filePath("store/Inbox/offer.eml"),
              "From: Thomas <thomas@example.com>\n"
              "To: Anna <anna@example.org>\n"
              "Subject: Offer\n"
              "Date: Thu, 05 Mar 2026 11:02:33 +0100\n"
              "MIME-Version: 1.0\n"
              "Content-Type: multipart/mixed; boundary=\"m\"\n\n"
              "--m\nContent-Type: text/plain\n\nThe offer and the plan.\n"
              "--m\nContent-Type: application/pdf; name=\"offer.pdf\"\nContent-Disposition: attachment; "
              "filename=\"offer.pdf\"\nContent-Transfer-Encoding: base64\n\n" +
                  kPdf.toBase64() +
                  "\n--m\nContent-Type: image/png; name=\"plan.png\"\nContent-Disposition: attachment; "
                  "filename=\"plan.png\"\nContent-Transfer-Encoding: base64\n\n" +
                  kPng.toBase64() + "\n--m--\n");
    QFile::copy(QStringLiteral(ORDOLO_TEST_DATA "/word/mail.docx"), home.filePath("MMemo.docx"));
  }

  // Prints the inbox to the queue; the titles of the new jobs, oldest first.
  QStringList print(bool attachmentsFirst, CountingClock& clock) {
    QString why;
    auto store = store::FileStore::open(home.filePath("store"), &why);
    EXPECT_TRUE(store) << why.toStdString();
    if (!store) return {};
    auto inbox = store->folderByPath("Inbox");
    attachments::CupsPrintSystem system("mailq");
    attachments::Options options;
    options.first = attachmentsFirst;
    attachments::AttachmentQueue queue(system, port, options, &clock);
    session::Start start(port);
    start.setAttachmentQueue(&queue);
    EXPECT_TRUE(start.StartPrint(model::Selection(inbox->GetItems()->all()), inbox, "Anna"));
    print::QueueOutput output("mailq");
    EXPECT_TRUE(output.prepare(&why)) << why.toStdString();
    office::convert::Converter converter;
    session::PrintRun run(port, output, &converter);
    session::RunOptions runOptions;
    runOptions.templatePath = home.filePath("MMemo.docx");
    runOptions.attachments = &queue;
    const QStringList before = server_->captured();
    const session::RunResult result = run.run(start.items(), start.rows(), runOptions);
    EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join('\n').toStdString();
    EXPECT_EQ(result.attachments, 2);
    // The attachments' jobs were queued when the run ended; their files are
    // written as the jobs complete.
    QStringList titles;
    for (int tries = 0; tries < 200 && titles.size() < 3; ++tries) {
      if (tries) QThread::msleep(50);
      titles.clear();
      for (const QString& f : server_->captured())
        if (!before.contains(f)) titles << QFileInfo(f).fileName().section('-', 2);
    }
    return titles;
  }

  QTemporaryDir home;
  ScopedEnv homeEnv{"ORDOLO_HOME", home.path().toUtf8()};
  ScriptedPort port;
};

}  // namespace

TEST_F(MailRun, AttachmentsFollowTheirMailOrComeFirst) {
  CountingClock clock;
  const QStringList after = print(false, clock);
  ASSERT_EQ(after.size(), 3) << after.join(", ").toStdString() << server_->errorLog().toStdString();
  EXPECT_EQ(after[0], "MMemo-001");
  EXPECT_TRUE(after[1].endsWith("_offer.pdf")) << after[1].toStdString();
  EXPECT_TRUE(after[2].endsWith("_plan.png")) << after[2].toStdString();
  // Every job was there at the first look: no wait slept.
  EXPECT_TRUE(clock.sleeps.isEmpty()) << clock.sleeps.size();

  CountingClock firstClock;
  const QStringList first = print(true, firstClock);
  ASSERT_EQ(first.size(), 3) << first.join(", ").toStdString();
  EXPECT_TRUE(first[0].contains("_offer")) << first[0].toStdString();
  EXPECT_TRUE(first[1].contains("_plan")) << first[1].toStdString();
  EXPECT_EQ(first[2], "MMemo-001");
  EXPECT_TRUE(firstClock.sleeps.isEmpty());
  EXPECT_TRUE(port.messages.isEmpty()) << port.messages.join('\n').toStdString();
}

// The HTML bodies of a run go through LibreOffice together, and each mail
// still gets its own.
TEST(MailHtmlRun, OneLibreOfficeStartForTheBodiesOfManyMails) {
  if (office::convert::Converter::findProgram().isEmpty()) GTEST_SKIP() << "LibreOffice is not installed";
  QTemporaryDir home, out;
  ScopedEnv homeEnv{"ORDOLO_HOME", home.path().toUtf8()};
  lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
  for (int i = 1; i <= 4; ++i)
    writeFile(home.filePath(QStringLiteral("store/Inbox/m%1.eml").arg(i)),
              "From: Shop <shop@example.com>\nTo: Anna <anna@example.org>\nSubject: News " + QByteArray::number(i) +
                  "\nDate: Tue, 03 Mar 2026 07:3" + QByteArray::number(i) +
                  ":00 +0100\nMIME-Version: 1.0\nContent-Type: text/html; charset=utf-8\n\n"
                  "<html><body><h1>Issue " +
                  QByteArray::number(i) + "</h1><p>Body of news " + QByteArray::number(i) + "</p></body></html>\n");
  QFile::copy(QStringLiteral(ORDOLO_TEST_DATA "/word/mail.docx"), home.filePath("MMemo.docx"));
  QString why;
  auto store = store::FileStore::open(home.filePath("store"), &why);
  ASSERT_TRUE(store) << why.toStdString();
  auto inbox = store->folderByPath("Inbox");
  ScriptedPort port;
  session::Start start(port);
  ASSERT_TRUE(start.StartPrint(model::Selection(inbox->GetItems()->all()), inbox, "Anna"));
  print::FolderOutput output(out.path(), false);
  ASSERT_TRUE(output.prepare(&why));
  office::convert::Converter converter;
  session::PrintRun run(port, output, &converter);
  session::RunOptions options;
  options.templatePath = home.filePath("MMemo.docx");
  const session::RunResult result = run.run(start.items(), start.rows(), options);
  ASSERT_TRUE(result.errors.isEmpty()) << result.errors.join('\n').toStdString();
  EXPECT_EQ(converter.launches(), 1);
  for (int n = 1; n <= 4; ++n) {
    office::Error error;
    auto doc = office::word::Document::create(out.filePath(QStringLiteral("MMemo-00%1.docx").arg(n)), &error);
    ASSERT_TRUE(doc) << error.debugText().toStdString();
    const QString text = doc->contentText();
    const int i = start.items()[size_t(n - 1)]->text("Subject").section(' ', 1).toInt();
    EXPECT_TRUE(text.contains(QStringLiteral("Issue %1\rBody of news %1\r").arg(i))) << text.toStdString();
  }
}
