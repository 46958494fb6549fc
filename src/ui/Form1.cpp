#include "ui/Form1.h"

#include "store/FileStore.h"
#include "tools/Duplicates.h"
#include "tools/EmlImport.h"
#include "util/VbFormat.h"

#include <QDir>
#include <QFileInfo>

#include "attachments/AttachmentQueue.h"
#include "attachments/PrintSystems.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "office/convert/Converter.h"
#include "print/Outputs.h"
#include "session/Templates.h"
#include "store/FileStore.h"
#include "util/Desktop.h"
#include "util/Folders.h"
#include "util/Ini.h"

namespace ordolo::ui {

using lang::Msg;

namespace {

const QString kAttachments = QStringLiteral("Attachments");

QString option(const QString& section, const QString& key, const QString& fallback) {
  return util::ReadIni(section, key, fallback, util::UserConfigFile());
}

void setOption(const QString& section, const QString& key, const QString& value) {
  util::WriteIni(section, key, value, util::UserConfigFile());
}

}  // namespace

OutputChoice OutputChoice::load() {
  OutputChoice c;
  const QString stored = option(QStringLiteral("Option"), QStringLiteral("Output"), QString());
  if (stored.startsWith(QLatin1String("pdf:"))) {
    c.kind = Kind::PdfFolder;
    c.folder = stored.mid(4);
  } else if (stored.startsWith(QLatin1String("printer:"))) {
    c.queue = stored.mid(8);
  }
  return c;
}

void OutputChoice::save() const {
  setOption(QStringLiteral("Option"), QStringLiteral("Output"),
            kind == Kind::PdfFolder ? QLatin1String("pdf:") + folder : QLatin1String("printer:") + queue);
}

// Passes a run's progress on to the front end.
class Form1::Observer : public session::RunObserver {
 public:
  explicit Observer(Form1& form) : form_(form) {}
  void itemFilled(int done, int total) override {
    if (form_.onProgress) form_.onProgress(done, total);
  }
  void documentDelivered(const session::DeliveredDocument& document) override {
    if (form_.onDelivered) form_.onDelivered(document);
  }

 private:
  Form1& form_;
};

Form1::Form1(Port& port) : open(util::OpenDocument), port_(port), start_(std::make_unique<session::Start>(port)) {
  suppress_ = option(kAttachments, QStringLiteral("Suppress"), QString());
  wait_ = option(kAttachments, QStringLiteral("Wait"), QStringLiteral("0"));
  first_ = option(kAttachments, QStringLiteral("First"), QStringLiteral("0")) == QLatin1String("1");
  output = OutputChoice::load();
}

Form1::~Form1() = default;

bool Form1::take(const model::Selection& selection, const model::FolderPtr& folder, model::NamespacePtr session) {
  start_ = std::make_unique<session::Start>(port_);
  folder_ = folder;
  session_ = std::move(session);
  sortColumn_ = 0;
  const bool shown = start_->StartPrint(selection, folder, session_ ? session_->CurrentUser() : QString());
  if (!start_->skipped().isEmpty())
    port_.message(start_->skipped().join(QStringLiteral("\r\n")), Buttons::Ok, Icon::Information);
  refreshTemplates();
  return shown;
}

std::vector<session::Column> Form1::columns() const { return session::Columns(start_->kind()); }

void Form1::setRowSelected(int row, bool selected) {
  std::vector<session::ListRow>& rows = start_->rows();
  if (row >= 0 && row < int(rows.size())) rows[size_t(row)].selected = selected;
}

void Form1::sortBy(int column, bool descending) {
  if (busy()) return;
  start_->sortBy(column, descending);
  sortColumn_ = column;
}

bool Form1::canPrint() const {
  if (!start_->canPrint() || current_ < 0) return false;
  for (const session::ListRow& row : start_->rows())
    if (row.selected) return true;
  return false;
}

QString Form1::kindLetter() const { return session::KindLetter(start_->kind()); }

void Form1::refreshTemplates() {
  const QString letter = kindLetter();
  templates_ = session::ListTemplates(letter);
  current_ = -1;
  if (templates_.isEmpty()) return;
  current_ = std::max(0, int(templates_.indexOf(session::StoredTemplate(letter))));
  if (templates_[current_] != session::StoredTemplate(letter))
    session::StoreTemplateChoice(letter, templates_[current_]);
}

void Form1::chooseTemplate(int index) {
  if (index < 0 || index >= templates_.size()) return;
  current_ = index;
  session::StoreTemplateChoice(kindLetter(), templates_[index]);
}

void Form1::tellOpenFailure(int result, const QString& path) {
  const QString why = print::OpenFailureText(result, path);
  if (!why.isEmpty()) port_.message(why, Buttons::Ok, Icon::Critical);
}

void Form1::editTemplate() {
  if (busy() || current_ < 0) return;
  chooseTemplate(current_);
  const QString path = session::TemplateFolder() + templates_[current_];
  if (!QFileInfo(path).isFile()) {
    port_.message(lang::text(Msg::ErrTemplateMissing).arg(path), Buttons::Ok, Icon::Critical);
    refreshTemplates();
    return;
  }
  tellOpenFailure(open(path), path);
  port_.beep();
}

void Form1::changeTemplateFolder() {
  if (busy()) return;
  const QString current = session::TemplateFolder();
  const QString chosen = port_.browseFolder(lang::GetLangText(QStringLiteral("S69")), current);
  if (chosen.isEmpty()) return;
  const session::FolderChange change = session::ChangeTemplateFolder(chosen);
  if (!change.error.isEmpty()) {
    port_.message(lang::text(Msg::ErrCannotWrite).arg(change.error), Buttons::Ok, Icon::Critical);
    return;
  }
  if (!change.failed.isEmpty())
    port_.message(lang::text(Msg::GuiNotMoved).arg(change.failed.join(QLatin1Char('\n'))), Buttons::Ok, Icon::Warning);
  if (!change.changed) return;
  lang::table().LoadLanguageTable(util::MainConfigFile());
  refreshTemplates();
}

office::convert::Converter& Form1::converter() {
  if (!converter_) converter_ = std::make_unique<office::convert::Converter>();
  return *converter_;
}

void Form1::prestartConverter() {
  if (!busy()) converter().prestart();  // a print has started them already
}

void Form1::showHelp() {
  const QString guide = util::ShareFolder() + QStringLiteral("doc/user-guide.html");
  tellOpenFailure(open(guide), guide);
}

void Form1::setSuppress(const QString& text) {
  suppress_ = text;
  setOption(kAttachments, QStringLiteral("Suppress"), text);
}

void Form1::setWait(const QString& text) {
  wait_ = text;
  setOption(kAttachments, QStringLiteral("Wait"), text);
}

void Form1::setAttachmentsFirst(bool first) { first_ = first; }

int Form1::convertProcesses() const {
  return std::max(0, option(QStringLiteral("Convert"), QStringLiteral("Processes"), QString()).toInt());
}

void Form1::setConvertProcesses(int processes) {
  setOption(QStringLiteral("Convert"), QStringLiteral("Processes"), QString::number(std::max(0, processes)));
}

bool Form1::loadLanguage(int index) {
  if (busy()) return false;
  if (port_.message(lang::GetLangText(QStringLiteral("S58")), Buttons::YesNo, Icon::Question) != Answer::Yes)
    return false;
  const lang::LangDefResult r = lang::table().LangDef(index, util::LanguageFolder(), util::MainConfigFile());
  if (r == lang::LangDefResult::MissingFile) {
    port_.message(lang::text(Msg::ErrLanguageFile)
                      .arg(util::LanguageFolder() + lang::LanguageTable::languageFileName(index)),
                  Buttons::Ok, Icon::Critical);
    return false;
  }
  if (r == lang::LangDefResult::WriteFailed) {
    port_.message(lang::text(Msg::ErrCannotWrite).arg(util::MainConfigFile()), Buttons::Ok, Icon::Critical);
    return false;
  }
  languageDirty_ = false;
  return r == lang::LangDefResult::Loaded;
}

bool Form1::editText(const QString& key, const QString& text) {
  if (!lang::table().setText(key, text)) return false;
  languageDirty_ = true;
  return true;
}

bool Form1::saveLanguage() {
  if (!lang::table().SaveLanguageTable(util::MainConfigFile())) {
    port_.message(lang::text(Msg::ErrCannotWrite).arg(util::MainConfigFile()), Buttons::Ok, Icon::Critical);
    return false;
  }
  lang::table().LoadLanguageTable(util::MainConfigFile());
  languageDirty_ = false;
  return true;
}

QString Form1::translatorNote() { return lang::text(Msg::GuiTranslator).arg(util::MainConfigFile()); }

session::RunResult Form1::print(session::RunMode mode) {
  session::RunResult result;
  if (busy() || current_ < 0) return result;
  const QString templatePath = session::TemplateFolder() + templates_[current_];
  if (!QFileInfo(templatePath).isFile()) {
    port_.message(lang::text(Msg::ErrTemplateMissing).arg(templatePath), Buttons::Ok, Icon::Critical);
    refreshTemplates();
    return result;
  }
  std::unique_ptr<print::Output> out;
  if (mode == session::RunMode::Show) out = print::makeOutput(print::Target::Show, print::ShowFolder(), &port_);
  else if (output.kind == OutputChoice::Kind::PdfFolder)
    out = print::makeOutput(print::Target::PdfFolder, output.folder, &port_);
  else out = print::makeOutput(print::Target::Queue, output.queue, &port_);
  QString why;
  const bool noFolder = mode == session::RunMode::Print && output.kind == OutputChoice::Kind::PdfFolder &&
                        output.folder.trimmed().isEmpty();
  if (noFolder) why = lang::text(Msg::GuiNoPdfFolder);
  if (noFolder || !out->prepare(&why)) {
    port_.message(why, Buttons::Ok, Icon::Critical);
    return result;
  }
  output.save();
  // Converting and sending take a while per batch: the window stays alive.
  out->setProgress([this](const QString& what, int, int) {
    if (onWorking) onWorking(what);
    port_.yield();
  });

  // Attachments go with the documents they belong to, where those go.
  std::unique_ptr<attachments::PrintSystem> attachmentSystem;
  std::unique_ptr<attachments::AttachmentQueue> attachmentQueue;
  if (mode == session::RunMode::Print) {
    attachmentSystem = attachments::PrintSystemFor(*out);
    // The options as the dialog shows them, "First" included (it is written on close).
    attachments::Options shown = attachments::Options::load();
    shown.suppress = suppress_;
    shown.wait = wait_;
    shown.first = first_;
    attachmentQueue = std::make_unique<attachments::AttachmentQueue>(*attachmentSystem, port_, shown);
    start_->setAttachmentQueue(attachmentQueue.get());
  }

  session::RunOptions options;
  options.templatePath = templatePath;
  options.mode = mode;
  options.startRow = startRow;
  options.copies = copies;
  options.kind = start_->kind();
  options.sortColumn = sortColumn_;
  options.session = session_.get();
  options.attachments = attachmentQueue.get();
  model::Application app(session_);
  app.ActiveExplorer().setCurrentFolder(folder_);
  options.header.User = session_ ? session_->CurrentUser() : QString();
  options.header.Caption = app.ActiveExplorer().Caption();
  options.header.Folder = folder_ ? folder_->Name() : QString();

  // The dialog's converter: LibreOffice stays up from one print to the next.
  out->setConverter(&converter());
  session::PrintRun run(port_, *out, &converter());
  Observer observer(*this);
  run.setObserver(&observer);
  run_ = &run;
  stopping_ = false;
  result = run.run(start_->items(), start_->rows(), options);
  run_ = nullptr;
  stopping_ = false;
  start_->setAttachmentQueue(nullptr);
  return result;
}

QStringList Form1::findFields() const { return tools::FieldList(folder_); }

bool Form1::find(const QDate& from, const QDate& to, const tools::FieldCondition& condition) {
  if (busy() || !folder_) return false;
  if (to < from) {
    port_.message(lang::text(Msg::ErrRangeReversed)
                      .arg(util::Format(to, QStringLiteral("ddddd")), util::Format(from, QStringLiteral("ddddd"))),
                  Buttons::Ok, Icon::Warning);
    return false;
  }
  tools::FindRequest request;
  request.from = from;
  request.to = to;
  request.condition = condition;
  int shown = 0;
  request.progress = [this, &shown](int done, int total) {
    if (onProgress) onProgress(done, total);
    // Drawing every item would cost more than the find itself.
    if (done - shown >= 25 || done == total) {
      shown = done;
      port_.yield();
    }
  };
  request.stopRequested = [this] { return findStop_; };
  finding_ = true;
  findStop_ = stopping_ = false;
  const tools::FindResult found = tools::Find(folder_, request);
  finding_ = stopping_ = false;
  if (!found.error.isEmpty()) {
    port_.message(lang::text(Msg::ErrFilter).arg(found.error), Buttons::Ok, Icon::Critical);
    return false;
  }
  start_->Reset(folder_->DefaultItemClass(), folder_, session_ ? session_->CurrentUser() : QString());
  int kind = start_->kind();
  for (const model::ItemPtr& item : found.items) start_->AddItem(kind, item, false);
  sortColumn_ = 0;
  counter_ = folder_->DefaultItemClass() == model::olAppointment ? found.totals.text() : QString();
  if (!found.notices.isEmpty())
    port_.message(found.notices.join(QStringLiteral("\r\n")), Buttons::Ok, Icon::Information);
  return true;
}

int Form1::removeDuplicates() {
  if (busy()) return -1;
  const Answer answer = port_.message(lang::GetLangText(QStringLiteral("S70")) + QStringLiteral("\r\n\r\n") +
                                          lang::text(Msg::DedupHint),
                                      Buttons::YesNoCancel, Icon::Question);
  if (answer == Answer::Cancel) return -1;
  tools::DedupRequest request;
  request.mode = answer == Answer::Yes ? tools::DedupMode::Physical : tools::DedupMode::ListOnly;
  const tools::DedupResult result = tools::RemoveDuplicates(*start_, request);
  QStringList failed;
  for (const tools::DedupRemoved& r : result.removed)
    if (!r.error.isEmpty())
      failed << lang::text(Msg::ErrDedupDelete)
                    .arg(QString(r.text).replace(QLatin1Char('\t'), QLatin1Char(' ')).simplified(), r.error);
  if (!failed.isEmpty()) port_.message(failed.join(QLatin1Char('\n')), Buttons::Ok, Icon::Warning);
  if (request.mode == tools::DedupMode::ListOnly) sortColumn_ = 0;
  counter_ = lang::text(Msg::DedupDone).arg(result.removed.size()).arg(start_->rows().size() + result.removed.size());
  return int(result.removed.size());
}

void Form1::importEml(const QStringList& files) {
  auto fileStore = std::dynamic_pointer_cast<store::FileStore>(session_);
  if (!fileStore) return;
  const tools::EmlImportResult result = tools::ImportEml(*fileStore, files);
  port_.message(result.message(), Buttons::Ok, result.error.isEmpty() ? Icon::Information : Icon::Warning);
}

bool Form1::requestStop() {
  if (finding_) {
    findStop_ = true;
    stopping_ = true;
    return true;
  }
  if (!run_) return false;
  run_->requestStop();
  stopping_ = true;
  return true;
}

bool Form1::close() {
  if (busy()) {
    requestStop();
    return false;
  }
  stopMonitor();
  setOption(kAttachments, QStringLiteral("Suppress"), suppress_);
  setOption(kAttachments, QStringLiteral("Wait"), wait_);
  setOption(kAttachments, QStringLiteral("First"), first_ ? QStringLiteral("1") : QStringLiteral("0"));
  return true;
}

bool Form1::canMonitor() const {
  return current_ >= 0 && folder_ && dynamic_cast<store::FileStore*>(session_.get()) != nullptr;
}

bool Form1::startMonitor(const monitor::MonitorOptions& options) {
  if (busy() || !canMonitor()) return false;
  stopMonitor();
  retired_.reset();
  const auto watched = std::dynamic_pointer_cast<store::StoreFolder>(folder_);
  if (!watched) return false;
  monitor_ = std::make_unique<monitor::Monitor>(port_, folder_, watched->absolutePath());
  monitor_->stateChanged = [this](monitor::Monitor::State state) {
    // Stopped by itself (its folder went away): the dialog is free again.
    if (state == monitor::Monitor::State::Stopped && monitor_) retired_ = std::move(monitor_);
    if (onMonitorState) onMonitorState(state);
  };
  monitor_->handledChanged = [this](int handled) {
    if (onMonitorCount) onMonitorCount(handled);
  };
  monitor_->print = [this](const std::vector<model::ItemPtr>& items) -> int {
    // A run of the user's own is going: the next check takes them.
    if (busy()) return 0;
    const model::FolderPtr folder = folder_;
    const model::NamespacePtr session = session_;
    take(model::Selection(items), folder, session);
    if (onListChanged) onListChanged();
    const session::RunResult result = print(session::RunMode::Print);
    return result.errors.isEmpty() && !result.stopped ? int(items.size()) : 0;
  };
  if (monitor_->start(options)) return true;
  monitor_.reset();
  return false;
}

void Form1::stopMonitor() {
  if (!monitor_) return;
  monitor_->stop();
  retired_ = std::move(monitor_);
}

}  // namespace ordolo::ui
