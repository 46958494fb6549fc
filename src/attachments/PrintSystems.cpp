#include "attachments/PrintSystems.h"

#include <QFileInfo>
#include <QTemporaryDir>

#include <cups/ipp.h>

#include <algorithm>

#include "lang/Messages.h"
#include "print/Cups.h"
#include "print/Output.h"
#include "print/Outputs.h"
#include "util/DebugLog.h"
#include "util/Folders.h"

namespace ordolo::attachments {

namespace {

// Missing, not a regular file, unreadable or empty: nothing to print.
bool invalidFile(const QString& file) {
  const QFileInfo info(file);
  return !info.isFile() || !info.isReadable() || info.size() == 0;
}

}  // namespace

bool IsOfficeName(const QString& fileName) {
  static const QStringList kSuffixes = {
      QStringLiteral("doc"),  QStringLiteral("docx"), QStringLiteral("docm"), QStringLiteral("dot"),
      QStringLiteral("dotx"), QStringLiteral("odt"),  QStringLiteral("ott"),  QStringLiteral("rtf"),
      QStringLiteral("txt"),  QStringLiteral("csv"),  QStringLiteral("xls"),  QStringLiteral("xlsx"),
      QStringLiteral("xlsm"), QStringLiteral("xlt"),  QStringLiteral("xltx"), QStringLiteral("ods"),
      QStringLiteral("ppt"),  QStringLiteral("pptx"), QStringLiteral("odp"),  QStringLiteral("odg"),
      QStringLiteral("htm"),  QStringLiteral("html"), QStringLiteral("xml")};
  return kSuffixes.contains(QFileInfo(fileName).suffix().toLower());
}

CupsPrintSystem::CupsPrintSystem(QString queue, QString server, office::convert::Options convert)
    : queue_(std::move(queue)), server_(std::move(server)), convertOptions_(std::move(convert)) {}

CupsPrintSystem::~CupsPrintSystem() = default;

print::Cups& CupsPrintSystem::cups() {
  if (!cups_) cups_ = std::make_unique<print::Cups>(server_);
  return *cups_;
}

PrintSystem::Result CupsPrintSystem::submit(const QString& file, const QString& title) {
  // The default queue is looked up when first needed: the server may only
  // have come up after this object was made.
  if (queue_.isEmpty()) queue_ = cups().defaultQueue();
  if (queue_.isEmpty()) return {Outcome::Failed, IPP_STATUS_ERROR_NOT_FOUND, lang::text(lang::Msg::ErrNoDefaultQueue)};
  QString error;
  if (cups().submit(queue_, file, title, &error) > 0) return {Outcome::Printed, 0, {}};
  const int status = cups().lastStatus();
  if (status == IPP_STATUS_ERROR_DOCUMENT_FORMAT_NOT_SUPPORTED) return {Outcome::NotSupported, status, error};
  return {Outcome::Failed, status, error};
}

PrintSystem::Result CupsPrintSystem::print(const QString& file) {
  if (invalidFile(file)) return {Outcome::InvalidFile, 0, {}};
  const QString title = QFileInfo(file).fileName();
  if (IsImageName(file) || IsPdfName(file)) return submit(file, title);
  if (!IsOfficeName(file)) return {Outcome::NotSupported, 0, {}};

  // CUPS has the PDF's contents once it is submitted, so the staging folder
  // goes right after.
  QTemporaryDir staging(util::TempFolder() + QLatin1String("attachment-XXXXXX"));
  if (!staging.isValid())
    return {Outcome::Failed, 0, QStringLiteral("cannot make a staging folder: ") + staging.errorString()};
  if (!converter_) converter_ = std::make_unique<office::convert::Converter>(convertOptions_);
  const std::vector<office::convert::Result> converted = converter_->toPdf({file}, staging.path());
  if (converted.empty() || !converted.front().ok())
    return {Outcome::Failed, 0, converted.empty() ? QString() : lang::Describe(converted.front().error)};
  return submit(converted.front().output, title);
}

bool CupsPrintSystem::connect() {
  QString error;
  if (!cups().reachable(&error)) {
    util::DebugLog::write(QStringLiteral("Attachments: CUPS %1 not reachable: %2").arg(cups().server(), error));
    return false;
  }
  baseline_ = 0;
  if (const auto jobs = cups().jobs(QString(), true))
    for (const print::CupsJob& job : *jobs) baseline_ = std::max(baseline_, job.id);
  return true;
}

std::optional<QStringList> CupsPrintSystem::jobNames() {
  const auto jobs = cups().jobs(QString(), true);
  if (!jobs) return std::nullopt;
  QStringList names;
  for (const print::CupsJob& job : *jobs)
    if (job.id > baseline_) names << job.name;
  return names;
}

PrintSystem::Result OutputPrintSystem::print(const QString& file) {
  if (invalidFile(file)) return {Outcome::InvalidFile, 0, {}};
  const QFileInfo info(file);
  output_.add({file, info.completeBaseName(), IsOfficeName(file)});
  if (output_.flush()) return {Outcome::Printed, 0, {}};
  const QStringList errors = output_.errors();
  return {Outcome::Failed, 0, errors.isEmpty() ? QString() : errors.last()};
}

std::unique_ptr<PrintSystem> PrintSystemFor(print::Output& output) {
  if (auto* queue = dynamic_cast<print::QueueOutput*>(&output))
    return std::make_unique<CupsPrintSystem>(queue->queue());
  return std::make_unique<OutputPrintSystem>(output);
}

}  // namespace ordolo::attachments
