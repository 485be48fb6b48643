# Scales every variable of a text matrix to mean 0 and standard deviation 1, so that all count alike in distances:
#
#   awk -f scale.awk wine.dat > scaled.dat
#
# The header lines (column count, row count, zeros) are optional; a constant variable becomes 0.

NR == 1 { columns = NF; if ($1 == NF && header()) { skipped = 1; next } }
NR == 2 && skipped { next }
{ for (k = 1; k <= columns; ++k) { x[n + 0, k] = $k; sum[k] += $k }; ++n }

# Whether the line is a count followed by zeros.
function header(   k) {
  for (k = 2; k <= NF; ++k) if ($k != 0) return 0
  return 1
}

END {
  zeros = ""
  for (k = 2; k <= columns; ++k) zeros = zeros "0\t"
  printf "%d\t%s\n%d\t%s\n", columns, zeros, n, zeros
  for (k = 1; k <= columns; ++k)
    for (i = 0; i < n; ++i) squares[k] += (x[i, k] - sum[k] / n) ^ 2
  for (i = 0; i < n; ++i) {
    for (k = 1; k <= columns; ++k)
      printf "%.6f\t", (squares[k] > 0 ? (x[i, k] - sum[k] / n) / sqrt(squares[k] / n) : 0)
    print ""
  }
}
