# Draws prototypes and links, in the data (first three variables) and in the map, from what `sm` saved:
#
#   gnuplot -e "name='results/swiss'" map.gp        writes results/swiss.png
#
# The colour is the coordinate on the longer axis of the map.

if (!exists("name")) name = "results/digits"

# Both read name.map first (two header lines each), find its longer axis, then the rows of another matrix file; the
# segments also read the node numbers of name.crv.
read_map = "FNR==1 {f++} FNR<3 {next} \
  f==1 {if (n==0 || $1<lo1) lo1=$1; if (n==0 || $1>hi1) hi1=$1; if (n==0 || $2<lo2) lo2=$2; if (n==0 || $2>hi2) hi2=$2; \
        a[n]=$1; b[n++]=$2; next} \
  function colour(i) {return hi1-lo1>hi2-lo2 ? a[i] : b[i]} "
segments(file) = "< awk '".read_map."f==2 {r[k++]=$0} \
  f==3 {print r[$1], colour($1); print r[$2], colour($2); print \"\"; print \"\"}' ".name.".map ".file." ".name.".crv"
points(file) = "< awk '".read_map."f==2 {print $0, colour(k++)}' ".name.".map ".file

set terminal pngcairo size 1200,520 font "Sans,11"
set output name.".png"
set multiplot
unset key
unset colorbox
set palette rgb 33,13,10
set tics font "Sans,9"
set origin 0,0
set size 0.62,1
set view 76,12,1.25
set title "prototypes and links in the data"
splot segments(name.".pro") using 1:2:3:4 with lines lc palette lw 1, \
      points(name.".pro") using 1:2:3:4 with points pt 7 ps 0.8 lc palette
set origin 0.62,0
set size 0.36,1
set size ratio -1
set title "the same in the map"
plot segments(name.".map") using 1:2:3 with lines lc palette lw 1, \
     points(name.".map") using 1:2:3 with points pt 7 ps 0.8 lc palette
unset multiplot
