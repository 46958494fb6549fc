// The print port's adapters: a CUPS queue (QueueOutput), a folder of PDFs
// or of the filled documents themselves (FolderOutput), and the desktop's
// program (ShowOutput). Office documents are converted to PDF by one
// LibreOffice batch per flush, into a private staging folder below the
// process's temporary folder; only finished files reach their target.
#pragma once

#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "office/convert/Converter.h"
#include "print/Cups.h"
#include "print/Output.h"

namespace ordolo::print {

struct QueueOptions {
  // The CUPS server; empty: CUPS_SERVER, else libcups's own choice.
  QString server;
  // How long one job may take from submission to "completed" before it is
  // reported and the next one goes out. Left at this default, the user's
  // option [Print] JobWait (seconds) replaces it.
  int waitMs = 120000;
  // How often the job's state is asked for meanwhile.
  int pollMs = 50;
  // Passed with every job (copies, sides, media, ...).
  JobOptions jobOptions;
  office::convert::Options convert;
};

// Prints to a CUPS queue: one job per file, named Job::name, submitted in the
// order added; the next one goes out only when CUPS reports the previous one
// completed, so that a document and its attachments come out together.
class QueueOutput : public Output {
 public:
  // `queue` empty: the default queue.
  explicit QueueOutput(QString queue, QueueOptions options = {});
  ~QueueOutput() override;

  bool prepare(QString* error) override;
  void add(const Job& job) override;
  bool flush() override;
  QStringList errors() const override { return errors_; }
  QStringList delivered() const override { return delivered_; }

  // The queue the jobs go to (the default queue resolved).
  QString queue();
  // The names of the jobs the server still holds or remembers on the queue,
  // canceled and aborted ones left out: what has reached the print system.
  // nullopt when the server cannot be asked.
  std::optional<QSet<QString>> jobsOnQueue();

 private:
  Cups& cups();
  bool waitForJob(int id, const Job& job);

  QString queue_;
  QueueOptions options_;
  std::unique_ptr<Cups> cups_;
  std::unique_ptr<office::convert::Converter> converter_;
  std::vector<Job> pending_;
  QStringList errors_;
  QStringList delivered_;
};

// Writes each file into a folder: with `pdf`, as "<name>.pdf" (office
// documents converted, PDFs copied; another file keeps its own extension),
// else the file itself as "<name>.<its extension>". The folder is made when
// missing; a file of the same name already there is replaced, but two jobs of
// the same name from one output become "<name>.pdf" and "<name> (2).pdf".
// Each file is written under a temporary name in the folder and renamed into
// place, so the folder never holds a half-written file, and a file that
// fails leaves nothing.
class FolderOutput : public Output {
 public:
  FolderOutput(QString folder, bool pdf, office::convert::Options convert = {});
  ~FolderOutput() override;

  bool prepare(QString* error) override;
  void add(const Job& job) override;
  bool flush() override;
  QStringList errors() const override { return errors_; }
  QStringList delivered() const override { return delivered_; }

  QString folder() const { return folder_; }
  // A job named like an earlier one of this output replaces its file (the
  // same document made again) instead of getting a numbered name of its own.
  void setReplaceRepeats(bool replace) { replaceRepeats_ = replace; }

 protected:
  // Writes the pending jobs; the files written, in order.
  QStringList write();

  QStringList errors_;
  QStringList delivered_;

 private:
  QString targetName(const Job& job, const QString& suffix);

  QString folder_;
  bool pdf_;
  office::convert::Options convertOptions_;
  std::unique_ptr<office::convert::Converter> converter_;
  std::vector<Job> pending_;
  std::set<QString> used_;  // file names this output has written
  bool replaceRepeats_ = false;
};

// Leaves the filled documents open for the user: saves them as
// FolderOutput(folder, false) does, then hands each one, in order, to the
// desktop's program (util::OpenDocument; ORDOLO_OPENER overrides xdg-open).
// The folder must outlive the process: the opened program still reads the
// file when Ordolo has ended and removed its temporary folder.
class ShowOutput : public FolderOutput {
 public:
  ShowOutput(QString folder, ui::Port* port);
  bool flush() override;

 private:
  ui::Port* port_;
};

// What the user is told when the desktop's program could not be started
// for a file or web address (a util::OpenDocument result): "Problem
// starting.. (Error n)" below 31, "URL not valid: " and the address for 32;
// nothing for success and for 31 (no program for the type).
QString OpenFailureText(int result, const QString& pathOrUrl);

// Where shown documents are kept: beside the conversion cache, outside the
// process's temporary folder (the desktop's program still reads them when
// Ordolo has ended).
QString ShowFolder();

// What a caller picks from: print, PDF folder, save folder, show.
enum class Target { Queue, PdfFolder, SaveFolder, Show };

// `where`: the queue (empty: the default) or the folder.
std::unique_ptr<Output> makeOutput(Target target, const QString& where, ui::Port* port = nullptr);

}  // namespace ordolo::print
