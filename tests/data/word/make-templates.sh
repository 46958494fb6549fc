#!/usr/bin/env bash
# Rebuilds the Word test templates from their flat ODF sources in src/ with
# LibreOffice, so that the tests run on files a real office program wrote.
set -euo pipefail
cd "$(dirname "$0")"
profile=$(mktemp -d)
trap 'rm -rf "$profile"' EXIT
lo() { soffice --headless "-env:UserInstallation=file://$profile" "$@" >/dev/null 2>&1; }
lo --convert-to docx:"MS Word 2007 XML" --outdir . src/memo.fodt src/report.fodt src/common.fodt src/label.fodt src/mail.fodt src/grid.fodt src/calendar.fodt src/calrows.fodt src/contact.fodt
lo --convert-to dotx:"MS Word 2007 XML Template" --outdir . src/memo.fodt
