// Where finished documents go: a CUPS queue, a folder of PDFs, a folder of
// filled documents, or the desktop's program. The print run hands every
// finished file to one Output; the Output delivers them in the order they
// were added (a document, its attachments, the next document), converting
// office documents to PDF in batches where the target needs PDF.
#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>

namespace ordolo::ui {
class Port;
}

namespace ordolo::office::convert {
class Converter;
}

namespace ordolo::print {

struct Job {
  // The finished file (a filled .docx/.xlsx, or a PDF or picture that needs
  // no conversion). The Output may move or delete it once delivered.
  QString file;
  // The document's name: the CUPS job name, the base name of the output file.
  QString name;
  // True for an office document that LibreOffice turns into PDF before it
  // is printed or written as PDF; false for a file sent as it is.
  bool convert = true;
};

// Called while a flush works: what is being done (a language-table text),
// files done so far, and in all.
using Progress = std::function<void(const QString& what, int done, int total)>;

class Output {
 public:
  virtual ~Output() = default;

  // Checks, before anything is filled, that the target can take documents:
  // the queue exists and accepts jobs, the folder can be made and written,
  // LibreOffice is there when conversion will be needed. False with *error
  // (a language-table text naming what is wrong).
  virtual bool prepare(QString* error) = 0;

  // Adds a finished file; nothing is delivered before flush().
  virtual void add(const Job& job) = 0;

  // Delivers everything added since the last flush, in order. False when
  // any file failed; errors() then names each one. A failed file leaves
  // nothing half-written behind in an output folder.
  virtual bool flush() = 0;

  // Messages of the failures so far, each naming its file or job.
  virtual QStringList errors() const = 0;
  // What was delivered so far: the written files, or for a queue one line
  // per job ("queue-42 name").
  virtual QStringList delivered() const = 0;

  void setProgress(Progress progress) { progress_ = std::move(progress); }
  // Called for every job delivered: its name, and the file written or the
  // queue and job it went to.
  using Delivered = std::function<void(const QString& name, const QString& where)>;
  void setDelivered(Delivered delivered) { onDelivered_ = std::move(delivered); }
  // A run's stop request (not owned; null: none). Once set, the output stops
  // waiting on the print system: what it was given is still delivered.
  void setStopFlag(const std::atomic<bool>* stop) { stop_ = stop; }
  // A converter kept by the caller (not owned): its LibreOffice processes
  // stay warm from one run to the next. Null: the output makes its own.
  void setConverter(office::convert::Converter* converter) { shared_ = converter; }

 protected:
  void reportDelivered(const QString& name, const QString& where) {
    if (onDelivered_) onDelivered_(name, where);
  }

  bool stopRequested() const { return stop_ && stop_->load(); }

  Progress progress_;
  Delivered onDelivered_;
  const std::atomic<bool>* stop_ = nullptr;
  office::convert::Converter* shared_ = nullptr;
};

}  // namespace ordolo::print
