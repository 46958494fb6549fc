// Word's find syntax: literal texts with "^" codes, and the wildcard subset
// that templates use (< > * ? [sets] ( ) ^nn \x). Matching runs over any text
// source, so one search can cross runs and paragraphs of a story.
#pragma once

#include <QString>

#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace ordolo::office::word {

// Random access to the characters being searched.
class TextSource {
 public:
  virtual ~TextSource() = default;
  virtual int size() const = 0;
  virtual char16_t at(int pos) const = 0;
  // First position in [from, to) holding ch (compared folded when !caseSensitive), or -1.
  virtual int indexOf(char16_t ch, int from, int to, bool caseSensitive) const;
};

// A TextSource over one string.
class StringSource : public TextSource {
 public:
  explicit StringSource(QString s) : s_(std::move(s)) {}
  int size() const override { return s_.size(); }
  char16_t at(int pos) const override { return s_.at(pos).unicode(); }
  int indexOf(char16_t ch, int from, int to, bool caseSensitive) const override;

 private:
  QString s_;
};

struct Match {
  int start = -1;
  int end = -1;
  // Groups 1..9 of a wildcard pattern as [start, end); -1 when unset.
  std::array<std::pair<int, int>, 10> groups{};
};

// Letters and digits make up words for the "<" and ">" marks.
bool IsWordChar(char16_t c);

class Pattern {
 public:
  // Compiles a find text. Wildcard patterns are matched case-sensitively
  // whatever matchCase says, as Word does. An unsupported construct leaves the
  // pattern invalid with *error naming it.
  static Pattern compile(const QString& text, bool wildcards, bool matchCase, QString* error);

  bool valid() const { return valid_; }
  bool empty() const { return nodes_.empty(); }
  // The first match that starts in [from, to) and ends at or before to.
  // Returns nullopt when there is none or when the search gave up (the
  // pattern backtracked too much; *error is set then).
  std::optional<Match> search(const TextSource& src, int from, int to, QString* error = nullptr) const;

 private:
  enum class Op { Char, Any, Set, Star, WordStart, WordEnd, Open, Close };
  struct Node {
    Op op;
    char16_t ch = 0;
    int group = 0;
    bool negate = false;
    std::vector<std::pair<char16_t, char16_t>> ranges;
  };
  bool matchAt(size_t ni, int pos, int to, const TextSource& src, Match& m, long& budget) const;
  bool setHas(const Node& n, char16_t c) const;

  std::vector<Node> nodes_;
  bool valid_ = false;
  bool caseSensitive_ = true;
};

// The characters a replacement text stands for, for one match: "^p" and
// character 13 a new paragraph ('\r'), "^l" a line break ('\v'), "^m" and
// character 12 a page break ('\f'), "^t" a tab, "^^" a caret, "^&" the found
// text, "^nnn" the character of that code; in wildcard mode "\1".."\9" the
// groups and "\x" the character x. A line feed (alone or after a carriage
// return) is a new paragraph.
QString ExpandReplacement(const QString& replacement, bool wildcards, const TextSource& src, const Match& m);

}  // namespace ordolo::office::word
