// Where Ordolo keeps its files. ORDOLO_HOME, when set, holds everything
// (data/ and config/ below it); otherwise the XDG places are used.
// Every folder path returned here ends with '/'.
#pragma once

#include <QString>

namespace ordolo::util {

// Shared data: the language table "Ordolo.ini", "path.ini", the default
// templates, "debug.log". $XDG_DATA_HOME/ordolo/ (~/.local/share/ordolo/).
QString DataFolder();
// The user's options "Ordolo.ini" and the printed-item stores.
// $XDG_CONFIG_HOME/ordolo/ (~/.config/ordolo/).
QString UserFolder();
QString MainConfigFile();    // DataFolder() + "Ordolo.ini"
QString UserConfigFile();    // UserFolder() + "Ordolo.ini"
QString TemplatePathFile();  // DataFolder() + "path.ini"

// The installed read-only data (share/ordolo/): ORDOLO_SHARE_DIR, else
// share/ordolo beside the program's bin folder, else the install prefix.
QString ShareFolder();
QString LanguageFolder();  // ShareFolder() + "language/"

// A private folder of this process below TMPDIR, TEMP or TMP (else /tmp),
// made once and kept; it is removed by RemoveTempFolder().
QString TempFolder();
void RemoveTempFolder();
// The base folder the temporary folder goes into, from the environment.
QString TempBase();
// Makes a fresh private folder below `base`; falls back to /tmp, then to base.
QString MakePrivateFolder(const QString& base);

// Appends '/' unless the text already ends with one.
QString WithSlash(const QString& path);

}  // namespace ordolo::util
