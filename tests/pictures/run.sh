#!/bin/sh
# Pictures hold what was saved: run.sh PROGRAM SOURCE WORK. A drawing in svg is text, in which the points are counted: a
# prototype is a rim and a disc in every panel, an interpolated datum a disc, a class one more in the key.
set -eu
program=$1 top=$2 work=$3
command -v gnuplot > /dev/null || { echo "SKIPPED: gnuplot is not installed"; exit 77; }
rm -rf "$work" && mkdir -p "$work" && cd "$work"
cp "$top"/examples/Qvtx.prf "$top"/examples/iris.* .
awk 'NR > 2 { print $3 }' iris.dat > one.dat
awk -v set=moons -v n=200 -f "$top/examples/synthetic.awk" > two.dat
awk -v set=moons -v n=200 -v label=1 -f "$top/examples/synthetic.awk" > two.lab
faults=0
fault() { echo "$*"; faults=$((faults + 1)); }

# session WORD...: what these words make, saved as "s".
session() { rm -f s.*; printf '%s\n' "$@" sm s xt y | "$program" > report 2> /dev/null; }
draw() { gnuplot -c "$top/share/qvtx-map.gp" "$@" format=svg 2> said; }
# check NAME POINTS SAID [WORD...]: a picture with so many points, and these words of what is not drawn.
check() {
  name=$1 points=$2 said=$3
  shift 3
  draw "$name" "$@" || fault "$name $*: $(cat said)"
  found=$(sed -n '/<\/defs>/,$p' "$name"*.svg | grep -c "href='#gpPt6'") || true
  [ "$found" = "$points" ] || fault "$name $*: $found points instead of $points"
  [ "$(grep -c . said)" = "${said:+1}" ] || [ -z "$said$(cat said)" ] || fault "$name $*: said '$(cat said)'"
  grep -q "$said" said || [ -z "$said" ] || fault "$name $*: said '$(cat said)' instead of '$said'"
  rm -f "$name"*.svg
}
# refuse SAID WORD...: no picture, one line.
refuse() {
  said=$1
  shift
  ! draw "$@" && [ "$(grep -c . said)" = 1 ] && grep -q "$said" said || fault "$*: said '$(cat said)'"
}

session ld one ng 8 cc mp m 1 cc il sp s
check s 182 ''                       # 2 x 2 x 8 + 150
session ld two ng 20 cc mp m 2
check s 80 'no interpolated data'
check s 40 '' picture=data
session ld iris ng 30 md mp m 4
check s 120 'no interpolated data'
session ld iris ng 30
check s 60 'no .map'
refuse 'nothing to draw' s picture=map
refuse 'sg, eg, cg or ag' s picture=god
session ld iris ng 30 cc mp m 3 cc il sp s ag
check s 270 ''
check s 213 '' labels=iris.lab picture=map
check s 270 '200 labels for 150 data' labels=two.lab
head -n 22 s.prj > short.prj && cp short.prj s.prj
check s 83 '' labels=iris.lab picture=map   # other data than the learning set: without labels
for file in s.*; do cp "$file" "o'ne = two.${file#s.}"; done
check "o'ne = two" 143 '' labels=iris.lab
refuse 'no other.pro' other
refuse 'what is colour=1' s colour=1
refuse 'size=900: two numbers' s size=900
for graph in sgd egd cgd; do
  draw s picture=$graph || fault "$graph: $(cat said)"
  [ "$(grep -c '<polygon\|<image' s-$graph.svg)" -ge 1 ] || fault "$graph: no histogram"
done
gnuplot -c "$top/share/qvtx-map.gp" s && [ "$(wc -c < s.png)" -gt 5000 ] || fault "no png"
exit $((faults > 0))
