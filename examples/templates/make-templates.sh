#!/usr/bin/env bash
# Rebuilds the example templates from their flat ODF sources in src/ with
# LibreOffice: every src/*.fodt becomes a Word template (.dotx), every
# src/*.fods an Excel template (.xltx), written beside this script.
#
# LibreOffice stamps the time into each package, so a template whose
# content did not change keeps its old file: running the script twice
# leaves the working tree as it was.
#
# Usage: examples/templates/make-templates.sh   (needs soffice and unzip)
set -euo pipefail
cd "$(dirname "$0")"
command -v soffice >/dev/null || { echo "soffice not found: install libreoffice-writer-nogui and libreoffice-calc-nogui" >&2; exit 1; }
here=$(pwd)

work=$(mktemp -d)
lo_pid=
# shellcheck disable=SC2317  # run by the trap
cleanup() {
  # Only the LibreOffice this script started, with the processes it started.
  if [[ -n $lo_pid ]] && kill -0 "$lo_pid" 2>/dev/null; then
    kill -- "-$lo_pid" 2>/dev/null || kill "$lo_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# convert FILTER EXT FILE... : one LibreOffice run with a profile of its own,
# in a session of its own so that it can be stopped as a whole.
convert() {
  local filter=$1 ext=$2
  shift 2
  setsid soffice --headless --norestore "-env:UserInstallation=file://$work/profile" \
    --convert-to "$ext:$filter" --outdir "$work/out" "$@" >"$work/soffice.log" 2>&1 &
  lo_pid=$!
  local waited=0
  while kill -0 "$lo_pid" 2>/dev/null; do
    if ((waited >= 1200)); then  # 2 minutes, in tenths of a second
      echo "LibreOffice did not finish within 2 minutes" >&2
      exit 1
    fi
    sleep 0.1
    waited=$((waited + 1))
  done
  wait "$lo_pid" || { cat "$work/soffice.log" >&2; exit 1; }
  lo_pid=
}

# An entry name for unzip, with its pattern characters escaped.
entry() { sed 's/[][*?\\]/\\&/g' <<<"$1"; }

# same_content OLD NEW: both packages hold the same entries with the same bytes.
same_content() {
  [[ -f $1 ]] || return 1
  [[ "$(unzip -Z1 "$1" | sort)" == "$(unzip -Z1 "$2" | sort)" ]] || return 1
  local name
  while IFS= read -r name; do
    cmp -s <(unzip -p "$1" "$(entry "$name")") <(unzip -p "$2" "$(entry "$name")") || return 1
  done < <(unzip -Z1 "$2")
}

shopt -s nullglob
words=("$here"/src/*.fodt)
sheets=("$here"/src/*.fods)
mkdir -p "$work/out"
((${#words[@]})) && convert "MS Word 2007 XML Template" dotx "${words[@]}"
((${#sheets[@]})) && convert "Calc MS Excel 2007 XML Template" xltx "${sheets[@]}"

status=0
for src in "${words[@]}" "${sheets[@]}"; do
  base=$(basename "${src%.*}")
  case $src in
    *.fodt) file=$base.dotx type=wordprocessingml.template.main+xml ;;
    *.fods) file=$base.xltx type=spreadsheetml.template.main+xml ;;
  esac
  new=$work/out/$file
  if [[ ! -s $new ]]; then
    echo "$file: LibreOffice wrote nothing" >&2
    status=1
    continue
  fi
  # A template must say so in its content types, or Word and Excel open it
  # as an ordinary document.
  if ! unzip -p "$new" '\[Content_Types\].xml' | grep -qF "$type"; then
    echo "$file: not a template ($type missing)" >&2
    status=1
    continue
  fi
  if same_content "$file" "$new"; then
    echo "$file: unchanged"
  else
    cp "$new" "$file"
    echo "$file: written"
  fi
done
exit "$status"
