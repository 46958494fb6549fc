// The attachment and body placeholders every kind of item can use, and the
// saving of attachment files for printing and for a mail's inline pictures.
//
//   #<Attachments>      the attachment names, joined by "; "
//   #<AttachmentCount>  how many there are
//   #<AttachmentList>   one attachment per line: name and size
//   #<Body>, #Body      the text body, its lines kept inside the paragraph;
//                       "#HTMLBody" still left gets it too
//
// A distribution list's own values carry the prefix "DL" (#<DLAttachments>,
// #DLBody, ...). A mail's inline pictures (parts its HTML body names by
// "cid:") are part of the body, not attachments.
#pragma once

#include <QDateTime>
#include <QString>

#include "template/RunState.h"
#include "template/Target.h"

#include <QStringList>

namespace ordolo::model {
class Attachment;
class Item;
}  // namespace ordolo::model
namespace ordolo::attachments {
class AttachmentQueue;
}

namespace ordolo::tpl {

// Where a print run's attachments go: the queue, and the items whose
// attachments are in it already (a label template fills one item several
// times, a distribution list fills its members' contacts).
struct AttachmentPrinting {
  attachments::AttachmentQueue* queue = nullptr;
  QStringList queuedFor;  // entry ids
};

// Fills the attachment placeholders; with `printing`, also saves every
// attachment whose name is not suppressed to the temporary folder and queues
// it for printing, once per item and run. The saved files are named after
// referenceDate ("yyyyMMdd-hhnn_" + the attachment's name).
void FillAttachments(Target& target, AttachmentPrinting* printing, const model::Item& item, const QString& prefix,
                     const QDateTime& referenceDate);

// Fills the body placeholders with the item's text body.
void FillBody(Target& target, const model::Item& item, const QString& prefix);

// An attachment's name made safe as a file name: no folders ("../../x"
// gives "x"), no control characters, not empty, not hidden, not too long.
QString SafeAttachmentName(const QString& name);

// Saves an attachment into folder as "yyyyMMdd-hhnn_" + its safe name; a
// name another file has taken gets " (2)", " (3)", ... before its extension,
// a file with the same bytes there already is used as it is. The
// saved file's path, or empty when it could not be written (the reason in
// the debug log).
QString SaveAttachment(const model::Attachment& attachment, const QString& folder, const QDateTime& referenceDate);

// The HTML body's inline pictures, by their content id: the attachments with
// a content id that the HTML names as "cid:<id>".
bool IsInlinePicture(const model::Attachment& attachment, const QString& html);

}  // namespace ordolo::tpl
