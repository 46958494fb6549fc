// The Word engine and placeholder replacement on templates LibreOffice wrote
// (tests/data/word, made by make-templates.sh): split runs, headers,
// footers, a text box, a footnote, tables and report blocks.
#include "lang/Messages.h"
#include "office/Package.h"
#include "office/word/Document.h"
#include "support/TempCleanup.h"
#include "template/ReplacePlaceholder.h"
#include "template/WordTarget.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ordolo;
using namespace ordolo::office::word;

namespace {

QString Data(const char* name) { return QStringLiteral(ORDOLO_TEST_DATA "/word/") + name; }

std::unique_ptr<Document> Open(const char* name) {
  office::Error error;
  auto doc = Document::create(Data(name), &error);
  EXPECT_TRUE(doc) << error.debugText().toStdString();
  return doc;
}

QString StoryText(Document& doc, StoryType t) {
  Story* s = doc.story(t);
  return s ? doc.storyText(s) : QString();
}

// A part of a saved package as text.
QByteArray PartOf(const QString& path, const char* part) {
  QString error;
  auto pkg = office::Package::open(path, &error);
  if (!pkg) return {};
  return pkg->read(QString::fromLatin1(part), &error).value_or(QByteArray());
}

struct Filler {
  tpl::WordTarget st;
  explicit Filler(Document* doc) : st(*doc) {}
  void operator()(const QString& cAlt, const QString& cNeu, bool wildcards = true, bool test = true) {
    bool retry = true;
    tpl::ReplacePlaceholder(st, cAlt, cNeu, wildcards, test, retry);
  }
};

}  // namespace

TEST(WordDocumentTest, StoriesAndTextAsWordReportsThem) {
  auto doc = Open("memo.docx");
  ASSERT_TRUE(doc);
  std::vector<int> types;
  for (Story* s : doc->storyRanges()) types.push_back(int(Document::typeOf(s)));
  EXPECT_EQ(types, (std::vector<int>{1, 2, 5, 7, 9}));

  const QString main = doc->contentText();
  // Runs are joined, paragraphs end in CR, cells in CR BEL, rows in two of them.
  EXPECT_TRUE(main.startsWith("Subject: #Subject end\rDate #StartDate, time #Start.\r")) << main.toStdString();
  EXPECT_TRUE(main.contains("#Subject\r\a#Start\r\a#Location\r\a\r\a")) << main.toStdString();
  // Text boxes and notes are stories of their own, not main text.
  EXPECT_FALSE(main.contains("Box #Location"));
  EXPECT_FALSE(main.contains("Note #Location"));
  EXPECT_EQ(StoryText(*doc, StoryType::PrimaryHeader), "Head #User #Subject\r");
  EXPECT_TRUE(StoryText(*doc, StoryType::TextFrame).contains("Box #Location"));
  EXPECT_TRUE(StoryText(*doc, StoryType::Footnotes).contains("Note #Location"));

  // The presence text covers what replacement searches, notes excluded.
  const QString searched = doc->searchedText();
  EXPECT_TRUE(searched.contains("Foot #Caption"));
  EXPECT_TRUE(searched.contains("Box #Location"));
  EXPECT_FALSE(searched.contains("Note #Location"));
}

TEST(WordDocumentTest, StoryPassReplacesEverywhereButNotes) {
  auto doc = Open("memo.docx");
  ASSERT_TRUE(doc);
  Filler fill(doc.get());
  fill("#<Subject>", "Budget review");
  fill("#Location", "Room 4");
  fill("#<User>", "Anna Berger");
  fill("#<Caption>", "Calendar - Ordolo");

  const QString main = doc->contentText();
  EXPECT_TRUE(main.startsWith("Subject: Budget review end\r")) << main.toStdString();
  EXPECT_TRUE(main.contains("Budget review\r\a#Start\r\aRoom 4\r\a\r\a"));
  EXPECT_EQ(StoryText(*doc, StoryType::PrimaryHeader), "Head Anna Berger Budget review\r");
  EXPECT_EQ(StoryText(*doc, StoryType::PrimaryFooter), "Foot Calendar - Ordolo\r");
  EXPECT_FALSE(StoryText(*doc, StoryType::TextFrame).contains("#Location"));
  EXPECT_TRUE(StoryText(*doc, StoryType::Footnotes).contains("Note #Location"));

  QTemporaryDir dir;
  const QString out = dir.filePath("memo.docx");
  office::Error error;
  ASSERT_TRUE(doc->saveAs(out, &error)) << error.debugText().toStdString();
  const QByteArray xml = PartOf(out, "word/document.xml");
  // The value takes the formatting of the run where the match began (italic).
  EXPECT_TRUE(xml.contains("<w:r><w:rPr><w:i/></w:rPr><w:t xml:space=\"preserve\">Budget review</w:t></w:r>") ||
              xml.contains("<w:i/></w:rPr><w:t xml:space=\"preserve\">Budget review</w:t>"))
      << xml.left(3000).constData();
  EXPECT_FALSE(xml.contains("<w:t>ject</w:t>"));
  // Both copies of the text box (the shape and its fallback) were filled.
  EXPECT_EQ(xml.count("Box Room 4"), 2);
  EXPECT_TRUE(PartOf(out, "word/footnotes.xml").contains("Note #Location"));
}

TEST(WordDocumentTest, WholeWordsCaseAndPresenceTest) {
  auto doc = Open("memo.docx");
  ASSERT_TRUE(doc);
  Filler fill(doc.get());
  // #Start is found by the presence test inside #StartDate, but only the
  // whole word is replaced.
  fill("#<Start>", "10:00");
  EXPECT_TRUE(doc->contentText().contains("Date #StartDate, time 10:00.\r"));
  EXPECT_TRUE(doc->contentText().contains("Budget") == false);

  // A literal placeholder ignores case in the document, but the presence
  // test is exact: with it the lower-case template text stays.
  fill("#SUBJECT", "X");
  EXPECT_TRUE(doc->contentText().contains("Case: #subject\r"));
  fill("#SUBJECT", "X", false, false);
  EXPECT_TRUE(doc->contentText().contains("Case: X\r")) << doc->contentText().toStdString();

  // Absent from the document: nothing happens.
  const QString before = doc->contentText();
  fill("#<Nowhere>", "value");
  EXPECT_EQ(doc->contentText(), before);
}

TEST(WordDocumentTest, BackslashesAndReplacementSpecials) {
  auto doc = Open("memo.docx");
  ASSERT_TRUE(doc);
  Filler fill(doc.get());
  // A digit after the backslash must not join its character code.
  fill("#<Path>", "C:\\Temp\\2026\\7");
  EXPECT_TRUE(doc->contentText().contains("Path: C:\\Temp\\2026\\7\r")) << doc->contentText().toStdString();

  // ^l breaks the line inside the paragraph; CR starts a paragraph; CR FF
  // starts one after a page break.
  fill("#<Body>", QStringLiteral("one^ltwo\rthree\r\ffour"));
  EXPECT_TRUE(doc->contentText().contains(QStringLiteral("Body: one\vtwo\rthree\r\ffour\r")))
      << doc->contentText().toStdString();

  QTemporaryDir dir;
  const QString out = dir.filePath("specials.docx");
  ASSERT_TRUE(doc->saveAs(out, nullptr));
  const QByteArray xml = PartOf(out, "word/document.xml");
  EXPECT_TRUE(xml.contains("<w:br w:type=\"page\"/>"));
  EXPECT_TRUE(xml.contains("<w:br/>"));
  // The path keeps its colour.
  EXPECT_TRUE(xml.contains("<w:color w:val=\"C00000\"/></w:rPr><w:t xml:space=\"preserve\">C:\\Temp\\2026\\7</w:t>"))
      << xml.constData();
}

TEST(WordDocumentTest, LeftoverRemovalAndUnsupportedPatternRetry) {
  auto doc = Open("memo.docx");
  ASSERT_TRUE(doc);
  Range all = doc->content();
  FindOptions find;
  find.text = "#<([A-Z])*([A-Z,1-9,a-z])>";
  find.matchWildcards = true;
  find.wrap = Wrap::Continue;
  const FindResult res = doc->execute(all, find, ReplaceMode::All);
  EXPECT_TRUE(res.ok);
  const QString main = doc->contentText();
  EXPECT_FALSE(main.contains("#Subject"));
  EXPECT_FALSE(main.contains("#Unused"));
  EXPECT_TRUE(main.contains("Case: #subject\r"));  // [A-Z] wants a capital
  EXPECT_TRUE(main.startsWith("Subject:  end\r"));

  // A wildcard the engine does not know fails without touching anything;
  // the one retry then searches the bare text literally.
  Filler fill(doc.get());
  Range& sel = doc->selection();
  sel = Range{sel.story, 0, 0};
  ASSERT_TRUE(doc->typeText("Total #Sum{net}\r"));
  fill.st.fillWhole();
  fill("#<Sum{net}>", "12.50");
  EXPECT_TRUE(doc->contentText().startsWith("Total 12.50\r")) << doc->contentText().toStdString();
  bool test = true;
  bool noRetry = false;
  tpl::ReplacePlaceholder(fill.st, "#<Sum{net}>", "x", true, test, noRetry);
  EXPECT_TRUE(doc->contentText().startsWith("Total 12.50\r"));
}

TEST(WordDocumentTest, TableModeLeavesEarlierRowsAlone) {
  auto doc = Open("memo.docx");
  ASSERT_TRUE(doc);
  ASSERT_EQ(doc->tableCount(), 1);
  ASSERT_EQ(doc->rowCount(1), 2);
  const RowBlock block = doc->copyRows(1, 2, 2);
  Filler fill(doc.get());
  for (int item = 0; item < 3; ++item) {
    if (item > 0) {
      ASSERT_TRUE(doc->appendRows(1, block));
    }
    fill.st.fillRows(1, 2 + item, 1);
    fill("#<Subject>", QStringLiteral("Item %1").arg(item));
    // The first item leaves #Location unfilled; later rows must not reach back.
    if (item > 0) fill("#<Location>", QStringLiteral("Room %1").arg(item));
  }
  EXPECT_EQ(doc->rowCount(1), 4);
  EXPECT_EQ(doc->text(*doc->rowRange(1, 2)), "Item 0\r\a#Start\r\a#Location\r\a\r\a");
  EXPECT_EQ(doc->text(*doc->rowRange(1, 3)), "Item 1\r\a#Start\r\aRoom 1\r\a\r\a");
  EXPECT_EQ(doc->text(*doc->rowRange(1, 4)), "Item 2\r\a#Start\r\aRoom 2\r\a\r\a");
  // Text after the table is still the document's end.
  EXPECT_TRUE(doc->contentText().endsWith("Room 2\r\a\r\aEnd #Unused\r"));

  ASSERT_TRUE(doc->deleteRow(1, 3));
  EXPECT_EQ(doc->rowCount(1), 3);
  EXPECT_EQ(doc->text(*doc->rowRange(1, 3)), "Item 2\r\a#Start\r\aRoom 2\r\a\r\a");

  RowFormat plain;
  plain.fontSizeChange = -1;
  plain.bold = false;
  plain.clearShading = true;
  plain.removeTopBorder = true;
  ASSERT_TRUE(doc->formatRow(1, 3, plain));
  QTemporaryDir dir;
  const QString out = dir.filePath("rows.docx");
  ASSERT_TRUE(doc->saveAs(out, nullptr));
  const QByteArray xml = PartOf(out, "word/document.xml");
  EXPECT_TRUE(xml.contains("<w:top w:val=\"nil\"/>"));
  EXPECT_TRUE(xml.contains("<w:shd w:val=\"clear\" w:color=\"auto\" w:fill=\"auto\"/>"));
  // 11 points from the Normal style, one less.
  EXPECT_TRUE(xml.contains("<w:sz w:val=\"20\"/>"));
}

TEST(WordDocumentTest, ReportBlocksRepeatAtTheBookmark) {
  auto doc = Open("report.docx");
  ASSERT_TRUE(doc);
  Range& sel = doc->selection();
  FindOptions find;
  find.text = "[^60]%*%[^62]";
  find.matchWildcards = true;
  find.wrap = Wrap::Continue;
  ASSERT_EQ(doc->execute(sel, find, ReplaceMode::None).found, 1);
  EXPECT_EQ(doc->text(sel), "<%\r#Subject at #Start\r%>");
  const Fragment block = doc->copy(sel);
  ASSERT_FALSE(block.empty());
  ASSERT_TRUE(doc->addBookmark("ORDOLO", sel));

  Filler fill(doc.get());
  int blockStart = 0;
  const QStringList subjects = {"Alpha", "Beta", "Gamma"};
  for (int item = 0; item < subjects.size(); ++item) {
    if (item > 0) {
      auto mark = doc->bookmark("ORDOLO");
      ASSERT_TRUE(mark);
      Range at{mark->story, mark->end, mark->end};
      blockStart = at.start;
      ASSERT_TRUE(doc->paste(at, block));
      ASSERT_TRUE(doc->addBookmark("ORDOLO", Range{at.story, blockStart, at.start}));
    }
    fill.st.fillFrom(blockStart);
    fill.st.setText(doc->contentText());
    fill("#<Subject>", subjects[item]);
    fill("#<Start>", QStringLiteral("%1:00").arg(9 + item));
  }
  const QString text = doc->contentText();
  // Each item got a fresh copy behind the previous one, and no block was
  // filled twice.
  EXPECT_EQ(text, "Title #Folder\r<%\rAlpha at 9:00\r%><%\rBeta at 10:00\r%><%\rGamma at 11:00\r%>\rClosing line\r")
      << text.toStdString();
}

TEST(WordDocumentTest, TemplateBecomesDocumentAndSavesCleanly) {
  auto doc = Open("memo.dotx");
  ASSERT_TRUE(doc);
  Filler fill(doc.get());
  fill("#<Subject>", "Saved");
  QTemporaryDir dir;
  const QString out = dir.filePath("from-template.docx");
  office::Error error;
  ASSERT_TRUE(doc->saveAs(out, &error)) << error.debugText().toStdString();
  const QByteArray types = PartOf(out, "[Content_Types].xml");
  EXPECT_TRUE(types.contains("wordprocessingml.document.main+xml"));
  EXPECT_FALSE(types.contains("template.main+xml"));
  // Reopened, it reads as it was left; the template is untouched.
  auto again = Document::create(out, &error);
  ASSERT_TRUE(again) << error.debugText().toStdString();
  EXPECT_EQ(again->contentText(), doc->contentText());
  EXPECT_TRUE(PartOf(Data("memo.dotx"), "[Content_Types].xml").contains("template.main+xml"));
  EXPECT_TRUE(PartOf(out, "word/document.xml")
                  .startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>"));
}

TEST(WordDocumentTest, TypingPicturesAndInsertedFiles) {
  auto doc = Open("report.docx");
  ASSERT_TRUE(doc);
  Range& sel = doc->selection();
  FindOptions find;
  find.text = "#Folder";
  ASSERT_EQ(doc->execute(sel, find, ReplaceMode::None).found, 1);
  ASSERT_TRUE(doc->typeText("Inbox"));
  EXPECT_TRUE(doc->contentText().startsWith("Title Inbox\r"));
  ASSERT_TRUE(doc->typeBackspace());
  EXPECT_TRUE(doc->contentText().startsWith("Title Inbo\r"));

  // A file inserted at a position brings its paragraphs and one extra mark,
  // which a backspace takes away again.
  Range at = sel;
  office::Error error;
  ASSERT_TRUE(doc->insertFile(Data("report.docx"), at, &error)) << error.debugText().toStdString();
  doc->selection() = at;
  ASSERT_TRUE(doc->typeBackspace());
  EXPECT_TRUE(doc->contentText().startsWith("Title InboTitle #Folder\r<%\r")) << doc->contentText().toStdString();

  // A picture replaces the selected text and is sized in points.
  QTemporaryDir dir;
  const QString png = dir.filePath("p.png");
  {
    QFile f(png);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(QByteArray::fromBase64(
        "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8DwHwAFBQIAX8jx0gAAAABJRU5ErkJggg=="));
  }
  find.text = "Closing";
  Range r = doc->content();
  ASSERT_EQ(doc->execute(r, find, ReplaceMode::None).found, 1);
  ASSERT_TRUE(doc->addPicture(png, r, 98.95, 108.85, &error)) << error.debugText().toStdString();
  EXPECT_TRUE(doc->contentText().contains("%>\r\x01 line\r")) << doc->contentText().toStdString();
  const QString out = dir.filePath("pic.docx");
  ASSERT_TRUE(doc->saveAs(out, &error));
  const QByteArray xml = PartOf(out, "word/document.xml");
  EXPECT_TRUE(xml.contains("cx=\"1256665\" cy=\"1382395\"")) << xml.constData();
  EXPECT_FALSE(PartOf(out, "word/media/ordolo1.png").isEmpty());
  EXPECT_TRUE(PartOf(out, "[Content_Types].xml").contains("Extension=\"png\""));
  EXPECT_FALSE(doc->addPicture(Data("report.docx"), r, 10, 10, &error));
  EXPECT_EQ(error.problem, office::Problem::PictureInsert);
  ASSERT_TRUE(error.cause);
  EXPECT_EQ(error.cause->problem, office::Problem::PictureKind);
  EXPECT_TRUE(lang::Describe(error).contains("report.docx")) << lang::Describe(error).toStdString();
}

TEST(WordDocumentTest, BadTemplatesGiveErrorsNamingTheFile) {
  QTemporaryDir dir;
  auto write = [&](const char* name, const QByteArray& data) {
    QFile f(dir.filePath(name));
    EXPECT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(data);
    return dir.filePath(name);
  };
  office::Error error;
  auto said = [&] { return lang::Describe(error); };
  const QString notZip = write("notzip.dotx", "This is plain text, not a package.");
  EXPECT_FALSE(Document::create(notZip, &error));
  EXPECT_EQ(error.problem, office::Problem::DocumentOpen);
  EXPECT_TRUE(said().contains("notzip.dotx")) << said().toStdString();

  // A package without a document part, and one whose XML is broken.
  auto repack = [&](const char* name, const char* part, const QByteArray& content, bool drop) {
    QString e;
    auto pkg = office::Package::open(Data("memo.docx"), &e);
    EXPECT_TRUE(pkg);
    const QString out = dir.filePath(name);
    if (drop) {
      pkg->write(
          "_rels/.rels",
          "<?xml version=\"1.0\"?><Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\"/>");
    } else {
      pkg->write(part, content);
    }
    EXPECT_TRUE(pkg->saveAs(out, &e)) << e.toStdString();
    return out;
  };
  const QString noBody = repack("nobody.docx", nullptr, {}, true);
  EXPECT_FALSE(Document::create(noBody, &error));
  EXPECT_EQ(error.problem, office::Problem::DocumentNoBody);
  EXPECT_TRUE(said().contains("nobody.docx")) << said().toStdString();
  const QString broken = repack("broken.docx", "word/document.xml", "<w:document><w:body><w:p>", false);
  EXPECT_FALSE(Document::create(broken, &error));
  EXPECT_EQ(error.problem, office::Problem::DocumentXml);
  EXPECT_TRUE(said().contains("broken.docx") && said().contains("word/document.xml")) << said().toStdString();
  const QString brokenHeader = repack("header.docx", "word/header1.xml", "<w:hdr", false);
  EXPECT_FALSE(Document::create(brokenHeader, &error));
  EXPECT_TRUE(said().contains("header.docx")) << said().toStdString();

  // A 100 MB picture inside is never unpacked: it is carried over as it is.
  const QString big = repack("big.docx", "word/media/huge.png", QByteArray(100 << 20, '\0'), false);
  auto doc = Document::create(big, &error);
  ASSERT_TRUE(doc) << said().toStdString();
  const QString out = dir.filePath("big-out.docx");
  ASSERT_TRUE(doc->saveAs(out, &error)) << said().toStdString();
  QString why;
  EXPECT_TRUE(office::Package::open(out, &why)->has("word/media/huge.png"));
}
