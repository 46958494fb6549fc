// The print systems an attachment queue prints through: a CUPS queue, or an
// output that writes into a folder (the PDF and save targets of a run).
#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

#include "attachments/AttachmentQueue.h"
#include "office/convert/Converter.h"

namespace ordolo::print {
class Cups;
class Output;
}  // namespace ordolo::print

namespace ordolo::attachments {

// Whether LibreOffice can open a file of this name (by its suffix, case
// ignored): such files are turned into PDF before they are printed.
bool IsOfficeName(const QString& fileName);

// Prints to a CUPS queue. Pictures and PDFs go to the queue as they are
// (CUPS's filters print them); office files are converted to PDF first. Each
// job is titled with the file's own name, so that the queue's wait finds it.
class CupsPrintSystem : public PrintSystem {
 public:
  // `queue` empty: the server's default queue. `server` empty: CUPS_SERVER,
  // else libcups's own choice.
  explicit CupsPrintSystem(QString queue, QString server = {}, office::convert::Options convert = {});
  ~CupsPrintSystem() override;

  Result print(const QString& file) override;
  // Whether the server answers; remembers the newest job it knows, so that
  // jobNames() lists only the jobs that came after.
  bool connect() override;
  // The jobs of every queue and user newer than connect(), ended ones included.
  std::optional<QStringList> jobNames() override;

 private:
  print::Cups& cups();
  Result submit(const QString& file, const QString& title);

  QString queue_;
  QString server_;
  office::convert::Options convertOptions_;
  std::unique_ptr<print::Cups> cups_;
  std::unique_ptr<office::convert::Converter> converter_;
  int baseline_ = 0;
};

// Hands each file to an output that writes into a folder, one at a time:
// office files are converted where the output writes PDFs. A folder has no
// jobs to wait for.
class OutputPrintSystem : public PrintSystem {
 public:
  explicit OutputPrintSystem(print::Output& output) : output_(output) {}

  Result print(const QString& file) override;
  bool connect() override { return false; }
  std::optional<QStringList> jobNames() override { return std::nullopt; }

 private:
  print::Output& output_;
};

// Attachments go where the documents go: to the same CUPS queue, or into
// the same folder.
std::unique_ptr<PrintSystem> PrintSystemFor(print::Output& output);

}  // namespace ordolo::attachments
