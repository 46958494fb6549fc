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
  static const QStringList kTypes = QStringLiteral(
      "Task Response/Meeting Response/Task/Task Request/Meeting/Meeting Cancellation/Meeting Request/Letter/"
      "Document/E-mail Message/Fax/Microsoft Access/Microsoft Excel/Microsoft PowerPoint/Microsoft Binder/"
      "Microsoft Word/Note/Remote Session/Phone Call/Conversation").split(QLatin1Char('/'));
  const QString type = item.text(QStringLiteral("Type"));
  const int i = kTypes.indexOf(type);
  return i < 0 ? type : lang::GetLangText(QStringLiteral("Text") + QString::number(i + 1));
}

void RenderJournal(RenderContext& ctx) {
  tpl::RunState& st = ctx.st;
  const model::Item& item = *ctx.item;

  Put(st, QStringLiteral("#<TypeText>"), tpl::LiteralText(st, JournalTypeText(item)));
  Put(st, QStringLiteral("#<Type>"), tpl::LiteralText(st, item.text(QStringLiteral("Type"))));
  PutTimedForms(st, QStringLiteral("Start"), item.date(QStringLiteral("Start")));
  PutTimedForms(st, QStringLiteral("End"), item.date(QStringLiteral("End")));
  const qint64 duration = item.number(QStringLiteral("Duration"));
  const QString text = tpl::DurationText(int(duration));
  Put(st, QStringLiteral("#DurationText"), text, false);
  Put(st, QStringLiteral("#<Duration>"), text);
  Put(st, QStringLiteral("#DurationMin"), QString::number(duration), false);

  tpl::FillLinkedContacts(st, item);
  Put(st, QStringLiteral("#Importance"), tpl::FillImportance(st, item, QString()), false);
  tpl::FillSensitivity(st, item, QString());
  Put(st, QStringLiteral("#<Categories>"), tpl::LiteralText(st, item.text(QStringLiteral("Categories"))));
  tpl::FillRecipients(st, item);
  tpl::FillAttachments(st, item, QString(), item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(st, item);
  tpl::FillBody(st, item, QString());
}

}  // namespace ordolo::renderers
