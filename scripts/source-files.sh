# list_sources: the tree's C and C++ sources, NUL-separated (the tracked ones
# in a git checkout, otherwise every one outside the build folders).
list_sources() {
  if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git ls-files -z -- '*.c' '*.cpp' '*.h' '*.hpp'
  else
    find . \( -path './build*' -o -path './.git' \) -prune -o \
      -type f \( -name '*.c' -o -name '*.cpp' -o -name '*.h' -o -name '*.hpp' \) -print0
  fi
}
