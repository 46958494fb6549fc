// One LibreOffice kept running for PDF conversion: share/ordolo/
// convert-worker.py (python3-uno) starts soffice with a private profile and
// converts one document per request over UNO, so that a document costs its
// load and export only, not a LibreOffice start.
//
// The worker runs in a process session of its own, LibreOffice inside it: a
// conversion that takes too long, or a worker that dies, ends with the whole
// group killed; the next request starts a fresh one. A worker is used from
// one thread at a time.
#pragma once

#include <QString>

#include <sys/types.h>

namespace ordolo::office::convert {

class WarmWorker {
 public:
  // `soffice`: the LibreOffice program; `profile`: a folder of this worker's
  // own for LibreOffice's profile.
  WarmWorker(QString soffice, QString profile, int startTimeoutMs = 60000);
  ~WarmWorker();  // LibreOffice is ended (killed when it does not end)
  WarmWorker(const WarmWorker&) = delete;
  WarmWorker& operator=(const WarmWorker&) = delete;

  enum class Outcome { Done, Failed, TimedOut, Died, NotStarted };
  // Converts `input` into the PDF `output`. Failed: LibreOffice answered with
  // an error (*why); TimedOut/Died: the worker was killed or ended and will
  // be started afresh; NotStarted: no worker could be started (*why).
  // With `pageStarts`, a Word document's pages are also told: per page the
  // row of the document's longest table it starts with (as the worker
  // writes it: a row index, "-" or "t", comma-separated).
  Outcome toPdf(const QString& input, const QString& output, int timeoutMs, QString* why,
                QByteArray* pageStarts = nullptr);

  // Starts the worker now (the first conversion does it otherwise).
  bool start(int timeoutMs, QString* why);
  int launches() const { return launches_; }

  // The python program and the worker script; empty when either is missing.
  static QString python();
  static QString script();

 private:
  void stop(bool kill);
  // One line from the worker, waiting at most timeoutMs; false on timeout or
  // end of output.
  bool readLine(int timeoutMs, QByteArray* line, bool* timedOut);

  QString soffice_, profile_;
  int startTimeoutMs_;
  pid_t pid_ = -1;
  int toWorker_ = -1, fromWorker_ = -1;
  QByteArray buffer_;
  int launches_ = 0;
};

}  // namespace ordolo::office::convert
