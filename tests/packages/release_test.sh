#!/usr/bin/env bash
# scripts/release makes a tag where everything passed, and only there.
set -u
cd "$(dirname "$0")/../.." || exit 1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0 checks=0
mkdir -p "$work/tree/scripts" && cp scripts/release scripts/packages.sh "$work/tree/scripts" && cd "$work/tree" || exit 1
export GIT_CONFIG_GLOBAL=/dev/null GIT_AUTHOR_NAME=a GIT_AUTHOR_EMAIL=a@b GIT_COMMITTER_NAME=a GIT_COMMITTER_EMAIL=a@b

# released TAG SAYS [SPOIL [SPOIL_AFTER_COMMIT [OPTION]]]: in a tree that is good for a release but for what spoils it.
released() {
  rm -rf .git build-packages
  printf 'cmake_minimum_required(VERSION 3.25)\nproject(vxblade VERSION 1.2.3 LANGUAGES NONE)\n' >CMakeLists.txt
  printf '# Changelog\n\n## 1.2.3 - 2026-01-31\n\n## 1.2.2 - 2026-01-01\n' >CHANGELOG.md
  echo /build-packages/ >.gitignore
  printf '#!/bin/sh\necho "10 passed, 0 failed, 0 skipped"\n' >scripts/test
  printf '#!/bin/sh\nmkdir -p build-packages/amd64 && echo >build-packages/amd64/a.deb\n' >scripts/package
  chmod +x scripts/*
  eval "${3:-}"
  git init -q && git add -A && git commit -qm "all"
  eval "${4:-}"
  local actual
  actual="$(scripts/release ${5:-} 1.2.3 2>&1 | grep -c "$2"), $(git tag -n1)"
  checks=$((checks + 1))
  [ "$actual" = "1, $1" ] || { failures=$((failures + 1)); echo "FAILED: release: $2: $actual"; }
}
tag='v1.2.3          vxblade 1.2.3'
released "$tag" 'v1.2.3 is commit'
released '' 'would say' '' '' --dry-run
released '' 'the tree has changes' '' 'echo >new'
released "v1.2.3          other" 'there is a tag v1.2.3' '' 'git tag -a -m other v1.2.3'
released '' 'CMake has version 1.2.4' 'sed -i s/1.2.3/1.2.4/ CMakeLists.txt'
released '' 'CHANGELOG.md begins with "Unreleased"' 'sed -i "3i ## Unreleased\n" CHANGELOG.md'
released '' 'tests failed' 'echo exit 1 >>scripts/test'
released '' 'tests were skipped' 'sed -i "s/0 skipped/1 skipped/" scripts/test'
released '' 'packages failed, or were skipped' 'echo exit 77 >>scripts/package'
released '' 'the last commit is another' 'echo "git commit -q --allow-empty -m more" >>scripts/test'
echo "release: $((checks - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
