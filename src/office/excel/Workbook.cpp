#include "office/excel/Workbook.h"

#include "office/Package.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <cstring>

namespace ordolo::office::excel {

namespace {

constexpr unsigned kParse = pugi::parse_default | pugi::parse_declaration | pugi::parse_ws_pcdata;

const char* const kRelWorksheet = "/worksheet";
const char* const kMainSheet = "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml";
const char* const kMainMacro = "application/vnd.ms-excel.sheet.macroEnabled.main+xml";
const char* const kRelNs = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
const char* const kRelDrawing = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/drawing";
const char* const kRelImage = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/image";
const char* const kDrawingType = "application/vnd.openxmlformats-officedocument.drawing+xml";

// The order of a worksheet's children (the schema insists on it).
// clang-format off
const char* const kWorksheetOrder[] = {
    "sheetPr", "dimension", "sheetViews", "sheetFormatPr", "cols", "sheetData", "sheetCalcPr",
    "sheetProtection", "protectedRanges", "scenarios", "autoFilter", "sortState", "dataConsolidate",
    "customSheetViews", "mergeCells", "phoneticPr", "conditionalFormatting", "dataValidations", "hyperlinks",
    "printOptions", "pageMargins", "pageSetup", "headerFooter", "rowBreaks", "colBreaks", "customProperties",
    "cellWatches", "ignoredErrors", "smartTags", "drawing", "legacyDrawing", "legacyDrawingHF", "drawingHF",
    "picture", "oleObjects", "controls", "webPublishItems", "tableParts", "extLst"};

int orderOf(const char* name) {
  for (size_t i = 0; i < std::size(kWorksheetOrder); ++i)
    if (std::strcmp(kWorksheetOrder[i], name) == 0) return int(i);
  return int(std::size(kWorksheetOrder));
}

// Inserts a new child where the schema wants it.
pugi::xml_node insertOrdered(pugi::xml_node parent, const char* name) {
  const int order = orderOf(name);
  for (pugi::xml_node n = parent.first_child(); n; n = n.next_sibling())
    if (n.type() == pugi::node_element && orderOf(n.name()) > order) return parent.insert_child_before(name, n);
  return parent.append_child(name);
}

struct ByteWriter : pugi::xml_writer {
  QByteArray out;
  void write(const void* data, size_t size) override { out.append(static_cast<const char*>(data), int(size)); }
};
// clang-format on

QByteArray serialiseDoc(const pugi::xml_document& doc) {
  ByteWriter w;
  doc.save(w, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  return w.out;
}

bool isHex(QChar c) {
  return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || (c >= QLatin1Char('A') && c <= QLatin1Char('F')) ||
         (c >= QLatin1Char('a') && c <= QLatin1Char('f'));
}

// Cell texts escape characters XML cannot hold as "_xHHHH_" (and a literal
// "_xHHHH_" by escaping its underscore).
QString decodeEscapes(const char* utf8) {
  QString s = QString::fromUtf8(utf8);
  if (!s.contains(QLatin1String("_x"))) return s;
  QString out;
  out.reserve(s.size());
  for (int i = 0; i < s.size(); ++i) {
    if (s[i] == QLatin1Char('_') && i + 6 < s.size() && s[i + 1] == QLatin1Char('x') && isHex(s[i + 2]) &&
        isHex(s[i + 3]) && isHex(s[i + 4]) && isHex(s[i + 5]) && s[i + 6] == QLatin1Char('_')) {
      out += QChar(char16_t(s.mid(i + 2, 4).toUShort(nullptr, 16)));
      i += 6;
    } else {
      out += s[i];
    }
  }
  return out;
}

QByteArray encodeEscapes(const QString& s) {
  QString out;
  out.reserve(s.size());
  for (int i = 0; i < s.size(); ++i) {
    const QChar c = s[i];
    const bool control = c.unicode() < 0x20 && c != QLatin1Char('\t') && c != QLatin1Char('\n') &&
                         c != QLatin1Char('\r');
    const bool looksEscaped = c == QLatin1Char('_') && i + 6 < s.size() && s[i + 1] == QLatin1Char('x') &&
                              isHex(s[i + 2]) && isHex(s[i + 3]) && isHex(s[i + 4]) && isHex(s[i + 5]) &&
                              s[i + 6] == QLatin1Char('_');
    if (control || c.unicode() == 0xFFFE || c.unicode() == 0xFFFF || looksEscaped)
      out += QLatin1String("_x") + QStringLiteral("%1").arg(c.unicode(), 4, 16, QLatin1Char('0')).toUpper() +
             QLatin1Char('_');
    else out += c;
  }
  return out.toUtf8();
}

// The text of a shared string item or inline string: its plain <t>, or the
// <t> of its runs (phonetic runs are not part of the value).
QString stringItemText(pugi::xml_node si) {
  pugi::xml_node t = si.child("t");
  if (t && !si.child("r")) return decodeEscapes(t.text().get());
  QString out;
  for (pugi::xml_node n = si.first_child(); n; n = n.next_sibling()) {
    if (std::strcmp(n.name(), "t") == 0) out += decodeEscapes(n.text().get());
    else if (std::strcmp(n.name(), "r") == 0) out += decodeEscapes(n.child("t").text().get());
  }
  return out;
}

QString numberText(double v) { return QString::number(v, 'g', QLocale::FloatingPointShortest); }

// A text Excel would store as a number and that comes back exactly as typed.
bool plainNumber(const QString& text, double* value) {
  static const QRegularExpression re(QStringLiteral("^-?(0|[1-9][0-9]*)(\\.[0-9]+)?$"));
  if (text.size() > 17 || !re.match(text).hasMatch()) return false;
  bool ok = false;
  const double v = text.toDouble(&ok);
  if (!ok || numberText(v) != text) return false;
  *value = v;
  return true;
}

// A number format that shows a date or a time.
bool dateFormat(int id, const QString& code) {
  if ((id >= 14 && id <= 22) || (id >= 27 && id <= 36) || (id >= 45 && id <= 47) || (id >= 50 && id <= 58)) return true;
  if (code.isEmpty()) return false;
  bool quoted = false, bracket = false;
  for (int i = 0; i < code.size(); ++i) {
    const QChar c = code[i];
    if (quoted) {
      quoted = c != QLatin1Char('"');
      continue;
    }
    if (bracket) {
      if (c == QLatin1Char(']')) bracket = false;
      else if (QStringLiteral("hmsHMS").contains(c) && code.mid(i - 1, 1) == QLatin1String("[")) return true;
      continue;
    }
    if (c == QLatin1Char('"')) quoted = true;
    else if (c == QLatin1Char('[')) bracket = true;
    else if (c == QLatin1Char('\\') || c == QLatin1Char('_') || c == QLatin1Char('*')) ++i;
    else if (QStringLiteral("dmyhsDMYHS").contains(c)) return true;
  }
  return false;
}

QString resolveTarget(const QString& sourcePart, const QString& target) {
  if (target.startsWith(QLatin1Char('/'))) return QDir::cleanPath(target.mid(1));
  const QString dir = QFileInfo(sourcePart).path();
  return QDir::cleanPath(dir.isEmpty() || dir == QLatin1String(".") ? target : dir + QLatin1Char('/') + target);
}

QString relsOf(const QString& part) {
  const QFileInfo fi(part);
  const QString dir = fi.path() == QLatin1String(".") ? QString() : fi.path() + QLatin1Char('/');
  return dir + QStringLiteral("_rels/") + fi.fileName() + QStringLiteral(".rels");
}

// The target of `part` as written in a relationship of `source`.
QString relativeTarget(const QString& source, const QString& part) {
  return QDir(QStringLiteral("/") + QFileInfo(source).path()).relativeFilePath(QStringLiteral("/") + part);
}

// Adds a relationship with the first free "rIdN"; gives its id.
QString addRelationship(pugi::xml_document& rels, const char* type, const QString& target) {
  pugi::xml_node root = rels.document_element();
  std::unordered_set<std::string> ids;
  for (pugi::xml_node r = root.child("Relationship"); r; r = r.next_sibling("Relationship"))
    ids.insert(r.attribute("Id").value());
  int n = 1;
  while (ids.count("rId" + std::to_string(n))) ++n;
  const QString id = QStringLiteral("rId%1").arg(n);
  pugi::xml_node r = root.append_child("Relationship");
  r.append_attribute("Id") = id.toUtf8().constData();
  r.append_attribute("Type") = type;
  r.append_attribute("Target") = target.toUtf8().constData();
  return id;
}

// What Find and Replace look for: Excel's wildcards, whole cell or part.
class Pattern {
 public:
  Pattern(const QString& what, bool whole, bool matchCase)
      : whole_(whole), cs_(matchCase ? Qt::CaseSensitive : Qt::CaseInsensitive) {
    QString regex;
    for (int i = 0; i < what.size(); ++i) {
      const QChar c = what[i];
      if (c == QLatin1Char('~') && i + 1 < what.size()) {
        literal_ += what[++i];
        regex += QRegularExpression::escape(QString(what[i]));
      } else if (c == QLatin1Char('*')) {
        wild_ = true;
        regex += QLatin1String(".*");
      } else if (c == QLatin1Char('?')) {
        wild_ = true;
        regex += QLatin1Char('.');
      } else {
        literal_ += c;
        regex += QRegularExpression::escape(QString(c));
      }
    }
    empty_ = what.isEmpty();
    if (wild_) {
      QRegularExpression::PatternOptions o = QRegularExpression::DotMatchesEverythingOption;
      if (!matchCase) o |= QRegularExpression::CaseInsensitiveOption;
      re_ = QRegularExpression(whole ? QRegularExpression::anchoredPattern(regex) : regex, o);
    }
  }

  bool matches(const QString& text) const {
    if (empty_) return false;
    if (wild_) return re_.match(text).hasMatch();
    return whole_ ? text.compare(literal_, cs_) == 0 : text.contains(literal_, cs_);
  }

  // The text with the matches replaced; only called when matches() holds.
  QString replaced(const QString& text, const QString& replacement) const {
    if (whole_) return replacement;
    if (!wild_) return QString(text).replace(literal_, replacement, cs_);
    QString out;
    int pos = 0;
    auto it = re_.globalMatch(text);
    while (it.hasNext()) {
      const QRegularExpressionMatch m = it.next();
      if (m.capturedLength() == 0) continue;
      out += QStringView(text).mid(pos, m.capturedStart() - pos);
      out += replacement;
      pos = m.capturedEnd();
    }
    out += QStringView(text).mid(pos);
    return out;
  }

 private:
  bool whole_;
  Qt::CaseSensitivity cs_;
  bool wild_ = false;
  bool empty_ = false;
  QString literal_;
  QRegularExpression re_;
};

void setAttr(pugi::xml_node n, const char* name, const QString& value) {
  pugi::xml_attribute a = n.attribute(name);
  if (!a) a = n.append_attribute(name);
  a.set_value(value.toUtf8().constData());
}

// A cell's new address after its row moved.
void renumberRow(pugi::xml_node row, int r) {
  setAttr(row, "r", QString::number(r));
  for (pugi::xml_node c = row.child("c"); c; c = c.next_sibling("c")) {
    int oldRow = 0, col = 0;
    if (parseAddress(c.attribute("r").value(), &oldRow, &col)) setAttr(c, "r", address(r, col));
  }
}

}  // namespace

// ---------------------------------------------------------------- Range

std::optional<CellRef> Range::Find(const QString& What, int LookAt, int LookIn) const {
  if (!valid()) return std::nullopt;
  const Pattern p(What, LookAt == xlWhole, false);
  std::optional<CellRef> found;
  for (auto it = sheet_->rows_.lower_bound(first_); it != sheet_->rows_.end() && it->first <= last_ && !found; ++it) {
    for (pugi::xml_node c = it->second.child("c"); c; c = c.next_sibling("c")) {
      const CellValue v = sheet_->readCell(c);
      if (v.kind == CellValue::Kind::Empty || !p.matches(v.text)) continue;
      int r = 0, col = 0;
      if (!parseAddress(c.attribute("r").value(), &r, &col)) continue;
      found = CellRef{r, col};
      break;
    }
  }
  return found;
}

bool Range::Replace(const QString& What, const QString& Replacement, int LookAt, int SearchOrder, bool MatchCase) {
  if (!valid()) return false;
  const Pattern p(What, LookAt == xlWhole, MatchCase);
  // Worked out first and written only when every cell takes its result.
  std::vector<std::pair<pugi::xml_node, QString>> changes;
  for (auto it = sheet_->rows_.lower_bound(first_); it != sheet_->rows_.end() && it->first <= last_; ++it) {
    for (pugi::xml_node c = it->second.child("c"); c; c = c.next_sibling("c")) {
      const CellValue v = sheet_->readCell(c);
      if (v.kind == CellValue::Kind::Empty || v.isFormula || !p.matches(v.text)) continue;
      QString result = p.replaced(v.text, Replacement);
      if (result.size() > kMaxCellChars) return false;
      if (result != v.text) changes.emplace_back(c, std::move(result));
    }
  }
  for (const auto& [c, text] : changes) {
    double number = 0;
    if (plainNumber(text, &number)) sheet_->writeNumber(c, number);
    else sheet_->writeText(c, text);
  }
  return true;
}

// ---------------------------------------------------------------- Worksheet

Worksheet::~Worksheet() = default;

Range Worksheet::Cells() { return Range(this, 1, 1048576); }

Range Worksheet::Rows(int first, int last) { return Range(this, first, last); }

Range Worksheet::Rows(const QString& rows) {
  static const QRegularExpression re(QStringLiteral("^\\s*\\$?(\\d{1,7})\\s*(?::\\s*\\$?(\\d{1,7})\\s*)?$"));
  const QRegularExpressionMatch m = re.match(rows);
  if (!m.hasMatch()) return Range(this, 0, 0);
  const int first = m.captured(1).toInt();
  const int last = m.captured(2).isEmpty() ? first : m.captured(2).toInt();
  if (first < 1 || last > 1048576) return Range(this, 0, 0);
  return Range(this, std::min(first, last), std::max(first, last));
}

pugi::xml_node Worksheet::rowNode(int row) const {
  auto it = rows_.find(row);
  return it == rows_.end() ? pugi::xml_node() : it->second;
}

pugi::xml_node Worksheet::cellNode(int row, int column, bool create) {
  if (row < 1 || row > 1048576 || column < 1 || column > 16384) return {};
  pugi::xml_node r = rowNode(row);
  if (!r) {
    if (!create) return {};
    auto next = rows_.upper_bound(row);
    r = next == rows_.end() ? sheetData_.append_child("row") : sheetData_.insert_child_before("row", next->second);
    setAttr(r, "r", QString::number(row));
    rows_[row] = r;
  }
  pugi::xml_node before;
  for (pugi::xml_node c = r.child("c"); c; c = c.next_sibling("c")) {
    int cr = 0, cc = 0;
    if (!parseAddress(c.attribute("r").value(), &cr, &cc)) continue;
    if (cc == column) return c;
    if (cc > column) {
      before = c;
      break;
    }
  }
  if (!create) return {};
  pugi::xml_node c = before ? r.insert_child_before("c", before) : r.append_child("c");
  setAttr(c, "r", address(row, column));
  // A new cell takes the row's style, as Excel's own cells do.
  if (r.attribute("customFormat").as_bool() && r.attribute("s"))
    setAttr(c, "s", QString::fromUtf8(r.attribute("s").value()));
  return c;
}

CellValue Worksheet::readCell(pugi::xml_node c) const {
  CellValue v;
  const char* t = c.attribute("t").value();
  v.isFormula = bool(c.child("f"));
  pugi::xml_node vn = c.child("v");
  if (std::strcmp(t, "inlineStr") == 0) {
    v.kind = CellValue::Kind::Text;
    v.text = stringItemText(c.child("is"));
  } else if (!vn) {
    return v;
  } else if (std::strcmp(t, "s") == 0) {
    v.kind = CellValue::Kind::Text;
    v.text = book_->sharedString(vn.text().as_int(-1));
  } else if (std::strcmp(t, "str") == 0) {
    v.kind = CellValue::Kind::Text;
    v.text = decodeEscapes(vn.text().get());
  } else if (std::strcmp(t, "b") == 0) {
    v.kind = CellValue::Kind::Boolean;
    v.number = vn.text().as_int() ? 1 : 0;
    v.text = v.number ? QStringLiteral("TRUE") : QStringLiteral("FALSE");
  } else if (std::strcmp(t, "e") == 0) {
    v.kind = CellValue::Kind::Error;
    v.text = QString::fromUtf8(vn.text().get());
  } else {
    bool ok = false;
    v.number = QString::fromUtf8(vn.text().get()).trimmed().toDouble(&ok);
    if (!ok) return CellValue{};
    v.kind = CellValue::Kind::Number;
    v.text = numberText(v.number);
    v.isDate = book_->isDateStyle(c.attribute("s").as_int(0));
  }
  if (v.kind == CellValue::Kind::Text && v.text.isEmpty() && !v.isFormula) v.kind = CellValue::Kind::Empty;
  return v;
}

CellValue Worksheet::Value(int row, int column) const {
  pugi::xml_node c = const_cast<Worksheet*>(this)->cellNode(row, column, false);
  return c ? readCell(c) : CellValue{};
}

QString Worksheet::Formula(int row, int column) const {
  pugi::xml_node c = const_cast<Worksheet*>(this)->cellNode(row, column, false);
  pugi::xml_node f = c.child("f");
  if (!f) return {};
  const QString text = QString::fromUtf8(f.text().get());
  auto it = formulas_.find(f.internal_object());
  if (it == formulas_.end() || it->second >= shifts_.size()) return text;
  FormulaRefs refs(text, name_, true);
  const bool fixed = fixedRanges_.count(f.internal_object()) > 0;
  for (size_t k = it->second; k < shifts_.size(); ++k) {
    RowShift s = shifts_[k];
    if (fixed) s.growRangesAbove = false;
    refs.apply(s);
  }
  return refs.text();
}

void Worksheet::clearValue(pugi::xml_node c) {
  if (std::strcmp(c.attribute("t").value(), "s") == 0 && c.child("v")) --book_->sharedRefDelta_;
  if (pugi::xml_node f = c.child("f")) {
    formulas_.erase(f.internal_object());
    fixedRanges_.erase(f.internal_object());
  }
  for (const char* name : {"f", "v", "is"})
    while (pugi::xml_node n = c.child(name)) c.remove_child(n);
  c.remove_attribute("t");
  c.remove_attribute("cm");
  c.remove_attribute("vm");
  changed_ = true;
}

void Worksheet::writeText(pugi::xml_node c, const QString& text) {
  clearValue(c);
  if (text.isEmpty()) return;
  setAttr(c, "t", QStringLiteral("inlineStr"));
  pugi::xml_node t = c.prepend_child("is").append_child("t");
  t.append_attribute("xml:space").set_value("preserve");
  t.text().set(encodeEscapes(text).constData());
}

void Worksheet::writeNumber(pugi::xml_node c, double value) {
  clearValue(c);
  c.prepend_child("v").text().set(numberText(value).toUtf8().constData());
}

void Worksheet::SetText(int row, int column, const QString& value) {
  pugi::xml_node c = cellNode(row, column, true);
  if (!c) return;
  QString text = value.left(kMaxCellChars);
  if (text.size() == kMaxCellChars && QChar(text.back()).isHighSurrogate()) text.chop(1);
  writeText(c, text);
}

void Worksheet::SetValue(int row, int column, const QString& value) {
  double number = 0;
  if (plainNumber(value, &number)) SetNumber(row, column, number);
  else SetText(row, column, value);
}

void Worksheet::SetNumber(int row, int column, double value) {
  pugi::xml_node c = cellNode(row, column, true);
  if (c) writeNumber(c, value);
}

int Worksheet::firstRow() const { return rows_.empty() ? 0 : rows_.begin()->first; }
int Worksheet::lastRow() const { return rows_.empty() ? 0 : rows_.rbegin()->first; }

int Worksheet::lastColumn() const {
  int last = 0;
  for (const auto& [r, row] : rows_)
    if (pugi::xml_node c = row.last_child(); c) {
      for (; c; c = c.previous_sibling("c")) {
        int cr = 0, cc = 0;
        if (std::strcmp(c.name(), "c") == 0 && parseAddress(c.attribute("r").value(), &cr, &cc)) {
          last = std::max(last, cc);
          break;
        }
      }
    }
  return last;
}

void Worksheet::noteFormula(pugi::xml_node f) { formulas_[f.internal_object()] = shifts_.size(); }

void Worksheet::forgetRow(pugi::xml_node row) {
  for (pugi::xml_node c = row.child("c"); c; c = c.next_sibling("c")) {
    if (std::strcmp(c.attribute("t").value(), "s") == 0 && c.child("v")) --book_->sharedRefDelta_;
    if (pugi::xml_node f = c.child("f")) {
      formulas_.erase(f.internal_object());
      fixedRanges_.erase(f.internal_object());
    }
  }
}

void Worksheet::KeepRangesFixed(int first, int last) {
  for (auto it = rows_.lower_bound(first); it != rows_.end() && it->first <= last; ++it)
    for (pugi::xml_node c = it->second.child("c"); c; c = c.next_sibling("c"))
      if (pugi::xml_node f = c.child("f")) fixedRanges_.insert(f.internal_object());
}

// Moves the rows themselves at once (lookups need them where they are now);
// everything else that refers to rows catches up in flush().
void Worksheet::shiftRows(const RowShift& s) {
  if (s.delta == 0) return;
  if (s.delta < 0) {
    auto it = rows_.lower_bound(s.at);
    while (it != rows_.end() && it->first < s.at - s.delta) {
      forgetRow(it->second);
      sheetData_.remove_child(it->second);
      it = rows_.erase(it);
    }
  }
  std::vector<std::pair<int, pugi::xml_node>> moved;
  for (auto it = rows_.lower_bound(s.at); it != rows_.end();) {
    moved.emplace_back(it->first + s.delta, it->second);
    it = rows_.erase(it);
  }
  for (const auto& [r, node] : moved) {
    renumberRow(node, r);
    rows_[r] = node;
  }
  shifts_.push_back(s);
  book_->shiftDefinedNames(s);
  changed_ = rowsChanged_ = true;
}

RowBlock Worksheet::CopyRows(int first, int last) const {
  const_cast<Worksheet*>(this)->flush();
  RowBlock b;
  b.rows_ = std::make_shared<pugi::xml_document>();
  pugi::xml_node holder = b.rows_->append_child("rows");
  b.firstRow_ = first;
  b.rowCount_ = std::max(0, last - first + 1);
  for (auto it = rows_.lower_bound(first); it != rows_.end() && it->first <= last; ++it) holder.append_copy(it->second);
  for (const Merge& m : merges_)
    if (m.row1 >= first && m.row2 <= last) b.merges_.push_back({m.row1 - first, m.col1, m.row2 - first, m.col2});
  return b;
}

void Worksheet::InsertRows(int at, const RowBlock& block) {
  if (!block.rows_ || block.rowCount_ <= 0 || at < 1) return;
  shiftRows(RowShift{at, block.rowCount_, true});
  const int offset = at - block.firstRow_;
  auto next = rows_.lower_bound(at);
  pugi::xml_node before = next == rows_.end() ? pugi::xml_node() : next->second;
  for (pugi::xml_node src = block.rows_->first_child().child("row"); src; src = src.next_sibling("row")) {
    const int r = src.attribute("r").as_int() + offset;
    pugi::xml_node row = before ? sheetData_.insert_copy_before(src, before) : sheetData_.append_copy(src);
    renumberRow(row, r);
    rows_[r] = row;
    for (pugi::xml_node c = row.child("c"); c; c = c.next_sibling("c")) {
      if (std::strcmp(c.attribute("t").value(), "s") == 0 && c.child("v")) ++book_->sharedRefDelta_;
      pugi::xml_node f = c.child("f");
      if (!f) continue;
      // A shared formula's copy stands alone: its first cell keeps the
      // formula, the others keep their last value.
      if (std::strcmp(f.attribute("t").value(), "shared") == 0) {
        if (!*f.text().get()) {
          c.remove_child(f);
          continue;
        }
        f.remove_attribute("t");
        f.remove_attribute("ref");
        f.remove_attribute("si");
      }
      FormulaRefs refs(QString::fromUtf8(f.text().get()), name_, true);
      refs.offsetRelative(offset);
      f.text().set(refs.text().toUtf8().constData());
      if (pugi::xml_attribute ref = f.attribute("ref")) {
        FormulaRefs range(QString::fromUtf8(ref.value()), QString(), true);
        range.offsetRelative(offset);
        ref.set_value(range.text().toUtf8().constData());
      }
      noteFormula(f);
      fixedRanges_.insert(f.internal_object());
    }
  }
  for (const RowBlock::Merge& m : block.merges_)
    merges_.push_back({at + m.row1, m.col1, at + m.row2, m.col2, shifts_.size()});
}

void Worksheet::InsertEmptyRows(int at, int count) {
  if (at >= 1 && count > 0) shiftRows(RowShift{at, count, false});
}

void Worksheet::DeleteRows(int first, int count) {
  if (first >= 1 && count > 0) shiftRows(RowShift{first, -count, false});
}

void Worksheet::AddPageBreakBefore(int row) {
  if (row <= 1) return;
  for (const Break& b : breaks_)
    if (b.seen == shifts_.size() && b.row == row) return;
  breaks_.push_back({row, shifts_.size()});
  changed_ = true;
}

std::vector<int> Worksheet::pageBreaksBefore() const {
  const_cast<Worksheet*>(this)->flush();
  std::vector<int> out;
  for (const Break& b : breaks_) out.push_back(b.row);
  std::sort(out.begin(), out.end());
  return out;
}

void Worksheet::SetWrapText(int row, int column) {
  pugi::xml_node c = cellNode(row, column, true);
  if (!c) return;
  const int style = c.attribute("s").as_int(0);
  const int wrapped = book_->wrapStyle(style);
  if (wrapped != style) setAttr(c, "s", QString::number(wrapped));
  // The row grows to show every line: the height of a line times the lines
  // of its tallest cell. A line is as high as the template row, else the
  // sheet's default row; a row more than three default lines high (one
  // made for a picture) counts default lines and grows only past its own
  // height. Spreadsheet programs keep a stored height when they open the file.
  pugi::xml_node rowNode = c.parent();
  const int lines = int(Value(row, column).text.count(QLatin1Char('\n'))) + 1;
  auto known = rowBase_.find(rowNode.internal_object());
  const double defaultHeight =
      doc_.child("worksheet").child("sheetFormatPr").attribute("defaultRowHeight").as_double(15);
  double base = known != rowBase_.end() ? known->second : rowNode.attribute("ht").as_double(0);
  if (base <= 0) base = defaultHeight;
  rowBase_[rowNode.internal_object()] = base;
  const double line = base > 3 * defaultHeight ? defaultHeight : base;
  const double height = std::max({rowNode.attribute("ht").as_double(0), base, line * lines});
  setAttr(rowNode, "ht", QString::number(height, 'f', 2));
  setAttr(rowNode, "customHeight", QStringLiteral("1"));
  changed_ = true;
}

bool Worksheet::AddPicture(int row, int column, const QString& path, double widthPt, double heightPt, Error* error) {
  Picture p{row, column, {}, {}, {}, qint64(widthPt * 12700.0 + 0.5), qint64(heightPt * 12700.0 + 0.5), shifts_.size()};
  if (row < 1 || column < 1) {
    if (error) *error = Error(Problem::PictureInsert, {path, QStringLiteral("no cell %1,%2").arg(row).arg(column)});
    return false;
  }
  Error why;
  if (!ReadPicture(path, &p.data, &p.ext, &p.type, &why)) {
    if (error) *error = why;
    return false;
  }
  pictures_.push_back(std::move(p));
  changed_ = true;
  return true;
}

void Worksheet::flush() {
  const size_t now = shifts_.size();
  for (auto& [node, seen] : formulas_) {
    if (seen >= now) continue;
    pugi::xml_node f(node);
    FormulaRefs refs(QString::fromUtf8(f.text().get()), name_, true);
    if (!refs.empty()) {
      const bool fixed = fixedRanges_.count(node) > 0;
      for (size_t k = seen; k < now; ++k) {
        RowShift s = shifts_[k];
        if (fixed) s.growRangesAbove = false;
        refs.apply(s);
      }
      f.text().set(refs.text().toUtf8().constData());
    }
    if (pugi::xml_attribute ref = f.attribute("ref")) {
      FormulaRefs range(QString::fromUtf8(ref.value()), QString(), true);
      for (size_t k = seen; k < now; ++k) range.apply(shifts_[k]);
      ref.set_value(range.text().toUtf8().constData());
    }
    seen = now;
  }
  std::vector<Merge> merges;
  for (Merge m : merges_) {
    bool alive = true;
    for (size_t k = m.seen; k < now && alive; ++k) {
      RowShift s = shifts_[k];
      s.growRangesAbove = false;
      alive = shiftRange(&m.row1, &m.row2, s);
    }
    m.seen = now;
    if (alive && (m.row1 != m.row2 || m.col1 != m.col2)) merges.push_back(m);
  }
  merges_ = std::move(merges);
  std::vector<Break> breaks;
  for (Break b : breaks_) {
    for (size_t k = b.seen; k < now && b.row; ++k) b.row = shiftRow(b.row, shifts_[k]);
    b.seen = now;
    if (b.row > 1) breaks.push_back(b);
  }
  breaks_ = std::move(breaks);
  std::vector<Picture> pictures;
  for (Picture& p : pictures_) {
    for (size_t k = p.seen; k < now && p.row; ++k) p.row = shiftRow(p.row, shifts_[k]);
    p.seen = now;
    if (p.row) pictures.push_back(std::move(p));
  }
  pictures_ = std::move(pictures);
  for (auto& [attr, seen] : sqrefs_) {
    if (seen >= now || !attr) continue;
    QString value = QString::fromUtf8(attr.value());
    for (size_t k = seen; k < now && !value.isEmpty(); ++k) value = shiftSqref(value, shifts_[k]);
    seen = now;
    attr.set_value(value.toUtf8().constData());
  }
}

QByteArray Worksheet::serialise() {
  flush();
  pugi::xml_node root = doc_.document_element();
  // The cached results of formulas may no longer hold once cells or rows
  // changed: without them every reader calculates the formulas afresh.
  for (const auto& [node, seen] : formulas_) {
    pugi::xml_node c = pugi::xml_node(node).parent();
    if (pugi::xml_node v = c.child("v")) c.remove_child(v);
    c.remove_attribute("t");
  }
  // The used area.
  pugi::xml_node dim = root.child("dimension");
  if (!dim) dim = insertOrdered(root, "dimension");
  int minCol = 0, maxCol = 0;
  for (const auto& [r, row] : rows_)
    for (pugi::xml_node c = row.child("c"); c; c = c.next_sibling("c")) {
      int cr = 0, cc = 0;
      if (!parseAddress(c.attribute("r").value(), &cr, &cc)) continue;
      minCol = minCol ? std::min(minCol, cc) : cc;
      maxCol = std::max(maxCol, cc);
    }
  const QString ref = minCol ? address(firstRow(), minCol) + QLatin1Char(':') + address(lastRow(), maxCol)
                             : QStringLiteral("A1");
  setAttr(dim, "ref", ref);

  // Merged cells and page breaks live in memory and are written for the save.
  pugi::xml_node merges, breaks;
  if (!merges_.empty()) {
    merges = insertOrdered(root, "mergeCells");
    setAttr(merges, "count", QString::number(merges_.size()));
    for (const Merge& m : merges_)
      setAttr(merges.append_child("mergeCell"), "ref",
              address(m.row1, m.col1) + QLatin1Char(':') + address(m.row2, m.col2));
  }
  if (!breaks_.empty()) {
    std::vector<int> rows = pageBreaksBefore();
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    breaks = insertOrdered(root, "rowBreaks");
    setAttr(breaks, "count", QString::number(rows.size()));
    setAttr(breaks, "manualBreakCount", QString::number(rows.size()));
    for (int r : rows) {
      pugi::xml_node brk = breaks.append_child("brk");
      setAttr(brk, "id", QString::number(r - 1));
      setAttr(brk, "max", QStringLiteral("16383"));
      setAttr(brk, "man", QStringLiteral("1"));
    }
  }
  QByteArray out = serialiseDoc(doc_);
  if (merges) root.remove_child(merges);
  if (breaks) root.remove_child(breaks);
  return out;
}

// ---------------------------------------------------------------- Workbook

Workbook::Workbook() = default;
Workbook::~Workbook() = default;

const QString& Workbook::path() const { return package_->path(); }
QStringList Workbook::sheetNames() const { return sheetNames_; }

const QString& Workbook::sharedString(int index) const {
  static const QString none;
  return index >= 0 && size_t(index) < sharedStrings_.size() ? sharedStrings_[size_t(index)] : none;
}

bool Workbook::isDateStyle(int style) const {
  return style >= 0 && size_t(style) < dateStyles_.size() && dateStyles_[size_t(style)];
}

int Workbook::wrapStyle(int style) {
  auto known = wrapStyles_.find(style);
  if (known != wrapStyles_.end()) return known->second;
  pugi::xml_node xfs = styles_.document_element().child("cellXfs");
  if (!xfs) return style;
  int count = 0;
  pugi::xml_node source;
  for (pugi::xml_node xf = xfs.child("xf"); xf; xf = xf.next_sibling("xf"), ++count)
    if (count == style) source = xf;
  if (!source) return style;
  if (source.child("alignment").attribute("wrapText").as_bool()) return wrapStyles_[style] = style;
  pugi::xml_node copy = xfs.append_copy(source);
  setAttr(copy, "applyAlignment", QStringLiteral("1"));
  pugi::xml_node align = copy.child("alignment");
  if (!align) align = copy.prepend_child("alignment");
  setAttr(align, "wrapText", QStringLiteral("1"));
  setAttr(xfs, "count", QString::number(count + 1));
  dateStyles_.push_back(isDateStyle(style));
  stylesChanged_ = true;
  return wrapStyles_[style] = count;
}

void Workbook::shiftDefinedNames(const RowShift& s) {
  if (!sheet_) return;
  pugi::xml_node names = workbook_.document_element().child("definedNames");
  for (pugi::xml_node n = names.child("definedName"); n; n = n.next_sibling("definedName")) {
    const QString text = QString::fromUtf8(n.text().get());
    FormulaRefs refs(text, sheet_->name_, false);
    if (refs.empty()) continue;
    refs.apply(s);
    const QString shifted = refs.text();
    if (shifted != text) {
      n.text().set(shifted.toUtf8().constData());
      workbookChanged_ = true;
    }
  }
}

bool Workbook::parsePart(const QString& part, pugi::xml_document* doc, Error* error) const {
  const QString file = package_->path();
  if (!package_->has(part)) {
    if (error) *error = Error(Problem::WorkbookPart, {file, part});
    return false;
  }
  QString why;
  const std::optional<QByteArray> data = package_->read(part, &why);
  if (!data) {
    if (error) *error = Error(Problem::WorkbookOpen, {file, why});
    return false;
  }
  const pugi::xml_parse_result r = doc->load_buffer(data->constData(), size_t(data->size()), kParse,
                                                    pugi::encoding_utf8);
  if (!r || !doc->document_element()) {
    if (error)
      *error = Error(Problem::WorkbookXml,
                     {file, part, QStringLiteral("%1, byte %2").arg(QString::fromUtf8(r.description())).arg(r.offset)});
    return false;
  }
  return true;
}

std::unique_ptr<Workbook> Workbook::open(const QString& path, Error* error) {
  std::unique_ptr<Workbook> book(new Workbook);
  QString why;
  book->package_ = Package::open(path, &why);
  if (!book->package_) {
    if (error) *error = Error(Problem::WorkbookOpen, {path, why});
    return nullptr;
  }
  if (!book->load(error)) return nullptr;
  return book;
}

bool Workbook::load(Error* error) {
  // The workbook part, as the package's relationships name it.
  workbookPart_ = QStringLiteral("xl/workbook.xml");
  {
    pugi::xml_document rels;
    if (package_->has(QStringLiteral("_rels/.rels")) && parsePart(QStringLiteral("_rels/.rels"), &rels, nullptr)) {
      for (pugi::xml_node r = rels.document_element().child("Relationship"); r; r = r.next_sibling("Relationship"))
        if (QString::fromUtf8(r.attribute("Type").value()).endsWith(QLatin1String("/officeDocument")))
          workbookPart_ = resolveTarget(QString(), QString::fromUtf8(r.attribute("Target").value()));
    }
  }
  if (!parsePart(workbookPart_, &workbook_, error)) return false;
  relsPart_ = relsOf(workbookPart_);
  pugi::xml_document rels;
  if (!parsePart(relsPart_, &rels, error)) return false;
  std::map<QString, QString> worksheets;  // rId -> part
  for (pugi::xml_node r = rels.document_element().child("Relationship"); r; r = r.next_sibling("Relationship")) {
    const QString type = QString::fromUtf8(r.attribute("Type").value());
    const QString target = resolveTarget(workbookPart_, QString::fromUtf8(r.attribute("Target").value()));
    const QString id = QString::fromUtf8(r.attribute("Id").value());
    if (type.endsWith(QLatin1String(kRelWorksheet))) worksheets[id] = target;
    else if (type.endsWith(QLatin1String("/sharedStrings"))) sharedStringsPart_ = target;
    else if (type.endsWith(QLatin1String("/styles"))) stylesPart_ = target;
    else if (type.endsWith(QLatin1String("/calcChain"))) calcChainRelId_ = id;
  }

  // The active tab, else the first worksheet.
  pugi::xml_node root = workbook_.document_element();
  const int activeTab = root.child("bookViews").child("workbookView").attribute("activeTab").as_int(0);
  int index = 0, chosen = -1, firstSheet = -1;
  QString chosenPart, firstPart, chosenName, firstName;
  for (pugi::xml_node s = root.child("sheets").child("sheet"); s; s = s.next_sibling("sheet"), ++index) {
    const QString name = QString::fromUtf8(s.attribute("name").value());
    sheetNames_ << name;
    auto it = worksheets.find(QString::fromUtf8(s.attribute("r:id").value()));
    if (it == worksheets.end()) continue;  // a chart sheet or a broken entry
    if (firstSheet < 0) {
      firstSheet = index;
      firstPart = it->second;
      firstName = name;
    }
    if (index == activeTab) {
      chosen = index;
      chosenPart = it->second;
      chosenName = name;
    }
  }
  if (chosen < 0) {
    chosen = firstSheet;
    chosenPart = firstPart;
    chosenName = firstName;
  }
  if (chosen < 0) {
    if (error) *error = Error(Problem::WorkbookNoSheet, {package_->path()});
    return false;
  }

  if (!sharedStringsPart_.isEmpty()) {
    pugi::xml_document sst;
    if (!parsePart(sharedStringsPart_, &sst, error)) return false;
    for (pugi::xml_node si = sst.document_element().child("si"); si; si = si.next_sibling("si"))
      sharedStrings_.push_back(stringItemText(si));
  }
  if (!stylesPart_.isEmpty() && package_->has(stylesPart_)) {
    if (!parsePart(stylesPart_, &styles_, error)) return false;
    std::map<int, QString> formats;
    pugi::xml_node ss = styles_.document_element();
    for (pugi::xml_node f = ss.child("numFmts").child("numFmt"); f; f = f.next_sibling("numFmt"))
      formats[f.attribute("numFmtId").as_int()] = QString::fromUtf8(f.attribute("formatCode").value());
    for (pugi::xml_node xf = ss.child("cellXfs").child("xf"); xf; xf = xf.next_sibling("xf")) {
      const int id = xf.attribute("numFmtId").as_int(0);
      auto it = formats.find(id);
      dateStyles_.push_back(dateFormat(id, it == formats.end() ? QString() : it->second));
    }
  }

  auto sheet = std::unique_ptr<Worksheet>(new Worksheet);
  sheet->book_ = this;
  sheet->name_ = chosenName;
  sheet->part_ = chosenPart;
  sheet->index_ = chosen;
  if (!parsePart(chosenPart, &sheet->doc_, error)) return false;
  pugi::xml_node ws = sheet->doc_.document_element();
  sheet->sheetData_ = ws.child("sheetData");
  if (!sheet->sheetData_) sheet->sheetData_ = insertOrdered(ws, "sheetData");

  // Every row and cell gets its address written out (the format lets them
  // be implied), and the optional "spans" hints go: rows are edited.
  int nextRow = 1;
  for (pugi::xml_node row = sheet->sheetData_.child("row"); row; row = row.next_sibling("row")) {
    int r = row.attribute("r").as_int(0);
    if (r < 1 || r > 1048576) r = nextRow;
    if (r > 1048576 || sheet->rows_.count(r)) {
      nextRow = r + 1;
      continue;  // a damaged sheet: its extra rows stay but are not indexed
    }
    setAttr(row, "r", QString::number(r));
    row.remove_attribute("spans");
    sheet->rows_[r] = row;
    nextRow = r + 1;
    int nextCol = 1;
    for (pugi::xml_node c = row.child("c"); c; c = c.next_sibling("c")) {
      int cr = 0, cc = 0;
      if (!parseAddress(c.attribute("r").value(), &cr, &cc) || cr != r) {
        cc = cr == r && cc ? cc : nextCol;
        if (cc > 16384) cc = 16384;
        setAttr(c, "r", address(r, cc));
      }
      nextCol = cc + 1;
      if (pugi::xml_node f = c.child("f")) sheet->noteFormula(f);
    }
  }
  if (pugi::xml_node mc = ws.child("mergeCells")) {
    for (pugi::xml_node m = mc.child("mergeCell"); m; m = m.next_sibling("mergeCell")) {
      const QStringList ends = QString::fromUtf8(m.attribute("ref").value()).split(QLatin1Char(':'));
      int r1 = 0, c1 = 0, r2 = 0, c2 = 0;
      if (ends.size() == 2 && parseAddress(ends[0].toLatin1().constData(), &r1, &c1) &&
          parseAddress(ends[1].toLatin1().constData(), &r2, &c2))
        sheet->merges_.push_back({std::min(r1, r2), std::min(c1, c2), std::max(r1, r2), std::max(c1, c2), 0});
    }
    ws.remove_child(mc);
  }
  if (pugi::xml_node rb = ws.child("rowBreaks")) {
    for (pugi::xml_node b = rb.child("brk"); b; b = b.next_sibling("brk"))
      if (b.attribute("id").as_int(0) > 0) sheet->breaks_.push_back({b.attribute("id").as_int() + 1, 0});
    ws.remove_child(rb);
  }
  for (pugi::xml_node n = ws.child("conditionalFormatting"); n; n = n.next_sibling("conditionalFormatting"))
    if (pugi::xml_attribute a = n.attribute("sqref")) sheet->sqrefs_.emplace_back(a, 0);
  for (pugi::xml_node n = ws.child("dataValidations").child("dataValidation"); n; n = n.next_sibling("dataValidation"))
    if (pugi::xml_attribute a = n.attribute("sqref")) sheet->sqrefs_.emplace_back(a, 0);
  for (pugi::xml_node n = ws.child("hyperlinks").child("hyperlink"); n; n = n.next_sibling("hyperlink"))
    if (pugi::xml_attribute a = n.attribute("ref")) sheet->sqrefs_.emplace_back(a, 0);
  if (pugi::xml_attribute a = ws.child("autoFilter").attribute("ref")) sheet->sqrefs_.emplace_back(a, 0);
  sheet_ = std::move(sheet);
  return true;
}

bool Workbook::writePictures(Error* error) {
  Worksheet& ws = *sheet_;
  ws.flush();
  if (ws.pictures_.empty()) return true;
  auto loadRels = [&](const QString& part, pugi::xml_document* rels) {
    if (package_->has(part)) return parsePart(part, rels, error);
    rels->append_child("Relationships").append_attribute("xmlns") =
        "http://schemas.openxmlformats.org/package/2006/relationships";
    return true;
  };
  const QString sheetRelsPart = relsOf(ws.part_);
  pugi::xml_document sheetRels;
  if (!loadRels(sheetRelsPart, &sheetRels)) return false;

  // The sheet's drawing part, or a new one.
  pugi::xml_node root = ws.doc_.document_element();
  pugi::xml_node drawingRef = root.child("drawing");
  QString drawingPart;
  if (drawingRef) {
    const char* id = drawingRef.attribute("r:id").value();
    for (pugi::xml_node r = sheetRels.document_element().child("Relationship"); r; r = r.next_sibling("Relationship"))
      if (std::strcmp(r.attribute("Id").value(), id) == 0)
        drawingPart = resolveTarget(ws.part_, QString::fromUtf8(r.attribute("Target").value()));
  }
  pugi::xml_document drawing;
  const bool newDrawing = drawingPart.isEmpty() || !package_->has(drawingPart);
  if (!newDrawing) {
    if (!parsePart(drawingPart, &drawing, error)) return false;
  } else {
    int n = 1;
    do drawingPart = QStringLiteral("xl/drawings/drawing%1.xml").arg(n++);
    while (package_->has(drawingPart));
    pugi::xml_node wsDr = drawing.append_child("xdr:wsDr");
    wsDr.append_attribute("xmlns:xdr") = "http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing";
    wsDr.append_attribute("xmlns:a") = "http://schemas.openxmlformats.org/drawingml/2006/main";
    const QString id = addRelationship(sheetRels, kRelDrawing, relativeTarget(ws.part_, drawingPart));
    if (!drawingRef) drawingRef = insertOrdered(root, "drawing");
    setAttr(drawingRef, "r:id", id);
    if (!root.attribute("xmlns:r")) root.append_attribute("xmlns:r") = kRelNs;
  }
  const QString drawingRelsPart = relsOf(drawingPart);
  pugi::xml_document drawingRels;
  if (!loadRels(drawingRelsPart, &drawingRels)) return false;

  pugi::xml_document types;
  const QString typesPart = QStringLiteral("[Content_Types].xml");
  if (!parsePart(typesPart, &types, error)) return false;
  pugi::xml_node typesRoot = types.document_element();
  auto ensureDefault = [&](const QString& ext, const QString& type) {
    for (pugi::xml_node d = typesRoot.child("Default"); d; d = d.next_sibling("Default"))
      if (QString::fromUtf8(d.attribute("Extension").value()).compare(ext, Qt::CaseInsensitive) == 0) return;
    pugi::xml_node d = typesRoot.prepend_child("Default");
    d.append_attribute("Extension") = ext.toUtf8().constData();
    d.append_attribute("ContentType") = type.toUtf8().constData();
  };
  if (newDrawing) {
    pugi::xml_node o = typesRoot.append_child("Override");
    o.append_attribute("PartName") = ("/" + drawingPart).toUtf8().constData();
    o.append_attribute("ContentType") = kDrawingType;
  }

  int shapeId = 0;
  for (const pugi::xpath_node& x : drawing.select_nodes("//*[local-name()='cNvPr']"))
    shapeId = std::max(shapeId, x.node().attribute("id").as_int());
  int mediaNumber = 1;
  for (const Worksheet::Picture& p : ws.pictures_) {
    QString media;
    do media = QStringLiteral("xl/media/ordolo%1.%2").arg(mediaNumber++).arg(p.ext);
    while (package_->has(media));
    package_->write(media, p.data);
    ensureDefault(p.ext, p.type);
    const QString rid = addRelationship(drawingRels, kRelImage, relativeTarget(drawingPart, media));
    ++shapeId;
    // Each anchor declares its own namespaces: an existing drawing may bind
    // other prefixes. A 2 pt inset keeps the cell's borders in sight.
    const QString xml =
        QStringLiteral(
            "<xdr:oneCellAnchor xmlns:xdr=\"http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing\" "
            "xmlns:a=\"http://schemas.openxmlformats.org/drawingml/2006/main\" xmlns:r=\"%1\">"
            "<xdr:from><xdr:col>%2</xdr:col><xdr:colOff>25400</xdr:colOff><xdr:row>%3</xdr:row><xdr:rowOff>25400</xdr:rowOff></xdr:from>"
            "<xdr:ext cx=\"%4\" cy=\"%5\"/>"
            "<xdr:pic><xdr:nvPicPr><xdr:cNvPr id=\"%6\" name=\"Picture %6\"/>"
            "<xdr:cNvPicPr><a:picLocks noChangeAspect=\"1\"/></xdr:cNvPicPr></xdr:nvPicPr>"
            "<xdr:blipFill><a:blip r:embed=\"%7\"/><a:stretch><a:fillRect/></a:stretch></xdr:blipFill>"
            "<xdr:spPr><a:xfrm><a:off x=\"0\" y=\"0\"/><a:ext cx=\"%4\" cy=\"%5\"/></a:xfrm>"
            "<a:prstGeom prst=\"rect\"><a:avLst/></a:prstGeom></xdr:spPr></xdr:pic>"
            "<xdr:clientData/></xdr:oneCellAnchor>")
            .arg(QLatin1String(kRelNs))
            .arg(p.column - 1)
            .arg(p.row - 1)
            .arg(p.cx)
            .arg(p.cy)
            .arg(shapeId)
            .arg(rid);
    pugi::xml_document anchor;
    const QByteArray utf8 = xml.toUtf8();
    anchor.load_buffer(utf8.constData(), size_t(utf8.size()));
    drawing.document_element().append_copy(anchor.first_child());
  }
  package_->write(drawingPart, serialiseDoc(drawing));
  package_->write(drawingRelsPart, serialiseDoc(drawingRels));
  package_->write(sheetRelsPart, serialiseDoc(sheetRels));
  package_->write(typesPart, serialiseDoc(types));
  ws.pictures_.clear();
  ws.changed_ = true;
  return true;
}

bool Workbook::saveAs(const QString& path, Error* error) {
  auto fail = [&](const Error& why) {
    if (error) *error = Error(Problem::WorkbookSave, {path}, why);
    return false;
  };
  Error why;
  Worksheet& ws = *sheet_;
  if (!writePictures(&why)) return fail(why);
  if (ws.changed_ || ws.rowsChanged_) package_->write(ws.part_, ws.serialise());

  if (sharedRefDelta_ != 0 && !sharedStringsPart_.isEmpty()) {
    pugi::xml_document sst;
    if (parsePart(sharedStringsPart_, &sst, &why)) {
      pugi::xml_node root = sst.document_element();
      if (pugi::xml_attribute count = root.attribute("count")) {
        const qint64 n = std::max<qint64>(0, count.as_llong() + sharedRefDelta_);
        count.set_value(QByteArray::number(n).constData());
        package_->write(sharedStringsPart_, serialiseDoc(sst));
      }
      sharedRefDelta_ = 0;
    }
  }
  if (stylesChanged_) {
    package_->write(stylesPart_, serialiseDoc(styles_));
    stylesChanged_ = false;
  }
  // Formulas moved: Excel recalculates on opening and rebuilds its
  // calculation chain, which would otherwise name cells that moved.
  if (ws.rowsChanged_ && !ws.formulas_.empty()) {
    pugi::xml_node root = workbook_.document_element();
    pugi::xml_node calc = root.child("calcPr");
    if (!calc)
      calc = root.insert_child_after("calcPr",
                                     root.child("definedNames") ? root.child("definedNames") : root.child("sheets"));
    if (!calc.attribute("fullCalcOnLoad").as_bool()) {
      setAttr(calc, "fullCalcOnLoad", QStringLiteral("1"));
      workbookChanged_ = true;
    }
    if (!calcChainRelId_.isEmpty()) {
      pugi::xml_document rels;
      if (parsePart(relsPart_, &rels, &why)) {
        pugi::xml_node relations = rels.document_element();
        for (pugi::xml_node r = relations.child("Relationship"); r; r = r.next_sibling("Relationship"))
          if (QString::fromUtf8(r.attribute("Id").value()) == calcChainRelId_) {
            relations.remove_child(r);
            break;
          }
        package_->write(relsPart_, serialiseDoc(rels));
      }
      calcChainRelId_.clear();
    }
  }
  if (workbookChanged_) package_->write(workbookPart_, serialiseDoc(workbook_));

  // A template (.xltx) or any workbook saved as .xlsx is a workbook.
  {
    const QString typesPart = QStringLiteral("[Content_Types].xml");
    pugi::xml_document types;
    if (!parsePart(typesPart, &types, &why)) return fail(why);
    const bool macro = path.endsWith(QLatin1String(".xlsm"), Qt::CaseInsensitive);
    const char* wanted = macro ? kMainMacro : kMainSheet;
    const QByteArray partName = "/" + workbookPart_.toUtf8();
    for (pugi::xml_node o = types.document_element().child("Override"); o; o = o.next_sibling("Override")) {
      if (partName != o.attribute("PartName").value()) continue;
      if (std::strcmp(o.attribute("ContentType").value(), wanted) != 0) {
        o.attribute("ContentType").set_value(wanted);
        package_->write(typesPart, serialiseDoc(types));
      }
      break;
    }
  }
  QString reason;
  if (!package_->saveAs(path, &reason)) {
    if (error) *error = Error(Problem::WorkbookSave, {path, reason});
    return false;
  }
  return true;
}

}  // namespace ordolo::office::excel
