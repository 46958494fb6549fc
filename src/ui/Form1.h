// The main dialog without its widgets: the item list of an intake, the
// template list of its kind, the options of the template tab, the language
// tab, and the print run that its buttons start. A front end draws what it
// holds and calls its actions; everything it says to the user goes through
// the port.
#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

#include "model/Model.h"
#include "office/convert/Converter.h"
#include "monitor/Monitor.h"
#include "session/PrintRun.h"
#include "session/Start.h"
#include "tools/Find.h"
#include "ui/Port.h"

namespace ordolo::ui {

// Where the documents of a run go.
struct OutputChoice {
  enum class Kind { Printer, PdfFolder };
  Kind kind = Kind::Printer;
  QString queue;   // Printer: the CUPS queue; empty: the default printer
  QString folder;  // PdfFolder: the folder
  // From and to the user's options ("Option"/"Output": "printer:QUEUE" or
  // "pdf:FOLDER"); the default is the default printer.
  static OutputChoice load();
  void save() const;
};

class Form1 {
 public:
  explicit Form1(Port& port);
  ~Form1();

  // --- the item list
  // Takes the chosen items of a folder (the browser's selection, or the
  // items of files handed over). False when nothing was chosen (the user
  // was told) and the dialog is not shown.
  bool take(const model::Selection& selection, const model::FolderPtr& folder, model::NamespacePtr session);
  const session::Start& start() const { return *start_; }
  std::vector<session::Column> columns() const;
  const std::vector<session::ListRow>& rows() const { return start_->rows(); }
  void setRowSelected(int row, bool selected);
  // Sorts by a column (its sortable text); a run then groups by it.
  void sortBy(int column, bool descending);
  int sortColumn() const { return sortColumn_; }
  // "folder (user)".
  QString caption() const { return start_->caption(); }
  bool canPrint() const;

  // --- the template tab
  QString kindLetter() const;
  const QStringList& templates() const { return templates_; }
  int currentTemplate() const { return current_; }
  // A click on the list: remembers the choice for the kind.
  void chooseTemplate(int index);
  // Opens the chosen template in the desktop's program (LibreOffice for
  // office files). Nothing while a run is busy.
  void editTemplate();
  // Asks for a new template folder and moves the templates there.
  void changeTemplateFolder();
  // Opens the user guide.
  void showHelp();
  // LibreOffice started for the dialog's prints before the first one.
  void prestartConverter();
  // Reads the template folder again.
  void refreshTemplates();

  // The attachment options, written at once on change.
  QString suppress() const { return suppress_; }
  QString wait() const { return wait_; }
  bool attachmentsFirst() const { return first_; }
  void setSuppress(const QString& text);
  void setWait(const QString& text);
  void setAttachmentsFirst(bool first);
  // How many LibreOffice processes convert side by side; 0: one per core.
  int convertProcesses() const;
  void setConvertProcesses(int processes);

  // The label fields.
  int startRow = 1;
  int copies = 1;

  OutputChoice output;

  // --- the language tab
  // Loads shipped language file 0 (English), 1 (German) or 2 (French) over
  // the user's table after the "Are you sure?" question. True when loaded.
  bool loadLanguage(int index);
  // Changes one text; Save is enabled from then on.
  bool editText(const QString& key, const QString& text);
  bool canSaveLanguage() const { return languageDirty_; }
  // Writes the table and loads it again.
  bool saveLanguage();
  // The translator's note, naming the file a translation lives in.
  static QString translatorNote();

  // --- printing
  // Runs the template over the selected rows. Returns when the run ends;
  // the port's yield lets the front end draw and take the stop request
  // meanwhile.
  session::RunResult print(session::RunMode mode);
  bool busy() const { return run_ != nullptr || finding_; }
  // The EXIT button and closing the window during a run: asks the run to
  // stop after its current document. True when a run was asked.
  bool requestStop();
  bool stopping() const { return stopping_; }
  // Closing: refused (and a stop asked) while a run is busy; otherwise the
  // options are written. True when the window may close.
  bool close();

  // --- the tools
  // The fields the find dialog offers for the listed items' folder.
  QStringList findFields() const;
  bool canFind() const { return folder_ != nullptr; }
  // Replaces the list with the items of the listed items' folder in
  // [from, to] that meet the condition; for appointments the hours go to
  // counterText(). A stop request ends it with what was found so far. False
  // (the user was told) when the folder cannot be searched.
  bool find(const QDate& from, const QDate& to, const tools::FieldCondition& condition);
  QString counterText() const { return counter_; }
  // Asks whether the duplicates go physically (Yes), from the list only
  // (No) or not at all (Cancel), then removes them. The rows removed, or -1
  // when cancelled.
  int removeDuplicates();
  // Files dropped on the import label: the .eml ones become drafts, and the
  // count is shown.
  void importEml(const QStringList& files);

  // --- the folder monitor
  // Whether the listed items' folder can be watched (it lies on disk) and
  // a template is chosen.
  bool canMonitor() const;
  // Watches the folder of the listed items: what arrives is listed and
  // printed with the current template and output. False (the user was told)
  // when the printed-item store cannot be opened.
  bool startMonitor(const monitor::MonitorOptions& options);
  void stopMonitor();
  bool monitoring() const { return monitor_ != nullptr; }
  std::function<void(monitor::Monitor::State)> onMonitorState;
  std::function<void(int handled)> onMonitorCount;
  // The monitor put new items in the list.
  std::function<void()> onListChanged;

  // Called as a run goes: items done, in all, and each finished document.
  std::function<void(int done, int total)> onProgress;
  std::function<void(const session::DeliveredDocument&)> onDelivered;
  // What the output is doing meanwhile ("Converting to PDF: 3 of 25").
  std::function<void(const QString& what)> onWorking;
  // Opens a file or address with the desktop's program (tests replace it).
  std::function<int(const QString&)> open;

 private:
  class Observer;
  void tellOpenFailure(int result, const QString& path);

  Port& port_;
  std::unique_ptr<session::Start> start_;
  model::FolderPtr folder_;
  model::NamespacePtr session_;
  int sortColumn_ = 0;
  QStringList templates_;
  int current_ = -1;
  QString suppress_, wait_;
  bool first_ = false;
  bool languageDirty_ = false;
  session::PrintRun* run_ = nullptr;
  std::unique_ptr<monitor::Monitor> monitor_;
  // A monitor stopped from inside its own check lives until that returns.
  std::unique_ptr<monitor::Monitor> retired_;
  bool stopping_ = false;
  std::unique_ptr<office::convert::Converter> converter_;  // kept warm for the dialog's life
  office::convert::Converter& converter();                 // made on first use
  bool finding_ = false;
  bool findStop_ = false;
  QString counter_;
};

}  // namespace ordolo::ui
