// How fast does the store open a large folder, and how much memory does it
// take? Three folders of 10,000 items each: a directory of .ics files, one
// .ics file holding every event, and a Maildir where some messages carry a
// large attachment. Each run opens the store, lists the folder, restricts it
// to March 2026 (with recurrences), sorts and reads three properties of
// every result, the way a print run does. A second ("warm") pass on the same
// folder object shows what the parse cache saves.
//
//   bench_store --scenario=ics-folder|ics-file|maildir [--items=N] [--data=DIR]
//       runs one scenario once, cold then warm, and prints phase times,
//       items/s and the process's peak memory. Peak memory is a high-water
//       mark of the whole process, so scripts/bench starts one process per
//       scenario.
//   bench_store [Google Benchmark flags]
//       repeated timing of the same work (all scenarios in one process, so
//       its "peak MB" counters only ever grow).
//
// The files are generated into a temporary folder before anything is timed
// (with --data=DIR into DIR, once, and reused by later runs).
// "Cold" means the store's own cache is empty; the kernel's page cache is
// warm from writing the files.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QTemporaryDir>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "model/Model.h"
#include "store/FileStore.h"
#include "util/VbFormat.h"

using namespace ordolo;

namespace {

int gItemCount = 10000;
QString gDataDir;  // --data: keep the generated files here and reuse them

double peakMB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

double currentMB() {
  QFile f(QStringLiteral("/proc/self/statm"));
  if (!f.open(QIODevice::ReadOnly)) return 0;
  const QList<QByteArray> fields = f.readAll().split(' ');
  return fields.size() > 1 ? double(fields[1].toLongLong()) * double(getpagesize()) / (1024.0 * 1024.0) : 0;
}

void writeBytes(const QString& path, const QByteArray& bytes) {
  QFile f(path);
  if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size()) {
    std::fprintf(stderr, "bench_store: cannot write %s\n", qPrintable(path));
    std::exit(2);
  }
}

// ------------------------------------------------------------ calendar data

const char kBerlin[] =
    "BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\n"
    "BEGIN:DAYLIGHT\r\nTZNAME:CEST\r\nTZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\n"
    "DTSTART:19810329T020000\r\nRRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\nEND:DAYLIGHT\r\n"
    "BEGIN:STANDARD\r\nTZNAME:CET\r\nTZOFFSETFROM:+0200\r\nTZOFFSETTO:+0100\r\n"
    "DTSTART:19961027T030000\r\nRRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\r\nEND:STANDARD\r\n"
    "END:VTIMEZONE\r\n";

QByteArray stamp(const QDateTime& t) { return t.toString(QStringLiteral("yyyyMMddTHHmmss")).toLatin1(); }

// Event n: every tenth a weekly series with one cancelled date, every
// twenty-fifth an all-day event, the rest one to two hours on a working day
// somewhere in 2025-2027 (spread by a multiplicative step, not in file order).
QByteArray eventBlock(int n) {
  const QDate day = QDate(2025, 1, 1).addDays((qint64(n) * 7919) % 1095);
  const QDateTime start(day, QTime(8 + n % 10, (n % 4) * 15));
  const QDateTime end = start.addSecs(60 * (60 + 30 * (n % 3)));
  QByteArray b = "BEGIN:VEVENT\r\n";
  b += "UID:bench-" + QByteArray::number(n) + "@example.org\r\n";
  b += "DTSTAMP:20250101T120000Z\r\nCREATED:20250101T120000Z\r\n";
  if (n % 25 == 5) {
    b += "DTSTART;VALUE=DATE:" + day.toString(QStringLiteral("yyyyMMdd")).toLatin1() + "\r\n";
    b += "DTEND;VALUE=DATE:" + day.addDays(1 + n % 3).toString(QStringLiteral("yyyyMMdd")).toLatin1() + "\r\n";
    b += "TRANSP:TRANSPARENT\r\n";
  } else {
    b += "DTSTART;TZID=Europe/Berlin:" + stamp(start) + "\r\n";
    b += "DTEND;TZID=Europe/Berlin:" + stamp(end) + "\r\n";
  }
  if (n % 10 == 0) {
    b += n % 20 == 0 ? QByteArray("RRULE:FREQ=WEEKLY;COUNT=40\r\n")
                     : "RRULE:FREQ=WEEKLY;UNTIL=" + stamp(start.addDays(364).toUTC()) + "Z\r\n";
    b += "EXDATE;TZID=Europe/Berlin:" + stamp(start.addDays(14)) + "\r\n";
  }
  b += "SUMMARY:Bench appointment " + QByteArray::number(n) + "\r\n";
  b += "LOCATION:Room " + QByteArray::number(n % 40) + "\r\n";
  b += "DESCRIPTION:Generated for the store benchmark.\\nSecond line.\r\n";
  b += "END:VEVENT\r\n";
  return b;
}

QByteArray calendarHead() {
  return QByteArray("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Ordolo//Bench//EN\r\nCALSCALE:GREGORIAN\r\n") +
         kBerlin;
}

void writeIcsFolder(const QString& dir, int count) {
  QDir().mkpath(dir);
  for (int n = 0; n < count; ++n)
    writeBytes(QStringLiteral("%1/event-%2.ics").arg(dir).arg(n, 5, 10, QLatin1Char('0')),
               calendarHead() + eventBlock(n) + "END:VCALENDAR\r\n");
}

void writeIcsFile(const QString& path, int count) {
  QByteArray all = calendarHead();
  for (int n = 0; n < count; ++n) all += eventBlock(n);
  all += "END:VCALENDAR\r\n";
  writeBytes(path, all);
}

// ---------------------------------------------------------------- mail data

// Every twentieth message carries a 200 KB attachment (270 KB of base64).
QByteArray messageBytes(int n, const QDateTime& received, const QByteArray& attachment) {
  const QByteArray date =
      QLocale::c().toString(received.toUTC(), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss")).toLatin1() + " +0000";
  const QByteArray sent =
      QLocale::c().toString(received.toUTC().addSecs(-90), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss")).toLatin1() +
      " +0000";
  QByteArray m;
  m += "Received: from mx.example.com (mx.example.com [192.0.2.7])\n\tby mail.example.org (Postfix) with ESMTPS id " +
       QByteArray::number(n) + "\n\tfor <bench@example.org>; " + date + "\n";
  m += "Message-ID: <bench-" + QByteArray::number(n) + "@example.com>\n";
  m += "Date: " + sent + "\n";
  m += "From: Sender " + QByteArray::number(n % 97) + " <sender" + QByteArray::number(n % 97) + "@example.com>\n";
  m += "To: Bench User <bench@example.org>\n";
  m += "Subject: =?utf-8?q?Bench_message_" + QByteArray::number(n) + "_=C3=BCber?=\n";
  m += "MIME-Version: 1.0\n";
  const QByteArray text = "Hello,\n\nthis is message " + QByteArray::number(n) + " of the store benchmark.\n";
  if (attachment.isEmpty()) {
    m += "Content-Type: text/plain; charset=utf-8\n\n" + text;
    return m;
  }
  m += "Content-Type: multipart/mixed; boundary=\"b\"\n\n--b\nContent-Type: text/plain; charset=utf-8\n\n" + text;
  m += "\n--b\nContent-Type: application/pdf; name=\"report.pdf\"\nContent-Transfer-Encoding: base64\n"
       "Content-Disposition: attachment; filename=\"report.pdf\"\n\n";
  m += attachment;
  m += "\n--b--\n";
  return m;
}

void writeMaildir(const QString& dir, int count) {
  for (const char* sub : {"cur", "new", "tmp"}) QDir().mkpath(dir + QLatin1Char('/') + QLatin1String(sub));
  QByteArray raw(200 * 1024, '\0');
  for (int i = 0; i < raw.size(); ++i) raw[i] = char((i * 131 + 7) & 0xFF);
  const QByteArray b64 = raw.toBase64();
  QByteArray attachment;
  for (int at = 0; at < b64.size(); at += 76) attachment += b64.mid(at, 76) + '\n';
  const QDateTime base(QDate(2025, 1, 1), QTime(0, 0), Qt::UTC);
  for (int n = 0; n < count; ++n) {
    const QDateTime received = base.addSecs(((qint64(n) * 7919) % 1095) * 86400 + (n * 3607) % 86400);
    const QString name = QStringLiteral("%1/cur/%2.M%3P1.bench:2,S").arg(dir).arg(received.toSecsSinceEpoch()).arg(n);
    writeBytes(name, messageBytes(n, received, n % 20 == 7 ? attachment : QByteArray()));
  }
}

// ---------------------------------------------------------------- scenarios

struct Scenario {
  const char* name;
  QString folderPath;  // below the store root
  std::function<void(const QString& root, int count)> generate;
  QString filter;
  QString sortBy;  // empty: no sort
  QStringList read;
};

const QString kCalendarFilter = QStringLiteral("[Start]<='03/31/2026 11:59 PM' and [End]>'03/01/2026 12:00 AM'");
const QString kMailFilter = QStringLiteral("[ReceivedTime]>='2026-03-01 00:00' and [ReceivedTime]<='2026-03-31 23:59'");

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> all = {
      {"ics-folder",
       QStringLiteral("Calendar"),
       [](const QString& root, int count) { writeIcsFolder(root + QStringLiteral("/Calendar"), count); },
       kCalendarFilter,
       QStringLiteral("[Start]"),
       {QStringLiteral("Subject"), QStringLiteral("Start"), QStringLiteral("End")}},
      {"ics-file",
       QStringLiteral("Calendar.ics"),
       [](const QString& root, int count) { writeIcsFile(root + QStringLiteral("/Calendar.ics"), count); },
       kCalendarFilter,
       QStringLiteral("[Start]"),
       {QStringLiteral("Subject"), QStringLiteral("Start"), QStringLiteral("End")}},
      {"maildir",
       QStringLiteral("Inbox"),
       [](const QString& root, int count) { writeMaildir(root + QStringLiteral("/Inbox"), count); },
       kMailFilter,
       QString(),
       {QStringLiteral("Subject"), QStringLiteral("ReceivedTime"), QStringLiteral("SenderName")}},
  };
  return all;
}

const Scenario* findScenario(const QString& name) {
  for (const Scenario& s : scenarios())
    if (name == QLatin1String(s.name)) return &s;
  return nullptr;
}

// Generated data, shared by the cases of one process.
struct Data {
  std::unique_ptr<QTemporaryDir> dir;
  QString root;
  double seconds = 0;
};

const Data& dataOf(const Scenario& s) {
  static std::map<QString, Data> made;
  Data& d = made[QLatin1String(s.name)];
  if (d.root.isEmpty()) {
    if (gDataDir.isEmpty()) {
      d.dir = std::make_unique<QTemporaryDir>();
      d.root = d.dir->path();
    } else {
      // One subfolder per scenario and size, generated on first use.
      d.root = QStringLiteral("%1/%2-%3").arg(gDataDir, QLatin1String(s.name)).arg(gItemCount);
      if (QFileInfo::exists(d.root + QLatin1Char('/') + s.folderPath)) return d;
      QDir().mkpath(d.root);
    }
    QElapsedTimer t;
    t.start();
    s.generate(d.root, gItemCount);
    d.seconds = t.nsecsElapsed() / 1e9;
  }
  return d;
}

// User plus system time of the process so far, in seconds: less disturbed
// than wall time by other work on the machine.
double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Phases {
  double items = 0, restrict = 0, sort = 0, read = 0;
  double cpu = 0;
  int folderItems = 0, results = 0;
  qint64 checksum = 0;  // keeps the reads from being optimised away
  double total() const { return items + restrict + sort + read; }
};

// One pass over a folder: list, restrict, sort, read. Exits on a filter error
// (that would make every figure meaningless).
Phases runPass(model::Folder& folder, const Scenario& s) {
  Phases p;
  const double cpuStart = cpuSeconds();
  QElapsedTimer t;
  t.start();
  const model::ItemsPtr items = folder.GetItems();
  p.folderItems = items->Count();
  p.items = t.nsecsElapsed() / 1e9;
  t.restart();
  items->IncludeRecurrences = true;
  QString error;
  const model::ItemsPtr found = items->Restrict(s.filter, &error);
  if (!found) {
    std::fprintf(stderr, "bench_store: filter refused: %s\n", qPrintable(error));
    std::exit(2);
  }
  p.restrict = t.nsecsElapsed() / 1e9;
  t.restart();
  if (!s.sortBy.isEmpty()) found->Sort(s.sortBy);
  p.sort = t.nsecsElapsed() / 1e9;
  t.restart();
  for (const model::ItemPtr& item : *found)
    for (const QString& name : s.read) p.checksum += item->get(name).toString().size();
  p.read = t.nsecsElapsed() / 1e9;
  p.results = found->Count();
  p.cpu = cpuSeconds() - cpuStart;
  return p;
}

struct Opened {
  std::shared_ptr<store::FileStore> store;
  model::FolderPtr folder;
  double seconds = 0, cpu = 0;
};

Opened openFolder(const QString& root, const Scenario& s) {
  Opened o;
  const double cpuStart = cpuSeconds();
  QElapsedTimer t;
  t.start();
  QString error;
  o.store = store::FileStore::open(root, &error);
  if (o.store) o.folder = o.store->folderByPath(s.folderPath);
  o.seconds = t.nsecsElapsed() / 1e9;
  o.cpu = cpuSeconds() - cpuStart;
  if (!o.folder) {
    std::fprintf(stderr, "bench_store: cannot open %s in %s: %s\n", qPrintable(s.folderPath), qPrintable(root),
                 qPrintable(error));
    std::exit(2);
  }
  return o;
}

void printPass(const char* label, const Opened& o, const Phases& p) {
  const double total = o.seconds + p.total();
  std::printf("  %-5s open %.3f s  list %.3f s  restrict %.3f s  sort %.3f s  read %.3f s\n", label, o.seconds, p.items,
              p.restrict, p.sort, p.read);
  std::printf("  %-5s %d items, %d results, wall %.3f s (cpu %.3f s), %.0f items/s\n", label, p.folderItems, p.results,
              total, o.cpu + p.cpu, p.folderItems / total);
}

int runScenario(const Scenario& s) {
  const Data& data = dataOf(s);
  const double generated = peakMB();
  if (data.seconds > 0)
    std::printf("scenario %s: %d items in %s (generated in %.1f s, not timed)\n", s.name, gItemCount,
                qPrintable(s.folderPath), data.seconds);
  else
    std::printf("scenario %s: %d items in %s (files of an earlier run in %s)\n", s.name, gItemCount,
                qPrintable(s.folderPath), qPrintable(data.root));
  std::printf("  local time zone: %s\n",
              qEnvironmentVariableIsSet("TZ") ? qPrintable(qEnvironmentVariable("TZ")) : "the system's (TZ not set)");
  const Opened o = openFolder(data.root, s);
  const Phases cold = runPass(*o.folder, s);
  const double coldPeak = peakMB();
  const double afterCold = currentMB();
  printPass("cold", o, cold);
  const Phases warm = runPass(*o.folder, s);
  printPass("warm", Opened(), warm);
  std::printf(
      "  peak MB %.1f (after generating the data %.1f; resident after the cold pass %.1f, after the warm pass %.1f)\n",
      std::max(coldPeak, peakMB()), generated, afterCold, currentMB());
  // One line per scenario for scripts/bench's summary.
  std::printf("result %-10s cold %6.3f s %7.0f items/s  warm %6.3f s %7.0f items/s  peak %5.1f MB\n", s.name,
              o.seconds + cold.total(), cold.folderItems / (o.seconds + cold.total()), warm.total(),
              warm.folderItems / warm.total(), std::max(coldPeak, peakMB()));
  if (cold.checksum != warm.checksum || cold.results != warm.results) {
    std::fprintf(stderr, "bench_store: the warm pass read other values than the cold one\n");
    return 1;
  }
  return 0;
}

// ------------------------------------------------------- Google Benchmark

void reportCounters(benchmark::State& state, int items, int results) {
  state.counters["items/s"] = benchmark::Counter(double(items), benchmark::Counter::kIsRate);
  state.counters["results"] = results;
  state.counters["peak MB"] = peakMB();  // whole process, high-water mark
}

void StoreCold(benchmark::State& state, const Scenario* s) {
  const QString root = dataOf(*s).root;
  int items = 0, results = 0;
  for (auto _ : state) {
    Opened o = openFolder(root, *s);
    const Phases p = runPass(*o.folder, *s);
    items += p.folderItems;
    results = p.results;
    benchmark::DoNotOptimize(p.checksum);
  }
  reportCounters(state, items, results);
}

void StoreWarm(benchmark::State& state, const Scenario* s) {
  const QString root = dataOf(*s).root;
  Opened o = openFolder(root, *s);
  runPass(*o.folder, *s);
  int items = 0, results = 0;
  for (auto _ : state) {
    const Phases p = runPass(*o.folder, *s);
    items += p.folderItems;
    results = p.results;
    benchmark::DoNotOptimize(p.checksum);
  }
  reportCounters(state, items, results);
}

void registerBenchmarks() {
  for (const Scenario& s : scenarios()) {
    benchmark::RegisterBenchmark((QStringLiteral("%1/cold").arg(QLatin1String(s.name))).toStdString().c_str(),
                                 StoreCold, &s)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->MinTime(3.0);
    benchmark::RegisterBenchmark((QStringLiteral("%1/warm").arg(QLatin1String(s.name))).toStdString().c_str(),
                                 StoreWarm, &s)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  }
}

}  // namespace

int main(int argc, char** argv) {
  util::PinLocalTimeZone();  // as ordolo does
  QCoreApplication app(argc, argv);
  // The calendar filter writes its dates the US way.
  util::setUserLocale(QLocale(QStringLiteral("en_US")));

  std::optional<QString> scenario;
  std::vector<char*> rest{argv[0]};
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--scenario=", 11) == 0) scenario = QString::fromLocal8Bit(argv[i] + 11);
    else if (std::strncmp(argv[i], "--items=", 8) == 0) gItemCount = std::max(1, std::atoi(argv[i] + 8));
    else if (std::strncmp(argv[i], "--data=", 7) == 0)
      gDataDir = QDir(QString::fromLocal8Bit(argv[i] + 7)).absolutePath();
    else rest.push_back(argv[i]);
  }
  if (scenario) {
    const Scenario* s = findScenario(*scenario);
    if (!s) {
      std::fprintf(stderr, "bench_store: unknown scenario %s (ics-folder, ics-file, maildir)\n", qPrintable(*scenario));
      return 2;
    }
    return runScenario(*s);
  }
  int restCount = int(rest.size());
  benchmark::Initialize(&restCount, rest.data());
  if (benchmark::ReportUnrecognizedArguments(restCount, rest.data())) return 1;
  registerBenchmarks();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
