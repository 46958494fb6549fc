// The document or workbook being filled, as the renderers and
// ReplacePlaceholder see it: the text of the part the current item fills,
// the replacement, and the few things that differ between Word and Excel.
// The layouts decide which part of the target the current item fills.
#pragma once

#include <QString>

#include <functional>

namespace ordolo::tpl {

class Target {
 public:
  virtual ~Target() = default;

  // The text of the part the current item fills, as it was when the item
  // began: the presence test of the replacement reads it.
  virtual const QString& text() const = 0;
  // The text the property walk looks for "#<Name>" in: what the current
  // item can still fill.
  virtual QString scanText() const = 0;

  // Every occurrence of cAlt in the current part becomes cNeu (the engine
  // side of ReplacePlaceholder, which documents the flags).
  virtual void replace(const QString& cAlt, const QString& cNeu, bool lWildcards, bool& lTest, bool& lRetry) = 0;

  // A stored text as a replacement value (Word reads "^" as a code).
  virtual QString literal(QString text) const { return text; }
  // What "#CRLF" and "#PAGEBREAK" become between days: a paragraph mark
  // and a page break where the target has them, else nothing.
  virtual QString paragraphMark() const { return {}; }
  virtual QString pageBreak() const { return {}; }
  // "#CRLF" and "#PAGEBREAK" of an item that opens a new day after the
  // first: in Word a paragraph and a page; in Excel an empty row above the
  // item and a page break before it.
  virtual void breakBeforeItem() = 0;

  // A picture in place of the first occurrence of placeholder in the
  // current part (path empty: none, the placeholder goes). False when the
  // part does not hold it; *error when the picture cannot be used.
  virtual bool putPicture(const QString& placeholder, const QString& path, double widthPt, double heightPt,
                          QString* error) = 0;

  // Whether insertFileAt can bring a document's body in (Word only).
  virtual bool takesFiles() const { return false; }
  // The body of a file (a .docx, or HTML through the document's importer)
  // in place of the first occurrence of placeholder in the current part.
  virtual bool insertFileAt(const QString& placeholder, const QString& path, QString* error) { return false; }

  // The current item's table rows set plain: one point smaller, not bold,
  // no shading, no top border (all-day rows of "allday" table templates).
  // Nothing where the item fills no table rows.
  virtual void plainItemRows() {}

  // Member rows of a distribution list in a report block: the first table
  // of the current part keeps its heading row and gets a copy of its other
  // rows per member; fill(n) fills member n (1-based) with the part
  // narrowed to that member's rows, and what it leaves unfilled there is
  // removed. False, with nothing done, where the target has no such table.
  virtual bool fillMemberRows(int members, const std::function<void(int member)>& fill) { return false; }
};

}  // namespace ordolo::tpl
