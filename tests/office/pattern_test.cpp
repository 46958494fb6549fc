// Word's find syntax as templates use it: word marks, shortest stars, sets,
// codes, case rules, and what a replacement text stands for.
#include "office/word/Pattern.h"

#include <gtest/gtest.h>

using namespace ordolo::office::word;

namespace {

// The first match of a pattern in a text, as the matched text ("" when none).
QString Find(const QString& pattern, const QString& text, bool wildcards = true, bool matchCase = false) {
  QString error;
  const Pattern p = Pattern::compile(pattern, wildcards, matchCase, &error);
  EXPECT_TRUE(p.valid()) << error.toStdString();
  StringSource src(text);
  const auto m = p.search(src, 0, text.size());
  return m ? text.mid(m->start, m->end - m->start) : QString();
}

}  // namespace

TEST(PatternTest, WordMarksMatchWholePlaceholdersOnly) {
  EXPECT_EQ(Find("#<Start>", "#StartDate and #Start."), "#Start");
  EXPECT_EQ(Find("#<Start>", "#StartDate only"), "");
  EXPECT_EQ(Find("#<Subject>", "x#Subject"), "#Subject");
  // Digits are word characters: #Text1 is not the end of #Text10.
  EXPECT_EQ(Find("#<Text1>", "#Text10 #Text1"), "#Text1");
  StringSource src(QStringLiteral("#Text10 #Text1"));
  const auto m = Pattern::compile("#<Text1>", true, false, nullptr).search(src, 0, src.size());
  ASSERT_TRUE(m);
  EXPECT_EQ(m->start, 8);
}

TEST(PatternTest, LeftoverPatternFindsEveryPlaceholderShape) {
  const QString leftover = "#<([A-Z])*([A-Z,1-9,a-z])>";
  EXPECT_EQ(Find(leftover, "a #Subject b"), "#Subject");
  EXPECT_EQ(Find(leftover, "#<Sub> is #Location2"), "#Location2");
  EXPECT_EQ(Find(leftover, "C# and # alone, #lower"), "");
  // The star is shortest: it stops at the first word end.
  EXPECT_EQ(Find(leftover, "#AB cd #EF"), "#AB");
}

TEST(PatternTest, BlockMarkersAcrossParagraphs) {
  const QString text = "Title\r<%\r#Subject at #Start\r%>\rEnd %> again";
  EXPECT_EQ(Find("[^60]%*%[^62]", text), "<%\r#Subject at #Start\r%>");
  EXPECT_EQ(Find("[^60]%*%[^62]", "no block here <% open"), "");
}

TEST(PatternTest, SetsGroupsAndEscapes) {
  EXPECT_EQ(Find("[0-9][0-9]:[0-9][0-9]", "at 9:30 or 10:45"), "10:45");
  EXPECT_EQ(Find("[!a-z ]", "abc dEf"), "E");
  EXPECT_EQ(Find("\\(x\\)", "f(x)"), "(x)");
  EXPECT_EQ(Find("?b", "ab"), "ab");

  QString error;
  StringSource src(QStringLiteral("Smith, John"));
  const Pattern p = Pattern::compile("(<[A-Z][a-z]*>), (<*>)", true, false, &error);
  ASSERT_TRUE(p.valid()) << error.toStdString();
  const auto m = p.search(src, 0, src.size());
  ASSERT_TRUE(m);
  EXPECT_EQ(ExpandReplacement("\\2 \\1", true, src, *m), "John Smith");
}

TEST(PatternTest, CaseRules) {
  // Literal searches ignore case unless asked; wildcard searches never do.
  EXPECT_EQ(Find("#subject", "x #SUBJECT", false, false), "#SUBJECT");
  EXPECT_EQ(Find("#subject", "x #SUBJECT", false, true), "");
  EXPECT_EQ(Find("#<subject>", "x #Subject", true, false), "");
  EXPECT_EQ(Find("Straße", "STRASSE straße", false, false), "straße");
}

TEST(PatternTest, CaretCodesInFindText) {
  EXPECT_EQ(Find("a^pb", "xa\rby", false), "a\rb");
  EXPECT_EQ(Find("^92x", "a\\x", false), "\\x");
  EXPECT_EQ(Find("^#^#", "ab12", false), "12");
  EXPECT_EQ(Find("a^tb", "a\tb", true), "a\tb");
}

TEST(PatternTest, UnsupportedWildcardsAreErrorsNotWrongMatches) {
  for (const char* bad : {"a@", "x{2}", "[abc", "(a", "a)", "^q", "b]"}) {
    QString error;
    const Pattern p = Pattern::compile(bad, true, false, &error);
    EXPECT_FALSE(p.valid()) << bad;
    EXPECT_FALSE(error.isEmpty()) << bad;
  }
  // The same characters are plain text in a literal search.
  EXPECT_EQ(Find("a@{2}", "xa@{2}", false), "a@{2}");
}

TEST(PatternTest, PathologicalPatternGivesUpWithError) {
  const QString text(200000, QChar('a'));
  QString error;
  const Pattern p = Pattern::compile("a*a*a*a*b", true, false, &error);
  ASSERT_TRUE(p.valid());
  StringSource src(text);
  EXPECT_FALSE(p.search(src, 0, text.size(), &error));
  EXPECT_FALSE(error.isEmpty());
}

TEST(PatternTest, ReplacementSpecials) {
  const QString text = "#Subject";
  StringSource src(text);
  Match m;
  m.start = 0;
  m.end = text.size();
  for (auto& g : m.groups) g = {-1, -1};
  EXPECT_EQ(ExpandReplacement("a^lb", true, src, m), "a\vb");
  EXPECT_EQ(ExpandReplacement("C:^92Temp", true, src, m), "C:\\Temp");
  // Codes stop before digits that would take them past 255.
  EXPECT_EQ(ExpandReplacement("^922026^0092", true, src, m), "\\2026\\");
  EXPECT_EQ(ExpandReplacement(QStringLiteral("a\r\fb"), false, src, m), QStringLiteral("a\r\fb"));
  EXPECT_EQ(ExpandReplacement(QStringLiteral("a\r\nb\nc"), false, src, m), QStringLiteral("a\rb\rc"));
  EXPECT_EQ(ExpandReplacement("[^&]", false, src, m), "[#Subject]");
  // A backslash in a wildcard replacement escapes the next character; in a
  // literal one it is itself.
  EXPECT_EQ(ExpandReplacement("C:\\Temp", true, src, m), "C:Temp");
  EXPECT_EQ(ExpandReplacement("C:\\Temp", false, src, m), "C:\\Temp");
}
