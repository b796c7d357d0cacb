#!/usr/bin/env bash
# systemd-analyze verify on the user unit as built, with no complaint allowed: verify
# itself only warns (and still succeeds) on an unknown key or a bad value.
# verify also demands that ExecStart's program exists; where the agent is not built,
# the copy checked here names another program of the build instead.
# Usage: verify-user-unit.sh UNIT PROGRAM
set -euo pipefail
unit=$1
program=$2
command -v systemd-analyze >/dev/null || { echo "systemd-analyze is missing"; exit 1; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# The user manager's verify wants a runtime directory of its own.
mkdir -m 0700 "$scratch/runtime"
name=$(basename "$unit")
sed "s|^ExecStart=.*|ExecStart=$program|" "$unit" >"$scratch/$name"

status=0
output=$(cd "$scratch" && XDG_RUNTIME_DIR="$scratch/runtime" \
  systemd-analyze --user verify --man=no "$scratch/$name" 2>&1) || status=$?
if [ "$status" -ne 0 ] || [ -n "$output" ]; then
  echo "systemd-analyze verify: status $status"
  echo "$output"
  exit 1
fi

# What the session relies on, read back as systemd parsed it.
for setting in "PartOf=graphical-session.target" "After=graphical-session.target" \
               "WantedBy=graphical-session.target" "Restart=on-failure" \
               "RestartPreventExitStatus=1"; do
  grep -qx "$setting" "$unit" || { echo "missing: $setting"; exit 1; }
done
echo "verified: $name"
