# The real program with a crafted results table runs the full 10-second speed
# test from the menu by keyboard; the chart shows this machine's yellow bar on
# the row between a far faster and a far slower stored result.
set -eu
. "$(dirname "$0")/e2e_lib.sh"

cd "$WORKDIR"
printf '%s\n' 'Crafted;Far faster;1;2;1;64;128;Linux;6;50000;1;yes' \
              'Crafted;Far slower;1;2;1;1;1;Linux;6;1;1;yes' > cpu_results.csv
printf '# crafted\ncpulist\t\t20\nheattime\t1\n' > tarnwick.conf
./tarnwick &
pid=$!
main=$(wait_for_window '^Tarnwick Benchmark$')
sleep 0.5
press "$main" alt+p
sleep 0.3
xdotool key s
sleep 12
import -window "$main" "$SHOTS/speed_chart.png"

# Bars are drawn 4 pixels into their 16-pixel rows; the far faster result
# (50000 points, the full bar) holds row 0 and this machine row 1: the first
# yellow pixel is 16 rows below the first green one.
pixels=$(convert "$SHOTS/speed_chart.png" txt:-)
green=$(echo "$pixels" | grep -m1 '#008000' | cut -d, -f2 | cut -d: -f1)
yellow=$(echo "$pixels" | grep -m1 '#FFFF00' | cut -d, -f2 | cut -d: -f1)
echo "first green row $green, first yellow row $yellow"
press "$main" alt+x
wait_for_exit "$pid"
[ -n "$green" ] && [ -n "$yellow" ] && [ $((yellow - green)) -eq 16 ]
