#!/usr/bin/env bash
# Installs the build into a scratch prefix and uses it from there as a new
# user would: the version, the templates (from the prefix's share/, not the
# build tree's), one print, the desktop entry, the user unit, the manual page
# (every command and option of --help on it) and the bash completion.
#   install_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix
fail() { echo "FAILED: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in bin/ordolo bin/ordolo-gui share/ordolo/language/English.txt share/ordolo/templates/MMemo.dotx \
  share/ordolo/convert-worker.py share/ordolo/doc/user-guide.html share/applications/ordolo-gui.desktop \
  share/icons/hicolor/scalable/apps/ordolo.svg lib/systemd/user/ordolo-monitor@.service \
  share/man/man1/ordolo.1.gz share/man/man1/ordolo-gui.1.gz share/bash-completion/completions/ordolo \
  share/bash-completion/completions/ordolo-gui; do
  [ -e "$prefix/$f" ] || fail "$f is not installed"
done

# The program finds its data through its own place: one template taken out
# of the prefix must be missing for the new user.
rm "$prefix/share/ordolo/templates/NCard.dotx"
export ORDOLO_HOME=$scratch/home HOME=$scratch/user LANG=en_US.UTF-8 TZ=Europe/Berlin
unset ORDOLO_SHARE_DIR ORDOLO_STORE XDG_DATA_HOME XDG_CONFIG_HOME
mkdir -p "$HOME"
ordolo=$prefix/bin/ordolo
[ "$("$ordolo" --version)" = "ordolo $("$ordolo" --version | cut -d' ' -f2)" ] || fail "--version"
"$ordolo" --version | grep -qE '^ordolo [0-9]+\.[0-9]+\.[0-9]+$' || fail "--version: $("$ordolo" --version)"
"$ordolo" lang load english >/dev/null
notes=$("$ordolo" templates --kind N)
grep -qx 'NMemo.dotx' <<<"$notes" || fail "templates --kind N: $notes"
! grep -q 'NCard' <<<"$notes" || fail "the templates come from the build tree, not the prefix: $notes"
"$ordolo" print --store "$source/examples/store" --folder Inbox --template MMemo.dotx --save "$scratch/out" \
  >/dev/null 2>&1 || fail "print --save"
[ "$(ls "$scratch/out" | grep -c '\.docx$')" -ge 10 ] || fail "print --save made $(ls "$scratch/out")"

# The desktop entry and the unit, as their tools read them.
if command -v desktop-file-validate >/dev/null; then
  desktop-file-validate "$prefix/share/applications/ordolo-gui.desktop" || fail "desktop entry"
fi
grep -q "^ExecStart=$prefix/bin/ordolo monitor" "$prefix/lib/systemd/user/ordolo-monitor@.service" ||
  fail "the unit runs $(grep ExecStart "$prefix/lib/systemd/user/ordolo-monitor@.service")"

# The manual page names every command and option --help names.
page=$(MANWIDTH=200 man -l "$prefix/share/man/man1/ordolo.1.gz" 2>/dev/null)
[ -n "$page" ] || fail "the manual page does not render"
while read -r word; do
  grep -qF -- "$word" <<<"$page" || fail "the manual page lacks $word"
done < <("$ordolo" --help | sed -n 's/^  \(-h, \)\{0,1\}\(--[a-z-]*\|[a-z][a-z-]*\( [a-z]*\)\{0,1\}\).*/\2/p' |
         sed 's/ [A-Z].*//' | sort -u)
grep -qF "ordolo stores" <<<"$page" || fail "the manual page lacks the stores example"

# The bash completion: commands, options, and the store's folders.
if [ -f /usr/share/bash-completion/bash_completion ]; then
  complete_line() {  # the completions of a command line, the last word being completed
    PATH="$prefix/bin:$PATH" bash -c '
      source /usr/share/bash-completion/bash_completion
      source "$1"; shift
      COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
      _ordolo; printf "%s\n" "${COMPREPLY[@]}"' _ "$prefix/share/bash-completion/completions/ordolo" "$@"
  }
  got=$(complete_line ordolo li)
  grep -qx list <<<"$got" || fail "completion of li: $got"
  got=$(complete_line ordolo print --st)
  grep -qx -- --store <<<"$got" || fail "completion of --st: $got"
  got=$(complete_line ordolo list --store "$source/examples/store" --folder Cal)
  grep -qx Calendar <<<"$got" || fail "completion of --folder Cal: $got"
fi
echo "installed into $prefix and used from there"
