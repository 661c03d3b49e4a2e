# Sourced by scripts/check_format and scripts/check_lint from the top of the tree: which files they
# look at, and which version of a tool judges them.

# Another version lays out otherwise and knows other warnings. This is the one of Debian 12.
clang_version=14

# sources PATTERN: the files of the tree whose path the extended regular expression fits, one a line.
# What is built and what is hidden is no source. Git is not asked: an archive has none.
sources() {
  find . \( -path ./build -o -path './.?*' \) -prune -o -type f -print | sed 's|^\./||' | LC_ALL=C sort | grep -E -- "$1"
}

# count FILES: how many lines that is. Fails when there is none, and says so.
count() {
  if [ -z "$1" ]; then
    echo 'no files to look at here'
    return 1
  fi
  printf '%s\n' "$1" | wc -l
}

# judge TOOL: the command that runs TOOL in the version that judges. Where there is none: a line that
# says what there is, and status 77.
judge() {
  for command in "$1-$clang_version" "$1"; do
    case $("$command" --version 2>/dev/null) in
      *" version $clang_version."*)
        printf '%s\n' "$command"
        return 0
        ;;
    esac
  done
  here=$("$1" --version 2>/dev/null | sed -n 's/.* version \([0-9][0-9.]*\).*/\1/p')
  printf '%s judges; here is %s\n' "$1 $clang_version" "${here:-none}"
  return 77
}
