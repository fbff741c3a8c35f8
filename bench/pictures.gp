# Draws FOLDER/performance-ratios.svg and FOLDER/performance-growth.svg from the data that
# bench/report.py takes out of the JSON:
#
#     gnuplot -c bench/pictures.gp FOLDER

folder = ARG1
set encoding utf8
set terminal svg size 960,760 noenhanced font "sans-serif,13" background "white"
set output folder . "/performance-ratios.svg"
set title "Time of ours / time of the peer (medians): 1 is equal, less is faster" offset -16
set lmargin at screen 0.44
set rmargin at screen 0.97
set logscale x 10
set xrange [0.05:50]
set xtics (0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50)
set grid xtics
stats folder . "/ratios.dat" using 2 nooutput
rows = int(STATS_records)
set yrange [rows:-1]
set ytics font "sans-serif,11"
set key bottom right
set style fill solid 0.8 noborder
set arrow from 1, -1 to 1, rows nohead linecolor rgb "#555555" dashtype 2
plot folder . "/ratios.dat" using 2:0:(0.05):2:($0 - 0.32):($0 + 0.32):ytic(1) \
        with boxxyerror linecolor rgb "#3b76af" title "ratio", \
     "" using 3:0 with points pointtype 5 pointsize 0.6 linecolor rgb "#c23b22" title "target"

reset
set encoding utf8
set terminal svg size 900,480 noenhanced font "sans-serif,13" background "white"
set output folder . "/performance-growth.svg"
set title "Reading a configuration file and looking up every variable of it"
set xlabel "variables"
set ylabel "microseconds per variable"
set logscale xy
set xtics ("31" 31, "100" 100, "310" 310, "1,000" 1000, "3,100" 3100)
set grid
set key top left
plot folder . "/growth.dat" using 1:($2 / $1) with linespoints linewidth 2 pointtype 7 \
        linecolor rgb "#3b76af" title "conf_read_file_r, a sorted table", \
     "" using 1:($3 / $1) with linespoints linewidth 2 pointtype 7 \
        linecolor rgb "#c23b22" title "ini_parse into a std::map"
