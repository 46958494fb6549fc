// The folder monitor: prints every item that arrives in a watched folder
// once. At start the items already there (and, unless "PrintAll", only
// those changed or received in the last day) are recorded in the printed-
// item store and never printed. Then each check takes the items changed or
// received since the last check (all items with "PrintAll"), prints those
// the store does not know, and records them once the print has gone out; an
// item whose print failed is looked at again by the next check.
//
// Checks run when the folder's files change (the file watch) or, with
// "PrintMin", on every fifth tick of a timer. Everything runs on the thread
// of the event loop; a busy flag keeps checks from overlapping.
#pragma once

#include <QDateTime>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

#include "model/Model.h"

class QFileSystemWatcher;
class QObject;
class QTimer;

namespace ordolo::ui {
class Port;
}

namespace ordolo::monitor {

class clsDeleted;

struct MonitorOptions {
  bool printAll = false;  // "PrintAll": compare every item of the folder, not only new ones
  bool printMin = false;  // "PrintMin": check every fifth tick instead of on every change
  int tickMs = 60000;     // one tick; five make the "5 minutes" of the dialog
  // Keeps the store of an earlier run: what arrived while no monitor ran is
  // printed by the first check, which compares every item of the folder.
  bool resume = false;

  // Section "Monitor" of the user's options.
  static MonitorOptions load();
  void save() const;
};

class Monitor {
 public:
  enum class State { Stopped, Building, Idle, Busy };

  // `folderPath`: the folder's place on disk, watched for changes.
  Monitor(ui::Port& port, model::FolderPtr folder, QString folderPath);
  ~Monitor();

  // Builds the store and arms the chosen mode. False (the user was told)
  // when the store cannot be opened.
  bool start(const MonitorOptions& options);
  void stop();
  // One check; from the timer only every fifth call checks.
  void check(bool fromTimer = false);

  State state() const { return state_; }
  // Items handled: recorded at start plus found new since ("ZAE").
  int handled() const { return handled_; }

  // Prints the new items, in the folder's order; how many of them, from the
  // first on, went out (those are recorded as printed; the others are
  // looked at again by the next check).
  std::function<int(const std::vector<model::ItemPtr>&)> print;
  std::function<void(State)> stateChanged;
  std::function<void(int handled)> handledChanged;

 private:
  std::vector<model::ItemPtr> candidates(const QDateTime& since) const;
  void setState(State state);
  void watch();
  // The record failed while watching: said once, the monitor stops.
  void recordBroken();

  ui::Port& port_;
  model::FolderPtr folder_;
  QString folderPath_;
  MonitorOptions options_;
  std::unique_ptr<clsDeleted> store_;
  std::unique_ptr<QTimer> timer_;
  std::unique_ptr<QTimer> settle_;  // a change is checked once writing has settled
  std::unique_ptr<QFileSystemWatcher> watcher_;
  std::unique_ptr<QObject> running_;  // lives while the monitor runs: queued work dies with it
  QDateTime lastCheck_;
  int ticks_ = 0;
  bool busy_ = false;
  bool compareAll_ = false;  // the next check compares every item (after a resume)
  int lock_ = -1;            // held while watching: one monitor per folder
  int handled_ = 0;
  State state_ = State::Stopped;
};

}  // namespace ordolo::monitor
