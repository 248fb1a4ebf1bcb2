#!/bin/sh
# Starts or stops the native array simulator for the Windows client tests under Wine.
#   array-sim-fixture.sh start SIMULATOR   (in the test's working directory)
#   array-sim-fixture.sh stop
# start writes array-sim-ready.json there once the simulator listens; the tests read it. A
# missing simulator is not an error here: the tests then skip and say why.
set -u
ready=array-sim-ready.json
pidfile=array-sim.pid

stop() {
  if [ -f "$pidfile" ]; then
    pid=$(cat "$pidfile")
    kill "$pid" 2>/dev/null && echo "array-sim-fixture: stopped simulator $pid"
    rm -f "$pidfile"
  fi
  rm -f "$ready"
}

case "${1:-}" in
  start)
    sim="${2:-}"
    stop
    if [ ! -x "$sim" ]; then
      echo "array-sim-fixture: native simulator '$sim' is not built; the client tests will skip."
      echo "array-sim-fixture: build it with: cmake --preset native && cmake --build build/native --target vantor-array-sim"
      exit 0
    fi
    "$sim" --ready-file "$ready" > array-sim.log 2>&1 &
    echo $! > "$pidfile"
    i=0
    while [ ! -f "$ready" ]; do
      if ! kill -0 "$(cat "$pidfile")" 2>/dev/null; then
        echo "array-sim-fixture: the simulator exited:"; cat array-sim.log; rm -f "$pidfile"; exit 1
      fi
      i=$((i + 1))
      if [ "$i" -gt 200 ]; then echo "array-sim-fixture: no ready file after 20 s"; stop; exit 1; fi
      sleep 0.1
    done
    echo "array-sim-fixture: simulator $(cat "$pidfile") ready:"; cat "$ready"
    ;;
  stop) stop ;;
  *) echo "usage: $0 start SIMULATOR | stop" >&2; exit 2 ;;
esac
