// Registry values on a system without a registry: one INI file per root,
// "registry.ini" in the data folder (machine-wide roots) or in the user
// folder (the current user's root). The section is the key path, the key the
// value name ("@" for a key's default value).
#pragma once

#include <QString>

namespace ordolo::util {

enum class RootKey { ClassesRoot, CurrentUser, LocalMachine, Users };

QString RegistryFile(RootKey root);
// The value as text; empty when the key or the value is missing.
QString RegReadString(RootKey root, const QString& subKey, const QString& valueName);

}  // namespace ordolo::util
