#include "renderers/Mail.h"

#include <KMime/Headers>

#include "lang/LanguageTable.h"
#include "model/Model.h"
#include "template/AttachmentsAndBody.h"
#include "template/Eigenschaften.h"
#include "template/HtmlInsert.h"
#include "template/ReplacePlaceholder.h"
#include "util/Funktionen.h"
#include "util/VbFormat.h"

namespace ordolo::renderers {

using tpl::Put;

namespace {

// A date the store really has (drafts have no received time: "none" is
// 4501-01-01 or no value at all).
bool IsRealDate(const QVariant& v) {
  const int t = v.userType();
  if (t != QMetaType::QDateTime && t != QMetaType::QDate) return false;
  const QDateTime d = t == QMetaType::QDate ? QDateTime(v.toDate(), QTime(0, 0)) : v.toDateTime();
  return d.isValid() && d.date().year() < 4500;
}

QDateTime AsDate(const QVariant& v) {
  return v.userType() == QMetaType::QDate ? QDateTime(v.toDate(), QTime(0, 0)) : v.toDateTime();
}

QString Day(const QDateTime& d) { return util::Format(d, QStringLiteral("yyyyMMdd")); }

QString Decoded(const QString& raw) {
  if (!raw.contains(QLatin1String("=?"))) return raw;
  KMime::Headers::Generic header("X-Ordolo-Value");
  header.from7BitString(raw.toUtf8());
  return header.asUnicodeString();
}

}  // namespace

const QStringList& MailHeaderNames() {
  static const QStringList kNames = {"Received",   "Bcc",         "Cc",           "From",         "To",
                                     "Subject",    "Date",        "MIME-Version", "Content-Type", "Thread-Index",
                                     "Reply-To",   "In-Reply-To", "Sender",       "Return-Path",  "X-MSMail-Priority",
                                     "Message-ID", "X-Priority",  "X-Flags",      "Delivered-To", "References"};
  return kNames;
}

QString MailHeaderValue(const QString& headers, const QString& name) {
  // Lines as the header block has them, a folded header as one line.
  QString text = headers;
  text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
  text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
  const QStringList lines = text.split(QLatin1Char('\n'));
  const QString wanted = name + QLatin1Char(':');
  for (int i = 0; i < lines.size(); ++i) {
    if (!lines[i].startsWith(wanted, Qt::CaseInsensitive)) continue;
    QString value = lines[i].mid(wanted.size()).trimmed();
    for (int j = i + 1; j < lines.size() && !lines[j].isEmpty() &&
                        (lines[j][0] == QLatin1Char(' ') || lines[j][0] == QLatin1Char('\t'));
         ++j)
      value += QLatin1Char(' ') + lines[j].trimmed();
    return Decoded(value);
  }
  return {};
}

QString RemoteStatusLetter(qint64 status) {
  switch (status) {
    case 3: return QStringLiteral("C");
    case 4: return QStringLiteral("X");
    case 2: return QStringLiteral("D");
    default: return {};
  }
}

QDateTime MailReferenceDate(const model::Item& item) {
  const QVariant created = item.get(QStringLiteral("CreationTime"));
  if (IsRealDate(created)) return AsDate(created);
  const QVariant received = item.get(QStringLiteral("ReceivedTime"));
  if (IsRealDate(received)) return AsDate(received);
  // Saved files of one item keep one name for the minute.
  const QDateTime now = QDateTime::currentDateTime();
  return QDateTime(now.date(), QTime(now.time().hour(), now.time().minute()));
}

bool MailWantsHtml(const tpl::Target& out, const model::Item& item) {
  return out.takesFiles() && out.text().contains(QLatin1String("#HTMLBody")) &&
         item.number(QStringLiteral("BodyFormat")) == 2;
}

void RenderMail(RenderContext& ctx) {
  const tpl::RunState& run = ctx.run;
  tpl::Target& out = ctx.target;
  const model::Item& item = *ctx.item;

  const QVariant receivedValue = item.get(QStringLiteral("ReceivedTime"));
  const bool received = IsRealDate(receivedValue);
  const QDateTime created = item.date(QStringLiteral("CreationTime"));
  const QDateTime d = received ? AsDate(receivedValue) : created;
  const bool sameDay = Day(d) == Day(run.LastStartDate);

  // Breaks between items: none inside a day (of one group), none before the
  // first item; otherwise a paragraph, or a page for "#PAGEBREAK".
  if (sameDay && (run.GroupKey == run.PrevGroupKey || !run.Grouped)) {
    Put(out, QStringLiteral("#CRLF"), QString());
    Put(out, QStringLiteral("#PAGEBREAK"), QString());
  } else {
    const bool later = run.ItemCounter >= 3;
    Put(out, QStringLiteral("#CRLF"), later ? out.paragraphMark() : QString());
    Put(out, QStringLiteral("#PAGEBREAK"), later ? out.pageBreak() : QString());
  }

  QString importance = tpl::FillImportance(out, item, QString());
  const QVariant submitted = item.get(QStringLiteral("Submitted"));
  if (submitted.isValid() && !submitted.toBool() && importance.isEmpty()) importance = QStringLiteral("?");
  Put(out, QStringLiteral("#Importance"), importance, false);

  const QString senderName = item.text(QStringLiteral("SenderName"));
  const QString senderAddress = item.text(QStringLiteral("SenderEmailAddress"));
  const QString senderFull = senderName == senderAddress || senderAddress.isEmpty()
                                 ? senderName
                                 : senderName + QStringLiteral(" <") + senderAddress + QLatin1Char('>');
  Put(out, QStringLiteral("#<SenderFull>"), tpl::LiteralText(out, senderFull));
  const QString to = item.text(QStringLiteral("To"));
  Put(out, QStringLiteral("#<To>"), tpl::LiteralText(out, to));

  // The day heading, once per day.
  if (sameDay) {
    Put(out, QStringLiteral("#<TimeDateLong>"), QString());
    Put(out, QStringLiteral("#<TimeDateDay>"), QString());
    Put(out, QStringLiteral("#TimeDateAmPm"), QString(), false);
    Put(out, QStringLiteral("#<TimeDate>"), QString());
    Put(out, QStringLiteral("#CRLF"), QString());
  } else {
    ctx.report.dayStarted(d);
    const QString shortDate = util::Format(d, QStringLiteral("Short Date"));
    Put(out, QStringLiteral("#<TimeDateLong>"), util::Format(d, QStringLiteral("dddd, d. MMMM yyyy")));
    Put(out, QStringLiteral("#<TimeDateDay>"), util::Format(d, QStringLiteral("ddd")));
    Put(out, QStringLiteral("#TimeDateAmPm"), util::Format(d, QStringLiteral("ddd")) + QLatin1Char(' ') + shortDate,
        false);
    Put(out, QStringLiteral("#<TimeDate>"), shortDate);
    Put(out, QStringLiteral("#CRLF"), run.ItemCounter > 2 ? out.paragraphMark() : QString());
  }

  // The times, always.
  const QString shortTime = util::Format(d, QStringLiteral("Short Time"));
  const QString shortDate = util::Format(d, QStringLiteral("Short Date"));
  const QString dayName = util::Format(d, QStringLiteral("ddd"));
  Put(out, QStringLiteral("#<TimeTimeLong>"), shortTime);
  Put(out, QStringLiteral("#TimeTimeAmPm"), util::AmPmTime(d), false);
  Put(out, QStringLiteral("#<TimeTime>"), shortTime);
  Put(out, QStringLiteral("#<TimeLong>"),
      util::Format(d, QStringLiteral("dddd, d. MMMM yyyy")) + QLatin1Char(' ') + shortTime);
  Put(out, QStringLiteral("#<TimeDay>"), dayName);
  Put(out, QStringLiteral("#TimeAmPm"), dayName + QLatin1Char(' ') + shortDate + QLatin1Char(' ') + util::AmPmTime(d),
      false);
  Put(out, QStringLiteral("#<Time>"), shortDate + QLatin1Char(' ') + shortTime);

  // From or To: who the mail came from, or for one not received (a draft,
  // a sent mail) whom it goes to. A report names neither: the client's
  // report items have no sender and no recipients.
  const QString labels = lang::GetLangText(QStringLiteral("S39"));
  QString name;
  QString label = util::Field1(labels);
  if (item.Class() == model::olReport) {
    name = QStringLiteral("-");
  } else if (!received && !to.isEmpty()) {
    name = to;
    label = util::Field2(labels);
  } else {
    name = senderName;
    if (name.isEmpty()) {
      const model::RecipientList recipients = item.Recipients();
      if (!recipients.empty()) name = recipients.front().Name;
    }
  }
  Put(out, QStringLiteral("#TextFromTo"), label, false, false);
  Put(out, QStringLiteral("#<FromTo>"), tpl::LiteralText(out, name));

  // The internet header: the whole block, then its single lines.
  const QString headers = item.text(QStringLiteral("TransportMessageHeaders"));
  if (!headers.isEmpty() && out.text().contains(QLatin1String("#H"))) {
    if (out.text().contains(QLatin1String("#Header")))
      Put(out, QStringLiteral("#Header"), tpl::TextWithLineBreaks(out, headers.trimmed()), false);
    for (const QString& header : MailHeaderNames()) {
      QString placeholder = QStringLiteral("#H") + header;
      placeholder.remove(QLatin1Char('-'));
      if (!out.text().contains(placeholder)) continue;
      Put(out, placeholder, tpl::LiteralText(out, MailHeaderValue(headers, header)), false);
    }
  }

  Put(out, QStringLiteral("#<RemoteStatus>"), RemoteStatusLetter(item.number(QStringLiteral("RemoteStatus"))));
  const QVariant size = item.get(QStringLiteral("Size"));
  if (size.isValid()) Put(out, QStringLiteral("#<Size>"), size.toString());

  tpl::FillSensitivity(out, item, QString());

  const QDateTime reference = MailReferenceDate(item);
  tpl::FillAttachments(out, ctx.attachments, item, QString(), reference);
  tpl::FillRecipients(out, item);
  Put(out, QStringLiteral("#<Categories>"), tpl::LiteralText(out, item.text(QStringLiteral("Categories"))));

  // The body: HTML where the Word template asks for it and the mail has
  // one, else (or when that fails) the text.
  bool htmlDone = false;
  if (MailWantsHtml(out, item))
    htmlDone = tpl::InsertHtmlAtPlaceholder(out, item.text(QStringLiteral("HTMLBody")), QStringLiteral("body.html"),
                                            QStringLiteral("#HTMLBody"), item, reference);
  if (!htmlDone) tpl::FillBody(out, item, QString());

  tpl::FillCommonPlaceholders(out, item);
}

}  // namespace ordolo::renderers
