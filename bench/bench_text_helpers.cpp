// How much do the date formats, the language lookups and the INI reads cost?
// Every placeholder of every printed item goes through them, so they bound how
// many items a print run can fill per second before any document work.
#include <benchmark/benchmark.h>

#include <QTemporaryDir>

#include "lang/LanguageTable.h"
#include "util/Funktionen.h"
#include "util/Ini.h"
#include "util/TextFile.h"
#include "util/VbFormat.h"

using namespace ordolo;

namespace {

const QDateTime kWhen(QDate(2026, 11, 21), QTime(15, 4, 9));
const QLocale kDe(QLocale::German, QLocale::Germany);

void FormatLongDate(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(util::Format(kWhen, QStringLiteral("dddd, d. MMMM yyyy  hh:nn"), kDe));
}
BENCHMARK(FormatLongDate);

void FormatShortDate(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(util::Format(kWhen, QStringLiteral("Short Date"), kDe));
}
BENCHMARK(FormatShortDate);

void FormatStamp14(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(util::DateStamp14(kWhen));
}
BENCHMARK(FormatStamp14);

void FormatTime12(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(util::FormatTime12(kWhen));
}
BENCHMARK(FormatTime12);

void LangLookupAndField(benchmark::State& state) {
  lang::LanguageTable t;
  t.load(util::IniDocument());
  const QString key = QStringLiteral("S2");
  for (auto _ : state) benchmark::DoNotOptimize(util::GetField(t.GetLangText(key), QStringLiteral("/"), 7));
}
BENCHMARK(LangLookupAndField);

void LoadShippedLanguageFile(benchmark::State& state) {
  const QString path = QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt");
  lang::LanguageTable t;
  for (auto _ : state) {
    t.LoadLanguageTable(path);
    benchmark::DoNotOptimize(t.rows().size());
  }
}
BENCHMARK(LoadShippedLanguageFile);

void ReadIniKey(benchmark::State& state) {
  QTemporaryDir dir;
  const QString file = dir.filePath("Ordolo.ini");
  util::WriteWholeFile(file, util::ReadWholeFile(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/Deutsch.txt")), false);
  for (auto _ : state) benchmark::DoNotOptimize(util::ReadIni(QStringLiteral("Lang"), QStringLiteral("S74"), {}, file));
}
BENCHMARK(ReadIniKey);

}  // namespace
