// Start-up and shut-down of the program: folders, configuration files, the
// debug log and the language table, shared by every front end.
#pragma once

#include <QString>

namespace ordolo::addin {

struct StartOptions {
  bool debug = false;  // write debug.log
};

// Process-wide paths worked out at start.
struct AddinState {
  QString dataFolder;      // ends with '/'
  QString userFolder;      // ends with '/'
  QString mainConfigFile;  // the language table
  QString userConfigFile;  // the user's options
  bool connected = false;
};

class Connect {
 public:
  ~Connect();
  // Works out the folders, creates the user folder, creates the data folder
  // (filled with the shipped templates the first time), opens the debug log
  // when asked, and loads the language table.
  void OnConnection(const StartOptions& options);
  // Closes the debug log and removes the temporary folder. Safe to call twice.
  void OnDisconnection();
  const AddinState& state() const { return state_; }

 private:
  AddinState state_;
};

// Creates `dataFolder` when it is missing and copies the files of
// `shareFolder`/templates into it. An existing folder is left as it is.
// Returns the number of files copied.
int SeedDataFolder(const QString& dataFolder, const QString& shareFolder);

}  // namespace ordolo::addin
