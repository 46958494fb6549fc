// A Word document made from the template, with its target: what the Word
// layouts share.
#pragma once

#include <memory>

#include "layouts/Layout.h"
#include "template/WordTarget.h"

namespace ordolo::layouts {

class WordDocument {
 public:
  WordDocument();
  ~WordDocument();

  // Makes the document; false (the host told why) when the template is not
  // a usable Word document.
  bool open(Host& host, const QString& templateFile);
  bool isOpen() const { return bool(doc_); }
  // The run header filled once in the whole document (titles, page headers
  // and footers) before the layout takes positions in it.
  void fillRunHeader(Host& host);
  // Removes the placeholders no item filled, saves the document and hands
  // it to the host; the document is closed either way.
  bool finish(Host& host);
  void close();

  office::word::Document& doc() { return *doc_; }
  tpl::WordTarget& target() { return *target_; }
  int items = 0;  // items filled into it

 private:
  std::unique_ptr<office::word::Document> doc_;
  std::unique_ptr<tpl::WordTarget> target_;
};

}  // namespace ordolo::layouts
