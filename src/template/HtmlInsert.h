// Bringing a mail's HTML body into a Word target: its inline pictures saved
// and linked by file URL, everything that would reach outside the message
// removed, then the file inserted at a placeholder through the document's
// HTML importer (LibreOffice).
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include "template/Target.h"

namespace ordolo::model {
class Item;
}

namespace ordolo::tpl {

// Makes an HTML text safe to hand to an importer that would otherwise load
// what it names: scripts, frames, objects, forms' inputs, style sheets from
// elsewhere, base and refresh elements go; pictures stay only when they are
// inline data or one of `allowedFiles` (file URLs); another picture leaves
// its alt text. CSS url(...) references and @import are removed. Links (<a
// href>) stay: they are printed, never followed. Declared character sets
// are dropped and UTF-8 declared, as the text is written in UTF-8.
QString SanitizeHtml(const QString& html, const QStringList& allowedFiles);

// Saves the item's inline pictures named by ' src="cid:<id>"' below the data
// folder's "AttachmentsOrdolo/" ("yyyyMMdd-hhnn_" + the attachment's name)
// and points those references at the saved files. The file URLs made are
// added to *linked.
QString LinkInlinePictures(const QString& html, const model::Item& item, const QDateTime& referenceDate,
                           QStringList* linked);

// The text InsertHtmlAtPlaceholder writes for an item's HTML: inline
// pictures linked, wrapped in a body when it has none, made safe. The same
// item gives the same text again (its pictures are saved once).
QString PrepareHtml(const QString& html, const model::Item& item, const QDateTime& referenceDate);

// Inserts HTML at the first occurrence of placeholder in the current part of
// the target: inline pictures linked, the text made safe, written as
// fileName in the temporary folder, inserted, the file deleted. False when
// the target takes no files, the file cannot be written, the placeholder is
// not there, or the insertion fails; the document is then unchanged.
bool InsertHtmlAtPlaceholder(Target& target, const QString& html, const QString& fileName, const QString& placeholder,
                             const model::Item& item, const QDateTime& referenceDate);

}  // namespace ordolo::tpl
