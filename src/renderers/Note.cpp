#include "renderers/Note.h"

#include "lang/LanguageTable.h"
#include "model/Model.h"
#include "template/AttachmentsAndBody.h"
#include "template/Eigenschaften.h"
#include "template/ReplacePlaceholder.h"
#include "util/Funktionen.h"

namespace ordolo::renderers {

using tpl::Put;

void RenderNote(RenderContext& ctx) {
  tpl::Target& out = ctx.target;
  const model::Item& item = *ctx.item;

  // The colours' text starts with a caption; its colours run blue, green,
  // pink, white, yellow, and the note's numbers blue, green, pink, yellow,
  // white. Colours beyond these leave the placeholder.
  static const int kPart[] = {2, 3, 4, 6, 5};
  const qint64 color = item.number(QStringLiteral("Color"));
  if (color >= 0 && color < 5)
    Put(out, QStringLiteral("#<Color>"),
        util::GetField(lang::GetLangText(QStringLiteral("S40")), QStringLiteral("/"), kPart[color]));

  tpl::FillLinkedContacts(out, item);
  Put(out, QStringLiteral("#<Categories>"), tpl::LiteralText(out, item.text(QStringLiteral("Categories"))));
  Put(out, QStringLiteral("#Importance"), tpl::FillImportance(out, item, QString()), false);
  tpl::FillAttachments(out, ctx.attachments, item, QString(), item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(out, item);
  tpl::FillBody(out, item, QString());
}

}  // namespace ordolo::renderers
