#include "app/ToolCommands.h"

#include <QDir>
#include <QFileInfo>

#include <atomic>
#include <csignal>

#include "app/TerminalPort.h"
#include "lang/Messages.h"
#include "print/Outputs.h"
#include "session/Start.h"
#include "session/Templates.h"
#include "store/FileStore.h"
#include "tools/Duplicates.h"
#include "tools/EmlImport.h"
#include "util/Desktop.h"
#include "util/Folders.h"
#include "util/Ini.h"

namespace ordolo::app {

namespace {

using lang::Msg;
using lang::text;

std::atomic<bool> g_stop{false};
void onStopSignal(int) { g_stop = true; }

// The options that can be set here: key, its INI section and key, and
// whether it takes a number or a yes/no.
struct OptionKey {
  const char* name;
  const char* section;
  const char* iniKey;
  enum { Text, Number, YesNo } type;
};
const OptionKey kOptionKeys[] = {
    {"Attachments.Suppress", "Attachments", "Suppress", OptionKey::Text},
    {"Attachments.Wait", "Attachments", "Wait", OptionKey::Number},
    {"Attachments.First", "Attachments", "First", OptionKey::YesNo},
    {"Convert.Processes", "Convert", "Processes", OptionKey::Number},
    {"Convert.Timeout", "Convert", "Timeout", OptionKey::Number},
    {"Print.JobWait", "Print", "JobWait", OptionKey::Number},
};

QStringList optionNames() {
  QStringList names;
  for (const OptionKey& k : kOptionKeys) names << QLatin1String(k.name);
  return names;
}

const OptionKey* findOption(const QString& name) {
  for (const OptionKey& k : kOptionKeys)
    if (name.compare(QLatin1String(k.name), Qt::CaseInsensitive) == 0) return &k;
  err(text(Msg::ErrUnknownOptionKey).arg(name, optionNames().join(QStringLiteral(", "))));
  return nullptr;
}

}  // namespace

int dedupCommand(const DedupOptions& o) {
  auto s = openStore(o.store);
  if (!s) return 1;
  model::FolderPtr folder;
  int code = 0;
  model::ItemsPtr items = folderItems(*s, o.store, &folder, &code);
  if (!items) return code;
  TerminalPort port(true);
  session::Start list(port);
  if (items->Count() == 0 || !list.StartPrint(model::Selection(items->all()), folder, s->CurrentUser())) {
    out(text(Msg::DedupDone).arg(0).arg(items->Count()));
    return 0;
  }
  const int before = int(list.rows().size());
  tools::DedupRequest request;
  request.mode = o.physical ? tools::DedupMode::Physical : tools::DedupMode::ListOnly;
  request.dryRun = o.dryRun;
  g_stop = false;
  request.stopRequested = [] { return g_stop.load(); };
  struct sigaction action = {}, oldInt = {}, oldTerm = {};
  action.sa_handler = onStopSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, &oldInt);
  sigaction(SIGTERM, &action, &oldTerm);
  const tools::DedupResult result = tools::RemoveDuplicates(list, request);
  sigaction(SIGINT, &oldInt, nullptr);
  sigaction(SIGTERM, &oldTerm, nullptr);

  int failed = 0;
  for (const tools::DedupRemoved& r : result.removed) {
    QString line = r.entryId + QLatin1Char('\t') + r.text;
    if (!r.movedTo.isEmpty()) line += QStringLiteral("\t-> ") + r.movedTo;
    out(line);
    if (!r.error.isEmpty()) {
      err(text(Msg::ErrDedupDelete).arg(r.entryId, r.error));
      ++failed;
    }
  }
  out(text(Msg::DedupDone).arg(result.removed.size()).arg(before));
  if (result.stopped) {
    err(text(Msg::Stopping));
    return 130;
  }
  return failed ? 1 : 0;
}

int importEmlCommand(const StoreOptions& o, const QStringList& files) {
  if (files.isEmpty()) {
    err(text(Msg::ErrMissingArgument).arg(QStringLiteral("import-eml FILE...")));
    return 2;
  }
  auto s = openStore(o);
  if (!s) return 1;
  const tools::EmlImportResult result = tools::ImportEml(*s, files);
  for (const QString& draft : result.drafts) out(draft);
  const QString said = result.message();
  out(QString(said).replace(QLatin1String("\r\n"), QLatin1String("\n")));
  return result.error.isEmpty() && result.notMessages.isEmpty() ? 0 : 1;
}

int templateEditCommand(const QString& name) {
  const QString folder = session::TemplateFolder();
  QString path = QDir(folder).filePath(name);
  if (!QFileInfo(path).isFile()) {
    // The name as the list spells it, case aside.
    for (const QString& f : QDir(folder).entryList(QDir::Files))
      if (f.compare(name, Qt::CaseInsensitive) == 0) path = QDir(folder).filePath(f);
  }
  if (!QFileInfo(path).isFile()) {
    err(text(Msg::ErrTemplateMissing).arg(path));
    return 1;
  }
  const QString why = print::OpenFailureText(util::OpenDocument(path), path);
  if (!why.isEmpty()) {
    err(why);
    return 1;
  }
  out(path);
  return 0;
}

int templateMoveCommand(const QString& target) {
  const QString folder = QFileInfo(target).absoluteFilePath();
  if (!QFileInfo(folder).isDir()) {
    err(text(Msg::ErrNoSuchFolder).arg(folder));
    return 1;
  }
  const session::FolderChange change = session::ChangeTemplateFolder(folder);
  if (!change.error.isEmpty()) {
    err(text(Msg::ErrCannotWrite).arg(change.error));
    return 1;
  }
  if (!change.failed.isEmpty()) err(text(Msg::GuiNotMoved).arg(change.failed.join(QLatin1Char('\n'))));
  out(text(Msg::TemplatesMoved).arg(session::TemplateFolder()).arg(change.moved));
  return change.failed.isEmpty() ? 0 : 1;
}

int optionsCommand(const QStringList& args) {
  const QString sub = args.value(1);
  const QString file = util::UserConfigFile();
  if (sub == QLatin1String("list") && args.size() == 2) {
    for (const OptionKey& k : kOptionKeys)
      out(QLatin1String(k.name) + QLatin1Char('=') +
          util::ReadIni(QLatin1String(k.section), QLatin1String(k.iniKey), QString(), file));
    return 0;
  }
  if (sub == QLatin1String("get") && args.size() == 3) {
    const OptionKey* k = findOption(args[2]);
    if (!k) return 2;
    out(util::ReadIni(QLatin1String(k->section), QLatin1String(k->iniKey), QString(), file));
    return 0;
  }
  if (sub == QLatin1String("set") && args.size() == 4) {
    const OptionKey* k = findOption(args[2]);
    if (!k) return 2;
    QString value = args[3].trimmed();
    bool ok = true;
    if (k->type == OptionKey::Number) ok = value.toInt(&ok) >= 0 && ok;
    if (k->type == OptionKey::YesNo) {
      const QString v = value.toLower();
      if (v == QLatin1String("1") || v == QLatin1String("yes") || v == QLatin1String("true"))
        value = QStringLiteral("1");
      else if (v == QLatin1String("0") || v == QLatin1String("no") || v == QLatin1String("false"))
        value = QStringLiteral("0");
      else ok = false;
    }
    if (!ok) {
      err(text(Msg::ErrBadOptionValue).arg(args[3], QLatin1String(k->name)));
      return 2;
    }
    if (!util::WriteIni(QLatin1String(k->section), QLatin1String(k->iniKey), value, file)) {
      err(text(Msg::ErrCannotWrite).arg(file));
      return 1;
    }
    return 0;
  }
  err(text(Msg::ErrMissingArgument).arg((QStringLiteral("options ") + sub).trimmed()));
  return 2;
}

}  // namespace ordolo::app
