#include "session/PrintRun.h"
#include "session/Templates.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include "attachments/AttachmentQueue.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "office/convert/Converter.h"
#include "office/word/Document.h"
#include "print/Output.h"
#include "renderers/Calendar.h"
#include "renderers/CalendarTables.h"
#include "renderers/Dispatch.h"
#include "renderers/Mail.h"
#include "template/Eigenschaften.h"
#include "template/ExcelOutput.h"
#include "template/HtmlInsert.h"
#include "template/ReplacePlaceholder.h"
#include "ui/Port.h"
#include "util/DebugLog.h"
#include "util/Folders.h"

namespace ordolo::session {

namespace word = office::word;
using lang::Msg;

namespace {

const QString kBlockFind = QStringLiteral("[^60]%*%[^62]");
const QString kLeftovers = QStringLiteral("#<([A-Z])*([A-Z,1-9,a-z])>");
const QString kBookmark = QStringLiteral("ORDOLO");

void Debug(const QString& line) {
  if (util::DebugLog::isOn()) util::DebugLog::write(line);
}

bool IsLegacy(const QString& path) {
  const QString suffix = QFileInfo(path).suffix().toLower();
  return suffix == QLatin1String("dot") || suffix == QLatin1String("doc") || suffix == QLatin1String("xlt") ||
         suffix == QLatin1String("xls");
}

bool IsOoxml(const QString& path) {
  static const QStringList kSuffixes = {"docx", "docm", "dotx", "dotm", "xlsx", "xlsm", "xltx", "xltm"};
  return kSuffixes.contains(QFileInfo(path).suffix().toLower());
}

}  // namespace

struct PrintRun::Doc {
  std::unique_ptr<word::Document> word;
  std::unique_ptr<tpl::ExcelOutput> excel;
  word::Fragment block;      // the unfilled report or label block
  std::unique_ptr<renderers::CalendarGrid> grid;  // "Calendar" templates
  int labelRows = 0, labelColumns = 0;
  int labelCell = 0;         // the next free label cell, counted row by row from 0
  int items = 0;             // items in this document
};

PrintRun::PrintRun(ui::Port& port, print::Output& output, office::convert::Converter* converter)
    : port_(port), output_(output), converter_(converter) {}

PrintRun::~PrintRun() = default;

QString PrintRun::resolveTemplate(RunResult& result) {
  const QString path = options_.templatePath;
  if (!QFileInfo(path).isFile()) {
    result.errors << lang::text(Msg::ErrTemplateMissing).arg(path);
    return {};
  }
  if (IsLegacy(path)) {
    if (!converter_) {
      result.errors << lang::text(Msg::ErrOfficeMissing);
      return {};
    }
    const office::convert::Result converted = converter_->toOoxml(path);
    if (!converted.ok()) {
      result.errors << converted.error;
      return {};
    }
    return converted.output;
  }
  if (!IsOoxml(path)) {
    result.errors << lang::text(Msg::ErrTemplateKind).arg(path);
    return {};
  }
  return path;
}

RunResult PrintRun::run(const std::vector<model::ItemPtr>& items, const std::vector<ListRow>& rows,
                        const RunOptions& options) {
  RunResult result;
  options_ = options;
  stop_ = false;
  busy_ = true;
  doc_.reset();
  pending_ = 0;
  docNumber_ = 0;
  imports_.clear();
  htmlTemplate_ = false;
  prefetched_ = 0;

  // The run state as every run starts it.
  const QString fileName = QFileInfo(options.templatePath).fileName();
  st_ = tpl::RunState{};
  st_.UseWord = !IsExcelTemplate(fileName);
  st_.TableMode = st_.UseWord && fileName.contains(QLatin1String("Table"));
  report_ = st_.UseWord && fileName.contains(QLatin1String("Report"));
  label_ = st_.UseWord && fileName.contains(QLatin1String("Label"));
  calendar_ = st_.UseWord && fileName.contains(QLatin1String("Calendar"));
  // The grid is a layout of its own: one document for the run.
  if (calendar_) st_.TableMode = report_ = label_ = false;
  st_.LastStartDate = QDateTime(QDate(3000, 1, 1), QTime(0, 0));
  st_.GroupKey = st_.PrevGroupKey = QStringLiteral("z#@");
  st_.Grouped = options.sortColumn > 0;
  st_.ItemCounter = report_ || label_ ? 0 : 1;
  st_.Header = options.header;
  st_.TemplatePath = options.templatePath;
  // Shown documents stay open: their attachments are not printed.
  st_.Attachments = options.mode == RunMode::Print ? options.attachments : nullptr;
  baseName_ = QFileInfo(options.templatePath).completeBaseName();

  std::vector<size_t> chosen;
  for (size_t i = 0; i < items.size() && i < rows.size(); ++i)
    if (rows[i].selected && items[i]) chosen.push_back(i);
  if (chosen.empty()) {
    result.errors << lang::text(Msg::ErrNothingToPrint);
    busy_ = false;
    return result;
  }

  templateFile_ = resolveTemplate(result);
  if (templateFile_.isEmpty()) {
    result.stopped = true;
    busy_ = false;
    return result;
  }

  const std::vector<Column> columns = Columns(rows.empty() ? 0 : items[chosen.front()]->Class());
  int sortKeyColumn = options.sortColumn;
  if (sortKeyColumn > 0 && sortKeyColumn < int(columns.size()) && columns[sortKeyColumn].sortBy > 0)
    sortKeyColumn = columns[sortKeyColumn].sortBy;

  const int total = int(chosen.size());
  const bool show = options.mode == RunMode::Show;
  for (int n = 0; n < total; ++n) {
    if (stop_) {
      result.stopped = true;
      break;
    }
    const int number = n + 1;
    if (show && number >= 11 && (number - 1) % 10 == 0) {
      // Show what is ready before asking whether to go on.
      deliver(result);
      port_.beep();
      const QString question = lang::withNumber(
          lang::GetLangText(QStringLiteral("S65")) + QLatin1String("\n\n") + lang::GetLangText(QStringLiteral("S66")),
          number - 1);
      if (port_.message(question, ui::Buttons::YesNo, ui::Icon::Information) == ui::Answer::No) {
        result.stopped = true;
        break;
      }
      port_.yield();
    }

    const size_t index = chosen[n];
    const model::ItemPtr& item = items[index];
    st_.PrevGroupKey = st_.GroupKey;
    if (st_.Grouped) st_.GroupKey = rows[index].subItems.value(sortKeyColumn - 1).left(8);

    // The target for this item: a fresh document, or the next row, block or
    // label cell of the open one.
    int labelsLeft = label_ ? std::max(1, options.copies) : 1;
    bool failed = false;
    while (labelsLeft > 0 && !failed) {
      if (!doc_) {
        if (!openDocument(result)) {
          failed = true;
          break;
        }
      } else if (st_.UseWord && st_.TableMode) {
        nextTableRows();
      } else if (st_.UseWord && report_) {
        placeReportBlock();
      }
      int placed = 1;
      if (label_) {
        if (!placeLabels(labelsLeft, result, &placed)) {
          failed = true;
          break;
        }
      }
      labelsLeft -= placed;

      if (!st_.BlockMode && !st_.TableMode && !calendar_) {
        if (st_.UseWord) {
          st_.DocumentText = doc_->word->searchedText();
        } else {
          doc_->excel->BeginItem(st_);
        }
      }
      if (st_.ItemCounter > 0) ++st_.ItemCounter;

      // The grid fills the run header itself, once for all its pages.
      if (!calendar_) tpl::FillRunHeader(st_);
      if (htmlTemplate_ && converter_ && n >= prefetched_) prefetchHtml(items, chosen, n);
      renderers::RenderContext ctx{st_, item, options.session};
      renderers::Render(renderers::RendererFor(item->Class(), calendar_), ctx);
      ++doc_->items;

      if (st_.UseWord && !calendar_) {
        if (st_.BlockMode || st_.TableMode)
          removeLeftovers(true);
        else if (!finishDocument(result))
          failed = true;
      }
    }
    if (failed) {
      result.stopped = true;
      break;
    }
    ++result.items;
    if (progress_) progress_(n + 1, total);
    port_.yield();
  }

  // What was filled before a stop is printed too.
  if (doc_ && doc_->items > 0) finishDocument(result);
  doc_.reset();
  deliver(result);
  busy_ = false;
  stop_ = false;
  return result;
}

bool PrintRun::openDocument(RunResult& result) {
  QString error;
  doc_ = std::make_unique<Doc>();
  if (!st_.UseWord) {
    doc_->excel = std::make_unique<tpl::ExcelOutput>();
    if (!doc_->excel->Open(st_, templateFile_, &error)) {
      result.errors << error;
      doc_.reset();
      return false;
    }
    st_.excelOutput = doc_->excel.get();
    st_.word = nullptr;
    return true;
  }
  doc_->word = word::Document::create(templateFile_, &error);
  if (!doc_->word) {
    result.errors << error;
    doc_.reset();
    return false;
  }
  word::Document* doc = doc_->word.get();
  st_.word = doc;
  st_.excel = nullptr;
  st_.excelOutput = nullptr;
  st_.BlockMode = false;
  st_.BlockStart = 0;
  if (converter_) doc->setImporter([this](const QString& file, QString* err) { return importFile(file, err); });
  if (!htmlTemplate_) htmlTemplate_ = doc->searchedText().contains(QLatin1String("#HTMLBody"));

  // In table and block templates the run header outside the repeated part
  // (titles, page headers and footers) is filled once per document, before
  // any position in the document is taken.
  if (st_.TableMode || report_ || label_) {
    tpl::RunState whole = st_;
    whole.TableMode = whole.BlockMode = false;
    whole.DocumentText = doc->searchedText();
    tpl::FillRunHeader(whole);
  }
  if (calendar_) {
    doc_->grid = std::make_unique<renderers::CalendarGrid>();
    st_.Grid = doc_->grid.get();
    return true;
  }
  if (report_ || label_) return prepareBlock(result);
  if (st_.TableMode && !prepareTable()) st_.TableMode = false;
  return true;
}

void PrintRun::blockError(const QString& message, RunResult& result) {
  port_.message(message, ui::Buttons::Ok, ui::Icon::Critical);
  result.errors << message;
  stop_ = true;
  doc_.reset();
  st_.word = nullptr;
}

bool PrintRun::prepareBlock(RunResult& result) {
  word::Document* doc = doc_->word.get();
  word::Range sel = doc->content();
  sel.end = sel.start;
  word::FindOptions find;
  find.text = kBlockFind;
  find.matchWildcards = true;
  const word::FindResult found = doc->execute(sel, find, word::ReplaceMode::None);
  // "<%%>" holds nothing to repeat; anything shorter is no block at all.
  if (!found.ok || found.found == 0 || sel.end - sel.start <= 4) {
    blockError(lang::text(Msg::ErrReportLines), result);
    return false;
  }
  if (label_) {
    const int rows = doc->tableCount() > 0 ? doc->rowCount(1) : 0;
    if (options_.startRow < 1 || options_.startRow > 9 || options_.startRow > rows) {
      blockError(lang::text(Msg::ErrLabelRow), result);
      return false;
    }
    doc_->labelRows = rows;
    doc_->labelColumns = doc->columnCount(1);
    // Every later sheet starts at its first row.
    doc_->labelCell = (options_.startRow - 1) * doc_->labelColumns;
    options_.startRow = 1;
  }

  // The markers are not printed: the block is what lies between them, and a
  // "%>" at the end of a line takes the line's end along, so that every copy
  // starts on a line of its own.
  word::Range& cursor = doc->selection();
  // A report block at the very end of the document gets an empty line after
  // it, where its copies go.
  if (report_ && sel.end + 1 >= doc->content().end) {
    cursor = word::Range{sel.story, sel.end, sel.end};
    doc->typeText(QStringLiteral("\r"));
  }
  cursor = word::Range{sel.story, sel.end - 2, sel.end};
  doc->typeBackspace();
  cursor = word::Range{sel.story, sel.start, sel.start + 2};
  doc->typeBackspace();
  word::Range block{sel.story, sel.start, sel.end - 4};
  // A marker alone on its line leaves that line empty, outside the block.
  if (doc->text(block).startsWith(QLatin1Char('\r'))) block.start += 1;
  const QString after = doc->text(word::Range{sel.story, block.end, block.end + 2});
  if (report_ && !doc->text(block).endsWith(QLatin1Char('\r')) && after.startsWith(QLatin1Char('\r')) &&
      !after.endsWith(QChar(7)))
    block.end += 1;
  doc_->block = doc->copy(block);

  st_.BlockMode = true;
  st_.BlockStart = block.start;
  if (label_) {
    // The labels are pasted cell by cell; the block's own place starts empty.
    cursor = block;
    doc->typeBackspace();
  } else {
    doc->addBookmark(kBookmark, block);
    st_.DocumentText = doc->text(block);
  }
  return true;
}

void PrintRun::placeReportBlock() {
  word::Document* doc = doc_->word.get();
  auto mark = doc->bookmark(kBookmark);
  if (!mark) return;
  word::Range at{mark->story, mark->end, mark->end};
  st_.BlockStart = at.start;
  doc->paste(at, doc_->block);
  const word::Range copy{at.story, st_.BlockStart, at.start};
  doc->addBookmark(kBookmark, copy);
  st_.DocumentText = doc->text(copy);
}

bool PrintRun::placeLabels(int count, RunResult& result, int* placed) {
  word::Document* doc = doc_->word.get();
  const int cells = doc_->labelRows * doc_->labelColumns;
  if (doc_->labelCell >= cells) {
    // The sheet is full: print it and go on with a fresh one.
    if (!finishDocument(result)) return false;
    if (!openDocument(result)) return false;
    doc = doc_->word.get();
  }
  int n = 0;
  int firstStart = -1;
  while (n < count && doc_->labelCell < cells) {
    const int row = doc_->labelCell / doc_->labelColumns + 1;
    const int column = doc_->labelCell % doc_->labelColumns + 1;
    ++doc_->labelCell;
    auto cell = doc->cellRange(1, row, column);
    if (!cell) continue;
    word::Range at{cell->story, cell->start, cell->start};
    if (firstStart < 0) firstStart = at.start;
    doc->paste(at, doc_->block);
    ++n;
  }
  st_.BlockStart = std::max(firstStart, 0);
  const word::Range all = doc->content();
  st_.DocumentText = doc->text(word::Range{all.story, st_.BlockStart, all.end});
  *placed = std::max(n, 1);
  return true;
}

bool PrintRun::prepareTable() {
  word::Document* doc = doc_->word.get();
  st_.TableIndex = 1;
  if (doc->tableCount() < 1) {
    Debug(QStringLiteral("Table template without a table: filled as a document"));
    return false;
  }
  // A "break" template starts every new group with a copy of itself.
  if (options_.templatePath.contains(QLatin1String("break"), Qt::CaseInsensitive)) renderers::KeepTemplateBody(st_);
  return renderers::AnalyseTable(st_, 1, 0);
}

void PrintRun::nextTableRows() { renderers::AddTableRows(st_); }

void PrintRun::removeLeftovers(bool fromBlock) {
  word::Document* doc = doc_->word.get();
  word::FindOptions find;
  find.text = kLeftovers;
  find.matchWildcards = true;
  if (fromBlock) {
    // Only the current row or block can still hold this item's leftovers.
    word::Range r = doc->content();
    if (st_.TableMode && st_.TableSearchFrom >= 0) {
      r.start = std::clamp(st_.TableSearchFrom, 0, r.end);
    } else if (st_.TableMode) {
      if (auto row = doc->rowRange(st_.TableIndex, st_.BlockStart)) r.start = row->start;
    } else {
      r.start = std::clamp(st_.BlockStart, 0, r.end);
    }
    r.end = r.start;
    doc->execute(r, find, word::ReplaceMode::All);
    return;
  }
  // Without the presence test the replacement visits every searched story.
  bool test = false, retry = false;
  tpl::ReplacePlaceholder(st_, kLeftovers, QString(), true, test, retry);
}

bool PrintRun::finishDocument(RunResult& result) {
  if (!doc_) return true;
  // A document's attachments come right after it, or with "First" right
  // before it: what waits in the output goes first.
  const bool attachments = st_.Attachments && !st_.Attachments->empty();
  const bool attachmentsFirst = attachments && st_.Attachments->options().first;
  if (attachmentsFirst) {
    deliver(result);
    printAttachments(result);
  }
  ++docNumber_;
  const QString name = QStringLiteral("%1-%2").arg(baseName_).arg(docNumber_, 3, 10, QLatin1Char('0'));
  bool ok = true;
  if (st_.UseWord) {
    if (doc_->grid) {
      st_.TableMode = st_.BlockMode = false;
      doc_->grid->write(st_);
    }
    removeLeftovers(false);
    word::Document* doc = doc_->word.get();
    doc->setPrintHook([this, &name](const QString& saved, QString*) {
      output_.add({saved, name, true});
      return true;
    });
    QString error;
    if (!doc->printOut(&error)) {
      result.errors << error;
      ok = false;
    }
  } else {
    doc_->excel->Finish(st_);
    const QString saved = util::TempFolder() + name + QLatin1String(".xlsx");
    QString error;
    if (doc_->excel->SaveAs(saved, &error)) {
      output_.add({saved, name, true});
    } else {
      result.errors << error;
      ok = false;
    }
  }
  doc_.reset();
  st_.word = nullptr;
  st_.excel = nullptr;
  st_.excelOutput = nullptr;
  st_.Grid = nullptr;
  if (!ok) {
    // Attachments of a document that failed are not printed alone.
    if (st_.Attachments) st_.Attachments->reset();
    return false;
  }
  ++result.documents;
  ++pending_;
  if (attachments && !attachmentsFirst) {
    const bool delivered = deliver(result);
    printAttachments(result);
    return delivered;
  }
  if (pending_ >= std::max(1, options_.mode == RunMode::Show ? std::min(options_.batch, 10) : options_.batch))
    return deliver(result);
  return true;
}

QString PrintRun::importFile(const QString& file, QString* error) {
  QFile f(file);
  const QByteArray bytes = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  const auto known = imports_.find(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1));
  if (known != imports_.end() && QFileInfo::exists(known->second)) return known->second;
  const QString out = util::TempFolder() + QFileInfo(file).completeBaseName() + QLatin1String("-import.docx");
  const office::convert::Result r = converter_->toDocx(file, out);
  if (!r.ok() && error) *error = r.error;
  return r.ok() ? r.output : QString();
}

// One LibreOffice start for the HTML bodies of the next mails, instead of
// one per mail: the bodies are prepared exactly as the mail renderer will
// write them, so that its insertion finds them converted.
void PrintRun::prefetchHtml(const std::vector<model::ItemPtr>& items, const std::vector<size_t>& chosen, int from) {
  constexpr int kAhead = 25;
  const int last = std::min(int(chosen.size()), from + kAhead);
  prefetched_ = last;
  if (!st_.UseWord) return;
  const QString folder = util::TempFolder() + QStringLiteral("html-%1/").arg(from);
  QStringList files;
  std::vector<QByteArray> keys;
  for (int i = from; i < last; ++i) {
    const model::ItemPtr& item = items[chosen[size_t(i)]];
    if (renderers::RendererFor(item->Class(), calendar_) != renderers::Renderer::Mail ||
        item->number(QStringLiteral("BodyFormat")) != 2)
      continue;
    const QByteArray bytes =
        tpl::PrepareHtml(item->text(QStringLiteral("HTMLBody")), *item, renderers::MailReferenceDate(*item)).toUtf8();
    QByteArray key = QCryptographicHash::hash(bytes, QCryptographicHash::Sha1);
    if (imports_.count(key) || std::find(keys.begin(), keys.end(), key) != keys.end()) continue;
    const QString path = folder + QString::number(i) + QLatin1String(".html");
    QSaveFile f(path);
    if (!QDir().mkpath(folder) || !f.open(QIODevice::WriteOnly) || f.write(bytes) < 0 || !f.commit()) continue;
    files << path;
    keys.push_back(std::move(key));
  }
  if (files.isEmpty()) return;
  const std::vector<office::convert::Result> converted = converter_->toDocx(files, folder);
  for (size_t j = 0; j < converted.size(); ++j)
    if (converted[j].ok()) imports_[keys[j]] = converted[j].output;
  for (const QString& f : files) QFile::remove(f);
}

void PrintRun::printAttachments(RunResult& result) {
  attachments::AttachmentQueue& queue = *st_.Attachments;
  result.attachments += queue.files().size();
  const int before = queue.errors().size();
  queue.PrintAttachmentQueue(QString(), true);
  const QStringList errors = queue.errors();
  for (int i = before; i < errors.size(); ++i) result.errors << errors[i];
}

bool PrintRun::deliver(RunResult& result) {
  if (pending_ == 0) return true;
  pending_ = 0;
  const int before = output_.errors().size();
  const bool ok = output_.flush();
  const QStringList errors = output_.errors();
  for (int i = before; i < errors.size(); ++i) result.errors << errors[i];
  return ok;
}

}  // namespace ordolo::session
