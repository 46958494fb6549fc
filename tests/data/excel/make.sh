#!/bin/sh
# Rebuilds the Excel test templates from their .fods sources with LibreOffice,
# then derives the variants LibreOffice cannot write itself. Run it here.
set -e
cd "$(dirname "$0")"
P=-env:UserInstallation=file:///tmp/lo-prof-excel
soffice "$P" --headless --convert-to xlsx --outdir . list.fods breaks.fods >/dev/null
python3 - <<'PY'
import zipfile

def rewrite(src, dst, change):
    with zipfile.ZipFile(src) as zin, zipfile.ZipFile(dst, "w", zipfile.ZIP_DEFLATED) as zout:
        for item in zin.infolist():
            data = change(item.filename, zin.read(item.filename))
            if data is not None:
                zout.writestr(item, data)

def active_items(name, data):
    return data.replace(b'activeTab="0"', b'activeTab="1"') if name == "xl/workbook.xml" else data
rewrite("list.xlsx", "list-tmp.xlsx", active_items)

def as_template(name, data):
    if name == "[Content_Types].xml":
        return data.replace(b"spreadsheetml.sheet.main+xml", b"spreadsheetml.template.main+xml")
    return data
rewrite("list-tmp.xlsx", "list.xltx", as_template)

rewrite("list-tmp.xlsx", "missing-sheet.xlsx", lambda n, d: None if n == "xl/worksheets/sheet2.xml" else d)
rewrite("list-tmp.xlsx", "bad-xml.xlsx", lambda n, d: d[: len(d) // 2] if n == "xl/worksheets/sheet2.xml" else d)
PY
mv list-tmp.xlsx list.xlsx
printf 'Subject,When\nnot a zip\n' > not-a-zip.xlsx
