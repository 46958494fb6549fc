// The store browser: the folders of a store, the items of the chosen one,
// and the toolbar "Ordolo" whose print button hands the selection to Form1.
// It stands where the mail program's explorer stands; files dropped on it
// are taken as an opened item is.
#pragma once

#include <QMainWindow>

#include <memory>

#include "model/Model.h"
#include "ui/Browser.h"

class QAction;
class QLabel;
class QTableWidget;
class QTreeWidget;
class QTreeWidgetItem;

namespace ordolo::gui {

class Form1Window;
class QtPort;

class BrowserWindow : public QMainWindow {
  Q_OBJECT
 public:
  explicit BrowserWindow(QtPort& port, QWidget* parent = nullptr);
  ~BrowserWindow() override;

  // Opens a store folder or a mail program's store ("thunderbird:NAME");
  // false (the user was told) when it cannot be read.
  bool openStore(const QString& root);
  // Chooses a folder by its path below the store ("Calendar").
  bool chooseFolder(const QString& path);
  // The print button: the selected items go to Form1.
  void printSelection();
  // Items of files (an opened item, files dropped on the window).
  void takeFiles(const QStringList& files);

  Form1Window* form1() const { return form1_.get(); }
  QTableWidget* itemTable() const { return items_; }
  QAction* printAction() const { return print_; }
  // The Store menu: the mail programs' stores of this machine, then "Other folder...".
  QMenu* storeMenu() const { return storeMenu_; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void fillFolders();
  void showItems();
  void showSkipped();
  void chooseStore();
  void fillStoreMenu();
  Form1Window& ensureForm1();
  void openForm1(const ui::Browser::Chosen& chosen);
  void applyTexts();

  QtPort& port_;
  ui::Browser browser_;
  QTreeWidget* folders_;
  QTableWidget* items_;
  QAction* print_;
  QAction* open_;
  QAction* quit_;
  QMenu* fileMenu_;
  QMenu* storeMenu_;
  QLabel* storeLabel_;
  QLabel* skippedLabel_;  // files of the folder that could not be read
  std::unique_ptr<Form1Window> form1_;
};

}  // namespace ordolo::gui
