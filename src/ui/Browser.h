// The store browser without its widgets: which store is open, its folder
// tree, the items of the chosen folder as rows, and what the print button
// hands on. It stands where the mail program's explorer stands; files handed
// to the program are taken as an opened item is.
#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

#include "model/Model.h"
#include "ui/Port.h"

namespace ordolo::store {
class FileStore;
struct OpenedFiles;
}  // namespace ordolo::store

namespace ordolo::ui {

class Browser {
 public:
  explicit Browser(Port& port);
  ~Browser();

  // Opens a store folder and remembers it; false (the user was told) when
  // it cannot be read.
  bool open(const QString& root);
  // The store used last (the user's options), or empty.
  static QString lastStore();
  QString root() const;
  // How the store is named again (its folder, or "thunderbird:NAME") and
  // the title it is shown under.
  QString openedAs() const;
  QString title() const;
  bool isOpen() const { return bool(store_); }

  struct FolderRow {
    QString path;  // below the store root: what choose() takes
    QString name;
    int count = 0;
    int depth = 0;  // 0 for a folder at the top
  };
  // The folder tree, parents before their children.
  std::vector<FolderRow> folders() const;

  // Shows a folder's items; false (the user was told) when the folder is no
  // longer there.
  bool choose(const QString& path);
  const model::FolderPtr& folder() const { return folder_; }

  struct ItemRow {
    QString title;    // subject, full name or list name
    QString when;     // the date that orders items of its kind, as text
    QString whenKey;  // the same as yyyyMMddhhmmss, for sorting
    QString categories;
  };
  const std::vector<ItemRow>& rows() const { return rows_; }
  // What the user is told about the chosen folder: the files it could not
  // read, each with why.
  const QStringList& notices() const { return notices_; }

  // What the print button hands to the print dialog.
  struct Chosen {
    model::Selection selection;
    model::FolderPtr folder;
    model::NamespacePtr session;
  };
  // The items of the given rows, in the order given.
  Chosen choice(const std::vector<int>& rows) const;
  // The items of files (.ics, .vcf, .eml); a file of another type or one
  // that cannot be read is named to the user. Nothing when no item is left.
  std::optional<Chosen> takeFiles(const QStringList& files);

 private:
  Port& port_;
  std::shared_ptr<store::FileStore> store_;
  model::FolderPtr folder_;
  std::vector<model::ItemPtr> items_;
  QStringList notices_;
  std::vector<ItemRow> rows_;
  // Files taken in stay readable while the program runs.
  std::vector<std::shared_ptr<store::OpenedFiles>> opened_;
};

}  // namespace ordolo::ui
