#include "renderers/Contacts.h"

#include <QFile>

#include "model/Model.h"
#include "template/AttachmentsAndBody.h"
#include "template/Eigenschaften.h"
#include "template/ReplacePlaceholder.h"
#include "util/DebugLog.h"
#include "util/Folders.h"

namespace ordolo::renderers {

using tpl::Put;

namespace {

const QString kPicture = QStringLiteral("#ContactPicture");
const QString kPictureName = QStringLiteral("ContactPicture.jpg");

void Debug(const QString& line) {
  if (util::DebugLog::isOn()) util::DebugLog::write(QStringLiteral("contact: ") + line);
}

// The contact picture at "#ContactPicture", or where the target keeps a
// place for one, a blank when the contact has none.
void FillPicture(tpl::Target& out, const model::Item& item) {
  QString saved;
  for (const model::Attachment& a : item.Attachments()) {
    if (a.FileName() != kPictureName) continue;
    const QString path = util::TempFolder() + kPictureName;
    QString error;
    if (a.SaveAsFile(path, &error)) saved = path;
    else Debug(QStringLiteral("contact picture: ") + error);
    break;
  }
  QString error;
  out.putPicture(kPicture, saved, kContactPictureWidth, kContactPictureHeight, &error);
  if (!error.isEmpty()) Debug(QStringLiteral("contact picture: ") + error);
  if (!saved.isEmpty()) QFile::remove(saved);
}

}  // namespace

void RenderContact(RenderContext& ctx) {
  tpl::Target& out = ctx.target;
  const model::Item& item = *ctx.item;
  if (out.text().contains(kPicture)) FillPicture(out, item);

  auto text = [&](const char* name) { return tpl::LiteralText(out, item.text(QString::fromLatin1(name))); };
  Put(out, QStringLiteral("#<MailingAddressCountry>"), text("MailingAddressCountry"));
  Put(out, QStringLiteral("#<MailingAddress>"),
      tpl::TextWithLineBreaks(out, item.text(QStringLiteral("MailingAddress"))));
  for (const char* name : {"HomeTelephoneNumber", "PrimaryTelephoneNumber", "BusinessTelephoneNumber",
                           "MobileTelephoneNumber", "Email1Address", "WebPage"})
    Put(out, QStringLiteral("#<%1>").arg(QLatin1String(name)), text(name));
  tpl::FormatPropertyValue(out, item.get(QStringLiteral("Birthday")), QStringLiteral("Birthday"), true);
  Put(out, QStringLiteral("#<Profession>"), text("Profession"));
  // Written with a blank before ">", as the placeholder has always been.
  Put(out, QStringLiteral("#<LastName >"), text("LastName"));
  for (const char* name : {"FirstName", "FullName", "Title"})
    Put(out, QStringLiteral("#<%1>").arg(QLatin1String(name)), text(name));

  Put(out, QStringLiteral("#Importance"), tpl::FillImportance(out, item, QString()), false);
  tpl::FillSensitivity(out, item, QString());
  tpl::FillAttachments(out, ctx.attachments, item, QString(), item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(out, item);
  tpl::FillBody(out, item, QString());
}

void RenderDistList(RenderContext& ctx) {
  const tpl::RunState& run = ctx.run;
  tpl::Target& out = ctx.target;
  const model::Item& list = *ctx.item;
  const QString dl = QStringLiteral("DL");
  Put(out, QStringLiteral("#<DLName>"), tpl::LiteralText(out, list.text(QStringLiteral("DLName"))));
  Put(out, QStringLiteral("#<DLMemberCount>"), QString::number(list.MemberCount()));
  Put(out, QStringLiteral("#<DLCategories>"), tpl::LiteralText(out, list.text(QStringLiteral("Categories"))));
  Put(out, QStringLiteral("#<DLImportance>"), tpl::FillImportance(out, list, dl));
  tpl::FillSensitivity(out, list, dl);
  tpl::FillAttachments(out, ctx.attachments, list, dl, list.date(QStringLiteral("CreationTime")));
  tpl::FillBody(out, list, dl);

  // Member rows: report and label templates only.
  if (run.ItemCounter != 0) return;
  tpl::RunState members = run;
  out.fillMemberRows(list.MemberCount(), [&](int i) {
    // Member rows count as items of their own while they are filled.
    ++members.ItemCounter;
    const std::optional<model::Recipient> member = list.GetMember(i);
    if (!member) return;
    model::ItemPtr contact;
    if (ctx.session && !member->EntryID.isEmpty()) contact = ctx.session->GetItemFromID(member->EntryID);
    if (contact && contact->Class() == model::olContact) {
      RenderContext memberCtx{members, out, contact, ctx.report, ctx.session, ctx.attachments};
      RenderContact(memberCtx);
    } else {
      Put(out, QStringLiteral("#<FullName>"), tpl::LiteralText(out, member->Name));
      Put(out, QStringLiteral("#<Email1Address>"), tpl::LiteralText(out, member->Address));
    }
  });
}

}  // namespace ordolo::renderers
