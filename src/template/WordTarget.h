// A Word document as the target of a print run. The layout tells it which
// part the current item fills:
//   whole     every story replacement searches (one document per item)
//   from      the main story from a position on (a report block, a grid page)
//   rows      rows of a table (table templates); the first item of a table
//             starts at a position above them, to fill the table's heading
//             and the text above it too
// Positioned replacements run from the part's start to the end of the main
// story, so that earlier rows and blocks keep what they were given.
#pragma once

#include "template/Target.h"

#include <memory>

namespace ordolo::office::word {
class Document;
}

namespace ordolo::tpl {

// What still looks like a placeholder after every item has filled its part.
extern const QString kLeftoverPattern;

class WordTarget : public Target {
 public:
  explicit WordTarget(office::word::Document& doc);
  ~WordTarget() override;

  office::word::Document& document() { return doc_; }

  // The parts. Each takes the presence-test text anew.
  void fillWhole();
  void fillFrom(int position, int end = -1);
  void fillRows(int table, int firstRow, int rows, int searchFrom = -1);
  void setText(const QString& text) { text_ = text; }

  // Where positioned replacements of the current part start (0: whole).
  int partStart() const;

  // Removes what is left of the placeholders: in the current part (from its
  // start on), or everywhere replacement searches.
  void clearLeftoversInPart();
  void clearLeftovers();

  const QString& text() const override { return text_; }
  QString scanText() const override;
  void replace(const QString& cAlt, const QString& cNeu, bool lWildcards, bool& lTest, bool& lRetry) override;
  QString literal(QString text) const override;
  QString paragraphMark() const override { return QStringLiteral("\r"); }
  QString pageBreak() const override { return QStringLiteral("\r\f"); }
  void breakBeforeItem() override;
  bool putPicture(const QString& placeholder, const QString& path, double widthPt, double heightPt,
                  QString* error) override;
  bool takesFiles() const override { return true; }
  bool insertFileAt(const QString& placeholder, const QString& path, QString* error) override;
  void plainItemRows() override;
  bool fillMemberRows(int members, const std::function<void(int member)>& fill) override;

 private:
  enum class Part { Whole, From, Rows };
  office::word::Document& doc_;
  Part part_ = Part::Whole;
  int from_ = 0;                        // From; Rows: -1 or where the first item starts
  int table_ = 0, row_ = 0, rows_ = 0;  // Rows
  QString text_;
};

}  // namespace ordolo::tpl
