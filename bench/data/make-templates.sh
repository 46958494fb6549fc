#!/usr/bin/env bash
# Writes the flat ODF sources of the Word benchmark templates (src/) and has
# LibreOffice turn them into the .docx files next to this script. Each
# template comes twice with the same text, runs and layout: once with
# Ordolo's placeholders ("#Field07") and once with docxtemplater's tags
# ("{Field07}", a "{#rows}...{/rows}" loop for the table).
#   memo:  one page, 60 placeholders: 5 in the page header, 10 in a small
#          table, 45 in body paragraphs; 15 of them split over two
#          differently formatted runs.
#   table: a header row and one template row of 5 columns.
set -euo pipefail
cd "$(dirname "$0")"
mkdir -p src

head_xml() {
  cat <<'X'
<?xml version="1.0" encoding="UTF-8"?>
<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
 xmlns:style="urn:oasis:names:tc:opendocument:xmlns:style:1.0"
 xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0"
 xmlns:table="urn:oasis:names:tc:opendocument:xmlns:table:1.0"
 xmlns:fo="urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0"
 office:version="1.2" office:mimetype="application/vnd.oasis.opendocument.text">
 <office:styles>
  <style:style style:name="Standard" style:family="paragraph"><style:text-properties style:font-name="Liberation Sans" fo:font-family="'Liberation Sans'" fo:font-size="9pt"/></style:style>
 </office:styles>
 <office:automatic-styles>
  <style:style style:name="T1" style:family="text"><style:text-properties fo:font-style="italic"/></style:style>
  <style:style style:name="T2" style:family="text"><style:text-properties fo:font-weight="bold"/></style:style>
  <style:page-layout style:name="pm1"><style:page-layout-properties fo:page-width="21cm" fo:page-height="29.7cm" fo:margin-top="1.5cm" fo:margin-bottom="1.5cm" fo:margin-left="2cm" fo:margin-right="2cm"/><style:header-style/></style:page-layout>
 </office:automatic-styles>
X
}

# ph KIND N SPLIT: placeholder N ("Field%02d") as Ordolo's (KIND o) or
# docxtemplater's (KIND d) text; SPLIT 1 puts its first characters in an
# italic run and the rest in a bold one, at a position that varies with N.
ph() {
  local name text cut
  name=$(printf 'Field%02d' "$2")
  if [ "$1" = o ]; then text="#$name"; else text="{$name}"; fi
  if [ "$3" = 1 ]; then
    cut=$((2 + $2 % 4))
    printf '<text:span text:style-name="T1">%s</text:span><text:span text:style-name="T2">%s</text:span>' \
      "${text:0:$cut}" "${text:$cut}"
  else
    printf '%s' "$text"
  fi
}

cell() { printf '<table:table-cell><text:p>%s</text:p></table:table-cell>' "$1"; }

memo() {
  local k=$1 n
  head_xml
  echo ' <office:master-styles><style:master-page style:name="Standard" style:page-layout-name="pm1"><style:header>'
  echo "  <text:p>Memo $(ph "$k" 1 0) / $(ph "$k" 2 0) / $(ph "$k" 3 0)</text:p>"
  echo "  <text:p>Ref. $(ph "$k" 4 0), page owner $(ph "$k" 5 1)</text:p>"
  echo ' </style:header></style:master-page></office:master-styles>'
  echo ' <office:body><office:text>'
  echo '  <table:table table:name="Summary"><table:table-column table:number-columns-repeated="5"/>'
  printf '   <table:table-row>'
  for h in Subject Start End Location Organizer; do cell "$h"; done
  echo '</table:table-row>'
  for row in 0 1; do
    printf '   <table:table-row>'
    for col in 1 2 3 4 5; do
      n=$((6 + row * 5 + col - 1))
      cell "$(ph "$k" $n $([ $col = 1 ] && echo 1 || echo 0))"
    done
    echo '</table:table-row>'
  done
  echo '  </table:table>'
  # 45 body placeholders, three a paragraph; the first of each of the first
  # 12 paragraphs is split.
  for p in $(seq 0 14); do
    n=$((16 + p * 3))
    echo "  <text:p>Section $((p + 1)): $(ph "$k" $n $([ $p -lt 12 ] && echo 1 || echo 0)) - details $(ph "$k" $((n + 1)) 0); see also $(ph "$k" $((n + 2)) 0).</text:p>"
  done
  echo '  <text:p>End of memo.</text:p>'
  echo ' </office:text></office:body>'
  echo '</office:document>'
}

table() {
  local k=$1 first last
  if [ "$k" = o ]; then first=''; last=''; else first='{#rows}'; last='{/rows}'; fi
  head_xml
  echo ' <office:master-styles><style:master-page style:name="Standard" style:page-layout-name="pm1"/></office:master-styles>'
  echo ' <office:body><office:text>'
  echo '  <text:p>Appointments</text:p>'
  echo '  <table:table table:name="Items"><table:table-column table:number-columns-repeated="5"/>'
  printf '   <table:table-row>'
  for h in Subject Start End Location Organizer; do cell "$h"; done
  echo '</table:table-row>'
  if [ "$k" = o ]; then
    printf '   <table:table-row>%s%s%s%s%s</table:table-row>\n' "$(cell '#Subject')" "$(cell '#StartDate')" \
      "$(cell '#EndDate')" "$(cell '#Location')" "$(cell '#Organizer')"
  else
    printf '   <table:table-row>%s%s%s%s%s</table:table-row>\n' "$(cell '{#rows}{Subject}')" "$(cell '{StartDate}')" \
      "$(cell '{EndDate}')" "$(cell '{Location}')" "$(cell '{Organizer}{/rows}')"
  fi
  echo '  </table:table>'
  echo '  <text:p>End of list.</text:p>'
  echo ' </office:text></office:body>'
  echo '</office:document>'
}

memo o >src/memo-ordolo.fodt
memo d >src/memo-docxtemplater.fodt
table o >src/table-ordolo.fodt
table d >src/table-docxtemplater.fodt

profile=${LO_PROFILE:-/tmp/lo-prof-bench}
soffice --headless "-env:UserInstallation=file://$profile" --convert-to docx:"MS Word 2007 XML" --outdir . \
  src/memo-ordolo.fodt src/memo-docxtemplater.fodt src/table-ordolo.fodt src/table-docxtemplater.fodt >/dev/null 2>&1
ls -l ./*.docx
