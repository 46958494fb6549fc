// Form1, the main dialog, drawn with Qt Widgets over the toolkit-free
// ui::Form1: the item list and the print buttons, the templates and their
// options, and the language table.
#pragma once

#include <QDate>
#include <QDialog>

#include <memory>

#include "ui/Form1.h"

class QCalendarWidget;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QSpinBox;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;

namespace ordolo::gui {

class QtPort;

class Form1Window : public QDialog {
  Q_OBJECT
 public:
  Form1Window(QtPort& port, QWidget* parent = nullptr);
  ~Form1Window() override;

  ui::Form1& form() { return form_; }
  // Shows the item list of a fresh intake (ui::Form1::take was called).
  void showItems();

  // Selects the days [from, to] on the month calendar, as a drag would.
  void setFindRange(const QDate& from, const QDate& to);

  // Replaces the list with what the calendar's range and `condition` find.
  void runFind(const tools::FieldCondition& condition);

  // What a run said last (its errors and how it ended), for the status line.
  QString lastStatus() const;

 protected:
  void closeEvent(QCloseEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  void reject() override;

 private:
  void buildPrintTab();
  void buildTemplateTab();
  void buildLanguageTab();
  void applyTexts();
  void fillTemplates();
  void fillLanguage(const QString& keepKey = {});
  void fillItems();
  void updateButtons();
  void runPrint(session::RunMode mode);
  void exitPressed();
  void showStopping();
  void editLanguageRow();
  void chooseOutputFolder();
  void monitorPressed();
  void findPressed();
  void calendarSelected();
  // Marks [from, to] on the calendar as the range Find searches.
  void markRange(const QDate& from, const QDate& to);
  void showMonitorState(monitor::Monitor::State state);

  QtPort& port_;
  ui::Form1 form_;
  QTabWidget* tabs_;
  // Print tab.
  QLabel* caption_;
  QTreeWidget* list1_;
  QLabel* startRowLabel_;
  QSpinBox* startRow_;
  QLabel* copiesLabel_;
  QSpinBox* copies_;
  QLabel* printToLabel_;
  QComboBox* printTo_;
  QLineEdit* pdfFolder_;
  QPushButton* browse_;
  QLabel* counter_;
  QProgressBar* progress_;
  QLabel* status_;
  QPushButton* ok_;
  QPushButton* show_;
  QPushButton* exit_;
  QPushButton* monitor_;
  QLabel* handled_;
  QCalendarWidget* monthView1_;
  QPushButton* dfind_;
  QPushButton* deldup_;
  QLabel* emlImport_;
  QDate anchor_, rangeFrom_, rangeTo_;
  bool pressAnchors_ = false, dragging_ = false;
  // Template tab.
  QLabel* templatesLabel_;
  QListWidget* list2_;
  QLabel* hint_;
  QPushButton* edit_;
  QPushButton* changePath_;
  QPushButton* help_;
  QLabel* suppressLabel_;
  QLineEdit* suppress_;
  QLabel* waitLabel_;
  QLineEdit* wait_;
  QCheckBox* first_;
  QLabel* processesLabel_;
  QSpinBox* processes_;
  // Language tab.
  QTreeWidget* list3_;
  QPushButton* langDef_[3];
  QPushButton* langEdit_;
  QPushButton* save_;
  QLabel* translator_;
};

}  // namespace ordolo::gui
