// How many documents a second does the PDF conversion manage? The same
// one-page .docx files (made by LibreOffice from small HTML pages before
// anything is timed) go through the converter three ways:
//   Batch              all documents in one toPdf call: one soffice process
//   BatchFreshProfile  the same with a new converter, so the profile is made
//                      first: what the first batch of a session costs
//   OnePerDocument     one toPdf call, so one soffice process, per document
// Times are wall-clock: the work happens in LibreOffice's processes.
//
//   bench_convert [--docs=N] [Google Benchmark flags]     (default 20 documents)
#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
#include <cstring>

#include "office/convert/Converter.h"
#include "util/Folders.h"

using ordolo::office::convert::Converter;

namespace {

int gDocs = 20;
QTemporaryDir* gDir = nullptr;
QStringList gInputs;

void makeDocuments() {
  gDir = new QTemporaryDir;
  const QString d = gDir->path();
  QDir().mkpath(d + "/html");
  QStringList html;
  for (int i = 1; i <= gDocs; ++i) {
    const QString path = d + QStringLiteral("/html/letter%1.html").arg(i, 3, 10, QLatin1Char('0'));
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(QStringLiteral("<html><body><h1>Letter %1</h1><p>Subject: quarterly meeting</p>"
                           "<p>Dear colleague, the meeting takes place on Monday at 10:00 in room 4.</p>"
                           "<table border=1><tr><td>Start</td><td>10:00</td></tr><tr><td>End</td><td>11:30</td></tr>"
                           "</table></body></html>")
                .arg(i)
                .toUtf8());
    html << path;
  }
  QProcess p;
  p.start(QStringLiteral("soffice"), QStringList{"-env:UserInstallation=file://" + d + "/profile", "--headless",
                                                 "--convert-to", "docx:MS Word 2007 XML", "--outdir", d + "/docx"} +
                                         html);
  p.waitForFinished(600000);
  for (const QString& h : html) {
    const QString docx = d + "/docx/" + QFileInfo(h).completeBaseName() + ".docx";
    if (!QFile::exists(docx)) {
      std::fprintf(stderr, "bench_convert: LibreOffice did not make %s\n", qPrintable(docx));
      std::exit(2);
    }
    gInputs << docx;
  }
}

void check(benchmark::State& state, const std::vector<ordolo::office::convert::Result>& results) {
  for (const auto& r : results)
    if (!r.ok()) state.SkipWithError(qPrintable(r.error.debugText()));
}

void BM_PdfBatch(benchmark::State& state) {
  Converter converter;
  const QString out = gDir->path() + "/out-batch";
  check(state, converter.toPdf(gInputs.mid(0, 1), out));  // makes the profile
  for (auto _ : state) check(state, converter.toPdf(gInputs, out));
  state.counters["docs/s"] = benchmark::Counter(double(gInputs.size()), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_PdfBatchFreshProfile(benchmark::State& state) {
  const QString out = gDir->path() + "/out-fresh";
  for (auto _ : state) {
    Converter converter;
    check(state, converter.toPdf(gInputs, out));
  }
  state.counters["docs/s"] = benchmark::Counter(double(gInputs.size()), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_PdfOnePerDocument(benchmark::State& state) {
  Converter converter;
  const QString out = gDir->path() + "/out-single";
  check(state, converter.toPdf(gInputs.mid(0, 1), out));
  for (auto _ : state)
    for (const QString& input : gInputs) check(state, converter.toPdf({input}, out));
  state.counters["docs/s"] = benchmark::Counter(double(gInputs.size()), benchmark::Counter::kIsIterationInvariantRate);
}

}  // namespace

BENCHMARK(BM_PdfBatch)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(3)
    ->ReportAggregatesOnly(false);
BENCHMARK(BM_PdfBatchFreshProfile)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1)->Repetitions(3);
BENCHMARK(BM_PdfOnePerDocument)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1)->Repetitions(1);

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--docs=", 7) == 0) {
      gDocs = std::max(1, std::atoi(argv[i] + 7));
      for (int j = i; j < argc - 1; ++j) argv[j] = argv[j + 1];
      --argc;
      --i;
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  makeDocuments();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  delete gDir;
  ordolo::util::RemoveTempFolder();
  return 0;
}
