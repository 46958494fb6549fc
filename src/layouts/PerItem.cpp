// One document per item (Word templates without a layout word) and the
// Excel sheet.
#include <QFileInfo>

#include "layouts/Layout.h"
#include "layouts/WordDocument.h"
#include "template/ExcelOutput.h"
#include "util/Folders.h"

namespace ordolo::layouts {

namespace {

// Every item gets a document of its own, printed as soon as it is filled.
class PerItemLayout : public WordLayout {
 public:
  using WordLayout::WordLayout;

  bool open() override { return true; }

  bool item() override {
    if (!doc_.open(host_, options_.templateFile)) return false;
    host_.render(doc_.target());
    ++doc_.items;
    return doc_.finish(host_);
  }
};

// Excel templates: one workbook for the run, a copy of the template block
// per item (template/ExcelOutput.h).
class SheetLayout : public Layout {
 public:
  SheetLayout(Host& host, Options options) : host_(host), options_(std::move(options)) {}

  bool open() override {
    book_ = std::make_unique<tpl::ExcelOutput>();
    QString error;
    if (!book_->Open(options_.templateFile, &error)) {
      book_.reset();
      host_.failed(error);
      return false;
    }
    return true;
  }

  bool item() override {
    book_->BeginItem();
    host_.render(*book_);
    ++items_;
    return true;
  }

  bool finish() override {
    if (!book_ || items_ == 0) return true;
    book_->Finish();
    static int saved = 0;
    const QString file =
        util::TempFolder() +
        QStringLiteral("%1-%2.xlsx").arg(QFileInfo(options_.templateFile).completeBaseName()).arg(++saved);
    QString error;
    const bool ok = book_->SaveAs(file, &error);
    book_.reset();
    items_ = 0;
    if (!ok) {
      host_.failed(error);
      return false;
    }
    return host_.finished(file);
  }

  int pendingItems() const override { return items_; }

 private:
  Host& host_;
  Options options_;
  std::unique_ptr<tpl::ExcelOutput> book_;
  int items_ = 0;
};

}  // namespace

std::unique_ptr<Layout> MakePerItemLayout(Host& host, const Options& options) {
  return std::make_unique<PerItemLayout>(host, options);
}

std::unique_ptr<Layout> MakeSheetLayout(Host& host, const Options& options) {
  return std::make_unique<SheetLayout>(host, options);
}

}  // namespace ordolo::layouts
