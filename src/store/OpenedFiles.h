// Items of single files handed to the program (a file manager's "Open with",
// a mail program's attachment): .ics, .vcf and .eml files are linked into a
// private store below the temporary folder, one folder per kind, and read
// from there like any store.
#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

#include "model/Model.h"

namespace ordolo::store {

class FileStore;

struct OpenedFiles {
  std::shared_ptr<FileStore> store;   // keeps the items readable
  model::FolderPtr folder;            // the folder of the first file's kind
  std::vector<model::ItemPtr> items;  // the items of that kind, in file order
  QStringList refused;                // files of another type, or unreadable
};

// The items of the files. Items of a kind other than the first file's are
// left out, as a mixed selection is.
OpenedFiles OpenFiles(const QStringList& files);

}  // namespace ordolo::store
