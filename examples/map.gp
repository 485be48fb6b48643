# Draws prototypes and links, in the data (the three variables that vary most) and in the map, from what `sm` saved:
#
#   gnuplot -e "name='results/swiss'" map.gp        writes results/swiss.png
#
# The colour is the coordinate on the longer axis of the map.

if (!exists("name")) name = "results/digits"

# The numbers of those three columns of name.pro; 0 for each that is lacking. Equal ones keep their order.
columns = system("awk 'FNR>2 {n++; for (k=1; k<=NF; k++) {s[k]+=$k; q[k]+=$k*$k}} \
  END {for (t=0; t<3; t++) {best[t]=0; for (k=1; k<=NF; k++) {v=q[k]-s[k]*s[k]/n; \
         if (!(k in used) && (!best[t] || v>top)) {best[t]=k; top=v}} used[best[t]]=1} \
       for (k=0; k<=NF; k++) for (t=0; t<3; t++) if (best[t]==k) print k}' ".name.".pro")
axis_value(t) = word(columns, t)+0 ? column(word(columns, t)+1) : 0

# Both read name.map first (two header lines each), find its longer axis, then the rows of another matrix file; the
# segments also read the node numbers of name.crv.
read_map = "FNR==1 {f++} FNR<3 {next} \
  f==1 {if (n==0 || $1<lo1) lo1=$1; if (n==0 || $1>hi1) hi1=$1; if (n==0 || $2<lo2) lo2=$2; if (n==0 || $2>hi2) hi2=$2; \
        a[n]=$1; b[n++]=$2; next} \
  function colour(i) {return hi1-lo1>hi2-lo2 ? a[i] : b[i]} "
segments(file) = "< awk '".read_map."f==2 {r[k++]=$0} \
  f==3 {print colour($1), r[$1]; print colour($2), r[$2]; print \"\"; print \"\"}' ".name.".map ".file." ".name.".crv"
points(file) = "< awk '".read_map."f==2 {print colour(k++), $0}' ".name.".map ".file

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
splot segments(name.".pro") using (axis_value(1)):(axis_value(2)):(axis_value(3)):1 with lines lc palette lw 1, \
      points(name.".pro") using (axis_value(1)):(axis_value(2)):(axis_value(3)):1 with points pt 7 ps 0.8 lc palette
set origin 0.62,0
set size 0.36,1
set size ratio -1
set title "the same in the map"
plot segments(name.".map") using 2:3:1 with lines lc palette lw 1, \
     points(name.".map") using 2:3:1 with points pt 7 ps 0.8 lc palette
unset multiplot
