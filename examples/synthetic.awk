# Surfaces and clusters with known shape, as text matrices with header.
#
#   awk -v set=swiss -v n=5000 -v seed=1 -f synthetic.awk > swiss.dat
#
# Sets: swiss (roll, 90 x 21, turns 2 pi apart), halfsphere (radius 1), cylinder (radius 1, height 4), torus (radii 3
# and 1, uniform on the surface), rings (two linked unit circles, noise 0.01), moons (noise 0.05), circles (radii 1 and
# 0.5, noise 0.04), blobs (two Gaussian clusters), gaussians (five clusters of unit deviation in 20 dimensions, centres
# drawn with deviation 2.8). With -v label=1 the known coordinate along the roll (swiss) or the cluster (rings, moons,
# circles, blobs, gaussians) of each row is written instead.
#
# The generator is the minimal standard one (Park and Miller, 1988): its products are exact in double precision, so
# every awk draws the same numbers.

function uniform() {
  state = (16807 * state) % 2147483647
  return state / 2147483647
}

function gauss(   u) {
  u = uniform()
  return sqrt(-2 * log(u)) * cos(2 * pi * uniform())
}

function row(x, y, z, known) {
  if (label) printf "%.6f\t\n", known
  else if (columns == 3) printf "%.6f\t%.6f\t%.6f\t\n", x, y, z
  else printf "%.6f\t%.6f\t\n", x, y
}

# A row of one of five clusters, whose centres are drawn with the first.
function cluster_row(   c, k, x) {
  if (!drawn)
    for (c = 0; c < 5; ++c)
      for (k = 0; k < columns; ++k) centre[c, k] = 2.8 * gauss()
  drawn = 1
  c = int(5 * uniform())
  for (k = 0; k < columns; ++k) {
    x = centre[c, k] + gauss()
    if (!label) printf "%.6f\t", x
  }
  print label ? c "\t" : ""
}

# Length of the spiral r = t from 0 to t.
function arc(t) { return (t * sqrt(1 + t * t) + log(t + sqrt(1 + t * t))) / 2 }

function header(   k, line) {
  width = label ? 1 : columns
  line = ""
  for (k = 1; k < width; ++k) line = line "0\t"
  printf "%d\t%s\n%d\t%s\n", width, line, n, line
}

BEGIN {
  pi = 3.14159265358979323846
  if (n == "") n = 1000
  state = seed == "" ? 1 : seed
  for (i = 0; i < 10; ++i) uniform()
  columns = set == "gaussians" ? 20 : (set == "moons" || set == "circles" || set == "blobs") ? 2 : 3
  header()
  for (i = 0; i < n; ++i) {
    half = i % 2
    if (set == "swiss") {
      t = 1.5 * pi * (1 + 2 * uniform())
      h = 21 * uniform()
      row(t * cos(t), h, t * sin(t), arc(t))
    } else if (set == "halfsphere") {
      x = gauss(); y = gauss(); z = gauss()
      r = sqrt(x * x + y * y + z * z)
      row(x / r, y / r, z < 0 ? -z / r : z / r, 0)
    } else if (set == "cylinder") {
      a = 2 * pi * uniform()
      row(cos(a), sin(a), 4 * uniform(), a)
    } else if (set == "torus") {
      # The ring at angle b has circumference proportional to 3 + cos b: draws are accepted in that proportion.
      do { b = 2 * pi * uniform() } while (4 * uniform() > 3 + cos(b))
      a = 2 * pi * uniform()
      row((3 + cos(b)) * cos(a), (3 + cos(b)) * sin(a), sin(b), a)
    } else if (set == "rings") {
      a = 2 * pi * uniform()
      if (half) row(1 + cos(a) + 0.01 * gauss(), 0.01 * gauss(), sin(a) + 0.01 * gauss(), 1)
      else row(cos(a) + 0.01 * gauss(), sin(a) + 0.01 * gauss(), 0.01 * gauss(), 0)
    } else if (set == "moons") {
      a = pi * uniform()
      if (half) row(1 - cos(a) + 0.05 * gauss(), 0.5 - sin(a) + 0.05 * gauss(), 0, 1)
      else row(cos(a) + 0.05 * gauss(), sin(a) + 0.05 * gauss(), 0, 0)
    } else if (set == "circles") {
      a = 2 * pi * uniform()
      r = half ? 0.5 : 1
      row(r * cos(a) + 0.04 * gauss(), r * sin(a) + 0.04 * gauss(), 0, half)
    } else if (set == "blobs") {
      row(10 * half + gauss(), gauss(), 0, half)
    } else if (set == "gaussians") {
      cluster_row()
    } else {
      print "unknown set: " set > "/dev/stderr"
      exit 1
    }
  }
}
