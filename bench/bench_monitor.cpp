// The folder monitor from a mail landing in new/ to its PDF written, as the
// monitor runs for real: the file watch, the print run with the shipped
// memo template, LibreOffice. Two scenarios, one after the other:
//   trickle: --trickle=N mails dropped one every --interval-ms (latency per
//            mail: median and worst; resident memory at the start and end)
//   burst:   --burst=M mails dropped at once (all printed? mails per second)
// bench_monitor [--trickle=50] [--interval-ms=1000] [--burst=500]
// An hour of trickle, memory sampled along the way:
//   bench_monitor --trickle=600 --interval-ms=6000 --burst=0
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTimer>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "addin/Connect.h"
#include "lang/LanguageTable.h"
#include "monitor/Monitor.h"
#include "office/convert/Converter.h"
#include "print/Outputs.h"
#include "session/PrintRun.h"
#include "session/Start.h"
#include "store/FileStore.h"
#include "ui/Port.h"
#include "util/Folders.h"
#include "util/VbFormat.h"

using namespace ordolo;

namespace {

[[noreturn]] void fail(const QString& why) {
  std::fprintf(stderr, "bench_monitor: %s\n", qPrintable(why));
  std::exit(2);
}

double peakMB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_maxrss) / 1024.0;
}

double residentMB() {
  QFile f(QStringLiteral("/proc/self/statm"));
  if (!f.open(QIODevice::ReadOnly)) return 0;
  const QList<QByteArray> fields = f.readAll().split(' ');
  return fields.size() > 1 ? fields[1].toDouble() * 4096.0 / (1024 * 1024) : 0;
}

class QuietPort : public ui::Port {
 public:
  ui::Answer message(const QString& text, ui::Buttons, ui::Icon) override {
    std::fprintf(stderr, "message: %s\n", qPrintable(text));
    return ui::Answer::Yes;
  }
  void notice(const QString&) override {}
  void beep() override {}
  QString browseFolder(const QString&, const QString&) override { return {}; }
  void yield() override { QCoreApplication::processEvents(); }
};

QString Key(const QString& entryId) {
  return QString::fromLatin1(QCryptographicHash::hash(entryId.toUtf8(), QCryptographicHash::Sha1).toHex().left(12));
}

int intArg(const QStringList& args, const char* name, int fallback) {
  for (const QString& a : args)
    if (a.startsWith(QLatin1String(name))) return a.mid(int(qstrlen(name))).toInt();
  return fallback;
}

}  // namespace

int main(int argc, char** argv) {
  util::PinLocalTimeZone();
  QCoreApplication app(argc, argv);
  const QStringList args = app.arguments();
  const int trickle = intArg(args, "--trickle=", 50);
  const int intervalMs = intArg(args, "--interval-ms=", 1000);
  const int burst = intArg(args, "--burst=", 500);

  QTemporaryDir home, root, out;
  qputenv("ORDOLO_HOME", home.path().toLocal8Bit());
  addin::Connect connect;
  connect.OnConnection({});
  lang::table().LangDef(0, util::LanguageFolder(), util::MainConfigFile());
  const QString templ = util::DataFolder() + QStringLiteral("MMemo.dotx");
  if (!QFileInfo::exists(templ)) fail(QStringLiteral("no shipped template at %1").arg(templ));
  for (const char* sub : {"Inbox/cur", "Inbox/new", "Inbox/tmp"}) QDir().mkpath(root.filePath(sub));

  auto files = store::FileStore::open(root.path());
  const model::FolderPtr inbox = files ? files->folderByPath(QStringLiteral("Inbox")) : nullptr;
  if (!inbox) fail(QStringLiteral("cannot open the scratch store"));
  QuietPort port;
  print::FolderOutput output(out.path(), true);
  output.setReplaceRepeats(true);
  QString why;
  if (!output.prepare(&why)) fail(why);
  office::convert::Converter converter;
  converter.prestart();  // as ordolo monitor does, which shares it with the output
  output.setConverter(&converter);

  // When each mail landed, and when its PDF was written, by the item's key.
  std::map<QString, qint64> dropped, written;
  QElapsedTimer clock;
  clock.start();
  int serial = 0;
  auto drop = [&] {
    const int n = ++serial;
    const QByteArray mail = "From: Bench <bench@example.org>\nTo: Anna <anna@example.org>\nSubject: Order " +
                            QByteArray::number(n) +
                            "\nDate: " + QDateTime::currentDateTime().toString(Qt::RFC2822Date).toLatin1() +
                            "\nMessage-ID: <order-" + QByteArray::number(n) + "@bench>\n\nOrder number " +
                            QByteArray::number(n) + ", please print.\n";
    const QString name = QStringLiteral("%1.M%2P1.bench:2,").arg(QDateTime::currentSecsSinceEpoch()).arg(n);
    QFile f(root.filePath(QStringLiteral("Inbox/tmp/") + name));
    if (!f.open(QIODevice::WriteOnly) || f.write(mail) != mail.size()) fail(QStringLiteral("cannot write a mail"));
    f.close();
    if (!QFile::rename(f.fileName(), root.filePath(QStringLiteral("Inbox/new/") + name)))
      fail(QStringLiteral("rename"));
    dropped[QStringLiteral("Order %1").arg(n)] = clock.elapsed();
  };

  monitor::Monitor watcher(port, inbox, root.filePath(QStringLiteral("Inbox")));
  std::map<QString, QString> subjectOfKey;
  watcher.print = [&](const std::vector<model::ItemPtr>& items) -> int {
    session::Start start(port);
    if (!start.StartPrint(model::Selection(items), inbox, QStringLiteral("Bench"))) return int(items.size());
    for (const model::ItemPtr& item : start.items())
      subjectOfKey[Key(item->EntryID())] = item->text(QStringLiteral("Subject"));
    session::RunOptions run;
    run.templatePath = templ;
    run.kind = start.kind();
    run.documentNameFor = [](const model::Item& item) { return QStringLiteral("MMemo-") + Key(item.EntryID()); };
    session::PrintRun printRun(port, output, &converter);
    struct Written : session::RunObserver {
      std::function<void(const QString&)> seen;
      void documentDelivered(const session::DeliveredDocument& d) override { seen(d.name); }
    } observer;
    observer.seen = [&](const QString& name) {
      written[subjectOfKey[name.section(QLatin1Char('-'), 1)]] = clock.elapsed();
    };
    printRun.setObserver(&observer);
    const session::RunResult result = printRun.run(start.items(), start.rows(), run);
    for (const QString& e : result.errors) std::fprintf(stderr, "error: %s\n", qPrintable(e));
    return result.errors.isEmpty() ? result.items : 0;
  };
  if (!watcher.start({})) fail(QStringLiteral("the monitor did not start"));

  auto waitUntil = [&](const std::function<bool()>& done, int limitMs) {
    QElapsedTimer waited;
    waited.start();
    while (!done() && waited.elapsed() < limitMs) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return done();
  };

  // Trickle.
  const double rssStart = residentMB();
  for (int i = 0; i < trickle; ++i) {
    // Memory along the way, ten samples: a long trickle shows whether it grows.
    if (trickle >= 10 && i > 0 && i % (trickle / 10) == 0)
      std::printf("  after %d mails (%.0f min): resident %.1f MB\n", i, double(clock.elapsed()) / 60000.0,
                  residentMB());
    std::fflush(stdout);
    drop();
    const qint64 next = clock.elapsed() + intervalMs;
    while (clock.elapsed() < next) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  }
  waitUntil([&] { return int(written.size()) >= trickle; }, 120000);
  const double rssEnd = residentMB();
  std::vector<double> latency;
  for (const auto& [subject, at] : dropped)
    if (written.count(subject)) latency.push_back(double(written[subject] - at) / 1000.0);
  std::sort(latency.begin(), latency.end());
  if (trickle > 0) {
    std::printf("trickle: %d mails, one every %d ms: %zu printed\n", trickle, intervalMs, latency.size());
    if (!latency.empty())
      std::printf("  landing to PDF written: median %.2f s, worst %.2f s\n", latency[latency.size() / 2],
                  latency.back());
    std::printf("  resident memory: %.1f MB at the start, %.1f MB at the end\n", rssStart, rssEnd);
  }

  // Burst.
  if (burst > 0) {
    const size_t before = written.size();
    const qint64 start = clock.elapsed();
    for (int i = 0; i < burst; ++i) drop();
    waitUntil([&] { return written.size() >= before + size_t(burst); }, 600000);
    const double seconds = double(clock.elapsed() - start) / 1000.0;
    const size_t done = written.size() - before;
    std::printf("burst: %d mails at once: %zu printed in %.1f s, %.1f mails/s\n", burst, done, seconds,
                double(done) / seconds);
  }
  std::printf("peak memory: %.1f MB (LibreOffice, a process of its own, not counted)\n", peakMB());
  watcher.stop();
  connect.OnDisconnection();
  return 0;
}
