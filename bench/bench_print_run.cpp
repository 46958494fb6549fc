// How much does a print run cost per item, without the conversion to PDF,
// and how much of a run to PDF is LibreOffice's?
//
//   bench_print_run --scenario=memos [--items=1000] [--template=FILE]
//       a Maildir of N mails, each into its own one-page memo (the shipped
//       MMemo.dotx); the filled documents are saved and then dropped. Prints
//       items/s, ms per item, peak memory, and where the time goes: opening
//       the template, filling, saving (measured by repeating the open and the
//       open + save alone for as many documents).
//   bench_print_run --scenario=table [--items=5000]
//       N appointments into one table document (a row per item).
//   bench_print_run --scenario=pdf [--items=100]
//       N mails into memos and on to PDF files through LibreOffice, twice:
//       once starting the converters (a command-line run) and once on
//       converters already running (the desktop program and the monitor keep
//       theirs), next to one soffice --convert-to call over the same N filled
//       .docx; then single items on the running converters.
//   bench_print_run --scenario=long FILE.docx...
//       each document to PDF through Ordolo's converters (a long table in
//       parts) and through one soffice --convert-to call; seconds, pages and
//       the peak memory of all processes together (Ordolo's or soffice's),
//       and whether every page has the same text. --no-soffice: Ordolo only;
//       --soffice-limit=S: give the soffice call S seconds (default 3600).
//       scripts/bench-long-pdf makes the engine benchmark's 10,000- and
//       20,000-row table documents and runs this.
// One scenario per process, so that the peak memory is that scenario's own.
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QUrl>
#include <QProcess>

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include <algorithm>
#include <map>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "lang/LanguageTable.h"
#include "office/convert/Converter.h"
#include "office/word/Document.h"
#include "print/Output.h"
#include "print/Outputs.h"
#include "session/PrintRun.h"
#include "session/Start.h"
#include "store/FileStore.h"
#include "ui/Port.h"
#include "util/DebugLog.h"
#include "util/Folders.h"
#include "util/VbFormat.h"

using namespace ordolo;

namespace {

int gItems = 0;
QString gTemplate;
QStringList gFiles;
bool gNoSoffice = false;

[[noreturn]] void fail(const QString& why) {
  std::fprintf(stderr, "bench_print_run: %s\n", qPrintable(why));
  std::exit(2);
}

double peakMB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_maxrss) / 1024.0;
}

void writeBytes(const QString& path, const QByteArray& bytes) {
  QDir().mkpath(QFileInfo(path).absolutePath());
  QFile f(path);
  if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size())
    fail(QStringLiteral("cannot write %1").arg(path));
}

// A store with an Inbox of n mails and a Calendar of n appointments.
void writeStore(const QString& root, int n) {
  writeBytes(root + "/store.ini", "[Store]\nUser=Bench User\nAddress=bench@example.org\n");
  QDir().mkpath(root + "/Inbox/new");
  QDir().mkpath(root + "/Inbox/tmp");
  const QDateTime base(QDate(2026, 3, 2), QTime(8, 0), Qt::UTC);
  for (int i = 0; i < n; ++i) {
    const QDateTime t = base.addSecs(qint64(i) * 1800);
    QByteArray m = "From: Sender " + QByteArray::number(i % 37) + " <sender" + QByteArray::number(i % 37) +
                   "@example.org>\nTo: Bench User <bench@example.org>\nCc: Team <team@example.org>\n";
    m += "Subject: Bench mail " + QByteArray::number(i) + "\n";
    m += "Date: " + QLocale::c().toString(t, QStringLiteral("ddd, dd MMM yyyy hh:mm:ss")).toLatin1() + " +0000\n";
    m += "Message-ID: <bench-" + QByteArray::number(i) + "@example.org>\n";
    m += "Content-Type: text/plain; charset=utf-8\n\nHello,\nthis is mail " + QByteArray::number(i) + ".\n";
    writeBytes(QStringLiteral("%1/Inbox/cur/%2.M%3P1.bench:2,S").arg(root).arg(t.toSecsSinceEpoch()).arg(i), m);
  }
  QByteArray ics = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Ordolo//Bench//EN\r\n";
  for (int i = 0; i < n; ++i) {
    const QDateTime start = QDateTime(QDate(2026, 1, 1).addDays(i % 365), QTime(8 + i % 9, (i % 4) * 15), Qt::UTC);
    ics += "BEGIN:VEVENT\r\nUID:bench-" + QByteArray::number(i) + "@example.org\r\nDTSTAMP:20260101T000000Z\r\n";
    ics += "DTSTART:" + start.toString("yyyyMMddTHHmmssZ").toLatin1() + "\r\n";
    ics += "DTEND:" + start.addSecs(3600).toString("yyyyMMddTHHmmssZ").toLatin1() + "\r\n";
    ics += "SUMMARY:Bench appointment " + QByteArray::number(i) + "\r\nLOCATION:Room " + QByteArray::number(i % 40) +
           "\r\nEND:VEVENT\r\n";
  }
  ics += "END:VCALENDAR\r\n";
  writeBytes(root + "/Calendar/calendar.ics", ics);
}

// Takes the filled documents and drops them: what is measured is the run.
class DropOutput : public print::Output {
 public:
  bool prepare(QString*) override { return true; }
  void add(const print::Job& job) override { files_ << job.file; }
  bool flush() override {
    for (const QString& f : files_) QFile::remove(f);
    delivered_ += files_.size();
    files_.clear();
    return true;
  }
  QStringList errors() const override { return {}; }
  QStringList delivered() const override { return {QString::number(delivered_)}; }

 private:
  QStringList files_;
  int delivered_ = 0;
};

struct QuietPort : ui::Port {
  ui::Answer message(const QString& text, ui::Buttons, ui::Icon) override {
    std::fprintf(stderr, "%s\n", qPrintable(text));
    return ui::Answer::Yes;
  }
  void notice(const QString&) override {}
  void beep() override {}
  QString browseFolder(const QString&, const QString&) override { return {}; }
  void yield() override {}
};

struct Prepared {
  QTemporaryDir dir;
  std::shared_ptr<store::FileStore> store;
  QuietPort port;
  std::unique_ptr<session::Start> start;
};

void prepare(Prepared& p, const QString& folder) {
  writeStore(p.dir.path() + "/store", gItems);
  QString why;
  p.store = store::FileStore::open(p.dir.path() + "/store", &why);
  if (!p.store) fail(why);
  auto f = p.store->folderByPath(folder);
  if (!f) fail("no folder " + folder);
  p.start = std::make_unique<session::Start>(p.port);
  p.start->StartPrint(model::Selection(f->GetItems()->all()), f, p.store->CurrentUser());
  if (int(p.start->items().size()) != gItems) fail(QStringLiteral("%1 items listed").arg(p.start->items().size()));
}

// With `watch`: *first gets the seconds until the first PDF is in that folder.
session::RunResult runOnce(Prepared& p, print::Output& output, const QString& templatePath, double* seconds,
                           const QString& watch = {}, double* first = nullptr) {
  session::RunOptions options;
  options.templatePath = templatePath;
  options.header.User = p.store->CurrentUser();
  options.session = p.store.get();
  session::PrintRun run(p.port, output);
  QElapsedTimer t;
  t.start();
  std::atomic<bool> done{false};
  std::thread watcher;
  if (first)
    watcher = std::thread([&] {
      *first = -1;
      while (!done) {
        if (!QDir(watch).entryList({QStringLiteral("*.pdf")}, QDir::Files).isEmpty()) {
          *first = t.nsecsElapsed() / 1e9;
          return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
    });
  const session::RunResult r = run.run(p.start->items(), p.start->rows(), options);
  *seconds = t.nsecsElapsed() / 1e9;
  done = true;
  if (watcher.joinable()) watcher.join();
  for (const QString& e : r.errors) std::fprintf(stderr, "run: %s\n", qPrintable(e));
  return r;
}

int runMemos() {
  Prepared p;
  prepare(p, "Inbox");
  DropOutput drop;
  double run = 0;
  const auto r = runOnce(p, drop, gTemplate, &run);
  const double peak = peakMB();

  // The same number of documents opened, and opened and saved, alone.
  QTemporaryDir out;
  QElapsedTimer t;
  t.start();
  for (int i = 0; i < gItems; ++i) office::word::Document::create(gTemplate, nullptr);
  const double open = t.nsecsElapsed() / 1e9;
  t.restart();
  for (int i = 0; i < gItems; ++i) {
    auto doc = office::word::Document::create(gTemplate, nullptr);
    doc->saveAs(out.filePath(QStringLiteral("d%1.docx").arg(i % 10)), nullptr);
  }
  const double openSave = t.nsecsElapsed() / 1e9;
  std::printf("memos: %d mails into %d documents with %s\n", r.items, r.documents,
              qPrintable(QFileInfo(gTemplate).fileName()));
  std::printf("  run %.3f s, %.0f items/s, %.3f ms per item, peak %.1f MB\n", run, r.items / run, 1000 * run / r.items,
              peak);
  std::printf("  where the time goes: open template %.3f ms, fill %.3f ms, save %.3f ms per item\n",
              1000 * open / gItems, 1000 * (run - openSave) / gItems, 1000 * (openSave - open) / gItems);
  return r.items == gItems ? 0 : 1;
}

int runTable() {
  Prepared p;
  prepare(p, "Calendar");
  QTemporaryDir tmp;
  const QString table = tmp.filePath("ATable.docx");
  QFile::copy(gTemplate, table);
  DropOutput drop;
  double run = 0;
  const auto r = runOnce(p, drop, table, &run);
  std::printf("table: %d appointments into %d document(s) with one row each\n", r.items, r.documents);
  std::printf("  run %.3f s, %.0f items/s, %.3f ms per item, peak %.1f MB\n", run, r.items / run, 1000 * run / r.items,
              peakMB());
  return r.items == gItems && r.documents == 1 ? 0 : 1;
}

// One `soffice --headless --convert-to pdf` call over `files` with a profile
// of its own (made beforehand, so that the call is timed warm): seconds.
// soffice starts oosplash, which starts soffice.bin: a group of its own, so
// that a call beyond the limit can be ended whole.
class GroupProcess : public QProcess {
 protected:
  void setupChildProcess() override { ::setpgid(0, 0); }
};

int gSofficeLimit = 3600;  // seconds

// Seconds, or -1 when the call did not end within gSofficeLimit.
double oneSofficeCall(const QStringList& files, const QString& outDir) {
  const QString program = office::convert::Converter::findProgram();
  QTemporaryDir profile;
  const QString profileArg = QStringLiteral("-env:UserInstallation=") + QUrl::fromLocalFile(profile.path()).toString();
  QProcess warmUp;
  warmUp.start(program, {profileArg, "--headless", "--terminate_after_init"});
  warmUp.waitForFinished(120000);
  GroupProcess call;
  QElapsedTimer t;
  t.start();
  call.start(program, QStringList{profileArg, "--headless", "--convert-to", "pdf", "--outdir", outDir} + files);
  if (!call.waitForFinished(gSofficeLimit * 1000)) {
    ::kill(-pid_t(call.processId()), SIGKILL);
    call.waitForFinished(10000);
    return -1;
  }
  return t.nsecsElapsed() / 1e9;
}

// The resident memory of this process and all its descendants, sampled
// every 50 ms while it lives: the peak in MB.
class TreeMemory {
 public:
  TreeMemory()
      : thread_([this] {
          while (!stop_) {
            peak_ = std::max(peak_.load(), sample());
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
          }
        }) {}
  ~TreeMemory() { stopNow(); }
  double stopNow() {
    if (!stop_.exchange(true)) thread_.join();
    return peak_ / 1024.0;
  }

 private:
  static long sample() {
    std::map<long, long> parent;
    std::map<long, long> rss;
    for (const QString& e : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
      bool ok = false;
      const long pid = e.toLong(&ok);
      if (!ok) continue;
      QFile status(QStringLiteral("/proc/%1/status").arg(pid));
      if (!status.open(QIODevice::ReadOnly)) continue;
      for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("PPid:")) parent[pid] = line.mid(5).trimmed().toLong();
        else if (line.startsWith("VmRSS:")) rss[pid] = line.mid(6).trimmed().split(' ').first().toLong();
      }
    }
    long total = 0;
    const long self = long(::getpid());
    for (const auto& [pid, kb] : rss) {
      for (long p = pid; p > 1; p = parent.count(p) ? parent[p] : 0)
        if (p == self) {
          total += kb;
          break;
        }
    }
    return total;
  }
  std::atomic<bool> stop_{false};
  std::atomic<long> peak_{0};
  std::thread thread_;
};

int pdfPages(const QString& pdf) {
  QProcess info;
  info.start(QStringLiteral("pdfinfo"), {pdf});
  info.waitForFinished(60000);
  for (const QByteArray& line : info.readAllStandardOutput().split('\n'))
    if (line.startsWith("Pages:")) return line.mid(6).trimmed().toInt();
  return 0;
}

// The text of each page (pdftotext -layout), for comparing two PDFs.
QList<QByteArray> pageTexts(const QString& pdf) {
  QProcess text;
  text.start(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), pdf, QStringLiteral("-")});
  text.waitForFinished(600000);
  return text.readAllStandardOutput().split('\f');
}

int runLong() {
  if (gFiles.isEmpty()) fail("--scenario=long: name the .docx files");
  int code = 0;
  for (const QString& file : gFiles) {
    QTemporaryDir out;
    double ordolo = 0, ordoloMB = 0;
    office::convert::Result result;
    {
      TreeMemory memory;
      office::convert::Options options;
      options.perDocumentTimeoutMs = 3600000;
      office::convert::Converter converter(options);
      QElapsedTimer t;
      t.start();
      result = converter.toPdf({file}, out.path()).front();
      ordolo = t.nsecsElapsed() / 1e9;
      ordoloMB = memory.stopNow();
    }
    const int pages = result.ok() ? pdfPages(result.output) : 0;
    std::printf("long: %s\n", qPrintable(QFileInfo(file).fileName()));
    if (!result.ok()) std::printf("  Ordolo: %s\n", qPrintable(result.error.debugText()));
    std::printf("  Ordolo:  %7.1f s, %d pages, peak %.0f MB (all processes)\n", ordolo, pages, ordoloMB);
    std::fflush(stdout);
    if (gNoSoffice) continue;
    QTemporaryDir reference;
    TreeMemory memory;
    const double soffice = oneSofficeCall({file}, reference.path());
    const double sofficeMB = memory.stopNow();
    const QString referencePdf = reference.filePath(QFileInfo(file).completeBaseName() + QLatin1String(".pdf"));
    if (soffice < 0) {
      std::printf(
          "  soffice: did not finish within %d s (--soffice-limit), peak %.0f MB by then; Ordolo / soffice < %.3f\n",
          gSofficeLimit, sofficeMB, ordolo / gSofficeLimit);
      continue;
    }
    const int referencePages = pdfPages(referencePdf);
    std::printf("  soffice: %7.1f s, %d pages, peak %.0f MB (all processes)\n", soffice, referencePages, sofficeMB);
    std::printf("  Ordolo / soffice: %.2f\n", ordolo / soffice);
    const QList<QByteArray> mine = result.ok() ? pageTexts(result.output) : QList<QByteArray>();
    const QList<QByteArray> theirs = pageTexts(referencePdf);
    int differ = 0;
    for (int i = 0; i < std::min(mine.size(), theirs.size()); ++i)
      if (mine[i] != theirs[i] && !differ) differ = i + 1;
    if (differ) std::printf("  the text of page %d differs from soffice's\n", differ);
    else std::printf("  every page has the same text as soffice's\n");
    if (!result.ok() || pages != referencePages || differ) code = 1;
  }
  return code;
}

int runPdf() {
  Prepared p;
  prepare(p, "Inbox");
  DropOutput drop;
  double fillOnly = 0;
  runOnce(p, drop, gTemplate, &fillOnly);
  // The filled documents themselves, for LibreOffice's own call.
  QTemporaryDir saved;
  {
    print::FolderOutput keep(saved.path(), false);
    double ignored = 0;
    runOnce(p, keep, gTemplate, &ignored);
  }
  QTemporaryDir out;
  auto pdf = std::make_unique<print::FolderOutput>(out.path(), true);
  QString why;
  if (!pdf->prepare(&why)) fail(why);
  double all = 0, firstCold = 0;
  const auto r = runOnce(p, *pdf, gTemplate, &all, out.path(), &firstCold);
  const int files = QDir(out.path()).entryList({"*.pdf"}, QDir::Files).size();
  pdf.reset();  // its converters end
  // The GUI's and the monitor's case: converters that already run (started
  // here by one document first), kept by the program and shared with the
  // output.
  office::convert::Converter running;
  {
    QTemporaryDir first;
    running.toPdf({QDir(saved.path()).absoluteFilePath(QDir(saved.path()).entryList({"*.docx"}, QDir::Files).first())},
                  first.path());
  }
  QTemporaryDir again;
  print::FolderOutput pdfAgain(again.path(), true);
  pdfAgain.setConverter(&running);
  double second = 0, firstWarm = 0;
  runOnce(p, pdfAgain, gTemplate, &second, again.path(), &firstWarm);

  // One item on those converters: from the request to its PDF on disk,
  // five times.
  std::vector<double> single;
  for (int k = 0; k < 5; ++k) {
    session::RunOptions one;
    one.templatePath = gTemplate;
    one.header.User = p.store->CurrentUser();
    one.session = p.store.get();
    std::vector<session::ListRow> row{p.start->rows()[size_t(k)]};
    session::PrintRun run(p.port, pdfAgain);
    QElapsedTimer t;
    t.start();
    run.run({p.start->items()[size_t(k)]}, row, one);
    single.push_back(t.nsecsElapsed() / 1e6);
  }
  std::sort(single.begin(), single.end());

  QStringList docs;
  for (const QString& f : QDir(saved.path()).entryList({"*.docx"}, QDir::Files)) docs << saved.filePath(f);
  QTemporaryDir reference;
  const double soffice = oneSofficeCall(docs, reference.path());
  const int referenceFiles = QDir(reference.path()).entryList({"*.pdf"}, QDir::Files).size();

  const char* mode = qgetenv("ORDOLO_CONVERTER").isEmpty() ? "default" : qgetenv("ORDOLO_CONVERTER").constData();
  std::printf("pdf: %d mails into %d PDF files (converter: %s, %s side by side)\n", r.items, files, mode,
              qgetenv("ORDOLO_CONVERTERS").isEmpty() ? "one per core" : qgetenv("ORDOLO_CONVERTERS").constData());
  std::printf(
      "  Ordolo, fill to PDF, LibreOffice started by the run (command line): %.2f s (%.1f ms a document),"
      " of which %.2f s filling and saving\n",
      all, 1000 * all / r.items, fillOnly);
  std::printf(
      "  Ordolo, fill to PDF on converters already running (desktop program, monitor): %.2f s (%.1f ms a "
      "document)\n",
      second, 1000 * second / r.items);
  std::printf("  one soffice --convert-to call over the %d saved .docx: %.2f s (%.1f ms a document; %d PDFs)\n",
              int(docs.size()), soffice, 1000 * soffice / std::max<int>(1, int(docs.size())), referenceFiles);
  std::printf("  Ordolo / soffice: %.2f (LibreOffice started by the run), %.2f (already running)\n", all / soffice,
              second / soffice);
  std::printf("  the first PDF on disk after %.2f s (LibreOffice started by the run), %.2f s (already running)\n",
              firstCold, firstWarm);
  std::printf("  one item on the running converters, request to PDF: median %.0f ms, worst %.0f ms (of 5)\n", single[2],
              single.back());
  return files == gItems ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  util::PinLocalTimeZone();
  QCoreApplication app(argc, argv);
  util::setUserLocale(QLocale(QLocale::English, QLocale::UnitedStates));
  lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_DIR "/share/ordolo/language/English.txt"));
  // ORDOLO_DEBUG=1: the debug log on standard error (what the converters did).
  if (util::DebugLog::requestedByEnvironment()) util::DebugLog::open(QStringLiteral("/dev/stderr"));
  QString scenario;
  for (int i = 1; i < argc; ++i) {
    const QString a = QString::fromLocal8Bit(argv[i]);
    if (a.startsWith("--scenario=")) scenario = a.mid(11);
    else if (a.startsWith("--items=")) gItems = std::max(1, a.mid(8).toInt());
    else if (a.startsWith("--template=")) gTemplate = QFileInfo(a.mid(11)).absoluteFilePath();
    else if (a == "--no-soffice") gNoSoffice = true;
    else if (a.startsWith("--soffice-limit=")) gSofficeLimit = std::max(1, a.mid(16).toInt());
    else if (!a.startsWith("--")) gFiles << QFileInfo(a).absoluteFilePath();
    else fail("unknown argument " + a + " (see the top of bench/bench_print_run.cpp)");
  }
  int code = 2;
  if (scenario == "memos" || scenario == "pdf") {
    if (gTemplate.isEmpty()) gTemplate = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/templates/MMemo.dotx");
    if (!gItems) gItems = scenario == "pdf" ? 100 : 1000;
    code = scenario == "pdf" ? runPdf() : runMemos();
  } else if (scenario == "long") {
    code = runLong();
  } else if (scenario == "table") {
    if (gTemplate.isEmpty()) gTemplate = QStringLiteral(ORDOLO_SOURCE_DIR "/tests/data/word/memo.docx");
    if (!gItems) gItems = 5000;
    code = runTable();
  } else {
    fail("--scenario=memos|table|pdf|long expected");
  }
  util::RemoveTempFolder();  // the printed-out documents
  return code;
}
