// Internal to the Word engine: one story's paragraphs with their text and a
// map from text offsets to the XML that holds each character. Edits rebuild
// only the paragraphs they touch; paragraph start offsets are recomputed
// lazily from the first changed paragraph on, so work near the end of a long
// document stays cheap.
#pragma once

#include "office/word/Document.h"
#include "office/word/Pattern.h"

#include <pugixml.hpp>

#include <unordered_map>

namespace ordolo::office::word {

struct Part {
  QString name;
  pugi::xml_document xml;
  bool dirty = false;
};

enum class SegKind : uint8_t {
  Text,    // characters of a w:t
  Char,    // one character standing for an element (tab, break, symbol)
  Object,  // a drawing or embedded object, shown as character 1
  Mark,    // paragraph, cell and row end marks (no node)
  Anchor,  // zero-width: a bookmark start or end
};

struct Seg {
  int start = 0;
  int len = 0;
  pugi::xml_node node;
  SegKind kind = SegKind::Text;
};

struct Para {
  pugi::xml_node p;
  QString text;  // content followed by the end marks
  std::vector<Seg> segs;
  int tail = 0;  // 0: "\r"; 1: "\r\a" (cell end); 2: "\r\a\r\a" (row end)
  size_t idx = 0;
  int contentLength() const { return text.size() - (tail == 0 ? 1 : tail == 1 ? 2 : 4); }
};

class Story {
 public:
  Story(StoryType type, Part* part) : type_(type), part_(part) {}

  StoryType type() const { return type_; }
  Part* part() const { return part_; }

  // Appends the paragraphs of a container (body, cell, text box, header),
  // tables included, in document order.
  void addContainer(pugi::xml_node container);

  size_t count() const { return paras_.size(); }
  Para& para(size_t i) { return *paras_[i]; }
  Para* paraOf(pugi::xml_node p) const;
  int size() const { return total_; }
  int startOf(size_t i);
  // The paragraph holding pos and the offset inside it (pos == size() gives
  // the last paragraph's end).
  std::pair<size_t, int> locate(int pos);
  QString text(int from, int to);
  // Bumped by every edit; lets readers drop cached lookups.
  quint64 version() const { return version_; }
  // Bumped when an edit removed whole nodes between paragraphs (tables among them).
  quint64 structure() const { return structure_; }

  // Editing. Each returns false (and leaves *error) when the span cannot be
  // edited as asked, e.g. when it crosses table cells.
  // Replaces [from, to) by chars ('\r' new paragraph, '\v' line break, '\f'
  // page break, '\t' tab); *inserted gets the length written.
  bool replace(int from, int to, const QString& chars, int* inserted, QString* error);
  bool remove(int from, int to, QString* error);
  // Inserts a node (bookmark mark, drawing run) at pos.
  bool insertNode(int pos, const pugi::xml_node& source, pugi::xml_node* inserted, QString* error);

  // Paragraph list maintenance for callers that add or remove whole nodes.
  void reindex(Para& p);
  void insertParas(size_t at, const std::vector<pugi::xml_node>& nodes, const std::vector<int>& tails);
  void eraseParas(size_t from, size_t to);  // [from, to)
  // The paragraphs (with their end marks) of a table row or any subtree.
  static void collect(pugi::xml_node container, std::vector<pugi::xml_node>& nodes, std::vector<int>& tails);
  static void collectNode(pugi::xml_node node, std::vector<pugi::xml_node>& nodes, std::vector<int>& tails);

  void touch() {
    ++version_;
    part_->dirty = true;
  }

 private:
  void indexInline(pugi::xml_node n, Para& p, int& fieldDepth);
  void indexRun(pugi::xml_node r, Para& p, int& fieldDepth);
  void lengthChanged(size_t i, int oldLen);
  bool insertAt(size_t pi, int off, const QString& chars, int* inserted, QString* error);
  bool removeIn(Para& p, int a, int b);

  StoryType type_;
  Part* part_;
  std::vector<std::unique_ptr<Para>> paras_;
  std::unordered_map<pugi::xml_node_struct*, Para*> byNode_;
  std::vector<int> starts_;
  size_t valid_ = 0;
  int total_ = 0;
  quint64 version_ = 0;
  quint64 structure_ = 0;
};

// Reads a story as one text for the pattern matcher.
class StorySource : public TextSource {
 public:
  explicit StorySource(Story& s) : s_(s) {}
  int size() const override { return s_.size(); }
  char16_t at(int pos) const override;
  int indexOf(char16_t ch, int from, int to, bool caseSensitive) const override;

 private:
  bool seek(int pos) const;
  Story& s_;
  mutable size_t cur_ = 0;
  mutable int curStart_ = -1;
  mutable quint64 curVersion_ = ~0ULL;
};

}  // namespace ordolo::office::word
