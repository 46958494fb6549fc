// The template folder and which of its files belong to which kind of item.
// A template's file name begins with the kind's letter (A appointments,
// C contacts, D distribution lists, J journal, M mails, N notes, T tasks);
// ".xl" in its last five characters makes it an Excel template.
#pragma once

#include <QString>
#include <QStringList>

namespace ordolo::session {

// The template folder: "Template" of section "Register" in path.ini when
// set, else the data folder. Ends with '/'.
QString TemplateFolder();

// The letter of an item class (26 -> "A", 69 -> "D", anything else "M").
QString KindLetter(int itemClass);

// The extension test of the template list: the last four characters, in
// any case, occur in ".xls/.xlt/.dot/dotx/xltx/xlsx".
bool PassesExtensionTest(const QString& fileName);
// ".xl" in the last five characters of the name.
bool IsExcelTemplate(const QString& fileName);

// The templates of a kind in a folder, in the folder's (name) order.
QStringList ListTemplates(const QString& kindLetter, const QString& folder = TemplateFolder());

// The template last chosen for a kind ("Option" / letter + "Template" in the
// user's options), or empty.
QString StoredTemplate(const QString& kindLetter);
bool StoreTemplateChoice(const QString& kindLetter, const QString& fileName);

// The template a run uses when none is named: the stored choice when it is
// still listed, else the first listed one (which is then stored), else empty.
QString ChooseTemplate(const QString& kindLetter, const QString& folder = TemplateFolder());

// What changing the template folder did.
struct FolderChange {
  bool changed = false;  // path.ini now names the new folder
  int moved = 0;         // files moved from the old folder
  QStringList failed;    // files that stayed behind (a move that failed)
  QString error;         // why path.ini could not be written
};

// Makes `newFolder` the template folder (path.ini, "Register"/"Template").
// The same folder as now changes nothing. The old folder's files move
// along unless the new one holds templates already; ".ini", ".key" and
// ".all" files never move.
FolderChange ChangeTemplateFolder(const QString& newFolder);

}  // namespace ordolo::session
