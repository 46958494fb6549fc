// The restriction language of Items::Restrict:
//   condition := "[" Property "]" op value
//   op        := = <> < <= > >=
//   value     := 'text' | "text" | number | true | false
//   filter    := condition { (and | or) condition }, with "not" and ( ... );
//   "and" binds tighter than "or"; keywords ignore case.
// A value compared with a date property is read as a date: ISO
// (2026-03-01 09:30), or the user locale's short date with an optional time
// (01.03.2026 9:30, 3/1/2026 9:30AM, 3/1/2026 09:30 PM). Text comparisons
// ignore case.
#pragma once

#include "model/Model.h"

#include <QDateTime>
#include <QString>

#include <memory>

namespace ordolo::model {

class Filter {
 public:
  // Null and *error set when text is not a filter of this language.
  static std::shared_ptr<Filter> parse(const QString& text, QString* error = nullptr);
  virtual ~Filter() = default;

  virtual bool matches(const Item& item) const = 0;

  // The window the filter puts on appointments: the latest start it allows
  // ([Start] < or <=) and the earliest end ([End] > or >=), when every
  // alternative of the filter bounds them. Invalid dates where unbounded.
  struct Window {
    QDateTime from;  // from [End] > from
    QDateTime to;    // from [Start] <= to
  };
  virtual Window window() const = 0;

  // An error text when a condition cannot apply to items like sample (a
  // date property compared with something that is not a date); else empty.
  virtual QString check(const Item& sample) const = 0;
};

// Reads a date as the filter language does; invalid when it is none.
QDateTime ParseFilterDate(const QString& text);

}  // namespace ordolo::model
