// The keys of the language table, in the order the table lists them.
#pragma once

#include <vector>

namespace ordolo::lang {

struct KeyDef {
  const char* key;
  const char* rubric;
  const char* description;  // English, shown beside the text
  const char* de;           // built-in German text
  const char* fr;           // built-in French text, or nullptr: German is the default for every language
  const char* en;           // built-in English text, or nullptr
  const char* tooltip;
  const char* section;  // "Lang", or "S52" for the journal types
};

const std::vector<KeyDef>& keyTable();

}  // namespace ordolo::lang
