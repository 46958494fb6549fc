#include "template/ReplacePlaceholder.h"

#include "util/DebugLog.h"

namespace ordolo::tpl {

void ReplacePlaceholder(Target& target, const QString& cAlt, const QString& cNeu, bool lWildcards, bool& lTest,
                        bool& lRetry) {
  if (util::DebugLog::isOn()) {
    util::DebugLog::write(QStringLiteral("cAlt: ") + cAlt);
    util::DebugLog::write(QStringLiteral("cNeu: ") + cNeu);
  }
  target.replace(cAlt, cNeu, lWildcards, lTest, lRetry);
}

void Put(Target& target, const QString& cAlt, const QString& cNeu, bool wildcards, bool retry) {
  bool lTest = true;
  ReplacePlaceholder(target, cAlt, cNeu, wildcards, lTest, retry);
}

}  // namespace ordolo::tpl
