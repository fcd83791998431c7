# What a receive costs by the number of its parts: instructions and time.
#
# Wants: folder. Set by the caller: terminal and output.
set multiplot layout 1, 2
set logscale xy
set format x "10^{%L}"
set format y "10^{%L}"
set grid lc rgb "#dddddd"
set border 3
set tics nomirror out
set key top left Left reverse samplen 2
set xlabel "parts of 16 bytes"
set xrange [0.7:20000]

set title "Instructions of a receive" font ",14"
set ylabel "instructions"
file = folder . "/growth-instructions.dat"
plot file using 1:2 with linespoints pt 7 lw 2 lc rgb "#1f77b4" title "ostrel", \
     file using 1:3 with linespoints pt 5 lw 2 lc rgb "#d95f02" title "floor", \
     file using 1:4 with linespoints pt 9 lw 2 lc rgb "#666666" title "raw"

set title "Time of a receive" font ",14"
set ylabel "times raw's receive of one part"
file = folder . "/growth-time.dat"
plot file using 1:2 with linespoints pt 7 lw 2 lc rgb "#1f77b4" title "ostrel", \
     file using 1:3 with linespoints pt 5 lw 2 lc rgb "#d95f02" title "floor", \
     file using 1:4 with linespoints pt 9 lw 2 lc rgb "#666666" title "raw"
unset multiplot
