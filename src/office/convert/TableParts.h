// A Word document that is mostly one long table, converted in parts.
//
// LibreOffice's layout time grows with the square of a table's length (a
// 1,000-row table takes 1 s, 4,000 rows take 40 s), so a long table is cut
// into documents of a few hundred rows. Each part begins where a page of the
// whole document begins, with the table's heading rows and the page number
// that page has, so its pages are those of the whole; LibreOffice says where
// each page of a part begins, the pages up to the last complete one are
// kept, and the next part starts with the row that began the page after
// them. The kept pages are joined with qpdf.
//
// Only documents whose pages cannot change by the cut are split: one
// section, no page counts or page references in fields, the same header on
// left and right pages, no notes, pictures or text boxes, no vertically
// merged cells.
#pragma once

#include <QString>

#include <memory>
#include <utility>
#include <vector>

namespace ordolo::office::convert {

class TableParts {
 public:
  // Null when `docx` has no body table of at least `minRows` rows, or holds
  // something that keeps it from being cut (see above).
  static std::unique_ptr<TableParts> inspect(const QString& docx, int minRows);
  ~TableParts();

  int rows() const;         // the table's rows, heading rows included
  int headingRows() const;  // rows repeated at the top of each page
  int firstPageNumber() const;

  // Writes rows [from, to) as a document of their own: with what comes
  // before the table when `from` is 0, else with the heading rows and its
  // pages numbered from `pageNumber`; with what follows the table when `to`
  // is rows().
  bool write(const QString& path, int from, int to, int pageNumber, QString* why) const;

  // The row of the whole table at which each page of a part written with
  // `from` begins, from the worker's answer: -1 where a page does not
  // begin with a whole row of the table.
  std::vector<int> pageStarts(const QByteArray& answer, int from) const;

  // qpdf on PATH: parts can be joined.
  static bool canJoin();
  // Joins the first `pages` pages of each PDF into `output`.
  static bool join(const std::vector<std::pair<QString, int>>& parts, const QString& output, int timeoutMs,
                   QString* why);

 private:
  TableParts();
  struct Data;
  std::unique_ptr<Data> d_;
};

}  // namespace ordolo::office::convert
