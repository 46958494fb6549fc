#include "store/OpenedFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "store/FileStore.h"
#include "util/Folders.h"

namespace ordolo::store {

namespace {

// The store folder a file goes into, by its extension; empty for none.
QString folderFor(const QString& file) {
  const QString suffix = QFileInfo(file).suffix().toLower();
  if (suffix == QLatin1String("ics")) return QStringLiteral("Calendar");
  if (suffix == QLatin1String("vcf")) return QStringLiteral("Contacts");
  if (suffix == QLatin1String("eml")) return QStringLiteral("Inbox");
  return {};
}

}  // namespace

OpenedFiles OpenFiles(const QStringList& files) {
  OpenedFiles out;
  static int opened = 0;
  const QString root = util::TempFolder() + QStringLiteral("opened-%1").arg(++opened);
  QStringList order, originals;  // the link of each accepted file, and the file
  QString firstFolder;
  for (int i = 0; i < files.size(); ++i) {
    const QFileInfo info(files[i]);
    const QString sub = folderFor(info.fileName());
    if (sub.isEmpty() || !info.isFile() || !info.isReadable()) {
      out.refused << files[i];
      continue;
    }
    if (firstFolder.isEmpty()) firstFolder = sub;
    if (sub != firstFolder) continue;
    // Numbered, so that two files of the same name both count.
    const QString link =
        QStringLiteral("%1/%2/%3-%4").arg(root, sub).arg(i, 3, 10, QLatin1Char('0')).arg(info.fileName());
    if (!QDir().mkpath(QFileInfo(link).path()) ||
        !(QFile::link(info.absoluteFilePath(), link) || QFile::copy(info.absoluteFilePath(), link))) {
      out.refused << files[i];
      continue;
    }
    order << link;
    originals << files[i];
  }
  if (order.isEmpty()) return out;
  out.store = FileStore::open(root);
  if (!out.store) return out;
  auto folder = std::dynamic_pointer_cast<StoreFolder>(out.store->folderByPath(firstFolder));
  out.folder = folder;
  if (!folder) return out;
  for (int i = 0; i < order.size(); ++i) {
    const std::vector<model::ItemPtr> items = folder->itemsOfFile(order[i]);
    if (items.empty()) out.refused << originals[i];
    for (const model::ItemPtr& item : items) out.items.push_back(item);
  }
  return out;
}

}  // namespace ordolo::store
