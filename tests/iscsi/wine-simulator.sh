#!/bin/sh
# Starts and stops the native array simulator for the Windows build's SOAP tests under Wine.
#   wine-simulator.sh start SIMULATOR SCENARIO DIR   (DIR/ready.json once it listens)
#   wine-simulator.sh stop DIR
# Without a native simulator the start says so and succeeds; the tests then skip.
set -u
case "$1" in
  start)
    sim=$2 scenario=$3 dir=$4
    rm -rf "$dir"
    mkdir -p "$dir"
    if [ ! -x "$sim" ]; then
      echo "no native simulator at $sim (build the native preset first): the SOAP tests under Wine skip"
      exit 0
    fi
    # Detached from CTest's pipes, or CTest would wait for the simulator to end.
    nohup "$sim" --scenario "$scenario" --ready-file "$dir/ready.json" </dev/null >"$dir/sim.log" 2>&1 &
    echo $! >"$dir/sim.pid"
    tries=0
    while [ ! -f "$dir/ready.json" ]; do
      tries=$((tries + 1))
      if [ "$tries" -gt 150 ] || ! kill -0 "$(cat "$dir/sim.pid")" 2>/dev/null; then
        echo "the simulator did not get ready:"
        cat "$dir/sim.log"
        exit 1
      fi
      sleep 0.1
    done
    ;;
  stop)
    dir=$2
    if [ -f "$dir/sim.pid" ]; then
      kill "$(cat "$dir/sim.pid")" 2>/dev/null
      rm -f "$dir/sim.pid"
    fi
    ;;
  *)
    echo "usage: $0 start SIMULATOR SCENARIO DIR | stop DIR" >&2
    exit 2
    ;;
esac
exit 0
