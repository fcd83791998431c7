# Ratios per row, to raw and to floor, with quartiles where there are any.
#
# Wants: data, title. Set by the caller: terminal and output.
set title title font ",15"
set key outside top center horizontal samplen 2
set grid xtics lc rgb "#dddddd"
set border 3
set tics nomirror out
set xlabel "ratio, less is better"
stats data using 0 nooutput
rows = STATS_records
set yrange [rows - 0.4:-0.6]
stats [*:*] [*:*] data using 4 nooutput
largest = STATS_max
stats [*:*] [*:*] data using 7 nooutput
largest = STATS_max > largest ? STATS_max : largest
set xrange [0:largest * 1.05]
set arrow from 1, graph 0 to 1, graph 1 nohead lw 2 lc rgb "#888888"
plot data using 3:($0 - 0.14):2:4:ytic(1) with xerrorbars pt 7 ps 0.9 lw 1.6 lc rgb "#1f77b4" title "ostrel / raw", \
     data using 6:($0 + 0.14):5:7 with xerrorbars pt 5 ps 0.8 lw 1.6 lc rgb "#d95f02" title "ostrel / floor", \
     NaN with lines lw 2 lc rgb "#888888" title "the same"
