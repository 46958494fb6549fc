#include "session/PrintRun.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include "attachments/AttachmentQueue.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "layouts/Layout.h"
#include "office/convert/Converter.h"
#include "office/word/Document.h"
#include "print/Output.h"
#include "renderers/Dispatch.h"
#include "renderers/Mail.h"
#include "template/Eigenschaften.h"
#include "template/HtmlInsert.h"
#include "ui/Port.h"
#include "util/DebugLog.h"
#include "util/Folders.h"

namespace ordolo::session {

using lang::Msg;

namespace {

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

// One run's traffic between the loop, the layout and the renderers: the
// layout's host and the renderers' reporter.
class PrintRun::Driver : public layouts::Host, public renderers::Reporter {
 public:
  Driver(PrintRun& run, RunResult& result, const std::vector<model::ItemPtr>& items, const std::vector<size_t>& chosen)
      : run_(run), result_(result), items_(items), chosen_(chosen) {
    printing_.queue = run.options_.mode == RunMode::Print ? run.options_.attachments : nullptr;
  }

  void setLayout(layouts::Layout* layout) { layout_ = layout; }
  void setItem(int n) { n_ = n; }

  // layouts::Host
  const tpl::RunState& run() const override { return run_.st_; }
  const model::ItemPtr& currentItem() const override { return items_[chosen_[size_t(n_)]]; }

  void render(tpl::Target& target) override {
    tpl::RunState& st = run_.st_;
    if (st.ItemCounter > 0) ++st.ItemCounter;
    tpl::FillRunHeader(target, st.Header);
    if (run_.htmlTemplate_ && run_.converter_ && n_ >= run_.prefetched_) run_.prefetchHtml(items_, chosen_, n_);
    const model::ItemPtr& item = currentItem();
    renderers::RenderContext ctx{
        st, target, item, *this, run_.options_.session, printing_.queue ? &printing_ : nullptr};
    renderers::Render(renderers::RendererFor(item->Class(), st.Kind.layout == tpl::Layout::CalendarGrid), ctx);
  }

  void opened(office::word::Document& doc) override {
    if (run_.converter_)
      doc.setImporter([this](const QString& file, office::Error* err) { return run_.importFile(file, err); });
    if (!run_.htmlTemplate_) run_.htmlTemplate_ = doc.searchedText().contains(QLatin1String("#HTMLBody"));
  }

  bool finished(const QString& file) override {
    attachments::AttachmentQueue* queue = printing_.queue;
    // A document's attachments come right after it, or with "First" right
    // before it: what waits in the output goes first.
    const bool attachments = queue && !queue->empty();
    const bool attachmentsFirst = attachments && queue->options().first;
    if (attachmentsFirst) {
      run_.deliver(result_);
      printAttachments();
    }
    ++run_.docNumber_;
    const QString base = run_.options_.documentName.isEmpty() ? QFileInfo(run_.options_.templatePath).completeBaseName()
                                                              : run_.options_.documentName;
    const QString name = run_.options_.documentNameFor
                             ? run_.options_.documentNameFor(*currentItem())
                             : QStringLiteral("%1-%2").arg(base).arg(run_.docNumber_, 3, 10, QLatin1Char('0'));
    documents_[name] = {run_.docNumber_, n_ + 1};
    run_.output_.add({file, name, true});
    ++result_.documents;
    ++run_.pending_;
    if (attachments && !attachmentsFirst) {
      const bool delivered = run_.deliver(result_);
      printAttachments();
      return delivered;
    }
    const int batch = run_.options_.mode == RunMode::Show ? std::min(run_.options_.batch, 10) : run_.options_.batch;
    if (run_.pending_ >= std::max(1, batch)) return run_.deliver(result_);
    return true;
  }

  void failed(const QString& error) override {
    run_.addError(result_, error);
    // Attachments of a document that failed are not printed alone.
    if (printing_.queue) printing_.queue->reset();
  }

  void refused(const QString& message) override {
    run_.port_.message(message, ui::Buttons::Ok, ui::Icon::Critical);
    run_.addError(result_, message);
    run_.stop_ = true;
  }

  // renderers::Reporter
  void dayStarted(const QDateTime& start) override { run_.st_.LastStartDate = start; }
  void groupStarted() override {
    if (layout_) layout_->groupStarted();
  }

  // The output delivered a job: one of the run's documents, or an attachment.
  void delivered(const QString& name, const QString& where, int total) {
    if (!run_.observer_) return;
    const auto it = documents_.find(name);
    if (it == documents_.end()) run_.observer_->attachmentDelivered(name, where);
    else run_.observer_->documentDelivered({it->second.first, it->second.second, total, name, where});
  }

 private:
  void printAttachments() {
    attachments::AttachmentQueue& queue = *printing_.queue;
    result_.attachments += queue.files().size();
    const int before = queue.errors().size();
    queue.PrintAttachmentQueue(QString(), true);
    const QStringList errors = queue.errors();
    for (int i = before; i < errors.size(); ++i) run_.addError(result_, errors[i]);
  }

  PrintRun& run_;
  RunResult& result_;
  const std::vector<model::ItemPtr>& items_;
  const std::vector<size_t>& chosen_;
  layouts::Layout* layout_ = nullptr;
  int n_ = 0;
  tpl::AttachmentPrinting printing_;
  std::map<QString, std::pair<int, int>> documents_;  // by name: number, last item
};

PrintRun::PrintRun(ui::Port& port, print::Output& output, office::convert::Converter* converter)
    : port_(port), output_(output), converter_(converter) {}

PrintRun::~PrintRun() = default;

void PrintRun::addError(RunResult& result, const QString& error) {
  result.errors << error;
  util::DebugLog::write(QStringLiteral("Print run: ") + error);
}

QString PrintRun::resolveTemplate(RunResult& result) {
  const QString path = options_.templatePath;
  if (!QFileInfo(path).isFile()) {
    addError(result, lang::text(Msg::ErrTemplateMissing).arg(path));
    return {};
  }
  if (IsLegacy(path)) {
    if (!converter_) {
      addError(result, lang::text(Msg::ErrOfficeMissing));
      return {};
    }
    const office::convert::Result converted = converter_->toOoxml(path);
    if (!converted.ok()) {
      addError(result, lang::Describe(converted.error));
      return {};
    }
    return converted.output;
  }
  if (!IsOoxml(path)) {
    addError(result, lang::text(Msg::ErrTemplateKind).arg(path));
    return {};
  }
  return path;
}

RunResult PrintRun::run(const std::vector<model::ItemPtr>& items, const std::vector<ListRow>& rows,
                        const RunOptions& options) {
  RunResult result;
  options_ = options;
  busy_ = true;
  pending_ = 0;
  docNumber_ = 0;
  imports_.clear();
  htmlTemplate_ = false;
  prefetched_ = 0;
  st_ = tpl::RunState::Initial(tpl::TemplateKind::fromFileName(options.templatePath));
  st_.Grouped = options.sortColumn > 0;
  st_.Header = options.header;
  st_.TemplatePath = options.templatePath;

  std::vector<size_t> chosen;
  for (size_t i = 0; i < items.size() && i < rows.size(); ++i)
    if (rows[i].selected && items[i]) chosen.push_back(i);
  const auto end = [&] {
    busy_ = false;
    output_.setDelivered(nullptr);
    output_.setStopFlag(nullptr);
    if (options.attachments) options.attachments->setStopFlag(nullptr);
    result.stopRequested = stop_.exchange(false);
    return result;
  };
  if (chosen.empty()) {
    addError(result, lang::text(Msg::ErrNothingToPrint));
    return end();
  }

  layouts::Options layoutOptions;
  layoutOptions.templateFile = resolveTemplate(result);
  layoutOptions.startRow = options.startRow;
  layoutOptions.copies = options.copies;
  if (layoutOptions.templateFile.isEmpty()) {
    result.stopped = true;
    return end();
  }

  // The group key comes from the sort column of the run's kind.
  const std::vector<Column> columns = Columns(options.kind ? options.kind : items[chosen.front()]->Class());
  int sortKeyColumn = options.sortColumn;
  if (sortKeyColumn > 0 && sortKeyColumn < int(columns.size()) && columns[sortKeyColumn].sortBy > 0)
    sortKeyColumn = columns[sortKeyColumn].sortBy;

  const int total = int(chosen.size());
  Driver driver(*this, result, items, chosen);
  output_.setDelivered([&driver, total](const QString& name, const QString& where) {
    driver.delivered(name, where, total);
  });
  output_.setStopFlag(&stop_);
  if (options.attachments) options.attachments->setStopFlag(&stop_);
  const std::unique_ptr<layouts::Layout> layout = layouts::MakeLayout(st_.Kind, driver, layoutOptions);
  driver.setLayout(layout.get());
  if (!layout->open()) {
    result.stopped = true;
    deliver(result);
    return end();
  }

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
      const QString question = lang::withNumber(lang::GetLangText(QStringLiteral("S65")) + QLatin1String("\n\n") +
                                                    lang::GetLangText(QStringLiteral("S66")),
                                                number - 1);
      if (port_.message(question, ui::Buttons::YesNo, ui::Icon::Information) == ui::Answer::No) {
        result.stopped = true;
        break;
      }
      port_.yield();
    }

    const size_t index = chosen[size_t(n)];
    st_.PrevGroupKey = st_.GroupKey;
    if (st_.Grouped) st_.GroupKey = rows[index].subItems.value(sortKeyColumn - 1).left(8);
    driver.setItem(n);
    if (!layout->item()) {
      result.stopped = true;
      break;
    }
    ++result.items;
    if (observer_) observer_->itemFilled(n + 1, total);
    port_.yield();
  }

  // What was filled before a stop is printed too.
  const int held = layout->pendingItems();
  if (stop_ && held > 0 && result.items < total)
    result.note = lang::text(Msg::RunStoppedDocument).arg(result.items).arg(total);
  else if (stop_ && result.items < total) result.note = lang::text(Msg::RunStopped).arg(result.items).arg(total);
  layout->finish();
  deliver(result);
  return end();
}

QString PrintRun::importFile(const QString& file, office::Error* error) {
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
  if (!st_.Kind.word) return;
  const QString folder = util::TempFolder() + QStringLiteral("html-%1/").arg(from);
  QStringList files;
  std::vector<QByteArray> keys;
  for (int i = from; i < last; ++i) {
    const model::ItemPtr& item = items[chosen[size_t(i)]];
    if (renderers::RendererFor(item->Class(), st_.Kind.layout == tpl::Layout::CalendarGrid) !=
            renderers::Renderer::Mail ||
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

bool PrintRun::deliver(RunResult& result) {
  if (pending_ == 0) return true;
  pending_ = 0;
  const int before = output_.errors().size();
  const bool ok = output_.flush();
  const QStringList errors = output_.errors();
  for (int i = before; i < errors.size(); ++i) addError(result, errors[i]);
  return ok;
}

}  // namespace ordolo::session
