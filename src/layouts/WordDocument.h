// A Word document made from the template, with its target: what the Word
// layouts share.
#pragma once

#include <memory>
#include <utility>

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

// A layout that fills one Word document at a time: finishing prints a
// document that holds items and drops one that holds none.
class WordLayout : public Layout {
 public:
  WordLayout(Host& host, Options options) : host_(host), options_(std::move(options)) {}

  bool finish() override {
    if (doc_.isOpen() && doc_.items > 0) return doc_.finish(host_);
    doc_.close();
    return true;
  }
  int pendingItems() const override { return doc_.items; }

 protected:
  Host& host_;
  Options options_;
  WordDocument doc_;
};

}  // namespace ordolo::layouts
