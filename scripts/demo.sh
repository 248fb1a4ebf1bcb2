#!/usr/bin/env bash
# The main job: a full shadow-copy lifecycle through vantor-vss against the array simulator.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash scripts/install-deps.sh >/dev/null
cmake --preset native >/dev/null
cmake --build --preset native -j "${VANTOR_JOBS:-$(nproc)}" --target vantor-vss vantor-array-sim >/dev/null
python3 scripts/demo/lifecycle.py build/native
