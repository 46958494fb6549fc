// The Excel workbook engine on LibreOffice-made files: reading cells,
// Excel's Find/Replace rules, row copies and what follows them, saving, and
// damaged files.
#include "office/Package.h"
#include "office/excel/References.h"
#include "office/excel/Workbook.h"
#include "support/TestEnv.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ordolo::office::excel;
using ordolo::office::Package;
using namespace ordolo::test;

namespace {

QString data(const char* name) { return QStringLiteral(ORDOLO_TEST_DATA "/excel/") + QString::fromLatin1(name); }

std::unique_ptr<Workbook> openOrFail(const char* name) {
  ordolo::office::Error error;
  auto book = Workbook::open(data(name), &error);
  EXPECT_TRUE(book) << error.debugText().toStdString();
  return book;
}

QByteArray part(const QString& file, const char* name) {
  QString error;
  auto p = Package::open(file, &error);
  if (!p) return {};
  return p->read(QString::fromLatin1(name), &error).value_or(QByteArray());
}

}  // namespace

TEST(ExcelWorkbook, ReadsTheActiveSheetsValuesByKind) {
  auto book = openOrFail("list.xlsx");
  ASSERT_TRUE(book);
  Worksheet* ws = book->ActiveSheet();
  EXPECT_EQ(ws->name(), QStringLiteral("Items"));  // activeTab 1, not the first sheet
  EXPECT_EQ(book->sheetNames(), (QStringList{QStringLiteral("Notes"), QStringLiteral("Items")}));

  EXPECT_EQ(ws->Value(1, 1).kind, CellValue::Kind::Text);  // a shared string
  EXPECT_EQ(ws->Text(1, 1), QStringLiteral("#User"));
  const CellValue number = ws->Value(1, 3);
  EXPECT_EQ(number.kind, CellValue::Kind::Number);
  EXPECT_EQ(number.number, 42);
  EXPECT_FALSE(number.isDate);
  const CellValue date = ws->Value(1, 4);  // 12.03.2024 stays the serial number
  EXPECT_EQ(date.kind, CellValue::Kind::Number);
  EXPECT_EQ(date.number, 45363);
  EXPECT_TRUE(date.isDate);
  const CellValue formula = ws->Value(5, 2);
  EXPECT_TRUE(formula.isFormula);
  EXPECT_EQ(formula.text, QStringLiteral("2"));
  EXPECT_EQ(ws->Formula(5, 2), QStringLiteral("COUNTA(A3:A4)"));
  EXPECT_EQ(ws->Value(4, 2).kind, CellValue::Kind::Empty);  // styled, merged, no value
  EXPECT_EQ(ws->lastRow(), 6);
  EXPECT_EQ(ws->lastColumn(), 4);
}

TEST(ExcelWorkbook, FindAndReplaceFollowExcelsMatchRules) {
  auto book = openOrFail("list.xlsx");
  ASSERT_TRUE(book);
  Worksheet* ws = book->ActiveSheet();
  Range cells = ws->Cells();

  // Whole cell against part of a cell; Find, as Excel's, ignores case.
  auto whole = cells.Find(QStringLiteral("#subject"), xlWhole);
  ASSERT_TRUE(whole);
  EXPECT_EQ(whole->row, 3);
  EXPECT_EQ(whole->column, 1);
  auto part = cells.Find(QStringLiteral("and more"), xlPart);
  ASSERT_TRUE(part);
  EXPECT_EQ(part->column, 3);
  EXPECT_FALSE(cells.Find(QStringLiteral("and more"), xlWhole));
  EXPECT_FALSE(cells.Find(QString(), xlPart));
  EXPECT_FALSE(ws->Rows(QStringLiteral("4:6")).Find(QStringLiteral("#Subject"), xlPart));
  EXPECT_FALSE(ws->Rows(QStringLiteral("x:y")).Find(QStringLiteral("#Subject"), xlPart));

  // Case must match when asked to; the cell is left as it was.
  EXPECT_TRUE(cells.Replace(QStringLiteral("#SUBJECT"), QStringLiteral("no"), xlPart, xlByRows, true));
  EXPECT_EQ(ws->Text(3, 1), QStringLiteral("#Subject"));

  // Part replaces every occurrence in every cell, whole only whole cells.
  EXPECT_TRUE(cells.Replace(QStringLiteral("#Subject"), QStringLiteral("Tea"), xlWhole, xlByRows, true));
  EXPECT_EQ(ws->Text(3, 1), QStringLiteral("Tea"));
  EXPECT_EQ(ws->Text(3, 3), QStringLiteral("#Subject and more"));
  EXPECT_EQ(ws->Text(1, 1), QStringLiteral("#User"));

  // Wildcards: * and ? match, ~ makes them literal.
  ws->SetText(2, 4, QStringLiteral("50% * off?"));
  EXPECT_TRUE(cells.Find(QStringLiteral("#Sub*more"), xlWhole));
  EXPECT_FALSE(cells.Find(QStringLiteral("#Sub?more"), xlWhole));
  EXPECT_TRUE(cells.Find(QStringLiteral("#Dur?tionMin"), xlWhole));
  auto star = cells.Find(QStringLiteral("~*"), xlPart);
  ASSERT_TRUE(star);
  EXPECT_EQ(star->column, 4);
  EXPECT_FALSE(cells.Find(QStringLiteral("Tea~?"), xlPart));
  EXPECT_TRUE(cells.Replace(QStringLiteral("#Sub*and"), QStringLiteral("A"), xlPart, xlByRows, true));
  EXPECT_EQ(ws->Text(3, 3), QStringLiteral("A more"));
  EXPECT_TRUE(cells.Replace(QStringLiteral("off~?"), QStringLiteral("on"), xlPart, xlByRows, true));
  EXPECT_EQ(ws->Text(2, 4), QStringLiteral("50% * on"));

  // Formulas are left alone even when their value matches.
  EXPECT_TRUE(cells.Replace(QStringLiteral("2"), QStringLiteral("x"), xlWhole, xlByRows, true));
  EXPECT_EQ(ws->Formula(5, 2), QStringLiteral("COUNTA(A3:A4)"));
}

TEST(ExcelWorkbook, NumbersLongTextsAndTheCellLimit) {
  auto book = openOrFail("list.xlsx");
  ASSERT_TRUE(book);
  Worksheet* ws = book->ActiveSheet();

  // A whole new text that is a plain number becomes a number, keeping the style.
  EXPECT_TRUE(ws->Cells().Replace(QStringLiteral("#DurationMin"), QStringLiteral("90"), xlPart, xlByRows, true));
  EXPECT_EQ(ws->Value(4, 3).kind, CellValue::Kind::Number);
  EXPECT_EQ(ws->Value(4, 3).number, 90);
  ws->SetValue(2, 1, QStringLiteral("-2.5"));
  EXPECT_EQ(ws->Value(2, 1).number, -2.5);
  EXPECT_EQ(ws->Value(2, 1).kind, CellValue::Kind::Number);
  EXPECT_TRUE(ws->Value(2, 1).isDate == false);
  // Texts that a number would not show as written stay texts.
  for (const char* text : {"007", "3.50", "+49", "1e5", "12345678901234567890", "3,5"}) {
    ws->SetValue(2, 2, QString::fromLatin1(text));
    EXPECT_EQ(ws->Value(2, 2).kind, CellValue::Kind::Text) << text;
    EXPECT_EQ(ws->Text(2, 2), QString::fromLatin1(text));
  }

  // Beyond 32,767 characters Replace fails and changes nothing; a set value is cut.
  const QString huge(40000, QLatin1Char('x'));
  EXPECT_FALSE(ws->Cells().Replace(QStringLiteral("#User"), huge, xlWhole, xlByRows, true));
  EXPECT_EQ(ws->Text(1, 1), QStringLiteral("#User"));
  EXPECT_EQ(ws->Text(1, 2), QStringLiteral("List of #Folder"));
  ws->SetValue(1, 1, huge);
  EXPECT_EQ(ws->Text(1, 1).size(), kMaxCellChars);
}

TEST(ExcelWorkbook, SavedTemplateIsAWorkbookWithUntouchedPartsKept) {
  QTemporaryDir dir;
  const QString out = dir.filePath(QStringLiteral("out.xlsx"));
  auto book = openOrFail("list.xltx");
  ASSERT_TRUE(book);
  Worksheet* ws = book->ActiveSheet();
  ws->SetText(3, 1, QStringLiteral("Tea & <cake> _x0041_ \x01"));
  ordolo::office::Error error;
  ASSERT_TRUE(book->saveAs(out, &error)) << error.debugText().toStdString();

  EXPECT_TRUE(part(out, "[Content_Types].xml").contains("spreadsheetml.sheet.main+xml"));
  EXPECT_FALSE(part(out, "[Content_Types].xml").contains("template.main+xml"));
  for (const char* same : {"xl/styles.xml", "xl/worksheets/sheet1.xml", "xl/workbook.xml", "docProps/app.xml"})
    EXPECT_EQ(part(out, same), part(data("list.xltx"), same)) << same;
  // One shared string reference fewer: the count follows.
  EXPECT_TRUE(part(out, "xl/sharedStrings.xml").contains("count=\"12\" uniqueCount=\"13\""));

  auto again = Workbook::open(out, &error);
  ASSERT_TRUE(again) << error.debugText().toStdString();
  EXPECT_EQ(again->ActiveSheet()->Text(3, 1), QStringLiteral("Tea & <cake> _x0041_ \x01"));
  EXPECT_EQ(again->ActiveSheet()->Text(3, 3), QStringLiteral("#Subject and more"));
}

TEST(ExcelWorkbook, InsertedRowCopiesCarryValuesStylesMergesAndFormulas) {
  QTemporaryDir dir;
  auto book = openOrFail("list.xlsx");
  ASSERT_TRUE(book);
  Worksheet* ws = book->ActiveSheet();
  const RowBlock block = ws->CopyRows(3, 4);
  ws->SetText(3, 1, QStringLiteral("first"));
  ws->InsertRows(5, block);
  ws->InsertRows(7, block);

  EXPECT_EQ(ws->Text(3, 1), QStringLiteral("first"));
  EXPECT_EQ(ws->Text(5, 1), QStringLiteral("#Subject"));  // the unfilled copy
  EXPECT_EQ(ws->Text(8, 3), QStringLiteral("#DurationMin"));
  EXPECT_EQ(ws->Text(9, 1), QStringLiteral("Count"));  // moved down by four
  EXPECT_EQ(ws->Text(10, 1), QStringLiteral("End of #Caption"));
  // The count over the item rows grows with the copies.
  EXPECT_EQ(ws->Formula(9, 2), QStringLiteral("COUNTA(A3:A8)"));

  const QString out = dir.filePath(QStringLiteral("rows.xlsx"));
  ordolo::office::Error error;
  ASSERT_TRUE(book->saveAs(out, &error)) << error.debugText().toStdString();
  const QByteArray sheet = part(out, "xl/worksheets/sheet2.xml");
  EXPECT_TRUE(sheet.contains(
      "<mergeCells count=\"3\"><mergeCell ref=\"A4:B4\"/><mergeCell ref=\"A6:B6\"/><mergeCell ref=\"A8:B8\"/></mergeCells>"));
  EXPECT_TRUE(sheet.contains("<dimension ref=\"A1:D10\"/>"));
  EXPECT_TRUE(sheet.contains("<row r=\"7\" customFormat=\"false\" ht=\"22.7\""));  // the copy's height
  EXPECT_TRUE(sheet.contains("<c r=\"A7\" s=\"2\" t=\"s\"><v>6</v></c>"));         // and style
  EXPECT_TRUE(part(out, "xl/workbook.xml").contains("fullCalcOnLoad=\"1\""));
  EXPECT_TRUE(part(out, "xl/sharedStrings.xml").contains("count=\"22\""));  // -1 + 2 x 5

  // Deleting rows: merges and ranges shrink, references into them break.
  auto again = Workbook::open(out, &error);
  ASSERT_TRUE(again);
  Worksheet* w2 = again->ActiveSheet();
  w2->DeleteRows(4, 4);
  EXPECT_EQ(w2->Text(4, 1), QStringLiteral("#Location"));
  EXPECT_EQ(w2->Formula(5, 2), QStringLiteral("COUNTA(A3:A4)"));
  ASSERT_TRUE(again->saveAs(out, &error));
  EXPECT_TRUE(part(out, "xl/worksheets/sheet2.xml")
                  .contains("<mergeCells count=\"1\"><mergeCell ref=\"A4:B4\"/></mergeCells>"));
}

TEST(ExcelWorkbook, PicturesFollowTheirRowAndJoinAnExistingDrawing) {
  QTemporaryDir dir;
  const QString png = dir.filePath(QStringLiteral("p.png"));
  const QString text = dir.filePath(QStringLiteral("p.txt"));
  for (const auto& [path, bytes] :
       {std::pair{png, QByteArray("\x89PNG\r\n\x1a\nrest")}, std::pair{text, QByteArray("hello")}}) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
  }
  auto book = openOrFail("list.xlsx");
  ASSERT_TRUE(book);
  Worksheet* ws = book->ActiveSheet();
  ordolo::office::Error error;
  EXPECT_FALSE(ws->AddPicture(3, 2, text, 10, 10, &error));
  EXPECT_TRUE(error.debugText().contains(text)) << error.debugText().toStdString();
  ASSERT_TRUE(ws->AddPicture(3, 2, png, 98.95, 108.85, &error)) << error.debugText().toStdString();
  ASSERT_TRUE(ws->AddPicture(4, 1, png, 10, 10, &error));
  ws->InsertEmptyRows(2, 2);  // row 3 becomes row 5
  ws->DeleteRows(6, 1);       // the second picture's row goes, and the picture with it
  const QString out = dir.filePath(QStringLiteral("pictures.xlsx"));
  ASSERT_TRUE(book->saveAs(out, &error)) << error.debugText().toStdString();

  const QByteArray drawing = part(out, "xl/drawings/drawing1.xml");
  EXPECT_EQ(drawing.count("<xdr:oneCellAnchor"), 1);
  EXPECT_TRUE(drawing.contains("<xdr:col>1</xdr:col><xdr:colOff>25400</xdr:colOff><xdr:row>4</xdr:row>"));
  EXPECT_TRUE(drawing.contains("<xdr:ext cx=\"1256665\" cy=\"1382395\"/>"));
  EXPECT_TRUE(part(out, "xl/worksheets/sheet2.xml").contains("<drawing r:id=\""));
  EXPECT_TRUE(part(out, "xl/worksheets/_rels/sheet2.xml.rels").contains("Target=\"../drawings/drawing1.xml\""));
  EXPECT_TRUE(part(out, "xl/drawings/_rels/drawing1.xml.rels").contains("Target=\"../media/ordolo1.png\""));
  EXPECT_EQ(part(out, "xl/media/ordolo1.png"), QByteArray("\x89PNG\r\n\x1a\nrest"));
  const QByteArray types = part(out, "[Content_Types].xml");
  EXPECT_TRUE(types.contains("Extension=\"png\"") && types.contains("/xl/drawings/drawing1.xml"))
      << types.toStdString();

  // A second save of the result adds to its drawing, under fresh names.
  auto again = Workbook::open(out, &error);
  ASSERT_TRUE(again);
  ASSERT_TRUE(again->ActiveSheet()->AddPicture(1, 1, png, 10, 10, &error));
  ASSERT_TRUE(again->saveAs(out, &error)) << error.debugText().toStdString();
  EXPECT_EQ(part(out, "xl/drawings/drawing1.xml").count("<xdr:oneCellAnchor"), 2);
  EXPECT_TRUE(part(out, "xl/drawings/_rels/drawing1.xml.rels").contains("Target=\"../media/ordolo2.png\""));
  QString why;
  EXPECT_FALSE(Package::open(out, &why)->has(QStringLiteral("xl/drawings/drawing2.xml")));
}

TEST(ExcelWorkbook, DamagedFilesAreRefusedNamingTheFile) {
  ordolo::office::Error error;
  EXPECT_FALSE(Workbook::open(data("not-a-zip.xlsx"), &error));
  EXPECT_TRUE(error.debugText().contains(data("not-a-zip.xlsx"))) << error.debugText().toStdString();

  error = {};
  EXPECT_FALSE(Workbook::open(data("missing-sheet.xlsx"), &error));
  EXPECT_EQ(error.problem, ordolo::office::Problem::WorkbookPart);
  EXPECT_TRUE(error.debugText().contains(data("missing-sheet.xlsx"))) << error.debugText().toStdString();
  EXPECT_TRUE(error.debugText().contains(QStringLiteral("xl/worksheets/sheet2.xml")))
      << error.debugText().toStdString();

  error = {};
  EXPECT_FALSE(Workbook::open(data("bad-xml.xlsx"), &error));
  EXPECT_EQ(error.problem, ordolo::office::Problem::WorkbookXml);
  EXPECT_TRUE(error.debugText().contains(data("bad-xml.xlsx"))) << error.debugText().toStdString();
  EXPECT_TRUE(error.debugText().contains(QStringLiteral("xl/worksheets/sheet2.xml")))
      << error.debugText().toStdString();

  error = {};
  EXPECT_FALSE(Workbook::open(data("no-such-file.xlsx"), &error));
  EXPECT_TRUE(error.debugText().contains(QStringLiteral("no-such-file.xlsx")));
}

TEST(ExcelReferences, FormulasFollowRowShiftsAndCopies) {
  auto shifted = [](const char* f, RowShift s, const char* sheet = "Items") {
    FormulaRefs refs(QString::fromLatin1(f), QString::fromLatin1(sheet), true);
    refs.apply(s);
    return refs.text().toStdString();
  };
  const RowShift insert{5, 2, false};
  EXPECT_EQ(shifted("A4+$B$5*B6", insert), "A4+$B$7*B8");
  EXPECT_EQ(shifted("SUM(A1:A4)", insert), "SUM(A1:A4)");
  EXPECT_EQ(shifted("SUM(A1:A4)", RowShift{5, 2, true}), "SUM(A1:A6)");  // ends just above: grows
  EXPECT_EQ(shifted("SUM(A3:A9)", insert), "SUM(A3:A11)");
  EXPECT_EQ(shifted("SUM(5:6)", insert), "SUM(7:8)");
  // Texts, other sheets, functions and names are not references of ours.
  EXPECT_EQ(shifted("\"A5\"&Other!A5&'It''s'!B9&LOG10(A5)", insert), "\"A5\"&Other!A5&'It''s'!B9&LOG10(A7)");
  EXPECT_EQ(shifted("Items!A5+'Items'!B6", insert), "Items!A7+'Items'!B8");
  EXPECT_EQ(shifted("[1]Items!A5", insert), "[1]Items!A5");
  // Deleted rows: single references break, ranges shrink.
  const RowShift del{3, -2, false};
  EXPECT_EQ(shifted("A3+A5+SUM(A2:A4)+SUM(A3:A4)", del), "#REF!+A3+SUM(A2:A2)+SUM(#REF!)");

  FormulaRefs copy(QStringLiteral("LEN(A3)*$B$1+SUM(C$3:C4)"), QStringLiteral("Items"), true);
  copy.offsetRelative(4);
  EXPECT_EQ(copy.text(), QStringLiteral("LEN(A7)*$B$1+SUM(C$3:C8)"));

  EXPECT_EQ(shiftSqref(QStringLiteral("A1:B4 C5 D3:D4"), del), QStringLiteral("A1:B2 C3"));
  int row = 0, col = 0;
  EXPECT_TRUE(parseAddress("XFD1048576", &row, &col));
  EXPECT_EQ(col, 16384);
  EXPECT_FALSE(parseAddress("A0", &row, &col));
  EXPECT_FALSE(parseAddress("ABCD1", &row, &col));
  EXPECT_EQ(address(12, 28), QStringLiteral("AB12"));
}
