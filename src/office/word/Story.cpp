#include "office/word/Story.h"

#include <cstring>

namespace ordolo::office::word {

namespace {

bool Is(const pugi::xml_node& n, const char* name) {
  return n.type() == pugi::node_element && std::strcmp(n.name(), name) == 0;
}

QString TextOf(const pugi::xml_node& t) { return QString::fromUtf8(t.text().get()); }

void SetText(pugi::xml_node t, const QString& s) {
  t.text().set(s.toUtf8().constData());
  if (!t.attribute("xml:space")) t.append_attribute("xml:space") = "preserve";
}

// A run holds nothing visible any more once only its properties are left.
bool RunEmpty(const pugi::xml_node& r) {
  for (pugi::xml_node c = r.first_child(); c; c = c.next_sibling())
    if (!Is(c, "w:rPr")) return false;
  return true;
}

// Inline containers whose runs belong to the paragraph's text.
bool IsInlineContainer(const pugi::xml_node& n) {
  static const char* const kNames[] = {"w:hyperlink", "w:smartTag", "w:ins", "w:customXml",
                                       "w:fldSimple", "w:dir",      "w:bdo", "w:moveTo"};
  for (const char* k : kNames)
    if (Is(n, k)) return true;
  return false;
}

pugi::xml_node SdtContent(const pugi::xml_node& sdt) { return sdt.child("w:sdtContent"); }

// Calls f for each row of a table and each cell of a row, looking through
// content controls and custom XML wrappers.
template <class F>
void ForEachChild(pugi::xml_node n, const char* name, F f) {
  for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
    if (Is(c, name)) {
      f(c);
    } else if (Is(c, "w:sdt")) {
      ForEachChild(SdtContent(c), name, f);
    } else if (Is(c, "w:customXml")) {
      ForEachChild(c, name, f);
    }
  }
}

}  // namespace

// ---------------------------------------------------------------- building

void Story::collectNode(pugi::xml_node c, std::vector<pugi::xml_node>& nodes, std::vector<int>& tails) {
  if (Is(c, "w:p")) {
    nodes.push_back(c);
    tails.push_back(0);
  } else if (Is(c, "w:tbl")) {
    ForEachChild(c, "w:tr", [&](pugi::xml_node tr) { collectNode(tr, nodes, tails); });
  } else if (Is(c, "w:tr")) {
    const size_t rowFirst = nodes.size();
    ForEachChild(c, "w:tc", [&](pugi::xml_node tc) {
      const size_t before = nodes.size();
      collect(tc, nodes, tails);
      if (nodes.size() > before) tails.back() = 1;
    });
    if (nodes.size() > rowFirst) tails.back() = 2;
  } else if (Is(c, "w:sdt")) {
    collect(SdtContent(c), nodes, tails);
  } else if (Is(c, "w:customXml")) {
    collect(c, nodes, tails);
  }
}

void Story::collect(pugi::xml_node container, std::vector<pugi::xml_node>& nodes, std::vector<int>& tails) {
  for (pugi::xml_node c = container.first_child(); c; c = c.next_sibling()) collectNode(c, nodes, tails);
}

void Story::addContainer(pugi::xml_node container) {
  std::vector<pugi::xml_node> nodes;
  std::vector<int> tails;
  collect(container, nodes, tails);
  insertParas(paras_.size(), nodes, tails);
}

void Story::indexRun(pugi::xml_node r, Para& p, int& fieldDepth) {
  for (pugi::xml_node c = r.first_child(); c; c = c.next_sibling()) {
    if (c.type() != pugi::node_element) continue;
    const char* name = c.name();
    auto addChar = [&](char16_t ch, SegKind kind) {
      p.segs.push_back(Seg{p.text.size(), 1, c, kind});
      p.text.append(QChar(ch));
    };
    if (std::strcmp(name, "w:t") == 0) {
      if (fieldDepth > 0) continue;
      const QString s = TextOf(c);
      if (s.isEmpty()) continue;
      p.segs.push_back(Seg{p.text.size(), s.size(), c, SegKind::Text});
      p.text.append(s);
    } else if (std::strcmp(name, "w:tab") == 0) {
      addChar(u'\t', SegKind::Char);
    } else if (std::strcmp(name, "w:br") == 0) {
      const char* type = c.attribute("w:type").value();
      addChar(std::strcmp(type, "page") == 0     ? u'\f'
              : std::strcmp(type, "column") == 0 ? u'\x0E'
                                                 : u'\v',
              SegKind::Char);
    } else if (std::strcmp(name, "w:cr") == 0) {
      addChar(u'\v', SegKind::Char);
    } else if (std::strcmp(name, "w:noBreakHyphen") == 0) {
      addChar(u'\x1E', SegKind::Char);
    } else if (std::strcmp(name, "w:softHyphen") == 0) {
      addChar(u'\x1F', SegKind::Char);
    } else if (std::strcmp(name, "w:sym") == 0) {
      bool ok = false;
      const uint code = QString::fromLatin1(c.attribute("w:char").value()).toUInt(&ok, 16);
      addChar(ok && code > 0 && code <= 0xFFFF ? char16_t(code) : u'?', SegKind::Char);
    } else if (std::strcmp(name, "w:drawing") == 0 || std::strcmp(name, "w:pict") == 0 ||
               std::strcmp(name, "w:object") == 0 || std::strcmp(name, "mc:AlternateContent") == 0) {
      addChar(u'\x01', SegKind::Object);
    } else if (std::strcmp(name, "w:fldChar") == 0) {
      // Field codes between begin and separate are not part of the text.
      const char* type = c.attribute("w:fldCharType").value();
      if (std::strcmp(type, "begin") == 0) {
        ++fieldDepth;
      } else if (std::strcmp(type, "separate") == 0 || std::strcmp(type, "end") == 0) {
        if (fieldDepth > 0) --fieldDepth;
      }
    }
  }
}

void Story::indexInline(pugi::xml_node n, Para& p, int& fieldDepth) {
  for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
    if (Is(c, "w:r")) {
      indexRun(c, p, fieldDepth);
    } else if (IsInlineContainer(c)) {
      indexInline(c, p, fieldDepth);
    } else if (Is(c, "w:sdt")) {
      indexInline(SdtContent(c), p, fieldDepth);
    } else if (Is(c, "w:bookmarkStart") || Is(c, "w:bookmarkEnd")) {
      p.segs.push_back(Seg{p.text.size(), 0, c, SegKind::Anchor});
    }
  }
}

void Story::reindex(Para& p) {
  const int oldLen = p.text.size();
  p.text.clear();
  p.segs.clear();
  int fieldDepth = 0;
  indexInline(p.p, p, fieldDepth);
  static const char16_t kTails[3][5] = {u"\r", u"\r\a", u"\r\a\r\a"};
  const QString tail = QString::fromUtf16(kTails[p.tail]);
  p.segs.push_back(Seg{p.text.size(), tail.size(), pugi::xml_node(), SegKind::Mark});
  p.text.append(tail);
  if (oldLen != p.text.size()) lengthChanged(p.idx, oldLen);
  ++version_;
}

void Story::lengthChanged(size_t i, int oldLen) {
  total_ += paras_[i]->text.size() - oldLen;
  valid_ = std::min(valid_, i + 1);
}

void Story::insertParas(size_t at, const std::vector<pugi::xml_node>& nodes, const std::vector<int>& tails) {
  if (nodes.empty()) return;
  std::vector<std::unique_ptr<Para>> fresh;
  fresh.reserve(nodes.size());
  for (size_t k = 0; k < nodes.size(); ++k) {
    auto p = std::make_unique<Para>();
    p->p = nodes[k];
    p->tail = tails[k];
    p->idx = at + k;
    int fieldDepth = 0;
    indexInline(p->p, *p, fieldDepth);
    static const char16_t kTails[3][5] = {u"\r", u"\r\a", u"\r\a\r\a"};
    const QString tail = QString::fromUtf16(kTails[p->tail]);
    p->segs.push_back(Seg{p->text.size(), tail.size(), pugi::xml_node(), SegKind::Mark});
    p->text.append(tail);
    total_ += p->text.size();
    byNode_[p->p.internal_object()] = p.get();
    fresh.push_back(std::move(p));
  }
  paras_.insert(paras_.begin() + int(at), std::make_move_iterator(fresh.begin()), std::make_move_iterator(fresh.end()));
  for (size_t i = at + nodes.size(); i < paras_.size(); ++i) paras_[i]->idx = i;
  starts_.resize(paras_.size());
  valid_ = std::min(valid_, at);
  ++version_;
}

void Story::eraseParas(size_t from, size_t to) {
  if (from >= to) return;
  for (size_t i = from; i < to; ++i) {
    total_ -= paras_[i]->text.size();
    byNode_.erase(paras_[i]->p.internal_object());
  }
  paras_.erase(paras_.begin() + int(from), paras_.begin() + int(to));
  for (size_t i = from; i < paras_.size(); ++i) paras_[i]->idx = i;
  starts_.resize(paras_.size());
  valid_ = std::min(valid_, from);
  ++version_;
}

Para* Story::paraOf(pugi::xml_node p) const {
  auto it = byNode_.find(p.internal_object());
  return it == byNode_.end() ? nullptr : it->second;
}

// ---------------------------------------------------------------- positions

int Story::startOf(size_t i) {
  while (valid_ <= i) {
    starts_[valid_] = valid_ == 0 ? 0 : starts_[valid_ - 1] + paras_[valid_ - 1]->text.size();
    ++valid_;
  }
  return starts_[i];
}

std::pair<size_t, int> Story::locate(int pos) {
  if (paras_.empty()) return {0, 0};
  if (pos >= total_) return {paras_.size() - 1, paras_.back()->text.size()};
  if (pos < 0) pos = 0;
  // Search the part whose offsets are known; extend it only when needed.
  if (valid_ > 0) {
    const size_t last = valid_ - 1;
    if (pos < starts_[last] + paras_[last]->text.size()) {
      const auto it = std::upper_bound(starts_.begin(), starts_.begin() + int(valid_), pos);
      const size_t i = size_t(it - starts_.begin()) - 1;
      return {i, pos - starts_[i]};
    }
  }
  for (size_t i = valid_; i < paras_.size(); ++i) {
    const int s = startOf(i);
    if (pos < s + paras_[i]->text.size()) return {i, pos - s};
  }
  return {paras_.size() - 1, paras_.back()->text.size()};
}

QString Story::text(int from, int to) {
  QString out;
  if (from >= to) return out;
  auto [i, off] = locate(from);
  int left = to - from;
  out.reserve(left);
  for (; i < paras_.size() && left > 0; ++i, off = 0) {
    const QString& t = paras_[i]->text;
    const int n = std::min(left, t.size() - off);
    out.append(QStringView(t).mid(off, n));
    left -= n;
  }
  return out;
}

// ---------------------------------------------------------------- editing

namespace {

struct Cursor {
  pugi::xml_node parent;
  pugi::xml_node before;  // insert before this node; null: append
};

pugi::xml_node InsertElement(Cursor at, const char* name) {
  return at.before ? at.parent.insert_child_before(name, at.before) : at.parent.append_child(name);
}

// Splits run r before its child c, moving c's text from offset k on into the
// second half. Returns the point between the halves.
Cursor SplitRun(pugi::xml_node r, pugi::xml_node c, int k) {
  bool contentBefore = k > 0;
  for (pugi::xml_node x = r.first_child(); x && x != c && !contentBefore; x = x.next_sibling())
    if (!Is(x, "w:rPr")) contentBefore = true;
  if (!contentBefore) return Cursor{r.parent(), r};
  pugi::xml_node r2 = r.parent().insert_copy_after(r, r);
  // Find c's twin in the copy by position.
  int index = 0;
  for (pugi::xml_node x = r.first_child(); x != c; x = x.next_sibling()) ++index;
  pugi::xml_node c2 = r2.first_child();
  for (int i = 0; i < index; ++i) c2 = c2.next_sibling();
  // First half: everything up to c, and c's text before k.
  if (k > 0) {
    const QString s = TextOf(c);
    SetText(c, s.left(k));
    SetText(c2, s.mid(k));
    while (c.next_sibling()) r.remove_child(c.next_sibling());
  } else {
    while (c.next_sibling()) r.remove_child(c.next_sibling());
    r.remove_child(c);
  }
  // Second half: properties, then c's twin and what follows it.
  for (pugi::xml_node x = r2.first_child(); x && x != c2;) {
    pugi::xml_node next = x.next_sibling();
    if (!Is(x, "w:rPr")) r2.remove_child(x);
    x = next;
  }
  if (Is(c2, "w:t") && c2.text().get()[0] == 0) r2.remove_child(c2);
  return Cursor{r.parent(), r2};
}

// Moves everything from the cursor to the end of paragraph p into a new
// paragraph after p (with p's properties), splitting the inline containers
// on the way up. Returns the new paragraph.
pugi::xml_node SplitParagraph(pugi::xml_node p, const Cursor& at) {
  pugi::xml_node np = p.parent().insert_child_after("w:p", p);
  for (pugi::xml_attribute a = p.first_attribute(); a; a = a.next_attribute())
    np.append_attribute(a.name()) = a.value();
  if (pugi::xml_node ppr = p.child("w:pPr")) {
    np.append_copy(ppr);
    // The section break belongs to the paragraph that now ends the section.
    if (pugi::xml_node sect = ppr.child("w:sectPr")) ppr.remove_child(sect);
  }
  // The chain of containers from p down to the cursor's parent.
  std::vector<pugi::xml_node> chain;
  for (pugi::xml_node n = at.parent; n && n != p; n = n.parent()) chain.push_back(n);
  std::reverse(chain.begin(), chain.end());
  pugi::xml_node dest = np;
  for (size_t i = 0; i <= chain.size(); ++i) {
    const bool bottom = i == chain.size();
    pugi::xml_node from = bottom ? at.before : chain[i].next_sibling();
    pugi::xml_node newDest;
    if (!bottom) {
      // A shallow twin of the container (its properties included).
      newDest = dest.append_child(chain[i].name());
      for (pugi::xml_attribute a = chain[i].first_attribute(); a; a = a.next_attribute())
        newDest.append_attribute(a.name()) = a.value();
      if (pugi::xml_node pr = chain[i].child("w:sdtPr")) newDest.append_copy(pr);
    }
    for (pugi::xml_node x = from; x;) {
      pugi::xml_node next = x.next_sibling();
      if (!Is(x, "w:pPr")) dest.append_move(x);
      x = next;
    }
    if (bottom) break;
    dest = newDest;
  }
  return np;
}

pugi::xml_node LastRun(pugi::xml_node n) {
  for (pugi::xml_node c = n.last_child(); c; c = c.previous_sibling()) {
    if (Is(c, "w:r")) return c;
    if (IsInlineContainer(c) || Is(c, "w:sdt")) {
      if (pugi::xml_node r = LastRun(Is(c, "w:sdt") ? SdtContent(c) : c)) return r;
    }
  }
  return {};
}

}  // namespace

bool Story::insertAt(size_t pi, int off, const QString& chars, int* inserted, QString* error) {
  Para& P = *paras_[pi];
  *inserted = 0;
  if (chars.isEmpty()) return true;
  if (off > P.contentLength()) {
    if (error) *error = QStringLiteral("cannot insert inside a table cell's end mark");
    return false;
  }
  // The segment of the character at off gives the place and the formatting.
  const Seg* seg = nullptr;
  for (const Seg& s : P.segs) {
    if (s.kind == SegKind::Anchor) continue;
    if (s.start <= off && off < s.start + s.len) {
      seg = &s;
      break;
    }
  }
  pugi::xml_node formatRun;
  if (seg && seg->kind != SegKind::Mark) {
    formatRun = seg->node.parent();
  } else {
    formatRun = LastRun(P.p);
  }
  pugi::xml_node rPr = formatRun ? formatRun.child("w:rPr") : pugi::xml_node();
  if (!formatRun) rPr = P.p.child("w:pPr").child("w:rPr");

  bool plain = true;
  for (QChar c : chars)
    if (c.unicode() < 0x20) {
      plain = false;
      break;
    }
  if (plain && seg && seg->kind == SegKind::Text) {
    const QString s = TextOf(seg->node);
    const int k = off - seg->start;
    SetText(seg->node, s.left(k) + chars + s.mid(k));
    *inserted = chars.size();
    reindex(P);
    touch();
    return true;
  }

  Cursor at;
  if (!seg || seg->kind == SegKind::Mark) {
    at = Cursor{P.p, pugi::xml_node()};
  } else {
    at = SplitRun(seg->node.parent(), seg->node, off - seg->start);
  }
  pugi::xml_node curP = P.p;
  std::vector<pugi::xml_node> newParas;
  QString pending;
  auto newRun = [&]() {
    pugi::xml_node r = InsertElement(at, "w:r");
    if (rPr) r.append_copy(rPr);
    return r;
  };
  auto flush = [&]() {
    if (pending.isEmpty()) return;
    pugi::xml_node t = newRun().append_child("w:t");
    SetText(t, pending);
    pending.clear();
  };
  int count = 0;
  for (QChar c : chars) {
    const char16_t u = c.unicode();
    if (u >= 0x20) {
      pending.append(c);
      ++count;
      continue;
    }
    switch (u) {
      case u'\r': {
        flush();
        curP = SplitParagraph(curP, at);
        newParas.push_back(curP);
        pugi::xml_node first = curP.first_child();
        while (first && Is(first, "w:pPr")) first = first.next_sibling();
        at = Cursor{curP, first};
        ++count;
        break;
      }
      case u'\t':
        flush();
        newRun().append_child("w:tab");
        ++count;
        break;
      case u'\v':
        flush();
        newRun().append_child("w:br");
        ++count;
        break;
      case u'\f': {
        flush();
        pugi::xml_node br = newRun().append_child("w:br");
        br.append_attribute("w:type") = "page";
        ++count;
        break;
      }
      default: break;  // other control characters have no place in a document
    }
  }
  flush();
  // New paragraphs take the place of the split one's end marks: the last
  // of them ends where the original did.
  std::vector<int> tails(newParas.size(), 0);
  if (!newParas.empty()) {
    tails.back() = P.tail;
    P.tail = 0;
  }
  reindex(P);
  insertParas(pi + 1, newParas, tails);
  touch();
  *inserted = count;
  return true;
}

bool Story::removeIn(Para& P, int a, int b) {
  if (a >= b) return true;
  std::vector<pugi::xml_node> runs;
  for (auto it = P.segs.rbegin(); it != P.segs.rend(); ++it) {
    const Seg& s = *it;
    if (s.kind == SegKind::Anchor || s.start + s.len <= a || s.start >= b) continue;
    if (s.kind == SegKind::Mark) return false;
    pugi::xml_node run = s.node.parent();
    if (s.kind == SegKind::Text) {
      const int x = std::max(a, s.start) - s.start;
      const int y = std::min(b, s.start + s.len) - s.start;
      const QString t = TextOf(s.node);
      const QString rest = t.left(x) + t.mid(y);
      if (rest.isEmpty()) {
        run.remove_child(s.node);
      } else {
        SetText(s.node, rest);
      }
    } else {
      run.remove_child(s.node);
    }
    runs.push_back(run);
  }
  for (pugi::xml_node r : runs)
    if (r.parent() && RunEmpty(r)) r.parent().remove_child(r);
  reindex(P);
  touch();
  return true;
}

bool Story::remove(int from, int to, QString* error) {
  if (from >= to) return true;
  auto [i, oa] = locate(from);
  auto [j, ob] = locate(to);
  Para& A = *paras_[i];
  if (i == j) {
    if (ob > A.contentLength()) {
      if (error) *error = QStringLiteral("cannot delete a paragraph or cell end mark here");
      return false;
    }
    return removeIn(A, oa, ob);
  }
  // Across paragraphs: the first takes in what is left of the last one.
  // They must be siblings with nothing but plain paragraph marks in between.
  Para& B = *paras_[j];
  if (A.p.parent() != B.p.parent() || ob > B.contentLength()) {
    if (error) *error = QStringLiteral("the span crosses a table cell");
    return false;
  }
  for (size_t k = i; k < j; ++k) {
    pugi::xml_node anc = paras_[k]->p;
    if (paras_[k]->tail != 0 && anc.parent() == A.p.parent()) {
      if (error) *error = QStringLiteral("the span crosses a table cell");
      return false;
    }
  }
  removeIn(B, 0, ob);
  removeIn(A, oa, A.contentLength());
  pugi::xml_node parent = A.p.parent();
  for (pugi::xml_node x = A.p.next_sibling(); x && x != B.p;) {
    pugi::xml_node next = x.next_sibling();
    parent.remove_child(x);
    ++structure_;
    x = next;
  }
  pugi::xml_node bppr = B.p.child("w:pPr");
  if (pugi::xml_node sect = bppr.child("w:sectPr")) {
    pugi::xml_node appr = A.p.child("w:pPr") ? A.p.child("w:pPr") : A.p.prepend_child("w:pPr");
    appr.append_copy(sect);
  }
  for (pugi::xml_node x = B.p.first_child(); x;) {
    pugi::xml_node next = x.next_sibling();
    if (!Is(x, "w:pPr")) A.p.append_move(x);
    x = next;
  }
  A.tail = B.tail;
  byNode_.erase(B.p.internal_object());
  parent.remove_child(B.p);
  // B's entry is dropped without touching its (removed) node again.
  for (size_t k = i + 1; k <= j; ++k) {
    total_ -= paras_[k]->text.size();
    byNode_.erase(paras_[k]->p.internal_object());
  }
  paras_.erase(paras_.begin() + int(i + 1), paras_.begin() + int(j + 1));
  for (size_t k = i + 1; k < paras_.size(); ++k) paras_[k]->idx = k;
  starts_.resize(paras_.size());
  valid_ = std::min(valid_, i + 1);
  reindex(A);
  touch();
  return true;
}

bool Story::replace(int from, int to, const QString& chars, int* inserted, QString* error) {
  int n = 0;
  auto [i, off] = locate(from);
  if (!insertAt(i, off, chars, &n, error)) return false;
  if (inserted) *inserted = n;
  return remove(from + n, to + n, error);
}

bool Story::insertNode(int pos, const pugi::xml_node& source, pugi::xml_node* inserted, QString* error) {
  auto [i, off] = locate(pos);
  Para& P = *paras_[i];
  if (off > P.contentLength()) {
    if (error) *error = QStringLiteral("cannot insert inside a table cell's end mark");
    return false;
  }
  const Seg* seg = nullptr;
  for (const Seg& s : P.segs) {
    if (s.kind != SegKind::Anchor && s.start <= off && off < s.start + s.len) {
      seg = &s;
      break;
    }
  }
  Cursor at = (!seg || seg->kind == SegKind::Mark) ? Cursor{P.p, pugi::xml_node()}
                                                   : SplitRun(seg->node.parent(), seg->node, off - seg->start);
  pugi::xml_node n = at.before ? at.parent.insert_copy_before(source, at.before) : at.parent.append_copy(source);
  if (inserted) *inserted = n;
  reindex(P);
  touch();
  return true;
}

// ---------------------------------------------------------------- source

bool StorySource::seek(int pos) const {
  if (curVersion_ == s_.version() && curStart_ >= 0 && pos >= curStart_ && pos < curStart_ + s_.para(cur_).text.size())
    return true;
  if (curVersion_ == s_.version() && curStart_ >= 0 && cur_ + 1 < s_.count()) {
    const int nextStart = curStart_ + s_.para(cur_).text.size();
    if (pos >= nextStart && pos < nextStart + s_.para(cur_ + 1).text.size()) {
      ++cur_;
      curStart_ = nextStart;
      return true;
    }
  }
  if (pos < 0 || pos >= s_.size()) return false;
  auto [i, off] = s_.locate(pos);
  cur_ = i;
  curStart_ = pos - off;
  curVersion_ = s_.version();
  return true;
}

char16_t StorySource::at(int pos) const {
  if (!seek(pos)) return 0;
  return s_.para(cur_).text.at(pos - curStart_).unicode();
}

int StorySource::indexOf(char16_t ch, int from, int to, bool caseSensitive) const {
  if (from >= to || !seek(from)) return -1;
  const Qt::CaseSensitivity cs = caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
  size_t i = cur_;
  int start = curStart_;
  int off = from - start;
  while (i < s_.count() && start < to) {
    const QString& t = s_.para(i).text;
    const int k = t.indexOf(QChar(ch), off, cs);
    if (k >= 0) return start + k < to ? start + k : -1;
    start += t.size();
    off = 0;
    ++i;
  }
  return -1;
}

}  // namespace ordolo::office::word
