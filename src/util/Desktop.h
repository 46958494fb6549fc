// Opening a file or a web address with the desktop's program for it.
#pragma once

#include <QString>

namespace ordolo::util {

// Result codes, in the numbering of the classic shell "open" call: above 32
// means started; 31 means no program is associated.
enum OpenResult : int {
  kOpenFileNotFound = 2,
  kOpenAccessDenied = 5,
  kOpenNoOpener = 27,  // the opener program is missing or would not start
  kOpenFailed = 29,    // the opener ran and failed
  kOpenNoAssociation = 31,
  kOpenBadUrl = 32,
  kOpenStarted = 42,
};

// The opener command: ORDOLO_OPENER, else "xdg-open".
QString OpenerCommand();

// Hands `pathOrUrl` to the opener and says how that went. Telling the user
// is the caller's part (print::OpenFailureText).
int OpenDocument(const QString& pathOrUrl);

}  // namespace ordolo::util
