#include "monitor/Monitor.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QTimer>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>

#include "lang/Messages.h"
#include "monitor/clsDeleted.h"
#include "ui/Port.h"
#include "util/DebugLog.h"
#include "util/Folders.h"
#include "util/Ini.h"
#include "util/Funktionen.h"

namespace ordolo::monitor {

namespace {

const QString kSection = QStringLiteral("Monitor");

QString Option(const char* key) {
  return util::ReadIni(kSection, QString::fromLatin1(key), QStringLiteral("0"), util::UserConfigFile());
}

// How long the folder must be quiet after a change before it is checked:
// a file copied in is complete by then.
constexpr int kSettleMs = 300;

}  // namespace

MonitorOptions MonitorOptions::load() {
  MonitorOptions o;
  o.printAll = Option("PrintAll") == QLatin1String("1");
  o.printMin = Option("PrintMin") == QLatin1String("1");
  return o;
}

void MonitorOptions::save() const {
  util::WriteIni(kSection, QStringLiteral("PrintAll"), printAll ? QStringLiteral("1") : QStringLiteral("0"),
                 util::UserConfigFile());
  util::WriteIni(kSection, QStringLiteral("PrintMin"), printMin ? QStringLiteral("1") : QStringLiteral("0"),
                 util::UserConfigFile());
}

Monitor::Monitor(ui::Port& port, model::FolderPtr folder, QString folderPath)
    : port_(port), folder_(std::move(folder)), folderPath_(std::move(folderPath)) {}

Monitor::~Monitor() { stop(); }

void Monitor::setState(State state) {
  state_ = state;
  if (stateChanged) stateChanged(state);
}

std::vector<model::ItemPtr> Monitor::candidates(const QDateTime& since) const {
  model::ItemsPtr items = folder_->GetItems();
  if (options_.printAll) return items->all();
  // Changed since, and for mail also received since.
  const QString at = util::FormatDateShortTime12(since);
  QString filter = QStringLiteral("[LastModificationTime]>='%1'").arg(at);
  if (folder_->DefaultItemClass() == model::olMail) filter += QStringLiteral(" or [ReceivedTime]>='%1'").arg(at);
  QString why;
  model::ItemsPtr found = items->Restrict(filter, &why);
  if (!found) {
    util::DebugLog::write(QStringLiteral("Monitor: %1: %2").arg(filter, why));
    return {};
  }
  return found->all();
}

bool Monitor::start(const MonitorOptions& options) {
  stop();
  options_ = options;
  options_.save();
  util::DebugLog::write(QStringLiteral("MONITOR ==> ") + folder_->Name());
  setState(State::Building);

  // One monitor per folder: the lock beside its store, with the holder's
  // process id in it.
  const QString name = folder_->EntryID();
  const QString lockFile = clsDeleted::FileFor(name) + QStringLiteral(".lock");
  QDir().mkpath(QFileInfo(lockFile).path());
  lock_ = ::open(QFile::encodeName(lockFile).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock_ < 0 || ::flock(lock_, LOCK_EX | LOCK_NB) != 0) {
    QFile holder(lockFile);
    const QString pid = holder.open(QIODevice::ReadOnly) ? QString::fromLatin1(holder.readAll()).trimmed() : QString();
    if (lock_ >= 0) ::close(lock_);
    lock_ = -1;
    port_.message(lang::text(lang::Msg::MonAlreadyWatched)
                      .arg(folder_->Name(), pid.isEmpty() ? QStringLiteral("?") : pid),
                  ui::Buttons::Ok, ui::Icon::Critical);
    setState(State::Stopped);
    return false;
  }
  const QByteArray me = QByteArray::number(qint64(::getpid())) + '\n';
  if (::ftruncate(lock_, 0) != 0 || ::write(lock_, me.constData(), size_t(me.size())) < 0)
    util::DebugLog::write(QStringLiteral("Monitor: cannot note the process in ") + lockFile);

  // A fresh store (what is in the folder now is never printed), or the
  // store of the last run when resuming.
  const bool resuming = options_.resume && QFileInfo::exists(clsDeleted::FileFor(name));
  if (!resuming) QFile::remove(clsDeleted::FileFor(name));
  auto store = std::make_unique<clsDeleted>(&port_);
  if (!store->Init(name)) {
    stop();
    setState(State::Stopped);
    return false;
  }
  store_ = std::move(store);
  handled_ = 0;
  lastCheck_ = QDateTime::currentDateTime().addDays(-1);
  compareAll_ = resuming;
  if (!resuming) {
    store_->begin();
    int n = 0;
    for (const model::ItemPtr& item : candidates(lastCheck_)) {
      store_->Add(item->EntryID());
      ++handled_;
      if (++n % 100 == 0) port_.yield();
    }
    store_->commit();
  }
  if (handledChanged) handledChanged(handled_);

  ticks_ = 0;
  if (options_.printMin) {
    timer_ = std::make_unique<QTimer>();
    QObject::connect(timer_.get(), &QTimer::timeout, [this] { check(true); });
    timer_->start(options_.tickMs);
  } else {
    watch();
  }
  setState(State::Idle);
  // What came while no monitor ran goes out now.
  running_ = std::make_unique<QObject>();
  if (resuming) QTimer::singleShot(0, running_.get(), [this] { check(false); });
  return true;
}

void Monitor::watch() {
  watcher_ = std::make_unique<QFileSystemWatcher>();
  settle_ = std::make_unique<QTimer>();
  settle_->setSingleShot(true);
  settle_->setInterval(kSettleMs);
  QObject::connect(settle_.get(), &QTimer::timeout, [this] { check(false); });
  // A Maildir's messages appear in new/ (moved there from tmp/ once written)
  // and move on to cur/; other folders change in their own directory or file.
  QStringList paths{folderPath_};
  for (const char* sub : {"new", "cur"})
    if (QFileInfo(folderPath_ + QLatin1Char('/') + QLatin1String(sub)).isDir())
      paths << folderPath_ + QLatin1Char('/') + QLatin1String(sub);
  watcher_->addPaths(paths);
  auto changed = [this](const QString&) { settle_->start(); };
  QObject::connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, changed);
  QObject::connect(watcher_.get(), &QFileSystemWatcher::fileChanged, [this, changed](const QString& path) {
    // A file replaced by a rename is watched again.
    if (QFileInfo::exists(path) && !watcher_->files().contains(path)) watcher_->addPath(path);
    changed(path);
  });
}

void Monitor::stop() {
  running_.reset();
  timer_.reset();
  settle_.reset();
  watcher_.reset();
  store_.reset();
  if (lock_ >= 0) ::close(lock_);  // closing lets the lock go
  lock_ = -1;
  busy_ = false;
  if (state_ != State::Stopped) setState(State::Stopped);
}

void Monitor::recordBroken() {
  const QString file = store_->file(), why = store_->lastError();
  util::DebugLog::write(QStringLiteral("Monitor: the record %1 failed: %2").arg(file, why));
  stop();
  port_.message(lang::text(lang::Msg::MonSqliteWrite).arg(file, why) + QStringLiteral("\r\n") +
                    lang::text(lang::Msg::MonCannotRun),
                ui::Buttons::Ok, ui::Icon::Critical);
}

void Monitor::check(bool fromTimer) {
  if (fromTimer && ticks_ < 4) {
    ++ticks_;
    return;
  }
  ticks_ = 0;
  if (!store_ || busy_) return;
  // The folder went away (deleted, renamed, its disk gone): nothing is left
  // to watch. Said once; the monitor stops.
  if (!QFileInfo::exists(folderPath_)) {
    util::DebugLog::write(QStringLiteral("Monitor: %1 is gone").arg(folderPath_));
    stop();
    port_.message(lang::text(lang::Msg::MonFolderGone).arg(folderPath_), ui::Buttons::Ok, ui::Icon::Warning);
    return;
  }
  busy_ = true;
  setState(State::Busy);
  const QDateTime now = QDateTime::currentDateTime();
  std::vector<model::ItemPtr> fresh;
  int n = 0;
  store_->clearError();
  const std::vector<model::ItemPtr> looked = compareAll_ ? folder_->GetItems()->all() : candidates(lastCheck_);
  for (const model::ItemPtr& item : looked) {
    if (!store_->Find(item->EntryID())) fresh.push_back(item);
    if (++n % 100 == 0) port_.yield();
    if (!store_) break;  // stopped meanwhile
  }
  bool printed = true;
  // The write lock is taken before printing: what cannot be recorded is
  // not printed.
  if (store_ && (!store_->lastError().isEmpty() || (!fresh.empty() && !store_->begin()))) {
    recordBroken();
    busy_ = false;
    return;
  }
  if (store_ && !fresh.empty()) {
    const int done = print ? std::clamp(print(fresh), 0, int(fresh.size())) : 0;
    for (const model::ItemPtr& item : fresh) item->releaseContent();
    printed = done == int(fresh.size());
    if (store_) {
      // Recorded only now that their print went out, together.
      store_->setTimeStamp(now.toString(QStringLiteral("yyyyMMddhhmmss")));
      bool recorded = true;
      for (int i = 0; i < done && recorded; ++i) recorded = store_->Add(fresh[size_t(i)]->EntryID());
      if (!recorded || !store_->commit()) {
        store_->rollback();
        recordBroken();
        busy_ = false;
        return;
      }
      handled_ += done;
      if (done > 0 && handledChanged) handledChanged(handled_);
    }
  }
  // After a failed print the same window is looked at again next time.
  if (printed) {
    lastCheck_ = now;
    compareAll_ = false;
  }
  busy_ = false;
  if (store_) setState(State::Idle);
}

}  // namespace ordolo::monitor
