# Draws what "bench growth" prints: gnuplot -e "table='FILE'; drawing='FILE.svg'" growth.gp
set terminal svg size 720,540 background "white"
set output drawing
set logscale xy
set format x "10^{%T}"
set format y "10^{%T}"
set xlabel "size"
set ylabel "microseconds"
set key below
set grid
set datafile separator "|"
names = system("awk -F ' *[|] *' '$3 ~ /^[0-9]+$/ && !seen[$2]++ { gsub(/ /, \"_\", $2); print $2 }' " . table)
rows(name) = sprintf("< grep '^| %s  *|' %s", system("echo " . name . " | tr _ ' '"), table)
plot for [name in names] rows(name) using 3:4 with linespoints title system("echo " . name . " | tr _ ' '")
