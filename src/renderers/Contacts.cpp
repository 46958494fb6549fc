#include "renderers/Contacts.h"

#include <QFile>

#include "model/Model.h"
#include "office/word/Document.h"
#include "template/AttachmentsAndBody.h"
#include "template/Eigenschaften.h"
#include "template/ExcelOutput.h"
#include "template/ReplacePlaceholder.h"
#include "util/DebugLog.h"
#include "util/Folders.h"

namespace ordolo::renderers {

namespace word = office::word;
using tpl::Put;

namespace {

const QString kPicture = QStringLiteral("#ContactPicture");
const QString kPictureName = QStringLiteral("ContactPicture.jpg");

void Debug(const QString& line) {
  if (util::DebugLog::isOn()) util::DebugLog::write(QStringLiteral("contact: ") + line);
}

// Where the current item's part of the document starts: its block, its
// table row, or the whole main story.
int PartStart(const tpl::RunState& st) {
  if (st.TableMode && st.TableSearchFrom >= 0) return st.TableSearchFrom;
  if (st.TableMode) {
    if (auto row = st.word->rowRange(st.TableIndex, st.BlockStart)) return row->start;
    return 0;
  }
  return st.BlockMode ? st.BlockStart : 0;
}

// The contact picture at "#ContactPicture", or one blank when the contact
// has none.
void FillPicture(tpl::RunState& st, const model::Item& item) {
  QString saved;
  for (const model::Attachment& a : item.Attachments()) {
    if (a.FileName() != kPictureName) continue;
    const QString path = util::TempFolder() + kPictureName;
    QString error;
    if (a.SaveAsFile(path, &error))
      saved = path;
    else
      Debug(QStringLiteral("contact picture: ") + error);
    break;
  }
  if (!st.UseWord || !st.word) {
    QString error;
    if (st.excelOutput &&
        !st.excelOutput->PutPicture(st, kPicture, saved, kContactPictureWidth, kContactPictureHeight, &error) &&
        !error.isEmpty())
      Debug(error);
    if (!saved.isEmpty()) QFile::remove(saved);
    return;
  }
  word::Document& doc = *st.word;
  const word::Range all = doc.content();
  word::Range at{all.story, std::clamp(PartStart(st), 0, all.end), std::clamp(PartStart(st), 0, all.end)};
  word::FindOptions find;
  find.text = kPicture;
  find.wrap = word::Wrap::Continue;
  const word::FindResult found = doc.execute(at, find, word::ReplaceMode::None);
  if (found.ok && found.found > 0 && doc.text(at) == kPicture) {
    QString error;
    if (saved.isEmpty() || !doc.addPicture(saved, at, kContactPictureWidth, kContactPictureHeight, &error)) {
      if (!error.isEmpty()) Debug(QStringLiteral("contact picture: ") + error);
      doc.selection() = at;
      doc.typeText(QStringLiteral(" "));
    }
  }
  if (!saved.isEmpty()) QFile::remove(saved);
}

// The run's table that holds the current block's member rows: the first
// table that starts at or after the block (the whole document: table 1).
int MemberTable(const tpl::RunState& st) {
  word::Document& doc = *st.word;
  const int from = st.BlockMode ? st.BlockStart : 0;
  for (int t = 1; t <= doc.tableCount(); ++t)
    if (auto first = doc.rowRange(t, 1); first && first->start >= from) return t;
  return 0;
}

}  // namespace

void RenderContact(RenderContext& ctx) {
  tpl::RunState& st = ctx.st;
  const model::Item& item = *ctx.item;
  if (st.DocumentText.contains(kPicture)) FillPicture(st, item);

  auto text = [&](const char* name) { return tpl::LiteralText(st, item.text(QString::fromLatin1(name))); };
  Put(st, QStringLiteral("#<MailingAddressCountry>"), text("MailingAddressCountry"));
  Put(st, QStringLiteral("#<MailingAddress>"), tpl::TextWithLineBreaks(st, item.text(QStringLiteral("MailingAddress"))));
  for (const char* name : {"HomeTelephoneNumber", "PrimaryTelephoneNumber", "BusinessTelephoneNumber",
                           "MobileTelephoneNumber", "Email1Address", "WebPage"})
    Put(st, QStringLiteral("#<%1>").arg(QLatin1String(name)), text(name));
  tpl::FormatPropertyValue(st, item.get(QStringLiteral("Birthday")), QStringLiteral("Birthday"), true);
  Put(st, QStringLiteral("#<Profession>"), text("Profession"));
  // Written with a blank before ">", as the placeholder has always been.
  Put(st, QStringLiteral("#<LastName >"), text("LastName"));
  for (const char* name : {"FirstName", "FullName", "Title"})
    Put(st, QStringLiteral("#<%1>").arg(QLatin1String(name)), text(name));

  Put(st, QStringLiteral("#Importance"), tpl::FillImportance(st, item, QString()), false);
  tpl::FillSensitivity(st, item, QString());
  tpl::FillAttachments(st, item, QString(), item.date(QStringLiteral("CreationTime")));
  tpl::FillCommonPlaceholders(st, item);
  tpl::FillBody(st, item, QString());
}

void RenderDistList(RenderContext& ctx) {
  tpl::RunState& st = ctx.st;
  const model::Item& list = *ctx.item;
  const QString dl = QStringLiteral("DL");
  Put(st, QStringLiteral("#<DLName>"), tpl::LiteralText(st, list.text(QStringLiteral("DLName"))));
  Put(st, QStringLiteral("#<DLMemberCount>"), QString::number(list.MemberCount()));
  Put(st, QStringLiteral("#<DLCategories>"), tpl::LiteralText(st, list.text(QStringLiteral("Categories"))));
  Put(st, QStringLiteral("#<DLImportance>"), tpl::FillImportance(st, list, dl));
  tpl::FillSensitivity(st, list, dl);
  tpl::FillAttachments(st, list, dl, list.date(QStringLiteral("CreationTime")));
  tpl::FillBody(st, list, dl);

  // Member rows: report and label templates in Word only.
  if (st.ItemCounter != 0 || !st.UseWord || !st.word) return;
  word::Document& doc = *st.word;
  const int table = MemberTable(st);
  const int rows = table ? doc.rowCount(table) : 0;
  if (rows < 2) return;
  const word::RowBlock block = doc.copyRows(table, 2, rows);
  const int perMember = rows - 1;

  const bool blockMode = st.BlockMode, tableMode = st.TableMode;
  const int blockStart = st.BlockStart;
  st.BlockMode = true;
  st.TableMode = false;
  for (int i = 1; i <= list.MemberCount(); ++i) {
    ++st.ItemCounter;
    if (i > 1) doc.appendRows(table, block);
    const int firstRow = doc.rowCount(table) - perMember + 1;
    const auto first = doc.rowRange(table, firstRow);
    const auto last = doc.rowRange(table, doc.rowCount(table));
    if (!first || !last) break;
    st.BlockStart = first->start;
    st.DocumentText = doc.text(word::Range{first->story, first->start, last->end});

    const std::optional<model::Recipient> member = list.GetMember(i);
    if (!member) continue;
    model::ItemPtr contact;
    if (ctx.session && !member->EntryID.isEmpty()) contact = ctx.session->GetItemFromID(member->EntryID);
    if (contact && contact->Class() == model::olContact) {
      RenderContext memberCtx{st, contact, ctx.session};
      RenderContact(memberCtx);
    } else {
      Put(st, QStringLiteral("#<FullName>"), tpl::LiteralText(st, member->Name));
      Put(st, QStringLiteral("#<Email1Address>"), tpl::LiteralText(st, member->Address));
    }
    // What this member left unfilled goes; the next member's rows bring
    // fresh placeholders.
    const auto done = doc.rowRange(table, doc.rowCount(table));
    word::Range r{first->story, st.BlockStart, done ? done->end : st.BlockStart};
    word::FindOptions find;
    find.text = QStringLiteral("#<([A-Z])*([A-Z,1-9,a-z])>");  // what still looks like a placeholder
    find.matchWildcards = true;
    doc.execute(r, find, word::ReplaceMode::All);
  }
  st.BlockMode = blockMode;
  st.TableMode = tableMode;
  st.BlockStart = blockStart;
  // The members were counted for their own rows only: the next list of a
  // report fills its member table too.
  st.ItemCounter = 0;
}

}  // namespace ordolo::renderers
