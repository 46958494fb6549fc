// The debug log "debug.log" in the data folder. Off unless switched on at
// start-up (the --debug flag or ORDOLO_DEBUG=1); while off, write() costs a flag test.
#pragma once

#include <QString>

namespace ordolo::util::DebugLog {

// Opens `path` for appending and writes the "Gestartet: " line. Returns false
// (and stays off) when the file cannot be opened.
bool open(const QString& path);
void close();
bool isOn();
// Appends one line when the log is on. Lines end in CR LF; so do the
// lines of a text of several lines.
void write(const QString& line);

// True when the environment asks for the log (ORDOLO_DEBUG set to a value other than 0).
bool requestedByEnvironment();

}  // namespace ordolo::util::DebugLog
