// The print run: every selected item of the list fills the chosen template
// through the renderer of its kind, in the layout the template's name
// chooses (template/TemplateKind.h, layouts/), and every finished document
// goes to the print output (a CUPS queue, a PDF folder, a folder of
// documents, or the desktop's program).
//
// Front ends watch a run through a RunObserver and end it early with
// requestStop(): the run stops after the current document, finishes what
// it has filled, and delivers every finished document whole.
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "model/Model.h"
#include "office/Error.h"
#include "session/Start.h"
#include "template/AttachmentsAndBody.h"
#include "template/RunState.h"

namespace ordolo::ui {
class Port;
}
namespace ordolo::attachments {
class AttachmentQueue;
}
namespace ordolo::print {
class Output;
}
namespace ordolo::office::convert {
class Converter;
}
namespace ordolo::office::word {
class Document;
}

namespace ordolo::session {

enum class RunMode { Print = 0, Show = 1 };

struct RunOptions {
  QString templatePath;
  RunMode mode = RunMode::Print;
  int startRow = 1;    // label templates: the first label row to fill (1..9)
  int copies = 1;      // label templates: labels per item
  int kind = 0;        // the run's kind (its item class); 0: the first item's
  int sortColumn = 0;  // the list is sorted by this column: items group by it
  tpl::RunHeader header;
  model::Namespace* session = nullptr;  // resolves members and linked items
  // Finished documents handed to the output before it delivers them (one
  // LibreOffice start for the lot); show mode delivers before each question.
  int batch = 25;
  // Prints the items' attachments with their documents (print mode only);
  // null: no attachments are printed.
  attachments::AttachmentQueue* attachments = nullptr;
  // What the documents are called ("<name>-001"); empty: the template's name.
  QString documentName;
  // When set: each document is called by the last item it holds, whatever
  // run makes it (the monitor names its documents by item, so that a
  // document made again replaces itself).
  std::function<QString(const model::Item&)> documentNameFor;
};

struct RunResult {
  int items = 0;               // items filled
  int documents = 0;           // documents finished
  bool stopped = false;        // ended early: stop request, "No", or an error
  bool stopRequested = false;  // ended by requestStop()
  QStringList errors;          // what went wrong, for the user
  QString note;                // how a stopped run ended, for the user
  int attachments = 0;         // attachment files printed or tried
};

// A finished document that reached the output.
struct DeliveredDocument {
  int number = 0;    // the run's document number, from 1
  int lastItem = 0;  // the last item it holds, from 1
  int total = 0;     // items in the run
  QString name;      // the print job's name, the output file's stem
  QString where;     // the file written, or the queue and job
};

class RunObserver {
 public:
  virtual ~RunObserver() = default;
  // An item is filled: `done` of `total`.
  virtual void itemFilled(int done, int total) {}
  virtual void documentDelivered(const DeliveredDocument& document) {}
  // Something else of the run reached the output: an attachment file.
  virtual void attachmentDelivered(const QString& name, const QString& where) {}
};

class PrintRun {
 public:
  PrintRun(ui::Port& port, print::Output& output, office::convert::Converter* converter = nullptr);
  ~PrintRun();

  // Fills the template with every selected row's item, in list order.
  RunResult run(const std::vector<model::ItemPtr>& items, const std::vector<ListRow>& rows, const RunOptions& options);

  // Ends the run after the current document (the dialog's exit button, a
  // signal). Safe to call from a signal handler.
  void requestStop() { stop_.store(true); }
  const std::atomic<bool>& stopFlag() const { return stop_; }
  bool busy() const { return busy_; }

  // Not owned; null: nobody watches.
  void setObserver(RunObserver* observer) { observer_ = observer; }

  const tpl::RunState& state() const { return st_; }

 private:
  class Driver;
  friend class Driver;
  bool deliver(RunResult& result);
  void addError(RunResult& result, const QString& error);
  void prefetchHtml(const std::vector<model::ItemPtr>& items, const std::vector<size_t>& chosen, int from);
  QString importFile(const QString& file, office::Error* error);
  QString resolveTemplate(RunResult& result);

  ui::Port& port_;
  print::Output& output_;
  office::convert::Converter* converter_;
  tpl::RunState st_;
  RunOptions options_;
  std::atomic<bool> stop_{false};
  bool busy_ = false;
  RunObserver* observer_ = nullptr;
  int pending_ = 0;  // documents handed to the output and not yet delivered
  int docNumber_ = 0;
  // Mails' HTML bodies turned into .docx ahead, many per LibreOffice start:
  // by the SHA-1 of the HTML file's bytes.
  std::map<QByteArray, QString> imports_;
  bool htmlTemplate_ = false;  // the template asks for "#HTMLBody"
  int prefetched_ = 0;         // items up to here have their HTML converted
};

}  // namespace ordolo::session
