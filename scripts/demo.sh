#!/usr/bin/env bash
# The main job: builds the native tree and runs vantor-vss.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash scripts/install-deps.sh >/dev/null
cmake --preset native >/dev/null
cmake --build --preset native -j "${VANTOR_JOBS:-$(nproc)}" --target vantor-vss >/dev/null
build/native/tools/vantor-vss/vantor-vss --version
