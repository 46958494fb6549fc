// Fills the template with one mail (or report, post, ...): sender and
// recipients, the day heading that groups the mails of a day, dates and
// times, the internet header and its single lines, status, size, categories,
// attachments and the body (HTML with its pictures where the template asks
// for "#HTMLBody" in Word, else the text).
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include "renderers/Dispatch.h"

namespace ordolo::renderers {

void RenderMail(RenderContext& ctx);

// The remote state as a letter: "C" (3), "X" (4), "D" (2), else nothing.
QString RemoteStatusLetter(qint64 status);

// The date that names a mail's saved attachments and inline pictures: its
// creation time, else its received time, else now.
QDateTime MailReferenceDate(const model::Item& item);
// Whether the mail's HTML body goes into the target at "#HTMLBody".
bool MailWantsHtml(const tpl::Target& out, const model::Item& item);

// The header names whose first line fills "#H" + the name without "-"
// ("#HMIMEVersion", "#HXMSMailPriority"), in the order they are filled.
const QStringList& MailHeaderNames();

// The value of the first line of a header block named `name` (case
// ignored), its continuation lines joined and encoded words decoded; empty
// when there is none.
QString MailHeaderValue(const QString& headers, const QString& name);

}  // namespace ordolo::renderers
