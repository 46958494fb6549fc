#include "tools/EmlImport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include "lang/Messages.h"
#include "store/FileStore.h"
#include "util/DebugLog.h"

namespace ordolo::tools {

namespace {

// A message begins with a header field ("Name: value") or an mbox "From "
// line, and holds text: an empty file or one with NUL bytes is none.
bool LooksLikeMessage(const QByteArray& head) {
  if (head.isEmpty() || head.contains('\0')) return false;
  static const QRegularExpression field(QStringLiteral("^(From |[!-9;-~]+:)"));
  QByteArray start = head;
  if (start.startsWith("\xEF\xBB\xBF")) start = start.mid(3);
  return field.match(QString::fromLatin1(start.left(200))).hasMatch();
}

}  // namespace

bool IsEmlName(const QString& file) { return file.right(4).toLower() == QLatin1String(".eml"); }

QString EmlImportResult::message() const {
  QString text = QString::number(imported) + lang::text(lang::Msg::EmlImported);
  if (!notMessages.isEmpty())
    text += QStringLiteral("\r\n") + lang::text(lang::Msg::EmlNotMessages).arg(notMessages.join(QStringLiteral(", ")));
  if (!error.isEmpty()) text += QStringLiteral("\r\n") + error;
  return text;
}

EmlImportResult ImportEml(store::FileStore& store, const QStringList& files) {
  EmlImportResult result;
  QStringList wanted;
  for (const QString& f : files)
    if (IsEmlName(f)) wanted << f;
  if (wanted.isEmpty()) return result;

  auto drafts = std::dynamic_pointer_cast<store::StoreFolder>(store.GetDefaultFolder(model::olFolderDrafts));
  std::shared_ptr<store::FileStore> reopened;
  if (!drafts && store.readOnly()) {
    // Another program's folders: nothing is made in them.
    result.error = lang::text(lang::Msg::ErrDraftsMissing).arg(store.overlayFolder());
    return result;
  }
  if (!drafts) {
    // No Drafts folder yet: made as a Maildir, then found by a fresh look.
    const QString path = store.root() + QStringLiteral("/Drafts");
    bool made = true;
    for (const char* sub : {"cur", "new", "tmp"}) made = made && QDir().mkpath(path + QLatin1Char('/') + sub);
    if (made) reopened = store::FileStore::open(store.root());
    if (reopened)
      drafts = std::dynamic_pointer_cast<store::StoreFolder>(reopened->GetDefaultFolder(model::olFolderDrafts));
    if (!drafts) {
      result.error = lang::text(lang::Msg::ErrDraftsMissing).arg(path);
      return result;
    }
  }
  for (const QString& file : wanted) {
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly)) {
      result.notMessages << QFileInfo(file).fileName() + QStringLiteral(" (") + in.errorString() + QLatin1Char(')');
      continue;
    }
    const QByteArray bytes = in.readAll();
    if (!LooksLikeMessage(bytes.left(64 * 1024))) {
      result.notMessages << QFileInfo(file).fileName();
      continue;
    }
    QString written, why;
    if (!drafts->writeMessage(bytes, &written, &why)) {
      // The folder takes none: the next files would fail alike.
      result.error = lang::text(lang::Msg::ErrDraftsFolder).arg(drafts->absolutePath(), why);
      util::DebugLog::write(result.error);
      break;
    }
    result.drafts << written;
    ++result.imported;
  }
  return result;
}

}  // namespace ordolo::tools
