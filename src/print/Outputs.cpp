#include "print/Outputs.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include <signal.h>
#include <unistd.h>

#include "lang/Messages.h"
#include "ui/Port.h"
#include "util/DebugLog.h"
#include "util/Desktop.h"
#include "util/Folders.h"
#include "util/Ini.h"
#include "util/SignalsHeld.h"

namespace ordolo::print {

using lang::Msg;
using office::convert::Converter;
using office::convert::Result;

namespace {

QString msg(Msg id) { return lang::text(id); }

// Empty when there is a LibreOffice to run, else what the user must fix.
QString officeProblem() {
  const QString program = Converter::findProgram();
  if (program.isEmpty()) return msg(Msg::ErrOfficeMissing);
  const QFileInfo info(program);
  if (!info.isFile() || !info.isExecutable()) return msg(Msg::ErrOfficeProgram).arg(program);
  return {};
}

void report(const Progress& progress, Msg what, int done, int total) {
  if (progress) progress(msg(what).arg(done).arg(total), done, total);
}

// The converter for `jobs`: the caller's shared one, else the output's own,
// made the first time a job needs converting.
Converter* converterFor(Converter* shared, std::unique_ptr<Converter>& own, const office::convert::Options& options,
                        const std::vector<Job>& jobs) {
  if (shared) return shared;
  if (!own && std::any_of(jobs.begin(), jobs.end(), [](const Job& j) { return j.convert; }))
    own = std::make_unique<Converter>(options);
  return own.get();
}

// Converts the jobs that need it (when a converter is given) into `staging`
// and hands `each` the file to deliver for every job, in order, as soon as
// it and those before it are ready: a document goes out while later ones
// are still in LibreOffice. A job whose conversion failed or whose file is
// missing is told in `errors` instead.
void deliverInOrder(Converter* converter, const std::vector<Job>& jobs, const QString& staging,
                    const Progress& progress, QStringList& errors,
                    const std::function<void(int, const QString&)>& each) {
  std::vector<Result> results(jobs.size());
  std::vector<char> ready(jobs.size(), 0);
  QStringList inputs;
  std::vector<size_t> index;
  for (size_t i = 0; i < jobs.size(); ++i) {
    if (jobs[i].convert && converter) {
      inputs << jobs[i].file;
      index.push_back(i);
    } else {
      ready[i] = 1;
    }
  }
  size_t next = 0;
  const auto release = [&] {
    for (; next < jobs.size() && ready[next]; ++next) {
      const Job& job = jobs[next];
      if (job.convert && converter && !results[next].ok())
        errors << msg(Msg::ErrOutputConvert).arg(job.name, lang::Describe(results[next].error));
      else if (job.convert && converter) each(int(next), results[next].output);
      else if (!QFileInfo(job.file).isFile()) errors << msg(Msg::ErrOutputNoFile).arg(job.name, job.file);
      else each(int(next), job.file);
    }
  };
  if (!inputs.isEmpty()) {
    const int total = int(inputs.size());
    report(progress, Msg::PrintConverting, 0, total);
    const std::vector<Result> converted = converter->toPdf(
        inputs, staging, [&](int done, int all) { report(progress, Msg::PrintConverting, done, all); },
        [&](int k, const Result& r) {
          results[index[size_t(k)]] = r;
          ready[index[size_t(k)]] = 1;
          release();
        });
    for (size_t k = 0; k < index.size() && k < converted.size(); ++k) {
      if (ready[index[k]]) continue;
      results[index[k]] = converted[k];
      ready[index[k]] = 1;
    }
  }
  release();
}

// A job's name as a file name: no folder separators, not "." or "..", not
// longer than a file system takes; empty: the file's own base name.
QString fileStem(const Job& job) {
  QString stem = job.name.trimmed();
  if (stem.isEmpty()) stem = QFileInfo(job.file).completeBaseName();
  stem.replace(QLatin1Char('/'), QLatin1Char('_')).replace(QChar(0), QLatin1Char('_'));
  if (stem.isEmpty() || stem == QLatin1String(".") || stem == QLatin1String("..")) stem = QStringLiteral("_");
  // 255 bytes a name: leave room for " (nn)", the suffix and UTF-8.
  while (stem.toUtf8().size() > 200) stem.chop(1);
  return stem;
}

// Files being written into an output folder are called
// ".ordolo-part-<host>-<pid>-<n>" until they are renamed into place. One
// left by a process of this machine that is gone (killed mid-write) is
// removed by the next output; another machine's (a shared folder) is left
// alone.
QString partPrefix() { return QStringLiteral(".ordolo-part-"); }

QString hostName() {
  QString host = QSysInfo::machineHostName();
  host.replace(QLatin1Char('-'), QLatin1Char('_')).replace(QLatin1Char('/'), QLatin1Char('_'));
  return host.isEmpty() ? QStringLiteral("localhost") : host;
}

QString partName(const QString& folder, const QString& what) {
  return folder + QLatin1Char('/') + partPrefix() + hostName() + QLatin1Char('-') + QString::number(::getpid()) +
         QLatin1Char('-') + what;
}

void removeStaleParts(const QString& folder) {
  const QString mine = partPrefix() + hostName() + QLatin1Char('-');
  for (const QString& name : QDir(folder).entryList({mine + QLatin1Char('*')}, QDir::Files | QDir::Hidden)) {
    const pid_t writer = pid_t(name.mid(mine.size()).section(QLatin1Char('-'), 0, 0).toLongLong());
    if (writer > 0 && writer != ::getpid() && ::kill(writer, 0) != 0 && errno == ESRCH) {
      QFile::remove(folder + QLatin1Char('/') + name);
      util::DebugLog::write(QStringLiteral("Removed %1/%2, left by a stopped process").arg(folder, name));
    }
  }
}

// Copies `source` to `target` under a temporary name in the target's folder,
// syncs it and renames it into place, replacing a file of that name (whose
// permissions it keeps); on failure nothing is left. Empty, or the reason.
QString copyInto(const QString& source, const QString& target) {
  const util::SignalsHeld held;
  QFile in(source);
  if (!in.open(QIODevice::ReadOnly)) return in.errorString();
  static std::atomic<int> serial{0};
  const QString folder = QFileInfo(target).absolutePath();
  QFile out;
  // A name of an earlier process with our id (ids repeat) is passed over.
  for (int attempt = 0; attempt < 100 && !out.isOpen(); ++attempt) {
    out.setFileName(partName(folder, QString::number(++serial)));
    if (!out.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered) &&
        !QFileInfo::exists(out.fileName()))
      return out.errorString();
  }
  if (!out.isOpen()) return out.errorString();
  auto fail = [&out](const QString& why) {
    out.remove();
    return why;
  };
  char buffer[64 * 1024];
  for (;;) {
    const qint64 n = in.read(buffer, sizeof buffer);
    if (n < 0) return fail(in.errorString());
    if (n == 0) break;
    // Unbuffered: a full disk shows here, with the system's own words.
    errno = 0;
    if (out.write(buffer, n) != n)
      return fail(errno ? QString::fromLocal8Bit(std::strerror(errno)) : out.errorString());
  }
  // Some file systems cannot sync (FUSE, virtual mounts): written is enough there.
  if (::fsync(out.handle()) != 0 && errno != EINVAL && errno != ENOTSUP && errno != ENOSYS)
    return fail(QString::fromLocal8Bit(std::strerror(errno)));
  if (QFileInfo::exists(target)) out.setPermissions(QFile(target).permissions());
  out.close();
  if (::rename(QFile::encodeName(out.fileName()).constData(), QFile::encodeName(target).constData()) != 0)
    return fail(QString::fromLocal8Bit(std::strerror(errno)));
  return {};
}

}  // namespace

// ---------------------------------------------------------------------------

QueueOutput::QueueOutput(QString queue, QueueOptions options) : queue_(std::move(queue)), options_(std::move(options)) {
  if (options_.waitMs == QueueOptions().waitMs) {
    const int seconds =
        util::ReadIni(QStringLiteral("Print"), QStringLiteral("JobWait"), QString(), util::UserConfigFile()).toInt();
    if (seconds > 0) options_.waitMs = std::min(seconds, 86400) * 1000;
  }
}

QueueOutput::~QueueOutput() = default;

Cups& QueueOutput::cups() {
  if (!cups_) cups_ = std::make_unique<Cups>(options_.server);
  return *cups_;
}

QString QueueOutput::queue() {
  if (queue_.isEmpty()) queue_ = cups().defaultQueue();
  return queue_;
}

std::optional<QSet<QString>> QueueOutput::jobsOnQueue() {
  const auto jobs = cups().jobs(queue(), true);
  if (!jobs) return std::nullopt;
  QSet<QString> names;
  for (const CupsJob& j : *jobs)
    if (j.state != JobState::Canceled && j.state != JobState::Aborted) names.insert(j.name);
  return names;
}

bool QueueOutput::prepare(QString* error) {
  auto fail = [&](const QString& why) {
    util::DebugLog::write(why);
    if (error) *error = why;
    return false;
  };
  QString why;
  if (!cups().reachable(&why)) return fail(msg(Msg::ErrCupsUnreachable).arg(cups().server(), why));
  const QString name = queue();
  if (name.isEmpty()) return fail(msg(Msg::ErrNoDefaultQueue));
  const QueueStatus status = cups().queue(name);
  if (!status.exists && !status.reason.isEmpty()) return fail(msg(Msg::ErrQueueRejecting).arg(name, status.reason));
  if (!status.exists) return fail(msg(Msg::ErrQueueMissing).arg(name, cups().server()));
  if (!status.accepting) return fail(msg(Msg::ErrQueueRejecting).arg(name, status.reason));
  if (const QString problem = officeProblem(); !problem.isEmpty()) return fail(problem);
  return true;
}

void QueueOutput::add(const Job& job) { pending_.push_back(job); }

bool QueueOutput::flush() {
  std::vector<Job> jobs;
  jobs.swap(pending_);
  if (jobs.empty()) return true;
  const int errorsBefore = int(errors_.size());
  const QString name = queue();

  // CUPS reads the file while it is submitted, so the staging folder may
  // go as soon as the last job is sent.
  QTemporaryDir staging(util::TempFolder() + QLatin1String("print-XXXXXX"));
  const int total = int(jobs.size());
  deliverInOrder(converterFor(shared_, converter_, options_.convert, jobs), jobs, staging.path(), progress_, errors_,
                 [&](int i, const QString& file) {
                   const Job& job = jobs[size_t(i)];
                   report(progress_, Msg::PrintPrinting, i + 1, total);
                   if (name.isEmpty()) {
                     errors_ << msg(Msg::ErrNoDefaultQueue);
                     return;
                   }
                   QString why;
                   const int id = cups().submit(name, file, job.name, &why, options_.jobOptions);
                   if (id <= 0) {
                     errors_ << msg(Msg::ErrPrintSubmit).arg(job.name, name, why);
                     return;
                   }
                   if (waitForJob(id, job)) {
                     delivered_ << QStringLiteral("%1-%2 %3").arg(name).arg(id).arg(job.name);
                     reportDelivered(job.name, delivered_.back());
                   }
                 });
  for (int i = errorsBefore; i < errors_.size(); ++i) util::DebugLog::write(errors_[i]);
  return errors_.size() == errorsBefore;
}

// Waits until CUPS has printed the job, so that the next one cannot
// overtake it; false (with an error) when it failed or took too long.
bool QueueOutput::waitForJob(int id, const Job& job) {
  QElapsedTimer clock;
  clock.start();
  for (;;) {
    const CupsJob j = cups().job(id);
    switch (j.state) {
      case JobState::Completed: return true;
      case JobState::Gone:
        // Ended and already dropped from the history (PreserveJobHistory No).
        util::DebugLog::write(QStringLiteral("CUPS: job %1 no longer known; taken as printed").arg(id));
        return true;
      case JobState::Canceled:
      case JobState::Aborted:
      case JobState::Stopped: {
        const QString state = j.reason.isEmpty() ? toString(j.state)
                                                 : toString(j.state) + QLatin1String(": ") + j.reason;
        errors_ << msg(Msg::ErrPrintJobFailed).arg(job.name, queue_, state);
        return false;
      }
      default: break;
    }
    if (stopRequested()) {
      // A stop ends the waiting, not the printing: the job stays queued.
      util::DebugLog::write(QStringLiteral("CUPS: stop requested; job %1 not waited for").arg(id));
      return true;
    }
    const qint64 left = options_.waitMs - clock.elapsed();
    if (left <= 0) {
      errors_ << msg(Msg::ErrPrintJobTimeout).arg(job.name, queue_, QString::number(options_.waitMs / 1000.0));
      return false;
    }
    QThread::msleep(ulong(std::clamp<qint64>(options_.pollMs, 1, left)));
  }
}

// ---------------------------------------------------------------------------

FolderOutput::FolderOutput(QString folder, bool pdf, office::convert::Options convert)
    : folder_(QDir::cleanPath(QFileInfo(folder).absoluteFilePath())), pdf_(pdf), convertOptions_(std::move(convert)) {}

FolderOutput::~FolderOutput() = default;

bool FolderOutput::prepare(QString* error) {
  auto fail = [&](const QString& why) {
    util::DebugLog::write(why);
    if (error) *error = why;
    return false;
  };
  // Nothing is made before LibreOffice is known to be there.
  if (const QString problem = pdf_ ? officeProblem() : QString(); !problem.isEmpty()) return fail(problem);
  // Writing a file is the only sure test (permissions, read-only mounts, ACLs).
  bool writable = QDir().mkpath(folder_);
  if (writable) {
    QFile probe(partName(folder_, QStringLiteral("probe")));
    writable = probe.open(QIODevice::WriteOnly);
    probe.remove();
    removeStaleParts(folder_);
  }
  if (!writable) return fail(msg(Msg::ErrOutputFolder).arg(folder_));
  return true;
}

void FolderOutput::add(const Job& job) { pending_.push_back(job); }

bool FolderOutput::flush() {
  const int errorsBefore = int(errors_.size());
  write();
  return errors_.size() == errorsBefore;
}

QString FolderOutput::targetName(const Job& job, const QString& suffix) {
  const QString stem = fileStem(job);
  const QString dot = suffix.isEmpty() ? QString() : QLatin1Char('.') + suffix;
  QString name = stem + dot;
  for (int k = 2; !replaceRepeats_ && used_.count(name); ++k) name = QStringLiteral("%1 (%2)").arg(stem).arg(k) + dot;
  used_.insert(name);
  return folder_ + QLatin1Char('/') + name;
}

QStringList FolderOutput::write() {
  std::vector<Job> jobs;
  jobs.swap(pending_);
  QStringList written;
  if (jobs.empty()) return written;
  const int errorsBefore = int(errors_.size());

  // prepare() made the folder; one gone since (removed, or its disk
  // unmounted) is not made again, which could write onto another disk.
  if (!QFileInfo(folder_).isDir()) {
    for (const Job& job : jobs)
      errors_ << msg(Msg::ErrOutputWrite).arg(job.name, msg(Msg::ErrOutputFolder).arg(folder_));
    return written;
  }

  QTemporaryDir staging(util::TempFolder() + QLatin1String("print-XXXXXX"));
  const int total = int(jobs.size());
  deliverInOrder(pdf_ ? converterFor(shared_, converter_, convertOptions_, jobs) : nullptr, jobs, staging.path(),
                 progress_, errors_, [&](int i, const QString& source) {
                   const Job& job = jobs[size_t(i)];
                   report(progress_, Msg::PrintSaving, i + 1, total);
                   const QString target = targetName(job, QFileInfo(source).suffix());
                   const QString why = copyInto(source, target);
                   if (!why.isEmpty()) {
                     errors_ << msg(Msg::ErrOutputWrite).arg(target, why);
                     return;
                   }
                   util::DebugLog::write(QStringLiteral("Output: %1 written as %2").arg(job.file, target));
                   delivered_ << target;
                   written << target;
                   reportDelivered(job.name, target);
                 });
  for (int i = errorsBefore; i < errors_.size(); ++i) util::DebugLog::write(errors_[i]);
  return written;
}

// ---------------------------------------------------------------------------

QString OpenFailureText(int result, const QString& pathOrUrl) {
  if (result < util::kOpenNoAssociation) return msg(Msg::ProblemStarting) + QString::number(result) + QLatin1Char(')');
  if (result == util::kOpenBadUrl) return msg(Msg::UrlNotValid) + pathOrUrl;
  return {};
}

ShowOutput::ShowOutput(QString folder, ui::Port* port) : FolderOutput(std::move(folder), false), port_(port) {}

bool ShowOutput::flush() {
  const int errorsBefore = int(errors_.size());
  const QStringList files = write();
  for (int i = 0; i < files.size(); ++i) {
    report(progress_, Msg::PrintOpening, i + 1, int(files.size()));
    const int result = util::OpenDocument(files[i]);
    const QString failure = OpenFailureText(result, files[i]);
    if (port_ && !failure.isEmpty()) port_->message(failure);
    if (result != util::kOpenStarted) errors_ << msg(Msg::ErrOutputOpen).arg(files[i]).arg(result);
  }
  return errors_.size() == errorsBefore;
}

// ---------------------------------------------------------------------------

std::unique_ptr<Output> makeOutput(Target target, const QString& where, ui::Port* port) {
  switch (target) {
    case Target::Queue: return std::make_unique<QueueOutput>(where);
    case Target::PdfFolder: return std::make_unique<FolderOutput>(where, true);
    case Target::SaveFolder: return std::make_unique<FolderOutput>(where, false);
    case Target::Show: return std::make_unique<ShowOutput>(where, port);
  }
  return nullptr;
}

QString ShowFolder() {
  QDir cache(office::convert::Converter::defaultCacheFolder());
  cache.cdUp();
  return cache.filePath(QStringLiteral("shown"));
}

}  // namespace ordolo::print
