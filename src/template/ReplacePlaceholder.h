// The one replacement operation of the renderers: every occurrence of one
// placeholder in the part of the target the current item fills becomes one
// value.
#pragma once

#include "template/Target.h"

#include <QString>

namespace ordolo::tpl {

// cAlt: the placeholder ("#<Subject>", "#CRLF"); cNeu: the value;
// lWildcards: a wildcard search (Word; "#<...>" placeholders are whole
// words); lTest: positioned mode (the current row or block of table and
// block templates) and the presence test against the target's text; lRetry:
// one plain retry after a failure (Word). Excel targets match the case and
// a whole cell for "#<...>".
void ReplacePlaceholder(Target& target, const QString& cAlt, const QString& cNeu, bool lWildcards, bool& lTest,
                        bool& lRetry);

// The renderers' ordinary call: presence test on, one plain retry after a
// failure unless retry is false.
void Put(Target& target, const QString& cAlt, const QString& cNeu, bool wildcards = true, bool retry = true);

}  // namespace ordolo::tpl
