#!/usr/bin/env bash
# The programs as a technician meets them at the shell: each case of bad input runs tarvo or
# corvane-sim and checks the exit status and the first line of standard error (a glob).
# Usage: error_cases.sh TARVO CORVANE_SIM EXAMPLES_DIR
set -uo pipefail
tarvo="$1" sim="$2" examples="$3"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$work"
failures=0

# check LEGEND STATUS FIRST-LINE-GLOB COMMAND...
check() {
  local legend="$1" want_status="$2" want_line="$3"
  shift 3
  "$@" > out.txt 2> err.txt < /dev/null
  local status=$?
  local line
  # The first line of tarvo's own message: log entries and operator messages (shown as they
  # appear) come before it.
  line="$(grep -v ' WARNING \| STATUS \| DEBUG \|^tarvo: operator message\|^  ' err.txt |
    head -n 1)"
  # shellcheck disable=SC2053  # the expected line is a glob on purpose
  if [[ $status -ne $want_status || $line != $want_line ]]; then
    echo "FAIL: $legend"
    echo "  status $status (expected $want_status)"
    echo "  line   $line"
    echo "  glob   $want_line"
    failures=$((failures + 1))
  else
    echo "ok:   $legend"
  fi
}

setup() {  # setup FILE BLOCK-LINES...: a setup whose <Blocks> holds the given lines
  local file="$1"
  shift
  { echo '<TarvoSetup>'; echo '  <Blocks>'; printf '    %s\n' "$@"; echo '  </Blocks>'
    echo '</TarvoSetup>'; } > "$file"
}

setup bad-time.xml '<Block Type="Source" Name="A" Interval="99:99:99" />'
setup self.xml '<Block Type="Source" Name="A" Interval="00:01:00" />' \
  '<Block Type="Log" Name="L" File="self.xml" />' '<Connection From="A" To="L" />'
printf '<TarvoSetup>\n  <Blocks>\n    <Block Type="Source" Name="A"\n' > broken.xml
cp self.xml self.before
ex="$examples/river-gauge.xml"

check "no command" 2 "tarvo: expected a command: run, call, panel, check or blocks*" "$tarvo"
check "an unknown command" 2 'tarvo: unknown command "bogus"*' "$tarvo" bogus
check "a setup that is not there" 1 "tarvo: missing.xml: cannot read: No such file*" \
  "$tarvo" run missing.xml
check "an endless device as the setup" 1 "tarvo: /dev/zero: cannot read: a device, not a file" \
  "$tarvo" run /dev/zero
check "a folder as the setup" 1 "tarvo: $work: cannot read: a directory, not a file" \
  "$tarvo" run "$work"
check "broken XML names file, line and column" 1 "tarvo: broken.xml:4:1: *" \
  "$tarvo" run broken.xml
check "a time with 99 minutes names file and line" 1 \
  'tarvo: bad-time.xml:3: property "Interval" of block "A" (Source) must be a time as HH:MM:SS*' \
  "$tarvo" run bad-time.xml
check "a Log block aimed at its own setup" 1 \
  'tarvo: self.xml:4: block "L" (Log) would write its readings over the setup file*' \
  "$tarvo" run self.xml
if ! cmp -s self.xml self.before; then
  echo "FAIL: the setup file changed under a refused run"
  failures=$((failures + 1))
fi
check "a run longer than ten years" 2 "tarvo: --for: 36500d is longer than a run may last*" \
  "$tarvo" run "$ex" --for 36500d
check "an option without its value" 2 "tarvo: --for needs a value" "$tarvo" run "$ex" --for
check "a transmitter that never answers" 3 "tarvo: the transmitter on COM2: never answered*" \
  "$tarvo" run "$ex" --no-sim --for 1h
check "an export tarvo cannot call" 2 'tarvo: call: "NoSuchExport" is not an export*' \
  "$tarvo" call "$ex" NoSuchExport
check "a setter value that does not parse" 2 'tarvo: call: SetSTTxInterval SECONDS: "abc"*' \
  "$tarvo" call "$ex" SetSTTxInterval abc
check "corvane-sim with an unknown option" 2 "corvane-sim: unknown option --bogus" \
  "$sim" --bogus
check "corvane-sim with an unknown fault" 2 "corvane-sim: --fault nonsense: unknown fault kind*" \
  "$sim" --fault nonsense

if [[ $failures -ne 0 ]]; then
  echo "$failures case(s) failed"
  exit 1
fi
