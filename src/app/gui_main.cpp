// ordolo-gui: the desktop front end. Without files it opens the store
// browser; with .ics, .vcf or .eml files (a file manager's "Open with") it
// lists their items in the print dialog straight away.
#include <QApplication>
#include <QCoreApplication>
#include <QFileInfo>
#include <QIcon>
#include <QStringList>

#include <cstdio>
#include <memory>

#include "addin/Connect.h"
#include "gui/BrowserWindow.h"
#include "store/Profiles.h"
#include "gui/Form1Window.h"
#include "gui/QtPort.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "util/Folders.h"
#include "util/VbFormat.h"

using ordolo::lang::Msg;
using ordolo::lang::text;

namespace {

struct Arguments {
  bool help = false, version = false, debug = false;
  QString store;
  QStringList files;
  QString error;  // an option the program does not know, or one without its value
};

Arguments parse(const QStringList& args) {
  Arguments a;
  for (int i = 1; i < args.size(); ++i) {
    const QString& arg = args[i];
    if (arg == QLatin1String("-h") || arg == QLatin1String("--help")) {
      a.help = true;
    } else if (arg == QLatin1String("--version")) {
      a.version = true;
    } else if (arg == QLatin1String("--debug")) {
      a.debug = true;
    } else if (arg == QLatin1String("--store")) {
      if (i + 1 >= args.size()) a.error = arg;
      else a.store = args[++i];
    } else if (arg.startsWith(QLatin1String("--store="))) {
      a.store = arg.mid(8);
    } else if (arg.startsWith(QLatin1Char('-')) && arg != QLatin1String("-")) {
      a.error = arg;
    } else {
      a.files << arg;
    }
  }
  return a;
}

}  // namespace

int main(int argc, char** argv) {
  ordolo::util::PinLocalTimeZone();
  QStringList raw;
  for (int i = 0; i < argc; ++i) raw << QString::fromLocal8Bit(argv[i]);
  const Arguments args = parse(raw);

  // Help and version need no display.
  if (args.help || args.version || !args.error.isEmpty()) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("ordolo"));
    ordolo::addin::Connect connect;
    connect.OnConnection({false});
    if (!args.error.isEmpty()) {
      std::fputs(
          ("ordolo-gui: " + text(Msg::ErrUnknownOption).arg(args.error) + QLatin1Char('\n')).toUtf8().constData(),
          stderr);
      return 2;
    }
    const QString shown = args.version ? QStringLiteral("ordolo-gui %1\n").arg(QStringLiteral(ORDOLO_VERSION))
                                       : text(Msg::GuiUsage) + QLatin1Char('\n');
    std::fputs(shown.toUtf8().constData(), stdout);
    return 0;
  }

  QApplication app(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("ordolo"));
  QCoreApplication::setApplicationVersion(QStringLiteral(ORDOLO_VERSION));
  QGuiApplication::setDesktopFileName(QStringLiteral("ordolo-gui"));
  QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("ordolo"),
                                               QIcon(ordolo::util::ShareFolder() + QStringLiteral("ordolo.svg"))));
  ordolo::addin::Connect connect;
  connect.OnConnection({args.debug});

  ordolo::gui::QtPort port;
  ordolo::gui::BrowserWindow browser(port);
  int code = 0;
  if (!args.files.isEmpty()) {
    // The opened-item case: the print dialog alone; closing it ends the program.
    browser.takeFiles(args.files);
    ordolo::gui::Form1Window* form = browser.form1();
    if (!form || !form->isVisible()) return 1;
    QObject::connect(form, &QDialog::finished, &app, &QCoreApplication::quit);
    form->setAttribute(Qt::WA_QuitOnClose, true);
    code = app.exec();
  } else {
    QString root = args.store;
    if (root.isEmpty()) root = ordolo::ui::Browser::lastStore();
    if (root.isEmpty()) {
      // The first time: the first store a mail program keeps here.
      const ordolo::store::FoundStores found = ordolo::store::FindStores();
      if (!found.stores.empty()) root = found.stores.front().kind + QLatin1Char(':') + found.stores.front().name;
    }
    browser.show();
    if (root.isEmpty() || !browser.openStore(root)) {
      const QString chosen = port.browseFolder(text(Msg::GuiChooseStore), QString());
      if (!chosen.isEmpty()) browser.openStore(chosen);
    }
    code = app.exec();
  }
  connect.OnDisconnection();
  return code;
}
