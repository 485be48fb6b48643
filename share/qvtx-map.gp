#!/usr/bin/env -S gnuplot -c
# Pictures of what `sm` (and `sp`) saved under a name; gnuplot 5.4 and awk do it all.
#
#   gnuplot -c qvtx-map.gp results/iris                           results/iris.png: prototypes and links, data and map
#   gnuplot -c qvtx-map.gp results/iris labels=iris.lab           the same, coloured by the labels of the data
#   gnuplot -c qvtx-map.gp results/iris picture=god               results/iris-god.png: the GoD graphs
#
# Further words, in any order:
#
#   picture=both|data|map|god|sgd|egd|cgd     what is drawn (both); all but both are saved as NAME-PICTURE
#   labels=FILE                               text matrix of one column, a row a datum: integers are classes (-1 for
#                                             none), other numbers a scale
#   classes="setosa versicolor virginica"     names of the classes in the order of their labels
#   format=png|svg|pdf   size=1000,420        the kind of picture, and its size in pixels
#   view=65,25                                where spatial pictures are seen from: degrees of rotation
#
# Data of more than three variables are shown by the three that vary most, those of one by the data each prototype
# stands for; a map of one dimension is drawn against the variable that varies most. What is missing is said in a line.

name = ARG1
picture = "both"
labels = ""
classes = ""
format = "png"
size = ""
view = "65,25"
stop = 'print "  qvtx-map: ".text; exit status 1'
do for [i=2:ARGC] {
  split = strstrt(ARGV[i], "=")
  key = ARGV[i][1:split-1]
  text = "what is ".ARGV[i]."? (picture= labels= classes= format= size= view=)"
  if (split < 2 || !strstrt(" picture labels classes format size view ", " ".key." ")) { eval stop }
  word_value = ARGV[i][split+1:*]
  eval key." = word_value"
  pair = key eq "size" || key eq "view"
  text = ARGV[i].": two numbers are needed, as in ".key."=".(key eq "size" ? "1000,420" : "65,25")
  if (pair && system("echo '".word_value."' | grep -Ec '^[0-9.]*[0-9],[0-9.]*[0-9]$'") ne "1") { eval stop }
}

# ---- Reading ----

# Answers questions about the files whose kinds stand in `kinds`, in this order: `want` is "facts" (assignments for
# gnuplot), "points", "links" or "data" (the interpolated ones): rows of x y z, value on the colour scale, number of
# the class (0: none), for the panel "data" or "map"; or "facts", "shades" and "means" of a GoD graph.
$awk << EOF
function number(word) { return word ~ /^[-+]?[.0-9]/ ? word + 0 : "NaN" }
function known(x) { return x != "NaN" }
BEGIN {
  CONVFMT = OFMT = "%.9g"
  split(kinds, kind_of)
  n = m = data = links = labels = placed = nx = 0
}
FNR == 1 { kind = kind_of[++files]; if (kind == "cod" && NF == 1 && $1 == 1) coded = 1 }
kind == "lab" { for (k = 1; k <= NF; ++k) label[labels++] = $k; next }
FNR < 3 { next }
kind == "pro" { for (k = 1; k <= NF; ++k) pro[n, k] = $k; ++n; variables = NF }
kind == "map" { for (k = 1; k <= NF; ++k) map[m, k] = number($k); ++m; if (dimensions == "") dimensions = NF }
kind == "cod" && coded { code[data] = $1; if ($1 >= 0) ++hits[$1 + 0]; ++data }
kind == "crv" { from[links] = $1 + 0; to[links++] = $2 + 0 }
kind == "prj" { for (k = 1; k <= NF; ++k) prj[placed, k] = number($k); ++placed }
kind == "god" { for (k = 1; k <= NF; ++k) god[nx, k] = $k; ++nx; if (NF > ny) ny = NF }
kind == "sta" { if (!width) width = 2 * $1; ratio = $3; squares = $2 }

# Numbers of the three variables with most variance, in their order; equal ones keep theirs.
function choose(   i, k, t, mean, sum, top, used) {
  for (k = 1; k <= variables; ++k) {
    mean = 0; sum = 0
    for (i = 0; i < n; ++i) mean += pro[i, k] / n
    for (i = 0; i < n; ++i) sum += (pro[i, k] - mean) ^ 2
    variance[k] = sum
  }
  for (t = 1; t <= 3 && t <= variables; ++t) {
    top = 0
    for (k = 1; k <= variables; ++k)
      if (!(k in used) && (!top || variance[k] > variance[top])) top = k
    if (t == 1) most = top
    used[top]
  }
  for (k = 1; k <= variables; ++k) if (k in used) axis[++axes] = k
}
# How many leading axes of the map have values.
function valued(   i, k, found) {
  for (k = 1; k <= dimensions; ++k) {
    found = 0
    for (i = 0; i < m; ++i) found += known(map[i, k])
    if (!found) return k - 1
  }
  return dimensions + 0
}
# Coordinate t of prototype i in the data and in the map, of datum i in the map; order[t] is what stands on axis t of
# the picture (1 to 3 in the data, 4 to 6 in the map).
function in_data(i, t) { t = order[t]; return t <= axes ? pro[i, axis[t]] : axes == 1 && t == 2 ? hits[i] + 0 : 0 }
function in_map(i, t) {
  t = order[t + 3] - 3
  return t <= shown ? map[i, t] : shown == 1 && t == 2 ? pro[i, most] : 0
}
function in_prj(i, t) {
  t = order[t + 3] - 3
  return t <= shown ? prj[i, t] : shown == 1 && t == 2 ? pro[code[i], most] : 0
}
function stretch(t, x) {
  if (!known(x)) return
  if (!(t in low) || x < low[t]) low[t] = x
  if (!(t in high) || x > high[t]) high[t] = x
}
function span(t) { return high[t] - low[t] }
function swap(list, t, u,   kept) { kept = list[t]; list[t] = list[u]; list[u] = kept }
function lay(t, u) { swap(order, t, u); swap(low, t, u); swap(high, t, u) }
# Ranges of the coordinates; what would stand upright is laid on its side.
function limits(   i, t) {
  for (t = 1; t <= 6; ++t) order[t] = t
  for (t = 1; t <= 3; ++t) {
    for (i = 0; i < n; ++i) stretch(t, in_data(i, t))
    for (i = 0; i < m; ++i) stretch(t + 3, in_map(i, t))
    for (i = 0; i < placed; ++i) stretch(t + 3, in_prj(i, t))
  }
  longer = shown > 1 && span(5) > span(4) ? 2 : 1
  if (shown == 2 && span(5) > 1.4 * span(4)) lay(4, 5)
  if (shown == 3 && span(6) > 1.2 * span(4) && span(6) > 1.2 * span(5)) lay(4, 6)
  if (axes == 3 && span(3) > 1.2 * span(1) && span(3) > 1.2 * span(2)) lay(1, 3)
}
# Labels: classes when all are whole numbers and not too many differ.
function classify(   i, j, whole, rank, kept) {
  if (labels > 2 && label[0] == 1 && label[1] == labels - 2) {
    labels -= 2
    for (i = 0; i < labels; ++i) label[i] = label[i + 2]
  }
  if (!labels || labels != data) { fault = labels; labels = 0; return }
  whole = 1
  for (i = 0; i < data; ++i) {
    if (label[i] != int(label[i])) whole = 0
    if (!i || label[i] < label_low) label_low = label[i]
    if (!i || label[i] > label_high) label_high = label[i]
    if (label[i] != -1 && !(label[i] + 0 in rank)) { rank[label[i] + 0]; sorted[++count] = label[i] + 0 }
  }
  if (!whole || count > 80) { count = 0; return }
  for (i = 2; i <= count; ++i)
    for (j = i; j > 1 && sorted[j] < sorted[j - 1]; --j) {
      kept = sorted[j]; sorted[j] = sorted[j - 1]; sorted[j - 1] = kept
    }
  for (i = 1; i <= count; ++i) class_of[sorted[i]] = i
}
# Of prototype i: mean label or most frequent class of its data; votes and sums are made once.
function vote(   i, c) {
  for (i = 0; i < data; ++i) {
    if (code[i] < 0) continue
    if (count) ++votes[code[i] + 0, class_of[label[i] + 0]]
    else sums[code[i] + 0] += label[i]
  }
  for (i = 0; i < n; ++i)
    for (c = 1; c <= count; ++c) if (votes[i, c] > votes[i, winner[i] + 0]) winner[i] = c
}
function point_class(i) { return labels && count ? winner[i] + 0 : 0 }
function point_value(i) {
  if (labels) return hits[i] ? sums[i] / hits[i] : "NaN"
  return shown ? map[i, longer] : in_data(i, 1)
}
function point(i) {
  if (panel == "map") return in_map(i, 1) " " in_map(i, 2) " " in_map(i, 3) " " point_value(i) " " point_class(i)
  return in_data(i, 1) " " in_data(i, 2) " " in_data(i, 3) " " point_value(i) " " point_class(i)
}
function datum(i) {
  return in_prj(i, 1) " " in_prj(i, 2) " " in_prj(i, 3) " " (labels ? label[i] : prj[i, longer]) " " \
         (labels && count ? class_of[label[i] + 0] + 0 : 0)
}
function facts(   i, t, names, lows, highs, orders, sep) {
  ORS = "; "  # one line, as eval reads it
  print "prototypes=" n "; variables=" variables + 0 "; axes=" axes + 0 "; dimensions=" dimensions + 0
  print "shown=" shown + 0 "; links=" links "; placed=" placed "; data=" data "; longer=" longer
  print "images=" m "; coded=" coded + 0 "; labelled=" labels "; fault=" fault + 0 "; count=" count + 0
  print "least_label=" label_low + 0 "; most_label=" label_high + 0
  print "most=" most "; array axis=[" axis[1] + 0 "," axis[2] + 0 "," axis[3] + 0 "]"
  for (i = 1; i <= count; ++i) names = names " " sorted[i]
  print "class_names=\"" names "\""
  for (t = 1; t <= 6; ++t) {
    lows = lows sep low[t] + 0; highs = highs sep high[t] + 0; orders = orders sep order[t]
    sep = ","
  }
  print "array low=[" lows "]; array high=[" highs "]; array order=[" orders "]"
}
# Joins bins of a histogram until few pairs can be seen.
function coarsen(   i, k, times, sum) {
  for (i = 0; i < nx; ++i)
    for (k = 1; k <= ny; ++k) pairs += god[i, k]
  times = pairs < 1000 ? 4 : pairs < 5000 ? 2 : 1
  for (i = 0; i < nx; ++i)
    for (k = 1; k <= ny; ++k) sum[int(i / times), int((k - 1) / times) + 1] += god[i, k]
  nx = int((nx + times - 1) / times)
  ny = int((ny + times - 1) / times)
  width *= times
  for (i = 0; i < nx; ++i)
    for (k = 1; k <= ny; ++k) { god[i, k] = sum[i, k] + 0; if (god[i, k] > top) top = god[i, k] }
}
function god_facts() {
  print "pairs=" pairs + 0 "; top=" top + 0 "; width=" width + 0 "; nx=" nx "; ny=" ny "; ratio=" ratio + 0
}
function shades(   i, k, line) {
  for (k = 1; k <= ny; ++k) {
    line = ""
    for (i = 0; i < nx; ++i) line = line god[i, k] " "
    print line
  }
}
# Mean of y over bins of x that hold a fiftieth of all pairs together.
function means(   i, k, all, x, y) {
  for (i = 0; i < nx; ++i) {
    for (k = 1; k <= ny; ++k) { all += god[i, k]; x += god[i, k] * (i + 0.5); y += god[i, k] * (k - 0.5) }
    if (all && (all >= pairs / 50 || i == nx - 1)) { print x / all * width, y / all * width; all = x = y = 0 }
  }
}
END {
  if (nx) coarsen()
  if (want == "shades") shades()
  if (want == "means") means()
  if (nx && want == "facts") god_facts()
  if (nx) exit
  choose()
  shown = m == n ? valued() : 0
  if (shown > 3) shown = 3
  if (shown == 0 || placed != data && shown == 1) placed = 0
  limits()
  classify()
  if (labels) vote()
  if (want == "facts") facts()
  if (want == "points") for (i = 0; i < n; ++i) print point(i)
  if (want == "links")
    for (i = 0; i < links; ++i) printf "%s\n%s\n\n\n", point(from[i]), point(to[i])
  if (want == "data") for (i = 0; i < placed; ++i) if (known(prj[i, 1])) print datum(i)
}
EOF
program = ""
do for [i=1:|$awk|] { program = program.$awk[i]."\n" }

# Any name within single quotes of the shell; for awk a path, lest NAME=VALUE be taken for an assignment.
array given[2] = [name, labels]
array quoted[2] = ["", ""]
do for [i=1:2] {
  if (given[i][1:1] ne "/") { quoted[i] = "./" }
  do for [k=1:strlen(given[i])] { c = given[i][k:k]; quoted[i] = quoted[i].(c eq "'" ? "'\\''" : c) }
}
file(extension) = "'".quoted[1].extension."'"
there(word) = system("test -f ".word." && test -r ".word." && echo y") eq "y"
asked(want, panel, kinds, files) = sprintf("LC_ALL=C awk -v want=%s -v panel=%s -v kinds='%s' '%s' %s", \
                                           want, panel, kinds, program, files)

# ---- Output ----

text = "no picture ".picture.": both data map god sgd egd cgd"
if (!strstrt(" both data map god sgd egd cgd ", " ".picture." ")) { eval stop }
driver = format eq "svg" ? "svg" : format."cairo"
text = "this gnuplot makes no ".format
if (!strstrt(GPVAL_TERMINALS, " ".driver." ")) { eval stop }
written = name.(picture eq "both" ? "" : "-".picture).".".format
# Opens the picture, `shape` being its size unless another one was asked for.
drawing(size) = sprintf('set terminal %s size %s font "Sans,%d" noenhanced', driver, \
                        format eq "pdf" ? inches(size) : size, wide(size) < 400 ? 9 : 11)
open = 'if (size eq "") { size = shape }; eval drawing(size); set output written'
wide(size) = 0.0 + size[1:strstrt(size, ",")-1]
tall(size) = 0.0 + size[strstrt(size, ",")+1:*]
inches(size) = sprintf("%gin,%gin", wide(size) / 100, tall(size) / 100)

set tics font "Sans,9"
ink = "#303030"
pale = "#9a9a9a"

more(a, b) = a > b ? a : b
less(a, b) = a < b ? a : b
# The step of tics that is no finer than x: 1, 2 or 5 times a power of ten.
step(x) = (x > 0 ? (p = 10.0 ** floor(log10(x)), x / p > 5 ? 10 * p : x / p > 2 ? 5 * p : x / p > 1 ? 2 * p : p) : 1)

# ---- GoD graphs ----

if (strstrt("god sgd egd cgd", picture)) {
  graphs = ""
  do for [graph in "sgd egd cgd"] {
    if (picture ne "god" && picture ne graph) { continue }
    if (there(file(".".graph)) && there(file(".".graph[1:1]."st"))) { graphs = graphs." ".graph }
  }
  text = "no ".name.".".(picture eq "god" ? "sgd, .egd, .cgd" : picture)." (sg, eg, cg or ag makes them, then sm)"
  if (graphs eq "") { eval stop }
  shape = sprintf("%d,%d", 460 * words(graphs), 430)
  eval open
  across(graph) = graph eq "sgd" ? "graph distance" : "distance in the map"
  up(graph) = graph eq "cgd" ? "graph distance" : "distance in space"
  heading(graph) = graph eq "sgd" ? "self" : graph eq "egd" ? "Euclidean" : "curvilinear"
  god(want, graph) = asked(want, "none", "god sta", file(".".graph)." ".file(".".graph[1:1]."st"))
  set multiplot layout 1,words(graphs)
  set palette defined (0 "#c6dbef", 0.5 "#4292c6", 1 "#08306b")
  set cblabel "pairs of prototypes"
  set key outside bottom center horizontal samplen 2 font "Sans,9"
  set bmargin 6
  set size ratio -1
  do for [graph in graphs] {
    eval system(god("facts", graph))
    if (top < 20) { unset logscale cb } else { set logscale cb }
    set cbrange [1:more(top, 2)]
    set xrange [0:nx*width]
    set yrange [0:ny*width]
    set xtics step(more(nx, ny) * width / 6.5)
    set ytics step(more(nx, ny) * width / 6.5)
    set xlabel across(graph)
    set ylabel up(graph)
    set title sprintf("GoD %s: %d pairs, mean ratio %.2f", heading(graph), pairs, ratio)
    plot "< ".god("shades", graph) matrix using (($1 + 0.5) * width):(($2 + 0.5) * width):($3 > 0 ? $3 : NaN) \
           with image notitle, \
         x with lines lc rgb ink lw 1 title "equal", \
         "< ".god("means", graph) with lines lc rgb "#e76300" lw 2 title "running mean"
  }
  unset multiplot
  exit
}

# ---- Data and map ----

text = name eq "" ? "gnuplot -c qvtx-map.gp NAME [KEY=VALUE]..." : "no ".name.".pro (sm saves it)"
if (name eq "" || !there(file(".pro"))) { eval stop }
kinds = "pro"
files = file(".pro")
do for [kind in "map cod crv prj"] {
  if (there(file(".".kind))) { kinds = kinds." ".kind; files = files." ".file(".".kind) }
}
if (labels ne "") {
  text = "no ".labels
  if (!there("'".quoted[2]."'")) { eval stop }
  kinds = kinds." lab"
  files = files." '".quoted[2]."'"
}
rows(want, panel) = "< ".asked(want, panel, kinds, files)
eval system(asked("facts", "none", kinds, files))

lack = ""
if (shown == 0) { lack = lack.(images ? "; no map of these prototypes" : "; no .map (md, mm, cc, it or us, then sm)") }
if (shown > 0 && shown < dimensions && shown < 3) { lack = lack."; axes of the map without a value" }
if (links == 0) { lack = lack."; no links (.crv)" }
if (labels ne "" && labelled == 0) {
  lack = lack.(coded ? sprintf("; %d labels for %d data", fault, data) : "; labels need the codes that sm saves (.cod)")
}
if (picture ne "data" && shown && !placed) { lack = lack."; no interpolated data (.prj: il, then sp)" }
text = name.": nothing to draw: ".lack[3:*]
if (picture eq "map" && shown == 0) { eval stop }
if (lack ne "") { print "  qvtx-map: ".name.": not drawn: ".lack[3:*] }
if (shown == 0) { picture = "data" }

# Classes in ten colours that colour-blind eyes tell apart (Petroff 2021), five to a mark; numbers from
# violet to yellow (viridis).
hues = "3f90da ffa90e bd1f01 94a4a2 832db6 a96b59 e76300 b9ac70 717581 92dadb"
hue(class) = class > 0 ? int("0x".word(hues, (int(class) - 1) % 10 + 1)) : 0xd0d0d0
marks = "7 5 9 11 13 15 3 2"
mark(class) = int(word(marks, (class > 0 ? int(class) - 1 : 0) / 5 % 8 + 1))
called(class) = words(classes) >= class ? word(classes, class) : word(class_names, class)
set palette defined (0 "#440154", 1 "#472d7b", 2 "#3b528b", 3 "#2c728e", 4 "#21918c", 5 "#28ae80", 6 "#5ec962", \
                     7 "#addc30", 8 "#fde725")

# The layers of a panel as text for `plot` and `splot`: interpolated data, links, prototypes with a dark rim, the key.
# Each is one reading of the files, whatever the number of classes. Data that were not the learning set have no labels.
layer(kind, panel, d, columns, style) = sprintf("rows('%s','%s') using %s%s with %s notitle, ", \
                                                kind, panel, d > 2 ? "1:2:3" : "1:2", columns, style)
points(style, size) = sprintf("points %s ps %g", style, size)
filled(kind, panel, d, size) = count \
  ? layer(kind, panel, d, ":(mark(column(5))):(hue(column(5)))", points("pt variable lc rgb variable", size)) \
  : layer(kind, panel, d, ":4", points("pt 7 lc palette", size))
dots(panel, d) = labelled && placed != data ? layer("data", panel, d, "", points("pt 7 lc rgb pale", speck)) \
                                            : filled("data", panel, d, speck)
rims(panel, d) = layer("points", panel, d, ":(mark(column(5)))", points("pt variable lc rgb ink", 1.3 * dot))
lines(panel, d) = count ? layer("links", panel, d, "", "lines lw 0.8 lc rgb pale") \
                        : layer("links", panel, d, ":4", "lines lw 0.8 lc palette")
layers(panel, d) = (panel eq "map" && placed ? dots(panel, d) : "").(links ? lines(panel, d) : "").rims(panel, d) \
                   .filled("points", panel, d, dot) \
                   ."for [c=1:count] keyentry with points pt mark(c) ps dot lc rgb hue(c) title called(c)"

# ---- Panels ----

short = system("basename -- ".file(""))
short_labels = labels eq "" ? "" : system("basename -- '".quoted[2]."'")
span(t) = high[t] - low[t]
widest(base, d) = more(span(base + 1), more(span(base + 2), d > 2 ? span(base + 3) : 0))
narrowest(base, d) = less(span(base + 1), less(span(base + 2), d > 2 ? span(base + 3) : span(base + 2)))
# Room beyond the points; a map that is all but a line gets a quarter of its length.
room(t, least) = span(t) == 0 && least == 0 ? 0.5 \
                                            : more(more(0.04 * span(t), 0.12 * least), (least - span(t)) / 2)
limits(t, least) = sprintf("[%.9g:%.9g]", low[t] - room(t, least), high[t] + room(t, least))
data_label(t) = order[t] <= axes ? sprintf("variable %d", axis[order[t]] - 1) : "data of the prototype"
map_label(t) = order[t + 3] - 3 <= shown ? sprintf("axis %d", order[t + 3] - 4) \
                                         : sprintf("variable %d of the prototypes", most - 1)

# How far a spatial picture of equal axes can be enlarged in w x h pixels: without, the longer edge of its base takes
# half of the shorter side.
rx = wide(view) * pi / 180
rz = tall(view) * pi / 180
across(s, t, u) = s * abs(cos(rz)) + t * abs(sin(rz))
upward(s, t, u) = (s * abs(sin(rz)) + t * abs(cos(rz))) * abs(cos(rx)) + u * abs(sin(rx))
zoom(w, h, s, t, u) = less(0.66 * w / across(s, t, u), 0.68 * h / upward(s, t, u)) * more(s, t) / (0.5 * less(w, h))

panels = picture eq "both" ? "data map" : picture
both = words(panels) == 2
shape = both ? "1000,430" : "560,430"
eval open
dot = (prototypes <= 60 ? 1.1 : prototypes <= 400 ? 0.75 : prototypes <= 1500 ? 0.5 : 0.3) \
      * less(1, sqrt(tall(size) / 430))
speck = placed > 1000 ? 0.2 : 0.3
# Shares of the width: the data's panel, and the names of the classes.
share = both ? (shown == 2 && span(4) > 1.8 * span(5) ? 0.42 : 0.5) : 0
longest = 0
do for [c=1:count] { longest = more(longest, strlen(called(c))) }
key_share = count ? (7.0 * longest + 45) / wide(size) : 0
set multiplot
set xyplane relative 0
unset colorbox
do for [panel in panels] {
  base = panel eq "data" ? 0 : 3
  lengths = panel eq "data" ? axes : shown
  d = lengths > 2 ? 3 : 2
  equal = lengths > 1 && (panel eq "map" || widest(base, d) <= 8 * narrowest(base, d))
  least = equal ? 0.25 * widest(base, d) : 0
  last = panel eq word(panels, words(panels))
  set origin (panel eq "map" ? share : 0),0
  part = (both ? (panel eq "data" ? share : 1 - share) : 1) - (last ? key_share : 0)
  set size part,1
  eval "set xrange ".limits(base + 1, least)
  eval "set yrange ".limits(base + 2, least)
  eval "set zrange ".limits(base + 3, least)
  tics = d < 3 ? 6.5 : 6.2 * less(1, part * wide(size) / 500)
  do for [t=1:3] {
    turn = t == 3 || d < 3 && t == 2 ? "rotate by 90 offset 0,0" : d < 3 ? "norotate offset 0,0" \
                                                                 : "rotate parallel offset 0,-0.5"
    eval sprintf("set %slabel '%s' %s", "xyz"[t:t], panel eq "data" ? data_label(t) : map_label(t), turn)
    eval sprintf("set %stics %g", "xyz"[t:t], step(equal ? widest(base, d) / tics : span(base + t) / 5.0))
  }
  set title panel eq "data" ? sprintf("%s: %d prototypes, %d links%s", short, prototypes, links, \
                                      lengths > 1 && !equal ? ", axes scaled apart" : "") \
                            : sprintf("map, %d dimension%s%s", dimensions, dimensions == 1 ? "" : "s", \
                                      dimensions > 3 ? ", the first three" : "")
  unset key
  if (last) {
    if (count) { set key at screen 0.99,0.5 right center samplen 0.5 font "Sans,9" }
    if (labelled && !count) {
      set colorbox
      set cblabel short_labels
      if (most_label > least_label) { set cbrange [least_label:most_label] }
      set cbtics step((most_label - least_label) / 4.0)
    }
    note = count || labelled ? "" : "colour: the ".(shown ? sprintf("map's axis %d", longer - 1) : data_label(1))
    set label 1 note at screen 0.01,0.025 font "Sans,9" tc rgb "#606060"
  }
  if (d == 3) {
    if (equal) { set view equal xyz } else { set view noequal }
    side(t) = span(base + t) + 2 * room(base + t, least)
    eval sprintf("set view %s,%g", view, equal ? zoom(part * wide(size), tall(size), side(1), side(2), side(3)) : 0.95)
    eval "splot ".layers(panel, d)
  } else {
    if (equal) { set size ratio -1 }
    eval "plot ".layers(panel, d)
    set size noratio
  }
}
unset multiplot
