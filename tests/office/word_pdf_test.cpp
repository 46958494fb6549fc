// A filled template goes through LibreOffice to PDF and the page shows the
// values where the placeholders were.
#include "office/convert/Converter.h"
#include "office/word/Document.h"
#include "template/ReplacePlaceholder.h"
#include "template/WordTarget.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ordolo;

TEST(WordPdfTest, FilledTemplatePrintsItsValues) {
  if (office::convert::Converter::findProgram().isEmpty()) GTEST_SKIP() << "LibreOffice is not installed";
  office::Error error;
  auto doc = office::word::Document::create(QStringLiteral(ORDOLO_TEST_DATA "/word/memo.dotx"), &error);
  ASSERT_TRUE(doc) << error.debugText().toStdString();
  tpl::WordTarget st(*doc);
  auto fill = [&](const char* cAlt, const QString& value, bool wildcards) {
    bool test = true;
    bool retry = true;
    tpl::ReplacePlaceholder(st, QString::fromUtf8(cAlt), value, wildcards, test, retry);
  };
  fill("#<Subject>", "Quarterly budget review", true);
  fill("#<StartDate>", "12.03.2026", true);
  fill("#<Start>", "09:30", true);
  fill("#<Path>", "C:\\Shared\\Budget", true);
  fill("#Location", "Room 4.012", false);
  fill("#<User>", "Anna Berger", true);
  fill("#<Caption>", "Calendar - Ordolo", true);
  fill("#<Body>", "First line\r\nSecond line", true);

  QTemporaryDir dir;
  const QString docx = dir.filePath("memo.docx");
  ASSERT_TRUE(doc->saveAs(docx, &error)) << error.debugText().toStdString();
  office::convert::Converter converter;
  const auto results = converter.toPdf({docx}, dir.path());
  ASSERT_EQ(results.size(), 1u);
  ASSERT_TRUE(results[0].ok()) << results[0].error.debugText().toStdString();

  QProcess pdftotext;
  pdftotext.start("pdftotext", {"-layout", results[0].output, "-"});
  ASSERT_TRUE(pdftotext.waitForFinished(30000));
  const QString text = QString::fromUtf8(pdftotext.readAllStandardOutput());
  for (const char* value : {"Subject: Quarterly budget review end", "Date 12.03.2026, time 09:30.",
                            "Path: C:\\Shared\\Budget", "Head Anna Berger Quarterly budget review",
                            "Foot Calendar - Ordolo", "Box Room 4.012", "Note #Location", "Second line"}) {
    EXPECT_TRUE(text.contains(QString::fromUtf8(value))) << value << "\n" << text.toStdString();
  }
  EXPECT_FALSE(text.contains("#Subject"));
}

TEST(WordPdfTest, HtmlInsertedThroughLibreOffice) {
  if (office::convert::Converter::findProgram().isEmpty()) GTEST_SKIP() << "LibreOffice is not installed";
  QTemporaryDir dir;
  const QString html = dir.filePath("body.html");
  {
    QFile f(html);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(
        "<html><body><p>Hello <b>bold</b> world</p><table border=1><tr><td>cell A</td><td>cell B</td></tr></table>"
        "<p>Last</p></body></html>");
  }
  office::Error error;
  auto doc = office::word::Document::create(QStringLiteral(ORDOLO_TEST_DATA "/word/report.docx"), &error);
  ASSERT_TRUE(doc) << error.debugText().toStdString();
  office::word::Range at = doc->content();
  office::word::FindOptions find;
  find.text = "#Folder";
  ASSERT_EQ(doc->execute(at, find, office::word::ReplaceMode::None).found, 1);
  // Without an importer HTML is refused with the file's name.
  office::word::Range copy = at;
  EXPECT_FALSE(doc->insertFile(html, copy, &error));
  EXPECT_EQ(error.problem, office::Problem::InsertFile);
  EXPECT_EQ(error.details.value(0), html);

  office::convert::Converter converter;
  doc->setImporter([&](const QString& file, office::Error* why) {
    const auto r = converter.toDocx(file, dir.filePath("imported.docx"));
    if (!r.ok()) *why = r.error;
    return r.output;
  });
  ASSERT_TRUE(doc->insertFile(html, at, &error)) << error.debugText().toStdString();
  const QString text = doc->contentText();
  EXPECT_TRUE(text.startsWith("Title Hello bold world\rcell A\r\acell B\r\a\r\aLast\r")) << text.toStdString();
  EXPECT_EQ(doc->tableCount(), 1);
}
