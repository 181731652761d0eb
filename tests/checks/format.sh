#!/bin/bash
# Fails when clang-format would change a source file of the tree.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
find . -name build -prune -o -type f \( -name '*.h' -o -name '*.cc' \) -print0 |
  xargs -0 -r clang-format --dry-run -Werror
