#include "gui/BrowserWindow.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
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
#include "store/FileStore.h"
#include "store/OpenedFiles.h"
#include "util/Folders.h"
#include "util/Ini.h"
#include "util/VbFormat.h"

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

// What the item is called in the list.
QString Title(const model::Item& item) {
  for (const char* name : {"Subject", "FullName", "DLName"}) {
    const QString t = item.text(QString::fromLatin1(name));
    if (!t.trimmed().isEmpty()) return t.simplified();
  }
  return {};
}

// The date that orders the items of its kind.
QDateTime When(const model::Item& item) {
  switch (item.Class()) {
    case model::olAppointment: return item.date(QStringLiteral("Start"));
    case model::olTask: {
      const QDateTime due = item.date(QStringLiteral("DueDate"));
      return due.isValid() && due.date().year() < 4000 ? due : item.date(QStringLiteral("StartDate"));
    }
    case model::olJournal: return item.date(QStringLiteral("Start"));
    case model::olMail:
    case model::olReport: {
      const QDateTime received = item.date(QStringLiteral("ReceivedTime"));
      return received.isValid() ? received : item.date(QStringLiteral("SentOn"));
    }
    default: return item.date(QStringLiteral("CreationTime"));
  }
}

const QString kSection = QStringLiteral("Browser");

QString setting(const QString& key) { return util::ReadIni(kSection, key, QString(), util::UserConfigFile()); }
void setSetting(const QString& key, const QString& value) {
  util::WriteIni(kSection, key, value, util::UserConfigFile());
}

}  // namespace

BrowserWindow::BrowserWindow(QtPort& port, QWidget* parent) : QMainWindow(parent), port_(port) {
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
  storeLabel_ = new QLabel(this);
  statusBar()->addWidget(storeLabel_, 1);

  connect(folders_, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
    if (!item || !store_) return;
    const QString path = item->data(0, Qt::UserRole).toString();
    model::FolderPtr folder = store_->folderByPath(path);
    if (!folder || !QFileInfo::exists(store_->root() + QLatin1Char('/') + path)) {
      port_.message(lang::text(Msg::GuiFolderGone).arg(path), ui::Buttons::Ok, ui::Icon::Warning);
      fillFolders();
      return;
    }
    showFolder(folder);
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
  setWindowTitle(store_ ? QFileInfo(store_->root()).fileName() + QLatin1String(" - Ordolo") : QStringLiteral("Ordolo"));
  folders_->setHeaderLabels({lang::text(Msg::GuiFolders), QStringLiteral("#")});
  items_->setHorizontalHeaderLabels({S("S28"), S("S46"), S("S55")});
  print_->setText(S("S21"));
  open_->setText(lang::text(Msg::GuiOpenStore));
  quit_->setText(lang::text(Msg::GuiQuit));
  fileMenu_->setTitle(QStringLiteral("&Ordolo"));
}

bool BrowserWindow::openStore(const QString& root) {
  QString why;
  auto opened = store::FileStore::open(root, &why);
  if (!opened) {
    port_.setParent(this);
    port_.message(lang::text(Msg::ErrStore).arg(root), ui::Buttons::Ok, ui::Icon::Critical);
    return false;
  }
  store_ = opened;
  folder_.reset();
  setSetting(QStringLiteral("Store"), store_->root());
  storeLabel_->setText(store_->root());
  fillFolders();
  applyTexts();
  return true;
}

void BrowserWindow::fillFolders() {
  const QSignalBlocker block(folders_);
  folders_->clear();
  items_->setRowCount(0);
  shown_.clear();
  if (!store_) return;
  addFolders(folders_->invisibleRootItem(), store_->Folders());
  folders_->expandAll();
}

void BrowserWindow::addFolders(QTreeWidgetItem* parent, const std::vector<model::FolderPtr>& folders) {
  for (const model::FolderPtr& folder : folders) {
    auto* item = new QTreeWidgetItem(parent, {folder->Name()});
    item->setData(0, Qt::UserRole, folder->FolderPath());
    const int count = folder->GetItems()->Count();
    if (count > 0) item->setText(1, QString::number(count));
    item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    addFolders(item, folder->Folders());
  }
}

bool BrowserWindow::chooseFolder(const QString& path) {
  const QList<QTreeWidgetItem*> found = folders_->findItems(QStringLiteral("*"),
                                                            Qt::MatchWildcard | Qt::MatchRecursive);
  for (QTreeWidgetItem* item : found)
    if (item->data(0, Qt::UserRole).toString() == path) {
      folders_->setCurrentItem(item);
      return true;
    }
  return false;
}

void BrowserWindow::showFolder(const model::FolderPtr& folder) {
  folder_ = folder;
  shown_ = folder->GetItems()->all();
  items_->setSortingEnabled(false);
  items_->clearContents();
  items_->setRowCount(int(shown_.size()));
  for (int r = 0; r < int(shown_.size()); ++r) {
    const model::Item& item = *shown_[size_t(r)];
    auto* title = new QTableWidgetItem(Title(item));
    title->setData(Qt::UserRole, r);
    items_->setItem(r, 0, title);
    const QDateTime when = When(item);
    const QString shown = when.isValid() ? util::Format(when, QStringLiteral("Short Date")) + QLatin1Char(' ') +
                                               util::Format(when, QStringLiteral("Short Time"))
                                         : QString();
    items_->setItem(r, 1,
                    new KeyedItem(shown, when.isValid() ? when.toString(QStringLiteral("yyyyMMddhhmmss")) : QString()));
    items_->setItem(r, 2, new QTableWidgetItem(item.text(QStringLiteral("Categories"))));
  }
  items_->setSortingEnabled(true);
  items_->resizeColumnToContents(1);
  items_->setColumnWidth(0, std::max(items_->columnWidth(0), 360));
}

void BrowserWindow::printSelection() {
  port_.setParent(this);
  std::vector<int> rows;
  for (const QModelIndex& index : items_->selectionModel()->selectedRows()) rows.push_back(index.row());
  std::sort(rows.begin(), rows.end());
  std::vector<model::ItemPtr> chosen;
  for (int row : rows) {
    const QTableWidgetItem* cell = items_->item(row, 0);
    const int i = cell ? cell->data(Qt::UserRole).toInt() : -1;
    if (i >= 0 && i < int(shown_.size())) chosen.push_back(shown_[size_t(i)]);
  }
  openForm1(model::Selection(chosen), folder_, store_);
}

void BrowserWindow::takeFiles(const QStringList& files) {
  port_.setParent(this);
  auto opened = std::make_shared<store::OpenedFiles>(store::OpenFiles(files));
  for (const QString& file : opened->refused)
    port_.message(lang::text(Msg::GuiFileKind).arg(file), ui::Buttons::Ok, ui::Icon::Warning);
  if (opened->items.empty()) return;
  opened_.push_back(opened);
  openForm1(model::Selection(opened->items), opened->folder, opened->store);
}

Form1Window& BrowserWindow::ensureForm1() {
  if (!form1_) form1_ = std::make_unique<Form1Window>(port_, nullptr);
  return *form1_;
}

void BrowserWindow::openForm1(const model::Selection& selection, const model::FolderPtr& folder,
                              model::NamespacePtr session) {
  Form1Window& form = ensureForm1();
  if (form.form().busy()) {
    // A run is going: the list it prints from stays as it is.
    port_.beep();
    form.raise();
    form.activateWindow();
    return;
  }
  if (!form.form().take(selection, folder, std::move(session))) return;
  form.showItems();
  form.show();
  form.raise();
  form.activateWindow();
}

void BrowserWindow::chooseStore() {
  port_.setParent(this);
  const QString root = port_.browseFolder(lang::text(Msg::GuiChooseStore), store_ ? store_->root() : QString());
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
