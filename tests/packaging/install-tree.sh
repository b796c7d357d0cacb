#!/usr/bin/env bash
# cmake --install into a scratch root: every file lands where the unit, the autostart
# entry and the tools expect it; the hive is created from its template with mode 0644
# and kept, with the administrator's settings, on a second install.
# Usage: install-tree.sh BUILD_DIR HIVE_PATH HIVE_TEMPLATE EXPECTED_FILE...
set -euo pipefail
build=$1
hive=$2
template=$3
shift 3

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
DESTDIR="$root" cmake --install "$build" >"$root.log" 2>&1 || { cat "$root.log"; rm -f "$root.log"; exit 1; }

failed=0
for file in "$@" "$hive" "$template"; do
  if [ ! -f "$root$file" ]; then
    echo "not installed: $file"
    failed=1
  fi
done
[ "$failed" -eq 0 ] || exit 1

mode=$(stat -c %a "$root$hive")
[ "$mode" = 644 ] || { echo "hive mode $mode, not 644"; exit 1; }
cmp -s "$root$hive" "$root$template" || { echo "the hive is not the template"; exit 1; }

# An administrator's setting survives a reinstall.
echo "<!-- kept -->" >>"$root$hive"
DESTDIR="$root" cmake --install "$build" >"$root.log" 2>&1 || { cat "$root.log"; rm -f "$root.log"; exit 1; }
rm -f "$root.log"
grep -q "<!-- kept -->" "$root$hive" || { echo "a reinstall replaced the hive"; exit 1; }
echo "installed: $# files and the hive"
