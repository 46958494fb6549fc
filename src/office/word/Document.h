// A Word document (.docx/.docm, or a new document made from a .dotx/.dotm)
// edited in place: its stories as text the way Word reports it, find and
// replace across runs and paragraphs, tables, bookmarks, typing, inserting
// files and pictures. Positions are character offsets in one story's text,
// where every paragraph ends in '\r' and a table cell's last paragraph in
// "\r\a" (a row's last cell in "\r\a\r\a").
#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "office/Error.h"

namespace ordolo::office::word {

// Word's story types.
enum class StoryType {
  MainText = 1,
  Footnotes = 2,
  Endnotes = 3,
  Comments = 4,
  TextFrame = 5,
  EvenPagesHeader = 6,
  PrimaryHeader = 7,
  EvenPagesFooter = 8,
  PrimaryFooter = 9,
  FirstPageHeader = 10,
  FirstPageFooter = 11,
};

class Story;

// A span [start, end) of one story.
struct Range {
  Story* story = nullptr;
  int start = 0;
  int end = 0;
  bool collapsed() const { return start == end; }
};

enum class Wrap { Stop = 0, Continue = 1 };
enum class ReplaceMode { None = 0, One = 1, All = 2 };

struct FindOptions {
  QString text;
  QString replacement;
  bool forward = true;  // backward search is not offered
  Wrap wrap = Wrap::Stop;
  bool matchCase = false;
  bool matchWildcards = false;
};

struct FindResult {
  bool ok = true;  // false: the find text or an edit failed; error says why
  int found = 0;   // matches found (and replaced, with a replacement mode)
  QString error;
};

// Row formatting that calendar lists apply to whole table rows.
struct RowFormat {
  std::optional<double> fontSizeChange;  // points added to every run's size
  std::optional<bool> bold;
  bool clearShading = false;     // no texture, automatic colours
  bool removeTopBorder = false;  // the cells' top border set to none
};

// Whole table rows taken out of a document, to be appended again.
struct RowBlock {
  std::vector<QByteArray> rowsXml;
  bool empty() const { return rowsXml.empty(); }
};

// A piece of a story copied out of a document (whole or partial
// paragraphs, tables), to be pasted at another position.
struct Fragment {
  QByteArray xml;  // a w:body holding the copied nodes
  bool endsInParagraph = false;
  int length = 0;  // characters the fragment adds when pasted
  bool empty() const { return length == 0; }
};

class Document {
 public:
  // A new document from a template or document: .dotx/.dotm become
  // .docx/.docm content. Null and *error (naming the file) on failure.
  static std::unique_ptr<Document> create(const QString& templatePath, Error* error);
  ~Document();

  const QString& sourcePath() const;

  // The stories in StoryRanges order; only the first of each type.
  std::vector<Story*> storyRanges();
  Story* story(StoryType type);
  Story* mainStory();
  static StoryType typeOf(const Story* s);

  // Text as Word reports it.
  QString text(const Range& r) const;
  QString storyText(const Story* s) const;
  QString contentText() const;  // the main story
  // The text of every story that placeholder replacement searches: main
  // text, text frames, headers and footers (not notes or comments).
  QString searchedText() const;
  Range content();  // the whole main story
  Range storyRange(Story* s);

  Range& selection();

  // Find (and replace) from a range: a collapsed range searches from its
  // position to the end of the story (then from the start when wrap is
  // Continue); an extended range searches inside it. Without replacement the
  // range becomes the match when one is found.
  FindResult execute(Range& range, const FindOptions& find, ReplaceMode mode);

  // Tables of the main story (top level), 1-based.
  int tableCount();
  int rowCount(int table);
  int columnCount(int table);
  std::optional<Range> rowRange(int table, int row);
  std::optional<Range> cellRange(int table, int row, int column);
  bool deleteRow(int table, int row);
  RowBlock copyRows(int table, int first, int last);
  // Appends copies of the block's rows at the end of the table.
  bool appendRows(int table, const RowBlock& block);
  // Inserts copies of the block's rows below row afterRow (1-based).
  bool insertRows(int table, int afterRow, const RowBlock& block);
  bool formatRow(int table, int row, const RowFormat& format);

  // Bookmarks of the main story.
  bool addBookmark(const QString& name, const Range& r);
  std::optional<Range> bookmark(const QString& name);

  // Copies a range of the main story; pastes a fragment at a position.
  Fragment copy(const Range& r);
  bool paste(Range& at, const Fragment& f);

  // Types at the selection (replacing a selected span) and moves it behind.
  bool typeText(const QString& text);
  // Deletes the selected span, or the character before a collapsed one.
  bool typeBackspace();

  // Inserts the body of a .docx (or, through the importer, an .html) file
  // at the range; the range ends up collapsed behind the inserted text.
  bool insertFile(const QString& path, Range& at, Error* error);
  // Turns a file that is not a Word document (HTML) into a .docx for
  // insertFile: returns the .docx's path, or empty with *error set. Without
  // an importer such files are refused.
  using Importer = std::function<QString(const QString& file, Error* error)>;
  void setImporter(Importer importer);
  // Inserts a picture (PNG, JPEG, GIF) at the range, sized in points; the
  // range's text is replaced by it.
  bool addPicture(const QString& path, Range& at, double widthPt, double heightPt, Error* error);

  // Saves as .docx/.docm at path (atomic).
  bool saveAs(const QString& path, Error* error);
  // Whether the document keeps macros (.docm rather than .docx).
  bool macroEnabled() const;

  struct Impl;

 private:
  Document();
  std::unique_ptr<Impl> d;
};

}  // namespace ordolo::office::word
