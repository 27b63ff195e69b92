#!/usr/bin/env bash
# The house rules that a search can check: platform headers stay behind the platform modules' doors, the
# build and not the preprocessor picks a platform, every module says what it is for. A test may play the
# other side of a connection, so tests are free to use what their subject is not.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../src"
bad=0

# complain WHAT: each line of standard input is a breach.
complain() {
  while IFS= read -r line; do
    echo "$1: src/$line"
    bad=1
  done
}

complain "platform header outside the platform modules" < <(
  grep -rnE --include=*.h --include=*.cc \
    '#include *<(windows\.h|winsock2\.h|ole2\.h|gtk/|sys/socket\.h|netdb\.h|arpa/|netinet/|asio)' . |
    sed 's,^\./,,' |
    grep -vE '^(win32|outlook|evolution|terminal|base/win32|base/posix)/|^engine/net/|_test\.cc:|/test_[a-z]*\.h:' || true)

complain "platform test in a module" < <(
  grep -rnE --include=*.h --include=*.cc '^ *# *(if|ifdef|ifndef|elif).*(_WIN32|_WIN64|__linux__|__unix__|\bSIG[A-Z]+\b)' . |
    sed 's,^\./,,' | grep -vE '^(win32|outlook|evolution|base/win32|base/posix)/' || true)

# "user used" of the engine's files in these folders, a header and its source as one.
engine_includes() {
  grep -rE --include=*.h --include=*.cc '^#include "engine/' "$@" |
    grep -vE '(_test|_fuzz)\.cc:|/(test|fake|scripted)_[a-z_]*\.h:' |
    sed -E 's,^([^:]*)\.(h|cc):#include "([^"]*)\.h".*,\1 \3,' | awk '$1 != $2'
}
complain "circle of includes" < <(engine_includes engine | tsort 2>&1 >/dev/null | sed 's,^tsort: ,,')
complain "include of a higher layer" < <(
  engine_includes engine/smtp engine/net | grep -E '^engine/(smtp/[^ ]* engine/(net|delivery)/|net/[^ ]* engine/delivery/)' || true
  engine_includes engine/smtp engine/net engine/delivery | grep -vE ' engine/((smtp|net|delivery)/|(message|work|trace|hmac)$)' || true)

complain "module without a README.md" < <(
  for module in */; do
    if compgen -G "$module*.cc" >/dev/null && [[ ! -e ${module}README.md ]]; then echo "$module"; fi
  done)

complain "README.md that names what is not there" < <(
  for readme in */README.md; do
    grep -oE '`[A-Za-z0-9_/.-]+(/|\.(h|cc|md|cmake))`' "$readme" | tr -d '`' | while IFS= read -r name; do
      [[ -e ${readme%README.md}$name || -e $name || -e ../$name ]] || echo "$readme: $name"
    done
  done)

complain "test that no module runs" < <(
  for test in */*_test.cc */*/*_test.cc; do
    [[ -e $test ]] || continue
    grep -rqF "$(basename "$test")" --include=CMakeLists.txt --include=*.cmake . || echo "$test"
  done)

exit $bad
