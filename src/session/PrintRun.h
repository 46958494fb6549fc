// The print run: every selected item of the list fills the chosen template
// through the renderer of its kind, and every finished document goes to the
// print output (a CUPS queue, a PDF folder, a folder of documents, or the
// desktop's program).
//
// The template's file name decides the layout:
//   ".xl" in its last five characters: Excel, one workbook for the run, one
//     copy of the template block per item;
//   "Table": one Word document, table 1's template rows repeated per item;
//   "Report": one Word document, the "<% ... %>" block repeated per item;
//   "Label": the block put into the cells of table 1 from the start row on,
//     a new document when the table is full;
//   anything else: one Word document per item.
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "model/Model.h"
#include "session/Start.h"
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

namespace ordolo::session {

enum class RunMode { Print = 0, Show = 1 };

struct RunOptions {
  QString templatePath;
  RunMode mode = RunMode::Print;
  int startRow = 1;    // label templates: the first label row to fill (1..9)
  int copies = 1;      // label templates: labels per item
  int sortColumn = 0;  // the list is sorted by this column: items group by it
  tpl::RunHeader header;
  model::Namespace* session = nullptr;  // resolves members and linked items
  // Finished documents handed to the output before it delivers them (one
  // LibreOffice start for the lot); show mode delivers before each question.
  int batch = 25;
  // Prints the items' attachments with their documents (print mode only);
  // null: no attachments are printed.
  attachments::AttachmentQueue* attachments = nullptr;
};

struct RunResult {
  int items = 0;           // items filled
  int documents = 0;       // documents finished
  bool stopped = false;    // ended early: stop request, "No", or an error
  QStringList errors;      // what went wrong, for the user
  int attachments = 0;     // attachment files printed or tried
};

class PrintRun {
 public:
  PrintRun(ui::Port& port, print::Output& output, office::convert::Converter* converter = nullptr);
  ~PrintRun();

  // Fills the template with every selected row's item, in list order.
  RunResult run(const std::vector<model::ItemPtr>& items, const std::vector<ListRow>& rows, const RunOptions& options);

  // Ends the run before the next item (the dialog's exit button).
  void requestStop() { stop_ = true; }
  bool busy() const { return busy_; }

  // Called after each item: items done, items in all.
  void setProgress(std::function<void(int done, int total)> progress) { progress_ = std::move(progress); }

  const tpl::RunState& state() const { return st_; }

 private:
  struct Doc;
  bool openDocument(RunResult& result);
  bool prepareBlock(RunResult& result);
  bool prepareTable();
  bool placeLabels(int count, RunResult& result, int* placed);
  void placeReportBlock();
  void nextTableRows();
  void removeLeftovers(bool fromBlock);
  bool finishDocument(RunResult& result);
  bool deliver(RunResult& result);
  void printAttachments(RunResult& result);
  void prefetchHtml(const std::vector<model::ItemPtr>& items, const std::vector<size_t>& chosen, int from);
  QString importFile(const QString& file, QString* error);
  void blockError(const QString& message, RunResult& result);
  QString resolveTemplate(RunResult& result);

  ui::Port& port_;
  print::Output& output_;
  office::convert::Converter* converter_;
  tpl::RunState st_;
  RunOptions options_;
  QString templateFile_;  // the OOXML file filled (a converted copy for legacy templates)
  QString baseName_;
  bool report_ = false, label_ = false, calendar_ = false;
  std::unique_ptr<Doc> doc_;
  int pending_ = 0;   // documents handed to the output and not yet delivered
  int docNumber_ = 0;
  bool stop_ = false;
  bool busy_ = false;
  std::function<void(int, int)> progress_;
  // Mails' HTML bodies turned into .docx ahead, many per LibreOffice start:
  // by the SHA-1 of the HTML file's bytes.
  std::map<QByteArray, QString> imports_;
  bool htmlTemplate_ = false;  // the template asks for "#HTMLBody"
  int prefetched_ = 0;         // items up to here have their HTML converted
};

}  // namespace ordolo::session
