// What went wrong in the document engine (documents, workbooks, packages,
// the conversion through LibreOffice): a code and its details. The engine
// does not word its errors; the layer that talks to the user does
// (lang::Describe), in the language of the table.
#pragma once

#include <QString>
#include <QStringList>

#include <memory>

namespace ordolo::office {

enum class Problem {
  None,
  // Word documents. Details: the file, then as named.
  DocumentOpen,     // the file, the reason
  DocumentXml,      // the file, the part, the parser's reason, the byte offset
  DocumentNoBody,   // the file
  DocumentSave,     // the file, the reason
  InsertFile,       // the file, the reason
  PictureInsert,    // the picture, the reason (or the cause)
  PictureTooLarge,  // the limit in MB
  PictureKind,      // -
  // Workbooks.
  WorkbookOpen,     // the file, the reason
  WorkbookPart,     // the file, the part
  WorkbookXml,      // the file, the part, the parser's reason
  WorkbookNoSheet,  // the file
  WorkbookSave,     // the file, the reason
  // Conversion.
  OfficeMissing,       // -
  ConvertNoFile,       // the file
  ConvertNotDocument,  // the file
  ConvertNotLegacy,    // the file
  ConvertFailed,       // the file
  ConvertCrashed,      // the file
  ConvertTimeout,      // the file, the seconds
  ConvertWrite,        // the file or folder
};

struct Error {
  Error() = default;
  Error(Problem p, QStringList d = {}) : problem(p), details(std::move(d)) {}
  // The same problem caused by another one, whose wording becomes its last
  // detail (a picture that cannot be inserted because it is too large).
  Error(Problem p, QStringList d, const Error& why)
      : problem(p), details(std::move(d)), cause(std::make_shared<Error>(why)) {}

  Problem problem = Problem::None;
  QStringList details;
  std::shared_ptr<const Error> cause;

  bool failed() const { return problem != Problem::None; }
  explicit operator bool() const { return failed(); }
  // The code and details as they are, for logs and test output.
  QString debugText() const;
};

}  // namespace ordolo::office
