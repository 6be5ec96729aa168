# Sourced first by every script: prints the comment at its head for -h, and goes to the root of the project. Scripts
# that take options set `script_options` to a pattern of them before.
set -euo pipefail

case "${1:-}" in
  "" | ${script_options:-}) ;;
  -h | --help)
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
    exit
    ;;
  *)
    echo "$0: unknown argument $1; -h shows the usage" >&2
    exit 2
    ;;
esac

unset CDPATH
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
cores=$(nproc)

# The C++ files of the project, one a line.
source_files() {
  find . \( -name build -o -name 'build-*' -o -name '.?*' \) -prune -o \( -name '*.h' -o -name '*.cpp' \) -print |
    sed 's,^\./,,' | sort
}
