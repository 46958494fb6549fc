#include "addin/Connect.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "lang/LanguageTable.h"
#include "util/DebugLog.h"
#include "util/Ini.h"
#include "util/Folders.h"

namespace ordolo::addin {

int SeedDataFolder(const QString& dataFolder, const QString& shareFolder) {
  if (QFileInfo::exists(dataFolder)) return 0;
  if (!QDir().mkpath(dataFolder)) return 0;
  int copied = 0;
  const QDir templates(util::WithSlash(shareFolder) + QLatin1String("templates"));
  for (const QFileInfo& f : templates.entryInfoList(QDir::Files)) {
    if (QFile::copy(f.absoluteFilePath(), util::WithSlash(dataFolder) + f.fileName())) {
      // Copies of read-only installed files must stay editable by the user.
      QFile::setPermissions(util::WithSlash(dataFolder) + f.fileName(),
                            QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
      ++copied;
    }
  }
  return copied;
}

Connect::~Connect() { OnDisconnection(); }

void Connect::OnConnection(const StartOptions& options) {
  state_.dataFolder = util::DataFolder();
  state_.userFolder = util::UserFolder();
  state_.mainConfigFile = util::MainConfigFile();
  state_.userConfigFile = util::UserConfigFile();
  util::SetMainConfigPath(state_.mainConfigFile);

  QDir().mkpath(state_.userFolder);  // failure is ignored: options then stay at their defaults
  SeedDataFolder(state_.dataFolder, util::ShareFolder());

  if (options.debug || util::DebugLog::requestedByEnvironment())
    util::DebugLog::open(state_.dataFolder + QLatin1String("debug.log"));

  lang::table().LoadLanguageTable(state_.mainConfigFile);
  state_.connected = true;
}

void Connect::OnDisconnection() {
  if (!state_.connected) return;
  util::DebugLog::close();
  util::RemoveTempFolder();
  state_.connected = false;
}

}  // namespace ordolo::addin
