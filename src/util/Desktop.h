// Opening a file or a web address with the desktop's program for it.
#pragma once

#include <QString>

namespace ordolo::ui {
class Port;
}

namespace ordolo::util {

// Result codes, in the numbering of the classic shell "open" call: above 32
// means started; 31 means no program is associated (reported to nobody).
enum OpenResult : int {
  kOpenFileNotFound = 2,
  kOpenAccessDenied = 5,
  kOpenNoOpener = 27,     // the opener program is missing or would not start
  kOpenFailed = 29,       // the opener ran and failed
  kOpenNoAssociation = 31,
  kOpenBadUrl = 32,
  kOpenStarted = 42,
};

// The opener command: ORDOLO_OPENER, else "xdg-open".
QString OpenerCommand();

// Hands `pathOrUrl` to the opener. Failures are told through `port`:
// below 31 "Problem starting.. (Error n)", 32 "URL not valid: " + text;
// 31 and success say nothing. A port of nullptr tells nobody.
int OpenDocument(const QString& pathOrUrl, ui::Port* port);

}  // namespace ordolo::util
