#include "renderers/Journal.h"

#include "lang/LanguageTable.h"
#include "model/Model.h"
#include "renderers/Appointment.h"
#include "template/AttachmentsAndBody.h"
#include "template/Eigenschaften.h"
#include "template/ReplacePlaceholder.h"

namespace ordolo::renderers {

using tpl::Put;

QString JournalTypeText(const model::Item& item) {
  // The types as the store names them, in the order of the language keys.
  static const QStringList kTypes =
      QStringLiteral(
          "Task Response/Meeting Response/Task/Task Request/Meeting/Meeting Cancellation/Meeting Request/Letter/"
          "Document/E-mail Message/Fax/Microsoft Access/Microsoft Excel/Microsoft PowerPoint/Microsoft Binder/"
          "Microsoft Word/Note/Remote Session/Phone Call/Conversation")
          .split(QLatin1Char('/'));
  const QString type = item.text(QStringLiteral("Type"));
  const int i = kTypes.indexOf(type);
  return i < 0 ? type : lang::GetLangText(QStringLiteral("Text") + QString::number(i + 1));
}

void RenderJournal(RenderContext& ctx) {
  tpl::Target& out = ctx.target;
  const model::Item& item = *ctx.item;

  Put(out, QStringLiteral("#<TypeText>"), tpl::LiteralText(out, JournalTypeText(item)));
  Put(out, QStringLiteral("#<Type>"), tpl::LiteralText(out, item.text(QStringLiteral("Type"))));
  PutTimedForms(out, QStringLiteral("Start"), item.date(QStringLiteral("Start")));
  PutTimedForms(out, QStringLiteral("End"), item.date(QStringLiteral("End")));
  const qint64 duration = item.number(QStringLiteral("Duration"));
  const QString text = tpl::DurationText(int(duration));
  Put(out, QStringLiteral("#DurationText"), text, false);
  Put(out, QStringLiteral("#<Duration>"), text);
  Put(out, QStringLiteral("#DurationMin"), QString::number(duration), false);

  tpl::FillLinkedContacts(out, item);
  Put(out, QStringLiteral("#Importance"), tpl::FillImportance(out, item, QString()), false);
  tpl::FillSensitivity(out, item, QString());
  Put(out, QStringLiteral("#<Categories>"), tpl::LiteralText(out, item.text(QStringLiteral("Categories"))));
  tpl::FillRecipients(out, item);
  tpl::FillAttachments(out, ctx.attachments, item, QString(), item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(out, item);
  tpl::FillBody(out, item, QString());
}

}  // namespace ordolo::renderers
