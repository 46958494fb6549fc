// Selection intake: what the user chose becomes the item list of a print
// run, one kind of item, one row per item with the kind's columns. The
// kind comes from the first item's class; items of another class are
// dropped, except that a mail-like first item lists everything as mail.
#pragma once

#include <QString>
#include <QStringList>

#include <vector>

#include "model/Model.h"

namespace ordolo::attachments {
class AttachmentQueue;
}
namespace ordolo::ui {
class Port;
}

namespace ordolo::session {

// A column of the item list. A hidden column holds the sortable text of a
// visible one (a 14-digit date, a zero-padded number).
struct Column {
  QString header;
  int sortBy = -1;  // the column whose text sorts this one; -1: its own
  bool hidden = false;
};

struct ListRow {
  QString key;           // row number and the kind's letter: "3M"
  QString text;          // the row number
  QStringList subItems;  // sub-item 1 is subItems[0]
  bool selected = true;
};

// The row letter of a kind: "A", "C", "L", "N", "J", "T" or "M".
QString RowLetter(int kind);

// The columns of a kind's list (column 0 is the row number), headers from
// the language table.
std::vector<Column> Columns(int kind);

class Start {
 public:
  explicit Start(ui::Port& port) : port_(port) {}

  // Takes the chosen items (the inspector's one item, or the explorer's
  // selection) of the current folder. Tells the user "Nothing selected" when
  // nothing is chosen. True when the item list should be shown (it may be
  // empty: every item was skipped); false when nothing was chosen or a row
  // builder cancelled.
  bool StartPrint(const model::Selection& selection, const model::FolderPtr& folder, const QString& user);

  // Lists one item if it fits the run's kind; warns about an unsaved item.
  void AddItem(int& kind, model::ItemPtr item, bool warnUnsaved);
  // What the user is told about the items left out since the last Reset
  // because they could not be read (a mail moved away since it was listed).
  const QStringList& skipped() const { return skipped_; }
  // An empty list for items of `itemClass` (a find fills it by AddItem).
  void Reset(int itemClass, const model::FolderPtr& folder, const QString& user);

  int kind() const { return kind_; }
  const std::vector<model::ItemPtr>& items() const { return items_; }
  const std::vector<ListRow>& rows() const { return rows_; }
  std::vector<ListRow>& rows() { return rows_; }
  // Folder name, " (", the user, ")": the dialog's folder caption.
  const QString& caption() const { return caption_; }
  // The attachment queue of the print runs; an intake forgets what an
  // earlier selection left in it.
  void setAttachmentQueue(attachments::AttachmentQueue* queue) { attachments_ = queue; }
  // Print and show are offered only with at least one listed item.
  bool canPrint() const { return !items_.empty(); }

  // Sorts items and rows by a column (its sortable text), stably.
  void sortBy(int column, bool descending = false);
  // Takes a row and its item out of the list.
  void removeRow(int index);

 private:
  void addRow(const model::ItemPtr& item, QStringList subItems);
  void appointmentRow(model::ItemPtr& item);
  void contactRow(const model::ItemPtr& item);
  void distListRow(const model::ItemPtr& item);
  void noteRow(const model::ItemPtr& item);
  void journalRow(const model::ItemPtr& item);
  void taskRow(const model::ItemPtr& item);
  void mailRow(const model::ItemPtr& item);

  ui::Port& port_;
  int kind_ = 0;
  std::vector<model::ItemPtr> items_;
  QStringList skipped_;
  std::vector<ListRow> rows_;
  QString caption_;
  QString folderName_;
  attachments::AttachmentQueue* attachments_ = nullptr;
};

}  // namespace ordolo::session
