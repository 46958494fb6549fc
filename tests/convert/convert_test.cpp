// The LibreOffice converter against the real soffice, on documents that
// LibreOffice itself makes from small HTML and CSV files. Only what cannot
// be had on demand (a hanging or crashing LibreOffice) is a shell script.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utime.h>
#include <zip.h>

#include "lang/Messages.h"
#include "office/Package.h"
#include "office/convert/Converter.h"
#include "office/convert/TableParts.h"
#include "support/TempCleanup.h"
#include "support/TestEnv.h"
#include "util/DebugLog.h"
#include "util/Folders.h"

using namespace ordolo;
using office::convert::Converter;
using office::convert::Options;
using office::convert::Result;
using lang::Msg;
using test::readFile;
using test::pdfText;
using test::writeFile;

namespace {

QString partText(const QString& package, const QString& part) {
  QString error;
  auto pkg = office::Package::open(package, &error);
  return pkg ? QString::fromUtf8(pkg->read(part, &error).value_or(error.toUtf8())) : error;
}

QString script(const QString& folder, const QString& name, const QByteArray& body) {
  const QString path = writeFile(folder + QLatin1Char('/') + name, "#!/bin/sh\n" + body);
  QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  return path;
}

// True once the process is gone or only a zombie waiting to be reaped.
bool gone(qint64 pid) {
  const QString proc = QStringLiteral("/proc/%1/stat").arg(pid);
  const QByteArray stat = QFile::exists(proc) ? readFile(proc) : QByteArray();
  return stat.isEmpty() || stat.mid(stat.lastIndexOf(')') + 2, 1) == "Z";
}

class ConvertTest : public ::testing::Test {
 protected:
  // LibreOffice makes the fixtures once per build tree (test processes may
  // run side by side, hence the lock): two Word documents, two versions of
  // a legacy Word file and a legacy Excel file.
  static void SetUpTestSuite() {
    QLockFile lock(QStringLiteral(ORDOLO_CONVERT_FIXTURES ".lock"));
    lock.setStaleLockTime(0);
    lock.lock();
    const QString d = QStringLiteral(ORDOLO_CONVERT_FIXTURES);
    if (!QFile::exists(d + "/complete")) {
      for (const char* word : {"Alpha", "Beta"})
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
          d + "/src/Beta.html"});
      lo({"--convert-to", "doc:MS Word 97", "--outdir", d + "/legacy", d + "/src/Letter.html",
          d + "/src/Letter2.html"});
      lo({"--convert-to", "xls:MS Excel 97", "--outdir", d + "/legacy", d + "/src/Sheet.csv"});
      QDir(d + "/profile").removeRecursively();
      if (QFile::exists(d + "/legacy/Letter2.doc") && QFile::exists(d + "/legacy/Sheet.xls"))
        writeFile(d + "/complete", "");
    }
    dir_ = new QTemporaryDir;
    converter_ = new Converter(Options{.cacheFolder = dir_->path() + "/cache"});
  }
  static void TearDownTestSuite() {
    delete converter_;
    delete dir_;
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
  // Random bytes under a Word name: LibreOffice would print them as text.
  const QString noise = writeFile(path("/bad/noise.docx"), QByteArray(3000, '\x17'));
  // A zip that is no Word document: LibreOffice itself refuses it.
  const QString notWord = path("/bad/notword.docx");
  {
    int code = 0;
    zip_t* z = zip_open(QFile::encodeName(notWord).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    ASSERT_TRUE(z);
    static const char csv[] = "Name,Value\nA,1\n";
    ASSERT_GE(zip_file_add(z, "Sheet.csv", zip_source_buffer(z, csv, sizeof csv - 1, 0), 0), 0);
    ASSERT_EQ(zip_close(z), 0);
  }
  const QString missing = path("/bad/missing.docx");
  const QString out = path("/out/new/folder");
  writeFile(out + "/same.pdf", "an old file of the same name");

  std::vector<int> done;
  const std::vector<Result> r = converter_->toPdf({sameA, noise, sameB, missing, notWord}, out,
                                                  [&](int n, int total) { done.push_back(total == 5 ? n : -1); });
  ASSERT_EQ(r.size(), 5u);
  ASSERT_TRUE(r[0].ok() && r[2].ok()) << r[0].error.debugText().toStdString() << r[2].error.debugText().toStdString();
  EXPECT_EQ(r[0].output, QDir(out).absoluteFilePath("same.pdf"));
  EXPECT_EQ(r[2].output, QDir(out).absoluteFilePath("same (2).pdf"));
  EXPECT_TRUE(pdfText(r[0].output).contains("Alpha paragraph"));
  EXPECT_TRUE(pdfText(r[2].output).contains("Beta paragraph"));
  EXPECT_EQ(lang::Describe(r[1].error), lang::text(Msg::ErrConvertNotDocument).arg(noise));
  EXPECT_EQ(lang::Describe(r[3].error), lang::text(Msg::ErrConvertNoFile).arg(missing));
  EXPECT_EQ(lang::Describe(r[4].error), lang::text(Msg::ErrConvertFailed).arg(notWord));
  EXPECT_EQ(QDir(out).entryList(QDir::Files).size(), 2);
  EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
  EXPECT_EQ(done.back(), 5);
}

// The warm workers (python) this test process started, each with the
// LibreOffice in its session.
std::vector<std::pair<qint64, qint64>> warmProcesses() {
  std::vector<std::pair<qint64, qint64>> found;
  const qint64 me = QCoreApplication::applicationPid();
  auto field = [](const QByteArray& stat, int n) {  // fields after the command name
    return stat.mid(stat.lastIndexOf(')') + 2).split(' ').value(n).toLongLong();
  };
  const QStringList pids = QDir("/proc").entryList(QDir::Dirs);
  for (const QString& pid : pids) {
    const QByteArray stat = readFile("/proc/" + pid + "/stat");
    if (readFile("/proc/" + pid + "/cmdline").contains("convert-worker.py") && field(stat, 1) == me &&
        !gone(pid.toLongLong()))
      found.push_back({pid.toLongLong(), 0});
  }
  for (const QString& pid : pids) {
    const QByteArray stat = readFile("/proc/" + pid + "/stat");
    for (auto& [worker, office] : found)
      if (stat.contains("(soffice.bin)") && field(stat, 3) == worker && !gone(pid.toLongLong()))
        office = pid.toLongLong();
  }
  return found;
}

// Kept LibreOffice processes, side by side: the PDFs say what a batch says;
// one killed or stopped in the middle of a run costs no document, and what
// is left of it is gone.
TEST_F(ConvertTest, WarmConvertersSurviveAKilledAndAHangingLibreOffice) {
  test::ScopedEnv mode("ORDOLO_CONVERTER", QByteArray("warm"));
  test::ScopedEnv two("ORDOLO_CONVERTERS", QByteArray("2"));
  QStringList inputs;
  for (int i = 0; i < 8; ++i)
    inputs << copy(i % 2 ? "/docs/Beta.docx" : "/docs/Alpha.docx", QString("/warm/d%1.docx").arg(i));
  const auto others = warmProcesses();  // the suite's own converter may keep some
  Converter warm(Options{.baseTimeoutMs = 3000, .perDocumentTimeoutMs = 3000});
  std::vector<Result> r = warm.toPdf(inputs, path("/warm/out1"));
  for (int i = 0; i < 8; ++i) {
    ASSERT_TRUE(r[size_t(i)].ok()) << r[size_t(i)].error.debugText().toStdString();
    EXPECT_TRUE(pdfText(r[size_t(i)].output).contains(i % 2 ? "Beta paragraph" : "Alpha paragraph"));
  }
  auto running = warmProcesses();
  running.erase(std::remove_if(running.begin(), running.end(),
                               [&](const auto& w) { return std::count(others.begin(), others.end(), w) > 0; }),
                running.end());
  ASSERT_EQ(running.size(), 2u);
  ASSERT_TRUE(running[0].second > 0 && running[1].second > 0);
  const int launched = warm.launches();

  // One worker killed outright, and the other's LibreOffice stopped (a hang),
  // while the next run goes.
  QStringList many;
  for (int i = 0; i < 40; ++i) many << inputs[i % 8];
  std::atomic<bool> struck{false};
  r = warm.toPdf(many, path("/warm/out2"), [&](int done, int) {
    if (done < 1 || struck.exchange(true)) return;
    ::kill(pid_t(running[0].first), SIGKILL);
    ::kill(pid_t(running[1].second), SIGSTOP);
  });
  ASSERT_EQ(r.size(), 40u);
  for (int i = 0; i < 40; ++i) EXPECT_TRUE(r[size_t(i)].ok()) << i << r[size_t(i)].error.debugText().toStdString();
  EXPECT_GE(warm.launches(), launched + 2);
  const qint64 stopped = running[1].second;
  for (int i = 0; i < 100 && !gone(stopped); ++i) QThread::msleep(50);
  EXPECT_TRUE(gone(stopped)) << "the stopped LibreOffice was not killed";
}

// What the print dialog and the monitor do: LibreOffice is started before
// the first document, which then uses the processes already running.
TEST_F(ConvertTest, PrestartedConvertersAreUpBeforeTheFirstDocumentAndUsedByIt) {
  test::ScopedEnv mode("ORDOLO_CONVERTER", QByteArray("warm"));
  test::ScopedEnv two("ORDOLO_CONVERTERS", QByteArray("2"));
  const auto others = warmProcesses();
  auto ours = [&] {
    auto running = warmProcesses();
    running.erase(std::remove_if(running.begin(), running.end(),
                                 [&](const auto& w) { return std::count(others.begin(), others.end(), w) > 0; }),
                  running.end());
    return running;
  };
  Converter converter;
  converter.prestart();
  auto up = ours();
  for (int i = 0; i < 600 && (up.size() < 2 || up[0].second <= 0 || up[1].second <= 0); ++i) {
    QThread::msleep(50);
    up = ours();
  }
  ASSERT_EQ(up.size(), 2u);
  ASSERT_TRUE(up[0].second > 0 && up[1].second > 0) << "no LibreOffice under the workers";
  const Result r = converter.toPdf({copy("/docs/Beta.docx", "/prestart/b.docx")}, path("/prestart/out")).front();
  ASSERT_TRUE(r.ok()) << r.error.debugText().toStdString();
  EXPECT_TRUE(pdfText(r.output).contains("Beta paragraph"));
  // The same workers (LibreOffice itself may have restarted once on its
  // fresh profile, as it does).
  const auto after = ours();
  ASSERT_EQ(after.size(), 2u);
  EXPECT_EQ(after[0].first, up[0].first);
  EXPECT_EQ(after[1].first, up[1].first);

  // Asked for from inside a conversion (the print dialog's event loop runs
  // in its progress callback): it does not wait for that conversion.
  Converter busy;
  const Result inside = busy.toPdf({copy("/docs/Alpha.docx", "/prestart/a.docx")}, path("/prestart/out2"),
                                   [&](int, int) { busy.prestart(); })
                            .front();
  EXPECT_TRUE(inside.ok()) << inside.error.debugText().toStdString();
}

TEST_F(ConvertTest, TheUsersProcessesOptionSetsHowManyConvertSideBySide) {
  test::ScopedEnv mode("ORDOLO_CONVERTER", QByteArray("warm"));
  test::ScopedEnv unset("ORDOLO_CONVERTERS", std::nullopt);
  QTemporaryDir home;
  test::ScopedEnv own("ORDOLO_HOME", home.path().toUtf8());
  writeFile(util::UserConfigFile(), "[Convert]\r\nProcesses=1\r\n");
  QStringList inputs;
  for (int i = 0; i < 4; ++i) inputs << copy("/docs/Alpha.docx", QString("/processes/d%1.docx").arg(i));
  const auto others = warmProcesses();
  Converter converter;
  for (const Result& r : converter.toPdf(inputs, path("/processes/out")))
    EXPECT_TRUE(r.ok()) << r.error.debugText().toStdString();
  auto running = warmProcesses();
  running.erase(std::remove_if(running.begin(), running.end(),
                               [&](const auto& w) { return std::count(others.begin(), others.end(), w) > 0; }),
                running.end());
  EXPECT_EQ(running.size(), 1u);
}

// A Word document of one long table: a heading row repeated on every page,
// every seventh row four paragraphs tall (so that rows break across pages),
// a first-page header of its own and the page number in the footer.
QString writeLongTable(const QString& path, int rows, const QByteArray& footerField) {
  const QByteArray w = R"( xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main")"
                       R"( xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships")";
  auto para = [](const QByteArray& text) {
    return "<w:p><w:r><w:t xml:space=\"preserve\">" + text + "</w:t></w:r></w:p>";
  };
  auto cell = [](const QByteArray& content) {
    return "<w:tc><w:tcPr><w:tcW w:w=\"3000\" w:type=\"dxa\"/></w:tcPr>" + content + "</w:tc>";
  };
  QByteArray body = para("Long table");
  body += R"(<w:tbl><w:tblPr><w:tblW w:w="9000" w:type="dxa"/><w:tblBorders><w:top w:val="single" w:sz="4"/>)"
          R"(<w:left w:val="single" w:sz="4"/><w:bottom w:val="single" w:sz="4"/><w:right w:val="single" w:sz="4"/>)"
          R"(<w:insideH w:val="single" w:sz="4"/><w:insideV w:val="single" w:sz="4"/></w:tblBorders></w:tblPr>)"
          R"(<w:tblGrid><w:gridCol w:w="3000"/><w:gridCol w:w="3000"/><w:gridCol w:w="3000"/></w:tblGrid>)";
  body += "<w:tr><w:trPr><w:tblHeader/></w:trPr>" + cell(para("Number")) + cell(para("Text")) + cell(para("Value")) +
          "</w:tr>";
  for (int i = 1; i <= rows; ++i) {
    const QByteArray n = QByteArray::number(i);
    QByteArray text = para("Text of row " + n);
    if (i % 7 == 0) text += para("second line") + para("third line") + para("fourth line");
    body += "<w:tr>" + cell(para("Row " + n)) + cell(text) + cell(para(QByteArray::number(i * 3))) + "</w:tr>";
  }
  body += "</w:tbl>" + para("End of the table");
  body +=
      R"(<w:sectPr><w:headerReference w:type="default" r:id="rIdH1"/><w:headerReference w:type="first" r:id="rIdH2"/>)"
      R"(<w:footerReference w:type="default" r:id="rIdF1"/><w:footerReference w:type="first" r:id="rIdF1"/>)"
      R"(<w:pgSz w:w="11906" w:h="16838"/><w:pgMar w:top="1134" w:right="1134" w:bottom="1134" w:left="1134")"
      R"( w:header="567" w:footer="567" w:gutter="0"/><w:titlePg/></w:sectPr>)";
  const QByteArray field = R"(<w:r><w:fldChar w:fldCharType="begin"/></w:r><w:r><w:instrText xml:space="preserve"> )" +
                           footerField +
                           R"( </w:instrText></w:r><w:r><w:fldChar w:fldCharType="separate"/></w:r>)"
                           R"(<w:r><w:t>1</w:t></w:r><w:r><w:fldChar w:fldCharType="end"/></w:r>)";
  const QByteArray rel = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
  const QByteArray type = "application/vnd.openxmlformats-officedocument.wordprocessingml.";
  const std::vector<std::pair<const char*, QByteArray>> parts = {
      {"[Content_Types].xml",
       R"(<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">)"
       R"(<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>)"
       R"(<Default Extension="xml" ContentType="application/xml"/>)"
       R"(<Override PartName="/word/document.xml" ContentType=")" +
           type +
           R"(document.main+xml"/>)"
           R"(<Override PartName="/word/header1.xml" ContentType=")" +
           type +
           R"(header+xml"/>)"
           R"(<Override PartName="/word/header2.xml" ContentType=")" +
           type +
           R"(header+xml"/>)"
           R"(<Override PartName="/word/footer1.xml" ContentType=")" +
           type + R"(footer+xml"/></Types>)"},
      {"_rels/.rels", R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
                      R"(<Relationship Id="rId1" Type=")" +
                          rel + R"(officeDocument" Target="word/document.xml"/></Relationships>)"},
      {"word/_rels/document.xml.rels",
       R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
       R"(<Relationship Id="rIdH1" Type=")" +
           rel +
           R"(header" Target="header1.xml"/>)"
           R"(<Relationship Id="rIdH2" Type=")" +
           rel +
           R"(header" Target="header2.xml"/>)"
           R"(<Relationship Id="rIdF1" Type=")" +
           rel + R"(footer" Target="footer1.xml"/></Relationships>)"},
      {"word/document.xml", "<w:document" + w + "><w:body>" + body + "</w:body></w:document>"},
      {"word/header1.xml", "<w:hdr" + w + ">" + para("Running header") + "</w:hdr>"},
      {"word/header2.xml", "<w:hdr" + w + ">" + para("First page header") + "</w:hdr>"},
      {"word/footer1.xml",
       "<w:ftr" + w + "><w:p><w:r><w:t xml:space=\"preserve\">Page </w:t></w:r>" + field + "</w:p></w:ftr>"}};
  QDir().mkpath(QFileInfo(path).absolutePath());
  int code = 0;
  zip_t* z = zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
  for (const auto& [name, bytes] : parts) {
    zip_source_t* source = zip_source_buffer(z, bytes.constData(), zip_uint64_t(bytes.size()), 0);
    zip_file_add(z, name, source, 0);
  }
  zip_close(z);  // the buffers are read here
  return path;
}

// The pages of a PDF as pictures (small: layout, not detail).
QList<QByteArray> pagePictures(const QString& pdf, const QString& folder) {
  QDir().mkpath(folder);
  QProcess p;
  p.start(QStringLiteral("pdftoppm"),
          {QStringLiteral("-r"), QStringLiteral("30"), QStringLiteral("-gray"), pdf, folder + QStringLiteral("/page")});
  p.waitForFinished(120000);
  QList<QByteArray> pages;
  for (const QString& f : QDir(folder).entryList({QStringLiteral("page-*.pgm")}, QDir::Files, QDir::Name))
    pages << readFile(folder + QLatin1Char('/') + f);
  return pages;
}

TEST_F(ConvertTest, LongTableConvertedInPartsHasTheWholeDocumentsPages) {
  using office::convert::TableParts;
  const QString doc = writeLongTable(path("/long/table.docx"), 420, "PAGE");
  // A page count in the footer, or notes, keep a document whole.
  EXPECT_TRUE(TableParts::inspect(doc, 100));
  EXPECT_FALSE(TableParts::inspect(doc, 500)) << "420 rows are not 500";
  EXPECT_FALSE(TableParts::inspect(writeLongTable(path("/long/count.docx"), 420, "NUMPAGES"), 100));

  QStringList whole;
  {
    test::ScopedEnv batch("ORDOLO_CONVERTER", QByteArray("batch"));
    Converter oneCall;
    const Result r = oneCall.toPdf({doc}, path("/long/whole")).front();
    ASSERT_TRUE(r.ok()) << r.error.debugText().toStdString();
    whole << r.output;
  }
  test::ScopedEnv warm("ORDOLO_CONVERTER", QByteArray("warm"));
  test::ScopedEnv rows("ORDOLO_TABLE_PART_ROWS", QByteArray("60"));
  const QString log = path("/long/debug.log");
  util::DebugLog::open(log);
  Converter inParts;
  const Result r = inParts.toPdf({doc}, path("/long/parts")).front();
  util::DebugLog::close();
  ASSERT_TRUE(r.ok()) << r.error.debugText().toStdString();
  const QString said = QString::fromUtf8(readFile(log));
  ASSERT_TRUE(said.contains(QRegularExpression(QStringLiteral("converted in ([3-9]|[1-9][0-9]) parts"))))
      << said.toStdString();

  const QStringList mine = pdfText(r.output, true).split(QLatin1Char('\f'));
  const QStringList theirs = pdfText(whole.front(), true).split(QLatin1Char('\f'));
  ASSERT_GT(theirs.size(), 8);
  ASSERT_EQ(mine.size(), theirs.size());
  for (int i = 0; i < mine.size(); ++i) EXPECT_EQ(mine[i], theirs[i]) << "page " << i + 1;
  EXPECT_TRUE(theirs[1].contains("Running header") && theirs[1].contains("Page 2")) << theirs[1].toStdString();
  const auto pictures = pagePictures(r.output, path("/long/pictures-parts"));
  const auto reference = pagePictures(whole.front(), path("/long/pictures-whole"));
  ASSERT_EQ(pictures.size(), reference.size());
  for (int i = 0; i < pictures.size(); ++i)
    EXPECT_TRUE(pictures[i] == reference[i]) << "page " << i + 1 << " looks different";
}

TEST_F(ConvertTest, LegacyTemplateIsConvertedOnceAndAgainWhenItChanges) {
  const QString dot = copy("/legacy/Letter.doc", "/templates/Letter.dot");
  const int before = converter_->launches();

  const Result first = converter_->toOoxml(dot);
  ASSERT_TRUE(first.ok()) << first.error.debugText().toStdString();
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
  ASSERT_TRUE(changed.ok()) << changed.error.debugText().toStdString();
  EXPECT_FALSE(changed.fromCache);
  EXPECT_EQ(converter_->launches(), before + 2);
  EXPECT_TRUE(partText(changed.output, "word/document.xml").contains("Zeta letter"));
  EXPECT_FALSE(QFile::exists(first.output));
  EXPECT_EQ(QDir(path("/cache")).entryList(QDir::Files).size(), 1);

  const Result sheet = converter_->toOoxml(fixture("/legacy/Sheet.xls"));
  ASSERT_TRUE(sheet.ok()) << sheet.error.debugText().toStdString();
  EXPECT_TRUE(sheet.output.endsWith(".xlsx"));
  EXPECT_TRUE(partText(sheet.output, "xl/sharedStrings.xml").contains("Epsilon"));
}

TEST(ConvertSetup, MissingLibreOfficeIsToldAndRefusalsComeFirst) {
  QTemporaryDir dir;
  test::ScopedEnv soffice("ORDOLO_SOFFICE", QByteArray("/nonexistent/soffice"));
  Converter converter(Options{.cacheFolder = dir.path()});
  const QString doc = writeFile(dir.path() + "/a.docx", "PK\x03\x04 enough for the first look");
  const QString old = writeFile(dir.path() + "/b.doc", "{\\rtf1 hello}");
  EXPECT_EQ(lang::Describe(converter.toPdf({doc}, dir.path() + "/out").at(0).error), lang::text(Msg::ErrOfficeMissing));
  EXPECT_EQ(lang::Describe(converter.toOoxml(old).error), lang::text(Msg::ErrOfficeMissing));

  EXPECT_EQ(lang::Describe(converter.toOoxml(doc).error), lang::text(Msg::ErrConvertNotLegacy).arg(doc));
  const QString fake = writeFile(dir.path() + "/Fake.xlt", "PK\x03\x04 a zip, not a workbook of 1997");
  EXPECT_EQ(lang::Describe(converter.toOoxml(fake).error), lang::text(Msg::ErrConvertNotDocument).arg(fake));
  EXPECT_EQ(converter.launches(), 0);
}

TEST(ConvertFake, HangingLibreOfficeIsKilledWithItsChildren) {
  QTemporaryDir dir;
  const QString pids = dir.path() + "/pids";
  const QString hang = script(dir.path(), "soffice",
                              "echo $$ > '" + pids.toUtf8() + "'\nsleep 300 &\necho $! >> '" + pids.toUtf8() +
                                  "'\nwait\n");
  Converter converter(Options{.program = hang, .baseTimeoutMs = 300, .perDocumentTimeoutMs = 200});
  const QString doc = writeFile(dir.path() + "/a.docx", "PK\x03\x04 enough for the first look");

  EXPECT_EQ(lang::Describe(converter.toPdf({doc}, dir.path() + "/out").at(0).error),
            lang::text(Msg::ErrConvertTimeout).arg(doc, "1"));
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
  EXPECT_EQ(lang::Describe(r[1].error), lang::text(Msg::ErrConvertCrashed).arg(inputs[1]));
  for (int i : {0, 2, 3}) {
    ASSERT_TRUE(r[size_t(i)].ok()) << r[size_t(i)].error.debugText().toStdString();
    EXPECT_EQ(readFile(r[size_t(i)].output), readFile(inputs[i]));
  }
  EXPECT_EQ(converter.launches(), 2);

  // One that dies at once every time is given up on after a second try.
  Converter broken(Options{.program = script(dir.path(), "dies", "kill -SEGV $$\n")});
  const auto all = broken.toPdf(inputs, dir.path() + "/out2");
  for (size_t i = 0; i < all.size(); ++i)
    EXPECT_EQ(lang::Describe(all[i].error), lang::text(Msg::ErrConvertCrashed).arg(inputs[int(i)]));
  EXPECT_EQ(broken.launches(), 2);
}

}  // namespace

// An HTML attachment that links a picture on the web and one on this disk:
// LibreOffice, as the converter runs it (kept workers or one call), loads
// neither. A listening socket stands for the web and counts who knocks.
TEST_F(ConvertTest, LinkedPicturesOfADocumentAreNeverLoaded) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 16), 0);
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
  fcntl(listener, F_SETFL, O_NONBLOCK);
  const QByteArray port = QByteArray::number(ntohs(address.sin_port));

  // A real picture on this disk, which a printed document must not show.
  const QString picture = path("/linked/local.png");
  QDir().mkpath(path("/linked"));
  const QByteArray png = QByteArray::fromBase64(
      "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8DwHwAFBQIAX8jx0gAAAABJRU5ErkJggg==");
  writeFile(picture, png);
  const QString html = writeFile(path("/linked/attachment.html"),
                                 "<html><body><p>Linked pictures</p><img src=\"http://127.0.0.1:" + port +
                                     "/remote.png\" width=\"50\" height=\"50\"><img src=\"file://" + picture.toUtf8() +
                                     "\" width=\"50\" height=\"50\"></body></html>");
  for (const char* mode : {"warm", "batch"}) {
    SCOPED_TRACE(mode);
    test::ScopedEnv converter("ORDOLO_CONVERTER", QByteArray(mode));
    Converter fresh(Options{.cacheFolder = path("/cache")});
    const QString out = path(QStringLiteral("/linked/out-") + QLatin1String(mode));
    const std::vector<Result> results = fresh.toPdf({html}, out);
    ASSERT_EQ(results.size(), 1u);
    ASSERT_TRUE(results[0].ok()) << lang::Describe(results[0].error).toStdString();
    EXPECT_TRUE(pdfText(results[0].output).contains("Linked pictures")) << pdfText(results[0].output).toStdString();
    QProcess images;
    images.start("pdfimages", {"-list", results[0].output});
    images.waitForFinished();
    EXPECT_EQ(images.readAll().trimmed().split('\n').size(), 2) << "the PDF holds a picture";
    const int knock = accept(listener, nullptr, nullptr);
    EXPECT_LT(knock, 0) << "LibreOffice asked the web for the picture";
    if (knock >= 0) close(knock);
  }
  close(listener);
}
