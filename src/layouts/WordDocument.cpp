#include "layouts/WordDocument.h"

#include "office/word/Document.h"
#include "template/Eigenschaften.h"

namespace ordolo::layouts {

WordDocument::WordDocument() = default;
WordDocument::~WordDocument() = default;

bool WordDocument::open(Host& host, const QString& templateFile) {
  close();
  QString error;
  doc_ = office::word::Document::create(templateFile, &error);
  if (!doc_) {
    host.failed(error);
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
  QString saved;
  doc_->setPrintHook([&saved](const QString& file, QString*) {
    saved = file;
    return true;
  });
  QString error;
  const bool printed = doc_->printOut(&error);
  close();
  if (!printed) {
    host.failed(error);
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
