// The table routines of table templates ("Table" in the name): where in a
// table the item rows are, a fresh copy of them for every further item, and
// for the calendar lists' "break" templates a new copy of the whole
// template when a new day (or sort group) begins.
//
// A table is read as head, item rows and foot: the item rows are the last
// run of consecutive rows that hold a "#"; rows above them are the head,
// rows below them the foot. The first item of a table fills the item rows
// in place together with the head and the text above the table (a day
// heading, a title); every further item gets a copy of the unfilled item
// rows inserted above the foot.
#pragma once

#include "template/RunState.h"

namespace ordolo::renderers {

// Reads table `table` of st.word as it was just placed into the document,
// before any item filled it: fills st.Rows, makes it st.TableIndex, and
// lets the next item's replacements start at character position
// `searchFrom` of the main story. False when there is no such table.
bool AnalyseTable(tpl::RunState& st, int table, int searchFrom);

// Inserts a copy of the item rows for the next item above the foot of table
// st.TableIndex and points the replacements at it.
void AddTableRows(tpl::RunState& st);

// Ends table `table` when its group is complete: the rows added for the
// current item, which goes on in a new table, are taken out, and
// placeholders no item filled are removed from the table.
void FinishTable(tpl::RunState& st, int table);

// Keeps a copy of the template's body, all but its last paragraph, before
// anything is filled: a "break" template repeats it per group. A body that
// starts with a table cannot be copied (the repeated part must start with
// a paragraph, such as the day heading).
void KeepTemplateBody(tpl::RunState& st);

// A new group in a "break" template: finishes the current table and adds a
// copy of the whole template at the end of the document, on a new page
// when pageBreak is set; its table takes the current item, and its run
// header placeholders are filled.
void NewTableBlock(tpl::RunState& st, bool pageBreak);

// Sets the current item's rows plain (all-day appointments in "allday"
// templates): one point smaller, not bold, no shading, no top border.
void PlainItemRows(tpl::RunState& st);

}  // namespace ordolo::renderers
