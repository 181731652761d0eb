#!/bin/bash
# Fails when clang-format would change a source file of the tree.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
git ls-files -z '*.h' '*.cc' | xargs -0 -r clang-format --dry-run -Werror
