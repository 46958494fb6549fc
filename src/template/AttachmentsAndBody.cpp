#include "template/AttachmentsAndBody.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStringList>

#include "attachments/AttachmentQueue.h"
#include "model/Model.h"
#include "template/Eigenschaften.h"
#include "template/ReplacePlaceholder.h"
#include "util/DebugLog.h"
#include "util/Folders.h"
#include "util/VbFormat.h"

namespace ordolo::tpl {

namespace {

// Keeps the file system's limit of 255 bytes with room for the date prefix.
constexpr int kMaxNameBytes = 200;

QString SizeText(qint64 bytes) {
  return util::userLocale().formattedDataSize(bytes, bytes < 1024 * 1024 ? 0 : 1, QLocale::DataSizeTraditionalFormat);
}

}  // namespace

QString SafeAttachmentName(const QString& name) {
  QString s = name;
  // Only the last part of a path counts, whichever separator it uses.
  const int cut = std::max(s.lastIndexOf(QLatin1Char('/')), s.lastIndexOf(QLatin1Char('\\')));
  if (cut >= 0) s = s.mid(cut + 1);
  QString clean;
  clean.reserve(s.size());
  for (const QChar c : s) {
    if (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format) continue;
    clean += c;
  }
  clean = clean.trimmed();
  while (clean.startsWith(QLatin1Char('.'))) clean.remove(0, 1);
  if (clean.isEmpty()) clean = QStringLiteral("attachment");
  if (clean.toUtf8().size() > kMaxNameBytes) {
    const QString suffix = QFileInfo(clean).suffix().left(16);
    QString stem = suffix.isEmpty() ? clean : clean.left(clean.size() - suffix.size() - 1);
    while ((stem + QLatin1Char('.') + suffix).toUtf8().size() > kMaxNameBytes) stem.chop(1);
    clean = suffix.isEmpty() ? stem : stem + QLatin1Char('.') + suffix;
  }
  return clean;
}

QString SaveAttachment(const model::Attachment& attachment, const QString& folder, const QDateTime& referenceDate) {
  if (!QDir().mkpath(folder)) {
    util::DebugLog::write(QStringLiteral("Attachment not saved, folder cannot be made: ") + folder);
    return {};
  }
  const QString name = util::Format(referenceDate, QStringLiteral("yyyyMMdd-hhnn")) + QLatin1Char('_') +
                       SafeAttachmentName(attachment.FileName());
  const QFileInfo fi(name);
  const QString suffix = fi.suffix();
  const QString stem = suffix.isEmpty() ? name : name.left(name.size() - suffix.size() - 1);
  // A name taken by another file gets a number; the same attachment saved
  // before (the same mail printed again) is that file.
  const QByteArray bytes = attachment.Data();
  const auto sameBytes = [&](const QString& p) {
    QFile f(p);
    return f.size() == bytes.size() && f.open(QIODevice::ReadOnly) && f.readAll() == bytes;
  };
  QString path = util::WithSlash(folder) + name;
  for (int n = 2; QFileInfo::exists(path); ++n) {
    if (sameBytes(path)) return path;
    path = util::WithSlash(folder) + stem + QStringLiteral(" (%1)").arg(n) +
           (suffix.isEmpty() ? QString() : QLatin1Char('.') + suffix);
  }
  QString error;
  if (!attachment.SaveAsFile(path, &error)) {
    util::DebugLog::write(QStringLiteral("Attachment not saved: %1: %2").arg(path, error));
    return {};
  }
  return path;
}

bool IsInlinePicture(const model::Attachment& attachment, const QString& html) {
  const QString id = attachment.ContentId();
  return !id.isEmpty() && html.contains(QStringLiteral("cid:") + id, Qt::CaseInsensitive);
}

void FillAttachments(Target& target, AttachmentPrinting* printing, const model::Item& item, const QString& prefix,
                     const QDateTime& referenceDate) {
  const model::AttachmentList all = item.Attachments();
  const QString html = all.empty() ? QString() : item.text(QStringLiteral("HTMLBody"));
  std::vector<const model::Attachment*> listed;
  for (const model::Attachment& a : all)
    if (!IsInlinePicture(a, html)) listed.push_back(&a);

  QStringList names, lines;
  for (const model::Attachment* a : listed) {
    const QString name = SafeAttachmentName(a->FileName());
    names << name;
    lines << name + QStringLiteral(" (") + SizeText(a->Size()) + QLatin1Char(')');
  }
  Put(target, QStringLiteral("#<") + prefix + QStringLiteral("Attachments>"),
      LiteralText(target, names.join(QStringLiteral("; "))), true);
  Put(target, QStringLiteral("#<") + prefix + QStringLiteral("AttachmentCount>"), QString::number(listed.size()), true);
  Put(target, QStringLiteral("#<") + prefix + QStringLiteral("AttachmentList>"),
      TextWithLineBreaks(target, lines.join(QLatin1Char('\n'))), true);

  if (!printing || !printing->queue || listed.empty()) return;
  attachments::AttachmentQueue& queue = *printing->queue;
  const QString key = item.EntryID();
  if (!key.isEmpty()) {
    if (printing->queuedFor.contains(key)) return;
    printing->queuedFor << key;
  }
  for (const model::Attachment* a : listed) {
    if (queue.options().suppressed(a->FileName()) || queue.options().suppressed(SafeAttachmentName(a->FileName())))
      continue;
    if (a->Size() == 0) {
      util::DebugLog::write(QStringLiteral("Attachment not printed, it is empty: ") + a->FileName());
      continue;
    }
    const QString saved = SaveAttachment(*a, util::TempFolder(), referenceDate);
    if (!saved.isEmpty()) queue.PrintAttachmentQueue(saved, false);
  }
}

void FillBody(Target& target, const model::Item& item, const QString& prefix) {
  QString body = item.text(QStringLiteral("Body"));
  // Trailing blank lines would only push what follows down.
  while (!body.isEmpty() && body.back().isSpace()) body.chop(1);
  const QString value = TextWithLineBreaks(target, body);
  Put(target, QStringLiteral("#<") + prefix + QStringLiteral("Body>"), value, true);
  Put(target, QLatin1Char('#') + prefix + QStringLiteral("HTMLBody"), value, false);
  Put(target, QLatin1Char('#') + prefix + QStringLiteral("Body"), value, false);
}

}  // namespace ordolo::tpl
