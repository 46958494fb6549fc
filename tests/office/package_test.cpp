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
