#include "layouts/WordDocument.h"

#include <QFileInfo>

#include <atomic>

#include "lang/Messages.h"
#include "office/word/Document.h"
#include "template/Eigenschaften.h"
#include "util/Folders.h"

namespace ordolo::layouts {

WordDocument::WordDocument() = default;
WordDocument::~WordDocument() = default;

bool WordDocument::open(Host& host, const QString& templateFile) {
  close();
  office::Error error;
  doc_ = office::word::Document::create(templateFile, &error);
  if (!doc_) {
    host.failed(lang::Describe(error));
    return false;
  }
  target_ = std::make_unique<tpl::WordTarget>(*doc_);
  host.opened(*doc_);
  return true;
}

void WordDocument::fillRunHeader(Host& host) {
  target_->fillWhole();
  tpl::FillRunHeader(*target_, host.run().Header);
}

bool WordDocument::finish(Host& host) {
  if (!doc_) return true;
  target_->clearLeftovers();
  // Each finished document is a file of its own, under its template's name,
  // across all runs of the process: the output may still read an earlier one.
  static std::atomic<int> finished{0};
  const QFileInfo source(doc_->sourcePath());
  const QString saved = QStringLiteral("%1%2-%3.%4")
                            .arg(util::TempFolder(), source.completeBaseName())
                            .arg(++finished)
                            .arg(doc_->macroEnabled() ? QStringLiteral("docm") : QStringLiteral("docx"));
  office::Error error;
  const bool written = doc_->saveAs(saved, &error);
  close();
  if (!written) {
    host.failed(lang::Describe(error));
    return false;
  }
  return host.finished(saved);
}

void WordDocument::close() {
  target_.reset();
  doc_.reset();
  items = 0;
}

}  // namespace ordolo::layouts
