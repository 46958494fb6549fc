// Attachment printing: the renderers save attachment files and queue them
// during a print run; the run flushes the queue when a document is finished
// (after it, or before it with the option "First"). A flush prints every
// file in order and, after each one, waits until the print system shows a
// job for it, so that the printouts come out in the order queued.
//
// Which program prints a file, in this order: the image program for
// pictures, the PDF program for PDFs (both optional, set in the user
// options), else the print system itself (PrintSystem: CUPS, where pictures
// and PDFs go straight to the queue and office files are turned into PDF by
// LibreOffice first).
#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace ordolo::ui {
class Port;
}

namespace ordolo::attachments {

// Section "Attachments" of the user options file.
struct Options {
  QString suppress;    // "Suppress": file names never printed, comma-separated
  QString wait;        // "Wait": pause in ms after the files of a flush
  bool first = false;  // "First": attachments before their item's document
  // "ImageProgram"/"ImageSwitches", "PdfProgram"/"PdfSwitches": a program
  // (name on PATH or full path) run as: program "file" switches. Empty: the
  // file goes to the print system.
  QString imageProgram, imageSwitches;
  QString pdfProgram, pdfSwitches;

  // From the user options file (util::UserConfigFile()); missing keys give
  // the defaults above.
  static Options load();
  void save() const;

  // Whether a file name is in "Suppress" (entries trimmed, case ignored).
  bool suppressed(const QString& fileName) const;
  // "Wait" as a number of milliseconds; nullopt when it is not a number.
  std::optional<int> waitMs() const;
};

// Whether a file name counts as a picture: its last four characters, in
// lower case, occur in ".gif,.jpg,.bmp,.png,.tif,.tiff,.jpeg".
bool IsImageName(const QString& fileName);
// Whether its last four characters, in lower case, are ".pdf".
bool IsPdfName(const QString& fileName);

// The waits' time. The real clock sleeps and lets the user interface run;
// tests count instead.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual void sleep(int ms) = 0;
};

class SystemClock : public Clock {
 public:
  explicit SystemClock(ui::Port* port = nullptr) : port_(port) {}
  void sleep(int ms) override;

 private:
  ui::Port* port_;
};

// The print system as the queue sees it: printing a file that no program of
// the options took, and listing jobs for the waits.
class PrintSystem {
 public:
  enum class Outcome {
    Printed,       // handed over; wait for its job
    NotSupported,  // nothing here can print this type of file
    InvalidFile,   // missing, unreadable, or not a file
    Failed,        // the print system refused it; code and reason say why
  };
  struct Result {
    Outcome outcome = Outcome::Failed;
    int code = 0;    // Failed: the print system's error number
    QString reason;  // Failed: its reason, for the debug log and the run's errors
  };
  virtual ~PrintSystem() = default;

  virtual Result print(const QString& file) = 0;
  // Called at the start of a flush: whether jobs can be listed. False: no
  // file is waited for in this flush.
  virtual bool connect() = 0;
  // The names of the jobs that appeared since connect(), ended ones
  // included; nullopt when the query failed.
  virtual std::optional<QStringList> jobNames() = 0;
};

class AttachmentQueue {
 public:
  // `system`, `port` and `clock` must outlive the queue; `clock` null: a
  // SystemClock over `port`.
  AttachmentQueue(PrintSystem& system, ui::Port& port, Options options, Clock* clock = nullptr);
  ~AttachmentQueue();

  // flush false: appends fileName. flush true: prints every queued file in
  // order, waiting for each one's job, then empties the queue (fileName is
  // ignored). An empty queue prints nothing and does not sleep.
  void PrintAttachmentQueue(const QString& fileName, bool flush);

  // The queued files, in order.
  QStringList files() const { return files_; }
  bool empty() const { return files_.isEmpty(); }
  // Forgets the queued files without printing them (a new selection).
  void reset() { files_.clear(); }

  const Options& options() const { return options_; }

  // What went wrong in the flushes so far, one line each, naming the file.
  QStringList errors() const { return errors_; }
  // Called before each file of a flush: the file, files done, in all.
  void setProgress(std::function<void(const QString& file, int done, int total)> progress) {
    progress_ = std::move(progress);
  }
  // A run's stop request (not owned; null: none). Once set, the files are
  // still handed over but not waited for.
  void setStopFlag(const std::atomic<bool>* stop) { stop_ = stop; }

 private:
  bool runProgram(const QString& program, const QString& switches, const QString& file);
  void waitForJob(const QString& file, bool connected);
  bool stopped() const { return stop_ && stop_->load(); }

  PrintSystem& system_;
  ui::Port& port_;
  Options options_;
  Clock* clock_;
  std::unique_ptr<Clock> ownClock_;
  QStringList files_;
  QStringList errors_;
  std::function<void(const QString&, int, int)> progress_;
  const std::atomic<bool>* stop_ = nullptr;
};

}  // namespace ordolo::attachments
