// ordolo: the command-line front end.
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QLocale>
#include <QStringList>

#include <cstdio>

#include "addin/Connect.h"
#include "app/PrintCommand.h"
#include "app/StoreCommands.h"
#include "app/ToolCommands.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "util/Folders.h"
#include "util/VbFormat.h"

using ordolo::lang::Msg;
using ordolo::lang::text;

namespace {

enum Exit { kOk = 0, kFailed = 1, kUsage = 2 };

void out(const QString& s) { std::fputs((s + QLatin1Char('\n')).toUtf8().constData(), stdout); }
void err(const QString& s) { std::fputs(("ordolo: " + s + QLatin1Char('\n')).toUtf8().constData(), stderr); }

QString helpText() {
  auto line = [](const QString& left, const QString& right) {
    return QStringLiteral("  %1 %2\n").arg(left, -24).arg(right);
  };
  QString h = QStringLiteral("ordolo %1 - ").arg(QStringLiteral(ORDOLO_VERSION)) + text(Msg::CliSummary) + "\n\n";
  h += text(Msg::CliUsage) + "\n  ordolo [options] <command> [arguments]\n\n";
  h += text(Msg::CliCommands) + "\n";
  h += line(QStringLiteral("lang get KEY"), text(Msg::CliCmdLangGet));
  h += line(QStringLiteral("lang load LANGUAGE"), text(Msg::CliCmdLangLoad));
  h += line(QStringLiteral("lang list"), text(Msg::CliCmdLangList));
  h += line(QStringLiteral("lang set KEY TEXT"), text(Msg::CliCmdLangSet));
  h += line(QStringLiteral("stores"), text(Msg::CliCmdStores));
  h += line(QStringLiteral("folders --store DIR"), text(Msg::CliCmdFolders));
  h += line(QStringLiteral("list --folder PATH"), text(Msg::CliCmdList));
  h += line(QStringLiteral("find --folder PATH"), text(Msg::CliCmdFind));
  h += line(QStringLiteral("print --folder PATH"), text(Msg::CliCmdPrint));
  h += line(QStringLiteral("templates [--kind L]"), text(Msg::CliCmdTemplates));
  h += line(QStringLiteral("monitor --folder PATH"), text(Msg::CliCmdMonitor));
  h += line(QStringLiteral("dedup --folder PATH"), text(Msg::CliCmdDedup));
  h += line(QStringLiteral("import-eml FILE..."), text(Msg::CliCmdImportEml));
  h += line(QStringLiteral("options get|set KEY"), text(Msg::CliCmdOptions));
  h += "\n" + text(Msg::CliOptions) + "\n";
  h += line(QStringLiteral("-h, --help"), text(Msg::CliCmdHelp));
  h += line(QStringLiteral("--version"), text(Msg::CliCmdVersion));
  h += line(QStringLiteral("--debug"), text(Msg::CliOptDebug));
  h += line(QStringLiteral("--locale NAME"), text(Msg::CliOptLocale));
  h += line(QStringLiteral("--store DIR|KIND[:NAME]"), text(Msg::CliOptStore));
  h += line(QStringLiteral("--folder PATH"), text(Msg::CliOptFolder));
  h += line(QStringLiteral("--from DATE"), text(Msg::CliOptFrom));
  h += line(QStringLiteral("--to DATE"), text(Msg::CliOptTo));
  h += line(QStringLiteral("--field NAME"), text(Msg::CliOptField));
  h += line(QStringLiteral("--starts TEXT"), text(Msg::CliOptStarts));
  h += line(QStringLiteral("--contains TEXT"), text(Msg::CliOptContains));
  h += line(QStringLiteral("--columns"), text(Msg::CliOptColumns));
  h += line(QStringLiteral("--template FILE"), text(Msg::CliOptTemplate));
  h += line(QStringLiteral("--items ID,..."), text(Msg::CliOptItems));
  h += line(QStringLiteral("--sort COLUMN"), text(Msg::CliOptSort));
  h += line(QStringLiteral("--start-row N"), text(Msg::CliOptStartRow));
  h += line(QStringLiteral("--copies N"), text(Msg::CliOptCopies));
  h += line(QStringLiteral("--printer QUEUE"), text(Msg::CliOptPrinter));
  h += line(QStringLiteral("--pdf DIR"), text(Msg::CliOptPdf));
  h += line(QStringLiteral("--save DIR"), text(Msg::CliOptSave));
  h += line(QStringLiteral("--show"), text(Msg::CliOptShow));
  h += line(QStringLiteral("--print-all"), text(Msg::CliOptPrintAll));
  h += line(QStringLiteral("--every-minutes"), text(Msg::CliOptEveryMinutes));
  h += line(QStringLiteral("--resume"), text(Msg::CliOptResume));
  h += line(QStringLiteral("--attachments"), text(Msg::CliOptAttachments));
  h += line(QStringLiteral("--yes"), text(Msg::CliOptYes));
  h += line(QStringLiteral("--kind LETTER"), text(Msg::CliOptKind));
  h += line(QStringLiteral("--edit NAME"), text(Msg::CliOptEdit));
  h += line(QStringLiteral("--move-to DIR"), text(Msg::CliOptMoveTo));
  h += line(QStringLiteral("--physical"), text(Msg::CliOptPhysical));
  h += line(QStringLiteral("--dry-run"), text(Msg::CliOptDryRun));
  h += "\n" + text(Msg::CliEnvironment) + "\n";
  h += line(QStringLiteral("ORDOLO_HOME"), text(Msg::CliEnvHome));
  h += line(QStringLiteral("ORDOLO_DEBUG"), text(Msg::CliEnvDebug));
  h += line(QStringLiteral("ORDOLO_STORE"), text(Msg::CliEnvStore));
  h += line(QStringLiteral("ORDOLO_CONVERTERS"), text(Msg::CliEnvConverters));
  return h;
}

// The row key as the table spells it ("s60" finds "S60"); empty, with the
// error told, when the table has no such key.
QString findKey(const QString& key) {
  for (const auto& row : ordolo::lang::table().rows())
    if (row.key.compare(key, Qt::CaseInsensitive) == 0) return row.key;
  err(text(Msg::ErrUnknownKey).arg(key));
  return {};
}

int languageIndex(const QString& name) {
  const QString n = name.toLower();
  if (n == QLatin1String("english") || n == QLatin1String("en")) return 0;
  if (n == QLatin1String("deutsch") || n == QLatin1String("german") || n == QLatin1String("de")) return 1;
  if (n == QLatin1String("francais") || n == QString::fromUtf8("français") || n == QLatin1String("french") ||
      n == QLatin1String("fr"))
    return 2;
  return -1;
}

int langCommand(const QStringList& args, const ordolo::addin::AddinState& state) {
  auto& table = ordolo::lang::table();
  const QString sub = args.value(1);
  if (sub == QLatin1String("list") && args.size() == 2) {
    for (const auto& row : table.rows()) out(row.key + '\t' + row.rubric + '\t' + row.description + '\t' + row.text);
    return kOk;
  }
  if (sub == QLatin1String("get") && args.size() == 3) {
    const QString key = findKey(args[2]);
    if (key.isEmpty()) return kFailed;
    out(table.GetLangText(key));
    return kOk;
  }
  if (sub == QLatin1String("load") && args.size() == 3) {
    const int index = languageIndex(args[2]);
    if (index < 0) {
      err(text(Msg::ErrUnknownLanguage).arg(args[2]));
      return kUsage;
    }
    const QString file = ordolo::util::LanguageFolder() + ordolo::lang::LanguageTable::languageFileName(index);
    switch (table.LangDef(index, ordolo::util::LanguageFolder(), state.mainConfigFile)) {
      case ordolo::lang::LangDefResult::Loaded: out(text(Msg::LangLoaded).arg(file)); return kOk;
      case ordolo::lang::LangDefResult::WriteFailed:
        err(text(Msg::ErrWriteFile).arg(state.mainConfigFile));
        return kFailed;
      default: err(text(Msg::ErrLanguageFile).arg(file)); return kFailed;
    }
  }
  if (sub == QLatin1String("set") && args.size() == 4) {
    const QString key = findKey(args[2]);
    if (key.isEmpty()) return kFailed;
    // An edit of a key the file does not keep would vanish on reload.
    if (!ordolo::lang::LanguageTable::isStored(key)) {
      err(text(Msg::ErrKeyNotStored).arg(key));
      return kFailed;
    }
    table.setText(key, args[3]);
    if (!table.SaveLanguageTable(state.mainConfigFile)) {
      err(text(Msg::ErrWriteFile).arg(state.mainConfigFile));
      return kFailed;
    }
    table.LoadLanguageTable(state.mainConfigFile);
    out(text(Msg::LangSaved).arg(key, state.mainConfigFile));
    return kOk;
  }
  err(text(Msg::ErrMissingArgument).arg(QStringLiteral("lang ") + sub).trimmed());
  return kUsage;
}

}  // namespace

int main(int argc, char** argv) {
  ordolo::util::PinLocalTimeZone();
  QCoreApplication app(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("ordolo"));
  QCoreApplication::setApplicationVersion(QStringLiteral(ORDOLO_VERSION));
  const QStringList arguments = QCoreApplication::arguments();

  // The language table must be loaded before any text is shown, help included.
  ordolo::addin::Connect connect;
  connect.OnConnection({arguments.contains(QStringLiteral("--debug"))});

  QCommandLineParser parser;
  const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, text(Msg::CliCmdHelp));
  const QCommandLineOption version(QStringLiteral("version"), text(Msg::CliCmdVersion));
  const QCommandLineOption debug(QStringLiteral("debug"), text(Msg::CliOptDebug));
  const QCommandLineOption locale(QStringLiteral("locale"), text(Msg::CliOptLocale), QStringLiteral("NAME"));
  const QCommandLineOption store(QStringLiteral("store"), text(Msg::CliOptStore), QStringLiteral("DIR"));
  const QCommandLineOption folder(QStringLiteral("folder"), text(Msg::CliOptFolder), QStringLiteral("PATH"));
  const QCommandLineOption from(QStringLiteral("from"), text(Msg::CliOptFrom), QStringLiteral("DATE"));
  const QCommandLineOption to(QStringLiteral("to"), text(Msg::CliOptTo), QStringLiteral("DATE"));
  const QCommandLineOption field(QStringLiteral("field"), text(Msg::CliOptField), QStringLiteral("NAME"));
  const QCommandLineOption starts(QStringLiteral("starts"), text(Msg::CliOptStarts), QStringLiteral("TEXT"));
  const QCommandLineOption contains(QStringLiteral("contains"), text(Msg::CliOptContains), QStringLiteral("TEXT"));
  const QCommandLineOption physical(QStringLiteral("physical"), text(Msg::CliOptPhysical));
  const QCommandLineOption dryRun(QStringLiteral("dry-run"), text(Msg::CliOptDryRun));
  const QCommandLineOption edit(QStringLiteral("edit"), text(Msg::CliOptEdit), QStringLiteral("NAME"));
  const QCommandLineOption moveTo(QStringLiteral("move-to"), text(Msg::CliOptMoveTo), QStringLiteral("DIR"));
  const QCommandLineOption columns(QStringLiteral("columns"), text(Msg::CliOptColumns));
  const QCommandLineOption templ(QStringLiteral("template"), text(Msg::CliOptTemplate), QStringLiteral("FILE"));
  const QCommandLineOption itemIds(QStringLiteral("items"), text(Msg::CliOptItems), QStringLiteral("ID,..."));
  const QCommandLineOption sort(QStringLiteral("sort"), text(Msg::CliOptSort), QStringLiteral("COLUMN"));
  const QCommandLineOption startRow(QStringLiteral("start-row"), text(Msg::CliOptStartRow), QStringLiteral("N"));
  const QCommandLineOption copies(QStringLiteral("copies"), text(Msg::CliOptCopies), QStringLiteral("N"));
  const QCommandLineOption printer(QStringLiteral("printer"), text(Msg::CliOptPrinter), QStringLiteral("QUEUE"));
  const QCommandLineOption pdf(QStringLiteral("pdf"), text(Msg::CliOptPdf), QStringLiteral("DIR"));
  const QCommandLineOption save(QStringLiteral("save"), text(Msg::CliOptSave), QStringLiteral("DIR"));
  const QCommandLineOption show(QStringLiteral("show"), text(Msg::CliOptShow));
  const QCommandLineOption yes(QStringLiteral("yes"), text(Msg::CliOptYes));
  const QCommandLineOption withAttachments(QStringLiteral("attachments"), text(Msg::CliOptAttachments));
  const QCommandLineOption kind(QStringLiteral("kind"), text(Msg::CliOptKind), QStringLiteral("LETTER"));
  const QCommandLineOption printAll(QStringLiteral("print-all"), text(Msg::CliOptPrintAll));
  const QCommandLineOption everyMinutes(QStringLiteral("every-minutes"), text(Msg::CliOptEveryMinutes));
  const QCommandLineOption resume(QStringLiteral("resume"), text(Msg::CliOptResume));
  parser.addOptions({help,    version, debug,    locale,   store,           folder,   from,         to,
                     columns, templ,   itemIds,  sort,     startRow,        copies,   printer,      pdf,
                     save,    show,    yes,      kind,     withAttachments, printAll, everyMinutes, resume,
                     field,   starts,  contains, physical, dryRun,          edit,     moveTo});
  parser.addPositionalArgument(QStringLiteral("command"), QString());
  if (!parser.parse(arguments)) {
    const QStringList unknown = parser.unknownOptionNames();
    if (!unknown.isEmpty()) err(text(Msg::ErrUnknownOption).arg(unknown.join(QStringLiteral(", "))));
    else err(text(Msg::ErrMissingArgument).arg(arguments.isEmpty() ? QString() : arguments.last()));
    return kUsage;
  }
  if (parser.isSet(help)) {
    std::fputs(helpText().toUtf8().constData(), stdout);
    return kOk;
  }
  if (parser.isSet(version)) {
    out(QStringLiteral("ordolo %1").arg(QStringLiteral(ORDOLO_VERSION)));
    return kOk;
  }
  if (parser.isSet(locale)) ordolo::util::setUserLocale(QLocale(parser.value(locale)));

  const QStringList args = parser.positionalArguments();
  if (args.isEmpty()) {
    std::fputs(helpText().toUtf8().constData(), stdout);
    return kOk;
  }
  if (args[0] == QLatin1String("lang")) return langCommand(args, connect.state());
  const ordolo::app::StoreOptions storeOptions{parser.value(store),  parser.value(folder),  parser.value(from),
                                               parser.value(to),     parser.isSet(columns), parser.value(field),
                                               parser.value(starts), parser.value(contains)};
  if (args[0] == QLatin1String("stores")) return ordolo::app::storesCommand();
  if (args[0] == QLatin1String("folders")) return ordolo::app::foldersCommand(storeOptions);
  if (args[0] == QLatin1String("list")) return ordolo::app::listCommand(storeOptions);
  if (args[0] == QLatin1String("find")) return ordolo::app::findCommand(storeOptions);
  if (args[0] == QLatin1String("templates")) {
    if (parser.isSet(edit)) return ordolo::app::templateEditCommand(parser.value(edit));
    if (parser.isSet(moveTo)) return ordolo::app::templateMoveCommand(parser.value(moveTo));
    return ordolo::app::templatesCommand(parser.value(kind));
  }
  if (args[0] == QLatin1String("dedup"))
    return ordolo::app::dedupCommand({storeOptions, parser.isSet(physical), parser.isSet(dryRun)});
  if (args[0] == QLatin1String("import-eml")) return ordolo::app::importEmlCommand(storeOptions, args.mid(1));
  if (args[0] == QLatin1String("options")) return ordolo::app::optionsCommand(args);
  const bool monitor = args[0] == QLatin1String("monitor");
  if (args[0] == QLatin1String("print") || monitor) {
    ordolo::app::PrintOptions p;
    p.store = storeOptions;
    p.templateName = parser.value(templ);
    if (parser.isSet(itemIds)) p.items = parser.value(itemIds).split(QLatin1Char(','), Qt::SkipEmptyParts);
    p.sort = parser.value(sort);
    if (parser.isSet(startRow)) p.startRow = parser.value(startRow);
    if (parser.isSet(copies)) p.copies = parser.value(copies);
    p.printerSet = parser.isSet(printer);
    p.printer = parser.value(printer);
    p.pdf = parser.value(pdf);
    p.save = parser.value(save);
    p.show = parser.isSet(show);
    p.yes = parser.isSet(yes);
    p.attachments = parser.isSet(withAttachments);
    if (!monitor) return ordolo::app::printCommand(p);
    ordolo::app::MonitorCommandOptions m;
    m.print = p;
    m.printAll = parser.isSet(printAll);
    m.everyMinutes = parser.isSet(everyMinutes);
    m.resume = parser.isSet(resume);
    return ordolo::app::monitorCommand(m);
  }
  err(text(Msg::ErrUnknownCommand).arg(args[0]));
  return kUsage;
}
