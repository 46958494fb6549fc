#include "gui/Form1Window.h"

#include <QAbstractItemView>
#include <QCalendarWidget>
#include <QCheckBox>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QEventLoop>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTimer>
#include <QTreeWidget>
#include <QTextCharFormat>
#include <QUrl>
#include <QVBoxLayout>
#include <QDropEvent>
#include <QGuiApplication>
#include <QMimeData>
#include <QMouseEvent>

#include "gui/Form3.h"
#include "gui/Form4.h"
#include "gui/MonitorDialog.h"
#include "gui/QtPort.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "util/Folders.h"
#include "util/Ini.h"

namespace ordolo::gui {

using lang::Msg;

namespace {

QString S(const char* key) { return lang::GetLangText(QString::fromLatin1(key)); }

// The tool-tip the language table gives a key.
QString Tip(const char* key) {
  const int i = lang::table().indexOf(QString::fromLatin1(key));
  return i < 0 ? QString() : lang::table().rows()[size_t(i)].tooltip;
}

// The list's own column for each column of the kind shown (hidden sort keys
// are not shown).
std::vector<int> VisibleColumns(const std::vector<session::Column>& columns) {
  std::vector<int> out;
  for (int i = 0; i < int(columns.size()); ++i)
    if (!columns[size_t(i)].hidden) out.push_back(i);
  return out;
}

const QString kGeometry = QStringLiteral("Form1Geometry");

}  // namespace

Form1Window::Form1Window(QtPort& port, QWidget* parent) : QDialog(parent), port_(port), form_(port) {
  setObjectName(QStringLiteral("Form1"));
  setWindowFlag(Qt::WindowMaximizeButtonHint);
  setSizeGripEnabled(true);
  auto* layout = new QVBoxLayout(this);
  tabs_ = new QTabWidget(this);
  tabs_->setObjectName(QStringLiteral("SSTab1"));
  layout->addWidget(tabs_);
  buildPrintTab();
  buildTemplateTab();
  buildLanguageTab();
  applyTexts();
  fillTemplates();
  fillLanguage();

  resize(820, 560);
  const QByteArray geometry = QByteArray::fromBase64(
      util::ReadIni(QStringLiteral("Option"), kGeometry, QString(), util::UserConfigFile()).toLatin1());
  if (!geometry.isEmpty()) restoreGeometry(geometry);
  // A dialog that stays open is likely to print: LibreOffice is started
  // meanwhile, so the first document does not wait for it.
  QTimer::singleShot(2000, this, [this] {
    if (isVisible()) form_.prestartConverter();
  });
}

Form1Window::~Form1Window() = default;

void Form1Window::buildPrintTab() {
  auto* page = new QWidget(tabs_);
  page->setObjectName(QStringLiteral("printTab"));
  auto* layout = new QVBoxLayout(page);
  caption_ = new QLabel(page);
  caption_->setObjectName(QStringLiteral("KALNAME"));
  QFont bold = caption_->font();
  bold.setBold(true);
  caption_->setFont(bold);
  layout->addWidget(caption_);

  list1_ = new QTreeWidget(page);
  list1_->setObjectName(QStringLiteral("List1"));
  list1_->setRootIsDecorated(false);
  list1_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list1_->setAlternatingRowColors(true);
  list1_->setUniformRowHeights(true);
  list1_->header()->setSectionsClickable(true);
  list1_->header()->setSortIndicatorShown(true);
  // Beside the list: the month calendar and the tools.
  auto* listRow = new QHBoxLayout;
  listRow->addWidget(list1_, 1);
  auto* tools = new QVBoxLayout;
  monthView1_ = new QCalendarWidget(page);
  monthView1_->setObjectName(QStringLiteral("MonthView1"));
  monthView1_->setGridVisible(false);
  monthView1_->setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);
  monthView1_->setFixedSize(monthView1_->sizeHint());
  anchor_ = rangeFrom_ = rangeTo_ = monthView1_->selectedDate();
  monthView1_->findChild<QAbstractItemView*>()->viewport()->installEventFilter(this);
  connect(monthView1_, &QCalendarWidget::selectionChanged, this, &Form1Window::calendarSelected);
  tools->addWidget(monthView1_);
  dfind_ = new QPushButton(page);
  dfind_->setObjectName(QStringLiteral("DFIND"));
  deldup_ = new QPushButton(page);
  deldup_->setObjectName(QStringLiteral("DELDUP"));
  tools->addWidget(dfind_);
  tools->addWidget(deldup_);
  tools->addStretch(1);
  listRow->addLayout(tools);
  layout->addLayout(listRow, 1);
  connect(dfind_, &QPushButton::clicked, this, &Form1Window::findPressed);
  connect(deldup_, &QPushButton::clicked, this, [this] {
    if (form_.removeDuplicates() < 0) return;
    fillItems();
    list1_->header()->setSortIndicator(-1, Qt::AscendingOrder);
    counter_->setText(form_.counterText());
  });
  connect(list1_, &QTreeWidget::itemSelectionChanged, this, [this] {
    for (int i = 0; i < list1_->topLevelItemCount(); ++i)
      form_.setRowSelected(list1_->topLevelItem(i)->data(0, Qt::UserRole).toInt(),
                           list1_->topLevelItem(i)->isSelected());
    updateButtons();
  });
  connect(list1_->header(), &QHeaderView::sectionClicked, this, [this](int section) {
    if (form_.busy()) return;
    const std::vector<int> visible = VisibleColumns(form_.columns());
    if (section < 0 || section >= int(visible.size())) return;
    const int column = visible[size_t(section)];
    const bool descending = form_.sortColumn() == column &&
                            list1_->header()->sortIndicatorOrder() == Qt::AscendingOrder;
    form_.sortBy(column, descending);
    fillItems();
    list1_->header()->setSortIndicator(section, descending ? Qt::DescendingOrder : Qt::AscendingOrder);
  });

  startRowLabel_ = new QLabel(page);
  startRow_ = new QSpinBox(page);
  startRow_->setObjectName(QStringLiteral("LZEILE"));
  startRow_->setRange(1, 9);
  startRowLabel_->setBuddy(startRow_);
  copiesLabel_ = new QLabel(page);
  copies_ = new QSpinBox(page);
  copies_->setObjectName(QStringLiteral("LKOPIEN"));
  copies_->setRange(1, 999);
  copiesLabel_->setBuddy(copies_);
  auto* labels = new QHBoxLayout;
  labels->addWidget(startRowLabel_);
  labels->addWidget(startRow_);
  labels->addSpacing(24);
  labels->addWidget(copiesLabel_);
  labels->addWidget(copies_);
  labels->addStretch(1);
  layout->addLayout(labels);

  printToLabel_ = new QLabel(page);
  printTo_ = new QComboBox(page);
  printTo_->setObjectName(QStringLiteral("printTo"));
  printTo_->addItem(QString());
  printTo_->addItem(QString());
  printTo_->setCurrentIndex(form_.output.kind == ui::OutputChoice::Kind::PdfFolder ? 1 : 0);
  printToLabel_->setBuddy(printTo_);
  pdfFolder_ = new QLineEdit(page);
  pdfFolder_->setObjectName(QStringLiteral("pdfFolder"));
  pdfFolder_->setText(form_.output.folder);
  browse_ = new QPushButton(page);
  browse_->setObjectName(QStringLiteral("browse"));
  auto* target = new QHBoxLayout;
  target->addWidget(printToLabel_);
  target->addWidget(printTo_);
  target->addWidget(pdfFolder_, 1);
  target->addWidget(browse_);
  layout->addLayout(target);
  connect(printTo_, qOverload<int>(&QComboBox::currentIndexChanged), this, [this](int index) {
    form_.output.kind = index == 1 ? ui::OutputChoice::Kind::PdfFolder : ui::OutputChoice::Kind::Printer;
    updateButtons();
  });
  connect(pdfFolder_, &QLineEdit::textChanged, this, [this](const QString& text) { form_.output.folder = text; });
  connect(browse_, &QPushButton::clicked, this, &Form1Window::chooseOutputFolder);

  auto* progressRow = new QHBoxLayout;
  counter_ = new QLabel(page);
  counter_->setObjectName(QStringLiteral("Zaehler"));
  progress_ = new QProgressBar(page);
  progress_->setObjectName(QStringLiteral("ProgressBar1"));
  progress_->setTextVisible(false);
  progressRow->addWidget(counter_);
  progressRow->addWidget(progress_, 1);
  layout->addLayout(progressRow);
  status_ = new QLabel(page);
  status_->setObjectName(QStringLiteral("status"));
  status_->setWordWrap(true);
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  layout->addWidget(status_);

  auto* buttons = new QHBoxLayout;
  ok_ = new QPushButton(page);
  ok_->setObjectName(QStringLiteral("Ok"));
  ok_->setDefault(true);
  show_ = new QPushButton(page);
  show_->setObjectName(QStringLiteral("ZEIGE"));
  exit_ = new QPushButton(page);
  exit_->setObjectName(QStringLiteral("EXIT"));
  monitor_ = new QPushButton(page);
  monitor_->setObjectName(QStringLiteral("Monitor"));
  handled_ = new QLabel(page);
  handled_->setObjectName(QStringLiteral("ZAE"));
  buttons->addWidget(monitor_);
  buttons->addWidget(handled_);
  buttons->addStretch(1);
  buttons->addWidget(ok_);
  buttons->addWidget(show_);
  buttons->addWidget(exit_);
  layout->addLayout(buttons);
  connect(ok_, &QPushButton::clicked, this, [this] { runPrint(session::RunMode::Print); });
  connect(show_, &QPushButton::clicked, this, [this] { runPrint(session::RunMode::Show); });
  connect(exit_, &QPushButton::clicked, this, &Form1Window::exitPressed);
  connect(monitor_, &QPushButton::clicked, this, &Form1Window::monitorPressed);
  form_.onMonitorState = [this](monitor::Monitor::State state) { showMonitorState(state); };
  form_.onMonitorCount = [this](int n) { handled_->setText(QString::number(n)); };
  form_.onListChanged = [this] {
    caption_->setText(form_.caption());
    fillItems();
  };

  tabs_->addTab(page, QString());
}

void Form1Window::buildTemplateTab() {
  auto* page = new QWidget(tabs_);
  page->setObjectName(QStringLiteral("templateTab"));
  auto* layout = new QVBoxLayout(page);
  templatesLabel_ = new QLabel(page);
  layout->addWidget(templatesLabel_);
  auto* row = new QHBoxLayout;
  list2_ = new QListWidget(page);
  list2_->setObjectName(QStringLiteral("List2"));
  templatesLabel_->setBuddy(list2_);
  row->addWidget(list2_, 1);
  auto* side = new QVBoxLayout;
  edit_ = new QPushButton(page);
  edit_->setObjectName(QStringLiteral("EDIT"));
  changePath_ = new QPushButton(page);
  changePath_->setObjectName(QStringLiteral("CHANGEPATH"));
  help_ = new QPushButton(page);
  help_->setObjectName(QStringLiteral("DOHELP"));
  side->addWidget(edit_);
  side->addWidget(changePath_);
  // The drop target for message files that become drafts.
  emlImport_ = new QLabel(page);
  emlImport_->setObjectName(QStringLiteral("EMLImport"));
  emlImport_->setWordWrap(true);
  emlImport_->setFrameShape(QFrame::StyledPanel);
  emlImport_->setAlignment(Qt::AlignCenter);
  emlImport_->setMaximumWidth(260);
  emlImport_->setAcceptDrops(true);
  emlImport_->installEventFilter(this);
  side->addWidget(emlImport_);
  side->addStretch(1);
  side->addWidget(help_);
  row->addLayout(side);
  layout->addLayout(row, 1);
  hint_ = new QLabel(page);
  hint_->setWordWrap(true);
  layout->addWidget(hint_);

  auto* form = new QFormLayout;
  suppressLabel_ = new QLabel(page);
  suppressLabel_->setWordWrap(true);
  suppress_ = new QLineEdit(form_.suppress(), page);
  suppress_->setObjectName(QStringLiteral("SIGNATUR"));
  suppressLabel_->setBuddy(suppress_);
  waitLabel_ = new QLabel(page);
  waitLabel_->setWordWrap(true);
  wait_ = new QLineEdit(form_.wait(), page);
  wait_->setObjectName(QStringLiteral("MSEC"));
  waitLabel_->setBuddy(wait_);
  first_ = new QCheckBox(page);
  first_->setObjectName(QStringLiteral("PAFirst"));
  first_->setChecked(form_.attachmentsFirst());
  form->addRow(suppressLabel_, suppress_);
  form->addRow(waitLabel_, wait_);
  form->addRow(QString(), first_);
  processesLabel_ = new QLabel(page);
  processesLabel_->setWordWrap(true);
  processes_ = new QSpinBox(page);
  processes_->setObjectName(QStringLiteral("Processes"));
  processes_->setRange(0, 16);
  processes_->setValue(form_.convertProcesses());
  processesLabel_->setBuddy(processes_);
  form->addRow(processesLabel_, processes_);
  layout->addLayout(form);

  connect(list2_, &QListWidget::currentRowChanged, this, [this](int index) {
    form_.chooseTemplate(index);
    updateButtons();
  });
  connect(list2_, &QListWidget::itemDoubleClicked, this, [this] { form_.editTemplate(); });
  connect(edit_, &QPushButton::clicked, this, [this] { form_.editTemplate(); });
  connect(changePath_, &QPushButton::clicked, this, [this] {
    form_.changeTemplateFolder();
    fillTemplates();
    fillLanguage();
    applyTexts();
  });
  connect(help_, &QPushButton::clicked, this, [this] { form_.showHelp(); });
  connect(suppress_, &QLineEdit::textChanged, this, [this](const QString& text) { form_.setSuppress(text); });
  connect(wait_, &QLineEdit::textChanged, this, [this](const QString& text) { form_.setWait(text); });
  connect(first_, &QCheckBox::toggled, this, [this](bool on) { form_.setAttachmentsFirst(on); });
  connect(processes_, qOverload<int>(&QSpinBox::valueChanged), this, [this](int n) { form_.setConvertProcesses(n); });
  tabs_->addTab(page, QString());
}

void Form1Window::buildLanguageTab() {
  auto* page = new QWidget(tabs_);
  page->setObjectName(QStringLiteral("languageTab"));
  auto* layout = new QVBoxLayout(page);
  list3_ = new QTreeWidget(page);
  list3_->setObjectName(QStringLiteral("List3"));
  list3_->setRootIsDecorated(false);
  list3_->setColumnCount(4);
  list3_->setUniformRowHeights(true);
  list3_->setAlternatingRowColors(true);
  layout->addWidget(list3_, 1);
  auto* buttons = new QHBoxLayout;
  for (int i = 0; i < 3; ++i) {
    langDef_[i] = new QPushButton(page);
    langDef_[i]->setObjectName(QStringLiteral("LangDef%1").arg(i));
    buttons->addWidget(langDef_[i]);
    connect(langDef_[i], &QPushButton::clicked, this, [this, i] {
      const QString keep = list3_->currentItem() ? list3_->currentItem()->text(0) : QString();
      if (!form_.loadLanguage(i)) return;
      fillLanguage(keep);
      applyTexts();
      fillItems();
      save_->setEnabled(false);
    });
  }
  buttons->addStretch(1);
  langEdit_ = new QPushButton(page);
  langEdit_->setObjectName(QStringLiteral("LangEdit"));
  save_ = new QPushButton(page);
  save_->setObjectName(QStringLiteral("SAVE"));
  save_->setEnabled(false);
  buttons->addWidget(langEdit_);
  buttons->addWidget(save_);
  layout->addLayout(buttons);
  translator_ = new QLabel(page);
  translator_->setObjectName(QStringLiteral("translator"));
  translator_->setWordWrap(true);
  translator_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  layout->addWidget(translator_);
  connect(langEdit_, &QPushButton::clicked, this, &Form1Window::editLanguageRow);
  connect(list3_, &QTreeWidget::itemDoubleClicked, this, &Form1Window::editLanguageRow);
  connect(save_, &QPushButton::clicked, this, [this] {
    const QString keep = list3_->currentItem() ? list3_->currentItem()->text(0) : QString();
    if (!form_.saveLanguage()) return;
    fillLanguage(keep);
    applyTexts();
    fillItems();
    save_->setEnabled(false);
  });
  tabs_->addTab(page, QString());
}

void Form1Window::applyTexts() {
  setWindowTitle(QStringLiteral("Ordolo"));
  tabs_->setTabText(0, S("S21") + QLatin1String(" - ") + S("S23"));
  tabs_->setTabText(1, lang::text(Msg::GuiTemplates) + QLatin1String(" + ") + S("S59"));
  tabs_->setTabText(2, S("S22"));
  startRowLabel_->setText(S("S53"));
  startRowLabel_->setToolTip(Tip("S53"));
  startRow_->setToolTip(Tip("S53"));
  copiesLabel_->setText(S("S54"));
  copiesLabel_->setToolTip(Tip("S54"));
  copies_->setToolTip(Tip("S54"));
  printToLabel_->setText(lang::text(Msg::GuiPrintTo));
  printTo_->setItemText(0, lang::text(Msg::GuiDefaultPrinter));
  printTo_->setItemText(1, lang::text(Msg::GuiPdfFolder));
  browse_->setText(lang::text(Msg::GuiBrowse));
  if (!form_.monitoring()) monitor_->setText(lang::text(Msg::MonButton));
  dfind_->setText(S("S32"));
  deldup_->setText(S("S71"));
  deldup_->setToolTip(S("S71"));
  emlImport_->setText(lang::text(Msg::GuiImportLabel).trimmed().replace(QLatin1String("\r\n"), QLatin1String("\n")));
  if (!form_.busy()) {
    ok_->setText(S("S21"));
    show_->setText(S("S23"));
    exit_->setText(lang::text(Msg::GuiExit));
  }
  templatesLabel_->setText(lang::text(Msg::GuiTemplates) + QLatin1Char(':'));
  hint_->setText(S("S61") + QLatin1String(" LibreOffice"));
  edit_->setText(S("S26"));
  changePath_->setText(S("S62"));
  help_->setText(lang::text(Msg::GuiHelp));
  suppressLabel_->setText(S("S63"));
  waitLabel_->setText(S("S64"));
  first_->setText(lang::text(Msg::GuiAttachmentsFirst));
  processesLabel_->setText(lang::text(Msg::GuiConvertProcesses));
  processes_->setSpecialValueText(lang::text(Msg::GuiOnePerCore));
  langDef_[0]->setText(lang::text(Msg::GuiLangDefEnglish));
  langDef_[1]->setText(lang::text(Msg::GuiLangDefGerman));
  langDef_[2]->setText(lang::text(Msg::GuiLangDefFrench));
  langEdit_->setText(S("S26"));
  save_->setText(S("S27"));
  translator_->setText(ui::Form1::translatorNote());
  list3_->setHeaderLabels({lang::text(Msg::GuiKey),
                           lang::table().ReadLangKey(QStringLiteral("Lang"), QStringLiteral("S67"),
                                                     QStringLiteral("Rubrik"), QStringLiteral("Rubrique"),
                                                     QStringLiteral("Rubric")),
                           lang::table().ReadLangKey(QStringLiteral("Lang"), QStringLiteral("S57"),
                                                     QStringLiteral("Beschrieb"), QStringLiteral("Description"),
                                                     QStringLiteral("Description")),
                           lang::text(Msg::GuiTextColumn)});
}

void Form1Window::showItems() {
  caption_->setText(form_.caption());
  list1_->header()->setSortIndicator(-1, Qt::AscendingOrder);
  fillItems();
  fillTemplates();
  tabs_->setCurrentIndex(0);
  status_->clear();
  counter_->clear();
  progress_->reset();
}

void Form1Window::fillItems() {
  const std::vector<session::Column> columns = form_.columns();
  const std::vector<int> visible = VisibleColumns(columns);
  QStringList headers;
  for (int c : visible) headers << columns[size_t(c)].header;
  const QSignalBlocker block(list1_);
  list1_->clear();
  list1_->setColumnCount(int(headers.size()));
  list1_->setHeaderLabels(headers);
  const std::vector<session::ListRow>& rows = form_.rows();
  QList<QTreeWidgetItem*> items;
  for (int r = 0; r < int(rows.size()); ++r) {
    const session::ListRow& row = rows[size_t(r)];
    auto* item = new QTreeWidgetItem;
    for (int i = 0; i < int(visible.size()); ++i) {
      const int c = visible[size_t(i)];
      item->setText(i, c == 0 ? row.text : row.subItems.value(c - 1));
    }
    item->setData(0, Qt::UserRole, r);
    items << item;
  }
  list1_->addTopLevelItems(items);
  for (int r = 0; r < int(rows.size()); ++r) items[r]->setSelected(rows[size_t(r)].selected);
  for (int i = 0; i < list1_->columnCount(); ++i) list1_->resizeColumnToContents(i);
  updateButtons();
}

void Form1Window::fillTemplates() {
  const QSignalBlocker block(list2_);
  list2_->clear();
  list2_->addItems(form_.templates());
  if (form_.currentTemplate() >= 0) list2_->setCurrentRow(form_.currentTemplate());
  updateButtons();
}

void Form1Window::fillLanguage(const QString& keepKey) {
  list3_->clear();
  QTreeWidgetItem* keep = nullptr;
  QList<QTreeWidgetItem*> items;
  for (const lang::Row& row : lang::table().rows()) {
    auto* item = new QTreeWidgetItem({row.key, row.rubric, row.description, row.text});
    QFont bold = item->font(1);
    bold.setBold(true);
    item->setFont(1, bold);
    if (!row.tooltip.isEmpty()) {
      item->setToolTip(2, row.tooltip);
      item->setToolTip(3, row.tooltip);
    }
    if (row.key == keepKey) keep = item;
    items << item;
  }
  list3_->addTopLevelItems(items);
  list3_->setColumnWidth(0, 70);
  list3_->setColumnWidth(1, 100);
  list3_->setColumnWidth(2, 160);
  if (keep) {
    list3_->setCurrentItem(keep);
    list3_->scrollToItem(keep);
  }
}

void Form1Window::calendarSelected() {
  const QDate day = monthView1_->selectedDate();
  // A press starts a range; dragging or Shift (click or arrow) stretches it.
  if (pressAnchors_ || !anchor_.isValid()) {
    anchor_ = day;
    pressAnchors_ = false;
  } else if (!dragging_ && !(QGuiApplication::keyboardModifiers() & Qt::ShiftModifier)) {
    anchor_ = day;
  }
  markRange(std::min(anchor_, day), std::max(anchor_, day));
}

void Form1Window::markRange(const QDate& from, const QDate& to) {
  if (!from.isValid() || !to.isValid()) return;
  rangeFrom_ = from;
  rangeTo_ = to;
  monthView1_->setDateTextFormat(QDate(), QTextCharFormat());
  QTextCharFormat marked;
  marked.setBackground(palette().highlight());
  marked.setForeground(palette().highlightedText());
  for (QDate d = rangeFrom_; d <= rangeTo_; d = d.addDays(1)) monthView1_->setDateTextFormat(d, marked);
}

void Form1Window::setFindRange(const QDate& from, const QDate& to) {
  const QSignalBlocker quiet(monthView1_);
  monthView1_->setSelectedDate(to);
  anchor_ = from;
  markRange(std::min(from, to), std::max(from, to));
}

bool Form1Window::eventFilter(QObject* watched, QEvent* event) {
  if (watched == emlImport_) {
    if (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove) {
      auto* drag = static_cast<QDropEvent*>(event);
      if (drag->mimeData()->hasUrls() && !form_.busy()) drag->acceptProposedAction();
      return true;
    }
    if (event->type() == QEvent::Drop) {
      auto* drop = static_cast<QDropEvent*>(event);
      QStringList files;
      for (const QUrl& url : drop->mimeData()->urls())
        if (url.isLocalFile()) files << url.toLocalFile();
      drop->acceptProposedAction();
      // After the drop has returned: the drag's source is not kept waiting
      // while the count is shown.
      QTimer::singleShot(0, this, [this, files] { form_.importEml(files); });
      return true;
    }
    return false;
  }
  if (event->type() == QEvent::MouseButtonPress) {
    const bool shift = static_cast<QMouseEvent*>(event)->modifiers() & Qt::ShiftModifier;
    pressAnchors_ = !shift;
    dragging_ = true;
  } else if (event->type() == QEvent::MouseButtonRelease) {
    // A click on the day already selected changes no selection: it is a
    // range of its own all the same.
    if (pressAnchors_) {
      anchor_ = monthView1_->selectedDate();
      markRange(anchor_, anchor_);
    }
    dragging_ = pressAnchors_ = false;
  }
  return QDialog::eventFilter(watched, event);
}

void Form1Window::findPressed() {
  if (form_.busy()) return;
  Form3 form3(form_.findFields(), form_.kindLetter(), this);
  if (form3.exec() != QDialog::Accepted) return;
  runFind(form3.condition());
}

void Form1Window::runFind(const tools::FieldCondition& condition) {
  progress_->setMaximum(0);
  form_.onProgress = [this](int done, int all) {
    progress_->setMaximum(all);
    progress_->setValue(done);
  };
  // Grey while it searches (Close stays: it stops the search).
  QMetaObject::invokeMethod(this, &Form1Window::updateButtons, Qt::QueuedConnection);
  const bool found = form_.find(rangeFrom_, rangeTo_, condition);
  form_.onProgress = nullptr;
  progress_->reset();
  ok_->setText(S("S21"));
  show_->setText(S("S23"));
  exit_->setText(lang::text(Msg::GuiExit));
  if (found) {
    fillItems();
    list1_->header()->setSortIndicator(-1, Qt::AscendingOrder);
    counter_->setText(QString(form_.counterText()).replace(QLatin1String("\r\n"), QLatin1String("\n")));
    status_->setText(lang::text(Msg::PrintProgress).arg(form_.rows().size()).arg(form_.rows().size()));
  }
  updateButtons();
}

void Form1Window::updateButtons() {
  const bool busy = form_.busy();
  const bool watching = form_.monitoring();
  ok_->setEnabled(!busy && !watching && form_.canPrint());
  show_->setEnabled(!busy && !watching && form_.canPrint());
  monitor_->setEnabled(watching || (!busy && form_.canMonitor()));
  exit_->setEnabled(true);
  list1_->setEnabled(!busy);
  dfind_->setEnabled(!busy && !watching && form_.canFind());
  deldup_->setEnabled(!busy && !watching && !form_.rows().empty());
  monthView1_->setEnabled(!busy);
  edit_->setEnabled(!busy && !watching && form_.currentTemplate() >= 0);
  changePath_->setEnabled(!busy);
  for (QPushButton* b : langDef_) b->setEnabled(!busy);
  langEdit_->setEnabled(!busy);
  const bool pdf = printTo_->currentIndex() == 1;
  pdfFolder_->setEnabled(!busy && pdf);
  browse_->setEnabled(!busy && pdf);
  printTo_->setEnabled(!busy);
  startRow_->setEnabled(!busy);
  copies_->setEnabled(!busy);
}

void Form1Window::chooseOutputFolder() {
  const QString folder = port_.browseFolder(lang::text(Msg::GuiPdfFolder), pdfFolder_->text());
  if (!folder.isEmpty()) pdfFolder_->setText(folder);
}

void Form1Window::runPrint(session::RunMode mode) {
  if (form_.busy() || !form_.canPrint()) return;
  port_.setParent(this);
  form_.startRow = startRow_->value();
  form_.copies = copies_->value();
  form_.output.kind = printTo_->currentIndex() == 1 ? ui::OutputChoice::Kind::PdfFolder
                                                    : ui::OutputChoice::Kind::Printer;
  form_.output.folder = pdfFolder_->text().trimmed();
  int total = 0;
  for (const session::ListRow& row : form_.rows()) total += row.selected;
  progress_->setRange(0, std::max(1, total));
  progress_->setValue(0);
  counter_->setText(lang::text(Msg::PrintProgress).arg(0).arg(total));
  status_->clear();
  form_.onWorking = [this](const QString& what) { status_->setText(what); };
  form_.onProgress = [this](int done, int all) {
    progress_->setValue(done);
    counter_->setText(lang::text(Msg::PrintProgress).arg(done).arg(all));
  };
  ok_->setEnabled(false);
  show_->setEnabled(false);
  // The widgets go grey as the run starts: busy() is true from the first
  // item on, and the first yield draws them.
  QMetaObject::invokeMethod(this, &Form1Window::updateButtons, Qt::QueuedConnection);
  const session::RunResult result = form_.print(mode);
  form_.onProgress = nullptr;
  form_.onWorking = nullptr;
  ok_->setText(S("S21"));
  show_->setText(S("S23"));
  exit_->setText(lang::text(Msg::GuiExit));
  QStringList lines;
  if (!result.note.isEmpty()) lines << result.note;
  lines << lang::text(Msg::PrintDone).arg(result.items).arg(result.documents);
  status_->setText(lines.join(QLatin1Char('\n')));
  updateButtons();
  if (!result.errors.isEmpty())
    port_.message(result.errors.join(QLatin1Char('\n')), ui::Buttons::Ok, ui::Icon::Critical);
}

QString Form1Window::lastStatus() const { return status_->text(); }

void Form1Window::showStopping() {
  const QString stopping = lang::text(Msg::Stopping);
  exit_->setText(stopping);
  ok_->setText(stopping);
  show_->setText(stopping);
}

void Form1Window::exitPressed() {
  if (form_.busy()) {
    form_.requestStop();
    showStopping();
    return;
  }
  close();
}

void Form1Window::closeEvent(QCloseEvent* event) {
  if (!form_.close()) {
    showStopping();
    event->ignore();
    return;
  }
  util::WriteIni(QStringLiteral("Option"), kGeometry, QString::fromLatin1(saveGeometry().toBase64()),
                 util::UserConfigFile());
  event->accept();
}

void Form1Window::reject() { close(); }

void Form1Window::editLanguageRow() {
  QTreeWidgetItem* item = list3_->currentItem();
  if (!item || form_.busy()) return;
  Form4 dialog(item->text(0), item->text(2), item->text(3), this);
  if (dialog.exec() != QDialog::Accepted) return;
  if (form_.editText(item->text(0), dialog.text())) {
    item->setText(3, dialog.text());
    save_->setEnabled(form_.canSaveLanguage());
  }
}

void Form1Window::monitorPressed() {
  if (form_.monitoring()) {
    form_.stopMonitor();
    showMonitorState(monitor::Monitor::State::Stopped);
    return;
  }
  port_.setParent(this);
  MonitorDialog dialog(monitor::MonitorOptions::load(), this);
  if (dialog.exec() != QDialog::Accepted) return;
  form_.startRow = startRow_->value();
  form_.copies = copies_->value();
  form_.output.kind = printTo_->currentIndex() == 1 ? ui::OutputChoice::Kind::PdfFolder
                                                    : ui::OutputChoice::Kind::Printer;
  form_.output.folder = pdfFolder_->text().trimmed();
  form_.startMonitor(dialog.options());
  updateButtons();
}

void Form1Window::showMonitorState(monitor::Monitor::State state) {
  switch (state) {
    case monitor::Monitor::State::Stopped: monitor_->setText(lang::text(Msg::MonButton)); break;
    case monitor::Monitor::State::Building: monitor_->setText(lang::text(Msg::MonWait)); break;
    case monitor::Monitor::State::Busy: monitor_->setText(lang::text(Msg::MonBusy)); break;
    case monitor::Monitor::State::Idle: monitor_->setText(lang::text(Msg::MonStop)); break;
  }
  updateButtons();
  // The caption is drawn before the store is built or a check runs.
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

}  // namespace ordolo::gui
