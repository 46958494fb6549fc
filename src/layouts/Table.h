// Table templates ("Table" in the name): one Word document, an item per
// copy of table 1's item rows, and in the calendar lists' "break" templates
// a new copy of the template per day (or sort group).
//
// A table is read as head, item rows and foot: the item rows are the last
// run of consecutive rows that hold a "#"; rows above them are the head,
// rows below them the foot. The first item of a table fills the item rows
// in place together with the head and the text above the table (a day
// heading, a title); every further item gets a copy of the unfilled item
// rows inserted above the foot.
//
// A new group in a "break" template: the current table loses the rows
// added for the item and its unfilled placeholders, then
//   - "pagebreak": a page break and a copy of the template body (all but
//     its last paragraph) at the end; the item goes into the copy's table;
//   - a body that starts with its table: a copy of the template's table
//     rows joins the current table; the item fills the copy's head and
//     item rows;
//   - a body with text above its table (the day heading as a paragraph):
//     a copy of the body at the end, its own table under its heading.
// The copy's run header placeholders are filled. A body that starts with a
// table cannot go behind a page break: such a template goes on in its one
// table.
//
// A "Table" template without a table is filled as one document per item.
#pragma once

#include "layouts/Layout.h"

namespace ordolo::layouts {

std::unique_ptr<Layout> MakeTableLayout(Host& host, const Options& options);

}  // namespace ordolo::layouts
