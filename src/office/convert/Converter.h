// Document conversion through LibreOffice: legacy binary templates (.dot,
// .doc, .xlt, .xls) into OOXML once, finished documents into PDF.
//
// Every run is one `soffice --headless --convert-to` process with a profile
// folder private to this converter (made on first use, reused afterwards:
// a fresh profile costs a second on its first start). A batch of documents
// goes through one process, which costs one start-up (~0.8 s) plus ~50 ms a
// page instead of a start-up per document. A LibreOffice that hangs is killed
// with its whole process group after a bounded time; one that crashes, or a
// document it cannot open, gives an error for that document only.
//
// A converter serialises its own runs (one profile, one soffice at a time);
// separate converters may run side by side.
#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

#include "office/Error.h"

namespace ordolo::office::convert {

struct Result {
  QString input;           // the file as given
  QString output;          // the converted file; empty on failure
  Error error;             // what went wrong, naming the input; none on success
  bool fromCache = false;  // toOoxml: the converted copy was already there

  bool ok() const { return !error.failed() && !output.isEmpty(); }
};

struct Options {
  // The soffice program; empty: ORDOLO_SOFFICE, else soffice or libreoffice on PATH.
  QString program;
  // A run may take baseTimeoutMs + perDocumentTimeoutMs per document. Left
  // at these defaults, the user's option [Convert] Timeout (seconds for one
  // document; half that for each further one of a run) replaces both.
  int baseTimeoutMs = 60000;
  int perDocumentTimeoutMs = 10000;
  // Where converted templates are kept; empty: defaultCacheFolder().
  QString cacheFolder;
};

// Called after each document of a batch: documents done so far, and in all.
using Progress = std::function<void(int done, int total)>;
// Called with each result as soon as it and all before it are done, in
// input order (in the caller's thread).
using Ready = std::function<void(int index, const Result& result)>;

class Converter {
 public:
  explicit Converter(Options options = {});
  ~Converter();  // removes the private profile

  // Starts the kept LibreOffice processes now, in the background, so that a
  // program that will convert (the print dialog, the monitor) has them up
  // before its first document; without it the first document starts them.
  void prestart();
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // Converts each input into "<name>.pdf" in `outputFolder` (made when
  // missing; an existing file of that name is replaced). Inputs of the same
  // name from different folders get "<name> (2).pdf" and so on. One result
  // per input, in the same order; `ready` gets each one as soon as it and
  // those before it are there, while later ones are still converted.
  std::vector<Result> toPdf(const QStringList& inputs, const QString& outputFolder, const Progress& progress = {},
                            const Ready& ready = {});

  // A legacy Word or Excel file (.doc/.dot -> .docx, .xls/.xlt -> .xlsx) as
  // an OOXML copy in the cache folder. The copy is reused while the source
  // keeps its path, modification time and size; the source is only read.
  Result toOoxml(const QString& legacyFile);

  // A file Writer can read (HTML above all) as a .docx at outputFile, for
  // inserting into a Word document.
  Result toDocx(const QString& file, const QString& outputFile);
  // Many such files with one LibreOffice start: each input's .docx in
  // outputFolder as "<its position>.docx". One result per input, in order.
  std::vector<Result> toDocx(const QStringList& files, const QString& outputFolder);

  // The program that will be run, or empty when none was found.
  QString program() const;
  // How many LibreOffice processes this converter has started.
  int launches() const;

  // ORDOLO_SOFFICE when set (even when it does not exist: the user asked for
  // it), else soffice or libreoffice on PATH; empty when none is found.
  static QString findProgram();
  // $ORDOLO_HOME/cache/converted/, else $XDG_CACHE_HOME/ordolo/converted/
  // (~/.cache/ordolo/converted/).
  static QString defaultCacheFolder();

 private:
  struct Impl;
  std::unique_ptr<Impl> d_;
};

}  // namespace ordolo::office::convert
