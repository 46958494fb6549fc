#include "office/convert/Converter.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <numeric>
#include <thread>

#include "office/convert/TableParts.h"
#include "office/convert/WarmWorker.h"
#include "util/DebugLog.h"
#include "util/Folders.h"
#include "util/Ini.h"

namespace ordolo::office::convert {

namespace {

// The settings of a private LibreOffice profile. Macros in a document are
// never run (whatever the document asks for). With blockLinks, neither is
// anything a document links to loaded: LibreOffice loads linked pictures,
// frames and objects (from the web, or from any local file) when it opens
// a document, and a document being turned into a PDF, a template's or a
// mail attachment's, must not reach outside itself.
// HTML is read through Writer's HTML import in runs of its own: as a web
// page it has neither a .docx export nor text in its PDF.
bool IsHtmlName(const QString& file) {
  const QString suffix = QFileInfo(file).suffix().toLower();
  return suffix == QLatin1String("html") || suffix == QLatin1String("htm");
}

void LockDownProfile(const QString& profile, bool blockLinks) {
  QDir().mkpath(profile + QLatin1String("/user"));
  QFile f(profile + QLatin1String("/user/registrymodifications.xcu"));
  if (f.exists() || !f.open(QIODevice::WriteOnly)) return;
  const char* item = "<item oor:path=\"/org.openoffice.Office.Common/Security/Scripting\">";
  QByteArray xcu =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<oor:items xmlns:oor=\"http://openoffice.org/2001/registry\" xmlns:xs=\"http://www.w3.org/2001/XMLSchema\" "
      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n";
  xcu += QByteArray(item) +
         "<prop oor:name=\"DisableMacrosExecution\" oor:op=\"fuse\"><value>true</value></prop></item>\n";
  xcu += QByteArray(item) + "<prop oor:name=\"MacroSecurityLevel\" oor:op=\"fuse\"><value>3</value></prop></item>\n";
  if (blockLinks)
    xcu += QByteArray(item) +
           "<prop oor:name=\"BlockUntrustedRefererLinks\" oor:op=\"fuse\"><value>true</value></prop></item>\n";
  f.write(xcu + "</oor:items>\n");
}

// Puts an input where LibreOffice reads it. A symbolic link is cheapest, but
// LibreOffice follows it to the file's own name, which it cannot open when
// the name is not plain ASCII and the locale is not UTF-8: such files are
// hard-linked, or copied.
bool StageInput(const QString& from, const QString& to) {
  const bool ascii = std::all_of(from.begin(), from.end(), [](QChar c) { return c.unicode() < 128; });
  if (ascii) return QFile::link(from, to);
  if (::link(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0) return true;
  return QFile::copy(from, to);
}

void log(const QString& line) { util::DebugLog::write(QStringLiteral("Convert: ") + line); }
void log(const Error& error) { log(error.debugText()); }

QString env(const char* name) { return QString::fromLocal8Bit(qgetenv(name)); }

// soffice is a shell script that starts oosplash, which starts soffice.bin:
// the child gets a process group of its own so that a hanging conversion can
// be stopped as a whole.
class GroupProcess : public QProcess {
 protected:
  void setupChildProcess() override { ::setpgid(0, 0); }
};

void killGroup(qint64 pid) {
  if (pid > 0 && ::kill(-pid_t(pid), 0) == 0) ::kill(-pid_t(pid), SIGKILL);
}

// LibreOffice opens almost anything as plain text, so a damaged or foreign
// file with an office name would come out as a page of garbage. The first
// bytes tell the formats we hand it; other names are left to LibreOffice.
bool looksLikeDocument(const QString& path) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) return false;
  const QByteArray head = f.read(8);
  if (head.isEmpty()) return false;
  const QString suffix = QFileInfo(path).suffix().toLower();
  static const QSet<QString> zipped{"docx", "docm", "dotx", "dotm", "xlsx", "xlsm",
                                    "xltx", "xltm", "odt",  "ott",  "ods",  "ots"};
  if (zipped.contains(suffix)) return head.startsWith("PK\x03\x04");
  const bool ole2 = head == QByteArray("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8);
  const QByteArray text = head.trimmed();
  const bool markup = text.startsWith('<') || text.startsWith("\xEF\xBB\xBF");
  if (suffix == "doc" || suffix == "dot") return ole2 || head.startsWith("{\\rtf") || markup;
  if (suffix == "xls" || suffix == "xlt") {
    // BIFF2 to BIFF4 files have no OLE2 wrapper; they open with a BOF record.
    const bool biff = head.size() >= 2 && head[0] == '\x09' && QByteArray("\x00\x02\x04", 3).contains(head[1]);
    return ole2 || biff || markup;
  }
  if (suffix == "rtf") return head.startsWith("{\\rtf");
  return true;
}

// Moves a finished file to its place; the target is replaced in one step, also
// across file systems (the staging folder may be on another one).
bool moveReplacing(const QString& from, const QString& to) {
  if (::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0) return true;
  QFile in(from);
  QSaveFile out(to);
  if (!in.open(QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly)) return false;
  while (!in.atEnd()) {
    const QByteArray chunk = in.read(1 << 20);
    if (chunk.isEmpty() || out.write(chunk) != chunk.size()) {
      out.cancelWriting();
      return false;
    }
  }
  if (!out.commit()) return false;
  QFile::remove(from);
  return true;
}

bool nonEmptyFile(const QString& path) {
  const QFileInfo fi(path);
  return fi.isFile() && fi.size() > 0;
}

QString shortHash(const QString& text) {
  return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha1).toHex().left(16));
}

// One document of a run: LibreOffice reads `staged` (a link to the input in a
// private folder, named by its position) and writes `produced`.
struct Job {
  QString staged;
  QString produced;
  QString output;  // set when converted
  Error error;     // set when not
};

// Rows per part when a long table is converted in parts
// (ORDOLO_TABLE_PART_ROWS); tables of less than twice that are converted
// whole.
int partRows() {
  bool ok = false;
  const int n = env("ORDOLO_TABLE_PART_ROWS").toInt(&ok);
  return ok && n >= 10 ? n : 400;
}

// A Word document that is mostly one long table, through `worker` in parts
// (see TableParts). False when it is not such a document or a part did not
// convert: the caller converts it whole.
bool convertInParts(WarmWorker& worker, const Job& job, int timeoutMs) {
  const QString suffix = QFileInfo(job.staged).suffix().toLower();
  if (suffix != QLatin1String("docx") && suffix != QLatin1String("docm")) return false;
  const int size = partRows();
  const std::unique_ptr<TableParts> table = TableParts::inspect(job.staged, 2 * size);
  if (!table || !TableParts::canJoin()) return false;
  std::vector<std::pair<QString, int>> kept;
  QStringList made;
  const auto cleanUp = [&made] {
    for (const QString& f : made) QFile::remove(f);
  };
  int from = 0, page = table->firstPageNumber();
  QString why;
  for (int n = 1, length = size; from < table->rows(); ++n) {
    int to = std::min(table->rows(), from + length);
    if (table->rows() - to < size / 4) to = table->rows();  // no short last part
    const QString part = job.produced + QStringLiteral(".part%1.docx").arg(n);
    const QString pdf = job.produced + QStringLiteral(".part%1.pdf").arg(n);
    made << part << pdf;
    QByteArray answer;
    if (!table->write(part, from, to, page, &why) ||
        worker.toPdf(part, pdf, timeoutMs, &why, &answer) != WarmWorker::Outcome::Done) {
      log(QStringLiteral("%1 in parts: %2").arg(job.staged, why));
      cleanUp();
      return false;
    }
    const std::vector<int> starts = table->pageStarts(answer, from);
    if (to >= table->rows()) {
      kept.emplace_back(pdf, int(starts.size()));
      break;
    }
    // The pages before the last one that begins with a whole row are the
    // whole document's; the next part begins with that row. Where rows
    // break across every page of a part, a longer part is tried.
    int cut = int(starts.size()) - 1;
    while (cut > 0 && !(starts[size_t(cut)] > from && starts[size_t(cut)] < to)) --cut;
    if (cut <= 0) {
      if (length < 4 * size) {
        length *= 2;
        continue;
      }
      log(QStringLiteral("%1 in parts: no page of rows %2 to %3 begins with a whole row")
              .arg(job.staged)
              .arg(from)
              .arg(to));
      cleanUp();
      return false;
    }
    kept.emplace_back(pdf, cut);
    page += cut;
    from = starts[size_t(cut)];
    length = size;
  }
  const bool joined = TableParts::join(kept, job.produced, timeoutMs, &why);
  if (!joined) log(QStringLiteral("%1: joining the parts: %2").arg(job.staged, why));
  else log(QStringLiteral("%1 converted in %2 parts").arg(job.staged).arg(kept.size()));
  cleanUp();
  return joined;
}

}  // namespace

struct Converter::Impl {
  Options options;
  std::mutex mutex;
  QString profile;     // made on first run
  QString pdfProfile;  // the same for PDF runs, outside links blocked
  int launches = 0;
  std::vector<std::unique_ptr<WarmWorker>> warm;  // kept for the converter's life
  std::vector<QString> warmProfiles;
  bool warmBroken = false;  // a worker could not start: batches from then on

  // Warm workers are used for the LibreOffice found on PATH (a program given
  // by ORDOLO_SOFFICE or the options is run as a batch, as it may be a
  // wrapper), unless ORDOLO_CONVERTER says "batch" or "warm".
  bool useWarm() const {
    if (warmBroken) return false;
    const QString mode = env("ORDOLO_CONVERTER").toLower();
    if (mode == QLatin1String("batch")) return false;
    if (WarmWorker::python().isEmpty() || WarmWorker::script().isEmpty()) return false;
    if (mode == QLatin1String("warm")) return true;
    return options.program.isEmpty() && env("ORDOLO_SOFFICE").isEmpty();
  }

  // How many LibreOffice processes convert side by side: ORDOLO_CONVERTERS,
  // else the user's option [Convert] Processes, else (and for 0) one per core.
  int workerCount() const {
    bool ok = false;
    int wanted = env("ORDOLO_CONVERTERS").toInt(&ok);
    if (!ok)
      wanted = util::ReadIni(QStringLiteral("Convert"), QStringLiteral("Processes"), QString(), util::UserConfigFile())
                   .toInt(&ok);
    return std::clamp(ok && wanted > 0 ? wanted : int(std::thread::hardware_concurrency()), 1, 16);
  }

  void addWorkers(int workers) {
    const QString program = programPath();
    while (int(warm.size()) < workers) {
      warmProfiles.push_back(util::MakePrivateFolder(util::TempFolder()));
      LockDownProfile(warmProfiles.back(), true);
      warm.push_back(std::make_unique<WarmWorker>(program, warmProfiles.back(), std::max(1000, options.baseTimeoutMs)));
    }
  }

  std::thread starter;  // prestart(): the workers being started

  int workerLaunches() const {
    return std::accumulate(warm.begin(), warm.end(), 0, [](int n, const auto& w) { return n + w->launches(); });
  }

  // The jobs through the warm workers, side by side; progress in the
  // caller's thread, in order. A document whose worker hangs or dies is
  // tried once more on a fresh one. False when no worker could be started
  // (the jobs are left for a batch).
  bool convertWarm(std::vector<Job>& all, const QStringList& names, const Progress& progress,
                   const std::function<void(size_t job)>& done) {
    const int total = int(all.size());
    if (total == 0) return true;
    const int workers = std::min(workerCount(), total);
    addWorkers(workers);
    // One document may take what a batch of one may take.
    const int perDocument = timeoutMs(1);
    std::atomic<int> next{0};
    std::atomic<bool> unusable{false};
    std::vector<char> finished(size_t(total), 0);
    std::mutex m;
    std::condition_variable changed;
    auto work = [&](WarmWorker& worker) {
      for (;;) {
        const int i = next++;
        if (i >= total || unusable) return;
        Job& job = all[size_t(i)];
        QString why;
        WarmWorker::Outcome outcome = convertInParts(worker, job, perDocument)
                                          ? WarmWorker::Outcome::Done
                                          : worker.toPdf(job.staged, job.produced, perDocument, &why);
        if (outcome == WarmWorker::Outcome::TimedOut || outcome == WarmWorker::Outcome::Died)
          outcome = worker.toPdf(job.staged, job.produced, perDocument, &why);  // once more, on a fresh one
        if (outcome == WarmWorker::Outcome::NotStarted) {
          unusable = true;
        } else if (outcome == WarmWorker::Outcome::Done && nonEmptyFile(job.produced)) {
          job.output = job.produced;
        } else if (outcome == WarmWorker::Outcome::TimedOut) {
          job.error = Error(Problem::ConvertTimeout, {names[i], QString::number(perDocument / 1000)});
        } else if (outcome == WarmWorker::Outcome::Died) {
          job.error = Error(Problem::ConvertCrashed, {names[i]});
        } else {
          job.error = Error(Problem::ConvertFailed, {names[i]});
        }
        {
          std::lock_guard hold(m);
          finished[size_t(i)] = 1;
        }
        changed.notify_all();
      }
    };
    const int before = workerLaunches();
    std::vector<std::thread> threads;
    for (int w = 0; w < workers; ++w) threads.emplace_back(work, std::ref(*warm[size_t(w)]));
    int reported = 0;
    {
      std::unique_lock hold(m);
      for (;;) {
        const int was = reported;
        while (reported < total && finished[size_t(reported)]) ++reported;
        if (reported != was && !unusable) {
          // In order, in the caller's thread, while the workers go on.
          hold.unlock();
          for (int j = was; j < reported; ++j)
            if (all[size_t(j)].error.failed() || !all[size_t(j)].output.isEmpty()) done(size_t(j));
          if (progress) progress(reported, total);
          hold.lock();
          continue;
        }
        if (reported >= total || unusable) break;
        changed.wait(hold);
      }
    }
    for (std::thread& t : threads) t.join();
    launches += workerLaunches() - before;
    if (unusable) {
      log(QStringLiteral("no warm LibreOffice could be started; converting in batches"));
      warmBroken = true;
      for (Job& job : all) job.error = Error();
      return false;
    }
    return true;
  }

  QString programPath() const { return options.program.isEmpty() ? findProgram() : options.program; }

  int timeoutMs(int documents) const {
    return std::max(0, options.baseTimeoutMs) + std::max(0, options.perDocumentTimeoutMs) * documents;
  }

  // Runs to PDF block outside links; a run to .docx (a mail's HTML body,
  // already made safe) needs the local pictures it links to.
  QString profileUrl(bool forPdf) {
    QString& folder = forPdf ? pdfProfile : profile;
    if (folder.isEmpty() || !QFileInfo(folder).isDir()) {
      folder = util::MakePrivateFolder(util::TempFolder());
      LockDownProfile(folder, forPdf);
    }
    return QUrl::fromLocalFile(folder).toString(QUrl::FullyEncoded);
  }

  enum class End { Finished, NotStarted, TimedOut, Crashed };

  struct RunReport {
    End end = End::Finished;
    int events = 0;                   // documents LibreOffice reported, in argument order
    bool lastEventConverted = false;  // the last report was "convert ...", not "Error: ..."
  };

  // One soffice process over `jobs`. Each document LibreOffice handles gives
  // one line: "convert <in> -> <out> ..." once it is loaded, or "Error: ..."
  // when it cannot be loaded. They come in argument order.
  // inFilter names LibreOffice's import filter; empty lets it pick one.
  RunReport runOnce(const QString& program, const QString& convertTo, const QString& inFilter, const QString& outDir,
                    const std::vector<Job*>& jobs, const QDeadlineTimer& deadline,
                    const std::function<void()>& onEvent) {
    RunReport report;
    QStringList args{QStringLiteral("-env:UserInstallation=") + profileUrl(convertTo.startsWith(QLatin1String("pdf"))),
                     QStringLiteral("--headless"),
                     QStringLiteral("--norestore"),
                     QStringLiteral("--nologo"),
                     QStringLiteral("--nodefault"),
                     QStringLiteral("--nolockcheck"),
                     QStringLiteral("--convert-to"),
                     convertTo,
                     QStringLiteral("--outdir"),
                     outDir};
    if (!inFilter.isEmpty()) args << QStringLiteral("--infilter=") + inFilter;
    for (const Job* job : jobs) args << job->staged;

    GroupProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.setProgram(program);
    p.setArguments(args);
    QElapsedTimer clock;
    clock.start();
    p.start(QIODevice::ReadOnly);
    if (!p.waitForStarted(30000)) {
      log(QStringLiteral("cannot start %1: %2").arg(program, p.errorString()));
      p.kill();
      p.waitForFinished(1000);
      report.end = End::NotStarted;
      return report;
    }
    ++launches;
    const qint64 pid = p.processId();
    log(QStringLiteral("started %1 for %2 document(s), pid %3").arg(program).arg(jobs.size()).arg(pid));

    QByteArray pending;
    QByteArray transcript;
    auto handle = [&](const QByteArray& line) {
      const bool converted = line.startsWith("convert ");
      if (converted || line.startsWith("Error:")) {
        ++report.events;
        report.lastEventConverted = converted;
        onEvent();
      }
      if (transcript.size() < 16384) transcript += line + '\n';
    };
    auto drain = [&] {
      pending += p.readAll();
      for (int nl; (nl = pending.indexOf('\n')) >= 0; pending.remove(0, nl + 1)) handle(pending.left(nl).trimmed());
    };

    bool timedOut = false;
    while (p.state() != QProcess::NotRunning) {
      const qint64 left = deadline.remainingTime();
      if (p.waitForFinished(int(std::clamp<qint64>(left, 1, 200)))) break;
      drain();
      if (p.state() != QProcess::NotRunning && deadline.hasExpired()) {
        timedOut = true;
        killGroup(pid);
        p.waitForFinished(5000);
        break;
      }
    }
    drain();
    if (!pending.trimmed().isEmpty()) handle(pending.trimmed());
    // What a crashed soffice.bin or a killed launcher leaves behind goes too.
    killGroup(pid);

    const bool crashed = p.exitStatus() == QProcess::CrashExit || p.exitCode() != 0;
    report.end = timedOut ? End::TimedOut : crashed ? End::Crashed : End::Finished;
    log(QStringLiteral("pid %1 ended after %2 ms: %3, exit code %4, %5 of %6 reported")
            .arg(pid)
            .arg(clock.elapsed())
            .arg(timedOut                                ? QStringLiteral("timed out and killed")
                 : p.exitStatus() == QProcess::CrashExit ? QStringLiteral("crashed")
                                                         : QStringLiteral("finished"))
            .arg(p.exitCode())
            .arg(report.events)
            .arg(jobs.size()));
    if (report.end != End::Finished) log(QString::fromLocal8Bit(transcript).trimmed());
    return report;
  }

  // Converts every job, one process for all of them. When LibreOffice dies
  // on one document, that document gets the error and the rest are handed
  // to a fresh process.
  void convert(const QString& convertTo, const QString& outDir, std::vector<Job>& all, const QStringList& names,
               const Progress& progress, const QString& inFilter = QString()) {
    const int total = int(all.size());
    if (total == 0) return;
    const QString program = programPath();
    const QFileInfo programInfo(program);
    if (program.isEmpty() || !programInfo.isFile() || !programInfo.isExecutable()) {
      log(QStringLiteral("no LibreOffice: \"%1\"").arg(program));
      for (Job& job : all) job.error = Error(Problem::OfficeMissing);
      return;
    }
    const int timeout = timeoutMs(total);
    const QDeadlineTimer deadline(timeout);
    auto nameOf = [&](const Job& job) { return names[int(&job - all.data())]; };

    int done = 0;
    std::vector<Job*> pending;
    for (Job& job : all) pending.push_back(&job);
    int idleRounds = 0;
    while (!pending.empty()) {
      const RunReport report = runOnce(program, convertTo, inFilter, outDir, pending, deadline, [&] {
        if (progress) progress(std::min(++done, total), total);
      });
      for (Job* job : pending)
        if (nonEmptyFile(job->produced)) job->output = job->produced;

      if (report.end == End::NotStarted) {
        for (Job* job : pending) job->error = Error(Problem::OfficeMissing);
        return;
      }
      if (report.end == End::TimedOut) {
        const QString seconds = QString::number((timeout + 999) / 1000);
        for (Job* job : pending)
          if (job->output.isEmpty()) job->error = Error(Problem::ConvertTimeout, {nameOf(*job), seconds});
        return;
      }
      const int reported = std::min<int>(report.events, int(pending.size()));
      size_t next = pending.size();
      if (report.end == End::Crashed) {
        // The document being worked on when it died: one that was loaded
        // ("convert" seen) but not written, else the next one in line.
        size_t culprit = size_t(reported);
        if (reported > 0 && report.lastEventConverted && pending[reported - 1]->output.isEmpty())
          culprit = size_t(reported - 1);
        if (culprit < pending.size()) {
          pending[culprit]->error = Error(Problem::ConvertCrashed, {nameOf(*pending[culprit])});
          if (culprit >= size_t(reported) && progress) progress(std::min(++done, total), total);
          next = culprit + 1;
        }
        // A LibreOffice that dies before doing anything twice in a row will
        // not do better on the rest.
        idleRounds = reported == 0 ? idleRounds + 1 : 0;
        if (idleRounds >= 2) next = pending.size();
      }
      std::vector<Job*> rest;
      for (size_t i = 0; i < pending.size(); ++i) {
        Job* job = pending[i];
        if (!job->output.isEmpty() || job->error.failed()) continue;
        if (i < next)
          job->error = Error(report.end == End::Crashed && idleRounds >= 2 ? Problem::ConvertCrashed
                                                                           : Problem::ConvertFailed,
                             {nameOf(*job)});
        else rest.push_back(job);
      }
      pending = std::move(rest);
    }
  }
};

Converter::Converter(Options options) : d_(std::make_unique<Impl>()) {
  const Options defaults;
  if (options.baseTimeoutMs == defaults.baseTimeoutMs &&
      options.perDocumentTimeoutMs == defaults.perDocumentTimeoutMs) {
    const int seconds =
        util::ReadIni(QStringLiteral("Convert"), QStringLiteral("Timeout"), QString(), util::UserConfigFile()).toInt();
    if (seconds > 0) options.baseTimeoutMs = options.perDocumentTimeoutMs = std::min(seconds, 86400) * 500;
  }
  d_->options = std::move(options);
}

Converter::~Converter() {
  if (d_->starter.joinable()) d_->starter.join();
  d_->warm.clear();  // LibreOffice ended before its profile goes
  for (const QString& profile : d_->warmProfiles) QDir(profile).removeRecursively();
  if (!d_->profile.isEmpty()) QDir(d_->profile).removeRecursively();
  if (!d_->pdfProfile.isEmpty()) QDir(d_->pdfProfile).removeRecursively();
}

void Converter::prestart() {
  if (d_->starter.joinable() || !d_->useWarm() || d_->programPath().isEmpty()) return;
  Impl* impl = d_.get();
  // Never waits here: the caller may be inside a conversion of its own (an
  // event loop run from a progress callback). Whichever takes the mutex
  // first makes the workers; the other finds them.
  impl->starter = std::thread([impl] {
    std::lock_guard lock(impl->mutex);
    impl->addWorkers(impl->workerCount());
    std::vector<std::thread> starting;
    for (const auto& worker : impl->warm)
      starting.emplace_back([impl, w = worker.get()] {
        QString why;
        if (!w->start(std::max(1000, impl->options.baseTimeoutMs), &why)) log(QStringLiteral("prestart: ") + why);
      });
    for (std::thread& t : starting) t.join();
  });
}

QString Converter::program() const { return d_->programPath(); }

int Converter::launches() const { return d_->launches; }

QString Converter::findProgram() {
  const QString over = env("ORDOLO_SOFFICE");
  if (!over.isEmpty()) {
    if (over.contains(QLatin1Char('/'))) return QFileInfo(over).absoluteFilePath();
    const QString found = QStandardPaths::findExecutable(over);
    return found.isEmpty() ? over : found;
  }
  for (const char* name : {"soffice", "libreoffice"}) {
    const QString found = QStandardPaths::findExecutable(QString::fromLatin1(name));
    if (!found.isEmpty()) return found;
  }
  return {};
}

QString Converter::defaultCacheFolder() {
  const QString home = env("ORDOLO_HOME");
  if (!home.isEmpty()) return util::WithSlash(home) + QLatin1String("cache/converted/");
  const QString xdg = env("XDG_CACHE_HOME");
  if (!xdg.isEmpty() && QDir::isAbsolutePath(xdg)) return util::WithSlash(xdg) + QLatin1String("ordolo/converted/");
  const QString userHome = env("HOME").isEmpty() ? QDir::homePath() : env("HOME");
  return util::WithSlash(userHome) + QLatin1String(".cache/ordolo/converted/");
}

std::vector<Result> Converter::toPdf(const QStringList& inputs, const QString& outputFolder, const Progress& progress,
                                     const Ready& ready) {
  std::vector<Result> results(size_t(inputs.size()));
  for (int i = 0; i < inputs.size(); ++i) results[size_t(i)].input = inputs[i];
  if (inputs.isEmpty()) return results;

  const QString outDir = util::WithSlash(QFileInfo(outputFolder).absoluteFilePath());
  if (!QDir().mkpath(outDir) || !QFileInfo(outDir).isWritable()) {
    for (Result& r : results) r.error = Error(Problem::ConvertWrite, {outputFolder});
    return results;
  }

  std::lock_guard lock(d_->mutex);
  QTemporaryDir staging(util::TempFolder() + QLatin1String("convert-XXXXXX"));
  const QString in = staging.path() + QLatin1String("/in/");
  const QString out = staging.path() + QLatin1String("/out/");
  if (!staging.isValid() || !QDir().mkpath(in) || !QDir().mkpath(out)) {
    for (Result& r : results) r.error = Error(Problem::ConvertWrite, {util::TempFolder()});
    return results;
  }

  // Each input is linked under its position, so that same names from
  // different folders (or a.docx beside a.xlsx) cannot meet in the one
  // output folder LibreOffice writes to.
  std::vector<Job> jobs;
  std::vector<size_t> jobOf;  // result index of each job
  QStringList names;
  int rejected = 0;
  for (size_t i = 0; i < results.size(); ++i) {
    Result& r = results[i];
    const QFileInfo fi(r.input);
    if (!fi.isFile() || !fi.isReadable()) {
      r.error = Error(Problem::ConvertNoFile, {r.input});
    } else if (!looksLikeDocument(fi.absoluteFilePath())) {
      r.error = Error(Problem::ConvertNotDocument, {r.input});
    } else {
      const QString stem = QString::number(i);
      const QString link = in + stem + (fi.suffix().isEmpty() ? QString() : QLatin1Char('.') + fi.suffix());
      if (!StageInput(fi.absoluteFilePath(), link)) {
        r.error = Error(Problem::ConvertWrite, {in});
        continue;
      }
      jobs.push_back(Job{link, out + stem + QLatin1String(".pdf"), {}, {}});
      jobOf.push_back(i);
      names << r.input;
      continue;
    }
    ++rejected;
  }
  // Inputs refused before LibreOffice runs count as done for the progress.
  const int total = int(results.size());
  if (progress && rejected > 0) progress(rejected, total);
  const auto step = [&](int done, int) {
    if (progress) progress(rejected + done, total);
  };
  // Each result goes out (`ready`) as soon as it and those before it are
  // there: a document can be printed while later ones are converted.
  std::vector<char> final(results.size(), 1);
  for (size_t j = 0; j < jobs.size(); ++j) final[jobOf[j]] = 0;
  std::vector<char> finalized(jobs.size(), 0);
  size_t nextReady = 0;
  const auto release = [&] {
    for (; nextReady < results.size() && final[nextReady]; ++nextReady) {
      if (!results[nextReady].ok()) log(results[nextReady].error);
      if (ready) ready(int(nextReady), results[nextReady]);
    }
  };
  QSet<QString> taken;
  const auto finalize = [&](size_t j) {
    if (finalized[j]) return;
    finalized[j] = 1;
    Result& r = results[jobOf[j]];
    final[jobOf[j]] = 1;
    if (jobs[j].output.isEmpty()) {
      r.error = !jobs[j].error.failed() ? Error(Problem::ConvertFailed, {r.input}) : jobs[j].error;
    } else {
      const QFileInfo fi(r.input);
      const QString stem = fi.completeBaseName().isEmpty() ? fi.fileName() : fi.completeBaseName();
      QString name = stem + QLatin1String(".pdf");
      for (int k = 2; taken.contains(name); ++k) name = QStringLiteral("%1 (%2).pdf").arg(stem).arg(k);
      taken.insert(name);
      if (moveReplacing(jobs[j].output, outDir + name)) r.output = outDir + name;
      else r.error = Error(Problem::ConvertWrite, {outDir + name});
    }
    release();
  };
  release();  // refusals before the first document
  if (!d_->useWarm() || !d_->convertWarm(jobs, names, step, finalize)) {
    // Jobs a warm worker finished stay done; the rest go as one batch.
    // HTML in a run of its own (IsHtmlName).
    int before = 0;  // documents of the earlier run, for the progress
    for (const bool html : {false, true}) {
      std::vector<Job> rest;
      std::vector<size_t> restOf;
      QStringList restNames;
      for (size_t j = 0; j < jobs.size(); ++j) {
        if (IsHtmlName(names[int(j)]) != html) continue;
        if (!finalized[j] && jobs[j].output.isEmpty()) {
          rest.push_back(jobs[j]);
          restOf.push_back(j);
          restNames << names[int(j)];
        }
      }
      if (rest.empty()) continue;
      d_->convert(
          QStringLiteral("pdf"), out, rest, restNames, [&](int done, int all) { step(before + done, all); },
          html ? QStringLiteral("HTML (StarWriter)") : QString());
      for (size_t k = 0; k < rest.size(); ++k) jobs[restOf[k]] = rest[k];
      before += int(rest.size());
    }
  }
  for (size_t j = 0; j < jobs.size(); ++j) finalize(j);
  return results;
}

Result Converter::toOoxml(const QString& legacyFile) {
  Result r;
  r.input = legacyFile;
  const QFileInfo fi(legacyFile);
  if (!fi.isFile() || !fi.isReadable()) {
    r.error = Error(Problem::ConvertNoFile, {legacyFile});
    return r;
  }
  // A .dot becomes a .docx, not a .dotx: the engine makes a new document
  // from any Word file it is given, and a .docx needs no content-type change
  // when the filled copy is saved. Likewise .xlt -> .xlsx.
  const QString suffix = fi.suffix().toLower();
  QString target, convertTo;
  if (suffix == QLatin1String("doc") || suffix == QLatin1String("dot")) {
    target = QStringLiteral("docx");
    convertTo = QStringLiteral("docx:MS Word 2007 XML");
  } else if (suffix == QLatin1String("xls") || suffix == QLatin1String("xlt")) {
    target = QStringLiteral("xlsx");
    convertTo = QStringLiteral("xlsx:Calc MS Excel 2007 XML");
  } else {
    r.error = Error(Problem::ConvertNotLegacy, {legacyFile});
    return r;
  }
  if (!looksLikeDocument(fi.absoluteFilePath())) {
    r.error = Error(Problem::ConvertNotDocument, {legacyFile});
    return r;
  }

  // The name carries a hash of the source's path (which entry) and of its
  // path, time and size (which version): a changed source misses the cache,
  // and the older version of the same source is removed once the new one is in.
  const QString source = fi.absoluteFilePath();
  const QString version =
      QStringLiteral("%1\n%2\n%3").arg(source).arg(fi.lastModified().toMSecsSinceEpoch()).arg(fi.size());
  const QString cacheDir = util::WithSlash(d_->options.cacheFolder.isEmpty() ? defaultCacheFolder()
                                                                             : d_->options.cacheFolder);
  QString stem = fi.completeBaseName().left(60);
  stem.replace(QRegularExpression(QStringLiteral("[^\\w.-]")), QStringLiteral("_"));
  const QString prefix = stem + QLatin1Char('-') + shortHash(source) + QLatin1Char('-');
  const QString cached = cacheDir + prefix + shortHash(version) + QLatin1Char('.') + target;
  if (nonEmptyFile(cached)) {
    r.output = cached;
    r.fromCache = true;
    return r;
  }
  if (!QDir().mkpath(cacheDir)) {
    r.error = Error(Problem::ConvertWrite, {cacheDir});
    return r;
  }

  std::lock_guard lock(d_->mutex);
  QTemporaryDir staging(util::TempFolder() + QLatin1String("convert-XXXXXX"));
  const QString in = staging.path() + QLatin1String("/in/");
  const QString out = staging.path() + QLatin1String("/out/");
  const QString link = in + QLatin1String("template.") + fi.suffix();
  if (!staging.isValid() || !QDir().mkpath(in) || !QDir().mkpath(out) || !StageInput(source, link)) {
    r.error = Error(Problem::ConvertWrite, {util::TempFolder()});
    return r;
  }
  std::vector<Job> jobs{Job{link, out + QLatin1String("template.") + target, {}, {}}};
  d_->convert(convertTo, out, jobs, QStringList{legacyFile}, {});
  if (jobs[0].output.isEmpty()) {
    r.error = !jobs[0].error.failed() ? Error(Problem::ConvertFailed, {legacyFile}) : jobs[0].error;
    log(r.error);
    return r;
  }
  if (!moveReplacing(jobs[0].output, cached)) {
    r.error = Error(Problem::ConvertWrite, {cached});
    log(r.error);
    return r;
  }
  const QString keep = QFileInfo(cached).fileName();
  for (const QString& old : QDir(cacheDir).entryList({prefix + QLatin1Char('*')}, QDir::Files))
    if (old != keep) QFile::remove(cacheDir + old);
  log(QStringLiteral("%1 -> %2").arg(source, cached));
  r.output = cached;
  return r;
}

std::vector<Result> Converter::toDocx(const QStringList& files, const QString& outputFolder) {
  std::vector<Result> results(size_t(files.size()));
  std::lock_guard lock(d_->mutex);
  QTemporaryDir staging(util::TempFolder() + QLatin1String("convert-XXXXXX"));
  const QString in = staging.path() + QLatin1String("/in/");
  const QString out = staging.path() + QLatin1String("/out/");
  const QString target = util::WithSlash(outputFolder);
  const bool ready = staging.isValid() && QDir().mkpath(in) && QDir().mkpath(out) && QDir().mkpath(target);
  // HTML in a run of its own (IsHtmlName).
  for (const bool html : {true, false}) {
    std::vector<Job> jobs;
    std::vector<size_t> jobOf;
    QStringList names;
    for (int i = 0; i < files.size(); ++i) {
      Result& r = results[size_t(i)];
      const QFileInfo fi(files[i]);
      if (IsHtmlName(files[i]) != html) continue;
      r.input = files[i];
      if (!fi.isFile() || !fi.isReadable()) {
        r.error = Error(Problem::ConvertNoFile, {files[i]});
        continue;
      }
      const QString link = in + QString::number(i) + QLatin1Char('.') + fi.suffix();
      if (!ready || !StageInput(fi.absoluteFilePath(), link)) {
        r.error = Error(Problem::ConvertWrite, {util::TempFolder()});
        continue;
      }
      jobs.push_back(Job{link, out + QString::number(i) + QLatin1String(".docx"), {}, {}});
      jobOf.push_back(size_t(i));
      names << files[i];
    }
    if (jobs.empty()) continue;
    d_->convert(QStringLiteral("docx:MS Word 2007 XML"), out, jobs, names, {},
                html ? QStringLiteral("HTML (StarWriter)") : QString());
    for (size_t j = 0; j < jobs.size(); ++j) {
      Result& r = results[jobOf[j]];
      if (jobs[j].output.isEmpty()) {
        r.error = !jobs[j].error.failed() ? Error(Problem::ConvertFailed, {r.input}) : jobs[j].error;
        log(r.error);
        continue;
      }
      const QString placed = target + QString::number(jobOf[j]) + QLatin1String(".docx");
      if (!moveReplacing(jobs[j].output, placed)) {
        r.error = Error(Problem::ConvertWrite, {placed});
        continue;
      }
      r.output = placed;
    }
  }
  return results;
}

Result Converter::toDocx(const QString& file, const QString& outputFile) {
  QTemporaryDir staging(util::TempFolder() + QLatin1String("docx-XXXXXX"));
  std::vector<Result> results = toDocx(QStringList{file}, staging.path());
  Result r = results.front();
  r.input = file;
  if (!r.ok()) return r;
  if (!QDir().mkpath(QFileInfo(outputFile).absolutePath()) || !moveReplacing(r.output, outputFile)) {
    r.error = Error(Problem::ConvertWrite, {outputFile});
    r.output.clear();
    return r;
  }
  r.output = outputFile;
  return r;
}

}  // namespace ordolo::office::convert
