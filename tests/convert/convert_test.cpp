// The LibreOffice converter against the real soffice, on documents that
// LibreOffice itself makes from small HTML and CSV files. Only what cannot
// be had on demand (a hanging or crashing LibreOffice) is a shell script.
#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <signal.h>
#include <utime.h>

#include "lang/Messages.h"
#include "office/Package.h"
#include "office/convert/Converter.h"
#include "support/TestEnv.h"
#include "util/Folders.h"

using namespace ordolo;
using office::convert::Converter;
using office::convert::Options;
using office::convert::Result;
using lang::Msg;
using test::readFile;
using test::writeFile;

namespace {

// The converters' profiles and staging folders live in the process's
// temporary folder.
class RemoveTempFolderAtEnd : public ::testing::Environment {
  void TearDown() override { util::RemoveTempFolder(); }
};
const auto* const kTempCleanup = ::testing::AddGlobalTestEnvironment(new RemoveTempFolderAtEnd);

QString pdfText(const QString& pdf) {
  QProcess p;
  p.start(QStringLiteral("pdftotext"), {pdf, QStringLiteral("-")});
  p.waitForFinished(30000);
  return QString::fromUtf8(p.readAllStandardOutput());
}

QString partText(const QString& package, const QString& part) {
  QString error;
  auto pkg = office::Package::open(package, &error);
  if (!pkg) return error;
  return QString::fromUtf8(pkg->read(part, &error).value_or(error.toUtf8()));
}

QString script(const QString& folder, const QString& name, const QByteArray& body) {
  const QString path = writeFile(folder + QLatin1Char('/') + name, "#!/bin/sh\n" + body);
  QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  return path;
}

// True once the process is gone or only a zombie waiting to be reaped.
bool gone(qint64 pid) {
  const QString proc = QStringLiteral("/proc/%1/stat").arg(pid);
  if (!QFile::exists(proc)) return true;
  const QByteArray stat = readFile(proc);
  const int paren = stat.lastIndexOf(')');
  return paren > 0 && stat.mid(paren + 2, 1) == "Z";
}

class ConvertTest : public ::testing::Test {
 protected:
  // LibreOffice makes the fixtures once per build tree (test processes may
  // run side by side, hence the lock): three Word documents, two versions
  // of a legacy Word file and a legacy Excel file.
  static void SetUpTestSuite() {
    QLockFile lock(QStringLiteral(ORDOLO_CONVERT_FIXTURES ".lock"));
    lock.setStaleLockTime(0);
    lock.lock();
    const QString d = QStringLiteral(ORDOLO_CONVERT_FIXTURES);
    if (!QFile::exists(d + "/complete")) {
      for (const char* word : {"Alpha", "Beta", "Gamma"})
        writeFile(d + QStringLiteral("/src/%1.html").arg(QLatin1String(word)),
                  QByteArray("<html><body><p>") + word + " paragraph</p></body></html>");
      writeFile(d + "/src/Letter.html", "<html><body><p>Delta letter #Subject</p></body></html>");
      writeFile(d + "/src/Letter2.html", "<html><body><p>Zeta letter</p><p>second line</p></body></html>");
      writeFile(d + "/src/Sheet.csv", "Name,Amount\nEpsilon,42\n");
      const QString profile = "-env:UserInstallation=file://" + d + "/profile";
      auto lo = [&](const QStringList& args) {
        QProcess p;
        p.start(QStringLiteral("soffice"), QStringList{profile, "--headless", "--norestore"} + args);
        p.waitForFinished(180000);
      };
      lo({"--convert-to", "docx:MS Word 2007 XML", "--outdir", d + "/docs", d + "/src/Alpha.html",
          d + "/src/Beta.html", d + "/src/Gamma.html"});
      lo({"--convert-to", "doc:MS Word 97", "--outdir", d + "/legacy", d + "/src/Letter.html",
          d + "/src/Letter2.html"});
      lo({"--convert-to", "xls:MS Excel 97", "--outdir", d + "/legacy", d + "/src/Sheet.csv"});
      QDir(d + "/profile").removeRecursively();
      writeFile(d + "/complete", "");
    }
    dir_ = new QTemporaryDir;
    Options options;
    options.cacheFolder = dir_->path() + "/cache";
    converter_ = new Converter(options);
  }
  static void TearDownTestSuite() {
    delete converter_;
    delete dir_;
  }
  void SetUp() override {
    for (const char* f : {"/docs/Alpha.docx", "/docs/Beta.docx", "/docs/Gamma.docx", "/legacy/Letter.doc",
                          "/legacy/Letter2.doc", "/legacy/Sheet.xls"})
      ASSERT_GT(QFileInfo(fixture(f)).size(), 0) << "LibreOffice did not make the fixture " << f;
  }
  static QString fixture(const QString& rel) { return QStringLiteral(ORDOLO_CONVERT_FIXTURES) + rel; }
  static QString path(const QString& rel) { return dir_->path() + rel; }
  static QString copy(const QString& from, const QString& to) {
    QDir().mkpath(QFileInfo(path(to)).absolutePath());
    QFile::remove(path(to));
    QFile::copy(fixture(from), path(to));
    return path(to);
  }

  static inline QTemporaryDir* dir_ = nullptr;
  static inline Converter* converter_ = nullptr;
};

TEST_F(ConvertTest, BatchGivesEachDocumentItsOwnPdfAndErrorsOnlyForTheBadOnes) {
  const QString sameA = copy("/docs/Alpha.docx", "/a/same.docx");
  const QString sameB = copy("/docs/Beta.docx", "/b/same.docx");
  const QString gamma = fixture("/docs/Gamma.docx");
  // Random bytes under a Word name: LibreOffice would print them as text.
  const QString noise = writeFile(path("/bad/noise.docx"), QByteArray(3000, '\x17') + "garbage");
  // A zip that is no Word document: LibreOffice itself refuses it.
  QProcess zip;
  zip.setWorkingDirectory(fixture("/src"));
  QDir().mkpath(path("/bad"));
  zip.start("zip", {"-q", path("/bad/notword.docx"), "Sheet.csv"});
  ASSERT_TRUE(zip.waitForFinished(30000));
  const QString notWord = path("/bad/notword.docx");
  const QString missing = path("/bad/missing.docx");
  const QString out = path("/out/new/folder");
  writeFile(out + "/Gamma.pdf", "an old file of the same name");

  std::vector<std::pair<int, int>> steps;
  const std::vector<Result> r = converter_->toPdf({sameA, noise, sameB, missing, notWord, gamma}, out,
                                                  [&](int done, int total) { steps.emplace_back(done, total); });
  ASSERT_EQ(r.size(), 6u);
  EXPECT_EQ(r[0].input, sameA);
  EXPECT_TRUE(r[0].ok()) << r[0].error.toStdString();
  EXPECT_TRUE(r[2].ok()) << r[2].error.toStdString();
  EXPECT_TRUE(r[5].ok()) << r[5].error.toStdString();
  EXPECT_NE(r[0].output, r[2].output);
  EXPECT_EQ(QFileInfo(r[0].output).fileName(), "same.pdf");
  EXPECT_EQ(QFileInfo(r[2].output).fileName(), "same (2).pdf");
  EXPECT_EQ(r[5].output, QDir(out).absoluteFilePath("Gamma.pdf"));
  EXPECT_TRUE(pdfText(r[0].output).contains("Alpha paragraph"));
  EXPECT_TRUE(pdfText(r[2].output).contains("Beta paragraph"));
  EXPECT_TRUE(pdfText(r[5].output).contains("Gamma paragraph"));

  EXPECT_EQ(r[1].error, lang::text(Msg::ErrConvertNotDocument).arg(noise));
  EXPECT_EQ(r[3].error, lang::text(Msg::ErrConvertNoFile).arg(missing));
  EXPECT_EQ(r[4].error, lang::text(Msg::ErrConvertFailed).arg(notWord));
  for (int i : {1, 3, 4}) EXPECT_TRUE(r[size_t(i)].output.isEmpty());
  EXPECT_EQ(QDir(out).entryList(QDir::Files).size(), 3);

  ASSERT_FALSE(steps.empty());
  EXPECT_EQ(steps.back(), std::make_pair(6, 6));
  for (size_t i = 1; i < steps.size(); ++i) EXPECT_GE(steps[i].first, steps[i - 1].first);
}

TEST_F(ConvertTest, LegacyTemplateIsConvertedOnceAndAgainWhenItChanges) {
  const QString dot = copy("/legacy/Letter.doc", "/templates/Letter.dot");
  const int before = converter_->launches();

  const Result first = converter_->toOoxml(dot);
  ASSERT_TRUE(first.ok()) << first.error.toStdString();
  EXPECT_FALSE(first.fromCache);
  EXPECT_EQ(converter_->launches(), before + 1);
  EXPECT_TRUE(first.output.startsWith(path("/cache/")));
  EXPECT_TRUE(first.output.endsWith(".docx"));
  EXPECT_TRUE(partText(first.output, "word/document.xml").contains("Delta letter #Subject"));
  // Nothing is written beside the source.
  EXPECT_EQ(QDir(path("/templates")).entryList(QDir::Files | QDir::Hidden), QStringList{"Letter.dot"});

  const Result again = converter_->toOoxml(dot);
  EXPECT_TRUE(again.fromCache);
  EXPECT_EQ(again.output, first.output);
  EXPECT_EQ(converter_->launches(), before + 1);

  // A changed source (new time, new size) is converted again and replaces
  // the old copy.
  copy("/legacy/Letter2.doc", "/templates/Letter.dot");
  utimbuf later{};
  later.actime = later.modtime = QFileInfo(dot).lastModified().toSecsSinceEpoch() + 60;
  utime(QFile::encodeName(dot).constData(), &later);

  const Result changed = converter_->toOoxml(dot);
  ASSERT_TRUE(changed.ok()) << changed.error.toStdString();
  EXPECT_FALSE(changed.fromCache);
  EXPECT_EQ(converter_->launches(), before + 2);
  EXPECT_TRUE(partText(changed.output, "word/document.xml").contains("Zeta letter"));
  EXPECT_FALSE(QFile::exists(first.output));
  EXPECT_EQ(QDir(path("/cache")).entryList(QDir::Files).size(), 1);
}

TEST_F(ConvertTest, LegacyWorkbookBecomesXlsx) {
  const Result r = converter_->toOoxml(fixture("/legacy/Sheet.xls"));
  ASSERT_TRUE(r.ok()) << r.error.toStdString();
  EXPECT_TRUE(r.output.endsWith(".xlsx"));
  QString error;
  auto pkg = office::Package::open(r.output, &error);
  ASSERT_TRUE(pkg) << error.toStdString();
  EXPECT_TRUE(pkg->has("xl/workbook.xml"));
  const QString strings = partText(r.output, "xl/sharedStrings.xml") + partText(r.output, "xl/worksheets/sheet1.xml");
  EXPECT_TRUE(strings.contains("Epsilon"));
}

TEST(ConvertSetup, LegacyRefusalsNeedNoLibreOffice) {
  QTemporaryDir dir;
  Converter converter(Options{.cacheFolder = dir.path()});
  const QString docx = writeFile(dir.path() + "/New.docx", "PK\x03\x04 already OOXML");
  EXPECT_EQ(converter.toOoxml(docx).error, lang::text(Msg::ErrConvertNotLegacy).arg(docx));
  const QString missing = dir.path() + "/nowhere/Old.dot";
  EXPECT_EQ(converter.toOoxml(missing).error, lang::text(Msg::ErrConvertNoFile).arg(missing));
  const QString fake = writeFile(dir.path() + "/Fake.xlt", "PK\x03\x04 this is a zip, not a workbook of 1997");
  EXPECT_EQ(converter.toOoxml(fake).error, lang::text(Msg::ErrConvertNotDocument).arg(fake));
  EXPECT_EQ(converter.launches(), 0);
}

TEST(ConvertSetup, MissingLibreOfficeIsToldNotRun) {
  QTemporaryDir dir;
  test::ScopedEnv soffice("ORDOLO_SOFFICE", QByteArray("/nonexistent/soffice"));
  Converter converter(Options{.cacheFolder = dir.path()});
  const QString doc = writeFile(dir.path() + "/a.docx", "PK\x03\x04 enough for the first look");
  const QString old = writeFile(dir.path() + "/b.doc", "{\\rtf1 hello}");

  const auto pdf = converter.toPdf({doc}, dir.path() + "/out");
  ASSERT_EQ(pdf.size(), 1u);
  EXPECT_EQ(pdf[0].error, lang::text(Msg::ErrOfficeMissing));
  EXPECT_TRUE(pdf[0].error.contains("LibreOffice"));
  EXPECT_EQ(converter.toOoxml(old).error, lang::text(Msg::ErrOfficeMissing));
  EXPECT_EQ(converter.launches(), 0);

  // Without the variable the program is looked for on PATH.
  test::ScopedEnv unset("ORDOLO_SOFFICE", std::nullopt);
  test::ScopedEnv path("PATH", QFile::encodeName(dir.path()));
  EXPECT_TRUE(Converter::findProgram().isEmpty());
  script(dir.path(), "libreoffice", "exit 0\n");
  EXPECT_EQ(Converter::findProgram(), dir.path() + "/libreoffice");
}

TEST(ConvertSetup, CacheFolderFollowsOrdoloHomeThenXdg) {
  test::ScopedEnv home("ORDOLO_HOME", QByteArray("/srv/ordolo"));
  test::ScopedEnv xdg("XDG_CACHE_HOME", QByteArray("/var/cache/me"));
  EXPECT_EQ(Converter::defaultCacheFolder(), "/srv/ordolo/cache/converted/");
  test::ScopedEnv noHome("ORDOLO_HOME", std::nullopt);
  EXPECT_EQ(Converter::defaultCacheFolder(), "/var/cache/me/ordolo/converted/");
  test::ScopedEnv relative("XDG_CACHE_HOME", QByteArray("relative/cache"));
  test::ScopedEnv user("HOME", QByteArray("/home/me"));
  EXPECT_EQ(Converter::defaultCacheFolder(), "/home/me/.cache/ordolo/converted/");
}

TEST(ConvertFake, HangingLibreOfficeIsKilledWithItsChildren) {
  QTemporaryDir dir;
  const QString pids = dir.path() + "/pids";
  const QString hang = script(dir.path(), "soffice",
                              "echo $$ > '" + pids.toUtf8() + "'\nsleep 300 &\necho $! >> '" + pids.toUtf8() +
                                  "'\nwait\n");
  Converter converter(Options{.program = hang, .baseTimeoutMs = 300, .perDocumentTimeoutMs = 200});
  const QString doc = writeFile(dir.path() + "/a.docx", "PK\x03\x04 enough for the first look");

  const auto r = converter.toPdf({doc}, dir.path() + "/out");
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].error, lang::text(Msg::ErrConvertTimeout).arg(doc, "1"));
  const QList<QByteArray> started = readFile(pids).trimmed().split('\n');
  ASSERT_EQ(started.size(), 2);
  for (const QByteArray& pid : started) {
    // The kill is sent before toPdf returns; reaping the orphaned child is up to init.
    for (int i = 0; i < 100 && !gone(pid.toLongLong()); ++i) QThread::msleep(50);
    EXPECT_TRUE(gone(pid.toLongLong())) << "process " << pid.toStdString() << " still runs";
  }
}

TEST(ConvertFake, CrashOnOneDocumentCostsOnlyThatDocument) {
  QTemporaryDir dir;
  // Behaves like soffice --convert-to: one "convert" line per document, in
  // order; dies on a document that says CRASH.
  const QString fake = script(dir.path(), "soffice", R"(out=
while [ $# -gt 0 ]; do
  case "$1" in
    --outdir) out=$2; shift ;;
    --convert-to) shift ;;
    -*) ;;
    *) if grep -q CRASH "$1"; then kill -SEGV $$; fi
       name=$(basename "$1"); name=${name%.*}
       echo "convert $1 -> $out/$name.pdf using filter : fake"
       cp "$1" "$out/$name.pdf" ;;
  esac
  shift
done
)");
  Converter converter(Options{.program = fake});
  QStringList inputs;
  for (const char* text : {"one", "CRASH", "three", "four"})
    inputs << writeFile(dir.path() + "/in/" + text + ".txt", text);

  const auto r = converter.toPdf(inputs, dir.path() + "/out");
  ASSERT_EQ(r.size(), 4u);
  EXPECT_EQ(r[1].error, lang::text(Msg::ErrConvertCrashed).arg(inputs[1]));
  for (int i : {0, 2, 3}) {
    ASSERT_TRUE(r[size_t(i)].ok()) << r[size_t(i)].error.toStdString();
    EXPECT_EQ(readFile(r[size_t(i)].output), readFile(inputs[i]));
  }
  EXPECT_EQ(converter.launches(), 2);

  // One that dies at once every time is given up on after a second try.
  Converter broken(Options{.program = script(dir.path(), "dies", "kill -SEGV $$\n")});
  const auto all = broken.toPdf(inputs, dir.path() + "/out2");
  for (size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i].error, lang::text(Msg::ErrConvertCrashed).arg(inputs[int(i)]));
  EXPECT_EQ(broken.launches(), 2);
}

}  // namespace
