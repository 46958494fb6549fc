#include "office/word/Document.h"

#include "office/Package.h"
#include "office/word/Story.h"
#include "util/Folders.h"

#include <QFile>
#include <QFileInfo>
#include <QUrl>

#include <atomic>

#include <cstring>
#include <functional>
#include <map>
#include <set>

namespace ordolo::office::word {

namespace {

// Larger linked pictures stay links.
constexpr qint64 kMaxLinkedPicture = 32 * 1024 * 1024;

constexpr unsigned kParseOptions = pugi::parse_default | pugi::parse_declaration | pugi::parse_ws_pcdata;
constexpr const char* kRelNs = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
constexpr const char* kDocType = "application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml";
constexpr const char* kTemplateType =
    "application/vnd.openxmlformats-officedocument.wordprocessingml.template.main+xml";
constexpr const char* kMacroDocType = "application/vnd.ms-word.document.macroEnabled.main+xml";
constexpr const char* kMacroTemplateType = "application/vnd.ms-word.template.macroEnabledTemplate.main+xml";

bool Is(const pugi::xml_node& n, const char* name) {
  return n.type() == pugi::node_element && std::strcmp(n.name(), name) == 0;
}

// Collects pugixml's output in one buffer (a long document is not held twice).
struct ByteWriter : pugi::xml_writer {
  QByteArray bytes;
  void write(const void* data, size_t size) override { bytes.append(static_cast<const char*>(data), int(size)); }
};

QByteArray Serialize(const pugi::xml_document& doc) {
  ByteWriter w;
  doc.save(w, "", pugi::format_raw, pugi::encoding_utf8);
  return std::move(w.bytes);
}

QByteArray SerializeNode(const pugi::xml_node& n) {
  ByteWriter w;
  n.print(w, "", pugi::format_raw, pugi::encoding_utf8);
  return std::move(w.bytes);
}

// The folder part of a part name ("word/document.xml" -> "word/").
QString FolderOf(const QString& part) {
  const int slash = part.lastIndexOf(QLatin1Char('/'));
  return slash < 0 ? QString() : part.left(slash + 1);
}

// Resolves a relationship target against the folder of its source part.
QString ResolveTarget(const QString& folder, const QString& target) {
  if (target.startsWith(QLatin1Char('/'))) return target.mid(1);
  QStringList parts = (folder + target).split(QLatin1Char('/'));
  QStringList out;
  for (const QString& p : parts) {
    if (p == QLatin1String("..")) {
      if (!out.isEmpty()) out.removeLast();
    } else if (!p.isEmpty() && p != QLatin1String(".")) {
      out << p;
    }
  }
  return out.join(QLatin1Char('/'));
}

QString RelsNameOf(const QString& part) {
  return FolderOf(part) + QStringLiteral("_rels/") + part.mid(FolderOf(part).size()) + QStringLiteral(".rels");
}

// The children of n named `name`, looking through content controls and
// custom XML wrappers.
void ChildrenNamed(pugi::xml_node n, const char* name, std::vector<pugi::xml_node>& out) {
  for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
    if (Is(c, name)) {
      out.push_back(c);
    } else if (Is(c, "w:sdt")) {
      ChildrenNamed(c.child("w:sdtContent"), name, out);
    } else if (Is(c, "w:customXml")) {
      ChildrenNamed(c, name, out);
    }
  }
}

// Bookmarks are unique in a document: copied content carries none.
void RemoveBookmarks(pugi::xml_node n) {
  for (pugi::xml_node c = n.first_child(); c;) {
    pugi::xml_node next = c.next_sibling();
    if (Is(c, "w:bookmarkStart") || Is(c, "w:bookmarkEnd")) {
      n.remove_child(c);
    } else if (c.first_child()) {
      RemoveBookmarks(c);
    }
    c = next;
  }
}

struct Rel {
  QString type;
  QString target;
  bool external = false;
};

}  // namespace

struct Document::Impl {
  QString source;
  std::unique_ptr<Package> pkg;
  std::vector<std::unique_ptr<Part>> parts;
  Part* main = nullptr;
  Part* contentTypes = nullptr;
  Part* mainRels = nullptr;
  QString mainName;
  bool fromTemplate = false;
  bool macroEnabled = false;
  std::map<QString, Rel> rels;                  // of the main part, by id
  std::vector<std::unique_ptr<Story>> stories;  // in story type order
  Range selection;

  // Top-level tables of the main story and their rows, rebuilt when
  // structureGen moves.
  quint64 structureGen = 0;
  quint64 tablesGen = ~0ULL;
  std::vector<pugi::xml_node> tables;
  std::map<int, std::vector<pugi::xml_node>> rows;
  int nextPictureId = 0;
  Document::Importer importer;
  Part* styles = nullptr;
  bool stylesRead = false;

  // The font size (half points) a run without its own takes in paragraph p:
  // from the paragraph's style and the styles it is based on, else the
  // document default, else Word's 10 points.
  int inheritedHalfPoints(pugi::xml_node p);

  Part* addPart(const QString& name, Error* error);
  Part* findPart(const QString& name) {
    for (auto& p : parts)
      if (p->name == name) return p.get();
    return nullptr;
  }
  Story* story(StoryType t) {
    for (auto& s : stories)
      if (s->type() == t) return s.get();
    return nullptr;
  }
  Story* main_() { return story(StoryType::MainText); }
  void refreshTables();
  std::vector<pugi::xml_node>* rowsOf(int table);
  Para* firstPara(pugi::xml_node n);
  Para* lastPara(pugi::xml_node row);
  QString addRel(const QString& type, const QString& target, bool external);
  void ensureDefaultType(const QString& ext, const QString& type);
  void ensureRootNamespace(const char* prefix, const char* uri);
  void rebuildAround(Story& s, size_t first, pugi::xml_node from, pugi::xml_node to, int lastTail);
};

Part* Document::Impl::addPart(const QString& name, Error* error) {
  QString why;
  const auto data = pkg->read(name, &why);
  if (!data) {
    if (error) *error = Error(Problem::DocumentOpen, {source, why});
    return nullptr;
  }
  auto part = std::make_unique<Part>();
  part->name = name;
  const pugi::xml_parse_result r = part->xml.load_buffer(data->constData(), size_t(data->size()), kParseOptions);
  if (!r) {
    if (error)
      *error = Error(Problem::DocumentXml,
                     {source, name, QString::fromUtf8(r.description()), QString::number(r.offset)});
    return nullptr;
  }
  parts.push_back(std::move(part));
  return parts.back().get();
}

Document::Document() : d(std::make_unique<Impl>()) {}
Document::~Document() = default;

const QString& Document::sourcePath() const { return d->source; }

std::unique_ptr<Document> Document::create(const QString& path, Error* error) {
  std::unique_ptr<Document> doc(new Document);
  Impl& I = *doc->d;
  I.source = path;
  Error why;
  auto fail = [&](const Error& e) -> std::unique_ptr<Document> {
    if (error) *error = e;
    return nullptr;
  };
  const Error noBody(Problem::DocumentNoBody, {path});
  {
    QString reason;
    I.pkg = Package::open(path, &reason);
    if (!I.pkg) return fail(Error(Problem::DocumentOpen, {path, reason}));
  }

  // The main part is the package's officeDocument relationship.
  if (!I.pkg->has(QStringLiteral("_rels/.rels")) || !I.pkg->has(QStringLiteral("[Content_Types].xml")))
    return fail(noBody);
  Part* pkgRels = I.addPart(QStringLiteral("_rels/.rels"), &why);
  if (!pkgRels) return fail(why);
  for (pugi::xml_node r : pkgRels->xml.child("Relationships").children("Relationship")) {
    if (QString::fromUtf8(r.attribute("Type").value()).endsWith(QLatin1String("/officeDocument"))) {
      I.mainName = ResolveTarget(QString(), QString::fromUtf8(r.attribute("Target").value()));
      break;
    }
  }
  if (I.mainName.isEmpty() || !I.pkg->has(I.mainName)) return fail(noBody);
  I.contentTypes = I.addPart(QStringLiteral("[Content_Types].xml"), &why);
  if (!I.contentTypes) return fail(why);
  I.main = I.addPart(I.mainName, &why);
  if (!I.main) return fail(why);
  pugi::xml_node body = I.main->xml.child("w:document").child("w:body");
  if (!body) return fail(noBody);

  // Template or document, macros or not: from the main part's content type.
  const QString partName = QLatin1Char('/') + I.mainName;
  for (pugi::xml_node o : I.contentTypes->xml.child("Types").children("Override")) {
    if (QString::fromUtf8(o.attribute("PartName").value()) != partName) continue;
    const char* type = o.attribute("ContentType").value();
    I.fromTemplate = std::strcmp(type, kTemplateType) == 0 || std::strcmp(type, kMacroTemplateType) == 0;
    I.macroEnabled = std::strcmp(type, kMacroTemplateType) == 0 || std::strcmp(type, kMacroDocType) == 0;
    if (I.fromTemplate) {
      o.attribute("ContentType") = I.macroEnabled ? kMacroDocType : kDocType;
      I.contentTypes->dirty = true;
    }
  }

  const QString relsName = RelsNameOf(I.mainName);
  if (I.pkg->has(relsName)) {
    I.mainRels = I.addPart(relsName, &why);
    if (!I.mainRels) return fail(why);
    for (pugi::xml_node r : I.mainRels->xml.child("Relationships").children("Relationship")) {
      Rel rel;
      rel.type = QString::fromUtf8(r.attribute("Type").value());
      rel.external = std::strcmp(r.attribute("TargetMode").value(), "External") == 0;
      rel.target = rel.external ? QString::fromUtf8(r.attribute("Target").value())
                                : ResolveTarget(FolderOf(I.mainName), QString::fromUtf8(r.attribute("Target").value()));
      I.rels[QString::fromUtf8(r.attribute("Id").value())] = rel;
    }
  }

  auto mainStory = std::make_unique<Story>(StoryType::MainText, I.main);
  mainStory->addContainer(body);
  I.selection = Range{mainStory.get(), 0, 0};
  std::vector<std::unique_ptr<Story>> found;
  found.push_back(std::move(mainStory));

  // Notes and comments exist as stories, though replacement leaves them alone.
  const std::pair<const char*, StoryType> kNoteParts[] = {
      {"/footnotes", StoryType::Footnotes}, {"/endnotes", StoryType::Endnotes}, {"/comments", StoryType::Comments}};
  for (const auto& [suffix, type] : kNoteParts) {
    for (const auto& [id, rel] : I.rels) {
      if (rel.external || !rel.type.endsWith(QLatin1String(suffix)) || !I.pkg->has(rel.target)) continue;
      Part* part = I.addPart(rel.target, &why);
      if (!part) return fail(why);
      auto s = std::make_unique<Story>(type, part);
      for (pugi::xml_node n : part->xml.document_element().children()) s->addContainer(n);
      found.push_back(std::move(s));
      break;
    }
  }

  // Text boxes of the main part, in document order (a box's fallback copy
  // for older readers is searched too, so both stay alike).
  {
    auto s = std::make_unique<Story>(StoryType::TextFrame, I.main);
    for (const pugi::xpath_node& x : I.main->xml.select_nodes("//w:txbxContent")) s->addContainer(x.node());
    if (s->count() > 0) found.push_back(std::move(s));
  }

  // Headers and footers: the first section that has one of a kind gives it.
  std::vector<pugi::xml_node> sections;
  for (const pugi::xpath_node& x : body.select_nodes(".//w:sectPr")) sections.push_back(x.node());
  for (pugi::xml_node sect : sections) {
    for (pugi::xml_node ref : sect.children()) {
      const bool header = Is(ref, "w:headerReference");
      if (!header && !Is(ref, "w:footerReference")) continue;
      const char* kind = ref.attribute("w:type").value();
      StoryType type;
      if (std::strcmp(kind, "even") == 0) {
        type = header ? StoryType::EvenPagesHeader : StoryType::EvenPagesFooter;
      } else if (std::strcmp(kind, "first") == 0) {
        type = header ? StoryType::FirstPageHeader : StoryType::FirstPageFooter;
      } else {
        type = header ? StoryType::PrimaryHeader : StoryType::PrimaryFooter;
      }
      bool have = false;
      for (auto& s : found) have = have || s->type() == type;
      if (have) continue;
      auto it = I.rels.find(QString::fromUtf8(ref.attribute("r:id").value()));
      if (it == I.rels.end() || it->second.external || !I.pkg->has(it->second.target)) continue;
      Part* part = I.findPart(it->second.target);
      if (!part) part = I.addPart(it->second.target, &why);
      if (!part) return fail(why);
      auto s = std::make_unique<Story>(type, part);
      s->addContainer(part->xml.document_element());
      for (const pugi::xpath_node& x : part->xml.select_nodes("//w:txbxContent")) s->addContainer(x.node());
      found.push_back(std::move(s));
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return int(a->type()) < int(b->type()); });
  I.stories = std::move(found);
  return doc;
}

// ---------------------------------------------------------------- stories

std::vector<Story*> Document::storyRanges() {
  std::vector<Story*> out;
  for (auto& s : d->stories) out.push_back(s.get());
  return out;
}

Story* Document::story(StoryType type) { return d->story(type); }
Story* Document::mainStory() { return d->main_(); }
StoryType Document::typeOf(const Story* s) { return s->type(); }

QString Document::text(const Range& r) const { return r.story ? r.story->text(r.start, r.end) : QString(); }
QString Document::storyText(const Story* s) const {
  Story* m = const_cast<Story*>(s);
  return m->text(0, m->size());
}
QString Document::contentText() const { return storyText(d->main_()); }

QString Document::searchedText() const {
  QString out;
  for (auto& s : d->stories) {
    const int t = int(s->type());
    if (t >= 2 && t <= 4) continue;
    out += storyText(s.get());
  }
  return out;
}

Range Document::content() { return storyRange(d->main_()); }
Range Document::storyRange(Story* s) { return Range{s, 0, s->size()}; }
Range& Document::selection() { return d->selection; }

// ---------------------------------------------------------------- find

FindResult Document::execute(Range& range, const FindOptions& find, ReplaceMode mode) {
  FindResult res;
  Story* s = range.story;
  if (!s) {
    res.ok = false;
    res.error = QStringLiteral("no story");
    return res;
  }
  QString why;
  const Pattern pat = Pattern::compile(find.text, find.matchWildcards, find.matchCase, &why);
  if (!pat.valid()) {
    res.ok = false;
    res.error = why;
    return res;
  }
  StorySource src(*s);
  // The spans to search, in order.
  std::vector<std::pair<int, int>> spans;
  if (range.collapsed()) {
    spans.push_back({range.start, s->size()});
    if (find.wrap == Wrap::Continue && range.start > 0) spans.push_back({0, range.start});
  } else {
    spans.push_back({range.start, range.end});
  }
  for (size_t k = 0; k < spans.size(); ++k) {
    int pos = spans[k].first;
    int end = spans[k].second;
    while (pos <= end) {
      why.clear();
      const std::optional<Match> m = pat.search(src, pos, end, &why);
      if (!m) {
        if (!why.isEmpty()) {
          res.ok = false;
          res.error = why;
          return res;
        }
        break;
      }
      if (mode == ReplaceMode::None) {
        range.start = m->start;
        range.end = m->end;
        res.found = 1;
        return res;
      }
      const QString chars = ExpandReplacement(find.replacement, find.matchWildcards, src, *m);
      int inserted = 0;
      if (!s->replace(m->start, m->end, chars, &inserted, &why)) {
        res.ok = false;
        res.error = why;
        return res;
      }
      ++res.found;
      const int delta = inserted - (m->end - m->start);
      end += delta;
      // The second span lies before the first; its end moves with edits in it only.
      if (mode == ReplaceMode::One) {
        range.start = m->start;
        range.end = m->start + inserted;
        return res;
      }
      pos = m->start + inserted + (m->end == m->start ? 1 : 0);
    }
  }
  if (mode == ReplaceMode::All && range.story == d->selection.story) {
    d->selection.start = std::min(d->selection.start, s->size());
    d->selection.end = std::min(d->selection.end, s->size());
  }
  return res;
}

// ---------------------------------------------------------------- tables

void Document::Impl::refreshTables() {
  // Text edits never add or remove tables; pastes, inserted files and
  // deletions across paragraphs may.
  const quint64 gen = structureGen + main_()->structure();
  if (tablesGen == gen) return;
  tables.clear();
  rows.clear();
  ChildrenNamed(main->xml.child("w:document").child("w:body"), "w:tbl", tables);
  tablesGen = gen;
}

std::vector<pugi::xml_node>* Document::Impl::rowsOf(int table) {
  refreshTables();
  if (table < 1 || table > int(tables.size())) return nullptr;
  auto it = rows.find(table);
  if (it != rows.end()) return &it->second;
  std::vector<pugi::xml_node> list;
  ChildrenNamed(tables[size_t(table - 1)], "w:tr", list);
  return &(rows[table] = std::move(list));
}

Para* Document::Impl::firstPara(pugi::xml_node n) {
  pugi::xml_node p = n.find_node([](pugi::xml_node x) { return Is(x, "w:p"); });
  return p ? main_()->paraOf(p) : nullptr;
}

Para* Document::Impl::lastPara(pugi::xml_node n) {
  // The last paragraph in document order that belongs to the main story.
  Para* found = nullptr;
  std::function<void(pugi::xml_node)> walk = [&](pugi::xml_node x) {
    for (pugi::xml_node c = x.last_child(); c && !found; c = c.previous_sibling()) {
      if (Is(c, "w:p")) {
        found = main_()->paraOf(c);
      } else if (c.type() == pugi::node_element && !Is(c, "w:tcPr") && !Is(c, "w:trPr")) {
        walk(c);
      }
    }
  };
  walk(n);
  return found;
}

int Document::tableCount() {
  d->refreshTables();
  return int(d->tables.size());
}

int Document::rowCount(int table) {
  auto* r = d->rowsOf(table);
  return r ? int(r->size()) : 0;
}

int Document::columnCount(int table) {
  auto* r = d->rowsOf(table);
  if (!r || r->empty()) return 0;
  int n = 0;
  for (pugi::xml_node tc : r->front().children("w:tc"))
    n += std::max(1, tc.child("w:tcPr").child("w:gridSpan").attribute("w:val").as_int(1));
  return n;
}

std::optional<Range> Document::rowRange(int table, int row) {
  auto* r = d->rowsOf(table);
  if (!r || row < 1 || row > int(r->size())) return std::nullopt;
  pugi::xml_node tr = (*r)[size_t(row - 1)];
  Para* first = d->firstPara(tr);
  Para* last = d->lastPara(tr);
  if (!first || !last) return std::nullopt;
  Story* s = d->main_();
  return Range{s, s->startOf(first->idx), s->startOf(last->idx) + last->text.size()};
}

std::optional<Range> Document::cellRange(int table, int row, int column) {
  auto* r = d->rowsOf(table);
  if (!r || row < 1 || row > int(r->size()) || column < 1) return std::nullopt;
  int k = 0;
  for (pugi::xml_node tc : (*r)[size_t(row - 1)].children("w:tc")) {
    if (++k != column) continue;
    Para* first = d->firstPara(tc);
    Para* last = d->lastPara(tc);
    if (!first || !last) return std::nullopt;
    Story* s = d->main_();
    // The cell's text without its end mark.
    const int end = s->startOf(last->idx) + last->contentLength();
    return Range{s, s->startOf(first->idx), end};
  }
  return std::nullopt;
}

bool Document::deleteRow(int table, int row) {
  auto* r = d->rowsOf(table);
  if (!r || row < 1 || row > int(r->size())) return false;
  pugi::xml_node tr = (*r)[size_t(row - 1)];
  Para* first = d->firstPara(tr);
  Para* last = d->lastPara(tr);
  Story* s = d->main_();
  if (first && last) s->eraseParas(first->idx, last->idx + 1);
  if (r->size() == 1) {
    // A table without rows is no table: it goes as Word removes it.
    pugi::xml_node tbl = d->tables[size_t(table - 1)];
    tbl.parent().remove_child(tbl);
    ++d->structureGen;
  } else {
    tr.parent().remove_child(tr);
    r->erase(r->begin() + (row - 1));
  }
  s->touch();
  d->selection = Range{s, std::min(d->selection.start, s->size()), std::min(d->selection.start, s->size())};
  return true;
}

RowBlock Document::copyRows(int table, int first, int last) {
  RowBlock block;
  auto* r = d->rowsOf(table);
  if (!r) return block;
  first = std::max(first, 1);
  last = std::min(last, int(r->size()));
  for (int i = first; i <= last; ++i) block.rowsXml.push_back(SerializeNode((*r)[size_t(i - 1)]));
  return block;
}

bool Document::appendRows(int table, const RowBlock& block) { return insertRows(table, rowCount(table), block); }

bool Document::insertRows(int table, int afterRow, const RowBlock& block) {
  auto* r = d->rowsOf(table);
  if (!r || afterRow < 1 || afterRow > int(r->size()) || block.empty()) return false;
  Story* s = d->main_();
  Para* last = d->lastPara((*r)[size_t(afterRow - 1)]);
  if (!last) return false;
  size_t at = last->idx + 1;
  size_t rowAt = size_t(afterRow);
  pugi::xml_node after = (*r)[size_t(afterRow - 1)];
  for (const QByteArray& xml : block.rowsXml) {
    pugi::xml_document tmp;
    if (!tmp.load_buffer(xml.constData(), size_t(xml.size()), kParseOptions) || !Is(tmp.first_child(), "w:tr"))
      return false;
    pugi::xml_node tr = after.parent().insert_copy_after(tmp.first_child(), after);
    RemoveBookmarks(tr);
    std::vector<pugi::xml_node> nodes;
    std::vector<int> tails;
    Story::collectNode(tr, nodes, tails);
    s->insertParas(at, nodes, tails);
    at += nodes.size();
    r->insert(r->begin() + std::ptrdiff_t(rowAt++), tr);
    after = tr;
  }
  s->touch();
  return true;
}

bool Document::formatRow(int table, int row, const RowFormat& f) {
  auto* r = d->rowsOf(table);
  if (!r || row < 1 || row > int(r->size())) return false;
  pugi::xml_node tr = (*r)[size_t(row - 1)];
  if (f.fontSizeChange || f.bold) {
    for (const pugi::xpath_node& x : tr.select_nodes(".//w:r")) {
      pugi::xml_node run = x.node();
      pugi::xml_node rpr = run.child("w:rPr");
      if (!rpr) rpr = run.prepend_child("w:rPr");
      if (f.fontSizeChange) {
        pugi::xml_node sz = rpr.child("w:sz");
        pugi::xml_node para = run.parent();
        while (para && !Is(para, "w:p")) para = para.parent();
        const int cur = sz ? sz.attribute("w:val").as_int(20) : d->inheritedHalfPoints(para);
        const int next = std::max(2, cur + int(*f.fontSizeChange * 2));
        if (!sz) sz = rpr.append_child("w:sz");
        if (!sz.attribute("w:val")) sz.append_attribute("w:val");
        sz.attribute("w:val") = next;
        pugi::xml_node szcs = rpr.child("w:szCs");
        if (szcs)
          szcs.attribute("w:val") = std::max(2, szcs.attribute("w:val").as_int(cur) + int(*f.fontSizeChange * 2));
      }
      if (f.bold) {
        for (const char* name : {"w:b", "w:bCs"}) {
          pugi::xml_node b = rpr.child(name);
          if (!b) b = rpr.append_child(name);
          if (!b.attribute("w:val")) b.append_attribute("w:val");
          b.attribute("w:val") = *f.bold ? "1" : "0";
        }
      }
    }
  }
  for (pugi::xml_node tc : tr.children("w:tc")) {
    pugi::xml_node tcpr = tc.child("w:tcPr");
    if (!tcpr) tcpr = tc.prepend_child("w:tcPr");
    if (f.clearShading) {
      pugi::xml_node shd = tcpr.child("w:shd");
      if (!shd) shd = tcpr.append_child("w:shd");
      shd.remove_attributes();
      shd.append_attribute("w:val") = "clear";
      shd.append_attribute("w:color") = "auto";
      shd.append_attribute("w:fill") = "auto";
    }
    if (f.removeTopBorder) {
      pugi::xml_node borders = tcpr.child("w:tcBorders");
      if (!borders) borders = tcpr.append_child("w:tcBorders");
      pugi::xml_node top = borders.child("w:top");
      if (!top) top = borders.prepend_child("w:top");
      top.remove_attributes();
      top.append_attribute("w:val") = "nil";
    }
  }
  if (Para* first = d->firstPara(tr)) {
    if (Para* last = d->lastPara(tr)) {
      for (size_t i = first->idx; i <= last->idx; ++i) d->main_()->reindex(d->main_()->para(i));
    }
  }
  d->main_()->touch();
  return true;
}

// ---------------------------------------------------------------- bookmarks

bool Document::addBookmark(const QString& name, const Range& r) {
  Story* s = d->main_();
  if (r.story != s) return false;
  const QByteArray utf8 = name.toUtf8();
  pugi::xml_node root = d->main->xml.child("w:document");
  int maxId = 0;
  std::vector<pugi::xml_node> old;
  QString oldId;
  for (const pugi::xpath_node& x : root.select_nodes("//w:bookmarkStart")) {
    maxId = std::max(maxId, x.node().attribute("w:id").as_int());
    if (std::strcmp(x.node().attribute("w:name").value(), utf8.constData()) == 0) {
      old.push_back(x.node());
      oldId = QString::fromUtf8(x.node().attribute("w:id").value());
    }
  }
  if (!old.empty()) {
    const QByteArray id = oldId.toUtf8();
    for (const pugi::xpath_node& x : root.select_nodes("//w:bookmarkEnd"))
      if (std::strcmp(x.node().attribute("w:id").value(), id.constData()) == 0) old.push_back(x.node());
    for (pugi::xml_node n : old) {
      pugi::xml_node p = n.parent();
      while (p && !Is(p, "w:p")) p = p.parent();
      n.parent().remove_child(n);
      if (Para* para = s->paraOf(p)) s->reindex(*para);
    }
  }
  const QByteArray idText = QByteArray::number(maxId + 1);
  pugi::xml_document tmp;
  pugi::xml_node start = tmp.append_child("w:bookmarkStart");
  start.append_attribute("w:id") = idText.constData();
  start.append_attribute("w:name") = utf8.constData();
  pugi::xml_node end = tmp.append_child("w:bookmarkEnd");
  end.append_attribute("w:id") = idText.constData();
  QString why;
  // The end goes in first so that the start's insertion cannot move it.
  if (!s->insertNode(std::max(r.end, r.start), end, nullptr, &why)) return false;
  return s->insertNode(r.start, start, nullptr, &why);
}

std::optional<Range> Document::bookmark(const QString& name) {
  Story* s = d->main_();
  const QByteArray utf8 = name.toUtf8();
  pugi::xml_node root = d->main->xml.child("w:document");
  pugi::xml_node start = root.find_node([&](pugi::xml_node n) {
    return Is(n, "w:bookmarkStart") && std::strcmp(n.attribute("w:name").value(), utf8.constData()) == 0;
  });
  if (!start) return std::nullopt;
  const std::string id = start.attribute("w:id").value();
  pugi::xml_node end = root.find_node([&](pugi::xml_node n) {
    return Is(n, "w:bookmarkEnd") && id == n.attribute("w:id").value();
  });
  auto positionOf = [&](pugi::xml_node n) -> std::optional<int> {
    pugi::xml_node p = n;
    while (p && !Is(p, "w:p")) p = p.parent();
    if (!p) {
      // Between paragraphs: the start of the next one.
      for (pugi::xml_node x = n.next_sibling(); x; x = x.next_sibling())
        if (Para* para = d->firstPara(x)) return s->startOf(para->idx);
      return s->size();
    }
    Para* para = s->paraOf(p);
    if (!para) return std::nullopt;
    for (const Seg& seg : para->segs)
      if (seg.node == n) return s->startOf(para->idx) + seg.start;
    return std::nullopt;
  };
  const auto a = positionOf(start);
  if (!a) return std::nullopt;
  const auto b = end ? positionOf(end) : a;
  return Range{s, *a, std::max(*a, b.value_or(*a))};
}

// ---------------------------------------------------------------- typing

bool Document::typeText(const QString& text) {
  Range& sel = d->selection;
  if (!sel.story) return false;
  QString chars = text;
  chars.replace(QLatin1String("\r\n"), QLatin1String("\r"));
  chars.replace(QLatin1Char('\n'), QLatin1Char('\r'));
  int inserted = 0;
  QString why;
  if (!sel.story->replace(sel.start, sel.end, chars, &inserted, &why)) return false;
  sel.start += inserted;
  sel.end = sel.start;
  return true;
}

bool Document::typeBackspace() {
  Range& sel = d->selection;
  if (!sel.story) return false;
  QString why;
  if (sel.collapsed()) {
    if (sel.start == 0) return false;
    if (!sel.story->remove(sel.start - 1, sel.start, &why)) return false;
    --sel.start;
  } else if (!sel.story->remove(sel.start, sel.end, &why)) {
    return false;
  }
  sel.end = sel.start;
  return true;
}

// ---------------------------------------------------------------- copy and paste

void Document::Impl::rebuildAround(Story& s, size_t first, pugi::xml_node from, pugi::xml_node to, int lastTail) {
  std::vector<pugi::xml_node> nodes;
  std::vector<int> tails;
  for (pugi::xml_node x = from;; x = x.next_sibling()) {
    Story::collectNode(x, nodes, tails);
    if (x == to) break;
  }
  if (!nodes.empty()) tails.back() = lastTail;
  s.eraseParas(first, first + 1);
  s.insertParas(first, nodes, tails);
  ++structureGen;
}

Fragment Document::copy(const Range& r) {
  Fragment f;
  Story* s = d->main_();
  if (r.story != s || r.collapsed()) return f;
  auto [i, oa] = s->locate(r.start);
  auto [j, ob] = s->locate(r.end);
  Para& A = s->para(i);
  Para& B = s->para(j);
  if (A.p.parent() != B.p.parent() && !(ob == 0 && j == i + 1)) return f;
  pugi::xml_document tmp;
  pugi::xml_node body = tmp.append_child("w:body");
  bool wholeLast = false;
  if (i == j || (ob == 0 && j == i + 1)) {
    body.append_copy(A.p);
    wholeLast = j != i;
  } else {
    for (pugi::xml_node x = A.p;; x = x.next_sibling()) {
      body.append_copy(x);
      if (x == B.p) break;
    }
    wholeLast = ob == 0;
    if (wholeLast) body.remove_child(body.last_child());
  }
  // Cut the copy down to the range with a story over it.
  Part scratch;
  scratch.xml.reset(tmp);
  pugi::xml_node sbody = scratch.xml.child("w:body");
  Story cut(StoryType::MainText, &scratch);
  cut.addContainer(sbody);
  QString why;
  // Drop the end of the last paragraph (after ob) unless the range ends with it.
  if (!wholeLast) {
    const int lastStart = cut.startOf(cut.count() - 1);
    if (!cut.remove(lastStart + ob, lastStart + cut.para(cut.count() - 1).contentLength(), &why)) return f;
  }
  if (!cut.remove(0, std::min(oa, cut.para(0).contentLength()), &why)) return f;
  RemoveBookmarks(sbody);
  f.xml = SerializeNode(sbody);
  f.endsInParagraph = wholeLast;
  f.length = r.end - r.start;
  return f;
}

bool Document::paste(Range& at, const Fragment& f) {
  Story* s = d->main_();
  if (at.story != s || f.empty()) return false;
  QString why;
  if (!at.collapsed()) {
    if (!s->remove(at.start, at.end, &why)) return false;
    at.end = at.start;
  }
  pugi::xml_document tmp;
  if (!tmp.load_buffer(f.xml.constData(), size_t(f.xml.size()), kParseOptions)) return false;
  pugi::xml_node body = tmp.child("w:body");
  std::vector<pugi::xml_node> nodes;
  for (pugi::xml_node c = body.first_child(); c; c = c.next_sibling()) nodes.push_back(c);
  if (nodes.empty()) return false;
  const int before = s->size();
  const int pos = at.start;

  if (nodes.size() == 1 && Is(nodes[0], "w:p") && !f.endsInParagraph) {
    // Inline: the copied runs go in at the position, one after the other.
    int p = pos;
    pugi::xml_node mark;
    pugi::xml_document hold;
    pugi::xml_node m = hold.append_child("w:bookmarkStart");
    m.append_attribute("w:id") = "-1";
    m.append_attribute("w:name") = "_ordolo_paste";
    if (!s->insertNode(p, m, &mark, &why)) return false;
    pugi::xml_node parent = mark.parent();
    for (pugi::xml_node c = nodes[0].first_child(); c; c = c.next_sibling())
      if (!Is(c, "w:pPr")) parent.insert_copy_before(c, mark);
    parent.remove_child(mark);
    pugi::xml_node p2 = parent;
    while (p2 && !Is(p2, "w:p")) p2 = p2.parent();
    if (Para* para = s->paraOf(p2)) s->reindex(*para);
  } else {
    // Split the target paragraph at the position; the first copied
    // paragraph's runs join the first half, whole nodes go between the
    // halves, and a trailing partial paragraph joins the second half.
    int n = 0;
    const size_t i = s->locate(pos).first;
    if (!s->replace(pos, pos, QStringLiteral("\r"), &n, &why)) return false;
    Para& A = s->para(i);
    Para& B = s->para(i + 1);
    pugi::xml_node ap = A.p;
    pugi::xml_node bp = B.p;
    const int lastTail = B.tail;
    size_t k = 0;
    if (Is(nodes[0], "w:p")) {
      for (pugi::xml_node c = nodes[0].first_child(); c; c = c.next_sibling())
        if (!Is(c, "w:pPr")) ap.append_copy(c);
      // The first half now ends in the copied paragraph's mark, and a
      // paragraph is formatted by its mark (a section break stays).
      pugi::xml_node oldPr = ap.child("w:pPr");
      pugi::xml_node sect = oldPr.child("w:sectPr");
      pugi::xml_document keep;
      if (sect) keep.append_copy(sect);
      if (oldPr) ap.remove_child(oldPr);
      pugi::xml_node newPr = nodes[0].child("w:pPr");
      if (newPr) newPr = ap.prepend_copy(newPr);
      if (sect) {
        if (!newPr) newPr = ap.prepend_child("w:pPr");
        newPr.remove_child("w:sectPr");
        newPr.append_copy(keep.first_child());
      }
      k = 1;
    }
    const size_t wholeEnd = f.endsInParagraph ? nodes.size() : nodes.size() - 1;
    for (; k < wholeEnd && k < nodes.size(); ++k) bp.parent().insert_copy_before(nodes[k], bp);
    if (!f.endsInParagraph && k < nodes.size() && Is(nodes[k], "w:p")) {
      pugi::xml_node first = bp.first_child();
      while (first && Is(first, "w:pPr")) first = first.next_sibling();
      for (pugi::xml_node c = nodes[k].first_child(); c; c = c.next_sibling())
        if (!Is(c, "w:pPr")) first ? bp.insert_copy_before(c, first) : bp.append_copy(c);
    }
    // Re-read everything from the first half to the second half.
    s->eraseParas(i + 1, i + 2);
    d->rebuildAround(*s, i, ap, bp, lastTail);
  }
  s->touch();
  ++d->structureGen;
  at.start = at.end = pos + (s->size() - before);
  return true;
}

// ---------------------------------------------------------------- files and pictures

int Document::Impl::inheritedHalfPoints(pugi::xml_node p) {
  if (!stylesRead) {
    stylesRead = true;
    for (const auto& [id, rel] : rels) {
      if (rel.external || !rel.type.endsWith(QLatin1String("/styles")) || !pkg->has(rel.target)) continue;
      Error why;
      styles = findPart(rel.target);
      if (!styles) styles = addPart(rel.target, &why);
      break;
    }
  }
  if (!styles) return 20;
  pugi::xml_node root = styles->xml.child("w:styles");
  auto styleById = [&](const char* id) {
    for (pugi::xml_node st : root.children("w:style"))
      if (std::strcmp(st.attribute("w:styleId").value(), id) == 0) return st;
    return pugi::xml_node();
  };
  pugi::xml_node style;
  if (const char* id = p.child("w:pPr").child("w:pStyle").attribute("w:val").value(); *id) style = styleById(id);
  if (!style) {
    for (pugi::xml_node st : root.children("w:style"))
      if (std::strcmp(st.attribute("w:type").value(), "paragraph") == 0 && st.attribute("w:default").as_bool()) {
        style = st;
        break;
      }
  }
  for (int depth = 0; style && depth < 20; ++depth) {
    if (pugi::xml_node sz = style.child("w:rPr").child("w:sz")) return sz.attribute("w:val").as_int(20);
    style = styleById(style.child("w:basedOn").attribute("w:val").value());
  }
  if (pugi::xml_node sz = root.child("w:docDefaults").child("w:rPrDefault").child("w:rPr").child("w:sz"))
    return sz.attribute("w:val").as_int(20);
  return 20;
}

QString Document::Impl::addRel(const QString& type, const QString& target, bool external) {
  if (!mainRels) {
    auto part = std::make_unique<Part>();
    part->name = RelsNameOf(mainName);
    pugi::xml_node decl = part->xml.append_child(pugi::node_declaration);
    decl.append_attribute("version") = "1.0";
    decl.append_attribute("encoding") = "UTF-8";
    part->xml.append_child("Relationships").append_attribute("xmlns") =
        "http://schemas.openxmlformats.org/package/2006/relationships";
    parts.push_back(std::move(part));
    mainRels = parts.back().get();
  }
  int n = int(rels.size()) + 1;
  QString id;
  do {
    id = QStringLiteral("rIdOrdolo%1").arg(n++);
  } while (rels.count(id));
  pugi::xml_node r = mainRels->xml.child("Relationships").append_child("Relationship");
  r.append_attribute("Id") = id.toUtf8().constData();
  r.append_attribute("Type") = type.toUtf8().constData();
  // Targets inside the package are written relative to the main part's folder.
  const QString folder = FolderOf(mainName);
  const QString rel = external || !target.startsWith(folder) ? target : target.mid(folder.size());
  r.append_attribute("Target") =
      (external || target.startsWith(folder) ? rel : QLatin1Char('/') + target).toUtf8().constData();
  if (external) r.append_attribute("TargetMode") = "External";
  mainRels->dirty = true;
  rels[id] = Rel{type, target, external};
  return id;
}

void Document::Impl::ensureDefaultType(const QString& ext, const QString& type) {
  pugi::xml_node types = contentTypes->xml.child("Types");
  for (pugi::xml_node dflt : types.children("Default"))
    if (QString::fromUtf8(dflt.attribute("Extension").value()).compare(ext, Qt::CaseInsensitive) == 0) return;
  pugi::xml_node n = types.prepend_child("Default");
  n.append_attribute("Extension") = ext.toUtf8().constData();
  n.append_attribute("ContentType") = type.toUtf8().constData();
  contentTypes->dirty = true;
}

void Document::Impl::ensureRootNamespace(const char* prefix, const char* uri) {
  pugi::xml_node root = main->xml.child("w:document");
  const std::string attr = std::string("xmlns:") + prefix;
  if (!root.attribute(attr.c_str())) root.append_attribute(attr.c_str()) = uri;
}

bool Document::addPicture(const QString& path, Range& at, double widthPt, double heightPt, Error* error) {
  Story* s = at.story;
  auto fail = [&](const QString& why) {
    if (error) *error = Error(Problem::PictureInsert, {path, why});
    return false;
  };
  if (!s || s->part() != d->main) return fail(QStringLiteral("not in the main text"));
  QByteArray data;
  QString ext, type, why;
  {
    Error unread;
    if (!ReadPicture(path, &data, &ext, &type, &unread)) {
      if (error) *error = unread;
      return false;
    }
  }
  // A fresh media name and drawing id.
  if (d->nextPictureId == 0) {
    int maxId = 0;
    for (const pugi::xpath_node& x : d->main->xml.select_nodes("//wp:docPr"))
      maxId = std::max(maxId, x.node().attribute("id").as_int());
    d->nextPictureId = maxId + 1;
  }
  const int id = d->nextPictureId++;
  QString media;
  int n = id;
  do {
    media = QStringLiteral("%1media/ordolo%2.%3").arg(FolderOf(d->mainName)).arg(n++).arg(ext);
  } while (d->pkg->has(media));
  d->pkg->write(media, data);
  d->ensureDefaultType(ext, type);
  const QString rid =
      d->addRel(QStringLiteral("http://schemas.openxmlformats.org/officeDocument/2006/relationships/image"), media,
                false);
  d->ensureRootNamespace("wp", "http://schemas.openxmlformats.org/drawingml/2006/wordprocessingDrawing");
  d->ensureRootNamespace("r", kRelNs);
  const qint64 cx = qint64(widthPt * 12700.0 + 0.5);
  const qint64 cy = qint64(heightPt * 12700.0 + 0.5);
  const QString name = QFileInfo(path).fileName().toHtmlEscaped();
  const QString xml = QStringLiteral(
                          "<w:r><w:drawing><wp:inline distT=\"0\" distB=\"0\" distL=\"0\" distR=\"0\">"
                          "<wp:extent cx=\"%1\" cy=\"%2\"/><wp:docPr id=\"%3\" name=\"Picture %3\"/>"
                          "<a:graphic xmlns:a=\"http://schemas.openxmlformats.org/drawingml/2006/main\">"
                          "<a:graphicData uri=\"http://schemas.openxmlformats.org/drawingml/2006/picture\">"
                          "<pic:pic xmlns:pic=\"http://schemas.openxmlformats.org/drawingml/2006/picture\">"
                          "<pic:nvPicPr><pic:cNvPr id=\"%3\" name=\"%4\"/><pic:cNvPicPr/></pic:nvPicPr>"
                          "<pic:blipFill><a:blip r:embed=\"%5\"/><a:stretch><a:fillRect/></a:stretch></pic:blipFill>"
                          "<pic:spPr><a:xfrm><a:off x=\"0\" y=\"0\"/><a:ext cx=\"%1\" cy=\"%2\"/></a:xfrm>"
                          "<a:prstGeom prst=\"rect\"><a:avLst/></a:prstGeom></pic:spPr></pic:pic>"
                          "</a:graphicData></a:graphic></wp:inline></w:drawing></w:r>")
                          .arg(cx)
                          .arg(cy)
                          .arg(id)
                          .arg(name, rid);
  pugi::xml_document tmp;
  const QByteArray utf8 = xml.toUtf8();
  if (!tmp.load_buffer(utf8.constData(), size_t(utf8.size()), kParseOptions)) return fail(QStringLiteral("internal"));
  if (!at.collapsed()) {
    if (!s->remove(at.start, at.end, &why)) return fail(why);
    at.end = at.start;
  }
  // Runs cannot nest: the picture run goes beside the run at the position.
  if (!s->insertNode(at.start, tmp.first_child(), nullptr, &why)) return fail(why);
  at.end = at.start + 1;
  return true;
}

bool Document::insertFile(const QString& path, Range& at, Error* error) {
  auto fail = [&](const QString& reason) {
    if (error) *error = Error(Problem::InsertFile, {path, reason});
    return false;
  };
  const QString suffix = QFileInfo(path).suffix().toLower();
  Error why;
  QString source = path;
  if (suffix != QLatin1String("docx") && suffix != QLatin1String("dotx") && suffix != QLatin1String("docm") &&
      suffix != QLatin1String("dotm")) {
    if (!d->importer) return fail(QStringLiteral("only Word documents (.docx) can be inserted"));
    source = d->importer(path, &why);
    if (source.isEmpty()) {
      if (error) *error = why;
      return false;
    }
  }
  std::unique_ptr<Document> other = Document::create(source, &why);
  if (!other) {
    if (error) *error = why;
    return false;
  }
  Impl& O = *other->d;
  pugi::xml_node obody = O.main->xml.child("w:document").child("w:body");
  pugi::xml_document tmp;
  pugi::xml_node body = tmp.append_child("w:body");
  for (pugi::xml_node c = obody.first_child(); c; c = c.next_sibling())
    if (!Is(c, "w:sectPr")) body.append_copy(c);
  // Pictures and links of the inserted file come along under new ids.
  std::map<QString, QString> idMap;
  std::set<QString> takenIn;  // relations of linked pictures now embedded
  for (const pugi::xpath_node& x : body.select_nodes(".//@r:embed | .//@r:id | .//@r:link")) {
    pugi::xml_attribute a = x.attribute();
    const QString oldId = QString::fromUtf8(a.value());
    auto known = idMap.find(oldId);
    if (known == idMap.end()) {
      auto it = O.rels.find(oldId);
      if (it == O.rels.end()) continue;
      QString newId;
      // A picture the inserted file only links to on this machine is taken
      // in, so the document prints the same wherever and whenever it goes.
      std::optional<QByteArray> bytes;
      QString ext;
      const bool image = it->second.type.endsWith(QLatin1String("/image"));
      if (it->second.external && image && it->second.target.startsWith(QLatin1String("file:"), Qt::CaseInsensitive)) {
        const QString local = QUrl(it->second.target).toLocalFile();
        QFile f(local);
        if (f.size() <= kMaxLinkedPicture && f.open(QIODevice::ReadOnly)) {
          bytes = f.readAll();
          ext = QFileInfo(local).suffix().toLower();
        }
      }
      if (it->second.external && !bytes) {
        newId = d->addRel(it->second.type, it->second.target, true);
      } else if (image) {
        if (!bytes) {
          QString reason;
          bytes = O.pkg->read(it->second.target, &reason);
          if (!bytes) return fail(reason);
          ext = QFileInfo(it->second.target).suffix().toLower();
        }
        QString media;
        int n = 1;
        do {
          media = QStringLiteral("%1media/inserted%2.%3").arg(FolderOf(d->mainName)).arg(n++).arg(ext);
        } while (d->pkg->has(media));
        d->pkg->write(media, *bytes);
        const QString type = ext == QLatin1String("png")   ? QStringLiteral("image/png")
                             : ext == QLatin1String("gif") ? QStringLiteral("image/gif")
                             : ext == QLatin1String("jpg") || ext == QLatin1String("jpeg")
                                 ? QStringLiteral("image/jpeg")
                                 : QStringLiteral("image/") + ext;
        d->ensureDefaultType(ext, type);
        newId = d->addRel(it->second.type, media, false);
        if (it->second.external) takenIn.insert(newId);
      } else {
        continue;
      }
      known = idMap.emplace(oldId, newId).first;
    }
    a = known->second.toUtf8().constData();
    if (takenIn.count(known->second) && std::strcmp(a.name(), "r:link") == 0) a.set_name("r:embed");
  }
  Fragment f;
  f.xml = SerializeNode(body);
  f.endsInParagraph = true;
  f.length = 1;
  d->ensureRootNamespace("r", kRelNs);
  if (!paste(at, f)) return fail(QStringLiteral("the position cannot take it"));
  return true;
}

void Document::setImporter(Importer importer) { d->importer = std::move(importer); }

// ---------------------------------------------------------------- saving

bool Document::saveAs(const QString& path, Error* error) {
  for (auto& p : d->parts)
    if (p->dirty) d->pkg->write(p->name, Serialize(p->xml));
  QString why;
  if (!d->pkg->saveAs(path, &why)) {
    if (error) *error = Error(Problem::DocumentSave, {path, why});
    return false;
  }
  return true;
}

bool Document::macroEnabled() const { return d->macroEnabled; }

}  // namespace ordolo::office::word
