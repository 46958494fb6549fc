#include "template/ReplacePlaceholder.h"

#include "office/word/Document.h"
#include "util/DebugLog.h"

namespace ordolo::tpl {

namespace word = office::word;

namespace {

void Debug(const QString& line) {
  if (util::DebugLog::isOn()) util::DebugLog::write(line);
}

QString Bare(const QString& cAlt) {
  QString s = cAlt;
  s.remove(QLatin1Char('<'));
  s.remove(QLatin1Char('>'));
  return s;
}

bool Searched(word::StoryType t) {
  const int n = int(t);
  return n == 1 || (n >= 5 && n <= 11);
}

word::FindOptions FindFor(const QString& cAlt, const QString& cNeu, bool wildcards, word::Wrap wrap) {
  word::FindOptions find;
  find.text = cAlt;
  find.replacement = cNeu;
  find.forward = true;
  find.wrap = wrap;
  find.matchCase = false;
  find.matchWildcards = wildcards;
  return find;
}

}  // namespace

void ReplacePlaceholder(RunState& st, const QString& cAlt, const QString& cNeuIn, bool lWildcards, bool& lTest,
                        bool& lRetry) {
  QString cNeu = cNeuIn;
  Debug(QStringLiteral("cAlt: ") + cAlt);
  Debug(QStringLiteral("cNeu: ") + cNeu);
  if (!st.UseWord) {
    ReplacePlaceholderExcel(st, cAlt, cNeu, lWildcards, lTest, lRetry);
    return;
  }

  // Presence test against the cached text (case-sensitive), and the
  // backslash that a wildcard replacement would read as a group reference.
  if (cAlt.contains(QLatin1Char('<'))) {
    cNeu.replace(QLatin1Char('\\'), QLatin1String("^92"));
    if (lTest && !st.DocumentText.contains(Bare(cAlt))) {
      Debug(QStringLiteral("cAlt not found"));
      return;
    }
  } else if (lTest && !st.DocumentText.contains(cAlt)) {
    Debug(QStringLiteral("cAlt not found"));
    return;
  }
  Debug(QStringLiteral("lTest: ") + (lTest ? QStringLiteral("True") : QStringLiteral("False")));

  word::Document* doc = st.word;
  if (!doc) return;
  QString failure;
  if (lTest && (st.TableMode || st.BlockMode)) {
    // Positioned: from the current row or block to the end of the document,
    // so earlier rows and blocks keep what they were given.
    word::Range& sel = doc->selection();
    bool placed = true;
    if (st.TableMode && st.TableSearchFrom >= 0) {
      const word::Range all = doc->content();
      sel.story = all.story;
      sel.start = std::clamp(st.TableSearchFrom, 0, all.end);
    } else if (st.TableMode) {
      if (auto row = doc->rowRange(st.TableIndex, st.BlockStart)) {
        sel = *row;
      } else {
        placed = false;
        failure = QStringLiteral("table %1 has no row %2").arg(st.TableIndex).arg(st.BlockStart);
      }
    } else {
      const word::Range all = doc->content();
      sel.story = all.story;
      sel.start = std::clamp(st.BlockStart, 0, all.end);
    }
    if (placed) {
      sel.end = sel.start;
      word::Range r = sel;
      const word::FindResult res = doc->execute(r, FindFor(cAlt, cNeu, lWildcards, word::Wrap::Stop), word::ReplaceMode::All);
      if (!res.ok) failure = res.error;
    }
  } else {
    // Every story Word's replace-all visits on its own, except notes and comments.
    for (word::Story* s : doc->storyRanges()) {
      if (!Searched(word::Document::typeOf(s))) continue;
      word::Range r = doc->storyRange(s);
      const word::FindResult res =
          doc->execute(r, FindFor(cAlt, cNeu, lWildcards, word::Wrap::Continue), word::ReplaceMode::All);
      if (!res.ok && failure.isEmpty()) failure = res.error;
    }
  }

  if (!failure.isEmpty()) {
    Debug(QStringLiteral("error: ") + failure);
    if (lRetry) {
      bool test = lTest;
      bool retry = false;
      ReplacePlaceholder(st, Bare(cAlt), cNeu, false, test, retry);
    }
  }
}

void Put(RunState& st, const QString& cAlt, const QString& cNeu, bool wildcards, bool retry) {
  bool lTest = true;
  ReplacePlaceholder(st, cAlt, cNeu, wildcards, lTest, retry);
}

void ReplaceInHeadersAndFooters(RunState& st, const QString& cAlt, const QString& cNeuIn, bool lWildcards) {
  if (!st.UseWord || !st.word) return;
  QString cNeu = cNeuIn;
  if (cAlt.contains(QLatin1Char('<'))) cNeu.replace(QLatin1Char('\\'), QLatin1String("^92"));
  for (word::Story* s : st.word->storyRanges()) {
    const int t = int(word::Document::typeOf(s));
    if (t < 6 || t > 11) continue;
    word::Range r = st.word->storyRange(s);
    word::FindResult res = st.word->execute(r, FindFor(cAlt, cNeu, lWildcards, word::Wrap::Continue), word::ReplaceMode::All);
    if (!res.ok) {
      Debug(QStringLiteral("error: ") + res.error);
      r = st.word->storyRange(s);
      st.word->execute(r, FindFor(Bare(cAlt), cNeu, false, word::Wrap::Continue), word::ReplaceMode::All);
    }
  }
}

}  // namespace ordolo::tpl
