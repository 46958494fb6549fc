#include "session/Templates.h"

#include "template/TemplateKind.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "model/Model.h"
#include "util/Folders.h"
#include "util/Ini.h"

namespace ordolo::session {

QString TemplateFolder() {
  const QString set = util::ReadIni(QStringLiteral("Register"), QStringLiteral("Template"), QString(),
                                    util::TemplatePathFile());
  if (!set.isEmpty()) return util::WithSlash(set);
  return util::DataFolder();
}

QString KindLetter(int itemClass) {
  switch (itemClass) {
    case model::olAppointment: return QStringLiteral("A");
    case model::olContact: return QStringLiteral("C");
    case model::olDistributionList: return QStringLiteral("D");
    case model::olJournal: return QStringLiteral("J");
    case model::olNote: return QStringLiteral("N");
    case model::olTask: return QStringLiteral("T");
    default: return QStringLiteral("M");
  }
}

bool PassesExtensionTest(const QString& fileName) {
  if (fileName.size() < 4) return false;
  return QStringLiteral(".xls/.xlt/.dot/dotx/xltx/xlsx").contains(fileName.right(4), Qt::CaseInsensitive);
}

bool IsExcelTemplate(const QString& fileName) { return tpl::TemplateKind::IsExcelName(fileName); }

QStringList ListTemplates(const QString& kindLetter, const QString& folder) {
  QStringList found;
  const QDir dir(folder);
  // Name order, as the directory listing of the original folder gave it.
  for (const QString& name : dir.entryList({kindLetter + QLatin1Char('*')}, QDir::Files, QDir::Name | QDir::IgnoreCase))
    if (PassesExtensionTest(name)) found << name;
  return found;
}

QString StoredTemplate(const QString& kindLetter) {
  return util::ReadIni(QStringLiteral("Option"), kindLetter + QLatin1String("Template"), QString(),
                       util::UserConfigFile());
}

bool StoreTemplateChoice(const QString& kindLetter, const QString& fileName) {
  return util::WriteIni(QStringLiteral("Option"), kindLetter + QLatin1String("Template"),
                        QFileInfo(fileName).fileName(), util::UserConfigFile());
}

QString ChooseTemplate(const QString& kindLetter, const QString& folder) {
  const QStringList listed = ListTemplates(kindLetter, folder);
  const QString stored = StoredTemplate(kindLetter);
  if (!stored.isEmpty() && listed.contains(stored)) return stored;
  if (listed.isEmpty()) return {};
  StoreTemplateChoice(kindLetter, listed.first());
  return listed.first();
}

namespace {

QByteArray Contents(const QString& path) {
  QFile f(path);
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// A rename; across file systems (where a rename fails) a copy that is read
// back and compared before the original goes. A copy that differs is
// removed and the original stays.
bool MoveFile(const QString& from, const QString& to) {
  if (QFile::rename(from, to)) return true;
  if (QFileInfo::exists(to) || !QFile::copy(from, to)) return false;
  const QByteArray original = Contents(from);
  if (Contents(to) != original || original.size() != QFileInfo(from).size()) {
    QFile::remove(to);
    return false;
  }
  return QFile::remove(from);
}

}  // namespace

FolderChange ChangeTemplateFolder(const QString& newFolderIn) {
  FolderChange result;
  if (newFolderIn.trimmed().isEmpty()) return result;
  const QString oldFolder = TemplateFolder();
  const QString newFolder = util::WithSlash(QDir::cleanPath(QFileInfo(newFolderIn).absoluteFilePath()));
  if (QDir::cleanPath(newFolder) == QDir::cleanPath(oldFolder)) return result;
  if (!util::WriteIni(QStringLiteral("Register"), QStringLiteral("Template"), newFolder, util::TemplatePathFile())) {
    result.error = util::TemplatePathFile();
    return result;
  }
  result.changed = true;

  const QDir target(newFolder);
  for (const QString& name : target.entryList(QDir::Files))
    if (PassesExtensionTest(name)) return result;  // templates there already: nothing moves
  const QDir source(oldFolder);
  for (const QString& name : source.entryList(QDir::Files | QDir::Hidden)) {
    const QString tail = name.right(4).toLower();
    if (tail == QLatin1String(".ini") || tail == QLatin1String(".key") || tail == QLatin1String(".all")) continue;
    const QString from = source.filePath(name), to = target.filePath(name);
    const bool moved = MoveFile(from, to);
    if (moved) ++result.moved;
    else result.failed << from;
  }
  return result;
}

}  // namespace ordolo::session
