#include "ui/Browser.h"

#include <QFileInfo>

#include "lang/Messages.h"
#include "store/FileStore.h"
#include "store/Profiles.h"
#include "store/OpenedFiles.h"
#include "util/Folders.h"
#include "util/Ini.h"
#include "util/VbFormat.h"

namespace ordolo::ui {

using lang::Msg;

namespace {

const QString kSection = QStringLiteral("Browser");

// What the item is called in the list.
QString Title(const model::Item& item) {
  for (const char* name : {"Subject", "FullName", "DLName"}) {
    const QString t = item.text(QString::fromLatin1(name));
    if (!t.trimmed().isEmpty()) return t.simplified();
  }
  return {};
}

// The date that orders the items of its kind.
QDateTime When(const model::Item& item) {
  switch (item.Class()) {
    case model::olAppointment:
    case model::olJournal: return item.date(QStringLiteral("Start"));
    case model::olTask: {
      const QDateTime due = item.date(QStringLiteral("DueDate"));
      return due.isValid() && due.date().year() < 4000 ? due : item.date(QStringLiteral("StartDate"));
    }
    case model::olMail:
    case model::olReport: {
      const QDateTime received = item.date(QStringLiteral("ReceivedTime"));
      return received.isValid() ? received : item.date(QStringLiteral("SentOn"));
    }
    default: return item.date(QStringLiteral("CreationTime"));
  }
}

void AddFolders(std::vector<Browser::FolderRow>& out, const std::vector<model::FolderPtr>& folders, int depth) {
  for (const model::FolderPtr& folder : folders) {
    out.push_back({folder->FolderPath(), folder->Name(), folder->GetItems()->Count(), depth});
    AddFolders(out, folder->Folders(), depth + 1);
  }
}

}  // namespace

Browser::Browser(Port& port) : port_(port) {}
Browser::~Browser() = default;

QString Browser::lastStore() {
  return util::ReadIni(kSection, QStringLiteral("Store"), QString(), util::UserConfigFile());
}

QString Browser::root() const { return store_ ? store_->root() : QString(); }

QString Browser::openedAs() const { return store_ ? store_->openedAs() : QString(); }

QString Browser::title() const {
  if (!store_) return {};
  return store_->kind().isEmpty() ? QFileInfo(store_->root()).fileName() : store_->openedAs();
}

bool Browser::open(const QString& root) {
  QString why;
  auto opened = store::OpenStore(root, &why);
  if (!opened) {
    port_.message(why, Buttons::Ok, Icon::Critical);
    return false;
  }
  store_ = std::move(opened);
  folder_.reset();
  items_.clear();
  rows_.clear();
  util::WriteIni(kSection, QStringLiteral("Store"), store_->openedAs(), util::UserConfigFile());
  return true;
}

std::vector<Browser::FolderRow> Browser::folders() const {
  std::vector<FolderRow> out;
  if (store_) AddFolders(out, store_->Folders(), 0);
  return out;
}

bool Browser::choose(const QString& path) {
  if (!store_) return false;
  model::FolderPtr chosen = store_->folderByPath(path);
  const auto onDisk = std::dynamic_pointer_cast<store::StoreFolder>(chosen);
  if (!chosen || (onDisk && !QFileInfo::exists(onDisk->absolutePath()))) {
    port_.message(lang::text(Msg::GuiFolderGone).arg(path), Buttons::Ok, Icon::Warning);
    return false;
  }
  folder_ = chosen;
  const model::ItemsPtr listed = folder_->GetItems();
  items_ = listed->all();
  notices_ = listed->notices();
  rows_.clear();
  rows_.reserve(items_.size());
  for (const model::ItemPtr& item : items_) {
    const QDateTime when = When(*item);
    ItemRow row;
    row.title = Title(*item);
    if (when.isValid()) {
      row.when = util::Format(when, QStringLiteral("Short Date")) + QLatin1Char(' ') +
                 util::Format(when, QStringLiteral("Short Time"));
      row.whenKey = when.toString(QStringLiteral("yyyyMMddhhmmss"));
    }
    row.categories = item->text(QStringLiteral("Categories"));
    rows_.push_back(std::move(row));
  }
  return true;
}

Browser::Chosen Browser::choice(const std::vector<int>& rows) const {
  std::vector<model::ItemPtr> chosen;
  for (int row : rows)
    if (row >= 0 && row < int(items_.size())) chosen.push_back(items_[size_t(row)]);
  return {model::Selection(std::move(chosen)), folder_, store_};
}

std::optional<Browser::Chosen> Browser::takeFiles(const QStringList& files) {
  auto opened = std::make_shared<store::OpenedFiles>(store::OpenFiles(files));
  for (const QString& file : opened->refused) {
    const QString suffix = QFileInfo(file).suffix().toLower();
    const bool known = suffix == QLatin1String("ics") || suffix == QLatin1String("vcf") ||
                       suffix == QLatin1String("eml");
    port_.message(lang::text(known ? Msg::ErrConvertNoFile : Msg::GuiFileKind).arg(file), Buttons::Ok, Icon::Warning);
  }
  if (opened->items.empty()) return std::nullopt;
  opened_.push_back(opened);
  return Chosen{model::Selection(opened->items), opened->folder, opened->store};
}

}  // namespace ordolo::ui
