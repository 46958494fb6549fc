// Report and label templates: the "<% ... %>" block of a Word template.
//
// Report ("Report" in the name): one document; the block is repeated at
// its own place for every item, each copy filled by its item.
// Label ("Label" in the name): the block goes into the cells of table 1,
// row by row from the start row on, one label per copy of an item; a full
// sheet is printed and the next one starts at its first row.
//
// The markers are not printed: the block is what lies between them, and a
// "%>" at the end of a line takes the line's end along, so that every copy
// starts on a line of its own.
#pragma once

#include "layouts/Layout.h"

namespace ordolo::layouts {

std::unique_ptr<Layout> MakeReportLayout(Host& host, const Options& options);
std::unique_ptr<Layout> MakeLabelLayout(Host& host, const Options& options);

}  // namespace ordolo::layouts
