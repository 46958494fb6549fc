#include "layouts/Layout.h"

#include "layouts/Blocks.h"
#include "layouts/Calendar.h"
#include "layouts/Table.h"

namespace ordolo::layouts {

std::unique_ptr<Layout> MakePerItemLayout(Host& host, const Options& options);
std::unique_ptr<Layout> MakeSheetLayout(Host& host, const Options& options);

std::unique_ptr<Layout> MakeLayout(const tpl::TemplateKind& kind, Host& host, const Options& options) {
  switch (kind.layout) {
    case tpl::Layout::PerItem: return MakePerItemLayout(host, options);
    case tpl::Layout::Table: return MakeTableLayout(host, options);
    case tpl::Layout::Report: return MakeReportLayout(host, options);
    case tpl::Layout::Label: return MakeLabelLayout(host, options);
    case tpl::Layout::CalendarGrid: return MakeGridLayout(host, options);
    case tpl::Layout::Sheet: return MakeSheetLayout(host, options);
  }
  return nullptr;
}

}  // namespace ordolo::layouts
