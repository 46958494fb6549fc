#include "gui/BrowserWindow.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QSplitter>
#include <QStatusBar>
#include <QStyle>
#include <QTableWidget>
#include <QToolBar>
#include <QTreeWidget>

#include "gui/Form1Window.h"
#include "gui/QtPort.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "store/Profiles.h"
#include "util/Folders.h"
#include "util/Ini.h"

namespace ordolo::gui {

using lang::Msg;

namespace {

QString S(const char* key) { return lang::GetLangText(QString::fromLatin1(key)); }

// A cell that sorts by a key of its own (a date as yyyyMMddhhmmss).
class KeyedItem : public QTableWidgetItem {
 public:
  KeyedItem(const QString& text, const QString& key) : QTableWidgetItem(text) { setData(Qt::UserRole, key); }
  bool operator<(const QTableWidgetItem& other) const override {
    return data(Qt::UserRole).toString() < other.data(Qt::UserRole).toString();
  }
};

const QString kSection = QStringLiteral("Browser");

// A mail program's store as the menu names it: "Thunderbird: default-release".
QString StoreTitle(const QString& kind, const QString& name) {
  static const QHash<QString, QString> programs{{QStringLiteral("thunderbird"), QStringLiteral("Thunderbird")},
                                                {QStringLiteral("evolution"), QStringLiteral("Evolution")},
                                                {QStringLiteral("kmail"), QStringLiteral("KMail")}};
  return QStringLiteral("%1: %2").arg(programs.value(kind, kind), name);
}

QString setting(const QString& key) { return util::ReadIni(kSection, key, QString(), util::UserConfigFile()); }
void setSetting(const QString& key, const QString& value) {
  util::WriteIni(kSection, key, value, util::UserConfigFile());
}

}  // namespace

BrowserWindow::BrowserWindow(QtPort& port, QWidget* parent) : QMainWindow(parent), port_(port), browser_(port) {
  setObjectName(QStringLiteral("Browser"));
  setAcceptDrops(true);
  auto* split = new QSplitter(this);
  folders_ = new QTreeWidget(split);
  folders_->setObjectName(QStringLiteral("folders"));
  folders_->setColumnCount(2);
  folders_->header()->setStretchLastSection(false);
  folders_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
  folders_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
  items_ = new QTableWidget(split);
  items_->setObjectName(QStringLiteral("items"));
  items_->setColumnCount(3);
  items_->setSelectionBehavior(QAbstractItemView::SelectRows);
  items_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  items_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  items_->setSortingEnabled(true);
  items_->setAlternatingRowColors(true);
  items_->verticalHeader()->setVisible(false);
  items_->horizontalHeader()->setStretchLastSection(true);
  split->addWidget(folders_);
  split->addWidget(items_);
  split->setStretchFactor(1, 3);
  setCentralWidget(split);

  auto* bar = addToolBar(QStringLiteral("Ordolo"));
  bar->setObjectName(QStringLiteral("Ordolo"));
  bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  print_ = bar->addAction(QIcon::fromTheme(QStringLiteral("document-print"),
                                           style()->standardIcon(QStyle::SP_FileIcon)),
                          QString(), this, &BrowserWindow::printSelection);
  print_->setObjectName(QStringLiteral("PrintButton"));
  print_->setShortcut(QKeySequence::Print);
  fileMenu_ = menuBar()->addMenu(QString());
  open_ = fileMenu_->addAction(QIcon::fromTheme(QStringLiteral("document-open")), QString(), this,
                               &BrowserWindow::chooseStore);
  open_->setShortcut(QKeySequence::Open);
  fileMenu_->addAction(print_);
  fileMenu_->addSeparator();
  quit_ = fileMenu_->addAction(QIcon::fromTheme(QStringLiteral("application-exit")), QString(), this, &QWidget::close);
  quit_->setShortcut(QKeySequence::Quit);
  // The stores are looked for each time the menu opens: a program set up
  // meanwhile is there without a restart.
  storeMenu_ = menuBar()->addMenu(QString());
  storeMenu_->setObjectName(QStringLiteral("storeMenu"));
  storeMenu_->setToolTipsVisible(true);
  connect(storeMenu_, &QMenu::aboutToShow, this, &BrowserWindow::fillStoreMenu);
  fillStoreMenu();
  storeLabel_ = new QLabel(this);
  statusBar()->addWidget(storeLabel_, 1);
  skippedLabel_ = new QLabel(this);
  skippedLabel_->setObjectName(QStringLiteral("skipped"));
  statusBar()->addPermanentWidget(skippedLabel_);

  connect(folders_, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
    if (!item) return;
    port_.setParent(this);
    if (browser_.choose(item->data(0, Qt::UserRole).toString())) showItems();
    else QMetaObject::invokeMethod(this, &BrowserWindow::fillFolders, Qt::QueuedConnection);
  });
  connect(items_, &QTableWidget::itemDoubleClicked, this, [this] { printSelection(); });

  applyTexts();
  resize(1000, 640);
  const QByteArray geometry = QByteArray::fromBase64(setting(QStringLiteral("Geometry")).toLatin1());
  if (!geometry.isEmpty()) restoreGeometry(geometry);
  const QByteArray state = QByteArray::fromBase64(setting(QStringLiteral("State")).toLatin1());
  if (!state.isEmpty()) split->restoreState(state);
  split->setObjectName(QStringLiteral("split"));
}

BrowserWindow::~BrowserWindow() = default;

void BrowserWindow::applyTexts() {
  setWindowTitle(browser_.isOpen() ? browser_.title() + QLatin1String(" - Ordolo") : QStringLiteral("Ordolo"));
  folders_->setHeaderLabels({lang::text(Msg::GuiFolders), QStringLiteral("#")});
  items_->setHorizontalHeaderLabels({S("S28"), S("S46"), S("S55")});
  print_->setText(S("S21"));
  open_->setText(lang::text(Msg::GuiOpenStore));
  quit_->setText(lang::text(Msg::GuiQuit));
  fileMenu_->setTitle(QStringLiteral("&Ordolo"));
  storeMenu_->setTitle(lang::text(Msg::GuiStoreMenu));
}

void BrowserWindow::fillStoreMenu() {
  storeMenu_->clear();
  qDeleteAll(storeMenu_->findChildren<QActionGroup*>());
  const store::FoundStores found = store::FindStores();
  if (found.stores.empty()) storeMenu_->addAction(lang::text(Msg::GuiStoreNoneFound))->setEnabled(false);
  auto* group = new QActionGroup(storeMenu_);
  for (const store::StoreLayout& s : found.stores) {
    const QString openedAs = s.kind + QLatin1Char(':') + s.name;
    QAction* action = storeMenu_->addAction(StoreTitle(s.kind, s.name), this, [this, openedAs] { openStore(openedAs); });
    action->setToolTip(s.root);
    action->setStatusTip(s.root);
    action->setCheckable(true);
    action->setChecked(browser_.isOpen() && browser_.openedAs() == openedAs);
    group->addAction(action);
  }
  storeMenu_->addSeparator();
  storeMenu_->addAction(QIcon::fromTheme(QStringLiteral("folder-open")), lang::text(Msg::GuiStoreOther), this,
                        &BrowserWindow::chooseStore);
  // What the programs' settings name but is not there: said, not hidden.
  if (!found.notices.isEmpty()) statusBar()->showMessage(found.notices.join(QLatin1Char(' ')), 10000);
}

bool BrowserWindow::openStore(const QString& root) {
  port_.setParent(this);
  if (!browser_.open(root)) return false;
  storeLabel_->setText(browser_.root());
  showSkipped();
  fillFolders();
  applyTexts();
  return true;
}

void BrowserWindow::fillFolders() {
  const QSignalBlocker block(folders_);
  folders_->clear();
  items_->setRowCount(0);
  std::vector<QTreeWidgetItem*> parents;
  for (const ui::Browser::FolderRow& row : browser_.folders()) {
    parents.resize(size_t(row.depth));
    QTreeWidgetItem* parent = parents.empty() ? folders_->invisibleRootItem() : parents.back();
    auto* item = new QTreeWidgetItem(parent, {row.name});
    item->setData(0, Qt::UserRole, row.path);
    if (row.count > 0) item->setText(1, QString::number(row.count));
    item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    parents.push_back(item);
  }
  folders_->expandAll();
}

bool BrowserWindow::chooseFolder(const QString& path) {
  const QList<QTreeWidgetItem*> found = folders_->findItems(QStringLiteral("*"),
                                                            Qt::MatchWildcard | Qt::MatchRecursive);
  for (QTreeWidgetItem* item : found)
    if (item->data(0, Qt::UserRole).toString() == path) {
      folders_->setCurrentItem(item);
      return browser_.folder() && browser_.folder()->FolderPath() == path;
    }
  return false;
}

void BrowserWindow::showItems() {
  const std::vector<ui::Browser::ItemRow>& rows = browser_.rows();
  items_->setSortingEnabled(false);
  items_->clearContents();
  items_->setRowCount(int(rows.size()));
  for (int r = 0; r < int(rows.size()); ++r) {
    const ui::Browser::ItemRow& row = rows[size_t(r)];
    auto* title = new QTableWidgetItem(row.title);
    title->setData(Qt::UserRole, r);
    items_->setItem(r, 0, title);
    items_->setItem(r, 1, new KeyedItem(row.when, row.whenKey));
    items_->setItem(r, 2, new QTableWidgetItem(row.categories));
  }
  items_->setSortingEnabled(true);
  showSkipped();
  items_->resizeColumnToContents(1);
  items_->setColumnWidth(0, std::max(items_->columnWidth(0), 360));
}

// Files the folder could not read are named, not silently missing.
void BrowserWindow::showSkipped() {
  const QStringList& skipped = browser_.notices();
  skippedLabel_->setText(skipped.isEmpty() ? QString() : lang::text(Msg::GuiFolderSkipped).arg(skipped.size()));
  skippedLabel_->setToolTip(skipped.join(QLatin1Char('\n')));
}

void BrowserWindow::printSelection() {
  port_.setParent(this);
  std::vector<int> rows;
  for (const QModelIndex& index : items_->selectionModel()->selectedRows()) rows.push_back(index.row());
  // The table's order (it may be sorted), each row to its item.
  std::sort(rows.begin(), rows.end());
  for (int& row : rows) {
    const QTableWidgetItem* cell = items_->item(row, 0);
    row = cell ? cell->data(Qt::UserRole).toInt() : -1;
  }
  openForm1(browser_.choice(rows));
}

void BrowserWindow::takeFiles(const QStringList& files) {
  port_.setParent(this);
  if (const std::optional<ui::Browser::Chosen> chosen = browser_.takeFiles(files)) openForm1(*chosen);
}

Form1Window& BrowserWindow::ensureForm1() {
  if (!form1_) form1_ = std::make_unique<Form1Window>(port_, nullptr);
  return *form1_;
}

void BrowserWindow::openForm1(const ui::Browser::Chosen& chosen) {
  Form1Window& form = ensureForm1();
  if (form.form().busy()) {
    // A run is going: the list it prints from stays as it is.
    port_.beep();
    form.raise();
    form.activateWindow();
    return;
  }
  if (!form.form().take(chosen.selection, chosen.folder, chosen.session)) return;
  form.showItems();
  form.show();
  form.raise();
  form.activateWindow();
}

void BrowserWindow::chooseStore() {
  port_.setParent(this);
  const QString root = port_.browseFolder(lang::text(Msg::GuiChooseStore), browser_.root());
  if (!root.isEmpty()) openStore(root);
}

void BrowserWindow::closeEvent(QCloseEvent* event) {
  if (form1_ && form1_->isVisible() && !form1_->close()) {
    event->ignore();
    return;
  }
  setSetting(QStringLiteral("Geometry"), QString::fromLatin1(saveGeometry().toBase64()));
  if (auto* split = qobject_cast<QSplitter*>(centralWidget()))
    setSetting(QStringLiteral("State"), QString::fromLatin1(split->saveState().toBase64()));
  event->accept();
}

void BrowserWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void BrowserWindow::dropEvent(QDropEvent* event) {
  QStringList files;
  for (const QUrl& url : event->mimeData()->urls())
    if (url.isLocalFile()) files << url.toLocalFile();
  if (files.isEmpty()) return;
  event->acceptProposedAction();
  takeFiles(files);
}

}  // namespace ordolo::gui
