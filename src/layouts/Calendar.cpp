#include "layouts/Calendar.h"

#include "layouts/WordDocument.h"

#include <QRegularExpression>

#include <algorithm>
#include <optional>
#include <set>

#include "lang/LanguageTable.h"
#include "model/Model.h"
#include "office/word/Document.h"
#include "template/Eigenschaften.h"
#include "template/ReplacePlaceholder.h"
#include "util/DebugLog.h"
#include "util/Funktionen.h"
#include "util/VbFormat.h"

namespace ordolo::layouts {

namespace word = office::word;

namespace {

void Debug(const QString& line) {
  if (util::DebugLog::isOn()) util::DebugLog::write(QStringLiteral("Calendar grid: ") + line);
}

// A date the item really has: a value, and not the "none" of 4501.
std::optional<QDateTime> UsableDate(const model::Item& item, const QString& name) {
  const QVariant v = item.get(name);
  QDateTime d;
  if (v.userType() == QMetaType::QDateTime) d = v.toDateTime();
  else if (v.userType() == QMetaType::QDate) d = QDateTime(v.toDate(), QTime(0, 0));
  if (!d.isValid() || model::IsNoDate(d)) return std::nullopt;
  return d;
}

// A replacement value as the engine writes it: carets and backslashes
// literal (the grid's searches use wildcards).
QString Literal(QString text) {
  text.replace(QLatin1Char('^'), QLatin1String("^^"));
  text.replace(QLatin1Char('\\'), QLatin1String("^92"));
  return text;
}

// A placeholder as a whole word, the way the replacement's "<" ">" match it.
bool Holds(const QString& text, const char* name) {
  return text.contains(QRegularExpression(QStringLiteral("#%1(?![\\p{L}\\p{N}])").arg(QLatin1String(name))));
}

// One cell of the template's week that receives a value.
struct GridCell {
  int row = 0;        // 0-based inside the week
  int column = 0;     // 1-based cell of its row
  int day = -1;       // "#Day": the day of the week, 0 = the locale's first
  int entries = -1;   // "#Entries": the same for the day's items
  bool week = false;  // "#Week"
};

struct GridLayout {
  int table = 0;  // 1-based among the template's tables
  int first = 0;  // the week's rows, 1-based
  int last = 0;
  std::vector<GridCell> cells;
};

std::optional<GridLayout> FindGrid(word::Document& doc) {
  for (int t = 1; t <= doc.tableCount(); ++t) {
    GridLayout g;
    g.table = t;
    for (int r = 1; r <= doc.rowCount(t); ++r) {
      const auto row = doc.rowRange(t, r);
      if (!row) continue;
      const QString text = doc.text(*row);
      if (Holds(text, "Day") || Holds(text, "Entries")) {
        if (!g.first) g.first = r;
        g.last = r;
      }
    }
    if (!g.first) continue;
    int days = 0, entries = 0;
    for (int r = g.first; r <= g.last; ++r) {
      for (int c = 1;; ++c) {
        const auto cell = doc.cellRange(t, r, c);
        if (!cell) break;
        const QString text = doc.text(*cell);
        GridCell gc{r - g.first, c};
        if (Holds(text, "Day") && days < 7) gc.day = days++;
        if (Holds(text, "Entries") && entries < 7) gc.entries = entries++;
        gc.week = Holds(text, "Week");
        if (gc.day >= 0 || gc.entries >= 0 || gc.week) g.cells.push_back(gc);
      }
    }
    if ((days && days != 7) || (entries && entries != 7))
      Debug(QStringLiteral("the week has %1 day cells and %2 entry cells, not 7").arg(days).arg(entries));
    return g;
  }
  return std::nullopt;
}

// Replaces one placeholder inside one cell.
void FillCell(word::Document& doc, int table, int row, int column, const QString& placeholder, const QString& value) {
  auto range = doc.cellRange(table, row, column);
  if (!range) return;
  word::FindOptions find;
  find.text = placeholder;
  find.replacement = value;
  find.matchWildcards = true;
  find.matchCase = true;
  const word::FindResult res = doc.execute(*range, find, word::ReplaceMode::All);
  if (!res.ok) Debug(placeholder + QStringLiteral(": ") + res.error);
}

// The n-th "#DayName" from `from` on gets the n-th name (again from the
// first after the seventh).
void FillDayNames(word::Document& doc, int from, const QStringList& names) {
  word::FindOptions find;
  find.text = QStringLiteral("#<DayName>");
  find.matchWildcards = true;
  find.matchCase = true;
  word::Story* story = doc.content().story;
  for (int n = 0;; ++n) {
    word::Range r{story, from, from};
    find.replacement = Literal(names.value(n % 7));
    const word::FindResult res = doc.execute(r, find, word::ReplaceMode::One);
    if (!res.ok || res.found == 0) break;
    from = r.end;
  }
}

// Whether the main story's last paragraph holds text (after a table the
// text before its mark is the table's end, "\a").
bool LastParagraphHasText(word::Document& doc) {
  const QString text = doc.contentText();
  return text.size() > 1 && text[text.size() - 2] != QLatin1Char('\r') && text[text.size() - 2] != QChar(7);
}

// An item as the grid shows it.
struct Entry {
  QDate first, last;  // the days it covers
  QDateTime start;
  bool allDay = false;  // listed without a time
  QString subject;
  int order = 0;  // its place in the run, for equal starts
};

}  // namespace

struct CalendarGrid::Impl {
  std::vector<Entry> entries;

  // The items on each day of the month that starts at `month`, in the
  // order the day lists them, as the entry lines.
  std::vector<QStringList> daysOf(const QDate& month) const;
};

std::vector<QStringList> CalendarGrid::Impl::daysOf(const QDate& month) const {
  const QDate end = month.addMonths(1).addDays(-1);
  std::vector<std::vector<const Entry*>> days(size_t(month.daysInMonth()));
  for (const Entry& e : entries) {
    if (e.last < month || e.first > end) continue;
    for (QDate d = std::max(e.first, month); d <= std::min(e.last, end); d = d.addDays(1))
      days[size_t(d.day() - 1)].push_back(&e);
  }
  std::vector<QStringList> lines(days.size());
  for (size_t i = 0; i < days.size(); ++i) {
    const QDate day = month.addDays(qint64(i));
    // A timed item that began on an earlier day runs from the day's start:
    // it is listed with the all-day ones, without a time.
    auto untimed = [&day](const Entry* e) { return e->allDay || e->first < day; };
    std::stable_sort(days[i].begin(), days[i].end(), [&](const Entry* a, const Entry* b) {
      const bool ua = untimed(a), ub = untimed(b);
      if (ua != ub) return ua;
      if (a->start != b->start) return a->start < b->start;
      return a->order < b->order;
    });
    for (const Entry* e : days[i]) {
      if (untimed(e)) lines[i] << e->subject;
      else lines[i] << (util::Format(e->start, QStringLiteral("Short Time")) + QLatin1Char(' ') + e->subject).trimmed();
    }
  }
  return lines;
}

CalendarGrid::CalendarGrid() : d(std::make_unique<Impl>()) {}
CalendarGrid::~CalendarGrid() = default;

void CalendarGrid::add(const model::Item& item) {
  Entry e;
  std::optional<QDateTime> start, end;
  switch (item.Class()) {
    case model::olAppointment:
    case model::olJournal:
      start = UsableDate(item, QStringLiteral("Start"));
      end = UsableDate(item, QStringLiteral("End"));
      e.allDay = item.Class() == model::olAppointment && item.flag(QStringLiteral("AllDayEvent"));
      break;
    case model::olTask:
      // A task is due on a day; one without a due date stands on its start.
      start = UsableDate(item, QStringLiteral("DueDate"));
      if (!start) start = UsableDate(item, QStringLiteral("StartDate"));
      e.allDay = true;
      break;
    case model::olNote:
      start = UsableDate(item, QStringLiteral("Start"));
      if (!start) start = UsableDate(item, QStringLiteral("CreationTime"));
      break;
    case model::olMail:
    case model::olReport:
      // Drafts have no received time: their day is the one they were written.
      start = UsableDate(item, QStringLiteral("ReceivedTime"));
      if (!start) start = UsableDate(item, QStringLiteral("CreationTime"));
      break;
    default:  // contacts and distribution lists have no day of their own
      break;
  }
  if (!start) {
    Debug(QStringLiteral("no date: ") + item.text(QStringLiteral("Subject")));
    return;
  }
  e.start = *start;
  e.first = start->date();
  // The end is exclusive: an item ending at midnight leaves the next day
  // free, and so does an all-day item's end.
  e.last = end && *end > *start ? end->addMSecs(-1).date() : e.first;
  e.subject = item.text(QStringLiteral("Subject")).simplified();
  e.order = int(d->entries.size());
  d->entries.push_back(std::move(e));
}

std::vector<QDate> CalendarGrid::months(const tpl::RunHeader& header) const {
  std::vector<QDate> out;
  QDate from = header.First, to = header.Last;
  if (from.isValid() && to.isValid()) {
    if (to < from) std::swap(from, to);
    for (QDate m(from.year(), from.month(), 1); m <= to; m = m.addMonths(1)) out.push_back(m);
    return out;
  }
  // Without a range, the months that hold items: a series that began decades
  // ago adds its first month, not every month since.
  std::set<QDate> months;
  for (const Entry& e : d->entries)
    for (QDate m(e.first.year(), e.first.month(), 1); m <= e.last; m = m.addMonths(1)) months.insert(m);
  return {months.begin(), months.end()};
}

bool CalendarGrid::write(tpl::WordTarget& target, const tpl::RunHeader& header) {
  word::Document* doc = &target.document();
  const std::vector<QDate> months = this->months(header);
  if (months.empty()) {
    Debug(QStringLiteral("no item with a date and no range: nothing to print"));
    return false;
  }
  const std::optional<GridLayout> grid = FindGrid(*doc);
  if (!grid) {
    Debug(QStringLiteral("no table with #Day or #Entries"));
    return false;
  }

  // The run header reads the same on every page: filled once, before the
  // body is copied for the other months.
  target.fillWhole();
  tpl::FillRunHeader(target, header);

  // The template as it is now, taken before the first month fills it: its
  // week rows, and the whole body but the last paragraph's mark.
  const word::RowBlock week = doc->copyRows(grid->table, grid->first, grid->last);
  const int weekRows = grid->last - grid->first + 1;
  const int tables = doc->tableCount();
  word::Fragment body;
  if (months.size() > 1) {
    const word::Range all = doc->content();
    body = doc->copy(word::Range{all.story, all.start, all.end - 1});
    if (body.empty()) Debug(QStringLiteral("the body cannot be copied (does it start with a table?): one month only"));
  }

  const Qt::DayOfWeek weekStart = util::userLocale().firstDayOfWeek();
  const QString dayNamesText = lang::GetLangText(QStringLiteral("S2"));
  const QString monthNamesText = lang::GetLangText(QStringLiteral("S13"));
  QStringList dayNames;  // in the order of the week
  for (int k = 0; k < 7; ++k)
    dayNames << util::GetField(dayNamesText, QStringLiteral("/"), (int(weekStart) + k) % 7 + 1);

  for (size_t k = 0; k < months.size(); ++k) {
    const QDate month = months[k];
    int pageStart = 0;
    if (k > 0) {
      if (body.empty()) break;
      // A page break at the end, and the template's copy behind it. The
      // empty paragraph a table needs after it takes the break, so that no
      // blank line is left at the bottom of the previous month.
      word::Range& sel = doc->selection();
      const word::Range all = doc->content();
      sel = word::Range{all.story, all.end - 1, all.end - 1};
      if (LastParagraphHasText(*doc)) doc->typeText(QStringLiteral("\r"));
      doc->typeText(QStringLiteral("\f"));
      word::Range at = doc->selection();
      pageStart = at.start;
      if (!doc->paste(at, body) || doc->tableCount() != tables * int(k + 1)) {
        Debug(QStringLiteral("the template copy for %1 did not paste").arg(month.toString(Qt::ISODate)));
        break;
      }
    }
    const int table = grid->table + tables * int(k);

    // The weeks the month touches, each a copy of the template's week.
    const int offset = (month.dayOfWeek() - int(weekStart) + 7) % 7;
    const QDate gridStart = month.addDays(-offset);
    const int weeks = (offset + month.daysInMonth() + 6) / 7;
    if (weeks > 1) {
      word::RowBlock more;
      for (int w = 1; w < weeks; ++w) more.rowsXml.insert(more.rowsXml.end(), week.rowsXml.begin(), week.rowsXml.end());
      doc->insertRows(table, grid->last, more);
    }

    const std::vector<QStringList> lines = d->daysOf(month);
    for (int w = 0; w < weeks; ++w) {
      const QDate weekFirst = gridStart.addDays(7 * w);
      for (const GridCell& cell : grid->cells) {
        const int row = grid->first + w * weekRows + cell.row;
        if (cell.day >= 0) {
          const QDate day = weekFirst.addDays(cell.day);
          FillCell(*doc, table, row, cell.column, QStringLiteral("#<Day>"),
                   day.month() == month.month() ? QString::number(day.day()) : QString());
        }
        if (cell.entries >= 0) {
          const QDate day = weekFirst.addDays(cell.entries);
          const QStringList& items = day.month() == month.month() ? lines[size_t(day.day() - 1)] : QStringList();
          QStringList values;
          for (const QString& line : items) values << Literal(line);
          FillCell(*doc, table, row, cell.column, QStringLiteral("#<Entries>"), values.join(QChar(13)));
        }
        if (cell.week) {
          // The week's Thursday decides its number, as ISO 8601 counts.
          const QDate thursday = weekFirst.addDays((int(Qt::Thursday) - int(weekStart) + 7) % 7);
          FillCell(*doc, table, row, cell.column, QStringLiteral("#<Week>"), QString::number(thursday.weekNumber()));
        }
      }
    }

    // The page's own placeholders, from its start on.
    target.fillFrom(pageStart);
    tpl::Put(target, QStringLiteral("#<MonthName>"),
             util::GetField(monthNamesText, QStringLiteral("/"), month.month()));
    tpl::Put(target, QStringLiteral("#<Month>"), QString::number(month.month()));
    tpl::Put(target, QStringLiteral("#<Year>"), QString::number(month.year()));
    if (target.text().contains(QLatin1String("#DayName"))) FillDayNames(*doc, pageStart, dayNames);
  }
  target.fillWhole();
  return true;
}

namespace {

// "Calendar" templates: the items are collected, and the document is
// written when the run ends.
class CalendarLayout : public WordLayout {
 public:
  using WordLayout::WordLayout;

  bool open() override { return doc_.open(host_, options_.templateFile); }

  bool item() override {
    grid_.add(*host_.currentItem());
    ++doc_.items;
    return true;
  }

  bool finish() override {
    if (!doc_.isOpen() || doc_.items == 0) {
      doc_.close();
      return true;
    }
    grid_.write(doc_.target(), host_.run().Header);
    return doc_.finish(host_);
  }

 private:
  CalendarGrid grid_;
};

}  // namespace

std::unique_ptr<Layout> MakeGridLayout(Host& host, const Options& options) {
  return std::make_unique<CalendarLayout>(host, options);
}

}  // namespace ordolo::layouts
