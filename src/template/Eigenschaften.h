// The placeholders every kind of item shares: subject, creation and change
// times, importance, sensitivity, any property named in the template
// ("#<AnyProperty>", user-defined fields included), the linked contacts, a
// mail's eight recipient lists, the duration text, and the run header.
// Everything goes through ReplacePlaceholder into the run's target.
#pragma once

#include "template/RunState.h"
#include "template/Target.h"

#include <QString>
#include <QVariant>

namespace ordolo::model {
class Item;
}

namespace ordolo::tpl {

// Subject, "#CreationTime", "#LastModificationTime", then every property of
// the item (and, for an occurrence, of its series) whose name follows a "#"
// in the target. Renderers call it last.
void FillCommonPlaceholders(Target& target, const model::Item& item);

// Replaces "#<" + name + ">" by a property value: dates after 3000 as
// nothing, midnight (or dateOnly) as the short date, else short date and time.
void FormatPropertyValue(Target& target, const QVariant& value, const QString& name, bool dateOnly);

// "#" + prefix + "Sensitivity" from the fields of S31 (prefix "" or "DL").
void FillSensitivity(Target& target, const model::Item& item, const QString& prefix);

// "#<" + prefix + "I>": "" normal, "!" high, "-" low; returns that text.
QString FillImportance(Target& target, const model::Item& item, const QString& prefix);

// "90 minutes" as "1.5 hours" and so on, with the units of S38 and the
// locale's decimal separator.
QString DurationText(int minutes);

// "#ContactWithEmails", "#ContactNames", "#Contacts" from the item's links.
void FillLinkedContacts(Target& target, const model::Item& item);

// The eight recipient lists: "#<HRecipientsTo>" .. "#<Recipients>".
void FillRecipients(Target& target, const model::Item& item);

// A stored text as a replacement value: in Word a "^" starts a code, so the
// item's own carets are doubled.
QString LiteralText(const Target& target, QString text);
// The same with every line end (CR LF, CR, LF) as a manual line break, so
// that a text of several lines stays inside the placeholder's paragraph.
QString TextWithLineBreaks(const Target& target, QString text);

// The run header: "#<User>", "#<Caption>", "#<Folder>", "#<SelStart>",
// "#<SelEnd>".
void FillRunHeader(Target& target, const RunHeader& header);

}  // namespace ordolo::tpl
