#include "office/convert/TableParts.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <pugixml.hpp>

#include <cstring>

#include "office/Package.h"

namespace ordolo::office::convert {

namespace {

const char* const kDocument = "word/document.xml";

bool isTrue(const pugi::xml_node& flag) {
  if (!flag) return false;
  const char* v = flag.attribute("w:val").value();
  return !*v || (std::strcmp(v, "0") && std::strcmp(v, "false") && std::strcmp(v, "off"));
}

bool anyOf(const QByteArray& bytes, std::initializer_list<const char*> words) {
  for (const char* w : words)
    if (bytes.contains(w)) return true;
  return false;
}

// A copy of `from` without its children.
pugi::xml_node shallowCopy(pugi::xml_node into, const pugi::xml_node& from) {
  pugi::xml_node made = into.append_child(from.name());
  for (const pugi::xml_attribute& a : from.attributes()) made.append_copy(a);
  return made;
}

}  // namespace

struct TableParts::Data {
  std::unique_ptr<Package> package;
  pugi::xml_document xml;
  pugi::xml_node body, table, sectPr;
  std::vector<pugi::xml_node> rows;
  int heading = 0;
  int firstPage = 1;
};

TableParts::TableParts() : d_(std::make_unique<Data>()) {}
TableParts::~TableParts() = default;

int TableParts::rows() const { return int(d_->rows.size()); }
int TableParts::headingRows() const { return d_->heading; }
int TableParts::firstPageNumber() const { return d_->firstPage; }

std::unique_ptr<TableParts> TableParts::inspect(const QString& docx, int minRows) {
  QString why;
  std::unique_ptr<Package> package = Package::open(docx, &why);
  if (!package || !package->has(QLatin1String(kDocument))) return nullptr;
  const std::optional<QByteArray> document = package->read(QLatin1String(kDocument), &why);
  if (!document) return nullptr;
  // Cheap first: a table of minRows rows has that many row elements.
  if (document->count("<w:tr>") + document->count("<w:tr ") < minRows) return nullptr;
  // What the cut would change: page counts and references, notes, floating
  // content, vertically merged cells; left and right pages told apart.
  for (const QString& name : package->entries()) {
    if (!name.startsWith(QLatin1String("word/")) || !name.endsWith(QLatin1String(".xml"))) continue;
    const std::optional<QByteArray> part = package->read(name, &why);
    if (!part || anyOf(*part, {"NUMPAGES", "SECTIONPAGES", "PAGEREF", "evenAndOddHeaders", "mirrorMargins"}))
      return nullptr;
  }
  if (anyOf(*document, {"<w:footnoteReference", "<w:endnoteReference", "<w:drawing", "<w:pict", "<w:object",
                        "<w:txbxContent", "<w:vMerge", "<mc:AlternateContent"}))
    return nullptr;

  std::unique_ptr<TableParts> parts(new TableParts);
  Data& d = *parts->d_;
  if (!d.xml.load_buffer(document->constData(), size_t(document->size()),
                         pugi::parse_default | pugi::parse_declaration | pugi::parse_ws_pcdata))
    return nullptr;
  d.body = d.xml.document_element().child("w:body");
  if (!d.body || d.body.select_node(".//w:pPr/w:sectPr")) return nullptr;  // one section only
  d.sectPr = d.body.child("w:sectPr");
  size_t longest = 0;
  for (pugi::xml_node t = d.body.child("w:tbl"); t; t = t.next_sibling("w:tbl")) {
    size_t n = 0;
    for (pugi::xml_node r = t.child("w:tr"); r; r = r.next_sibling("w:tr")) ++n;
    if (n > longest) {
      longest = n;
      d.table = t;
    }
  }
  if (int(longest) < minRows) return nullptr;
  for (pugi::xml_node r = d.table.child("w:tr"); r; r = r.next_sibling("w:tr")) d.rows.push_back(r);
  while (d.heading < int(d.rows.size()) && isTrue(d.rows[size_t(d.heading)].child("w:trPr").child("w:tblHeader")))
    ++d.heading;
  if (const pugi::xml_attribute start = d.sectPr.child("w:pgNumType").attribute("w:start"))
    d.firstPage = std::max(0, start.as_int());
  d.package = std::move(package);
  return parts;
}

bool TableParts::write(const QString& path, int from, int to, int pageNumber, QString* why) const {
  Data& d = *d_;
  pugi::xml_document out;
  for (const pugi::xml_node& n : d.xml.children())
    if (n.type() == pugi::node_declaration) out.append_copy(n);
  pugi::xml_node root = shallowCopy(out, d.xml.document_element());
  for (const pugi::xml_node& n : d.xml.document_element().children())
    if (n != d.body) root.append_copy(n);
  pugi::xml_node body = shallowCopy(root, d.body);
  const bool first = from == 0, last = to >= rows();
  bool before = true;
  for (const pugi::xml_node& n : d.body.children()) {
    if (n == d.table) {
      before = false;
      pugi::xml_node table = shallowCopy(body, d.table);
      for (const pugi::xml_node& c : d.table.children())
        if (std::strcmp(c.name(), "w:tr") != 0) table.append_copy(c);
      if (!first)
        for (int r = 0; r < d.heading; ++r) table.append_copy(d.rows[size_t(r)]);
      for (int r = from; r < to && r < rows(); ++r) table.append_copy(d.rows[size_t(r)]);
      if (!last) body.append_child("w:p");  // a table is followed by a paragraph
      continue;
    }
    if (n == d.sectPr) continue;
    if ((before && first) || (!before && last)) body.append_copy(n);
  }
  if (d.sectPr) {
    pugi::xml_node sect = body.append_copy(d.sectPr);
    if (!first) {
      // The part's first page is a page inside the document: its number, and
      // the header of any page but the first.
      sect.remove_child("w:titlePg");
      pugi::xml_node numbering = sect.child("w:pgNumType");
      if (!numbering) numbering = sect.append_child("w:pgNumType");
      pugi::xml_attribute start = numbering.attribute("w:start");
      if (!start) start = numbering.append_attribute("w:start");
      start.set_value(pageNumber);
    }
  }
  struct Writer : pugi::xml_writer {
    QByteArray bytes;
    void write(const void* data, size_t size) override { bytes.append(static_cast<const char*>(data), int(size)); }
  } writer;
  out.save(writer, "", pugi::format_raw, pugi::encoding_utf8);
  d.package->write(QLatin1String(kDocument), writer.bytes);
  return d.package->saveAs(path, why);
}

std::vector<int> TableParts::pageStarts(const QByteArray& answer, int from) const {
  std::vector<int> starts;
  for (const QByteArray& item : answer.split(',')) {
    bool ok = false;
    const int index = item.toInt(&ok);
    if (!ok || index < 0) starts.push_back(-1);
    else if (from == 0) starts.push_back(index);
    else starts.push_back(index < d_->heading ? -1 : from + index - d_->heading);
  }
  return starts;
}

bool TableParts::canJoin() { return !QStandardPaths::findExecutable(QStringLiteral("qpdf")).isEmpty(); }

bool TableParts::join(const std::vector<std::pair<QString, int>>& parts, const QString& output, int timeoutMs,
                      QString* why) {
  QStringList args{QStringLiteral("--empty"), QStringLiteral("--pages")};
  for (const auto& [file, pages] : parts) args << file << QStringLiteral("1-%1").arg(pages);
  args << QStringLiteral("--") << output;
  QProcess qpdf;
  qpdf.start(QStringLiteral("qpdf"), args);
  if (!qpdf.waitForFinished(timeoutMs)) {
    qpdf.kill();
    qpdf.waitForFinished(1000);
    *why = QStringLiteral("qpdf did not end within %1 s").arg(timeoutMs / 1000);
    return false;
  }
  // 3: done, with warnings.
  if (qpdf.exitStatus() != QProcess::NormalExit || (qpdf.exitCode() != 0 && qpdf.exitCode() != 3) ||
      !QFileInfo(output).isFile()) {
    *why = QString::fromLocal8Bit(qpdf.readAllStandardError()).trimmed();
    return false;
  }
  return true;
}

}  // namespace ordolo::office::convert
