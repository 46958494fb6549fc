#include "app/PrintCommand.h"

#include <QDir>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QFileInfo>
#include <QSet>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <unistd.h>

#include "app/TerminalPort.h"
#include "attachments/AttachmentQueue.h"
#include "attachments/PrintSystems.h"
#include "monitor/Monitor.h"
#include "lang/Messages.h"
#include "office/convert/Converter.h"
#include "print/Cups.h"
#include "print/Outputs.h"
#include "session/PrintRun.h"
#include "session/Start.h"
#include "session/Templates.h"
#include "store/FileStore.h"
#include "util/VbFormat.h"

namespace ordolo::app {

namespace {

using lang::Msg;
using lang::text;

bool parseNumber(const QString& option, const QString& value, int* number) {
  bool ok = false;
  *number = value.toInt(&ok);
  if (!ok) err(text(Msg::ErrBadNumber).arg(option, value));
  return ok;
}

// A column by number ("5") or by its header ("Subject", any case).
int findColumn(int kind, const QString& wanted) {
  const std::vector<session::Column> columns = session::Columns(kind);
  bool isNumber = false;
  const int n = wanted.toInt(&isNumber);
  if (isNumber && n > 0 && n < int(columns.size()) && !columns[n].hidden) return n;
  QStringList names;
  for (int i = 1; i < int(columns.size()); ++i) {
    if (columns[i].hidden) continue;
    if (columns[i].header.compare(wanted, Qt::CaseInsensitive) == 0) return i;
    names << QStringLiteral("%1 %2").arg(i).arg(columns[i].header);
  }
  err(text(Msg::ErrUnknownColumn).arg(wanted, names.join(QStringLiteral(", "))));
  return -1;
}

// Where a shown document lives on: beside the converted templates, so
// that it outlasts the process.
// Shown documents have no attachments printed.
std::unique_ptr<attachments::PrintSystem> attachmentSystem(const PrintOptions& o, print::Output& output) {
  if (!o.attachments || o.show) return nullptr;
  return attachments::PrintSystemFor(output);
}

std::unique_ptr<print::Output> chooseOutput(const PrintOptions& o, TerminalPort& port) {
  const int chosen = int(o.printerSet) + int(!o.pdf.isEmpty()) + int(!o.save.isEmpty()) + int(o.show);
  if (chosen > 1) {
    err(text(Msg::ErrOutputChoice));
    return nullptr;
  }
  if (o.printerSet) return print::makeOutput(print::Target::Queue, o.printer, &port);
  if (!o.pdf.isEmpty()) return print::makeOutput(print::Target::PdfFolder, QFileInfo(o.pdf).absoluteFilePath(), &port);
  if (!o.save.isEmpty())
    return print::makeOutput(print::Target::SaveFolder, QFileInfo(o.save).absoluteFilePath(), &port);
  if (o.show) return print::makeOutput(print::Target::Show, print::ShowFolder(), &port);
  // Nothing named: the default printer, else PDFs in a folder of the
  // current directory.
  print::Cups cups;
  if (cups.reachable() && !cups.defaultQueue().isEmpty())
    return print::makeOutput(print::Target::Queue, QString(), &port);
  const QString folder = QDir::current().absoluteFilePath(QStringLiteral("ordolo-pdf"));
  err(text(Msg::PrintPdfFallback).arg(folder));
  return print::makeOutput(print::Target::PdfFolder, folder, &port);
}

// The run a signal stops, and what the terminal is told then. Set while a
// run is going; the handler only stores a flag and writes prepared bytes.
session::PrintRun* g_run = nullptr;
QByteArray g_stopping;

extern "C" void onStopSignal(int) {
  if (!g_run) return;
  if (g_run->stopFlag().load()) {
    // A second signal: the user insists. Finished files are whole (they are
    // written under temporary names and renamed), so leaving now loses none.
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    std::raise(SIGTERM);
    return;
  }
  g_run->requestStop();
  const ssize_t written = ::write(STDERR_FILENO, g_stopping.constData(), size_t(g_stopping.size()));
  (void)written;
}

// SIGINT and SIGTERM stop the run after its current document while it lives.
class StopOnSignals {
 public:
  explicit StopOnSignals(session::PrintRun& run) {
    g_stopping = (QLatin1Char('\n') + text(Msg::Stopping) + QLatin1Char('\n')).toUtf8();
    g_run = &run;
    struct sigaction action = {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &oldInt_);
    sigaction(SIGTERM, &action, &oldTerm_);
  }
  ~StopOnSignals() {
    sigaction(SIGINT, &oldInt_, nullptr);
    sigaction(SIGTERM, &oldTerm_, nullptr);
    g_run = nullptr;
  }

 private:
  struct sigaction oldInt_ = {}, oldTerm_ = {};
};

// The progress line of long runs on the terminal, and a line per finished
// document that reached the output.
class TerminalObserver : public session::RunObserver {
 public:
  TerminalObserver(bool terminal, bool progress) : terminal_(terminal), progress_(progress) {}
  void itemFilled(int done, int total) override {
    if (!progress_) return;
    const QString line = text(Msg::PrintProgress).arg(done).arg(total);
    if (terminal_)
      std::fputs(("\r\033[K" + line + (done == total ? QStringLiteral("\n") : QString())).toUtf8().constData(), stderr);
    else if (done == total || done % 50 == 0) std::fputs((line + QLatin1Char('\n')).toUtf8().constData(), stderr);
    std::fflush(stderr);
  }
  void documentDelivered(const session::DeliveredDocument& d) override { show(d.where); }
  // A run that ended before its last item leaves its progress line open.
  void finish() {
    if (terminal_ && progress_) std::fputs("\r\033[K", stderr);
  }
  void attachmentDelivered(const QString&, const QString& where) override { show(where); }

 private:
  void show(const QString& where) {
    if (terminal_ && progress_) std::fputs("\r\033[K", stderr);
    out(where);
    std::fflush(stdout);
  }

  bool terminal_, progress_;
};

// The monitor runs until a signal; the first one also stops a print run
// that is going, after its current document.
volatile sig_atomic_t g_monitorStop = 0;

extern "C" void onMonitorSignal(int) {
  if (g_monitorStop) {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    std::raise(SIGTERM);
    return;
  }
  g_monitorStop = 1;
  if (g_run) g_run->requestStop();
  const ssize_t written = ::write(STDERR_FILENO, g_stopping.constData(), size_t(g_stopping.size()));
  (void)written;
}

// The template a command names, or the kind's stored or first one; empty
// (the user told why) when there is none.
QString TemplateFor(const PrintOptions& o, int kind) {
  const QString letter = session::KindLetter(kind);
  QString path;
  if (!o.templateName.isEmpty()) {
    const QFileInfo named(o.templateName);
    path = named.exists() || o.templateName.contains(QLatin1Char('/')) ? named.absoluteFilePath()
                                                                       : session::TemplateFolder() + o.templateName;
    if (QFileInfo(path).isFile()) session::StoreTemplateChoice(letter, QFileInfo(path).fileName());
  } else {
    const QString name = session::ChooseTemplate(letter);
    if (name.isEmpty()) {
      err(text(Msg::ErrNoTemplate).arg(letter, session::TemplateFolder()));
      return {};
    }
    path = session::TemplateFolder() + name;
  }
  if (!QFileInfo(path).isFile()) {
    err(text(Msg::ErrTemplateMissing).arg(path));
    return {};
  }
  return path;
}

}  // namespace

int printCommand(const PrintOptions& o) {
  if (o.store.folder.isEmpty()) {
    err(text(Msg::ErrMissingArgument).arg(QStringLiteral("print --folder")));
    return 2;
  }
  auto store = openStore(o.store);
  if (!store) return 1;
  model::FolderPtr folder;
  int code = 0;
  model::ItemsPtr items = folderItems(*store, o.store, &folder, &code);
  if (!items) return code;

  // The selection: the named items in the order named, else the folder's.
  std::vector<model::ItemPtr> chosen;
  if (!o.items.isEmpty()) {
    for (const QString& id : o.items) {
      model::ItemPtr found;
      for (const model::ItemPtr& item : *items)
        if (item->EntryID() == id.trimmed()) found = item;
      if (!found) {
        err(text(Msg::ErrUnknownItem).arg(id, o.store.folder));
        return 1;
      }
      chosen.push_back(found);
    }
  } else {
    chosen = items->all();
  }

  int startRow = 1, copies = 1;
  if (!parseNumber(QStringLiteral("--start-row"), o.startRow, &startRow) ||
      !parseNumber(QStringLiteral("--copies"), o.copies, &copies))
    return 2;

  TerminalPort port(o.yes);
  session::Start start(port);
  std::unique_ptr<print::Output> output = chooseOutput(o, port);
  if (!output) return 2;
  std::unique_ptr<attachments::PrintSystem> attachmentPrinter = attachmentSystem(o, *output);
  std::unique_ptr<attachments::AttachmentQueue> attachmentQueue;
  if (attachmentPrinter) {
    attachmentQueue = std::make_unique<attachments::AttachmentQueue>(*attachmentPrinter, port,
                                                                     attachments::Options::load());
    start.setAttachmentQueue(attachmentQueue.get());
  }
  const bool listed = start.StartPrint(model::Selection(chosen), folder, store->CurrentUser());
  for (const QString& skipped : start.skipped()) err(skipped);
  if (!listed) return 1;
  if (!start.canPrint()) {
    err(text(Msg::ErrNothingToPrint));
    return 1;
  }
  int sortColumn = 0;
  if (!o.sort.isEmpty()) {
    sortColumn = findColumn(start.kind(), o.sort);
    if (sortColumn < 0) return 2;
    start.sortBy(sortColumn);
  }

  // The template: as named, else the kind's stored choice or first one.
  const QString templatePath = TemplateFor(o, start.kind());
  if (templatePath.isEmpty()) return 1;

  QString why;
  if (!output->prepare(&why)) {
    err(why);
    return 1;
  }

  session::RunOptions run;
  run.templatePath = templatePath;
  run.mode = o.show ? session::RunMode::Show : session::RunMode::Print;
  run.startRow = startRow;
  run.copies = copies;
  run.kind = start.kind();
  run.sortColumn = sortColumn;
  run.session = store.get();
  run.attachments = attachmentQueue.get();
  run.header.User = store->CurrentUser();
  model::Application app(store);
  app.ActiveExplorer().setCurrentFolder(folder);
  run.header.Caption = app.ActiveExplorer().Caption();
  run.header.Folder = start.caption().left(start.caption().indexOf(QLatin1String(" (")));
  QDate from, to;
  if ((!o.store.from.isEmpty() || !o.store.to.isEmpty()) && dayRange(o.store, &from, &to)) {
    run.header.SelStart = util::Format(from, QStringLiteral("Short Date"));
    run.header.SelEnd = util::Format(to, QStringLiteral("Short Date"));
    run.header.First = from;
    run.header.Last = to;
  }

  office::convert::Converter converter;
  session::PrintRun printRun(port, *output, &converter);
  const bool terminal = isatty(STDERR_FILENO);
  int selected = 0;
  for (const auto& row : start.rows()) selected += row.selected;
  TerminalObserver observer(terminal, selected > 3);
  printRun.setObserver(&observer);
  if (selected > 3) {
    output->setProgress([terminal](const QString& what, int done, int total) {
      if (terminal)
        std::fputs(("\r\033[K" + what + (done == total ? QStringLiteral("\n") : QString())).toUtf8().constData(),
                   stderr);
      else if (done == total) std::fputs((what + QLatin1Char('\n')).toUtf8().constData(), stderr);
      std::fflush(stderr);
    });
  }
  if (attachmentQueue) {
    attachmentQueue->setProgress([terminal](const QString& file, int, int) {
      const QString line = text(Msg::AttPrinting).arg(QFileInfo(file).fileName());
      std::fputs(((terminal ? QStringLiteral("\r\033[K") : QString()) + line + QLatin1Char('\n')).toUtf8().constData(),
                 stderr);
      std::fflush(stderr);
    });
  }
  session::RunResult result;
  {
    StopOnSignals stopOnSignals(printRun);
    result = printRun.run(start.items(), start.rows(), run);
  }
  if (result.items < selected) observer.finish();
  for (const QString& e : result.errors) err(e);
  if (!result.note.isEmpty()) err(result.note);
  out(text(Msg::PrintDone).arg(result.items).arg(result.documents));
  // Stopped with items left out: the shell's status for an interrupt.
  if (result.stopRequested && result.items < selected) return 130;
  return result.errors.isEmpty() ? 0 : 1;
}

int templatesCommand(const QString& kindLetter) {
  const QString folder = session::TemplateFolder();
  const QStringList letters = kindLetter.isEmpty() ? QStringList{"A", "C", "D", "J", "M", "N", "T"}
                                                   : QStringList{kindLetter.toUpper()};
  for (const QString& letter : letters)
    for (const QString& name : session::ListTemplates(letter, folder))
      out(kindLetter.isEmpty() ? letter + QLatin1Char('\t') + name : name);
  return 0;
}

}  // namespace ordolo::app

namespace ordolo::app {

int monitorCommand(const MonitorCommandOptions& m) {
  const PrintOptions& o = m.print;
  if (o.store.folder.isEmpty()) {
    err(text(Msg::ErrMissingArgument).arg(QStringLiteral("monitor --folder")));
    return 2;
  }
  auto store = openStore(o.store);
  if (!store) return 1;
  const model::FolderPtr folder = store->folderByPath(o.store.folder);
  if (!folder) {
    err(text(Msg::ErrNoFolder).arg(o.store.folder));
    return 1;
  }
  const QString templatePath = TemplateFor(o, folder->DefaultItemClass());
  if (templatePath.isEmpty()) return 1;
  TerminalPort port(true);
  std::unique_ptr<print::Output> output = chooseOutput(o, port);
  if (!output) return 2;
  QString why;
  if (!output->prepare(&why)) {
    err(why);
    return 1;
  }

  if (auto* folderOutput = dynamic_cast<print::FolderOutput*>(output.get())) folderOutput->setReplaceRepeats(true);
  // One converter for the monitor's whole life: its LibreOffice stays warm.
  office::convert::Converter converter;
  if (o.save.isEmpty() && !o.show) converter.prestart();  // up before the first item arrives
  output->setConverter(&converter);
  monitor::Monitor watcher(port, folder, std::static_pointer_cast<store::StoreFolder>(folder)->absolutePath());
  // Documents are called by their item: an item printed again (the monitor
  // was killed between printing and recording it) replaces its own file
  // instead of making a second one, and on a queue its job is found.
  const QString base = QFileInfo(templatePath).completeBaseName();
  auto documentName = [base](const model::Item& item) {
    return base + QLatin1Char('-') +
           QString::fromLatin1(
               QCryptographicHash::hash(item.EntryID().toUtf8(), QCryptographicHash::Sha1).toHex().left(12));
  };
  auto* queueOutput = dynamic_cast<print::QueueOutput*>(output.get());
  watcher.print = [&](const std::vector<model::ItemPtr>& items) {
    // An item whose job the print system already has is not sent again.
    QSet<QString> queued;
    std::vector<model::ItemPtr> fresh;
    if (queueOutput) queued = queueOutput->jobsOnQueue().value_or(QSet<QString>());
    for (const model::ItemPtr& item : items)
      if (!queued.contains(documentName(*item))) fresh.push_back(item);
    if (fresh.empty()) return int(items.size());
    session::Start start(port);
    // Items the intake does not list (another kind) count as handled.
    const bool taken = start.StartPrint(model::Selection(fresh), folder, store->CurrentUser());
    for (const QString& skipped : start.skipped()) err(skipped);
    if (!taken || !start.canPrint()) return int(items.size());
    session::RunOptions run;
    run.templatePath = templatePath;
    run.kind = start.kind();
    run.session = store.get();
    run.header.User = store->CurrentUser();
    run.header.Folder = folder->Name();
    run.documentNameFor = documentName;
    session::PrintRun printRun(port, *output, &converter);
    g_run = &printRun;
    const session::RunResult result = printRun.run(start.items(), start.rows(), run);
    g_run = nullptr;
    for (const QString& e : result.errors) err(e);
    // Items filled before a stop were delivered; after an error nothing is
    // taken as printed, so that it is tried again.
    const int done = result.errors.isEmpty() ? result.items : 0;
    // One line per item printed: when, its id, its subject.
    const QString now = QDateTime::currentDateTime().toString(Qt::ISODate);
    for (int i = 0; i < done; ++i)
      out(now + QLatin1Char('\t') + start.items()[size_t(i)]->EntryID() + QLatin1Char('\t') +
          start.items()[size_t(i)]->text(QStringLiteral("Subject")));
    std::fflush(stdout);
    // How many of the items, from the first on, are done with: printed now
    // or before, or of another kind than the intake lists.
    QSet<QString> listed, printed;
    for (size_t i = 0; i < start.items().size(); ++i) {
      listed.insert(start.items()[i]->EntryID());
      if (int(i) < done) printed.insert(start.items()[i]->EntryID());
    }
    int handled = 0;
    for (const model::ItemPtr& item : items) {
      const QString id = item->EntryID();
      if (listed.contains(id) && !printed.contains(id) && !queued.contains(documentName(*item))) break;
      ++handled;
    }
    return handled;
  };

  g_stopping = (QLatin1Char('\n') + text(Msg::Stopping) + QLatin1Char('\n')).toUtf8();
  g_monitorStop = 0;
  struct sigaction action = {}, oldInt = {}, oldTerm = {};
  action.sa_handler = onMonitorSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, &oldInt);
  sigaction(SIGTERM, &action, &oldTerm);

  monitor::MonitorOptions options;
  options.printAll = m.printAll;
  options.printMin = m.everyMinutes;
  options.resume = m.resume;
  if (!watcher.start(options)) return 1;
  err(text(Msg::MonWatching).arg(folder->Name(), store->openedAs()).arg(watcher.handled()));
  QTimer poll;
  int code = 0;
  QObject::connect(&poll, &QTimer::timeout, [&] {
    if (watcher.state() == monitor::Monitor::State::Stopped && !g_monitorStop) {
      code = 1;  // its folder went away: a service manager may start it again
      QCoreApplication::quit();
    }
    if (!g_monitorStop) return;
    watcher.stop();
    QCoreApplication::quit();
  });
  poll.start(100);
  QCoreApplication::exec();
  sigaction(SIGINT, &oldInt, nullptr);
  sigaction(SIGTERM, &oldTerm, nullptr);
  return code;
}

}  // namespace ordolo::app
