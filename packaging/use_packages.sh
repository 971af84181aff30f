#!/usr/bin/env bash
# Run by try_packages.sh inside a fresh Debian with the packages in /packages, and a wheel if one is to be tried.
set -euo pipefail

names=()
for package in /packages/*.deb; do names+=("$(dpkg-deb --field "$package" Package)"); done
apt-get update -qq
apt-get install -y -qq --no-install-recommends /packages/*.deb >/packages/install.log 2>&1 \
  || { tail -n 30 /packages/install.log; exit 1; }
echo "installed: ${names[*]}"

mkdir /tmp/use
cd /tmp/use
kova-simulate run.d --frames 8 --scans 120 --peaks-per-frame 6000 --recalibrated 1 --quiet
kova info run.d --recalibrated | grep -q 'in use'
kova info run.d
kova frames run.d | head -n 4
kova check run.d

apt-get install -y -qq --no-install-recommends gcc g++ libc6-dev pkg-config python3 >/packages/install.log 2>&1 \
  || { tail -n 30 /packages/install.log; exit 1; }
examples=/usr/share/doc/libkovadata-dev/examples
read -r -a flags <<<"$(pkg-config --cflags --libs kovarun)"
gcc -std=c99 -Wall -Wextra -Werror "$examples/frame.c" -o by_c "${flags[@]}"
g++ -std=c++20 -Wall -Wextra -Werror "$examples/frame.cpp" -o by_cpp "${flags[@]}"
./by_c run.d 1 >expected.txt
head -n 3 expected.txt
[ "$(wc -l <expected.txt)" -gt 1 ]
./by_cpp run.d 1 | cmp - expected.txt
python3 "$examples/plain_ctypes.py" run.d 1 | cmp - expected.txt
if dpkg-query --status python3-kovadata >/dev/null 2>&1; then
  python3 -c 'import kovadata; print(kovadata.Analysis("run.d").frame(1))'
fi
echo "C, C++ and Python programs agree"

apt-get purge -y -qq "${names[@]}" >/packages/purge.log 2>&1 || { tail -n 30 /packages/purge.log; exit 1; }
left=$(find / -xdev -path /packages -prune -o -path /tmp -prune -o -path /proc -prune -o -name '*kovadata*' -print)
if [ -n "$left" ] || ldconfig -p | grep kovadata; then
  echo "left behind: $left"
  exit 1
fi
echo "removed without a trace"

# A wheel brings all that it needs but numpy, which is left from before.
for wheel in /packages/*.whl; do
  [ -e "$wheel" ] || continue
  apt-get install -y -qq --no-install-recommends python3-pip python3-numpy >/packages/install.log 2>&1 \
    || { tail -n 30 /packages/install.log; exit 1; }
  pip install --quiet --root-user-action=ignore --break-system-packages --no-index --no-deps "$wheel"
  python3 -c 'import kovadata; print(kovadata.Analysis("run.d").frame(1))'
done
