#!/usr/bin/env bash
# Sets up what is missing, builds the viewer and launches it.
#   scripts/run.sh [--no-sim] [FILE]
#
# A first run without a phone: when adb is installed and lists no device, a
# simulated device (replaying resources/sample/) is started on a free port
# from 6101 on and connected to the ADB server; it is stopped again when the
# viewer exits. --no-sim, or VELLUMFOX_NO_SIM=1, turns this off;
# VELLUMFOX_SIM_ARGS passes options to it ("--legacy", "--no-build-prop-model").
set -euo pipefail
cd "$(dirname "$0")/.."

use_sim=1
[ "${VELLUMFOX_NO_SIM:-0}" = "1" ] && use_sim=0
args=()
for arg in "$@"; do
  if [ "$arg" = "--no-sim" ]; then use_sim=0; else args+=("$arg"); fi
done

scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target vellumfox vellumfox-device-sim

viewer=build/default/src/app/vellumfox
sim=build/default/tools/device-sim/vellumfox-device-sim

if [ "$use_sim" = "0" ] || ! command -v adb >/dev/null 2>&1; then
  exec "$viewer" "${args[@]+"${args[@]}"}"
fi

adb start-server >/dev/null 2>&1 || true
if adb devices | tail -n +2 | grep -q .; then
  exec "$viewer" "${args[@]+"${args[@]}"}"
fi

port_in_use() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

sim_pid=""
sim_port=""
sim_out=$(mktemp)
cleanup() {
  if [ -n "$sim_pid" ]; then
    adb disconnect "127.0.0.1:$sim_port" >/dev/null 2>&1 || true
    kill "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  rm -f "$sim_out"
}
trap cleanup EXIT

for port in $(seq 6101 6199); do
  port_in_use "$port" && continue
  # A device of today (Android 10, toybox ps); VELLUMFOX_SIM_ARGS adds
  # options, e.g. "--legacy" for a device before Android 8.
  # shellcheck disable=SC2086
  "$sim" --port "$port" ${VELLUMFOX_SIM_ARGS:-} --exit-with-parent >"$sim_out" 2>/dev/null &
  sim_pid=$!
  for _ in $(seq 50); do
    grep -q "^listening on" "$sim_out" && break
    kill -0 "$sim_pid" 2>/dev/null || break
    sleep 0.1
  done
  if grep -q "^listening on" "$sim_out"; then sim_port=$port; break; fi
  kill "$sim_pid" 2>/dev/null || true
  wait "$sim_pid" 2>/dev/null || true
  sim_pid=""
done

if [ -z "$sim_port" ]; then
  echo "run.sh: could not start the simulated device; launching the viewer without it" >&2
else
  echo "run.sh: no device attached; using the simulated device at 127.0.0.1:$sim_port (--no-sim to skip)"
  adb connect "127.0.0.1:$sim_port" >/dev/null
  for _ in $(seq 50); do
    adb devices | grep -q "^127.0.0.1:$sim_port[[:space:]]device" && break
    sleep 0.1
  done
fi

"$viewer" "${args[@]+"${args[@]}"}"
