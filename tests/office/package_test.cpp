// OOXML packages: parts read and replaced, hostile zips refused.
#include "office/Package.h"
#include "support/TestEnv.h"

#include <gtest/gtest.h>

#include <zip.h>

#include <utility>
#include <vector>

using ordolo::office::Package;
using namespace ordolo::test;

namespace {

// A zip with the given entries, in order, written with libzip.
QString makeZip(const QString& path, const std::vector<std::pair<const char*, QByteArray>>& entries) {
  int code = 0;
  zip_t* z = zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
  EXPECT_TRUE(z);
  for (const auto& [name, data] : entries) {
    zip_source_t* s = zip_source_buffer(z, data.constData(), zip_uint64_t(data.size()), 0);
    EXPECT_GE(zip_file_add(z, name, s, ZIP_FL_ENC_UTF_8), 0) << name;
  }
  EXPECT_EQ(zip_close(z), 0);
  return path;
}

class PackageTest : public ::testing::Test {
 protected:
  QString file(const char* name) { return dir.filePath(QString::fromLatin1(name)); }
  QTemporaryDir dir;
};

}  // namespace

TEST_F(PackageTest, SavedCopyReplacesChangedPartsAndKeepsTheRest) {
  const QByteArray types = "<?xml version=\"1.0\"?><Types/>";
  const QByteArray document = QByteArray("<w:document>") + QByteArray(5000, 'x') + "</w:document>";
  makeZip(file("t.dotx"),
          {{"[Content_Types].xml", types}, {"word/document.xml", document}, {"word/styles.xml", "<s/>"}});
  QString why;
  auto p = Package::open(file("t.dotx"), &why);
  ASSERT_TRUE(p) << why.toStdString();
  EXPECT_EQ(p->entries(), QStringList({"[Content_Types].xml", "word/document.xml", "word/styles.xml"}));
  EXPECT_EQ(*p->read("word/document.xml", &why), document);

  p->write("word/document.xml", "<w:document>filled</w:document>");
  p->write("word/media/image1.png", "PNG");
  EXPECT_EQ(*p->read("word/document.xml", &why), "<w:document>filled</w:document>");
  ASSERT_TRUE(p->saveAs(file("out.docx"), &why)) << why.toStdString();
  // The template itself is untouched.
  EXPECT_EQ(*Package::open(file("t.dotx"), &why)->read("word/document.xml", &why), document);

  auto q = Package::open(file("out.docx"), &why);
  ASSERT_TRUE(q) << why.toStdString();
  EXPECT_EQ(q->entries(),
            QStringList({"[Content_Types].xml", "word/document.xml", "word/styles.xml", "word/media/image1.png"}));
  EXPECT_EQ(*q->read("[Content_Types].xml", &why), types);
  EXPECT_EQ(*q->read("word/document.xml", &why), "<w:document>filled</w:document>");
  EXPECT_EQ(*q->read("word/media/image1.png", &why), "PNG");
  EXPECT_FALSE(q->read("word/missing.xml", &why));
  EXPECT_TRUE(why.contains("out.docx") && why.contains("word/missing.xml")) << why.toStdString();
  EXPECT_EQ(QDir(dir.path()).entryList(QStringList{".ordolo-*"}, QDir::Files | QDir::Hidden).size(), 0);
}

TEST_F(PackageTest, FilesThatAreNoSafePackageAreRefusedByName) {
  QString why;
  EXPECT_FALSE(Package::open(file("missing.docx"), &why));
  EXPECT_TRUE(why.contains("missing.docx"));

  writeFile(file("text.docx"), "This is not a zip file at all, just text.");
  EXPECT_FALSE(Package::open(file("text.docx"), &why));
  EXPECT_TRUE(why.contains("text.docx") && why.contains("not a zip")) << why.toStdString();

  for (const char* evil : {"../evil.xml", "word/../../evil.xml", "/etc/evil.xml", "word\\..\\evil.xml"}) {
    makeZip(file("evil.docx"), {{"[Content_Types].xml", "<Types/>"}, {evil, "x"}});
    EXPECT_FALSE(Package::open(file("evil.docx"), &why)) << evil;
    EXPECT_TRUE(why.contains("leaves the package")) << why.toStdString();
  }

  // Cut in half: the central directory is gone.
  makeZip(file("whole.docx"), {{"[Content_Types].xml", "<Types/>"}, {"word/document.xml", QByteArray(20000, 'a')}});
  QByteArray bytes = readFile(file("whole.docx"));
  writeFile(file("cut.docx"), bytes.left(bytes.size() / 2));
  EXPECT_FALSE(Package::open(file("cut.docx"), &why));
  EXPECT_TRUE(why.contains("cut.docx"));
}

TEST_F(PackageTest, AZipBombIsNotUnpacked) {
  // 16 MB of zeros pack into a few kilobytes.
  makeZip(file("bomb.docx"), {{"[Content_Types].xml", "<Types/>"}, {"word/document.xml", QByteArray(16 << 20, '\0')}});
  ASSERT_LT(QFileInfo(file("bomb.docx")).size(), 100000);
  QString why;
  auto p = Package::open(file("bomb.docx"), &why);
  ASSERT_TRUE(p) << why.toStdString();
  EXPECT_FALSE(p->read("word/document.xml", &why));
  EXPECT_TRUE(why.contains("bomb")) << why.toStdString();
  EXPECT_TRUE(p->read("[Content_Types].xml", &why));
}

// XML parts become trees of about ten times their size: beyond 64 MB one is
// refused by name and limit; other parts may be larger (pictures).
TEST_F(PackageTest, AnXmlPartTooLargeToParseIsRefusedByNameAndLimit) {
  const QByteArray big((Package::kMaxXmlPartSize) + 1, 'x');
  int code = 0;
  zip_t* z = zip_open(QFile::encodeName(file("big.xlsx")).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
  ASSERT_TRUE(z);
  for (const char* name : {"xl/worksheets/sheet1.xml", "xl/media/image1.png"}) {
    const zip_int64_t i = zip_file_add(z, name, zip_source_buffer(z, big.constData(), zip_uint64_t(big.size()), 0), 0);
    ASSERT_GE(i, 0);
    zip_set_file_compression(z, zip_uint64_t(i), ZIP_CM_STORE, 0);  // no ratio to trip over
  }
  ASSERT_EQ(zip_close(z), 0);
  QString why;
  auto p = Package::open(file("big.xlsx"), &why);
  ASSERT_TRUE(p) << why.toStdString();
  EXPECT_FALSE(p->read("xl/worksheets/sheet1.xml", &why));
  EXPECT_TRUE(why.contains("big.xlsx") && why.contains("sheet1.xml") && why.contains("larger than 64 MB"))
      << why.toStdString();
  EXPECT_EQ(p->read("xl/media/image1.png", &why).value_or(QByteArray()).size(), big.size());
}

// A stranger's template linking to pictures, frames or a template on the
// web or on this disk: the saved copy points those links at nothing, so
// that no program that opens it (LibreOffice when printing, the desktop's
// office program after --save) loads them. Hyperlinks are kept as they are.
// A symlink stored in the zip is only ever read as bytes.
TEST_F(PackageTest, SavedCopiesLinkToNothingOutsideButKeepHyperlinks) {
  const QByteArray rels =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>"
      "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
      "<Relationship Id=\"rId1\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/styles\" "
      "Target=\"styles.xml\"/>"
      "<Relationship Id=\"rId2\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/image\" "
      "Target=\"http://tracker.example/open.png\" TargetMode=\"External\"/>"
      "<Relationship Id=\"rId3\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/image\" "
      "Target=\"file:///home/someone/private.png\" TargetMode='External'/>"
      "<Relationship Id=\"rId4\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/hyperlink\" "
      "Target=\"https://example.org/more\" TargetMode=\"External\"/>"
      "</Relationships>";
  makeZip(file("t.dotx"), {{"[Content_Types].xml", "<Types/>"},
                           {"word/document.xml", "<w:document/>"},
                           {"word/_rels/document.xml.rels", rels},
                           {"word/_rels/header1.xml.rels", rels},
                           {"word/link", "/etc/passwd"}});
  {  // word/link becomes a symlink entry, as zip -y stores one
    int code = 0;
    zip_t* z = zip_open(QFile::encodeName(file("t.dotx")).constData(), 0, &code);
    ASSERT_TRUE(z);
    ASSERT_EQ(zip_file_set_external_attributes(z, zip_uint64_t(zip_name_locate(z, "word/link", 0)), 0, ZIP_OPSYS_UNIX,
                                               (0120777u) << 16),
              0);
    ASSERT_EQ(zip_close(z), 0);
  }
  QString why;
  auto p = Package::open(file("t.dotx"), &why);
  ASSERT_TRUE(p) << why.toStdString();
  EXPECT_EQ(p->read("word/link", &why), QByteArray("/etc/passwd"));
  p->write("word/_rels/header1.xml.rels", rels);  // staged parts are made safe too
  ASSERT_TRUE(p->saveAs(file("out.docx"), &why)) << why.toStdString();
  auto q = Package::open(file("out.docx"), &why);
  ASSERT_TRUE(q) << why.toStdString();
  for (const char* part : {"word/_rels/document.xml.rels", "word/_rels/header1.xml.rels"}) {
    const QString saved = QString::fromUtf8(q->read(part, &why).value_or(QByteArray()));
    EXPECT_FALSE(saved.contains("tracker.example") || saved.contains("private.png")) << saved.toStdString();
    EXPECT_TRUE(saved.contains("Target=\"styles.xml\"")) << saved.toStdString();
    EXPECT_TRUE(saved.contains("Target=\"https://example.org/more\" TargetMode=\"External\"")) << saved.toStdString();
    EXPECT_EQ(saved.count("TargetMode"), 1) << saved.toStdString();
  }
  // The template itself is untouched, and nothing was unpacked beside it.
  EXPECT_TRUE(Package::open(file("t.dotx"), &why)->read("word/_rels/document.xml.rels", &why)->contains("tracker"));
  EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
            QStringList({"out.docx", "t.dotx"}));
}
