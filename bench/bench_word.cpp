// How fast does the Word engine fill templates, and how much memory does it
// take? Two scenarios, one per process so that each peak memory figure is
// that scenario's alone (scripts/bench-word runs them and docxtemplater's
// counterparts side by side):
//
//   bench_word --scenario=memo [--items=1000]
//       one document per item from bench/data/memo-ordolo.docx: the template
//       opened, its 60 placeholders (15 split over runs, 5 in the page
//       header) filled, the document saved to disk; documents per second.
//   bench_word --scenario=table [--rows=10000]
//       one document whose table gets one row per item, five placeholders a
//       row, the way table templates are printed; rows per second.
//   bench_word --write-data=DIR [--items=N] [--rows=N]
//       writes the same values as JSON (memo.json, table.json) for the
//       docxtemplater side.
//
// Common options: --templates=DIR (default bench/data of the source tree),
// --out=DIR (default a temporary folder, removed at the end).
// Values are generated before anything is timed; after timing, the output is
// opened again and checked, so that a no-op cannot pass for speed.
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "office/Package.h"
#include "office/word/Document.h"
#include "template/ReplacePlaceholder.h"
#include "template/WordTarget.h"

using namespace ordolo;
using office::word::Document;

namespace {

constexpr int kMemoFields = 60;
const char* const kTableColumns[] = {"Subject", "StartDate", "EndDate", "Location", "Organizer"};

int gItems = 1000;
int gRows = 10000;
QString gTemplates = QStringLiteral(ORDOLO_BENCH_DATA);
QString gOut;

[[noreturn]] void fail(const QString& what) {
  std::fprintf(stderr, "bench_word: %s\n", qPrintable(what));
  std::exit(2);
}

// Peak resident memory of this process (VmHWM; ru_maxrss when /proc is not there).
double peakMB() {
  QFile f(QStringLiteral("/proc/self/status"));
  if (f.open(QIODevice::ReadOnly)) {
    for (const QByteArray& line : f.readAll().split('\n'))
      if (line.startsWith("VmHWM:")) return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
  }
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_maxrss) / 1024.0;
}

// ------------------------------------------------------------------ values

// Deterministic values of the length and make-up of real mail and calendar
// fields: umlauts, characters XML escapes, and a backslash in UNC paths (which a
// wildcard replacement must not take for a group reference).
quint32 mix(quint32 x) {
  x ^= x >> 16;
  x *= 0x7feb352dU;
  x ^= x >> 15;
  x *= 0x846ca68bU;
  x ^= x >> 16;
  return x;
}

QString pick(const std::vector<const char*>& list, quint32 h) { return QString::fromUtf8(list[h % list.size()]); }

const std::vector<const char*> kTopics = {"Quarterly review", "Budget planning 2026", "Kick-off meeting",
                                          "Supplier audit",   "Team lunch",           "Release retrospective",
                                          "Customer visit",   "Board preparation"};
const std::vector<const char*> kCompanies = {"Müller & Söhne GmbH", "Nordwind Logistik AG", "Acme <Europe> Ltd.",
                                             "Brandt Bürotechnik KG", "Fjord Consulting AS"};
const std::vector<const char*> kPeople = {"Dr. Anna-Lena Schmidt", "Jürgen Weißhaupt", "Marie O'Connor",
                                          "Kai Müller-Lüdenscheidt", "Sophie Dubois"};
const std::vector<const char*> kCities = {"Stuttgart", "Hamburg", "Köln", "Zürich", "Wien"};

QString valueOf(int kind, int item, int field) {
  const quint32 h = mix(quint32(item) * 7919U + quint32(field) * 104729U + 17U);
  switch (kind % 6) {
    case 0: return QStringLiteral("%1 with %2 (#%3)").arg(pick(kTopics, h), pick(kCompanies, h >> 8)).arg(item + 1);
    case 1:
      return QStringLiteral("%1/%2/2026 %3:%4 %5")
          .arg(1 + h % 12, 2, 10, QLatin1Char('0'))
          .arg(1 + (h >> 4) % 28, 2, 10, QLatin1Char('0'))
          .arg(1 + (h >> 9) % 12, 2, 10, QLatin1Char('0'))
          .arg((h >> 13) % 4 * 15, 2, 10, QLatin1Char('0'))
          .arg((h >> 15) % 2 ? QStringLiteral("PM") : QStringLiteral("AM"));
    case 2:
      if (h % 7 == 0) return QStringLiteral("\\\\fileserver\\rooms\\B-%1.%2").arg(h % 5).arg((h >> 3) % 30);
      return QStringLiteral("Room %1.%2, Hauptstraße %3, %4")
          .arg(h % 5)
          .arg((h >> 3) % 30)
          .arg(1 + (h >> 8) % 120)
          .arg(pick(kCities, h >> 16));
    case 3: return QStringLiteral("\\\\fileserver\\projects\\2026\\%1\\minutes-%2.docx").arg(item + 1).arg(field);
    case 4: return QStringLiteral("%1 <%2@example.com>").arg(pick(kPeople, h)).arg(QChar(QLatin1Char('a' + h % 26)));
    default:
      return QStringLiteral("Please bring the figures for %1; the agenda was sent on %2 by %3.")
          .arg(pick(kCompanies, h), valueOf(1, item, field + 1), pick(kPeople, h >> 5));
  }
}

QString memoValue(int item, int field) { return valueOf(field, item, field); }

QString tableValue(int row, int column) {
  static const int kinds[] = {0, 1, 1, 2, 4};
  return valueOf(kinds[column], row, column);
}

QString fieldName(int field) { return QStringLiteral("Field%1").arg(field, 2, 10, QLatin1Char('0')); }

void writeJson(const QString& path, const QJsonObject& obj) {
  QFile f(path);
  if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
      f.write(QJsonDocument(obj).toJson(QJsonDocument::Compact)) < 0)
    fail(QStringLiteral("cannot write %1").arg(path));
}

int writeData(const QString& dir) {
  QDir().mkpath(dir);
  QJsonArray items;
  for (int i = 0; i < gItems; ++i) {
    QJsonObject o;
    for (int f = 1; f <= kMemoFields; ++f) o.insert(fieldName(f), memoValue(i, f));
    items.append(o);
  }
  writeJson(dir + QStringLiteral("/memo.json"), QJsonObject{{QStringLiteral("items"), items}});
  QJsonArray rows;
  for (int r = 0; r < gRows; ++r) {
    QJsonObject o;
    for (int c = 0; c < 5; ++c) o.insert(QLatin1String(kTableColumns[c]), tableValue(r, c));
    rows.append(o);
  }
  writeJson(dir + QStringLiteral("/table.json"), QJsonObject{{QStringLiteral("rows"), rows}});
  std::printf("bench_word: %d memo items and %d table rows written to %s\n", gItems, gRows, qPrintable(dir));
  return 0;
}

// ---------------------------------------------------------------- helpers

std::unique_ptr<Document> open(const QString& path) {
  office::Error error;
  auto doc = Document::create(path, &error);
  if (!doc) fail(error.debugText());
  return doc;
}

void replace(tpl::Target& st, const QString& placeholder, const QString& value) {
  bool test = true;
  bool retry = true;
  tpl::ReplacePlaceholder(st, placeholder, value, /*wildcards*/ true, test, retry);
}

// Sum of the sizes of a package's parts once unpacked.
qint64 unzippedSize(const QString& path) {
  QString error;
  auto pkg = office::Package::open(path, &error);
  if (!pkg) fail(error);
  qint64 total = 0;
  for (const QString& name : pkg->entries()) {
    const auto bytes = pkg->read(name, &error);
    if (!bytes) fail(error);
    total += bytes->size();
  }
  return total;
}

struct Clock {
  QElapsedTimer t;
  double* sink;
  explicit Clock(double* s) : sink(s) { t.start(); }
  ~Clock() { *sink += t.nsecsElapsed() / 1e9; }
};

// ------------------------------------------------------------------- memo

int runMemo() {
  const QString tpl = gTemplates + QStringLiteral("/memo-ordolo.docx");
  std::vector<QString> placeholders;
  for (int f = 1; f <= kMemoFields; ++f) placeholders.push_back(QStringLiteral("#<%1>").arg(fieldName(f)));
  std::vector<std::vector<QString>> values(gItems);
  for (int i = 0; i < gItems; ++i)
    for (int f = 1; f <= kMemoFields; ++f) values[i].push_back(memoValue(i, f));
  const QString outDir = gOut + QStringLiteral("/memo-ordolo");
  QDir(outDir).removeRecursively();
  QDir().mkpath(outDir);
  const double dataPeak = peakMB();

  double tOpen = 0, tText = 0, tReplace = 0, tSave = 0;
  QElapsedTimer total;
  total.start();
  QString last;
  for (int i = 0; i < gItems; ++i) {
    std::unique_ptr<Document> doc;
    {
      Clock clk(&tOpen);
      doc = open(tpl);
    }
    std::unique_ptr<tpl::WordTarget> target;
    {
      Clock clk(&tText);
      target = std::make_unique<tpl::WordTarget>(*doc);  // takes the searched text
    }
    tpl::WordTarget& st = *target;
    {
      Clock clk(&tReplace);
      for (int f = 0; f < kMemoFields; ++f) replace(st, placeholders[f], values[i][f]);
    }
    last = outDir + QStringLiteral("/memo-%1.docx").arg(i + 1, 4, 10, QLatin1Char('0'));
    office::Error error;
    Clock clk(&tSave);
    if (!doc->saveAs(last, &error)) fail(error.debugText());
  }
  const double seconds = total.nsecsElapsed() / 1e9;
  const double peak = peakMB();

  // The last document must hold every value and no placeholder.
  auto check = open(last);
  const QString text = check->searchedText();
  if (text.contains(QStringLiteral("#Field"))) fail(QStringLiteral("%1 still holds a placeholder").arg(last));
  QStringList wrong;
  for (int f = 0; f < kMemoFields; ++f)
    if (!text.contains(values[gItems - 1][f])) wrong << placeholders[f] + QStringLiteral(" = ") + values[gItems - 1][f];

  std::printf("memo: %d documents of %d placeholders in %.3f s: %.0f documents/s\n", gItems, kMemoFields, seconds,
              gItems / seconds);
  std::printf("  open %.3f s  searchedText %.3f s  replace %.3f s  save %.3f s\n", tOpen, tText, tReplace, tSave);
  std::printf("  peak MB %.1f (%.1f after generating the values); output checked: %s\n", peak, dataPeak,
              qPrintable(last));
  // Wrong values are reported, not fatal, so that the figures still come out.
  if (!wrong.isEmpty())
    std::printf("  CHECK: %lld of %d values are not in the output as given, e.g. %s\n", qlonglong(wrong.size()),
                kMemoFields, qPrintable(wrong.first()));
  std::printf("result side=ordolo scenario=memo count=%d seconds=%.3f rate=%.1f peak_mb=%.1f check=%s\n", gItems,
              seconds, gItems / seconds, peak, wrong.isEmpty() ? "ok" : "values-differ");
  return 0;
}

// ------------------------------------------------------------------ table

int runTable() {
  const QString tpl = gTemplates + QStringLiteral("/table-ordolo.docx");
  std::vector<QString> placeholders;
  for (const char* c : kTableColumns) placeholders.push_back(QStringLiteral("#<%1>").arg(QLatin1String(c)));
  std::vector<std::array<QString, 5>> values(gRows);
  for (int r = 0; r < gRows; ++r)
    for (int c = 0; c < 5; ++c) values[r][c] = tableValue(r, c);
  QDir().mkpath(gOut);
  const QString out = gOut + QStringLiteral("/table-ordolo-%1.docx").arg(gRows);
  const double dataPeak = peakMB();

  double tOpen = 0, tAppend = 0, tText = 0, tReplace = 0, tSave = 0;
  std::vector<double> slices;  // seconds per 1,000 rows, to show growth
  QElapsedTimer total, slice;
  total.start();
  slice.start();
  std::unique_ptr<Document> doc;
  {
    Clock clk(&tOpen);
    doc = open(tpl);
  }
  const office::word::RowBlock block = doc->copyRows(1, 2, 2);
  tpl::WordTarget st(*doc);
  for (int r = 0; r < gRows; ++r) {
    if (r > 0) {
      Clock clk(&tAppend);
      if (!doc->appendRows(1, block)) fail(QStringLiteral("appendRows failed at row %1").arg(r + 2));
    }
    {
      Clock clk(&tText);
      if (!doc->rowRange(1, 2 + r)) fail(QStringLiteral("no row %1").arg(2 + r));
      st.fillRows(1, 2 + r, 1);
    }
    {
      Clock clk(&tReplace);
      for (int c = 0; c < 5; ++c) replace(st, placeholders[c], values[r][c]);
    }
    if ((r + 1) % 1000 == 0) {
      slices.push_back(slice.nsecsElapsed() / 1e9);
      slice.restart();
    }
  }
  const double peakBeforeSave = peakMB();
  {
    office::Error error;
    Clock clk(&tSave);
    if (!doc->saveAs(out, &error)) fail(error.debugText());
  }
  const double seconds = total.nsecsElapsed() / 1e9;
  const double peak = peakMB();
  doc.reset();

  // Every row must be there with its values; checked on a sample of rows.
  const qint64 unzipped = unzippedSize(out);
  auto check = open(out);
  if (check->rowCount(1) != gRows + 1)
    fail(QStringLiteral("%1 has %2 rows, not %3").arg(out).arg(check->rowCount(1)).arg(gRows + 1));
  QStringList wrong;
  for (int r = 0; r < gRows; r += std::max(1, gRows / 500)) {
    const QString text = check->text(*check->rowRange(1, r + 2));
    for (const char* c : kTableColumns)
      if (text.contains(QLatin1Char('#') + QLatin1String(c)))
        fail(QStringLiteral("row %1 still holds a placeholder: %2").arg(r + 2).arg(text));
    for (int c = 0; c < 5; ++c)
      if (!text.contains(values[r][c])) wrong << QStringLiteral("row %1: %2").arg(r + 2).arg(values[r][c]);
  }

  std::printf("table: %d rows in %.3f s: %.0f rows/s\n", gRows, seconds, gRows / seconds);
  std::printf("  open %.3f s  appendRows %.3f s  row text %.3f s  replace %.3f s  save %.3f s\n", tOpen, tAppend, tText,
              tReplace, tSave);
  QString growth;
  for (size_t i = 0; i < slices.size(); ++i)
    if (i == 0 || i + 1 == slices.size() || (i + 1) % 5 == 0)
      growth += QStringLiteral(" %1k:%2").arg(i + 1).arg(slices[i], 0, 'f', 3);
  std::printf("  seconds per 1,000 rows:%s\n", qPrintable(growth));
  std::printf(
      "  peak MB %.1f (%.1f after generating the values, %.1f before saving); output unzipped %.1f MB, "
      "peak/unzipped %.1f\n",
      peak, dataPeak, peakBeforeSave, unzipped / 1048576.0, peak * 1048576.0 / double(unzipped));
  if (!wrong.isEmpty())
    std::printf("  CHECK: %lld values of the sampled rows are not in the output as given, e.g. %s\n",
                qlonglong(wrong.size()), qPrintable(wrong.first()));
  std::printf(
      "result side=ordolo scenario=table%d count=%d seconds=%.3f rate=%.1f peak_mb=%.1f unzipped_mb=%.2f check=%s\n",
      gRows, gRows, seconds, gRows / seconds, peak, unzipped / 1048576.0, wrong.isEmpty() ? "ok" : "values-differ");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  QString scenario, dataDir;
  for (int i = 1; i < argc; ++i) {
    const QString a = QString::fromLocal8Bit(argv[i]);
    auto value = [&](const char* key) -> std::optional<QString> {
      const QString k = QLatin1String(key);
      if (a.startsWith(k)) return a.mid(k.size());
      return std::nullopt;
    };
    if (auto s = value("--scenario=")) scenario = *s;
    else if (auto n = value("--items=")) gItems = std::max(1, n->toInt());
    else if (auto r = value("--rows=")) gRows = std::max(1, r->toInt());
    else if (auto t = value("--templates=")) gTemplates = *t;
    else if (auto o = value("--out=")) gOut = QDir(*o).absolutePath();
    else if (auto d = value("--write-data=")) dataDir = *d;
    else fail(QStringLiteral("unknown argument %1 (see the top of bench/bench_word.cpp)").arg(a));
  }
  if (!dataDir.isEmpty()) return writeData(dataDir);

  std::unique_ptr<QTemporaryDir> tmp;
  if (gOut.isEmpty()) {
    tmp = std::make_unique<QTemporaryDir>();
    gOut = tmp->path();
  }
  if (scenario == QLatin1String("memo")) return runMemo();
  if (scenario == QLatin1String("table")) return runTable();
  fail(QStringLiteral("--scenario=memo|table or --write-data=DIR expected"));
}
