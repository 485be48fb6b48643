#!/bin/sh
# Includes point one way: include_direction.sh, run in src/.
#
# A folder may include itself and the folders above it in the list below. The graph of all folders, subfolders taken
# for themselves, has no circle: containers (matrix/) know nothing of their algorithms (matrix/distance/, ...), and of
# two subfolders one at most includes the other. Prints the graph, lowest folders first, and each fault; status 1 then.

set -eu
awk '
BEGIN {
  split("base matrix settings graph local quant mapping shell", order)
  for (i in order) level[order[i]] = i
  level["."] = 9  # main.cpp
}

# The folder of a path, "." without one.
function folder(path) { return sub("/[^/]*$", "", path) ? path : "." }
function top(path) { sub("/.*", "", path); return path }

{ sub("\r$", "") }
FNR == 1 { source = FILENAME; sub("^\\./", "", source); from = folder(source); all[from] }

/^[ \t]*#[ \t]*include[ \t]*["<]/ {
  quoted = /include[ \t]*"/
  target = $0
  sub("^[^\"<]*[\"<]", "", target)
  sub("[\">].*", "", target)
  to = folder(target)
  if (!(top(to) in level) || to == ".") {
    if (quoted) complain("is not named from src/")
    next
  }
  ++includes
  if (level[top(to)] > level[top(from)]) complain("points down the list")
  else if (from != to) edge[from, to] = edge[from, to] "\n  " source " includes " target
}

function complain(what) { print source ":" FNR ": " $0 "  " what; ++faults }

# How many of the folders that are left this one includes.
function includes_left(name, other, n) {
  for (other in all) n += !(other in done) && (name, other) in edge
  return n
}
function left_include(name, other, n) {
  for (other in all) n += !(other in done) && (other, name) in edge
  return n
}
function show(name, other) {
  printf "%s:", name
  for (other in all)
    if ((name, other) in edge) printf " %s", other
  print ""
}

# Takes away the folders that include none of those left, then those that none includes: circles are left.
END {
  do {
    taken = 0
    for (name in all)
      if (!(name in done) && !includes_left(name)) { done[name]; ++taken; show(name) }
  } while (taken)
  do {
    taken = 0
    for (name in all)
      if (!(name in done) && !left_include(name)) { done[name]; ++taken; show(name) }
  } while (taken)
  for (name in all)
    for (other in all)
      if (!(name in done) && !(other in done) && (name, other) in edge) {
        print "circle through " name " and " other ":" edge[name, other]
        ++faults
      }
  if (!includes) { print "no includes found"; ++faults }
  exit faults > 0
}
' $(find . -name '*.h' -o -name '*.cpp' | sort)
