#include "util/Registry.h"

#include "util/Ini.h"
#include "util/Folders.h"

namespace ordolo::util {

QString RegistryFile(RootKey root) {
  const QString folder = root == RootKey::CurrentUser ? UserFolder() : DataFolder();
  return folder + QLatin1String("registry.ini");
}

QString RegReadString(RootKey root, const QString& subKey, const QString& valueName) {
  const QString name = valueName.isEmpty() ? QStringLiteral("@") : valueName;
  return ReadIni(subKey, name, QString(), RegistryFile(root));
}

}  // namespace ordolo::util
