// How the items of a run go into documents. One layout per kind of template
// (TemplateKind): one document per item, a table with rows per item, a
// report block per item, labels, the month grid, an Excel sheet with a
// block copy per item. The print run opens the layout, hands it the items
// one by one, and finishes it; the layout places each item in its document,
// has the run fill it, and hands every finished document back to the run.
#pragma once

#include <QString>

#include <memory>

#include "model/Model.h"
#include "template/RunState.h"
#include "template/Target.h"

namespace ordolo::office::word {
class Document;
}

namespace ordolo::layouts {

// What a layout needs of the print run around it.
class Host {
 public:
  virtual ~Host() = default;
  virtual const tpl::RunState& run() const = 0;
  // The item being placed.
  virtual const model::ItemPtr& currentItem() const = 0;
  // Fills the target's current part with the current item: the run header,
  // then the renderer of its kind.
  virtual void render(tpl::Target& target) = 0;
  // A Word document was made from the template (the run lets it import the
  // mails' HTML bodies).
  virtual void opened(office::word::Document& doc) = 0;
  // A document is finished and saved as `file`: the run hands it to the
  // output with its attachments. False ends the run.
  virtual bool finished(const QString& file) = 0;
  // A document could not be made or saved: the run records the reason and
  // drops the attachments waiting for it.
  virtual void failed(const QString& error) = 0;
  // The template cannot be used as its name says: the user is told, and
  // the run stops.
  virtual void refused(const QString& message) = 0;
};

class Layout {
 public:
  virtual ~Layout() = default;
  // Prepares what the first item needs. False: nothing can be printed
  // (the host was told why).
  virtual bool open() = 0;
  // Places and fills the current item. False ends the run.
  virtual bool item() = 0;
  // The current item opens a new day outside the current group.
  virtual void groupStarted() {}
  // Finishes the open document when it holds any item (also after a stop:
  // what was filled is printed).
  virtual bool finish() = 0;
  // Items in the open document.
  virtual int pendingItems() const = 0;
};

struct Options {
  QString templateFile;  // the OOXML file filled (a converted copy for legacy templates)
  int startRow = 1;      // labels: the first label row to fill (1..9)
  int copies = 1;        // labels: labels per item
};

std::unique_ptr<Layout> MakeLayout(const tpl::TemplateKind& kind, Host& host, const Options& options);

}  // namespace ordolo::layouts
