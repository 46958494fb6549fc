// What a template's file name says: the layout words, their precedence, the
// ".xl" rule and the switches, read from the file name and never the folder.
#include <gtest/gtest.h>

#include "template/TemplateKind.h"

using ordolo::tpl::Layout;
using ordolo::tpl::TemplateKind;

TEST(TemplateKind, TheFirstLayoutWordInOrderWinsAndOnlyTheFileNameCounts) {
  const struct {
    const char* path;
    Layout layout;
  } cases[] = {
      {"AMemo.dotx", Layout::PerItem},
      {"ATable.dotx", Layout::Table},
      {"MReport.dotx", Layout::Report},
      {"CLabel.dotx", Layout::Label},
      {"ACalendar.dotx", Layout::CalendarGrid},
      // Calendar before Label before Report before Table.
      {"ACalendarReportTable.dotx", Layout::CalendarGrid},
      {"CLabelTable.dotx", Layout::Label},
      {"AReportTable.dotx", Layout::Report},
      // The words compare exactly: a lower-case "table" is no layout word.
      {"Atimetable.dotx", Layout::PerItem},
      // A folder named like a layout says nothing.
      {"/home/anna/Report Table/AMemo.dotx", Layout::PerItem},
      {"/srv/Calendar/MTable.docx", Layout::Table},
  };
  for (const auto& c : cases) {
    const TemplateKind k = TemplateKind::fromFileName(QString::fromUtf8(c.path));
    EXPECT_TRUE(k.word) << c.path;
    EXPECT_EQ(int(k.layout), int(c.layout)) << c.path;
  }
}

TEST(TemplateKind, ExcelIsXlInTheLastFiveCharactersWhateverTheLayoutWords) {
  for (const char* excel : {"MList.xltx", "ATable.xlsx", "CLabel.XLSM", "old.xls", "/data/x.docx/AReport.xlt"}) {
    const TemplateKind k = TemplateKind::fromFileName(QString::fromUtf8(excel));
    EXPECT_FALSE(k.word) << excel;
    EXPECT_EQ(int(k.layout), int(Layout::Sheet)) << excel;
  }
  // ".xl" further from the end, or in the folder, is a Word template.
  for (const char* word : {"A.xl.memo.dotx", "/home/a.xlsx/AMemo.docx", "Axl.dotx"})
    EXPECT_TRUE(TemplateKind::fromFileName(QString::fromUtf8(word)).word) << word;
}

TEST(TemplateKind, TheSwitchesCompareInAnyCaseAndPagebreakIsAlsoBreak) {
  const TemplateKind plain = TemplateKind::fromFileName("AWeekTable.dotx");
  EXPECT_FALSE(plain.breakSwitch || plain.pageBreak || plain.allDay);
  const TemplateKind week = TemplateKind::fromFileName("AWeekTable-BREAK.dotx");
  EXPECT_TRUE(week.breakSwitch);
  EXPECT_FALSE(week.pageBreak);
  const TemplateKind day = TemplateKind::fromFileName("ADayTable-PageBreak-AllDay.dotx");
  EXPECT_TRUE(day.breakSwitch && day.pageBreak && day.allDay);
  EXPECT_FALSE(TemplateKind::fromFileName("/tmp/pagebreak-allday/ATable.dotx").breakSwitch);
}
