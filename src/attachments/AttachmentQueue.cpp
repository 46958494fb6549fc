#include "attachments/AttachmentQueue.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>

#include <algorithm>

#include "lang/Messages.h"
#include "ui/Port.h"
#include "util/DebugLog.h"
#include "util/Folders.h"
#include "util/Ini.h"

namespace ordolo::attachments {

namespace {

const QString kSection = QStringLiteral("Attachments");

// One wait: 80 steps of 2 taken per 200 ms sleep, so a job that never shows
// costs 8 s; half of that when the print system cannot even be asked.
constexpr int kWaitSteps = 80;
constexpr int kSleepMs = 200;
// The longest the real clock sleeps without letting the user interface run.
constexpr int kSliceMs = 50;

QString lastFour(const QString& fileName) { return fileName.right(4).toLower(); }

bool isOn(const QString& value) {
  const QString v = value.trimmed();
  return v == QLatin1String("1") || v == QLatin1String("-1") ||
         v.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0;
}

// The program to run: an absolute path that can be executed, else a name
// found on PATH; empty when there is none.
QString resolveProgram(const QString& program) {
  const QString p = program.trimmed();
  if (p.isEmpty()) return {};
  const QFileInfo info(p);
  if (info.isAbsolute()) return info.isFile() && info.isExecutable() ? p : QString();
  return QStandardPaths::findExecutable(p);
}

}  // namespace

Options Options::load() {
  const util::IniDocument ini = util::IniDocument::load(util::UserConfigFile());
  Options o;
  o.suppress = ini.read(kSection, QStringLiteral("Suppress"), QString());
  o.wait = ini.read(kSection, QStringLiteral("Wait"), QStringLiteral("0"));
  o.first = isOn(ini.read(kSection, QStringLiteral("First"), QStringLiteral("0")));
  o.imageProgram = ini.read(kSection, QStringLiteral("ImageProgram"), QString());
  o.imageSwitches = ini.read(kSection, QStringLiteral("ImageSwitches"), QString());
  o.pdfProgram = ini.read(kSection, QStringLiteral("PdfProgram"), QString());
  o.pdfSwitches = ini.read(kSection, QStringLiteral("PdfSwitches"), QString());
  return o;
}

void Options::save() const {
  const QString path = util::UserConfigFile();
  util::IniDocument ini = util::IniDocument::load(path);
  ini.setValue(kSection, QStringLiteral("Suppress"), suppress);
  ini.setValue(kSection, QStringLiteral("Wait"), wait);
  ini.setValue(kSection, QStringLiteral("First"), first ? QStringLiteral("1") : QStringLiteral("0"));
  ini.setValue(kSection, QStringLiteral("ImageProgram"), imageProgram);
  ini.setValue(kSection, QStringLiteral("ImageSwitches"), imageSwitches);
  ini.setValue(kSection, QStringLiteral("PdfProgram"), pdfProgram);
  ini.setValue(kSection, QStringLiteral("PdfSwitches"), pdfSwitches);
  if (!ini.save(path)) util::DebugLog::write(QStringLiteral("Attachment options not saved to %1").arg(path));
}

bool Options::suppressed(const QString& fileName) const {
  const QString name = fileName.trimmed();
  if (name.isEmpty()) return false;
  const QStringList entries = suppress.split(QLatin1Char(','));
  return std::any_of(entries.begin(), entries.end(),
                     [&](const QString& entry) { return entry.trimmed().compare(name, Qt::CaseInsensitive) == 0; });
}

std::optional<int> Options::waitMs() const {
  bool ok = false;
  const int ms = wait.trimmed().toInt(&ok);
  return ok ? std::optional<int>(ms) : std::nullopt;
}

bool IsImageName(const QString& fileName) {
  if (fileName.size() < 4) return false;
  return QStringLiteral(".gif,.jpg,.bmp,.png,.tif,.tiff,.jpeg").contains(lastFour(fileName));
}

bool IsPdfName(const QString& fileName) { return fileName.size() >= 4 && lastFour(fileName) == QLatin1String(".pdf"); }

void SystemClock::sleep(int ms) {
  while (ms > 0) {
    const int slice = std::min(ms, kSliceMs);
    QThread::msleep(static_cast<unsigned long>(slice));
    ms -= slice;
    if (port_) port_->yield();
  }
}

AttachmentQueue::AttachmentQueue(PrintSystem& system, ui::Port& port, Options options, Clock* clock)
    : system_(system), port_(port), options_(std::move(options)), clock_(clock) {
  if (!clock_) {
    ownClock_ = std::make_unique<SystemClock>(&port_);
    clock_ = ownClock_.get();
  }
}

AttachmentQueue::~AttachmentQueue() = default;

void AttachmentQueue::PrintAttachmentQueue(const QString& fileName, bool flush) {
  if (!flush) {
    files_ << fileName;
    return;
  }
  if (files_.isEmpty()) return;

  const bool connected = system_.connect();
  if (!connected) util::DebugLog::write(QStringLiteral("Attachments: the print system lists no jobs; no waits"));
  const int total = int(std::count_if(files_.begin(), files_.end(), [](const QString& f) { return !f.isEmpty(); }));
  int done = 0;
  for (const QString& file : std::as_const(files_)) {
    if (file.isEmpty()) continue;
    if (progress_) progress_(file, done, total);
    ++done;

    if (IsImageName(file) && !options_.imageProgram.trimmed().isEmpty()) {
      if (runProgram(options_.imageProgram, options_.imageSwitches, file)) {
        waitForJob(file, connected);
        continue;
      }
    } else if (IsPdfName(file) && !options_.pdfProgram.trimmed().isEmpty()) {
      if (runProgram(options_.pdfProgram, options_.pdfSwitches, file)) {
        waitForJob(file, connected);
        continue;
      }
    }

    const PrintSystem::Result result = system_.print(file);
    QString shown;
    QString logged;
    switch (result.outcome) {
      case PrintSystem::Outcome::Printed: waitForJob(file, connected); continue;
      case PrintSystem::Outcome::NotSupported:
        shown = lang::text(IsPdfName(file) ? lang::Msg::AttNoPrintPdf : lang::Msg::AttNoPrintVerb).arg(file);
        logged = shown;
        break;
      case PrintSystem::Outcome::InvalidFile:
        shown = lang::text(lang::Msg::AttInvalidFile).arg(file);
        logged = shown;
        break;
      case PrintSystem::Outcome::Failed:
        shown = lang::text(lang::Msg::AttPrintError).arg(result.code).arg(file);
        logged = result.reason.isEmpty() ? shown : shown + QStringLiteral(" (") + result.reason + QLatin1Char(')');
        util::DebugLog::write(
            QStringLiteral("Attachment %1 not printed: error %2: %3").arg(file).arg(result.code).arg(result.reason));
        break;
    }
    errors_ << logged;
    port_.message(shown, ui::Buttons::Ok, ui::Icon::Critical);
  }

  const std::optional<int> extra = options_.waitMs();
  if (extra && *extra > 0 && !stopped()) clock_->sleep(*extra);
  files_.clear();
}

bool AttachmentQueue::runProgram(const QString& program, const QString& switches, const QString& file) {
  const QString resolved = resolveProgram(program);
  if (resolved.isEmpty()) {
    util::DebugLog::write(QStringLiteral("Attachment program %1 not found; %2 goes to the print system")
                              .arg(program, file));
    return false;
  }
  const QStringList args = QStringList{file} + QProcess::splitCommand(switches);
  // Detached: the program may stay open (a viewer) long after the run.
  if (QProcess::startDetached(resolved, args)) {
    util::DebugLog::write(QStringLiteral("Attachment %1 handed to %2").arg(file, resolved));
    return true;
  }
  util::DebugLog::write(QStringLiteral("Attachment program %1 did not start; %2 goes to the print system")
                            .arg(resolved, file));
  return false;
}

void AttachmentQueue::waitForJob(const QString& file, bool connected) {
  if (!connected) return;
  const QString bare = QFileInfo(file).fileName();
  int countdown = kWaitSteps;
  while (countdown > 0) {
    if (stopped()) return;
    const std::optional<QStringList> names = system_.jobNames();
    if (names) {
      for (const QString& name : *names)
        if (name.contains(bare, Qt::CaseInsensitive)) return;
    } else if (countdown == kWaitSteps) {
      countdown = kWaitSteps / 2;
    }
    clock_->sleep(kSleepMs);
    countdown -= 2;
  }
  util::DebugLog::write(QStringLiteral("Attachment %1: no job showed up; going on").arg(file));
}

}  // namespace ordolo::attachments
