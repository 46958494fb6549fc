// Takes the pictures of the user guide from the real windows, drawn
// offscreen: the store browser, the three tabs of the print dialog, the text
// editor of the language tab, a question and the notice window.
//   gui_screenshots STORE OUTDIR   (run with QT_QPA_PLATFORM=offscreen)
#include <QApplication>
#include <QLineEdit>
#include <QComboBox>
#include <QDir>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QStatusBar>
#include <QPixmap>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeWidget>

#include <cstdio>

#include "addin/Connect.h"
#include "gui/BrowserWindow.h"
#include "support/MailPrograms.h"
#include "gui/Form1Window.h"
#include "gui/Form4.h"
#include "gui/Form3.h"
#include "gui/MonitorDialog.h"
#include "gui/QtPort.h"
#include "lang/LanguageTable.h"
#include "util/Folders.h"
#include "util/VbFormat.h"

using namespace ordolo;

namespace {

QString gOut;

void save(QWidget* w, const char* name) {
  QApplication::processEvents();
  const QString path = gOut + QLatin1Char('/') + QLatin1String(name);
  if (!w->grab().save(path)) std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
  else std::printf("%s\n", qPrintable(path));
}

}  // namespace

int main(int argc, char** argv) {
  util::PinLocalTimeZone();
  QApplication app(argc, argv);
  if (argc < 3) {
    std::fprintf(stderr, "usage: gui_screenshots STORE OUTDIR\n");
    return 2;
  }
  const QString storeRoot = QString::fromLocal8Bit(argv[1]);
  gOut = QString::fromLocal8Bit(argv[2]);
  QDir().mkpath(gOut);
  // A home of its own, in English, so that the pictures do not depend on
  // the user's settings.
  QTemporaryDir home;
  qputenv("ORDOLO_HOME", home.path().toLocal8Bit());
  addin::Connect connect;
  connect.OnConnection({});
  lang::table().LangDef(0, util::LanguageFolder(), util::MainConfigFile());
  QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9));

  // The program's icon as the desktop draws it.
  const QIcon icon(util::ShareFolder() + QStringLiteral("ordolo.svg"));
  if (icon.isNull() || !icon.pixmap(64, 64).save(gOut + QStringLiteral("/icon.png")))
    std::fprintf(stderr, "the icon cannot be drawn (is libqt5svg5 installed?)\n");
  else std::printf("%s/icon.png\n", qPrintable(gOut));

  gui::QtPort port;
  gui::BrowserWindow browser(port);
  browser.resize(980, 560);
  browser.show();
  if (!browser.openStore(storeRoot) || !browser.chooseFolder(QStringLiteral("Calendar"))) return 1;
  QTableWidget* table = browser.itemTable();
  table->sortItems(1);
  for (int r = 0; r < 10 && r < table->rowCount(); ++r) table->selectRow(r);
  table->setSelectionMode(QAbstractItemView::MultiSelection);
  for (int r = 0; r < 10 && r < table->rowCount(); ++r)
    table->selectionModel()->select(table->model()->index(r, 0),
                                    QItemSelectionModel::Select | QItemSelectionModel::Rows);
  table->setSelectionMode(QAbstractItemView::ExtendedSelection);
  save(&browser, "browser.png");

  browser.printSelection();
  gui::Form1Window* form = browser.form1();
  if (!form) return 1;
  form->resize(860, 560);
  form->setFindRange(QDate(2026, 3, 1), QDate(2026, 3, 31));
  auto* tabs = form->findChild<QTabWidget*>(QStringLiteral("SSTab1"));
  save(form, "form1-print.png");
  {
    gui::Form3 form3(form->form().findFields(), QStringLiteral("A"), form);
    form3.findChild<QComboBox*>(QStringLiteral("Combo1"))->setCurrentText(QStringLiteral("Subject"));
    form3.findChild<QLineEdit*>(QStringLiteral("Text2"))->setText(QStringLiteral("falcon"));
    form3.show();
    save(&form3, "form3.png");
    form3.hide();
    form->runFind(form3.condition());
    save(form, "form1-find.png");
  }
  tabs->setCurrentIndex(1);
  save(form, "form1-templates.png");
  tabs->setCurrentIndex(2);
  if (auto* list3 = form->findChild<QTreeWidget*>(QStringLiteral("List3")))
    list3->setCurrentItem(list3->topLevelItem(7));
  save(form, "form1-language.png");

  gui::Form4 edit(QStringLiteral("S21"), QStringLiteral("Print"), lang::GetLangText(QStringLiteral("S21")), form);
  edit.show();
  save(&edit, "form4.png");
  edit.hide();

  gui::MonitorDialog monitorDialog(monitor::MonitorOptions{}, form);
  monitorDialog.show();
  save(&monitorDialog, "monitor.png");
  monitorDialog.hide();

  QMessageBox question(QMessageBox::Question, QStringLiteral("Ordolo"), lang::GetLangText(QStringLiteral("S58")),
                       QMessageBox::Yes | QMessageBox::No, form);
  question.show();
  save(&question, "question.png");
  question.hide();

  port.setParent(form);
  port.notice(lang::GetLangText(QStringLiteral("S60")));
  QApplication::processEvents();
  if (auto* notice = QApplication::topLevelWidgets().isEmpty() ? nullptr
                                                               : form->findChild<QWidget*>(QStringLiteral("notice")))
    save(notice, "notice.png");
  form->hide();

  // The Store menu over the mail programs' stores of a made-up home: a
  // Thunderbird profile open, its Inbox chosen.
  QTemporaryDir programsHome;
  qputenv("HOME", programsHome.path().toLocal8Bit());
  qunsetenv("XDG_DATA_HOME");
  qunsetenv("XDG_CONFIG_HOME");
  test::programs::thunderbird(programsHome.path());
  test::programs::evolution(programsHome.path());
  test::programs::kmail(programsHome.path());
  test::programs::vdirs(programsHome.path());
  if (browser.openStore(QStringLiteral("thunderbird:default-release")) &&
      browser.chooseFolder(QStringLiteral("test.user@example.org/Inbox"))) {
    QMenu* menu = browser.storeMenu();
    menu->popup(browser.mapToGlobal(QPoint(70, browser.menuBar()->height())));
    QApplication::processEvents();
    browser.statusBar()->clearMessage();
    // The window with the open menu drawn where it stands.
    QPixmap picture = browser.grab();
    QPainter painter(&picture);
    painter.drawPixmap(browser.mapFromGlobal(menu->pos()), menu->grab());
    painter.end();
    const QString path = gOut + QStringLiteral("/browser-stores.png");
    if (picture.save(path)) std::printf("%s\n", qPrintable(path));
    menu->hide();
  }
  connect.OnDisconnection();
  return 0;
}
