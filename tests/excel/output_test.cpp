// The Excel output of a print run: the template block, one copy per item,
// the Excel replacement's matching rules, and the finished file as
// LibreOffice reads it.
#include "office/Package.h"
#include "template/ExcelOutput.h"
#include "template/ReplacePlaceholder.h"
#include "template/TemplateKind.h"
#include "support/TestEnv.h"

#include <QProcess>

#include <gtest/gtest.h>

using namespace ordolo::tpl;
using namespace ordolo::office::excel;
using namespace ordolo::test;

namespace {

QString data(const char* name) { return QStringLiteral(ORDOLO_TEST_DATA "/excel/") + QString::fromLatin1(name); }

// The sheets of a workbook as LibreOffice reads them, one csv text per sheet.
QString asCsv(const QString& file, const QString& sheet) {
  QTemporaryDir out;
  QProcess p;
  p.start(QStringLiteral("soffice"),
          {QStringLiteral("-env:UserInstallation=file:///tmp/lo-prof-excel"), QStringLiteral("--headless"),
           QStringLiteral("--convert-to"),
           QStringLiteral("csv:Text - txt - csv (StarCalc):44,34,76,1,,0,false,true,false,false,false,-1"),
           QStringLiteral("--outdir"), out.path(), file});
  if (!p.waitForFinished(120000)) return QStringLiteral("(soffice did not finish)");
  const QString base = QFileInfo(file).completeBaseName();
  return QString::fromUtf8(readFile(out.filePath(base + QLatin1Char('-') + sheet + QStringLiteral(".csv"))));
}

class ExcelRun : public ::testing::Test {
 protected:
  void open(const char* name) {
    QString error;
    ASSERT_TRUE(output.Open(data(name), &error)) << error.toStdString();
    sheet = output.workbook()->ActiveSheet();
  }
  void put(const char* placeholder, const QString& value, bool test = true) {
    bool lTest = test, lRetry = true;
    ReplacePlaceholder(output, QString::fromLatin1(placeholder), value, true, lTest, lRetry);
  }
  QString at(int row, int col) const { return sheet->Text(row, col); }

  ExcelOutput output;
  Worksheet* sheet = nullptr;
};

}  // namespace

TEST_F(ExcelRun, BlockIsTheRowsHoldingItemPlaceholders) {
  open("list.xlsx");
  EXPECT_FALSE(TemplateKind::fromFileName(data("list.xlsx")).word);
  EXPECT_EQ(output.blockFirstRow(), 3);  // row 1's #User and #Folder are sheet-wide
  EXPECT_EQ(output.blockLastRow(), 4);
  EXPECT_TRUE(ExcelOutput::HoldsItemPlaceholder(QStringLiteral("due #StartDate")));
  EXPECT_FALSE(ExcelOutput::HoldsItemPlaceholder(QStringLiteral("#User on #Folder")));
  EXPECT_FALSE(ExcelOutput::HoldsItemPlaceholder(QStringLiteral("#1 and # 2")));
  EXPECT_TRUE(ExcelOutput::HoldsItemPlaceholder(QStringLiteral("#UserName")));
}

TEST_F(ExcelRun, EachItemFillsItsOwnCopyAndRowsBelowMoveDown) {
  open("list.xlsx");
  for (int item = 1; item <= 3; ++item) {
    output.BeginItem();
    EXPECT_EQ(output.outputRow(), 3 + 2 * (item - 1));
    EXPECT_TRUE(output.text().contains(QStringLiteral("#Subject and more")));
    put("#<Subject>", QStringLiteral("Item %1").arg(item));
    put("#StartDate", QStringLiteral("day %1").arg(item));
    put("#DurationMin", QString::number(item * 30));
    if (item > 1) put("#<Location>", QStringLiteral("Room %1").arg(item));  // the first leaves it unfilled
    put("#<User>", QStringLiteral("Anna"));
  }
  for (int item = 1; item <= 3; ++item) {
    const int row = 3 + 2 * (item - 1);
    EXPECT_EQ(at(row, 1), QStringLiteral("Item %1").arg(item));
    EXPECT_EQ(at(row, 2), QStringLiteral("day %1").arg(item));
    EXPECT_EQ(at(row, 3), QStringLiteral("#Subject and more"));  // not a whole-cell match
    EXPECT_EQ(sheet->Value(row + 1, 3).kind, CellValue::Kind::Number);
    EXPECT_EQ(sheet->Value(row + 1, 3).number, item * 30);
  }
  EXPECT_EQ(at(4, 1), QStringLiteral("#Location"));  // later items did not reach back
  EXPECT_EQ(at(6, 1), QStringLiteral("Room 2"));
  EXPECT_EQ(at(9, 1), QStringLiteral("Count"));
  EXPECT_EQ(sheet->Formula(9, 2), QStringLiteral("COUNTA(A3:A8)"));
  EXPECT_EQ(at(10, 1), QStringLiteral("End of #Caption"));
  EXPECT_EQ(at(1, 1), QStringLiteral("Anna"));
}

TEST_F(ExcelRun, MatchingRulesOfTheExcelPath) {
  open("list.xlsx");
  output.BeginItem();
  output.BeginItem();  // the second copy, rows 5-6
  ASSERT_EQ(output.outputRow(), 5);

  // Case differs: never replaced, with or without the presence test.
  put("#<subject>", QStringLiteral("x"));
  put("#<subject>", QStringLiteral("x"), false);
  EXPECT_EQ(at(5, 1), QStringLiteral("#Subject"));

  // Without brackets part of a cell matches: both #Subject cells of the copy.
  put("#Subject", QStringLiteral("Tea"));
  EXPECT_EQ(at(5, 1), QStringLiteral("Tea"));
  EXPECT_EQ(at(5, 3), QStringLiteral("Tea and more"));
  EXPECT_EQ(at(3, 1), QStringLiteral("#Subject"));  // the first copy is not the current one

  // Sheet-wide: anywhere on the sheet, part of a cell, whatever the block.
  put("#<Folder>", QStringLiteral("Inbox"));
  EXPECT_EQ(at(1, 2), QStringLiteral("List of Inbox"));
  put("#<Caption>", QStringLiteral("Calendar"));
  EXPECT_EQ(at(8, 1), QStringLiteral("End of Calendar"));

  // Not in DocumentText: skipped while testing, searched without the test.
  output.setText(QString());
  put("#<Location>", QStringLiteral("Hall"));
  EXPECT_EQ(at(6, 1), QStringLiteral("#Location"));
  put("#<Location>", QStringLiteral("Hall"), false);
  EXPECT_EQ(at(6, 1), QStringLiteral("Hall"));

  // Line breaks in the Word notation become line breaks in a wrapped cell.
  bool lTest = false, lRetry = true;
  ReplacePlaceholder(output, QStringLiteral("#StartDate"), QStringLiteral("Mon^lTue\r\nWed"), true, lTest, lRetry);
  EXPECT_EQ(at(5, 2), QStringLiteral("Mon\nTue\nWed"));
  // Its row is made three lines high, each as high as the template row.
  QTemporaryDir dir;
  QString why;
  ASSERT_TRUE(output.SaveAs(dir.filePath("lines.xlsx"), &why)) << why.toStdString();
  auto pkg = ordolo::office::Package::open(dir.filePath("lines.xlsx"), &why);
  ASSERT_TRUE(pkg);
  const QByteArray xml = pkg->read(QStringLiteral("xl/worksheets/sheet2.xml"), &why).value_or(QByteArray());
  const int row = xml.indexOf("<row r=\"5\"");
  ASSERT_GE(row, 0);
  const QByteArray tag = xml.mid(row, xml.indexOf('>', row) - row);
  EXPECT_TRUE(tag.contains("ht=\"68.10\"")) << tag.toStdString();
  EXPECT_TRUE(tag.contains("customHeight=\"1\"")) << tag.toStdString();
}

TEST_F(ExcelRun, ValueBeyondTheCellLimitGoesThroughTheFallback) {
  open("list.xlsx");
  output.BeginItem();
  const QString huge = QString(39990, QLatin1Char('y')) + QStringLiteral("0123456789");
  put("#<Subject>", huge);
  EXPECT_EQ(at(3, 1), huge.left(kMaxCellChars));
  put("#Location", huge);  // part match: the found cell alone takes the value
  EXPECT_EQ(at(4, 1).size(), kMaxCellChars);
  EXPECT_EQ(at(3, 3), QStringLiteral("#Subject and more"));
}

TEST_F(ExcelRun, FinishedTemplateOpensInLibreOffice) {
  open("list.xltx");
  const char* subjects[] = {"Lunch", "Review, final", "Dentist"};
  for (const char* subject : subjects) {
    output.BeginItem();
    put("#<Subject>", QString::fromLatin1(subject));
    put("#StartDate", QStringLiteral("12.03."));
    put("#<User>", QStringLiteral("Anna"));
  }
  output.Finish();
  QTemporaryDir dir;
  const QString out = dir.filePath(QStringLiteral("run.xlsx"));
  QString error;
  ASSERT_TRUE(output.SaveAs(out, &error)) << error.toStdString();
  const QString csv = asCsv(out, QStringLiteral("Items"));
  EXPECT_EQ(csv, QStringLiteral("Anna,List of ,42,03/12/2024\n"
                                "Subject,When,Notes,\n"
                                "Lunch,12.03., and more,\n"
                                ",,,\n"
                                "\"Review, final\",12.03., and more,\n"
                                ",,,\n"
                                "Dentist,12.03., and more,\n"
                                ",,,\n"
                                "Count,3,,\n"
                                "End of ,,,\n"));
}

TEST_F(ExcelRun, LineBreaksPageBreaksAndFormulasOverManyItems) {
  open("breaks.xlsx");
  ASSERT_EQ(output.blockFirstRow(), 2);
  ASSERT_EQ(output.blockLastRow(), 3);
  const int items = 2000;
  for (int item = 1; item <= items; ++item) {
    output.BeginItem();
    if (item > 1) output.breakBeforeItem();
    else put("#CRLF", QString()), put("#PAGEBREAK", QString());
    put("#<Subject>", QStringLiteral("Item %1").arg(item));
    put("#DurationMin", QString::number(item));
  }
  // Each later item: an empty row, then its two rows below a page break.
  const int last = 2 + 3 * (items - 1);
  EXPECT_EQ(output.outputRow(), last);
  EXPECT_EQ(at(last + 1, 1), QStringLiteral("Item %1").arg(items));
  EXPECT_EQ(sheet->Formula(last + 1, 3), QStringLiteral("LEN(A%1)").arg(last + 1));
  EXPECT_EQ(sheet->Formula(last + 2, 2), QStringLiteral("SUM(B2:B%1)").arg(last + 1));
  const std::vector<int> breaks = sheet->pageBreaksBefore();
  ASSERT_EQ(breaks.size(), size_t(items - 1));
  EXPECT_EQ(breaks.front(), 5);
  EXPECT_EQ(breaks.back(), last);

  QTemporaryDir dir;
  const QString out = dir.filePath(QStringLiteral("days.xlsx"));
  QString error;
  ASSERT_TRUE(output.SaveAs(out, &error)) << error.toStdString();
  QString why;
  auto pkg = ordolo::office::Package::open(out, &why);
  ASSERT_TRUE(pkg);
  const QByteArray book = pkg->read(QStringLiteral("xl/workbook.xml"), &why).value_or(QByteArray());
  EXPECT_TRUE(book.contains(QStringLiteral("Days!$A$1:$C$%1").arg(last + 2).toUtf8()));  // the print area grew
  const QStringList lines = asCsv(out, QStringLiteral("Days")).split(QLatin1Char('\n'));
  ASSERT_GE(lines.size(), last + 2);
  EXPECT_EQ(lines[2], QStringLiteral("Item 1,1,6"));
  EXPECT_EQ(lines[3], QStringLiteral(",,"));
  EXPECT_EQ(lines[last], QStringLiteral("Item %1,%1,%2").arg(items).arg(QStringLiteral("Item %1").arg(items).size()));
  EXPECT_EQ(lines[last + 1], QStringLiteral("Total,%1,").arg(items * (items + 1) / 2));
}
