#!/bin/sh
# Line and branch coverage of each folder, from the counters the tests left
# in a coverage tree (make coverage). Writes BUILD_DIR/coverage.json and
# BUILD_DIR/coverage/index.html, prints a table, and fails when a folder
# covers fewer lines than its floor: 90 % for files/, core/, config/,
# results/ and cli/; 80 % for bench/, sensors/ and views/.
#   coverage-report.sh BUILD_DIR
set -eu
build=$(cd "$1" && pwd)
root=$(cd "$(dirname "$0")/.." && pwd)
folders='files|core|config|cpu|sensors|bench|results|views|gui|app|cli'
mkdir -p "$build/coverage"
gcovr --root "$root" --object-directory "$build" --filter "$root/($folders)/" \
    --exclude-unreachable-branches --exclude-throw-branches \
    --json-summary "$build/coverage.json" --html-details "$build/coverage/index.html" >/dev/null
exec /usr/bin/python3 - "$build/coverage.json" <<'PY'
import json, sys
floors = {'files': 90, 'core': 90, 'config': 90, 'results': 90, 'cli': 90,
          'bench': 80, 'sensors': 80, 'views': 80}
sums = {}
for entry in json.load(open(sys.argv[1]))['files']:
    folder = entry['filename'].split('/')[0]
    s = sums.setdefault(folder, [0, 0, 0, 0])
    s[0] += entry['line_covered']; s[1] += entry['line_total']
    s[2] += entry['branch_covered']; s[3] += entry['branch_total']
short = []
print(f"{'folder':10} {'lines':>16} {'branches':>18}  floor")
for folder in sorted(sums):
    lc, lt, bc, bt = sums[folder]
    lines = 100.0 * lc / lt if lt else 100.0
    branches = 100.0 * bc / bt if bt else 100.0
    floor = floors.get(folder)
    mark = '' if floor is None else f"{floor} %" + ('' if lines >= floor else '  BELOW')
    print(f"{folder + '/':10} {lines:6.1f} % {lc:5}/{lt:<5} {branches:6.1f} % {bc:6}/{bt:<6}  {mark}")
    if floor is not None and lines < floor:
        short.append(f"{folder}/ {lines:.1f} % < {floor} %")
missing = [f for f in floors if f not in sums]
if missing:
    short.append('no counters for ' + ', '.join(missing))
if short:
    print('coverage below its floor: ' + '; '.join(short))
    sys.exit(1)
PY
