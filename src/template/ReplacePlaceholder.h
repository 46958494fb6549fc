// The one replacement operation of the renderers: every occurrence of one
// placeholder in the template being filled becomes one value.
#pragma once

#include "template/RunState.h"

#include <QString>

namespace ordolo::tpl {

// Fills a Word target, or hands an Excel target (st.UseWord false) to
// ReplacePlaceholderExcel. cAlt: the placeholder ("#<Subject>", "#CRLF");
// cNeu: the value; lWildcards: a wildcard search (Word); lTest: positioned
// mode and the presence test against st.DocumentText; lRetry: one plain
// retry after a failure (Word).
void ReplacePlaceholder(RunState& st, const QString& cAlt, const QString& cNeu, bool lWildcards, bool& lTest,
                        bool& lRetry);

// The renderers' ordinary call: presence test on, one plain retry after a
// failure unless retry is false.
void Put(RunState& st, const QString& cAlt, const QString& cNeu, bool wildcards = true, bool retry = true);

// The Excel side: a placeholder written with "<" ">" must fill a whole cell,
// one without them may be part of a cell's text; the case must match. The
// sheet-wide placeholders are searched on the whole sheet, the others in the
// rows of the current item's copy of the template block only. lWildcards
// and lRetry are not used.
// Table and block templates fill only the current row or block through
// ReplacePlaceholder; the run header values reach the page headers and
// footers through this, once per document.
void ReplaceInHeadersAndFooters(RunState& st, const QString& cAlt, const QString& cNeu, bool lWildcards);

void ReplacePlaceholderExcel(RunState& st, const QString& cAlt, const QString& cNeu, bool lWildcards, bool& lTest,
                             bool& lRetry);

}  // namespace ordolo::tpl
