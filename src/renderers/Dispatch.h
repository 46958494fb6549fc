// Which renderer fills an item, by the item's class, and the call into it.
// A renderer reads the run's values (read-only), fills the target, and tells
// the run through its Reporter what the item changes for the items after it.
#pragma once

#include <QDateTime>
#include <QString>

#include "model/Model.h"
#include "template/RunState.h"
#include "template/Target.h"

namespace ordolo::tpl {
struct AttachmentPrinting;
}

namespace ordolo::renderers {

enum class Renderer { Appointment, Contact, DistList, Journal, Note, Task, Mail, CalendarGrid };

// The dispatch order of the print run: a Word template named "Calendar"
// takes every item to the calendar grid; then tasks, distribution lists,
// notes, appointments, contacts and journal entries by class, and
// everything else (mail, reports, posts, ...) to the mail renderer.
Renderer RendererFor(int itemClass, bool calendarWordTemplate);

// What a renderer tells the run while it fills an item.
class Reporter {
 public:
  virtual ~Reporter() = default;
  // The item opens a new day: its start becomes the run's last start date.
  virtual void dayStarted(const QDateTime& start) = 0;
  // The item opens a new day outside the current sort group: a "break"
  // table template starts a new copy of itself here, and the item's values
  // go into it.
  virtual void groupStarted() {}
};

// A Reporter that keeps the last start date in a run state of its own
// (renderers filling outside a print run).
class StateReporter : public Reporter {
 public:
  explicit StateReporter(tpl::RunState& st) : st_(st) {}
  void dayStarted(const QDateTime& start) override { st_.LastStartDate = start; }

 private:
  tpl::RunState& st_;
};

struct RenderContext {
  const tpl::RunState& run;
  tpl::Target& target;
  const model::ItemPtr& item;
  Reporter& report;
  model::Namespace* session = nullptr;  // resolves members, linked items, birthdays
  // Where the item's attachments are queued; null: none are printed.
  tpl::AttachmentPrinting* attachments = nullptr;
};

// Fills the target with the item (the calendar grid collects its items in
// its layout: nothing to fill here).
void Render(Renderer renderer, RenderContext& ctx);

}  // namespace ordolo::renderers
